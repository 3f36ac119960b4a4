// The Windows names of plain types, records and limits, with their Windows widths.
#pragma once

#include <cstddef>
#include <cstdint>

using BYTE = unsigned char;
using CHAR = char;
using WCHAR = unsigned short; // UTF-16 unit
using WORD = std::uint16_t;
using SHORT = std::int16_t;
using USHORT = std::uint16_t;
using INT = int;
using UINT = unsigned int;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using BOOL = int;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using LONG_PTR = std::intptr_t;
using ULONG_PTR = std::uintptr_t;
using UINT_PTR = std::uintptr_t;
using DWORD_PTR = std::uintptr_t;
using SIZE_T = std::size_t;
using HRESULT = std::int32_t;
using LSTATUS = LONG;
using ACCESS_MASK = DWORD;
using REGSAM = ACCESS_MASK;
using LCID = DWORD;
using LANGID = WORD;

using LPSTR = CHAR*;
using LPCSTR = const CHAR*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using PCSTR = LPCSTR;
using PCWSTR = LPCWSTR;
using BSTR = WCHAR*;
using LPVOID = void*;
using LPCVOID = const void*;
using PVOID = void*;
using LPBYTE = BYTE*;
using LPDWORD = DWORD*;
using PDWORD = DWORD*;
using LPBOOL = BOOL*;
using PLONG = LONG*;

using HANDLE = void*;
using HLOCAL = HANDLE;
using HGLOBAL = HANDLE;
using HWND = struct HWND__*;
using HKEY = struct HKEY__*;
using PHKEY = HKEY*;
using HMODULE = struct HINSTANCE__*;
using HINSTANCE = HMODULE;
using HRSRC = struct HRSRC__*;

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif
#define CONST const
#define WINAPI
#define CALLBACK
#define APIENTRY
#define VOID void

#define MAX_PATH 260
#define INFINITE 0xFFFFFFFFu
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)))

struct FILETIME // 100-nanosecond steps since 1601-01-01 UTC
{
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};
using LPFILETIME = FILETIME*;
using PFILETIME = FILETIME*;

struct SYSTEMTIME
{
    WORD wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
};
using LPSYSTEMTIME = SYSTEMTIME*;

union LARGE_INTEGER
{
    struct { DWORD LowPart; LONG HighPart; };
    LONGLONG QuadPart;
};

union ULARGE_INTEGER
{
    struct { DWORD LowPart; DWORD HighPart; };
    ULONGLONG QuadPart;
};

struct SECURITY_ATTRIBUTES
{
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

struct OVERLAPPED
{
    ULONG_PTR Internal, InternalHigh;
    DWORD Offset, OffsetHigh;
    HANDLE hEvent;
};
using LPOVERLAPPED = OVERLAPPED*;

constexpr WORD LOWORD(ULONG_PTR ulValue) { return static_cast<WORD>(ulValue & 0xFFFF); }
constexpr WORD HIWORD(ULONG_PTR ulValue) { return static_cast<WORD>((ulValue >> 16) & 0xFFFF); }
constexpr LANGID MAKELANGID(WORD uwPrimary, WORD uwSub) { return static_cast<LANGID>((uwSub << 10) | uwPrimary); }
#define MAKEINTRESOURCEA(i) (reinterpret_cast<LPSTR>(static_cast<ULONG_PTR>(static_cast<WORD>(i))))
#define MAKEINTRESOURCE MAKEINTRESOURCEA

#define LANG_NEUTRAL 0x00
#define SUBLANG_NEUTRAL 0x00
#define SUBLANG_DEFAULT 0x01

#define DLL_PROCESS_DETACH 0
#define DLL_PROCESS_ATTACH 1
#define DLL_THREAD_ATTACH 2
#define DLL_THREAD_DETACH 3

#define DELETE 0x00010000
#define READ_CONTROL 0x00020000
#define WRITE_DAC 0x00040000
#define WRITE_OWNER 0x00080000
#define SYNCHRONIZE 0x00100000
#define MAXIMUM_ALLOWED 0x02000000
#define GENERIC_ALL 0x10000000
#define GENERIC_EXECUTE 0x20000000
#define GENERIC_WRITE 0x40000000
#define GENERIC_READ 0x80000000u
