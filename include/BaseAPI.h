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

    // ThrowApiException, ThrowAppException: the exception of a code, with the last error, or with 0.
    [[noreturn]] void ThrowApiException(ULONG ulCode);
    [[noreturn]] void ThrowAppException(ULONG ulCode);
};
