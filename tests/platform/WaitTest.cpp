// Waiting for one object and for any of several.
#include "FileHandle.h"
#include "ObjectHandle.h"
#include "TempFolder.h"
#include "Wine.h"

#include <array>
#include <atomic>
#include <vector>

namespace
{
DWORD AnyError(DWORD ulCount, const HANDLE* phObjects, BOOL bAll = FALSE, DWORD ulMilliseconds = 0)
{
    const DWORD ulAnswer = WaitForMultipleObjects(ulCount, phObjects, bAll, ulMilliseconds);
    return ulAnswer == WAIT_FAILED ? GetLastError() : ulAnswer | 0x80000000u;
}

LONGLONG Milliseconds()
{
    LARGE_INTEGER count, perSecond;
    QueryPerformanceCounter(&count);
    QueryPerformanceFrequency(&perSecond);
    return count.QuadPart / (perSecond.QuadPart / 1000);
}
} // namespace

TEST(Wait, AnswersAtOnceWhenItNeedNotWait)
{
    const ObjectHandle event = NewEvent(true, true), mutex = NewMutex();
    EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(WaitAny({event, mutex}, INFINITE), WAIT_OBJECT_0);
    ReleaseMutex(mutex);
}

TEST(Wait, EndsNoEarlierThanItsTimeAndThatIsNoError)
{
    const ObjectHandle automatic = NewEvent(false), manual = NewEvent(true), mutex = NewMutex();
    const ObjectHandle taken = NewEvent(true), end = NewEvent(true);
    std::thread owner([&] {
        WaitForSingleObject(mutex, INFINITE);
        SetEvent(taken);
        WaitForSingleObject(end, INFINITE);
        ReleaseMutex(mutex);
    });
    WaitForSingleObject(taken, INFINITE);
    SetLastError(77);
    for (HANDLE hObject : {HANDLE(automatic), HANDLE(manual), HANDLE(mutex)})
    {
        LONGLONG llStart = Milliseconds();
        EXPECT_EQ(WaitForSingleObject(hObject, 30), DWORD(WAIT_TIMEOUT));
        EXPECT_GE(Milliseconds() - llStart, 29);
        llStart = Milliseconds();
        EXPECT_EQ(WaitAny({automatic, hObject, mutex}, 30), DWORD(WAIT_TIMEOUT));
        EXPECT_GE(Milliseconds() - llStart, 29);
    }
    EXPECT_EQ(GetLastError(), 77u);
    SetEvent(end);
    owner.join();
}

