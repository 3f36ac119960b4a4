// Events without a name.
#include "FileHandle.h"
#include "ObjectHandle.h"

#include <atomic>
#include <vector>

namespace
{
bool IsSet(HANDLE hEvent) { return WaitForSingleObject(hEvent, 0) == WAIT_OBJECT_0; }

// Threads that wait for one event, with the last error and the result of each.
class Waiters
{
public:
    Waiters(HANDLE hEvent, int iThreads, DWORD ulMilliseconds = INFINITE)
    {
        for (int i = 0; i < iThreads; ++i)
            mThreads.emplace_back([this, hEvent, ulMilliseconds] {
                const DWORD ulAnswer = WaitForSingleObject(hEvent, ulMilliseconds);
                if (ulAnswer == WAIT_OBJECT_0) ++miReleased;
            });
        LetThemSleep();
    }
    ~Waiters() { Join(); }
    void Join()
    {
        for (std::thread& thread : mThreads) thread.join();
        mThreads.clear();
    }
    int Released()
    {
        LetThemSleep();
        return miReleased;
    }

private:
    std::vector<std::thread> mThreads;
    std::atomic<int> miReleased{0};
};
} // namespace

TEST(Event, StartsAsItIsToldTo)
{
    EXPECT_TRUE(IsSet(ObjectHandle(NewEvent(true, true))));
    EXPECT_TRUE(IsSet(ObjectHandle(NewEvent(false, true))));
    EXPECT_FALSE(IsSet(ObjectHandle(NewEvent(true, false))));
    EXPECT_FALSE(IsSet(ObjectHandle(NewEvent(false, false))));
}

TEST(Event, OfManualResetStaysSetUntilItIsReset)
{
    const ObjectHandle event = NewEvent(true);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(IsSet(event));
    EXPECT_TRUE(IsSet(event));
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_FALSE(IsSet(event));
}

TEST(Event, OfAutoResetIsTakenByOneWait)
{
    const ObjectHandle event = NewEvent(false);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(SetEvent(event)); // what is set already stays so
    EXPECT_TRUE(IsSet(event));
    EXPECT_FALSE(IsSet(event));
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_FALSE(IsSet(event));
}

TEST(Event, OfManualResetReleasesAllWhoWait)
{
    const ObjectHandle event = NewEvent(true);
    Waiters waiters(event, 4);
    EXPECT_EQ(waiters.Released(), 0);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(waiters.Released(), 4);
}

TEST(Event, ResetRightBehindTheSetKeepsNobodyBackWhoWaited)
{
    const ObjectHandle event = NewEvent(true);
    for (int i = 0; i < 3; ++i)
    {
        Waiters waiters(event, 4);
        SetEvent(event);
        ResetEvent(event);
        EXPECT_EQ(waiters.Released(), 4);
        EXPECT_FALSE(IsSet(event));
        SetEvent(event); // should they not have been released, they are to end here
        waiters.Join();
        ResetEvent(event);
    }
}

TEST(Event, OfAutoResetReleasesOneForEverySet)
{
    const ObjectHandle event = NewEvent(false);
    Waiters waiters(event, 5);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(waiters.Released(), 1);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(SetEvent(event)); // nobody needs to have run in between
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(waiters.Released(), 4);
    EXPECT_FALSE(IsSet(event));
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(waiters.Released(), 5);
    EXPECT_FALSE(IsSet(event));
}

TEST(Event, HandedToWhoWaitsIsNotTakenBackByWhoSetIt)
{
    const ObjectHandle event = NewEvent(false);
    for (int i = 0; i < 5; ++i)
    {
        Waiters waiters(event, 1);
        EXPECT_TRUE(SetEvent(event));
        EXPECT_FALSE(IsSet(event));
        EXPECT_EQ(waiters.Released(), 1);
    }
}

TEST(Event, OfAutoResetGoesToWhoHasWaitedLongest)
{
    const ObjectHandle event = NewEvent(false);
    std::atomic<int> iEnded{0};
    std::vector<int> order(6, -1);
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i)
    {
        threads.emplace_back([&, i] {
            if (WaitForSingleObject(event, 20'000) == WAIT_OBJECT_0) order[i] = iEnded++;
        });
        LetThemSleep();
    }
    for (int i = 0; i < 6; ++i)
    {
        SetEvent(event);
        for (int iTries = 0; iEnded <= i && iTries < 2000; ++iTries) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5}));
}

TEST(Event, WhoeverHasGivenUpIsNotHandedAnything)
{
    const ObjectHandle event = NewEvent(false);
    Waiters waiters(event, 3, 80);
    waiters.Join();
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(IsSet(event));
    EXPECT_FALSE(IsSet(event));
}

