// Compound files by name: two that make one file at the same time. Linux only.
#include "StgCalls.h"

#include "FewBlocks.h"
#include "FileHandle.h"
#include "TempFolder.h"

#include <chrono>
#include <filesystem>
#include <future>
#include <new>

namespace
{
constexpr DWORD kulUnlessThere = kulBeside, kulOver = kulBeside | STGM_CREATE, kulAround = kulBeside | STGM_CONVERT,
                kulGoes = kulBeside | STGM_DELETEONRELEASE, kulWithout = kulBeside | STGM_NOSNAPSHOT;

// The first one makes the file, and another one comes in between at some step. Steps are told apart by the blocks of memory that
// are asked for.
class StgRace : public testing::TestWithParam<DWORD>
{
protected:
    HRESULT OthersCommit()
    {
        Root other;
        HRESULT hr = other.Create(msFile, kulOver);
        if (SUCCEEDED(hr)) hr = other.Put("Data", "committed");
        return SUCCEEDED(hr) ? other->Commit(STGC_DEFAULT) : hr;
    }
    // The other one may have to wait for the first.
    void Begin()
    {
        mOther = std::async(std::launch::async, [this] { return OthersCommit(); });
        mOther.wait_for(std::chrono::milliseconds(5));
    }
    void Forget()
    {
        mRoot.Close();
        mOther = {};
        std::filesystem::remove(msFile);
    }
    std::string InFile()
    {
        Root look;
        const HRESULT hr = look.Open(msFile, kulLooking);
        return hr == S_OK ? look.Get("Data") : Root::Code(hr);
    }

    TempFolder mFolder;
    const std::string msFile = mFolder / "file";
    const std::u16string msName = Widen(msFile);
    Root mRoot;
    std::future<HRESULT> mOther;
};
} // namespace

TEST_P(StgRace, WhatAnotherOneCommitsWhileAFileIsMadeStays)
{
    int iBetween = 0;
    for (long lBlocks = 0; lBlocks < 500; ++lBlocks)
    {
        Forget();
        WithCall(lBlocks, [this] { Begin(); }, [&] { return StgCreateDocfile(W(msName.c_str()), GetParam(), 0, mRoot.Place()); });
        if (!mOther.valid()) break;
        ++iBetween;
        const HRESULT hrOther = mOther.get();
        mRoot.Close();
        // Who comes without snapshots keeps others out, and those that delete in the end do.
        const bool bStays = SUCCEEDED(hrOther) && !(GetParam() & STGM_DELETEONRELEASE);
        EXPECT_EQ(bStays ? InFile() : "committed", "committed") << lBlocks;
        EXPECT_EQ(GetParam() == kulWithout ? S_OK : hrOther, S_OK) << lBlocks;
    }
    EXPECT_GT(iBetween, 20);
}

TEST_P(StgRace, WhatAnotherOneCommitsStaysWhenMemoryEndsForTheOneThatMadeTheFile)
{
    const auto beginAndEnd = [this]
    {
        Begin();
        SetBlocks(0);
    };
    int iFailures = 0;
    for (long lBlocks = 0; lBlocks < 500; ++lBlocks)
    {
        Forget();
        const HRESULT hr =
            WithCall(lBlocks, beginAndEnd, [&] { return StgCreateDocfile(W(msName.c_str()), GetParam(), 0, mRoot.Place()); });
        if (!mOther.valid()) break;
        EXPECT_TRUE(FAILED(hr)) << lBlocks;
        ++iFailures;
        const HRESULT hrOther = mOther.get();
        // In the moment in which the first takes its file back, it is in use.
        const bool bKeptOut = hrOther == STG_E_LOCKVIOLATION && GetParam() == kulWithout;
        EXPECT_TRUE(hrOther == S_OK || hrOther == STG_E_SHAREVIOLATION || bKeptOut) << Root::Code(hrOther) << ", " << lBlocks;
        EXPECT_EQ(SUCCEEDED(hrOther) ? InFile() : "committed", "committed") << lBlocks;
    }
    EXPECT_GT(iFailures, 20);
}

INSTANTIATE_TEST_SUITE_P(Modes, StgRace, testing::Values(kulUnlessThere, kulOver, kulAround, kulGoes, kulWithout));

using StgRaceHandle = StgRace;
TEST_F(StgRaceHandle, AFileWithoutAHandleStaysWhenAnotherOneHasWrittenToIt)
{
    const auto writeAndEnd = [this]
    {
        ASSERT_TRUE(WriteText(msFile, "data"));
        SetBlocks(0);
    };
    int iWritten = 0;
    for (long lBlocks = 0; lBlocks < 100; ++lBlocks)
    {
        Forget();
        const auto make = [&]
        {
            try { return OpenError(msFile, kulWrite, kulShareAll, CREATE_NEW) == NO_ERROR; }
            catch (const std::bad_alloc&) { return false; }
        };
        const bool bMade = WithCall(lBlocks, writeAndEnd, make);
        if (bMade) break;
        ++iWritten;
        EXPECT_EQ(ReadText(msFile), "data") << lBlocks;
    }
    EXPECT_GT(iWritten, 0);
}
