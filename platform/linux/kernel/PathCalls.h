// Where things are: the working directory, the temporary one, the program itself, and whole names.
//
//  * Every path call takes backslashes and slashes alike. What comes back has slashes, except below a drive letter.
//  * A result that does not fit: the room it needs, terminator included, is returned and nothing is written.
#pragma once

#include "Types.h"

// GetFullPathNameA: the whole name of a path, by its text alone: nothing is looked up on the disk.
//   Returns its length. *ppFilePart: its last component, null when it ends with a separator. `..` stops at the root of a
//   drive or of the system; a trailing run of dots and blanks is dropped.
//   Errors: ERROR_INVALID_NAME (empty or null).
DWORD GetFullPathNameA(LPCSTR pPath, DWORD ulRoom, LPSTR pOut, LPSTR* ppFilePart);

// GetCurrentDirectoryA, SetCurrentDirectoryA: the working directory.
//   Errors of the second: ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_DIRECTORY (a file), ERROR_ACCESS_DENIED,
//   ERROR_INVALID_NAME.
DWORD GetCurrentDirectoryA(DWORD ulRoom, LPSTR pOut);
BOOL SetCurrentDirectoryA(LPCSTR pPath);

// GetTempPathA: TMPDIR, else /tmp, with a slash at the end; it need not exist.
DWORD GetTempPathA(DWORD ulRoom, LPSTR pOut);

// GetModuleFileNameA: the program's own file, for a null module. Returns its length.
//   A name that does not fit is cut, with a terminator: ulRoom and ERROR_INSUFFICIENT_BUFFER.
//   Errors: ERROR_MOD_NOT_FOUND (any other module: not provided).
DWORD GetModuleFileNameA(HMODULE hModule, LPSTR pOut, DWORD ulRoom);
