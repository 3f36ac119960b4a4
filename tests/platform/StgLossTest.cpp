// Compound files by name: that nothing committed is lost by what fails, or by who comes in between. Linux only.
#include "StgCalls.h"

#include "FailingFlush.h"
#include "FileHandle.h"
#include "SmallDisk.h"
#include "StorageContent.h"
#include "StorageNamed.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace
{
using lum::CompoundFile;
using lum::StorageAccess;

class StgLoss : public testing::Test
{
protected:
    TempFolder mFolder;
    const std::string msFile = mFolder / "file";
    Root mRoot, mOther;
};

// A committed file in memory with a stream that fills so many sectors of the table.
StorageMemory FileOf(ULONG ulFatSectors)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    EXPECT_EQ(file.Create(3, StorageAccess::Transacted), S_OK);
    ULONG ulEntry = 0;
    EXPECT_EQ(InsertNamed(file, 0, u"Old", lum::EntryKind::Stream, ulEntry), S_OK);
    const StorageBlob content = StoragePattern(std::size_t{ulFatSectors - 1} * 128 * 512, 1);
    EXPECT_EQ(file.Write(ulEntry, 0, content.data(), content.size()), S_OK);
    EXPECT_EQ(file.Commit(), S_OK);
    return StorageMemory(bytes.maBytes);
}

ULONG& Number(StorageMemory& bytes, std::size_t ulAt) { return *reinterpret_cast<ULONG*>(&bytes.maBytes[ulAt]); }

// Where the table has the entry of a sector, in a file whose table's first sectors are named by the header.
ULONG& EntryOf(StorageMemory& bytes, ULONG ulSector)
{
    const ULONG ulPage = ulSector / 128;
    const ULONG ulList = Number(bytes, 0x44);
    const ULONG ulPlace = ulPage < 109 ? Number(bytes, 0x4C + 4 * ulPage) : Number(bytes, (ulList + 1) * 512 + 4 * (ulPage - 109));
    return Number(bytes, (ulPlace + 1) * 512 + 4 * (ulSector % 128));
}

// Adds a stream, and looks at both states.
void ExpectRoomForMore(StorageMemory bytes)
{
    StorageContent before;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
    ASSERT_EQ(ReadContent(file, before), S_OK);
    ULONG ulEntry = 0;
    ASSERT_EQ(InsertNamed(file, 0, u"New", lum::EntryKind::Stream, ulEntry), S_OK);
    const StorageBlob content = StoragePattern(300000, 2);
    ASSERT_EQ(file.Write(ulEntry, 0, content.data(), content.size()), S_OK);

    StorageMemory stopped(bytes.maBytes);
    CompoundFile old(stopped);
    StorageContent still;
    ASSERT_EQ(old.Open(StorageAccess::Read), S_OK);
    EXPECT_EQ(ReadContent(old, still), S_OK);
    EXPECT_EQ(still, before);

    ASSERT_EQ(file.Commit(), S_OK);
    before[u"New"] = content;
    CompoundFile whole(bytes);
    StorageContent after;
    ASSERT_EQ(whole.Open(StorageAccess::Read), S_OK);
    EXPECT_EQ(ReadContent(whole, after), S_OK);
    EXPECT_EQ(after, before);
}
} // namespace

// As some other writers leave them.
TEST_F(StgLoss, SectorsOfTheTableThatAreNotMarkedAreNotGivenToStreams)
{
    StorageMemory table = FileOf(3);
    for (ULONG i = 0; i < Number(table, 0x2C); ++i) EntryOf(table, Number(table, 0x4C + 4 * i)) = lum::kulFree;
    ExpectRoomForMore(table);

    StorageMemory list = FileOf(112);
    ASSERT_EQ(Number(list, 0x48), 1u); // one sector of the list
    EntryOf(list, Number(list, 0x44)) = lum::kulFree;
    ExpectRoomForMore(list);
}

TEST_F(StgLoss, ATransactionThatIsNotCommittedLeavesNothingBehindTheEnd)
{
    MakeTwo(msFile);
    const std::uintmax_t ulSize = std::filesystem::file_size(msFile);
    for (DWORD ulMode : {kulAlone | STGM_TRANSACTED, kulOneWriter, kulBeside})
    {
        ASSERT_EQ(mRoot.Open(msFile, ulMode), S_OK);
        EXPECT_EQ(mRoot.Put("Large", std::string(1000000, 'x')), S_OK);
        mRoot.Close();
        EXPECT_EQ(std::filesystem::file_size(msFile), ulSize) << std::hex << ulMode;
    }
}

TEST_F(StgLoss, ACreationThatIsRefusedDeletesNothing)
{
    MakeTwo(msFile);
    ASSERT_EQ(mOther.Open(msFile, kulBeside | STGM_NOSNAPSHOT), S_OK);
    EXPECT_EQ(mRoot.Create(msFile, kulBeside | STGM_CREATE | STGM_DELETEONRELEASE), STG_E_LOCKVIOLATION);
    mOther.Close();
    ASSERT_EQ(mRoot.Open(msFile, kulLooking), S_OK);
    EXPECT_EQ(mRoot.Get("One"), "first");
}

TEST_F(StgLoss, ACommitWithoutChangesLeavesWhatOthersCommitted)
{
    MakeTwo(msFile);
    ASSERT_EQ(mRoot.Open(msFile, kulBeside), S_OK);
    ASSERT_EQ(mOther.Open(msFile, kulBeside), S_OK);
    EXPECT_EQ(mOther.Put("Three", "third"), S_OK);
    EXPECT_EQ(mOther->Commit(STGC_DEFAULT), S_OK);
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    mRoot.Close();
    mOther.Close();
    ASSERT_EQ(mRoot.Open(msFile, kulLooking), S_OK);
    EXPECT_EQ(mRoot.Get("Three"), "third");
}

