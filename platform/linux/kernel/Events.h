// Events: signalled until reset, or until one thread has waited for them.
//
//  * Any thread. Setting and waiting make no system call unless somebody sleeps.
//  * An auto-reset event goes to the thread that has waited longest; each SetEvent while threads wait releases one. A manual-reset
//    event releases all who wait when it is set, also when it is reset right behind that.
//  * A handle of another kind, or one that is closed, gives ERROR_INVALID_HANDLE.
#pragma once

#include "Types.h"

#define EVENT_MODIFY_STATE 0x0002
#define EVENT_ALL_ACCESS 0x001F0003

// CreateEventA, CreateEventW: makes an event, or opens the one of that name; null when that fails. The last error of a success
//   is ERROR_ALREADY_EXISTS when there was one, which stays as it is, else 0.
//   Names: see NAMES in Waits.h. pSecurity is not used: handles are not inherited by programs that this one starts.
//   Errors: as for names; ERROR_NOT_ENOUGH_MEMORY, ERROR_TOO_MANY_OPEN_FILES.
HANDLE CreateEventA(LPSECURITY_ATTRIBUTES pSecurity, BOOL bManualReset, BOOL bInitialState, LPCSTR pName);
HANDLE CreateEventW(LPSECURITY_ATTRIBUTES pSecurity, BOOL bManualReset, BOOL bInitialState, LPCWSTR pName);

// OpenEventA, OpenEventW: opens the event of that name with SYNCHRONIZE, EVENT_ and GENERIC_ rights; leaves the last error alone.
//   Errors: ERROR_FILE_NOT_FOUND, ERROR_INVALID_PARAMETER (null), ERROR_INVALID_HANDLE (empty); as for names. bInherit is not used.
HANDLE OpenEventA(DWORD ulAccess, BOOL bInherit, LPCSTR pName);
HANDLE OpenEventW(DWORD ulAccess, BOOL bInherit, LPCWSTR pName);

// SetEvent, ResetEvent, PulseEvent: signals it, takes the signal away, does both in turn (whoever waits then is released).
//   What is so already stays so.
//   Errors: ERROR_ACCESS_DENIED (opened without EVENT_MODIFY_STATE).
BOOL SetEvent(HANDLE hEvent);
BOOL ResetEvent(HANDLE hEvent);
BOOL PulseEvent(HANDLE hEvent);
