// Compound files by name on real disks: what is no file, rights, full disks, killed processes, room that is used again. Linux only.
#include "StgCalls.h"

#include "FileHandle.h"
#include "OtherProcess.h"
#include "SmallDisk.h"
#include "StorageMemory.h"
#include "StorageNamed.h"
#include "TempFolder.h"
#include "WithoutPasses.h"
#include "linux/storage/CompoundFile.h"
#include "linux/storage/ScratchBytes.h"
#include "linux/storage/StorageCheck.h"
#include "linux/storage/WrapBytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
std::string Damage(lum::StorageBytes& bytes)
{
    std::vector<lum::StorageFinding> findings;
    if (lum::CheckStorage(bytes, findings) != S_OK) return "cannot be opened";
    return findings.empty() ? "" : findings[0].sWhere + ": " + findings[0].sWhat;
}

std::string DamageOf(const std::string& sFile)
{
    const int fd = open(sFile.c_str(), O_RDONLY | O_CLOEXEC);
    lum::DescriptorBytes bytes(fd);
    const std::string sDamage = Damage(bytes);
    close(fd);
    return sDamage;
}

class StgDisk : public testing::Test
{
protected:
    TempFolder mFolder;
    const std::string msFile = mFolder / "file";
    Root mRoot;

    // The file's size after so many commits that replace a stream of 100,000 bytes.
    std::uintmax_t SizeAfter(int iCommits)
    {
        for (int i = 0; i < iCommits; ++i)
        {
            EXPECT_EQ(mRoot.Put("One", std::string(100000, static_cast<char>('a' + i % 26))), S_OK);
            EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
        }
        return std::filesystem::file_size(msFile);
    }
};
} // namespace

TEST_F(StgDisk, WhatIsNoFileIsRefusedWithoutWaiting)
{
    ASSERT_EQ(mkfifo((mFolder / "pipe").c_str(), 0600), 0);
    for (const std::string& sName : {mFolder / "pipe", std::string("/dev/null"), std::string("/dev/zero"), mFolder.Path()})
    {
        EXPECT_EQ(mRoot.Open(sName, kulAlone), STG_E_ACCESSDENIED) << sName;
        EXPECT_EQ(mRoot.Open(sName, kulLooking), STG_E_ACCESSDENIED) << sName;
        EXPECT_EQ(mRoot.Create(sName, kulAlone | STGM_CREATE), STG_E_ACCESSDENIED) << sName;
        EXPECT_EQ(StgIsStorageFile(W(Widen(sName).c_str())), STG_E_FILENOTFOUND) << sName;
    }
}

TEST_F(StgDisk, RightsDecideWhoOpensAndMakes)
{
    MakeTwo(msFile);
    std::filesystem::create_directory(mFolder / "closed");
    chmod((mFolder / "closed").c_str(), 0500);
    chmod(msFile.c_str(), 0400);
    const auto check = [&]
    {
        Root root;
        return root.Open(msFile, kulAlone) == STG_E_ACCESSDENIED &&
               root.Create(msFile, kulAlone | STGM_CREATE) == STG_E_ACCESSDENIED &&
               root.Open(msFile, STGM_READ | STGM_SHARE_DENY_WRITE) == S_OK && root.Open(msFile, kulLooking) == S_OK &&
               root.Create(mFolder / "closed/new", kulAlone) == STG_E_ACCESSDENIED;
    };
    EXPECT_TRUE(WithoutPasses(check));
    chmod(msFile.c_str(), 0);
    EXPECT_TRUE(WithoutPasses(
        [&]
        {
            Root root;
            return root.Open(msFile, kulLooking) == STG_E_ACCESSDENIED &&
                   StgIsStorageFile(W(Widen(msFile).c_str())) == STG_E_ACCESSDENIED;
        }));
}