TEST(Event, PulseReleasesThoseAloneWhoWait)
{
    const ObjectHandle manual = NewEvent(true), automatic = NewEvent(false);
    EXPECT_TRUE(PulseEvent(manual));
    EXPECT_TRUE(PulseEvent(automatic));
    EXPECT_FALSE(IsSet(manual));
    EXPECT_FALSE(IsSet(automatic));

    Waiters all(manual, 3), one(automatic, 3);
    EXPECT_TRUE(PulseEvent(manual));
    EXPECT_TRUE(PulseEvent(automatic));
    EXPECT_EQ(all.Released(), 3);
    EXPECT_EQ(one.Released(), 1);
    SetEvent(automatic);
    SetEvent(automatic);
}

TEST(Event, NoSetIsLostAndNoneCountsTwice)
{
    // Each side answers the other's set with one of its own: a lost one would leave both waiting.
    const ObjectHandle ping = NewEvent(false), pong = NewEvent(false);
    constexpr int kiRounds = 5000;
    int iShared = 0; // passed to and fro by the events alone
    std::thread other([&] {
        for (int i = 0; i < kiRounds; ++i)
        {
            if (WaitForSingleObject(ping, 20'000) != WAIT_OBJECT_0) return;
            ++iShared;
            SetEvent(pong);
        }
    });
    for (int i = 0; i < kiRounds; ++i)
    {
        ++iShared;
        SetEvent(ping);
        ASSERT_EQ(WaitForSingleObject(pong, 20'000), WAIT_OBJECT_0);
        ASSERT_EQ(iShared, 2 * (i + 1));
    }
    other.join();
}

TEST(Event, ManyWhoSetAndManyWhoWaitComeOutEven)
{
    // An event as a lock: taken by a wait, given back by a set.
    const ObjectHandle event = NewEvent(false, true);
    constexpr int kiThreads = 6, kiRounds = 1000;
    int iCount = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < kiThreads; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < kiRounds; ++i)
            {
                while (WaitForSingleObject(event, i % 3 ? INFINITE : 1) != WAIT_OBJECT_0) {}
                ++iCount;
                SetEvent(event);
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(iCount, kiThreads * kiRounds);
    EXPECT_TRUE(IsSet(event));
    EXPECT_FALSE(IsSet(event));
}

TEST(Event, ChangesLeaveTheLastErrorAlone)
{
    SetLastError(77);
    const ObjectHandle event = NewEvent(false);
    EXPECT_EQ(GetLastError(), DWORD(NO_ERROR)); // making one says that it is new
    SetLastError(77);
    SetEvent(event);
    ResetEvent(event);
    PulseEvent(event);
    EXPECT_EQ(GetLastError(), 77u);
}

TEST(Event, HandlesThatAreNoneOrOfAnotherKindAreRefused)
{
    const ObjectHandle mutex = NewMutex();
    const FileHandle file("NUL", kulRead);
    ObjectHandle closed = NewEvent(false);
    const HANDLE hClosed = closed;
    closed.Close();
    for (HANDLE hBad : {HANDLE(nullptr), HANDLE(mutex), HANDLE(file), hClosed, INVALID_HANDLE_VALUE,
                        reinterpret_cast<HANDLE>(ULONG_PTR(0x7777774))})
    {
        EXPECT_EQ(ErrorOf(SetEvent(hBad)), DWORD(ERROR_INVALID_HANDLE));
        EXPECT_EQ(ErrorOf(ResetEvent(hBad)), DWORD(ERROR_INVALID_HANDLE));
        EXPECT_EQ(ErrorOf(PulseEvent(hBad)), DWORD(ERROR_INVALID_HANDLE));
    }
}

TEST(Event, ADuplicateIsTheSameEvent)
{
    ObjectHandle event = NewEvent(true);
    HANDLE hCopy = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), event, GetCurrentProcess(), &hCopy, 0, FALSE, DUPLICATE_SAME_ACCESS));
    const ObjectHandle copy = hCopy;
    SetEvent(event);
    event.Close();
    EXPECT_TRUE(IsSet(copy));
    EXPECT_TRUE(ResetEvent(copy));
    EXPECT_FALSE(IsSet(copy));
}

TEST(Event, OneWithAnEmptyNameHasNone)
{
    const ObjectHandle first = CreateEventA(nullptr, TRUE, FALSE, ""), second = CreateEventA(nullptr, TRUE, FALSE, "");
    EXPECT_EQ(GetLastError(), DWORD(NO_ERROR));
    SetEvent(first);
    EXPECT_FALSE(IsSet(second));
}

TEST(Event, ClosedWhileAThreadWaitsLeavesTheWaitAsItIs)
{
    ObjectHandle event = NewEvent(false);
    HANDLE hCopy = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), event, GetCurrentProcess(), &hCopy, 0, FALSE, DUPLICATE_SAME_ACCESS));
    Waiters waiters(event, 1);
    event.Close();
    EXPECT_EQ(waiters.Released(), 0);
    SetEvent(hCopy);
    EXPECT_EQ(waiters.Released(), 1);
    CloseHandle(hCopy);
}
