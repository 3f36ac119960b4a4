// Open files.
//
//  * Share modes hold between all opens of the library, in whichever process; the end of a process ends its opens.
//    Programs that open the file past the library neither see nor heed them. A file system without locks has none.
//  * A handle's position belongs to all its duplicates. Any thread.
//  * A forked child has its parent's handles; a file is closed when both have closed it.
//  * A handle from another kind of call, or one that is closed, gives ERROR_INVALID_HANDLE.
#pragma once

#include "Types.h"

#define FILE_READ_DATA 0x0001
#define FILE_LIST_DIRECTORY 0x0001
#define FILE_WRITE_DATA 0x0002
#define FILE_APPEND_DATA 0x0004
#define FILE_READ_EA 0x0008
#define FILE_WRITE_EA 0x0010
#define FILE_EXECUTE 0x0020
#define FILE_READ_ATTRIBUTES 0x0080
#define FILE_WRITE_ATTRIBUTES 0x0100
#define FILE_GENERIC_READ 0x00120089
#define FILE_GENERIC_WRITE 0x00120116
#define FILE_GENERIC_EXECUTE 0x001200A0
#define FILE_ALL_ACCESS 0x001F01FF

#define FILE_SHARE_READ 0x00000001
#define FILE_SHARE_WRITE 0x00000002
#define FILE_SHARE_DELETE 0x00000004

#define CREATE_NEW 1
#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define OPEN_ALWAYS 4
#define TRUNCATE_EXISTING 5

#define FILE_FLAG_WRITE_THROUGH 0x80000000u
#define FILE_FLAG_OVERLAPPED 0x40000000
#define FILE_FLAG_NO_BUFFERING 0x20000000
#define FILE_FLAG_RANDOM_ACCESS 0x10000000
#define FILE_FLAG_SEQUENTIAL_SCAN 0x08000000
#define FILE_FLAG_DELETE_ON_CLOSE 0x04000000
#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000

#define FILE_BEGIN 0
#define FILE_CURRENT 1
#define FILE_END 2
#define INVALID_SET_FILE_POINTER 0xFFFFFFFFu
#define INVALID_FILE_SIZE 0xFFFFFFFFu

#define FILE_TYPE_UNKNOWN 0x0000
#define FILE_TYPE_DISK 0x0001
#define FILE_TYPE_CHAR 0x0002
#define FILE_TYPE_PIPE 0x0003

// CreateFileA, CreateFileW: opens or makes a file; INVALID_HANDLE_VALUE when that fails.
//   Access: GENERIC_ and FILE_ rights, DELETE. A handle with neither data rights nor DELETE takes no part in sharing.
//   Share: all three bits. Disposition: all five; the last error of a success is ERROR_ALREADY_EXISTS when CREATE_ALWAYS or
//   OPEN_ALWAYS found a file, else 0.
//   Flags: FILE_ATTRIBUTE_READONLY (of a file that this call makes or empties; this handle can write to it none the less),
//   FILE_FLAG_WRITE_THROUGH, FILE_FLAG_BACKUP_SEMANTICS (opens a folder), FILE_FLAG_DELETE_ON_CLOSE (the file goes with
//   its last handle; it stays when the process ends without closing it). The others change nothing.
//   pSecurity and hTemplate are not used: a new file has the rights that umask leaves, and handles are not inherited by
//   programs that this one starts.
//   Errors: ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND (a folder on the way, no name at all), ERROR_FILE_EXISTS (CREATE_NEW),
//   ERROR_ACCESS_DENIED (also: a folder, a read-only file to be written or deleted), ERROR_SHARING_VIOLATION,
//   ERROR_INVALID_NAME (also: a file with a separator behind it), ERROR_FILENAME_EXCED_RANGE, ERROR_BAD_NETPATH,
//   ERROR_TOO_MANY_OPEN_FILES, ERROR_DISK_FULL, ERROR_WRITE_PROTECT, ERROR_INVALID_PARAMETER (disposition; TRUNCATE_EXISTING
//   without the right to write).
//   Not provided: shares of other machines, streams of a file, devices other than NUL.
HANDLE CreateFileA(LPCSTR pName, DWORD ulAccess, DWORD ulShare, LPSECURITY_ATTRIBUTES pSecurity, DWORD ulDisposition, DWORD ulFlags,
                   HANDLE hTemplate);
HANDLE CreateFileW(LPCWSTR pName, DWORD ulAccess, DWORD ulShare, LPSECURITY_ATTRIBUTES pSecurity, DWORD ulDisposition,
                   DWORD ulFlags, HANDLE hTemplate);

