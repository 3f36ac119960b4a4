// Elements of a storage: made, opened, renamed and destroyed.
#include "StorageParts.h"
#include "Wine.h"

#include <cstring>
#include <fstream>
#include <iterator>

namespace
{
class IStorageElement : public testing::TestWithParam<DWORD>
{
protected:
    RootFolder mFolder;
    Storage mRoot = mFolder.Create(GetParam());
};
INSTANTIATE_TEST_SUITE_P(Modes, IStorageElement, testing::Values(STGM_DIRECT, STGM_TRANSACTED));

HRESULT TryNewStream(IStorage* pStorage, const char16_t* pName, DWORD ulMode = kulElement)
{
    Stream stream;
    return pStorage->CreateStream(W(pName), ulMode, 0, 0, stream.Out());
}
HRESULT TryNewStorage(IStorage* pStorage, const char16_t* pName, DWORD ulMode = kulElement)
{
    Storage storage;
    return pStorage->CreateStorage(W(pName), ulMode, 0, 0, storage.Out());
}
} // namespace

TEST_P(IStorageElement, WhatIsWrittenIsThereAfterwards)
{
    Put(mRoot, u"Spectrum", "counts");
    Put(NewStorage(mRoot, u"Runs"), u"0001", "first");
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    mRoot.Reset();
    mRoot = mFolder.Open(STGM_READ | STGM_SHARE_DENY_WRITE);
    EXPECT_EQ(Names(mRoot), (NameList{u"Runs/", u"Spectrum"}));
    EXPECT_EQ(Get(mRoot, u"SPECTRUM"), "counts");
    EXPECT_EQ(Get(OpenStorage(mRoot, u"runs", STGM_READ | STGM_SHARE_EXCLUSIVE), u"0001"), "first");
}

TEST_P(IStorageElement, WithoutACommitOnlyADirectOneKeepsIt)
{
    Put(mRoot, u"Spectrum", "counts");
    mRoot.Reset();
    mRoot = mFolder.Open();
    EXPECT_EQ(Names(mRoot), GetParam() == STGM_DIRECT ? NameList{u"Spectrum"} : NameList{});
}

TEST_P(IStorageElement, IsNotMadeWhereOneIs)
{
    Put(mRoot, u"Stream", "old");
    NewStorage(mRoot, u"Storage");
    EXPECT_EQ(TryNewStream(mRoot, u"Stream"), STG_E_FILEALREADYEXISTS);
    EXPECT_EQ(TryNewStream(mRoot, u"storage"), STG_E_FILEALREADYEXISTS);
    EXPECT_EQ(TryNewStorage(mRoot, u"STREAM"), STG_E_FILEALREADYEXISTS);
    EXPECT_EQ(TryNewStorage(mRoot, u"Storage"), STG_E_FILEALREADYEXISTS);
    EXPECT_EQ(Get(mRoot, u"Stream"), "old");
}

TEST_P(IStorageElement, TakesTheOldOnesPlaceWhenItIsCreated)
{
    Put(mRoot, u"Stream", "old");
    Put(NewStorage(mRoot, u"Storage"), u"Inside", "old");
    EXPECT_EQ(SizeOf(NewStream(mRoot, u"Stream", kulElement | STGM_CREATE)), 0u);
    EXPECT_EQ(Names(NewStorage(mRoot, u"Storage", kulElement | STGM_CREATE)), NameList{});
    NewStorage(mRoot, u"Stream", kulElement | STGM_CREATE);
    NewStream(mRoot, u"Storage", kulElement | STGM_CREATE);
    EXPECT_EQ(Names(mRoot), (NameList{u"Storage", u"Stream/"}));
}

TEST_P(IStorageElement, IsRevokedWhenItIsCreatedAnew)
{
    const Stream old = NewStream(mRoot, u"Stream");
    const Stream anew = NewStream(mRoot, u"Stream", kulElement | STGM_CREATE);
    EXPECT_EQ(old->Write("x", 1, nullptr), STG_E_REVERTED);
    Write(anew, "new");
    EXPECT_EQ(SizeOf(anew), 3u);
}

TEST_P(IStorageElement, IsOpenOnce)
{
    const Stream stream = NewStream(mRoot, u"Stream");
    const Storage storage = NewStorage(mRoot, u"Storage");
    EXPECT_EQ(TryStream(mRoot, u"stream"), STG_E_ACCESSDENIED);
    EXPECT_EQ(TryStorage(mRoot, u"storage"), STG_E_ACCESSDENIED);
    EXPECT_EQ(TryStream(mRoot, u"Stream", STGM_READ | STGM_SHARE_EXCLUSIVE), STG_E_ACCESSDENIED);
}

TEST_P(IStorageElement, CanBeOpenedAgainWhenItWasReleased)
{
    NewStream(mRoot, u"Stream");
    NewStorage(mRoot, u"Storage");
    EXPECT_EQ(TryStream(mRoot, u"Stream"), S_OK);
    EXPECT_EQ(TryStorage(mRoot, u"Storage"), S_OK);
}

