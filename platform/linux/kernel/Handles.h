// Calls on handles of every kind.
#pragma once

#include "Types.h"

#define DUPLICATE_CLOSE_SOURCE 0x00000001
#define DUPLICATE_SAME_ACCESS 0x00000002

// CloseHandle: ends a handle of any kind.
//   Errors: ERROR_INVALID_HANDLE (closed already, never opened, null).
//   The values that stand for this process and thread (see below) are closed without effect: TRUE.
BOOL CloseHandle(HANDLE hObject);

// GetCurrentProcess, GetCurrentThread: values that stand for this process (INVALID_HANDLE_VALUE) and for whichever thread uses
//   them; they need not be closed.
inline HANDLE GetCurrentProcess() { return INVALID_HANDLE_VALUE; }
inline HANDLE GetCurrentThread() { return reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-2)); }

namespace lum
{
// Whether a value is one of those, or of the four below them that stand for the identity of either.
inline bool StandsForOneself(HANDLE hObject)
{
    const auto lValue = reinterpret_cast<LONG_PTR>(hObject);
    return lValue >= -6 && lValue <= -1;
}
} // namespace lum

// DuplicateHandle: one more handle to the same object, with the same rights; each is closed by itself.
//   Both processes are this one. Options: DUPLICATE_SAME_ACCESS, with or without DUPLICATE_CLOSE_SOURCE (which ends the
//   source in any case). ulAccess and bInherit are not used.
//   Errors: ERROR_INVALID_HANDLE, ERROR_TOO_MANY_OPEN_FILES, ERROR_NOT_SUPPORTED (another process, other rights).
BOOL DuplicateHandle(HANDLE hSourceProcess, HANDLE hSource, HANDLE hTargetProcess, HANDLE* phTarget, DWORD ulAccess, BOOL bInherit,
                     DWORD ulOptions);
