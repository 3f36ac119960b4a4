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

// CreateMutexA, CreateMutexW: makes a mutex, owned by the calling thread when bInitialOwner; null when that fails.
//   The last error of a success is 0. pSecurity is not used.
//   Errors: ERROR_NOT_ENOUGH_MEMORY, ERROR_TOO_MANY_OPEN_FILES.
//   Not provided: names (ERROR_NOT_SUPPORTED).
HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES pSecurity, BOOL bInitialOwner, LPCSTR pName);
HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES pSecurity, BOOL bInitialOwner, LPCWSTR pName);

// ReleaseMutex: gives back one level of ownership; needs no right of the handle.
//   Errors: ERROR_INVALID_HANDLE (not a mutex), ERROR_NOT_OWNER (the calling thread does not own it).
BOOL ReleaseMutex(HANDLE hMutex);