TEST_F(StgDisk, OnAFullDiskNothingIsMadeAndTheCommittedStateStays)
{
    std::filesystem::create_directory(mFolder / "disk");
    SmallDisk disk(mFolder / "disk");
    if (!disk) GTEST_SKIP() << kpNoDisk;
    const std::string sFile = mFolder / "disk/file", sOther = mFolder / "disk/other";
    for (DWORD ulMode : {kulAlone | STGM_TRANSACTED, kulBeside})
    {
        MakeTwo(sFile);
        disk.Fill();
        EXPECT_EQ(mRoot.Create(sOther, ulMode), STG_E_MEDIUMFULL);
        EXPECT_FALSE(std::filesystem::exists(sOther));
        ASSERT_EQ(mRoot.Open(sFile, ulMode), S_OK);
        const HRESULT hrPut = mRoot.Put("Large", std::string(10000, 'x'));
        const HRESULT hr = SUCCEEDED(hrPut) ? mRoot->Commit(STGC_DEFAULT) : hrPut;
        EXPECT_EQ(hr, STG_E_MEDIUMFULL);
        EXPECT_EQ(DamageOf(sFile), "");
        disk.MakeRoom();
        EXPECT_EQ(mRoot->Revert(), S_OK);
        EXPECT_EQ(mRoot.Get("One"), "first");
        EXPECT_EQ(mRoot.Get("Large"), Root::Code(STG_E_FILENOTFOUND));
        ASSERT_EQ(mRoot.Put("Large", std::string(10000, 'x')), S_OK);
        EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
        mRoot.Close();
        EXPECT_EQ(DamageOf(sFile), "");
    }
}

TEST_F(StgDisk, ACommitToAFullDiskCanBeTriedAgain)
{
    std::filesystem::create_directory(mFolder / "disk");
    SmallDisk disk(mFolder / "disk");
    if (!disk) GTEST_SKIP() << kpNoDisk;
    const std::string sFile = mFolder / "disk/file";
    MakeTwo(sFile);
    ASSERT_EQ(mRoot.Open(sFile, kulBeside), S_OK);
    ASSERT_EQ(mRoot.Put("Large", std::string(10000, 'x')), S_OK);
    disk.Fill();
    ASSERT_EQ(mRoot->Commit(STGC_DEFAULT), STG_E_MEDIUMFULL);
    Root look;
    ASSERT_EQ(look.Open(sFile, kulLooking), S_OK);
    EXPECT_EQ(look.Get("Large"), Root::Code(STG_E_FILENOTFOUND));
    disk.MakeRoom();
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    ASSERT_EQ(look.Open(sFile, kulLooking), S_OK);
    EXPECT_TRUE(look.Get("Large") == std::string(10000, 'x'));
    EXPECT_EQ(DamageOf(sFile), "");
}

TEST_F(StgDisk, CreationOverAnotherFileGoesBackToItsBeginningAfterAFailedCommit)
{
    std::filesystem::create_directory(mFolder / "disk");
    SmallDisk disk(mFolder / "disk");
    if (!disk) GTEST_SKIP() << kpNoDisk;
    const std::string sFile = mFolder / "disk/file";
    ASSERT_TRUE(WriteText(sFile, "text"));
    ASSERT_EQ(mRoot.Create(sFile, kulAlone | STGM_TRANSACTED | STGM_CREATE), S_OK);
    ASSERT_EQ(mRoot.Put("New", std::string(10000, 'x')), S_OK);
    disk.Fill();
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), STG_E_MEDIUMFULL);
    EXPECT_EQ(std::filesystem::file_size(sFile), 4u);
    ASSERT_EQ(mRoot->Revert(), S_OK);
    EXPECT_EQ(mRoot.Get("New"), Root::Code(STG_E_FILENOTFOUND));
    EXPECT_EQ(mRoot.Get("CONTENTS"), Root::Code(STG_E_FILENOTFOUND));
    disk.MakeRoom();
    ASSERT_EQ(mRoot.Put("New", "new"), S_OK);
    EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
    mRoot.Close();
    EXPECT_EQ(DamageOf(sFile), "");
    ASSERT_EQ(mRoot.Open(sFile, kulAlone), S_OK);
    EXPECT_EQ(mRoot.Get("New"), "new");
}