TEST(Wait, TakesTheFirstOfThoseThatAreSignalledAndNoOther)
{
    const ObjectHandle a = NewEvent(false), b = NewEvent(false, true), c = NewEvent(false, true), mutex = NewMutex();
    EXPECT_EQ(WaitAny({a, b, c, mutex}), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(WaitAny({a, b, c, mutex}), WAIT_OBJECT_0 + 2);
    EXPECT_EQ(WaitAny({a, b, c, mutex}), WAIT_OBJECT_0 + 3);
    EXPECT_EQ(WaitAny({a, b, c, mutex}), WAIT_OBJECT_0 + 3); // an owner may take it again
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_EQ(WaitAny({a, b, c}), DWORD(WAIT_TIMEOUT));
}

TEST(Wait, SaysWhichOfTheMutexesWasAbandoned)
{
    const ObjectHandle event = NewEvent(false), first = NewMutex(), second = NewMutex();
    std::thread([&] {
        WaitForSingleObject(first, 0);
        WaitForSingleObject(second, 0);
        ReleaseMutex(first);
    }).join();
    EXPECT_EQ(WaitAny({event, second, first}), WAIT_ABANDONED_0 + 1);
    EXPECT_EQ(WaitAny({event, first, second}), WAIT_OBJECT_0 + 1);
    EXPECT_TRUE(ReleaseMutex(first));
    EXPECT_TRUE(ReleaseMutex(second));
    EXPECT_EQ(ErrorOf(ReleaseMutex(second)), DWORD(ERROR_NOT_OWNER));
}

TEST(Wait, IsEndedByWhicheverObjectComesFirst)
{
    constexpr int kiObjects = 6;
    std::array<ObjectHandle, kiObjects> objects;
    for (int i = 0; i < kiObjects; ++i) objects[i] = NewEvent(i % 2);
    for (int iRound = 0; iRound < 2 * kiObjects; ++iRound)
    {
        const int iSet = iRound % kiObjects;
        std::thread setter([&] {
            LetThemSleep();
            SetEvent(objects[iSet]);
        });
        HANDLE aObjects[kiObjects];
        for (int i = 0; i < kiObjects; ++i) aObjects[i] = objects[i];
        EXPECT_EQ(WaitForMultipleObjects(kiObjects, aObjects, FALSE, 20'000), WAIT_OBJECT_0 + iSet);
        setter.join();
        ResetEvent(objects[iSet]);
        EXPECT_EQ(WaitForMultipleObjects(kiObjects, aObjects, FALSE, 0), DWORD(WAIT_TIMEOUT));
    }
}

TEST(Wait, HoldsUpTo64Objects)
{
    std::vector<ObjectHandle> objects;
    std::vector<HANDLE> handles;
    for (int i = 0; i < 65; ++i) handles.push_back(objects.emplace_back(NewEvent(false)));
    EXPECT_EQ(AnyError(64, handles.data(), FALSE, 10), WAIT_TIMEOUT | 0x80000000u);
    EXPECT_EQ(AnyError(65, handles.data()), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(AnyError(0, handles.data()), DWORD(ERROR_INVALID_PARAMETER));

    std::thread setter([&] {
        LetThemSleep();
        SetEvent(handles[63]);
    });
    EXPECT_EQ(WaitForMultipleObjects(64, handles.data(), FALSE, 20'000), WAIT_OBJECT_0 + 63);
    setter.join();
}

TEST(Wait, OneObjectMayStandTwice)
{
    const ObjectHandle event = NewEvent(false);
    EXPECT_EQ(WaitAny({event, event}, 10), DWORD(WAIT_TIMEOUT));
    std::thread setter([&] {
        LetThemSleep();
        SetEvent(event);
    });
    EXPECT_EQ(WaitAny({event, event}, 20'000), WAIT_OBJECT_0);
    setter.join();
    EXPECT_EQ(WaitAny({event, event}), DWORD(WAIT_TIMEOUT));
}

TEST(Wait, ForAllOfOneIsAWaitForOne)
{
    const ObjectHandle event = NewEvent(false, true);
    const HANDLE hEvent = event;
    EXPECT_EQ(WaitForMultipleObjects(1, &hEvent, TRUE, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForMultipleObjects(1, &hEvent, TRUE, 0), DWORD(WAIT_TIMEOUT));
}

TEST(Wait, RefusesHandlesThatAreNone)
{
    ObjectHandle event = NewEvent(false, true);
    ObjectHandle other = NewEvent(false);
    const HANDLE hClosed = other;
    other.Close();
    for (HANDLE hBad : {HANDLE(nullptr), hClosed, reinterpret_cast<HANDLE>(ULONG_PTR(0x7777774))})
    {
        EXPECT_EQ(WaitError(hBad), DWORD(ERROR_INVALID_HANDLE));
        EXPECT_EQ(WaitError(hBad, INFINITE), DWORD(ERROR_INVALID_HANDLE));
        const HANDLE aBehind[] = {event, hBad}, aBefore[] = {hBad, event};
        EXPECT_EQ(AnyError(2, aBehind), DWORD(ERROR_INVALID_HANDLE)); // one bad one spoils the wait
        EXPECT_EQ(AnyError(2, aBefore), DWORD(ERROR_INVALID_HANDLE));
    }
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0); // nothing was taken
}

TEST(Wait, NeedsTheRightToDoSo)
{
    HKEY hKey = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\LumWaitTest", 0, nullptr, 0, KEY_READ, nullptr, &hKey, nullptr), 0);
    EXPECT_EQ(WaitError(reinterpret_cast<HANDLE>(hKey)), DWORD(ERROR_ACCESS_DENIED)); // a key is opened without it
    RegCloseKey(hKey);
    RegDeleteKeyA(HKEY_CURRENT_USER, "Software\\LumWaitTest");
}

TEST(Wait, AFileIsAlwaysSignalled)
{
    TempFolder folder;
    ASSERT_TRUE(WriteText(folder / "file", "text"));
    const FileHandle file(folder / "file", kulRead);
    const ObjectHandle event = NewEvent(false);
    EXPECT_EQ(WaitForSingleObject(file, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(file, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitAny({event, file}), WAIT_OBJECT_0 + 1);
}

TEST(Wait, TheProcessAndTheThreadAreWaitedForInVain)
{
    EXPECT_EQ(WaitForSingleObject(GetCurrentProcess(), 10), DWORD(WAIT_TIMEOUT));
    EXPECT_EQ(WaitForSingleObject(GetCurrentThread(), 10), DWORD(WAIT_TIMEOUT));
    EXPECT_TRUE(CloseHandle(GetCurrentThread()));
    EXPECT_TRUE(CloseHandle(GetCurrentThread()));
}

TEST(Wait, WhoeverTakesOneObjectLeavesTheOthersToTheOthers)
{
    // Threads that wait for both, and each event set as often as there are threads: all of them end, none with an event too much.
    const ObjectHandle first = NewEvent(false), second = NewEvent(false), mutex = NewMutex();
    constexpr int kiThreads = 4, kiRounds = 300;
    std::atomic<int> iFirst{0}, iSecond{0}, iMutex{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kiThreads; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < kiRounds; ++i)
            {
                const DWORD ulAnswer = WaitAny({first, second}, 20'000);
                if (ulAnswer == WAIT_OBJECT_0) ++iFirst;
                if (ulAnswer == WAIT_OBJECT_0 + 1) ++iSecond;
                if (WaitForSingleObject(mutex, 20'000) == WAIT_OBJECT_0) ++iMutex;
                ReleaseMutex(mutex);
            }
        });
    // A set of an event that is set already does nothing, so each waits for the one before to have been taken.
    int iSets[2] = {};
    for (int i = 0; i < kiThreads * kiRounds; ++i)
    {
        SetEvent(i % 2 ? second : first);
        ++iSets[i % 2];
        const std::atomic<int>& iTaken = i % 2 ? iSecond : iFirst;
        for (int iTries = 0; iTaken < iSets[i % 2] && iTries < 20'000'000; ++iTries) std::this_thread::yield();
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(iFirst, kiThreads * kiRounds / 2);
    EXPECT_EQ(iSecond, kiThreads * kiRounds / 2);
    EXPECT_EQ(iMutex, kiThreads * kiRounds);
}

TEST(Wait, TwoEventsSetAtOnceGoToTwoThreadsThatWaitForBoth)
{
    const ObjectHandle first = NewEvent(false), second = NewEvent(false);
    for (int iRound = 0; iRound < 200; ++iRound)
    {
        std::atomic<int> iReleased{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < 2; ++t)
            threads.emplace_back([&] {
                if (WaitAny({first, second}, 20'000) != WAIT_TIMEOUT) ++iReleased;
            });
        if (iRound % 20 == 0) LetThemSleep();
        SetEvent(first);
        SetEvent(second);
        for (std::thread& thread : threads) thread.join();
        ASSERT_EQ(iReleased, 2);
    }
}

TEST(Wait, AMutexPassedOverDoesNotKeepTheOthersAsleep)
{
    // Each round one thread is woken for the mutex and the event at once and takes the event; the other must get the mutex.
    const ObjectHandle event = NewEvent(false), mutex = NewMutex(), go = NewEvent(false);
    for (int iRound = 0; iRound < 100; ++iRound)
    {
        ASSERT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
        std::atomic<int> iHad{0};
        std::thread picky([&] {
            const DWORD ulAnswer = WaitAny({event, mutex}, 20'000);
            if (ulAnswer == WAIT_OBJECT_0 + 1) ReleaseMutex(mutex);
            if (ulAnswer != WAIT_TIMEOUT) ++iHad;
        });
        std::thread plain([&] {
            if (WaitForSingleObject(mutex, 20'000) != WAIT_OBJECT_0) return;
            ++iHad;
            ReleaseMutex(mutex);
        });
        if (iRound % 10 == 0) LetThemSleep();
        if (iRound % 2) SetEvent(event);
        ReleaseMutex(mutex);
        if (iRound % 2 == 0) SetEvent(event);
        picky.join();
        plain.join();
        ASSERT_EQ(iHad, 2);
        ResetEvent(event);
    }
}
