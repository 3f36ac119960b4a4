#include "System.h"

#include "Error.h"
#include "Platform.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

BOOL GetVersionExA(OSVERSIONINFOA* pVersion)
{
    if (pVersion->dwOSVersionInfoSize < sizeof *pVersion)
    {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    pVersion->dwMajorVersion = 10;
    pVersion->dwMinorVersion = 0;
    pVersion->dwBuildNumber = 19045;
    pVersion->dwPlatformId = VER_PLATFORM_WIN32_NT;
    pVersion->szCSDVersion[0] = 0;

    DWORD ulMajor = 0, ulMinor = 0, ulBuild = 0, ulPlatform = 0;
    const char* pOverride = std::getenv("LUMBASE_OSVERSION");
    if (pOverride && std::sscanf(pOverride, "%u.%u.%u.%u", &ulMajor, &ulMinor, &ulBuild, &ulPlatform) == 4)
    {
        pVersion->dwMajorVersion = ulMajor;
        pVersion->dwMinorVersion = ulMinor;
        pVersion->dwBuildNumber = ulBuild;
        pVersion->dwPlatformId = ulPlatform;
    }
    return TRUE;
}

static void Fill(SYSTEMTIME* pTime, const tm& parts, long lNanoseconds)
{
    pTime->wYear = static_cast<WORD>(parts.tm_year + 1900);
    pTime->wMonth = static_cast<WORD>(parts.tm_mon + 1);
    pTime->wDayOfWeek = static_cast<WORD>(parts.tm_wday);
    pTime->wDay = static_cast<WORD>(parts.tm_mday);
    pTime->wHour = static_cast<WORD>(parts.tm_hour);
    pTime->wMinute = static_cast<WORD>(parts.tm_min);
    pTime->wSecond = static_cast<WORD>(parts.tm_sec < 60 ? parts.tm_sec : 59); // Windows knows no leap second
    pTime->wMilliseconds = static_cast<WORD>(lNanoseconds / 1000000);
}

void GetLocalTime(SYSTEMTIME* pTime)
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts;
    localtime_r(&now.tv_sec, &parts);
    Fill(pTime, parts, now.tv_nsec);
}

bool LumLocalTime(long long llSeconds, std::tm* pLocal)
{
    const time_t lSeconds = llSeconds;
    return localtime_r(&lSeconds, pLocal) != nullptr;
}

void GetSystemTime(SYSTEMTIME* pTime)
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts;
    gmtime_r(&now.tv_sec, &parts);
    Fill(pTime, parts, now.tv_nsec);
}

void GetSystemTimeAsFileTime(FILETIME* pTime)
{
    constexpr ULONGLONG kulSecondsFrom1601To1970 = 11644473600ull;
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    const ULONGLONG ulSteps = (static_cast<ULONGLONG>(now.tv_sec) + kulSecondsFrom1601To1970) * 10000000 +
                              static_cast<ULONGLONG>(now.tv_nsec) / 100;
    pTime->dwLowDateTime = static_cast<DWORD>(ulSteps);
    pTime->dwHighDateTime = static_cast<DWORD>(ulSteps >> 32);
}

static LONGLONG MonotonicNanoseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<LONGLONG>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

BOOL QueryPerformanceCounter(LARGE_INTEGER* pCount)
{
    pCount->QuadPart = MonotonicNanoseconds();
    return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* pStepsPerSecond)
{
    pStepsPerSecond->QuadPart = 1000000000;
    return TRUE;
}

DWORD GetTickCount() { return static_cast<DWORD>(MonotonicNanoseconds() / 1000000); }

void Sleep(DWORD ulMilliseconds)
{
    if (ulMilliseconds == INFINITE)
        for (;;) pause();
    timespec left{static_cast<time_t>(ulMilliseconds / 1000), static_cast<long>(ulMilliseconds % 1000) * 1000000};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {}
}

DWORD GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }

// A child of fork has another number: the cache is emptied there. No system call otherwise, for mutexes ask often.
__attribute__((tls_model("initial-exec"))) static constinit thread_local DWORD gulThread = 0;
[[maybe_unused]] static const int giForkHandler = pthread_atfork(nullptr, nullptr, [] { gulThread = 0; });

DWORD GetCurrentThreadId()
{
    if (gulThread == 0) gulThread = static_cast<DWORD>(syscall(SYS_gettid));
    return gulThread;
}

// One write for a text, so that the lines of several threads and programs stay whole.
static void WriteWhole(int iFile, const char* pText)
{
    std::size_t ulLeft = std::strlen(pText);
    while (ulLeft > 0)
    {
        const ssize_t lWritten = write(iFile, pText, ulLeft);
        if (lWritten < 0 && errno == EINTR) continue;
        if (lWritten <= 0) return; // debug output that cannot be written is lost, and nobody is told
        pText += lWritten;
        ulLeft -= static_cast<std::size_t>(lWritten);
    }
}

void OutputDebugStringA(LPCSTR pText)
{
    const char* pTarget = std::getenv("LUMBASE_DEBUG_OUTPUT");
    if (!pTarget || !pText) return;
    if (std::strcmp(pTarget, "stderr") == 0)
    {
        WriteWhole(STDERR_FILENO, pText);
        return;
    }
    if (std::strncmp(pTarget, "file:", 5) != 0) return;
    const int iFile = open(pTarget + 5, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (iFile < 0) return;
    WriteWhole(iFile, pText);
    close(iFile);
}