TEST_F(StgDisk, FreedRoomIsUsedAgainOnceNobodyReadsTheOldState)
{
    const std::string sOld(100000, 'o');
    for (DWORD ulWriter : {kulOneWriter, kulBeside})
    {
        MakeTwo(msFile, sOld);
        ASSERT_EQ(mRoot.Open(msFile, ulWriter), S_OK);
        const std::uintmax_t ulAlone = SizeAfter(4);
        EXPECT_EQ(SizeAfter(20), ulAlone);
        Root reader;
        ASSERT_EQ(reader.Open(msFile, kulLooking), S_OK);
        const std::string sSeen = reader.Get("One");
        const std::uintmax_t ulBeside = SizeAfter(10);
        EXPECT_GT(ulBeside, ulAlone + 8 * 100000);
        EXPECT_TRUE(reader.Get("One") == sSeen);
        reader.Close();
        SizeAfter(1);
        const std::uintmax_t ulAfter = SizeAfter(1);
        EXPECT_EQ(SizeAfter(20), ulAfter);
        mRoot.Close();
        EXPECT_EQ(DamageOf(msFile), "");
    }
}

TEST_F(StgDisk, AKilledReaderKeepsNothing)
{
    MakeTwo(msFile, std::string(100000, 'o'));
    OtherProcess other("storage-holder");
    ASSERT_EQ(other.Ask("open " + std::to_string(kulLooking) + " " + msFile), Root::Code(S_OK));
    ASSERT_EQ(mRoot.Open(msFile, kulOneWriter), S_OK);
    SizeAfter(3);
    other.Kill();
    SizeAfter(1);
    const std::uintmax_t ulAfter = SizeAfter(1);
    EXPECT_EQ(SizeAfter(10), ulAfter);
}

TEST_F(StgDisk, AProcessKilledAmongItsCommitsLeavesOneOfItsStates)
{
    for (DWORD ulMode : {kulOneWriter, kulBeside})
        for (int iRound = 0; iRound < 12; ++iRound)
        {
            MakeTwo(msFile, std::string(50000, 'o'));
            OtherProcess other("storage-holder");
            ASSERT_EQ(other.Ask("open " + std::to_string(ulMode) + " " + msFile), Root::Code(S_OK));
            for (const char* pLetter : {"a", "b", "c", "d"})
            {
                other.Tell(std::string("fill One ") + pLetter + " 50000");
                other.Tell("commit 0");
            }
            usleep(static_cast<useconds_t>(iRound * 700));
            other.Kill();
            EXPECT_EQ(DamageOf(msFile), "");
            ASSERT_EQ(mRoot.Open(msFile, kulAlone), S_OK);
            const std::string sOne = mRoot.Get("One");
            EXPECT_TRUE(sOne.size() == 50000 && sOne == std::string(50000, sOne[0])) << sOne.substr(0, 20);
            mRoot.Close();
        }
}

TEST_F(StgDisk, CreationOverADamagedFileIsPossible)
{
    MakeTwo(msFile, std::string(5000, 'x'));
    std::string sBytes = ReadText(msFile);
    for (std::size_t i = 512; i < sBytes.size(); ++i) sBytes[i] = static_cast<char>(i * 7);
    for (DWORD ulMode : {kulAlone, kulAlone | STGM_TRANSACTED, kulBeside})
    {
        ASSERT_TRUE(WriteText(msFile, sBytes));
        ASSERT_EQ(mRoot.Create(msFile, ulMode | STGM_CREATE), S_OK);
        ASSERT_EQ(mRoot.Put("New", "new"), S_OK);
        ASSERT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
        ASSERT_EQ(mRoot.Open(msFile, kulAlone), S_OK);
        EXPECT_EQ(mRoot.Get("New"), "new");
        mRoot.Close();
        EXPECT_EQ(DamageOf(msFile), "");
    }
}