TEST_P(IStorageElement, IsNotFoundAsTheOtherKind)
{
    Put(mRoot, u"Stream", "");
    NewStorage(mRoot, u"Storage");
    EXPECT_EQ(TryStorage(mRoot, u"Stream"), STG_E_FILENOTFOUND);
    EXPECT_EQ(TryStream(mRoot, u"Storage"), STG_E_FILENOTFOUND);
    EXPECT_EQ(TryStream(mRoot, u"Nothing"), STG_E_FILENOTFOUND);
    EXPECT_EQ(TryStorage(mRoot, u"Nothing"), STG_E_FILENOTFOUND);
}

TEST_P(IStorageElement, HasANameOfAtMost31Units)
{
    EXPECT_EQ(TryNewStream(mRoot, u"1234567890123456789012345678901"), S_OK);
    EXPECT_EQ(TryNewStream(mRoot, u"12345678901234567890123456789012"), STG_E_INVALIDNAME);
    EXPECT_EQ(TryNewStorage(mRoot, u"12345678901234567890123456789012"), STG_E_INVALIDNAME);
    EXPECT_EQ(TryStream(mRoot, u"12345678901234567890123456789012"), STG_E_FILENOTFOUND);
    EXPECT_EQ(TryNewStream(mRoot, u"\1mixed*?"), S_OK);
    EXPECT_EQ(TryStream(mRoot, u"\1MIXED*?"), S_OK);
    EXPECT_EQ(TryNewStream(mRoot, u"\u00E9\u0436"), S_OK);
    EXPECT_EQ(TryStream(mRoot, u"\u00C9\u0416"), WineSays(STG_E_FILENOTFOUND, S_OK)); // Wine knows the case of ASCII alone
}

TEST_P(IStorageElement, HasNoNameWithASignOfPaths)
{
    for (const char16_t* pName : {u"", u"a/b", u"a\\b", u"a:b", u"a!b"})
    {
        // Wine takes any name that is short enough.
        EXPECT_EQ(TryNewStream(mRoot, pName, kulElement | STGM_CREATE), WineSays(S_OK, STG_E_INVALIDNAME));
        EXPECT_EQ(TryNewStorage(mRoot, pName, kulElement | STGM_CREATE), WineSays(S_OK, STG_E_INVALIDNAME));
    }
}

TEST_P(IStorageElement, IsGoneWithAllItHoldsWhenItIsDestroyed)
{
    Put(mRoot, u"Stream", "bytes");
    Put(NewStorage(NewStorage(mRoot, u"Storage"), u"Deeper"), u"Inside", std::string(5000, 'x'));
    EXPECT_EQ(mRoot->DestroyElement(W(u"stream")), S_OK);
    EXPECT_EQ(mRoot->DestroyElement(W(u"Storage")), S_OK);
    EXPECT_EQ(mRoot->DestroyElement(W(u"Storage")), STG_E_FILENOTFOUND);
    EXPECT_EQ(mRoot->DestroyElement(nullptr), STG_E_INVALIDPOINTER);
    EXPECT_EQ(Names(mRoot), NameList{});
}

TEST_P(IStorageElement, IsRevokedWithAllItGaveOutWhenItIsDestroyed)
{
    const Storage storage = NewStorage(mRoot, u"Storage");
    const Stream inside = NewStream(storage, u"Inside");
    EXPECT_EQ(mRoot->DestroyElement(W(u"Storage")), S_OK);
    char c = 0;
    ULARGE_INTEGER place;
    Stream other;
    EXPECT_EQ(inside->Read(&c, 1, nullptr), STG_E_REVERTED);
    EXPECT_EQ(inside->Write(&c, 1, nullptr), STG_E_REVERTED);
    EXPECT_EQ(inside->Seek(By(0), STREAM_SEEK_CUR, &place), STG_E_REVERTED);
    EXPECT_EQ(inside->SetSize(Bytes(1)), STG_E_REVERTED);
    EXPECT_EQ(inside->Clone(other.Out()), STG_E_REVERTED);
    EXPECT_EQ(inside->CopyTo(inside, Bytes(0), nullptr, nullptr), STG_E_REVERTED);
    EXPECT_EQ(inside->Commit(STGC_DEFAULT), STG_E_REVERTED);
    EXPECT_EQ(inside->Revert(), WineSays(S_OK, STG_E_REVERTED)); // Wine's does not look
    EXPECT_EQ(inside->LockRegion(Bytes(0), Bytes(1), LOCK_WRITE), STG_E_REVERTED);
    STATSTG stat;
    EXPECT_EQ(inside->Stat(&stat, STATFLAG_NONAME), STG_E_REVERTED);
    EXPECT_EQ(storage->Stat(&stat, STATFLAG_NONAME), STG_E_REVERTED);
    EXPECT_EQ(storage->CreateStream(W(u"New"), kulElement, 0, 0, other.Out()), STG_E_REVERTED);
    EXPECT_EQ(TryStream(storage, u"Inside"), STG_E_REVERTED);
    EXPECT_EQ(TryNewStorage(storage, u"New"), STG_E_REVERTED);
    EXPECT_EQ(storage->DestroyElement(W(u"Inside")), STG_E_REVERTED);
    EXPECT_EQ(storage->RenameElement(W(u"Inside"), W(u"Outside")), STG_E_REVERTED);
    EXPECT_EQ(storage->SetClass(IID_IStorage), STG_E_REVERTED);
    EXPECT_EQ(storage->SetStateBits(1, 1), STG_E_REVERTED);
}

