// A compound file of a test's own, and what the system's calls are told.
#pragma once

#include "OComStorage.h"
#include "OComStream.h"
#include "OString.h"

#include "TempFolder.h"

constexpr ULONG kulElement = STGM_READWRITE | STGM_SHARE_EXCLUSIVE; // how an element is opened
constexpr ULONG kulNewFile = STGM_CREATE | kulElement;
constexpr ULONG kulReadFile = STGM_READ | STGM_SHARE_DENY_WRITE;

class ComFile
{
public:
    const unsigned short* Name() const { return msName; }
    // In the folder, which no other test has.
    OString Beside(const char* pName) const { return OString((mFolder / pName).c_str()); }

private:
    const TempFolder mFolder;
    const OString msName{(mFolder / "Runs.cfb").c_str()};
};

inline LARGE_INTEGER Move(LONGLONG llBytes)
{
    LARGE_INTEGER move{};
    move.QuadPart = llBytes;
    return move;
}
