// Mutexes: owned by one thread at a time, which may take them again.
//
//  * A mutex is taken by waiting for it, and given back by ReleaseMutex as often as it was taken. When its owner, or the owner's
//    process, ends without that, the next who takes it is told so (WAIT_ABANDONED) and owns it.
//  * Taking and releasing make no system call unless somebody sleeps. A mutex that comes free goes to whoever is first to
//    take it, not to the one who has waited longest.
//  * Closing a handle does not release. A child of fork owns nothing of what its parent's threads own.
#pragma once

#include "Types.h"

#define MUTEX_MODIFY_STATE 0x0001
#define MUTEX_ALL_ACCESS 0x001F0001

// CreateMutexA, CreateMutexW: makes a mutex, owned by the calling thread when bInitialOwner, or opens the one of that name, which is
//   not taken then; null when that fails. The last error of a success is ERROR_ALREADY_EXISTS when there was one, else 0.
//   Names: see NAMES in Waits.h. pSecurity is not used: handles are not inherited by programs that this one starts.
//   Errors: as for names; ERROR_NOT_ENOUGH_MEMORY, ERROR_TOO_MANY_OPEN_FILES.
HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES pSecurity, BOOL bInitialOwner, LPCSTR pName);
HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES pSecurity, BOOL bInitialOwner, LPCWSTR pName);

// OpenMutexA, OpenMutexW: opens the mutex of that name with SYNCHRONIZE, MUTEX_ and GENERIC_ rights; leaves the last error alone.
//   Errors: ERROR_FILE_NOT_FOUND, ERROR_INVALID_PARAMETER (null), ERROR_INVALID_HANDLE (empty); as for names. bInherit is not used.
HANDLE OpenMutexA(DWORD ulAccess, BOOL bInherit, LPCSTR pName);
HANDLE OpenMutexW(DWORD ulAccess, BOOL bInherit, LPCWSTR pName);

// ReleaseMutex: gives back one level of ownership; needs no right of the handle.
//   Errors: ERROR_INVALID_HANDLE (not a mutex), ERROR_NOT_OWNER (the calling thread does not own it).
BOOL ReleaseMutex(HANDLE hMutex);