// What a writer left who was killed before its last write.
TEST_F(StgLoss, BytesBehindTheEndAreNotTakenForZeros)
{
    MakeTwo(msFile);
    ASSERT_EQ(mRoot.Open(msFile, kulBeside), S_OK);
    std::ofstream(msFile, std::ios::binary | std::ios::app) << std::string(200000, 'x');
    IStream* pStream = nullptr;
    ASSERT_EQ(mRoot->CreateStream(W(Widen("Zeros").c_str()), kulAlone, 0, 0, &pStream), S_OK);
    ULARGE_INTEGER size;
    size.QuadPart = 100000;
    EXPECT_EQ(pStream->SetSize(size), S_OK);
    pStream->Release();
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    mRoot.Close();
    ASSERT_EQ(mRoot.Open(msFile, kulLooking), S_OK);
    EXPECT_TRUE(mRoot.Get("Zeros") == std::string(100000, '\0'));
}

TEST_F(StgLoss, CommitsThatFailWithChangesInBetweenLeaveTheOldStateWhole)
{
    std::filesystem::create_directory(mFolder / "disk");
    SmallDisk disk(mFolder / "disk");
    if (!disk) GTEST_SKIP() << kpNoDisk;
    const std::string sFile = mFolder / "disk/file", sOld(5000, 'o');
    MakeTwo(sFile, sOld);
    ASSERT_EQ(mRoot.Open(sFile, kulBeside), S_OK);
    EXPECT_EQ(mRoot->DestroyElement(W(Widen("One").c_str())), S_OK);
    EXPECT_EQ(mRoot.Put("A", std::string(6000, 'a')), S_OK);
    disk.Fill();
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), STG_E_MEDIUMFULL);
    EXPECT_EQ(mRoot.Put("B", std::string(4500, 'b')), S_OK);
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), STG_E_MEDIUMFULL);
    {
        Root now;
        ASSERT_EQ(now.Open(sFile, kulLooking), S_OK);
        EXPECT_TRUE(now.Get("One") == sOld);
    }
    disk.MakeRoom();
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    mRoot.Close();
    ASSERT_EQ(mRoot.Open(sFile, kulLooking), S_OK);
    EXPECT_EQ(mRoot.Get("One"), Root::Code(STG_E_FILENOTFOUND));
    EXPECT_TRUE(mRoot.Get("A") == std::string(6000, 'a'));
    EXPECT_TRUE(mRoot.Get("B") == std::string(4500, 'b'));
}

TEST_F(StgLoss, WhatASingleWriterLeavesIsOnTheDiskAndDirectChangesDoNotWaitForIt)
{
    constexpr DWORD kulSingleWriter = STGM_DIRECT_SWMR | STGM_READWRITE | STGM_SHARE_DENY_WRITE;
    MakeTwo(msFile);
    for (DWORD ulMode : {kulAlone, kulSingleWriter})
    {
        ASSERT_EQ(mRoot.Open(msFile, ulMode), S_OK);
        EXPECT_EQ(mRoot.Put("One", "changed"), S_OK);
        const int iBefore = CountFlushes();
        mRoot.Close();
        EXPECT_EQ(CountFlushes() - iBefore, ulMode == kulAlone ? 0 : 2) << "contents and header";
    }

    // A single writer's readers have the old state when the disk does not take the new one.
    ASSERT_EQ(mRoot.Open(msFile, kulSingleWriter), S_OK);
    EXPECT_EQ(mRoot.Put("One", std::string(10000, 'x')), S_OK);
    FailFlushes(0);
    mRoot.Close();
    LetFlushes();
    ASSERT_EQ(mRoot.Open(msFile, kulLooking), S_OK);
    EXPECT_EQ(mRoot.Get("One"), "changed");
}

TEST_F(StgLoss, BehindALargeHeaderIsNothingOfWhatWasThereBefore)
{
    for (DWORD ulMode : {kulAlone | STGM_CONVERT, kulAlone | STGM_TRANSACTED | STGM_CONVERT, kulBeside | STGM_CREATE})
    {
        ASSERT_TRUE(WriteText(msFile, std::string(10000, 'x')));
        STGOPTIONS options{};
        options.usVersion = 1;
        options.ulSectorSize = 4096;
        IStorage* pRoot = nullptr;
        const HRESULT hr = StgCreateStorageEx(W(Widen(msFile).c_str()), ulMode, STGFMT_DOCFILE, 0, &options, nullptr, IID_IStorage,
                                              reinterpret_cast<void**>(&pRoot));
        ASSERT_EQ(hr, ulMode & STGM_CONVERT ? STG_S_CONVERTED : S_OK);
        EXPECT_EQ(pRoot->Commit(STGC_DEFAULT), S_OK);
        pRoot->Release();
        EXPECT_TRUE(ReadText(msFile).substr(512, 4096 - 512) == std::string(4096 - 512, '\0')) << std::hex << ulMode;
        ASSERT_EQ(mRoot.Open(msFile, kulAlone), S_OK);
        EXPECT_TRUE(!(ulMode & STGM_CONVERT) || mRoot.Get("CONTENTS") == std::string(10000, 'x'));
        mRoot.Close();
    }
}
