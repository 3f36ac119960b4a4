// What others do to a file in the middle of a copy or a move: in calls of its target, or in other threads.
#include "StorageParts.h"

#include "FakeStorage.h"
#include "Wine.h"

#include <atomic>
#include <functional>
#include <thread>

namespace
{
// A target that lets something happen in the middle: once, with such a call of its stream.
class Target
{
public:
    Target(std::string sCall, std::function<void()> between) : msCall(std::move(sCall)), mBetween(std::move(between))
    {
        mStorage.pStorage = mInside.pStorage = &mInside;
        mStorage.pStream = mInside.pStream = &mStream;
        spTarget = this;
        mStream.pBefore = [] { spTarget->OnCall(); };
    }
    IStorage* Get() { return &mStorage; }
    bool Had(const std::string& sCall) const
    {
        return std::find(mStream.calls.begin(), mStream.calls.end(), sCall) != mStream.calls.end();
    }

private:
    void OnCall()
    {
        if (mStream.calls.back() != msCall) return;
        if (const auto between = std::exchange(mBetween, nullptr)) between();
    }
    static inline Target* spTarget;
    const std::string msCall;
    std::function<void()> mBetween;
    FakeStream mStream;
    FakeStorage mInside, mStorage;
};

class IStorageBetween : public testing::TestWithParam<DWORD>
{
protected:
    IStorageBetween()
    {
        Put(mSub, u"Stream", std::string(600000, 's'));
        NewStorage(mSub, u"Deep");
    }
    // How a copy ends in the middle of which somebody does something in a transaction over Sub, and another stream is made.
    HRESULT CopyBeside(const std::function<void(IStorage*)>& change)
    {
        mSub.Reset();
        mSub = OpenStorage(mRoot, u"Sub", kulTransacted);
        Target target(
            "Write 262144",
            [&]
            {
                change(mSub);
                EXPECT_EQ(mSub->Commit(STGC_DEFAULT), S_OK);
                Put(mOther, u"Secret", std::string(600000, '!'));
            });
        return mRoot->CopyTo(0, nullptr, nullptr, target.Get());
    }
    RootFolder mFolder;
    Storage mRoot = mFolder.Create(GetParam()), mOther = NewStorage(mRoot, u"A"), mSub = NewStorage(mRoot, u"Sub");
};
INSTANTIATE_TEST_SUITE_P(Modes, IStorageBetween, testing::Values(STGM_DIRECT, STGM_TRANSACTED));
} // namespace

TEST_P(IStorageBetween, ACommitThatReplacesWhatIsBeingCopiedEndsTheCopy)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine copies nothing that is open";
    EXPECT_EQ(CopyBeside([](IStorage* pSub) { Put(pSub, u"Stream", std::string(600000, 't')); }), STG_E_REVERTED);
    EXPECT_EQ(CopyBeside([](IStorage* pSub) { EXPECT_EQ(pSub->DestroyElement(W(u"Stream")), S_OK); }), STG_E_REVERTED);
    EXPECT_EQ(Names(mSub), NameList{u"Deep/"});
}

TEST_P(IStorageBetween, ACommitThatMovesWhatIsBeingCopiedEndsTheCopy)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine copies nothing that is open";
    EXPECT_EQ(CopyBeside(
                  [](IStorage* pSub)
                  {
                      const Storage deep = OpenStorage(pSub, u"Deep");
                      EXPECT_EQ(pSub->MoveElementTo(W(u"Stream"), deep, W(u"Moved"), STGMOVE_MOVE), S_OK);
                  }),
              STG_E_REVERTED);
    EXPECT_EQ(Get(OpenStorage(mSub, u"Deep"), u"Moved"), std::string(600000, 's'));
}

TEST_P(IStorageBetween, ACommitOfOtherThingsLetsACopyGoOn)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine copies nothing that is open";
    EXPECT_EQ(CopyBeside([](IStorage* pSub) { Put(pSub, u"Another", "another"); }), S_OK);
}

TEST_P(IStorageBetween, WhatIsMadeInThePlaceOfSomethingCopiedIsCopiedToo)
{
    mSub.Reset();
    mOther.Reset();
    Put(mRoot, u"B", "b");
    Put(mRoot, u"M", "mm");
    Target target("Write 2",
                  [&]
                  {
                      EXPECT_EQ(mRoot->DestroyElement(W(u"B")), S_OK);
                      Put(mRoot, u"Z", "zzz");
                  });
    EXPECT_EQ(mRoot->CopyTo(0, nullptr, nullptr, target.Get()), S_OK);
    EXPECT_TRUE(target.Had("Write 2"));
    EXPECT_EQ(target.Had("Write 3"), !RunsUnderWine()); // which copies no element that comes meanwhile
}

TEST_P(IStorageBetween, WhatIsWrittenBeforeAMoveEndsIsMovedToo)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine does not move elements";
    const Storage target = mFolder.Create(GetParam(), "Other.cfb");
    for (int iRound = 0; iRound < 100; ++iRound)
    {
        Put(mRoot, u"Written", "");
        std::atomic<ULONGLONG> ullWritten = 0;
        std::thread writer(
            [&]
            {
                for (HRESULT hr = S_OK; hr != STG_E_FILENOTFOUND;)
                {
                    Stream stream;
                    hr = mRoot->OpenStream(W(u"Written"), nullptr, kulElement, 0, stream.Out());
                    if (FAILED(hr) || FAILED(stream->Seek(By(0), STREAM_SEEK_END, nullptr))) continue;
                    if (stream->Write("x", 1, nullptr) == S_OK) ++ullWritten;
                }
            });
        HRESULT hr = STG_E_ACCESSDENIED; // while the writer has it
        while (hr == STG_E_ACCESSDENIED) hr = mRoot->MoveElementTo(W(u"Written"), target, W(u"Moved"), STGMOVE_MOVE);
        writer.join();
        EXPECT_EQ(hr, S_OK);
        EXPECT_EQ(SizeOf(OpenStream(target, u"Moved")), ullWritten) << iRound;
        EXPECT_EQ(target->DestroyElement(W(u"Moved")), S_OK);
    }
}
