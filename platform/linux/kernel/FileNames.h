// Files and folders by their names.
//
//  * Names are read as everywhere: either separator, drives, any spelling that leads to one file.
//  * Errors of all: ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND (a folder on the way, no name at all), ERROR_INVALID_NAME,
//    ERROR_FILENAME_EXCED_RANGE, ERROR_ACCESS_DENIED, ERROR_WRITE_PROTECT.
#pragma once

#include "Types.h"

#define FILE_ATTRIBUTE_READONLY 0x00000001
#define FILE_ATTRIBUTE_HIDDEN 0x00000002
#define FILE_ATTRIBUTE_SYSTEM 0x00000004
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010
#define FILE_ATTRIBUTE_ARCHIVE 0x00000020
#define FILE_ATTRIBUTE_NORMAL 0x00000080
#define FILE_ATTRIBUTE_TEMPORARY 0x00000100
#define INVALID_FILE_ATTRIBUTES 0xFFFFFFFFu

struct WIN32_FILE_ATTRIBUTE_DATA
{
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
};

enum GET_FILEEX_INFO_LEVELS { GetFileExInfoStandard };

// DeleteFileA, DeleteFileW: the name is gone at once; opens that allow it keep the contents until they close.
//   Errors: ERROR_SHARING_VIOLATION (an open without FILE_SHARE_DELETE), ERROR_ACCESS_DENIED (also: a folder, read-only).
BOOL DeleteFileA(LPCSTR pName);
BOOL DeleteFileW(LPCWSTR pName);

// MoveFileA, MoveFileW: gives a file or folder another name, which must be free; a file may go to another file system.
//   Errors: ERROR_ALREADY_EXISTS, ERROR_SHARING_VIOLATION (an open without FILE_SHARE_DELETE), ERROR_NOT_SAME_DEVICE (a folder
//   to another file system), ERROR_DISK_FULL.
BOOL MoveFileA(LPCSTR pFrom, LPCSTR pTo);
BOOL MoveFileW(LPCWSTR pFrom, LPCWSTR pTo);

#define MOVEFILE_REPLACE_EXISTING 0x00000001
#define MOVEFILE_WRITE_THROUGH 0x00000008

// MoveFileExA: as MoveFileA within one file system. MOVEFILE_REPLACE_EXISTING: a file that has the new name already gives
//   way, in one step. MOVEFILE_WRITE_THROUGH: the new name is on the disk when the call returns.
//   Errors: as above, ERROR_NOT_SAME_DEVICE, ERROR_ACCESS_DENIED (what has the name is open, read-only, or a folder),
//   ERROR_INVALID_PARAMETER (any other flag).
BOOL MoveFileExA(LPCSTR pFrom, LPCSTR pTo, DWORD ulFlags);

// CreateDirectoryA: makes one folder, with the rights that umask leaves; pSecurity is not used.
//   Errors: ERROR_ALREADY_EXISTS (a file too), ERROR_DISK_FULL.
BOOL CreateDirectoryA(LPCSTR pName, LPSECURITY_ATTRIBUTES pSecurity);

// RemoveDirectoryA: removes an empty folder.
//   Errors: ERROR_DIR_NOT_EMPTY, ERROR_DIRECTORY (a file).
BOOL RemoveDirectoryA(LPCSTR pName);

// GetFileAttributesA, GetFileAttributesW: DIRECTORY or ARCHIVE, and READONLY when nobody may write;
//   INVALID_FILE_ATTRIBUTES on failure.
DWORD GetFileAttributesA(LPCSTR pName);
DWORD GetFileAttributesW(LPCWSTR pName);

// GetFileAttributesExA: those, the times and the size. Level: GetFileExInfoStandard, else ERROR_INVALID_PARAMETER.
BOOL GetFileAttributesExA(LPCSTR pName, GET_FILEEX_INFO_LEVELS eLevel, LPVOID pData);

// SetFileAttributesA, SetFileAttributesW: READONLY takes everybody's right to write, its absence gives it to the owner where
//   nobody had it. Of folders, nothing is changed. The other attributes are not kept.
BOOL SetFileAttributesA(LPCSTR pName, DWORD ulAttributes);
BOOL SetFileAttributesW(LPCWSTR pName, DWORD ulAttributes);
