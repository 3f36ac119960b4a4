// Calls on handles of every kind.
#pragma once

#include "Types.h"

#define DUPLICATE_CLOSE_SOURCE 0x00000001
#define DUPLICATE_SAME_ACCESS 0x00000002

// CloseHandle: ends a handle of any kind.
//   Errors: ERROR_INVALID_HANDLE (closed already, never opened, null).
//   INVALID_HANDLE_VALUE also stands for this process, which has no end: TRUE.
BOOL CloseHandle(HANDLE hObject);

// GetCurrentProcess: a value that stands for this process; it need not be closed.
inline HANDLE GetCurrentProcess() { return INVALID_HANDLE_VALUE; }

// DuplicateHandle: one more handle to the same object, with the same rights; each is closed by itself.
//   Both processes are this one. Options: DUPLICATE_SAME_ACCESS, with or without DUPLICATE_CLOSE_SOURCE (which ends the
//   source in any case). ulAccess and bInherit are not used.
//   Errors: ERROR_INVALID_HANDLE, ERROR_TOO_MANY_OPEN_FILES, ERROR_NOT_SUPPORTED (another process, other rights).
BOOL DuplicateHandle(HANDLE hSourceProcess, HANDLE hSource, HANDLE hTargetProcess, HANDLE* phTarget, DWORD ulAccess, BOOL bInherit,
                     DWORD ulOptions);
