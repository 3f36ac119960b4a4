// System calls that raise when they fail, and what the process runs on.
#pragma once

#include "Platform.h"

#include "OBase.h"

// The system's version record, asked for once, when the object is made. A value: copy it freely.
class OOSVersion
{
public:
    OOSVersion();

    bool IsWinNT() const { return mVersion.dwPlatformId == VER_PLATFORM_WIN32_NT; }
    bool IsWin95() const { return mVersion.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS; }
    // HasWin95Shell: the shell that came with version 4 of either family.
    bool HasWin95Shell() const { return IsWin95() || (IsWinNT() && mVersion.dwMajorVersion >= 4); }
    ULONG MajorVer() const { return mVersion.dwMajorVersion; }
    ULONG MinorVer() const { return mVersion.dwMinorVersion; }

private:
    OSVERSIONINFOA mVersion;
};
static_assert(sizeof(OOSVersion) == 148);

// One system call a member, with the call's own arguments and, when it succeeds, its own result. Made on the stack for one call.
//
//  * A failure is an OAppException* of the base 8500, whatever error base the object has, with the last error as its system
//    error and no text. A null handle never reaches the system: code 5, system error 0.
//  * Whatever passes through a member shows two message boxes on its way: where, and what.
class CApi : public OBase
{
public:
    CApi() = default;
    CApi(const CApi& source) = default;
    CApi& operator=(const CApi& source) = default;
    ~CApi() override = default;

    int FlushFileBuffers(void* hFile); // 19
    int CloseHandle(void* hObject);    // 1

    void* CreateEventA(SECURITY_ATTRIBUTES* pSecurity, int bManualReset, int bInitialState, const char* pName); // 2
    void* OpenEventA(ULONG ulAccess, int bInherit, const char* pName);                                          // 3
    int SetEvent(void* hEvent);                                                                                 // 4
    int ResetEvent(void* hEvent);                                                                               // 4 too
    // WaitOnEvents: until one of them is signalled; null handles are skipped, and do not count.
    //   11 and the place of the first signalled among those that are not null; 17 an abandoned mutex. Raises 18.
    ULONG WaitOnEvents(void* hEvent1, void* hEvent2, void* hEvent3, void* hEvent4, void* hEvent5, void* hEvent6);

    void* CreateMutexA(SECURITY_ATTRIBUTES* pSecurity, int bInitialOwner, const char* pName); // 6
    // WaitForMutex: 0 owned now; 17 owned now, its last owner ended without releasing it; 20 timed out. Raises 18.
    ULONG WaitForMutex(void* hMutex, ULONG dwTimeout);
    int ReleaseMutex(void* hMutex); // 7

    void* CreateFileMappingA(void* hFile, SECURITY_ATTRIBUTES* pSecurity, ULONG ulProtect, ULONG ulSizeHigh, ULONG ulSizeLow,
                             const char* pName); // 8
    void* MapViewOfFile(void* hMapping, ULONG ulAccess, ULONG ulOffsetHigh, ULONG ulOffsetLow, ULONG ulBytes); // 9
    int UnmapViewOfFile(void* pView); // 10

    // ThrowApiException, ThrowAppException: the exception of a code, with the last error, or with 0.
    [[noreturn]] void ThrowApiException(ULONG ulCode);
    [[noreturn]] void ThrowAppException(ULONG ulCode);
};