// ReadFile, WriteFile: transfer from the position on and move it. *pulDone: the bytes transferred, also after a failure.
//   pOverlapped: transfers at its offset (0xFFFFFFFF twice: a write at the end) and leaves the position behind the bytes.
//   A write at the end is one step, also beside those of other processes: no bytes are overwritten or come between.
//   Everything is done when the call returns, with FILE_FLAG_OVERLAPPED too; the event of pOverlapped is not signalled.
//   At the end of the file ReadFile gives TRUE and 0 bytes; with pOverlapped, FALSE and ERROR_HANDLE_EOF.
//   A write that the disk has room for in part only is written in part: *pulDone says how far, FALSE and ERROR_DISK_FULL.
//   Errors: ERROR_ACCESS_DENIED (the handle has no such right), ERROR_LOCK_VIOLATION (bytes that another open has locked),
//   ERROR_NOACCESS (read to a bad buffer), ERROR_INVALID_USER_BUFFER (write from one), ERROR_DISK_FULL, ERROR_IO_DEVICE.
BOOL ReadFile(HANDLE hFile, LPVOID pBuffer, DWORD ulBytes, LPDWORD pulDone, LPOVERLAPPED pOverlapped);
BOOL WriteFile(HANDLE hFile, LPCVOID pBuffer, DWORD ulBytes, LPDWORD pulDone, LPOVERLAPPED pOverlapped);

// SetFilePointer: moves the position, by 32 bits, or by 64 when plHigh holds the upper ones; returns its lower 32.
//   0xFFFFFFFF is a failure only when GetLastError is not 0. A position beyond the end is allowed.
//   Errors: ERROR_NEGATIVE_SEEK, ERROR_INVALID_PARAMETER (method; beyond what the file system can hold, or beyond 32 bits
//   without plHigh), ERROR_SEEK_ON_DEVICE.
DWORD SetFilePointer(HANDLE hFile, LONG lDistance, PLONG plHigh, DWORD ulMethod);
BOOL SetFilePointerEx(HANDLE hFile, LARGE_INTEGER distance, LARGE_INTEGER* pNewPosition, DWORD ulMethod);

// GetFileSize: the lower 32 bits of the size, the upper ones in *pulHigh. 0xFFFFFFFF as above.
DWORD GetFileSize(HANDLE hFile, LPDWORD pulHigh);
BOOL GetFileSizeEx(HANDLE hFile, LARGE_INTEGER* pSize);

// SetEndOfFile: cuts or lengthens the file to the position. What is new reads as zeros.
//   Errors: ERROR_ACCESS_DENIED (no right to write), ERROR_DISK_FULL, ERROR_INVALID_PARAMETER.
BOOL SetEndOfFile(HANDLE hFile);

// FlushFileBuffers: returns when what was written is on the disk.
//   Errors: ERROR_ACCESS_DENIED (no right to write), ERROR_DISK_FULL, ERROR_IO_DEVICE.
BOOL FlushFileBuffers(HANDLE hFile);

// LockFile: keeps other opens from reading and writing bytes, which need not exist; UnlockFile takes the same range again.
//   Errors: ERROR_LOCK_VIOLATION (locked already, by this handle too), ERROR_NOT_LOCKED (no such range of this handle),
//   ERROR_ACCESS_DENIED (the handle has no data rights).
//   A file that the process may only read is locked against writers alone. Takes some
//   milliseconds where others have the file open.
BOOL LockFile(HANDLE hFile, DWORD ulOffset, DWORD ulOffsetHigh, DWORD ulBytes, DWORD ulBytesHigh);
BOOL UnlockFile(HANDLE hFile, DWORD ulOffset, DWORD ulOffsetHigh, DWORD ulBytes, DWORD ulBytesHigh);

struct BY_HANDLE_FILE_INFORMATION
{
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD dwVolumeSerialNumber;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD nNumberOfLinks;
    DWORD nFileIndexHigh;
    DWORD nFileIndexLow;
};

// GetFileInformationByHandle: what is known of a file or folder. Two handles have the same volume and index when they are of one
//   file, by whichever names.
BOOL GetFileInformationByHandle(HANDLE hFile, BY_HANDLE_FILE_INFORMATION* pInfo);

// GetFileType: disk, pipe or character device; FILE_TYPE_UNKNOWN with ERROR_INVALID_HANDLE for none.
DWORD GetFileType(HANDLE hFile);

// GetFileTime: when the file was made, last read, last written; null is not asked for.
//   A file system that does not keep the first gives the earliest it knows.
// SetFileTime: the same the other way round, null changes nothing. The time of making cannot be set here and is not used.
//   Errors: ERROR_ACCESS_DENIED (the handle has no FILE_WRITE_ATTRIBUTES, or the file is another user's).
BOOL GetFileTime(HANDLE hFile, LPFILETIME pMade, LPFILETIME pRead, LPFILETIME pWritten);
BOOL SetFileTime(HANDLE hFile, const FILETIME* pMade, const FILETIME* pRead, const FILETIME* pWritten);
