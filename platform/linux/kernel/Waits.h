// Waiting for events, mutexes and what else can be waited for.
//
//  * Waiting costs no processor time: threads sleep in the kernel. Times are on a clock that nobody sets.
//  * Any thread. A handle that is closed while a thread waits for it leaves the wait as it is.
//  * A named mutex that came free by a kill may be noticed only after two seconds, when at the same moment whoever was woken
//    for it was killed as well.
//
// NAMES of events, mutexes and mappings are shared by all processes of the user and by the three kinds; case counts.
//  * An object lives as long as a process has a handle to it. Nothing of it stays behind then; what a killed process leaves
//    is removed when the next named object is made. A forked child has its parent's handles too.
//  * "Local\" in front changes nothing, "Global\" makes another name; no other backslash. Wide names have up to 32,767 units,
//    narrow ones up to MAX_PATH. An empty name is none.
//  * Errors: ERROR_INVALID_HANDLE (another kind has the name), ERROR_FILENAME_EXCED_RANGE, ERROR_PATH_NOT_FOUND (a backslash),
//    ERROR_BAD_PATHNAME (one in front), ERROR_INVALID_NAME (a prefix alone), ERROR_DISK_FULL (no memory for it),
//    ERROR_ACCESS_DENIED (the runtime directory is another user's), ERROR_FILE_CORRUPT (the object's file was damaged).
#pragma once

#include "Types.h"

#define WAIT_OBJECT_0 0x00000000u
#define WAIT_ABANDONED 0x00000080u
#define WAIT_ABANDONED_0 0x00000080u
#define WAIT_FAILED 0xFFFFFFFFu
#define MAXIMUM_WAIT_OBJECTS 64

// WaitForSingleObject: waits until the object is signalled and takes it: WAIT_OBJECT_0, or WAIT_ABANDONED for a mutex whose owner
//   ended without releasing it (it is the caller's now); WAIT_TIMEOUT, WAIT_FAILED.
//   Objects: events, mutexes; files (always signalled); the process and the thread themselves (not while anyone can ask).
//   Errors: ERROR_INVALID_HANDLE (none, or one that cannot be waited for), ERROR_ACCESS_DENIED (opened without SYNCHRONIZE),
//   ERROR_NO_SYSTEM_RESOURCES.
DWORD WaitForSingleObject(HANDLE hObject, DWORD ulMilliseconds);

// WaitForMultipleObjects: waits for any of 1 to 64 objects; WAIT_OBJECT_0 or WAIT_ABANDONED_0 plus the lowest index of one that
//   was signalled, which alone is taken. Mixed kinds, and the same object twice, are allowed.
//   Errors: as above, for any of the handles; ERROR_INVALID_PARAMETER (none, or too many).
//   Not provided: waiting for all of several at once (ERROR_NOT_SUPPORTED; one object is the same as any of one).
DWORD WaitForMultipleObjects(DWORD ulCount, const HANDLE* phObjects, BOOL bAll, DWORD ulMilliseconds);
