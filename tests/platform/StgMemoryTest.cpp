// Compound files by name when memory runs out anywhere. Linux only.
#include "StgCalls.h"

#include "FewBlocks.h"
#include "OpenHandles.h"
#include "StorageContent.h"
#include "TempFolder.h"

#include <filesystem>

namespace
{
const std::string ksOld(6000, 'o'), ksNew(9000, 'n');

class StgMemory : public testing::TestWithParam<DWORD>
{
protected:
    // An open file with two streams and a change of both.
    void Begin()
    {
        mRoot.Close();
        std::filesystem::remove(msFile);
        MakeTwo(msFile, ksOld);
        ASSERT_EQ(mRoot.Open(msFile, GetParam()), S_OK);
        ASSERT_EQ(mRoot.Put("One", ksNew), S_OK);
        ASSERT_EQ(mRoot.Put("Two", "new"), S_OK);
    }
    // "old" or "new", or what else a root holds.
    static std::string StateOf(Root& root)
    {
        const std::string sOne = root.Get("One"), sTwo = root.Get("Two");
        if (sOne == ksOld && sTwo == "second") return "old";
        return sOne == ksNew && sTwo == "new" ? "new" : sOne.substr(0, 20) + ", " + sTwo.substr(0, 20);
    }
    std::string StateInFile() const
    {
        Root look;
        EXPECT_EQ(look.Open(msFile, kulLooking), S_OK);
        return StateOf(look);
    }

    TempFolder mFolder;
    const std::string msFile = mFolder / "file";
    Root mRoot;
};
} // namespace

TEST_P(StgMemory, ACommitWithoutMemoryLeavesTheOldStateOrTheNewWhole)
{
    HRESULT hr = E_FAIL;
    int iFailures = 0;
    for (long lBlocks = 0; FAILED(hr) && lBlocks < 500; ++lBlocks)
    {
        Begin();
        hr = WithBlocks(lBlocks, [&] { return mRoot->Commit(STGC_DEFAULT); });
        if (SUCCEEDED(hr)) break;
        ++iFailures;
        ASSERT_EQ(hr, STG_E_INSUFFICIENTMEMORY);
        EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), STG_E_INSUFFICIENTMEMORY) << "half a change is not committed";
        ASSERT_EQ(mRoot->Revert(), S_OK);
        const std::string sState = StateOf(mRoot);
        EXPECT_TRUE(sState == "old" || sState == "new") << sState << ", " << lBlocks;
        EXPECT_EQ(StateInFile(), sState) << lBlocks;
        ASSERT_EQ(mRoot.Put("One", ksNew), S_OK);
        ASSERT_EQ(mRoot.Put("Two", "new"), S_OK);
        ASSERT_EQ(mRoot->Commit(STGC_DEFAULT), S_OK);
        EXPECT_EQ(StateInFile(), "new") << lBlocks;
    }
    EXPECT_EQ(hr, S_OK);
    EXPECT_GT(iFailures, 0);
}

TEST_P(StgMemory, ARevertWithoutMemoryCanBeTriedAgain)
{
    HRESULT hr = E_FAIL;
    int iFailures = 0;
    for (long lBlocks = 0; FAILED(hr) && lBlocks < 500; ++lBlocks)
    {
        Begin();
        hr = WithBlocks(lBlocks, [&] { return mRoot->Revert(); });
        if (FAILED(hr))
        {
            ++iFailures;
            ASSERT_EQ(hr, STG_E_INSUFFICIENTMEMORY);
            EXPECT_EQ(StateOf(mRoot), "new");
            EXPECT_EQ(mRoot->Commit(STGC_DEFAULT), STG_E_INSUFFICIENTMEMORY);
            ASSERT_EQ(mRoot->Revert(), S_OK);
        }
        EXPECT_EQ(StateOf(mRoot), "old");
        EXPECT_EQ(StateInFile(), "old");
    }
    EXPECT_EQ(hr, S_OK);
    EXPECT_GT(iFailures, 0);
}

TEST_P(StgMemory, AnOpeningWithoutMemoryLeavesNothing)
{
    HRESULT hrCreate = E_FAIL, hrOpen = E_FAIL;
    const std::string sNew = mFolder / "new";
    const std::u16string sName = Widen(sNew);
    Begin(); // what stays open for good is open then
    mRoot.Close();
    const std::size_t ulHandles = CountOpenHandles();
    int iFailures = 0;
    for (long lBlocks = 0; FAILED(hrCreate) && lBlocks < 500; ++lBlocks)
    {
        hrCreate = WithBlocks(lBlocks, [&] { return StgCreateDocfile(W(sName.c_str()), GetParam(), 0, mRoot.Place()); });
        if (SUCCEEDED(hrCreate)) break;
        ++iFailures;
        ASSERT_EQ(hrCreate, STG_E_INSUFFICIENTMEMORY);
        ASSERT_FALSE(std::filesystem::exists(sNew)) << lBlocks;
        ASSERT_EQ(CountOpenHandles(), ulHandles) << lBlocks;
    }
    EXPECT_EQ(hrCreate, S_OK);
    mRoot.Close();
    for (long lBlocks = 0; FAILED(hrOpen) && lBlocks < 500; ++lBlocks)
    {
        const DWORD ulMode = GetParam();
        hrOpen = WithBlocks(
            lBlocks, [&] { return StgOpenStorage(W(sName.c_str()), nullptr, ulMode, nullptr, 0, mRoot.Place()); });
        if (SUCCEEDED(hrOpen)) break;
        ++iFailures;
        ASSERT_EQ(hrOpen, STG_E_INSUFFICIENTMEMORY);
        ASSERT_EQ(CountOpenHandles(), ulHandles) << lBlocks;
    }
    EXPECT_EQ(hrOpen, S_OK);
    EXPECT_GT(iFailures, 10);
}

TEST(StgMemoryByName, WhatFilesAreAndTheirTimesAreAskedForWithoutMemory)
{
    const TempFolder folder;
    const std::string sFile = folder / "a file whose name is too long to be kept without memory";
    const std::u16string sName = Widen(sFile);
    const FILETIME time{0, 0x01DC0000};
    MakeTwo(sFile, ksOld);
    EXPECT_EQ(WithBlocks(0, [&] { return StgIsStorageFile(W(sName.c_str())); }), STG_E_INSUFFICIENTMEMORY);
    EXPECT_EQ(WithBlocks(0, [&] { return StgSetTimes(W(sName.c_str()), nullptr, nullptr, &time); }), STG_E_INSUFFICIENTMEMORY);
    EXPECT_EQ(StgIsStorageFile(W(sName.c_str())), S_OK);
    EXPECT_EQ(StgSetTimes(W(sName.c_str()), nullptr, nullptr, &time), S_OK);
}

INSTANTIATE_TEST_SUITE_P(Modes, StgMemory, testing::Values(kulOneWriter, kulBeside));
