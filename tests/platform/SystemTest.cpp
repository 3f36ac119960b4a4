// Version, time, counters and identities.
#include "FileHandle.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

// Of 100 nanoseconds each.
static ULONGLONG Steps(const FILETIME& time) { return ULONGLONG(time.dwHighDateTime) << 32 | time.dwLowDateTime; }
constexpr ULONGLONG kulSecond = 10000000;

static ULONGLONG SecondOfYear(const SYSTEMTIME& time)
{
    return ((time.wMonth * 31ull + time.wDay) * 24 + time.wHour) * 3600 + time.wMinute * 60 + time.wSecond;
}

TEST(System, IsOfTheNtFamily)
{
    OSVERSIONINFOA version;
    std::memset(&version, 0xEE, sizeof version);
    version.dwOSVersionInfoSize = sizeof version;
    ASSERT_TRUE(GetVersionExA(&version));
    EXPECT_EQ(sizeof version, 148u);
    EXPECT_EQ(version.dwPlatformId, DWORD(VER_PLATFORM_WIN32_NT));
    EXPECT_GE(version.dwMajorVersion, 5u);
    EXPECT_LT(strnlen(version.szCSDVersion, sizeof version.szCSDVersion), sizeof version.szCSDVersion);
}

TEST(System, VersionNeedsTheSizeOfItsRecord)
{
    for (DWORD ulSize : {0u, 147u})
    {
        OSVERSIONINFOA version{};
        version.dwOSVersionInfoSize = ulSize;
        EXPECT_EQ(ErrorOf(GetVersionExA(&version)), DWORD(ERROR_INSUFFICIENT_BUFFER));
        EXPECT_EQ(version.dwMajorVersion, 0u);
    }
}

TEST(System, ClocksTellOneTime)
{
    // Again when a second, or a year, ends in between.
    for (int iTry = 0; iTry < 3; ++iTry)
    {
        FILETIME fileTime, again;
        SYSTEMTIME time, local;
        GetSystemTimeAsFileTime(&fileTime);
        GetSystemTime(&time);
        GetLocalTime(&local);
        GetSystemTimeAsFileTime(&again);
        if (Steps(fileTime) / kulSecond != Steps(again) / kulSecond || time.wYear != local.wYear) continue;

        EXPECT_EQ(Steps(fileTime) / kulSecond % 86400, time.wHour * 3600u + time.wMinute * 60u + time.wSecond);
        EXPECT_EQ(Steps(fileTime) / kulSecond / 86400 % 7, (time.wDayOfWeek + 6u) % 7) << "the first of January 1601 was a Monday";
        EXPECT_LT(time.wMilliseconds, 1000);
        EXPECT_EQ(local.wSecond, time.wSecond);
        EXPECT_EQ(SecondOfYear(local) % 900, SecondOfYear(time) % 900) << "time zones differ by quarters of an hour";
        return;
    }
    FAIL() << "the clocks never stood still for a moment";
}

TEST(System, CountersGoOn)
{
    LARGE_INTEGER frequency{}, before{}, after{};
    ASSERT_TRUE(QueryPerformanceFrequency(&frequency));
    EXPECT_GT(frequency.QuadPart, 0);
    ASSERT_TRUE(QueryPerformanceCounter(&before));
    const DWORD ulTicks = GetTickCount();
    Sleep(30);
    ASSERT_TRUE(QueryPerformanceCounter(&after));
    EXPECT_GT(after.QuadPart, before.QuadPart);
    EXPECT_GT(GetTickCount() - ulTicks, 0u);
}

TEST(System, ThreadsHaveNumbersOfTheirOwnInOneProcess)
{
    std::set<DWORD> threads = {GetCurrentThreadId()};
    const DWORD ulProcess = GetCurrentProcessId();
    EXPECT_EQ(GetCurrentThreadId(), *threads.begin());
    EXPECT_NE(ulProcess, 0u);
    for (int i = 0; i < 1; ++i)
    {
        DWORD aulOther[3] = {}, aulProcess[3] = {};
        std::vector<std::thread> others;
        std::atomic<int> iRunning{0};
        for (int k = 0; k < 3; ++k)
            others.emplace_back([&, k] {
                aulOther[k] = GetCurrentThreadId();
                aulProcess[k] = GetCurrentProcessId();
                for (++iRunning; iRunning < 3;) std::this_thread::yield();
            });
        for (std::thread& other : others) other.join();
        threads.insert(aulOther, aulOther + 3);
        for (DWORD ul : aulProcess) EXPECT_EQ(ul, ulProcess);
    }
    EXPECT_EQ(threads.size(), 4u);
}

TEST(LastError, IsTheThreadsOwn)
{
    std::atomic<bool> bSet = false;
    DWORD ulOther = 1;
    std::thread other([&] {
        while (!bSet) std::this_thread::yield();
        ulOther = GetLastError();
        SetLastError(ERROR_SEEK);
        bSet = false;
    });
    SetLastError(ERROR_DISK_FULL);
    bSet = true;
    while (bSet);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_DISK_FULL));
    other.join();
    EXPECT_EQ(ulOther, 0u);
}

TEST(Interlocked, StepsGiveTheNewValueAndExchangesTheOld)
{
    LONG lValue = 5;
    EXPECT_EQ(InterlockedIncrement(&lValue), 6);
    EXPECT_EQ(InterlockedDecrement(&lValue), 5);
    EXPECT_EQ(InterlockedExchange(&lValue, 9), 5);
    EXPECT_EQ(InterlockedExchangeAdd(&lValue, 3), 9);
    EXPECT_EQ(InterlockedCompareExchange(&lValue, 1, 7), 12);
    EXPECT_EQ(lValue, 12);
    EXPECT_EQ(InterlockedCompareExchange(&lValue, 1, 12), 12);
    EXPECT_EQ(lValue, 1);
    lValue = 0x7FFFFFFF;
    EXPECT_EQ(InterlockedIncrement(&lValue), -0x7FFFFFFF - 1);
}

TEST(Interlocked, NoStepIsLost)
{
    LONG lValue = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&lValue] {
            for (int k = 0; k < 20000; ++k) InterlockedIncrement(&lValue);
            for (int k = 0; k < 5000; ++k) InterlockedDecrement(&lValue);
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(lValue, 60000);
}

TEST(LocalMemory, ComesZeroedWhenAskedAndGoesBack)
{
    char* pMemory = static_cast<char*>(LocalAlloc(LPTR, 1000));
    ASSERT_NE(pMemory, nullptr);
    EXPECT_EQ(std::string(pMemory, 1000), std::string(1000, '\0'));
    EXPECT_EQ(LocalFree(pMemory), nullptr);
    EXPECT_EQ(LocalFree(nullptr), nullptr);
    HLOCAL hNothing = LocalAlloc(LMEM_FIXED, 0);
    EXPECT_NE(hNothing, nullptr);
    EXPECT_EQ(LocalFree(hNothing), nullptr);
}
