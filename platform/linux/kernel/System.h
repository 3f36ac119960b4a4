// Who and when: version, time, counters, identities, and the debugger's output.
#pragma once

#include "Types.h"

#define VER_PLATFORM_WIN32_WINDOWS 1
#define VER_PLATFORM_WIN32_NT 2

struct OSVERSIONINFOA
{
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    CHAR szCSDVersion[128];
};
using LPOSVERSIONINFOA = OSVERSIONINFOA*;
static_assert(sizeof(OSVERSIONINFOA) == 148);

// GetVersionExA: an operating system of the NT family, or what LUMBASE_OSVERSION=major.minor.build.platform says.
//   Errors: ERROR_INSUFFICIENT_BUFFER when the record's size is not set.
BOOL GetVersionExA(OSVERSIONINFOA* pVersion);

void GetLocalTime(SYSTEMTIME* pTime);
void GetSystemTime(SYSTEMTIME* pTime); // UTC
void GetSystemTimeAsFileTime(FILETIME* pTime);

// A monotonic counter in steps of a nanosecond. Both always succeed.
BOOL QueryPerformanceCounter(LARGE_INTEGER* pCount);
BOOL QueryPerformanceFrequency(LARGE_INTEGER* pStepsPerSecond);
DWORD GetTickCount(); // milliseconds, wraps after 49.7 days

void Sleep(DWORD ulMilliseconds); // INFINITE: for good
DWORD GetCurrentProcessId();
DWORD GetCurrentThreadId();

// OutputDebugStringA: to the target of LUMBASE_DEBUG_OUTPUT: "stderr" or "file:PATH" (appended). Unset: nowhere.
void OutputDebugStringA(LPCSTR pText);
