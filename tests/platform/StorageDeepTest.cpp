// Trees of names as deep as they have entries: what changing them costs, and that nothing is lost. Linux only: Windows has an
// engine of its own.
#include "Platform.h"

#include "PrivateMember.h"
#include "StorageList.h"
#include "linux/storage/RootContents.h"

PRIVATE_MEMBER(StateOfCompoundFile, CompoundFile, mpState);

namespace
{
constexpr ULONG kulStreams = 2000;
constexpr ULONGLONG kullInTree = 250; // entries that one change of a balanced tree may look at

ULONGLONG LookedIn(CompoundFile& file) { return (file.*StateOfCompoundFile())->directory.Looked(); }

// How many black entries each way down a tree passes; 0 when it is no red-black tree.
ULONG BlackIn(List& list, ULONG ulEntry, bool bRedAbove = false)
{
    if (ulEntry == kulNoEntry) return 1;
    const CfEntry entry = list.Entry(ulEntry);
    const bool bRed = entry.eColour == lum::EntryColour::Red;
    const ULONG ulLeft = BlackIn(list, entry.ulLeft, bRed), ulRight = BlackIn(list, entry.ulRight, bRed);
    return (bRed && bRedAbove) || ulLeft == 0 || ulLeft != ulRight ? 0 : ulLeft + !bRed;
}
std::vector<ULONG> Held(List& list, ULONG ulStorage = kulRootEntry)
{
    std::vector<ULONG> entries;
    EXPECT_EQ(list.mDirectory.Children(ulStorage, entries), S_OK);
    return entries;
}
ULONG Find(List& list, const StorageText& sName)
{
    ULONG ulEntry = kulNoEntry;
    EXPECT_EQ(list.mDirectory.Find(kulRootEntry, sName, ulEntry), S_OK);
    EXPECT_NE(ulEntry, kulNoEntry);
    return ulEntry;
}
// A new one, put into a storage.
HRESULT Insert(List& list, ULONG ulStorage, const StorageText& sName)
{
    ULONG ulEntry = 0;
    EXPECT_EQ(list.mDirectory.Create(EntryKind::Stream, sName, ulEntry), S_OK);
    const HRESULT hr = list.mDirectory.Insert(ulStorage, ulEntry);
    EXPECT_TRUE(SUCCEEDED(hr) || list.mDirectory.Release(ulEntry) == S_OK);
    return hr;
}

// Makes an element of the list a storage without elements.
ULONG MakeStorage(List& list, ULONG ulAt)
{
    const ULONG ulEntry = Find(list, NameAt(ulAt));
    list.Entry(ulEntry).eKind = EntryKind::Storage;
    list.Entry(ulEntry).ulStart = 0;
    return ulEntry;
}

TEST(StorageDeep, ATreeIsARedBlackOneAfterItsFirstChange)
{
    for (const ULONG ulStreams : {70u, 126u, 127u, 128u, 1000u})
    {
        List list(ulStreams);
        std::vector<ULONG> entries = Held(list);
        ASSERT_EQ(list.mDirectory.Remove(kulRootEntry, entries.back()), S_OK);
        entries.pop_back();
        EXPECT_EQ(Held(list), entries);
        EXPECT_GT(BlackIn(list, list.Entry(kulRootEntry).ulChild), 5u) << ulStreams;
    }
}

TEST(StorageDeep, ChangingItAllCostsNoMoreThanInABalancedTree)
{
    List list(kulStreams);
    const ULONGLONG ullBefore = list.mDirectory.Looked();
    for (ULONG i = kulStreams; i-- > 0;)
    {
        const ULONG ulEntry = Find(list, NameAt(i));
        ASSERT_EQ(list.mDirectory.Remove(kulRootEntry, ulEntry), S_OK);
        ASSERT_EQ(list.mDirectory.Insert(kulRootEntry, ulEntry), S_OK);
    }
    EXPECT_LT(list.mDirectory.Looked() - ullBefore, kulStreams * kullInTree);
}

TEST(StorageDeep, ALongWayToTheNextOneIsGoneOnce)
{
    List list(kulStreams);
    const std::vector<ULONG> entries = Held(list);
    list.Entry(kulRootEntry).ulChild = entries[1]; // to its left the first one, to its right the last: all others to that one's left
    list.Entry(entries[1]).ulLeft = entries[0];
    list.Entry(entries[0]).ulRight = kulNoEntry;
    list.Entry(entries[1]).ulRight = entries.back();
    for (ULONG i = 2; i < kulStreams; ++i)
    {
        list.Entry(entries[i]).ulLeft = i > 2 ? entries[i - 1] : kulNoEntry;
        list.Entry(entries[i]).ulRight = kulNoEntry;
    }
    ASSERT_EQ(Held(list), entries);
    const ULONGLONG ullBefore = list.mDirectory.Looked();
    for (ULONG i = 1; i < kulStreams; ++i) ASSERT_EQ(list.mDirectory.Remove(kulRootEntry, entries[i]), S_OK) << i;
    EXPECT_LT(list.mDirectory.Looked() - ullBefore, kulStreams * kullInTree);
    EXPECT_EQ(Held(list), std::vector<ULONG>(1, entries[0]));
}

TEST(StorageDeep, AListIsKnownWhileAnotherStorageChanges)
{
    List list(kulStreams);
    const ULONG ulOther = MakeStorage(list, 100);
    const ULONGLONG ullBefore = list.mDirectory.Looked();
    ULONG ulEntry = 0;
    for (ULONG i = 1; i < kulStreams; ++i)
    {
        ASSERT_EQ(list.mDirectory.After(kulRootEntry, NameAt(i - 1), ulEntry), S_OK);
        ASSERT_EQ(Insert(list, ulOther, NameAt(i)), S_OK);
    }
    EXPECT_LT(list.mDirectory.Looked() - ullBefore, kulStreams * kullInTree);
    EXPECT_EQ(Held(list).size(), kulStreams);
    EXPECT_EQ(Held(list, ulOther).size(), kulStreams - 1);
}

TEST(StorageDeep, ADamagedTreeStaysAsItIsAndSaysSoAtOnce)
{
    List list(kulStreams);
    const ULONG ulLast = kulStreams; // they have their numbers by their names
    list.Entry(ulLast).ulRight = 0x7FFFFFFF;
    const ULONGLONG ullBefore = list.mDirectory.Looked();
    for (ULONG i = 0; i < kulStreams; ++i)
    {
        ASSERT_EQ(list.mDirectory.Remove(kulRootEntry, ulLast), STG_E_DOCFILECORRUPT);
        ASSERT_EQ(Find(list, NameAt(i)), i + 1) << "each is still there";
    }
    EXPECT_LT(list.mDirectory.Looked() - ullBefore, kulStreams * kullInTree);
}

TEST(StorageDeep, ATreeThatAnotherStorageSharesStaysAsItIs)
{
    List list(kulStreams);
    const ULONG ulOther = MakeStorage(list, 10);
    list.Entry(ulOther).ulChild = Find(list, NameAt(kulStreams - 5));
    const std::vector<ULONG> all = Held(list), five = Held(list, ulOther);
    ASSERT_EQ(five.size(), 5u);
    EXPECT_EQ(list.mDirectory.Remove(kulRootEntry, Find(list, NameAt(1000))), STG_E_DOCFILECORRUPT);
    EXPECT_EQ(Insert(list, kulRootEntry, u"new"), STG_E_DOCFILECORRUPT);
    EXPECT_EQ(Held(list), all);
    EXPECT_EQ(Held(list, ulOther), five);
}

// A disk that cannot be read after a while.
class Unreadable : public StorageMemory
{
public:
    using StorageMemory::StorageMemory;
    ULONG mulReadable = kulForEver;
    HRESULT Read(ULONGLONG ullAt, void* pTo, std::size_t ulBytes, std::size_t& ulRead) override
    {
        if (mulReadable == 0) return STG_E_READFAULT;
        --mulReadable;
        return StorageMemory::Read(ullAt, pTo, ulBytes, ulRead);
    }
};

TEST(StorageDeep, WhatCannotBeReadLeavesTheTreeAsItIs)
{
    List list(kulStreams);
    ULONG ulFailed = 0;
    for (HRESULT hr = STG_E_READFAULT; FAILED(hr); ++ulFailed)
    {
        Unreadable bytes;
        bytes.maBytes = list.Bytes().maBytes;
        CompoundFile file(bytes);
        ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
        bytes.mulReadable = ulFailed;
        hr = file.Unlink(kulRootEntry, 1500);
        bytes.mulReadable = StorageMemory::kulForEver;
        std::vector<ULONG> children;
        EXPECT_EQ(file.Children(kulRootEntry, children), S_OK);
        EXPECT_EQ(children.size(), SUCCEEDED(hr) ? kulStreams - 1 : kulStreams);
        ASSERT_TRUE(SUCCEEDED(hr) || hr == STG_E_READFAULT);
        if (SUCCEEDED(hr)) continue;
        EXPECT_EQ(file.Unlink(kulRootEntry, 1500), S_OK); // now that it can be read
    }
    EXPECT_GT(ulFailed, kulStreams * sizeof(CfEntry) / lum::PagedChain::kulPageBytes);
}

TEST(StorageDeep, AllThatAStorageHoldsGoesAtOnce)
{
    List list(kulStreams);
    const std::vector<ULONG> entries = Held(list);
    for (std::size_t i = 0; i < entries.size(); ++i) // a list to the left: the first one is the farthest
    {
        list.Entry(entries[i]).ulLeft = i > 0 ? entries[i - 1] : kulNoEntry;
        list.Entry(entries[i]).ulRight = kulNoEntry;
    }
    list.Entry(kulRootEntry).ulChild = entries.back();
    CompoundFile file(list.Bytes());
    ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
    ULONG ulEntry = 0;
    const StorageBlob bytes = StoragePattern(5000, 1);
    ASSERT_EQ(file.Find(kulRootEntry, NameAt(1000), ulEntry), S_OK);
    ASSERT_EQ(file.Write(ulEntry, 0, bytes.data(), bytes.size()), S_OK);
    const ULONGLONG ullBefore = LookedIn(file);
    ASSERT_EQ(file.Empty(kulRootEntry), S_OK);
    EXPECT_LT(LookedIn(file) - ullBefore, kulStreams * 20u);
    ASSERT_EQ(file.Commit(), S_OK);
    StorageContent content;
    EXPECT_EQ(ContentOf(list.Bytes(), content), S_OK);
    EXPECT_TRUE(content.empty());
    EXPECT_EQ(DamageOf(list.Bytes()), "");
}
} // namespace
