// Trees of names that are damaged, or as deep as they have entries. Linux only: Windows has an engine of its own.
#include "Platform.h"

#include "StorageList.h"
#include "StorageNamed.h"
#include "StorageParts.h"

#include <gtest/gtest.h>

#include <fstream>

namespace
{
// The entry of that name in the bytes.
CfEntry& Named(StorageMemory& bytes, const StorageText& sName)
{
    for (std::size_t ulAt = 512; ulAt < bytes.maBytes.size(); ulAt += sizeof(CfEntry))
    {
        CfEntry& entry = *reinterpret_cast<CfEntry*>(bytes.maBytes.data() + ulAt);
        std::u16string_view sHere;
        if (lum::NameOfEntry(entry, sHere) && sHere == sName) return entry;
    }
    throw std::out_of_range("no such entry");
}

TEST(StorageTree, AnElementBesideADamagedOneCanBeRenamed)
{
    StorageMemory bytes = Streams(4);
    {
        CompoundFile file(bytes); // leaves three, all black: taking one out needs the other for the balance
        ASSERT_EQ(file.Open(StorageAccess::Direct), S_OK);
        ASSERT_EQ(RemoveNamed(file, kulRootEntry, NameAt(3)), S_OK);
        ASSERT_EQ(file.Commit(), S_OK);
    }
    Named(bytes, NameAt(2)).eKind = static_cast<EntryKind>(7);
    CompoundFile file(bytes);
    ULONG ulEntry = 0;
    ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
    EXPECT_EQ(MoveNamed(file, kulRootEntry, NameAt(0), kulRootEntry, u"a"), S_OK);
    EXPECT_EQ(file.Find(kulRootEntry, u"a", ulEntry), S_OK);
    EXPECT_EQ(file.Find(kulRootEntry, NameAt(1), ulEntry), S_OK);
}

TEST(StorageTree, AListOfEntriesIsWalkedOnceForAllThatIsLookedFor)
{
    constexpr ULONG kulStreams = 500;
    List list(kulStreams);
    ULONG ulEntry = 0, ulFound = 0;
    ASSERT_EQ(list.mDirectory.Find(kulRootEntry, NameAt(kulStreams - 1), ulEntry), S_OK);
    ASSERT_NE(ulEntry, kulNoEntry);
    list.Entry(list.Entry(kulRootEntry).ulChild).ulRight = list.Entry(kulRootEntry).ulChild; // who walks again never comes back
    StorageText sLast;
    for (ULONG i = 0; i < kulStreams; ++i)
    {
        std::u16string_view sName;
        ASSERT_EQ(list.mDirectory.After(kulRootEntry, sLast, ulEntry), S_OK);
        ASSERT_TRUE(lum::NameOfEntry(list.Entry(ulEntry), sName));
        ASSERT_EQ(sName, NameAt(i));
        sLast = sName;
        ASSERT_EQ(list.mDirectory.Find(kulRootEntry, sLast, ulFound), S_OK);
        ASSERT_EQ(ulFound, ulEntry);
    }
    EXPECT_EQ(list.mDirectory.After(kulRootEntry, sLast, ulEntry), S_OK);
    EXPECT_EQ(ulEntry, kulNoEntry);
}

TEST(StorageTree, AListOfEntriesIsKnownAnewWhenItHasChanged)
{
    List list(500);
    ULONG ulOld = 0, ulEntry = 0;
    ASSERT_EQ(list.mDirectory.Find(kulRootEntry, NameAt(300), ulOld), S_OK);
    ASSERT_EQ(list.mDirectory.Remove(kulRootEntry, ulOld), S_OK);
    EXPECT_EQ(list.mDirectory.Find(kulRootEntry, NameAt(300), ulEntry), S_OK);
    EXPECT_EQ(ulEntry, kulNoEntry);
    EXPECT_EQ(list.mDirectory.Insert(kulRootEntry, ulOld), S_OK);
    EXPECT_EQ(list.mDirectory.Find(kulRootEntry, NameAt(300), ulEntry), S_OK);
    EXPECT_EQ(ulEntry, ulOld);
}

TEST(StorageTree, OfTwoElementsOfANameTheOtherIsNotTakenOut)
{
    StorageMemory bytes = Streams(3);
    lum::SetNameOfEntry(Named(bytes, NameAt(0)), NameAt(1)); // the one beside it, which is above it
    CompoundFile file(bytes);
    ASSERT_EQ(file.Open(StorageAccess::Direct), S_OK);
    std::vector<ULONG> before, after;
    ASSERT_EQ(file.Children(kulRootEntry, before), S_OK);
    ASSERT_EQ(before.size(), 3u);
    EXPECT_EQ(file.Unlink(kulRootEntry, before[0]), STG_E_DOCFILECORRUPT);
    EXPECT_EQ(file.Children(kulRootEntry, after), S_OK);
    EXPECT_EQ(after, before);
    EXPECT_EQ(file.Unlink(kulRootEntry, before[1]), S_OK);
    EXPECT_EQ(file.Unlink(kulRootEntry, before[0]), S_OK);
}

TEST(StorageTree, InAListWithTwoElementsOfANameAllOthersOutliveTheEndOfOne)
{
    constexpr ULONG kulStreams = 100, kulTwice = 68;
    List list(kulStreams);
    ULONG ulEntry = 0;
    ASSERT_EQ(list.mDirectory.Find(kulRootEntry, NameAt(kulTwice + 1), ulEntry), S_OK);
    lum::SetNameOfEntry(list.Entry(ulEntry), NameAt(kulTwice));

    CompoundFile file(list.Bytes());
    ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
    RemoveNamed(file, kulRootEntry, NameAt(kulTwice));
    InsertNamed(file, kulRootEntry, u"new", EntryKind::Stream, ulEntry); // may have the number of the one that went
    for (ULONG i = 0; i < kulStreams; ++i)
    {
        if (i == kulTwice + 1) continue;
        EXPECT_EQ(file.Find(kulRootEntry, NameAt(i), ulEntry), S_OK) << i;
    }
}

TEST(StorageTree, ACheckOfMuchDamageFarDownTakesLittleMemory)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(3, StorageAccess::Direct), S_OK);
    ULONG ulStorage = kulRootEntry, ulEntry = 0;
    for (int i = 0; i < 900; ++i, ulStorage = ulEntry)
        ASSERT_EQ(InsertNamed(file, ulStorage, StorageText(31, u'\x4E00'), EntryKind::Storage, ulEntry), S_OK);
    for (ULONG i = 0; i < 2000; ++i) ASSERT_EQ(InsertNamed(file, ulStorage, NameAt(i), EntryKind::Stream, ulEntry), S_OK);
    ASSERT_EQ(file.Commit(), S_OK);
    for (ULONG i = 0; i < 2000; ++i) Named(bytes, NameAt(i)).ulSizeLow = 1;

    std::vector<lum::StorageFinding> findings;
    ASSERT_EQ(lum::CheckStorage(bytes, findings), S_OK);
    EXPECT_EQ(findings.size(), 1000u);
    std::size_t ulText = 0;
    for (const lum::StorageFinding& finding : findings) ulText += finding.sWhere.size() + finding.sWhat.size();
    EXPECT_LT(ulText, 4 * bytes.maBytes.size());
    EXPECT_EQ(findings.front().sWhere.substr(0, 7), "stream ");
}

TEST(StorageTree, ACopyOfAStorageThatHoldsItsTargetEnds)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ULONG ulEntry = 0;
    ASSERT_EQ(file.Create(3, StorageAccess::Direct), S_OK);
    ASSERT_EQ(InsertNamed(file, kulRootEntry, u"One", EntryKind::Stream, ulEntry), S_OK);
    ASSERT_EQ(InsertNamed(file, kulRootEntry, u"Whole", EntryKind::Storage, ulEntry), S_OK);
    ASSERT_EQ(file.Commit(), S_OK);
    Named(bytes, u"Whole").ulChild = Named(bytes, u"Root Entry").ulChild; // all that the root holds

    const RootFolder folder;
    std::ofstream(std::filesystem::path(folder.Name()), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.maBytes.data()), static_cast<std::streamsize>(bytes.maBytes.size()));
    for (const DWORD ulMode : {kulTransacted, kulElement})
    {
        const Storage root = folder.Open(ulMode);
        EXPECT_EQ(root->MoveElementTo(W(u"Whole"), root, W(u"New"), STGMOVE_COPY), STG_E_DOCFILECORRUPT);
        EXPECT_EQ(Get(root, u"One"), "");
    }
}
} // namespace