TEST_P(IStorageElement, KeepsItsContentsWhenItIsRenamed)
{
    Put(mRoot, u"Stream", "bytes");
    Put(NewStorage(mRoot, u"Storage"), u"Inside", "deeper");
    EXPECT_EQ(mRoot->RenameElement(W(u"Stream"), W(u"Current")), S_OK);
    EXPECT_EQ(mRoot->RenameElement(W(u"storage"), W(u"Folder")), S_OK);
    EXPECT_EQ(Names(mRoot), (NameList{u"Current", u"Folder/"}));
    EXPECT_EQ(Get(mRoot, u"Current"), "bytes");
    EXPECT_EQ(Get(OpenStorage(mRoot, u"Folder"), u"Inside"), "deeper");
}

TEST_P(IStorageElement, IsNotRenamedOntoAnotherNorWhileItIsOpen)
{
    Put(mRoot, u"One", "1");
    Put(mRoot, u"Other", "2");
    EXPECT_EQ(mRoot->RenameElement(W(u"One"), W(u"other")), STG_E_FILEALREADYEXISTS);
    EXPECT_EQ(mRoot->RenameElement(W(u"One"), W(u"ONE")), STG_E_FILEALREADYEXISTS);
    EXPECT_EQ(mRoot->RenameElement(W(u"Nothing"), W(u"New")), STG_E_FILENOTFOUND);
    // Wine lets a name become too long, or anything.
    EXPECT_EQ(mRoot->RenameElement(W(u"Other"), W(u"a/b")), WineSays(S_OK, STG_E_INVALIDNAME));
    const Stream open = OpenStream(mRoot, u"One");
    EXPECT_EQ(mRoot->RenameElement(W(u"One"), W(u"New")), STG_E_ACCESSDENIED);
}

TEST_P(IStorageElement, BecomesAStorageAroundItsBytes)
{
    Put(mRoot, u"Stream", "bytes");
    Storage storage;
    // Wine does not convert.
    const HRESULT hr = mRoot->CreateStorage(W(u"Stream"), kulElement | STGM_CONVERT, 0, 0, storage.Out());
    ASSERT_EQ(hr, WineSays(STG_E_FILEALREADYEXISTS, STG_S_CONVERTED));
    if (FAILED(hr)) return;
    EXPECT_EQ(Names(storage), NameList{u"CONTENTS"});
    EXPECT_EQ(Get(storage, u"CONTENTS"), "bytes");
    EXPECT_EQ(TryNewStorage(mRoot, u"New", kulElement | STGM_CONVERT), S_OK);
    storage.Reset();
    EXPECT_EQ(TryNewStorage(mRoot, u"Stream", kulElement | STGM_CONVERT), STG_E_FILEALREADYEXISTS); // is one already
}

TEST_P(IStorageElement, KeepsTheTimesItIsGiven)
{
    NewStorage(mRoot, u"Storage");
    Put(mRoot, u"Stream", "");
    const FILETIME made{1, 0x01C00000}, changed{2, 0x01D00000};
    EXPECT_EQ(mRoot->SetElementTimes(W(u"Storage"), &made, nullptr, &changed), S_OK);
    EXPECT_EQ(mRoot->SetElementTimes(W(u"Stream"), &made, &made, &changed), S_OK); // which has none
    EXPECT_EQ(mRoot->SetElementTimes(W(u"Nothing"), &made, nullptr, nullptr), WineSays(S_OK, STG_E_FILENOTFOUND));
    STATSTG stat;
    EXPECT_EQ(OpenStorage(mRoot, u"Storage")->Stat(&stat, STATFLAG_NONAME), S_OK);
    // To Wine, calls about times do nothing.
    EXPECT_EQ(Ticks(stat.ctime) == Ticks(made), !RunsUnderWine());
    EXPECT_EQ(Ticks(stat.mtime) == Ticks(changed), !RunsUnderWine());
}

TEST_P(IStorageElement, HasNoTimeOfMakingInTheFileAsARoot)
{
    const FILETIME made{1, 0x01C00000}, changed{2, 0x01D00000};
    EXPECT_EQ(mRoot->SetElementTimes(nullptr, &made, nullptr, &changed), S_OK);
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    mRoot.Reset();
    std::ifstream file(std::filesystem::path(mFolder.Name()), std::ios::binary);
    const std::string sBytes(std::istreambuf_iterator<char>(file), {});
    std::uint32_t ulDirectory = 0;
    std::memcpy(&ulDirectory, sBytes.data() + 0x30, sizeof ulDirectory);
    ASSERT_LE((ulDirectory + 2) * 512, sBytes.size());
    EXPECT_EQ(sBytes.substr((ulDirectory + 1) * 512 + 0x64, sizeof made), std::string(sizeof made, '\0'));
}
