// What the process runs on.
#pragma once

#include "Platform.h"

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
