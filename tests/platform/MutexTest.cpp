// Mutexes without a name.
#include "FileHandle.h"
#include "ObjectHandle.h"

#include <atomic>
#include <vector>

namespace
{
// Whether a thread that owns nothing could have it; it gives it back.
DWORD AskedByAnother(HANDLE hMutex)
{
    return InAnotherThread([=] {
        const DWORD ulAnswer = WaitForSingleObject(hMutex, 0);
        if (ulAnswer != WAIT_TIMEOUT) ReleaseMutex(hMutex);
        return ulAnswer;
    });
}

// A thread takes it and ends.
void Abandon(HANDLE hMutex)
{
    std::thread([=] { WaitForSingleObject(hMutex, INFINITE); }).join();
}
} // namespace

TEST(Mutex, BelongsToItsMakerOnlyWhenAskedFor)
{
    const ObjectHandle free = NewMutex(), owned = NewMutex(true);
    EXPECT_EQ(AskedByAnother(free), WAIT_OBJECT_0);
    EXPECT_EQ(AskedByAnother(owned), DWORD(WAIT_TIMEOUT));
    EXPECT_TRUE(ReleaseMutex(owned));
    EXPECT_EQ(AskedByAnother(owned), WAIT_OBJECT_0);
}

TEST(Mutex, IsGivenBackAsOftenAsItWasTaken)
{
    const ObjectHandle mutex = NewMutex(true);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(AskedByAnother(mutex), DWORD(WAIT_TIMEOUT));
        EXPECT_TRUE(ReleaseMutex(mutex));
    }
    EXPECT_EQ(AskedByAnother(mutex), WAIT_OBJECT_0);
    EXPECT_EQ(ErrorOf(ReleaseMutex(mutex)), DWORD(ERROR_NOT_OWNER));
}

TEST(Mutex, IsReleasedByItsOwnerAlone)
{
    const ObjectHandle mutex = NewMutex(true);
    EXPECT_EQ(InAnotherThread([&] { return ErrorOf(ReleaseMutex(mutex)); }), DWORD(ERROR_NOT_OWNER));
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_EQ(ErrorOf(ReleaseMutex(mutex)), DWORD(ERROR_NOT_OWNER));
}

TEST(Mutex, LetsOneThreadInAtATime)
{
    constexpr int kiThreads = 4, kiRounds = 3000;
    const ObjectHandle mutex = NewMutex();
    int iCount = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < kiThreads; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < kiRounds; ++i)
            {
                while (WaitForSingleObject(mutex, i % 4 ? INFINITE : 1) != WAIT_OBJECT_0) {}
                ++iCount;
                ReleaseMutex(mutex);
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(iCount, kiThreads * kiRounds);
}

TEST(Mutex, OfAThreadThatEndedIsReportedOnce)
{
    const ObjectHandle mutex = NewMutex();
    Abandon(mutex);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_ABANDONED);
    EXPECT_EQ(AskedByAnother(mutex), DWORD(WAIT_TIMEOUT)); // it is ours now
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_EQ(ErrorOf(ReleaseMutex(mutex)), DWORD(ERROR_NOT_OWNER));
    EXPECT_EQ(AskedByAnother(mutex), WAIT_OBJECT_0);
}

TEST(Mutex, OfAThreadThatEndedGoesToExactlyOneOfThoseWhoWait)
{
    for (int iRound = 0; iRound < 10; ++iRound)
    {
        const ObjectHandle mutex = NewMutex(), taken = NewEvent(true), end = NewEvent(true);
        std::thread owner([&] {
            WaitForSingleObject(mutex, INFINITE);
            SetEvent(taken);
            WaitForSingleObject(end, INFINITE);
        });
        WaitForSingleObject(taken, INFINITE);

        std::atomic<int> iAbandoned{0}, iPlain{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < 6; ++t)
            threads.emplace_back([&, t] {
                DWORD ulAnswer = t % 2 ? WaitForSingleObject(mutex, 20'000) : WaitAny({ObjectHandle(NewEvent(true)), mutex}, 20'000);
                if (t % 2 == 0 && ulAnswer != WAIT_TIMEOUT) --ulAnswer;
                if (ulAnswer == WAIT_ABANDONED) ++iAbandoned;
                if (ulAnswer == WAIT_OBJECT_0) ++iPlain;
                ReleaseMutex(mutex);
            });
        if (iRound % 2) LetThemSleep();
        SetEvent(end);
        owner.join();
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(iAbandoned, 1);
        EXPECT_EQ(iPlain, 5);
    }
}

TEST(Mutex, WakesEverybodyInTheEndWhoSleptForIt)
{
    const ObjectHandle mutex = NewMutex(true);
    std::atomic<int> iHad{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 6; ++t)
        threads.emplace_back([&, t] {
            const DWORD ulAnswer = t % 2 ? WaitForSingleObject(mutex, INFINITE) : WaitAny({mutex, ObjectHandle(NewEvent(true))}, INFINITE);
            if (ulAnswer == WAIT_OBJECT_0) ++iHad;
            ReleaseMutex(mutex);
        });
    LetThemSleep();
    EXPECT_EQ(iHad, 0);
    ReleaseMutex(mutex);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(iHad, 6);
}

TEST(Mutex, CanBeClosedWhileAThreadOwnsIt)
{
    for (int i = 0; i < 20; ++i)
    {
        ObjectHandle ours = NewMutex(true), theirs = NewMutex();
        const ObjectHandle taken = NewEvent(true), end = NewEvent(true), after = NewMutex();
        std::thread owner([&] {
            WaitForSingleObject(theirs, INFINITE);
            SetEvent(taken);
            WaitForSingleObject(end, INFINITE);
            WaitForSingleObject(after, INFINITE);
        });
        WaitForSingleObject(taken, INFINITE);
        ours.Close();
        theirs.Close();
        SetEvent(end);
        owner.join();
        EXPECT_EQ(WaitForSingleObject(after, 0), WAIT_ABANDONED); // what the thread owned besides was not lost sight of
        ReleaseMutex(after);
    }
}

TEST(Mutex, HandlesThatAreNoneOrOfAnotherKindAreRefused)
{
    const ObjectHandle event = NewEvent(true);
    const FileHandle file("NUL", kulRead);
    for (HANDLE hBad : {HANDLE(nullptr), HANDLE(event), HANDLE(file), reinterpret_cast<HANDLE>(ULONG_PTR(0x7777774))})
        EXPECT_EQ(ErrorOf(ReleaseMutex(hBad)), DWORD(ERROR_INVALID_HANDLE));
}

TEST(Mutex, TakingAndReleasingLeaveTheLastErrorAlone)
{
    SetLastError(77);
    const ObjectHandle mutex = NewMutex(true);
    EXPECT_EQ(GetLastError(), DWORD(NO_ERROR)); // making one says that it is new
    SetLastError(77);
    WaitForSingleObject(mutex, 0);
    ReleaseMutex(mutex);
    EXPECT_EQ(GetLastError(), 77u);
}
