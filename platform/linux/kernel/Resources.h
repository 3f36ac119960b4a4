// Resource libraries: Windows program files that hold data for us and are never run.
//
//  * A module's value is checked on every call: one that was freed or invented is an error.
//  * The file is read into memory when it is loaded; what happens to it on the disk afterwards changes nothing.
//  * Any thread. Places in a module's data are good until the module is freed, as on Windows.
#pragma once

#include "Types.h"

#define MAKEINTRESOURCEW(i) (reinterpret_cast<LPWSTR>(static_cast<ULONG_PTR>(static_cast<WORD>(i))))
#define IS_INTRESOURCE(p) ((reinterpret_cast<ULONG_PTR>(p) >> 16) == 0)

#define RT_STRING MAKEINTRESOURCEA(6)
#define RT_RCDATA MAKEINTRESOURCEA(10)
#define RT_VERSION MAKEINTRESOURCEA(16)

// LoadLibraryA: reads a resource library, or counts one more use of it when it is loaded already.
//   A name without a dot gets ".dll", a dot at the end stands for no extension. A name with a folder in it is that file;
//   a bare name is the module that is loaded already from a file of that name, in any case and folder. Otherwise it is
//   looked for beside the program, beside this library, in ../share/lumbase and ../../share/lumbase of this library's
//   folder, and in the working directory; in all of them as spelled first, then without regard to case.
//   32-bit and 64-bit files are the same to us.
//   Errors: ERROR_MOD_NOT_FOUND (no such file or name), ERROR_ACCESS_DENIED (no right to read it, or a folder),
//   ERROR_BAD_EXE_FORMAT (not a program file, damaged or cut off), ERROR_NOT_ENOUGH_MEMORY (also: larger than 64 MB),
//   ERROR_TOO_MANY_OPEN_FILES, ERROR_IO_DEVICE.
//   Not provided: running code from it, the libraries that it asks for in turn.
HMODULE LoadLibraryA(LPCSTR pName);

// FreeLibrary: ends one use of a module; the last one unloads it.
//   Errors: ERROR_INVALID_HANDLE (null), ERROR_MOD_NOT_FOUND (not a loaded module).
BOOL FreeLibrary(HMODULE hModule);

// FindResourceA, FindResourceW: a resource by type and name, each an id (MAKEINTRESOURCEA, "#123") or a text, in which
//   a to z count as A to Z. Of several languages: the neutral one, then US English, then the first in the file.
//   Errors: ERROR_RESOURCE_DATA_NOT_FOUND (no such module, or one without resources; null is this program, which has
//   none), ERROR_RESOURCE_TYPE_NOT_FOUND, ERROR_RESOURCE_NAME_NOT_FOUND, ERROR_RESOURCE_LANG_NOT_FOUND,
//   ERROR_INVALID_PARAMETER ("#" and a number above 65535), ERROR_BAD_EXE_FORMAT (the file's list of resources is damaged).
HRSRC FindResourceA(HMODULE hModule, LPCSTR pName, LPCSTR pType);
HRSRC FindResourceW(HMODULE hModule, LPCWSTR pName, LPCWSTR pType);

// LoadResource: the data of a resource that was found in that module; null for a null resource, the last error untouched.
//   Errors: ERROR_RESOURCE_DATA_NOT_FOUND (no such module), ERROR_BAD_EXE_FORMAT (the data is not all in the file).
HGLOBAL LoadResource(HMODULE hModule, HRSRC hResource);

// LockResource: the address of loaded data.
LPVOID LockResource(HGLOBAL hData);

// SizeofResource: the number of bytes; 0 for a null resource. Errors as LoadResource.
DWORD SizeofResource(HMODULE hModule, HRSRC hResource);