// Bytes that become a compound file, on a disk that stops after every single change.
TEST(WrapBytes, TheOldBytesOrTheNewFileAreThereAfterAnyStop)
{
    for (std::size_t ulBytes : {0u, 300u, 5000u, 70000u})
        for (WORD uwVersion : {WORD{3}, WORD{4}})
        {
            const std::vector<BYTE> old(ulBytes, 'o');
            bool bDone = false;
            for (ULONG ulAllowed = 0; !bDone; ++ulAllowed)
            {
                StorageMemory disk(old);
                lum::ScratchBytes scratch(disk, nullptr);
                lum::CompoundFile file(scratch);
                ULONG ulEntry = 0;
                ASSERT_EQ(scratch.Begin(), S_OK);
                ASSERT_EQ(lum::WrapBytes(scratch, uwVersion), S_OK);
                ASSERT_EQ(Damage(scratch), "");
                ASSERT_EQ(file.Open(lum::StorageAccess::Transacted), S_OK);
                ASSERT_EQ(RemoveNamed(file, lum::kulRootEntry, u"CONTENTS"), S_OK);
                ASSERT_EQ(InsertNamed(file, lum::kulRootEntry, u"New", lum::EntryKind::Stream, ulEntry), S_OK);
                ASSERT_EQ(file.Write(ulEntry, 0, old.data(), old.size()), S_OK);
                ASSERT_EQ(file.Commit(), S_OK);
                disk.mulAllowed = ulAllowed;
                bDone = scratch.Publish() == S_OK;
                const bool bNew = disk.maBytes.size() > 8 && std::memcmp(disk.maBytes.data(), lum::kaubCfMagic, 8) == 0;
                EXPECT_TRUE(bNew || !bDone);
                const bool bOld = std::equal(old.begin(), old.end(), disk.maBytes.begin());
                EXPECT_EQ(bNew ? Damage(disk) : bOld ? "" : "the old bytes are gone", "") << ulBytes << ' ' << ulAllowed;
            }
        }
}

namespace
{
// A file and a change of all its bytes, header included, that could not be published; of what failed, so much came to the disk.
struct Unpublished
{
    Unpublished(ULONG ulAllowed, StorageMemory::Landing eLanding) : disk(std::vector<BYTE>(2000, 'o')), scratch(disk, nullptr)
    {
        EXPECT_EQ(scratch.Begin(), S_OK);
        EXPECT_EQ(scratch.Write(0, fresh.data(), fresh.size()), S_OK);
        disk.meLanding = eLanding;
        disk.Stop(ulAllowed, 2); // and what would put it back
        bDone = scratch.Publish() == S_OK;
        disk.GoOn();
    }
    bool HasOldHeader() const { return std::count(disk.maBytes.begin(), disk.maBytes.begin() + 512, 'o') == 512; }

    const std::vector<BYTE> fresh = std::vector<BYTE>(3000, 'n');
    StorageMemory disk;
    lum::ScratchBytes scratch;
    bool bDone = false;
};
constexpr StorageMemory::Landing kaeLandings[] = {StorageMemory::Landing::None, StorageMemory::Landing::Half,
                                                  StorageMemory::Landing::Whole};
} // namespace

TEST(ScratchBytes, AHeaderThatCameByHalvesIsTakenBackAsSoonAsTheDiskWorks)
{
    int iUnsure = 0;
    for (const auto eLanding : kaeLandings)
        for (ULONG ulAllowed = 0;; ++ulAllowed)
        {
            Unpublished file(ulAllowed, eLanding);
            if (file.bDone) break;
            iUnsure += !file.HasOldHeader();
            ASSERT_EQ(file.scratch.Settle(), S_OK);
            ASSERT_TRUE(file.HasOldHeader()) << ulAllowed;
            ASSERT_EQ(file.scratch.Publish(), S_OK);
            ASSERT_EQ(file.disk.maBytes, file.fresh);
        }
    EXPECT_GE(iUnsure, 2);
}

TEST(ScratchBytes, AHeaderOfAnotherIsNotTakenBack)
{
    for (const auto eLanding : kaeLandings)
        for (ULONG ulAllowed = 0;; ++ulAllowed)
        {
            Unpublished file(ulAllowed, eLanding);
            if (file.bDone) break;
            if (file.HasOldHeader()) continue;
            file.disk.maBytes[100] = 'x';
            ASSERT_EQ(file.scratch.Settle(), S_OK);
            EXPECT_EQ(file.disk.maBytes[100], 'x');
        }
}
