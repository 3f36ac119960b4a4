// File mappings: files, or memory alone, as memory that several processes may share.
//
//  * A view is memory until it is unmapped, whatever becomes of the handles; it keeps neither the mapping's name nor the file's
//    share mode. Bytes between the end of the file and the end of its last page are zero and are not written.
//  * Any thread. A forked child has its parent's views and handles.
//  * A file that is cut while it is mapped: touching what was cut away is a fault (Windows refuses to cut it).
#pragma once

#include "Types.h"

#define PAGE_NOACCESS 0x01
#define PAGE_READONLY 0x02
#define PAGE_READWRITE 0x04
#define PAGE_WRITECOPY 0x08
#define PAGE_EXECUTE 0x10
#define PAGE_EXECUTE_READ 0x20
#define PAGE_EXECUTE_READWRITE 0x40
#define PAGE_EXECUTE_WRITECOPY 0x80

#define SEC_FILE 0x00800000
#define SEC_IMAGE 0x01000000
#define SEC_RESERVE 0x04000000
#define SEC_COMMIT 0x08000000
#define SEC_NOCACHE 0x10000000

#define SECTION_QUERY 0x0001
#define SECTION_MAP_WRITE 0x0002
#define SECTION_MAP_READ 0x0004
#define SECTION_MAP_EXECUTE 0x0008
#define SECTION_EXTEND_SIZE 0x0010
#define SECTION_ALL_ACCESS 0x000F001F

#define FILE_MAP_COPY 0x0001
#define FILE_MAP_WRITE 0x0002
#define FILE_MAP_READ 0x0004
#define FILE_MAP_EXECUTE 0x0020
#define FILE_MAP_ALL_ACCESS SECTION_ALL_ACCESS

// CreateFileMappingA, CreateFileMappingW: a mapping of a file, or of zeroed memory (hFile INVALID_HANDLE_VALUE or null), or the one of
//   that name, which stays as it is; null when that fails. The last error of a success is ERROR_ALREADY_EXISTS when there was one,
//   else 0. A file is lengthened to the size when the mapping may write; size 0 is the file's own.
//   Protection: PAGE_READONLY, _READWRITE, _WRITECOPY and the three with EXECUTE_ in front (the views are not executable); also what
//   an existing mapping may be used for by this handle. With SEC_COMMIT or SEC_RESERVE, which are the same here.
//   Names: see NAMES in Waits.h. A file mapping is opened by name in another process through the file's path, as it was when the mapping
//   was made: ERROR_FILE_INVALID when another file, or none, is there.
//   pSecurity is not used: handles are not inherited by programs that this one starts.
//   Errors: ERROR_INVALID_PARAMETER (protection, flags; memory of size 0), ERROR_INVALID_HANDLE (not a file), ERROR_ACCESS_DENIED
//   (the file was opened without read access, or without write access for one that may write), ERROR_FILE_INVALID (an empty file
//   and size 0), ERROR_NOT_ENOUGH_MEMORY (also: longer than a file that may not be lengthened), ERROR_DISK_FULL,
//   ERROR_TOO_MANY_OPEN_FILES.
//   Not provided: SEC_IMAGE (ERROR_NOT_SUPPORTED).
HANDLE CreateFileMappingA(HANDLE hFile, LPSECURITY_ATTRIBUTES pSecurity, DWORD ulProtect, DWORD ulSizeHigh, DWORD ulSizeLow,
                          LPCSTR pName);
HANDLE CreateFileMappingW(HANDLE hFile, LPSECURITY_ATTRIBUTES pSecurity, DWORD ulProtect, DWORD ulSizeHigh, DWORD ulSizeLow,
                          LPCWSTR pName);

// OpenFileMappingA, OpenFileMappingW: opens the mapping of that name with FILE_MAP_, SECTION_ and GENERIC_ rights (FILE_MAP_COPY alone
//   is the right to read); leaves the last error alone.
//   Errors: ERROR_FILE_NOT_FOUND, ERROR_INVALID_PARAMETER (null), ERROR_INVALID_HANDLE (empty); as for names. bInherit is not used.
HANDLE OpenFileMappingA(DWORD ulAccess, BOOL bInherit, LPCSTR pName);
HANDLE OpenFileMappingW(DWORD ulAccess, BOOL bInherit, LPCWSTR pName);

// MapViewOfFile: ulBytes of the mapping as memory, 0: from the offset to its end; null when that fails. The offset is a multiple of
//   64 KiB. Access: FILE_MAP_WRITE (or all access) for reading and writing, FILE_MAP_COPY for writing to a copy of one's own,
//   FILE_MAP_READ; without any of these the memory cannot be touched.
//   Errors: ERROR_INVALID_HANDLE, ERROR_ACCESS_DENIED (the handle has no such right, the mapping no such protection; beyond its end),
//   ERROR_MAPPED_ALIGNMENT, ERROR_INVALID_PARAMETER (the offset is not below the end), ERROR_NOT_ENOUGH_MEMORY.
LPVOID MapViewOfFile(HANDLE hMapping, DWORD ulAccess, DWORD ulOffsetHigh, DWORD ulOffsetLow, SIZE_T ulBytes);

// UnmapViewOfFile: ends the view that an address lies in.
//   Errors: ERROR_INVALID_ADDRESS (there is none).
BOOL UnmapViewOfFile(LPCVOID pView);

// FlushViewOfFile: returns when what was written to these bytes of a view, 0: from the address to its end, is on the disk.
//   Errors: ERROR_INVALID_PARAMETER (not in a view, or beyond its end), ERROR_DISK_FULL, ERROR_IO_DEVICE.
BOOL FlushViewOfFile(LPCVOID pStart, SIZE_T ulBytes);
