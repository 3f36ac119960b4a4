// Registry: keys and typed values below the predefined roots, kept in SQLite stores under the state directory.
//
//  * Names keep their case and compare without it. One level of a path has at most 255 characters, a value name at most 16,383.
//  * Text is kept as UTF-16; the A calls convert names and the text types (REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ) through the
//    narrow page and count bytes of it. Every other type is bytes. No call reads beyond the bytes that it was told of.
//  * A path may end in backslashes, and several in a row count as one. It must not begin with one (ERROR_BAD_PATHNAME),
//    except where it is to be opened below HKEY_CLASSES_ROOT itself.
//  * What a call wrote is there for every process when it returns, and survives the death of the process. Any thread may call.
//  * HKEY_LOCAL_MACHINE, HKEY_CLASSES_ROOT and HKEY_USERS are the machine's, HKEY_CURRENT_USER is the user's own; none is a view
//    of another. Reading a registry that was never written creates nothing: its roots are there and empty.
//
// Errors that every call can give: ERROR_INVALID_HANDLE (null, closed, not a key), ERROR_KEY_DELETED (the open key is gone, even
// when one of its name was made since), ERROR_ACCESS_DENIED (no rights on the store), ERROR_REGISTRY_CORRUPT and ERROR_BADDB (the
// store is damaged, or not a store; it is left as it is), ERROR_REVISION_MISMATCH (a newer version of the library made it),
// ERROR_REGISTRY_IO_FAILED, ERROR_DISK_FULL, ERROR_TOO_MANY_OPEN_FILES, ERROR_NOT_ENOUGH_MEMORY, ERROR_BUSY (another program
// kept the store locked). A call that fails has changed nothing in the store.
#pragma once

#include "../kernel/Error.h"
#include "../kernel/Types.h"

#define HKEY_CLASSES_ROOT (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000000))))
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000001))))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000002))))
#define HKEY_USERS (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000003))))

#define KEY_QUERY_VALUE 0x0001
#define KEY_SET_VALUE 0x0002
#define KEY_CREATE_SUB_KEY 0x0004
#define KEY_ENUMERATE_SUB_KEYS 0x0008
#define KEY_NOTIFY 0x0010
#define KEY_CREATE_LINK 0x0020
#define KEY_WOW64_64KEY 0x0100
#define KEY_WOW64_32KEY 0x0200
#define KEY_READ 0x20019
#define KEY_WRITE 0x20006
#define KEY_EXECUTE 0x20019
#define KEY_ALL_ACCESS 0xF003F

#define REG_NONE 0
#define REG_SZ 1
#define REG_EXPAND_SZ 2
#define REG_BINARY 3
#define REG_DWORD 4
#define REG_DWORD_LITTLE_ENDIAN 4
#define REG_DWORD_BIG_ENDIAN 5
#define REG_LINK 6
#define REG_MULTI_SZ 7
#define REG_RESOURCE_LIST 8
#define REG_FULL_RESOURCE_DESCRIPTOR 9
#define REG_RESOURCE_REQUIREMENTS_LIST 10
#define REG_QWORD 11
#define REG_QWORD_LITTLE_ENDIAN 11

#define REG_OPTION_NON_VOLATILE 0x0000
#define REG_OPTION_VOLATILE 0x0001

#define REG_CREATED_NEW_KEY 1
#define REG_OPENED_EXISTING_KEY 2

// RegOpenKeyEx: opens the key at pPath below hKey; no path or an empty one opens hKey itself once more, a predefined key as it is.
//   Any ulAccess is granted; the handle then does what it was opened for. ulOptions is ignored. *phResult is null on failure.
//   Errors: ERROR_FILE_NOT_FOUND, ERROR_BAD_PATHNAME, ERROR_INVALID_PARAMETER (a level too long, no phResult).
LSTATUS RegOpenKeyExA(HKEY hKey, LPCSTR pPath, DWORD ulOptions, REGSAM ulAccess, PHKEY phResult);
LSTATUS RegOpenKeyExW(HKEY hKey, LPCWSTR pPath, DWORD ulOptions, REGSAM ulAccess, PHKEY phResult);

// RegCreateKeyEx: opens the key, after making it and what is missing above it. The class goes to the keys that are made.
//   REG_OPTION_VOLATILE: what is made is gone after the machine's next start. Other options and the security attributes
//   are ignored. *pulDisposition: REG_CREATED_NEW_KEY or REG_OPENED_EXISTING_KEY. ulReserved must be 0.
//   Errors: as above, and ERROR_CHILD_MUST_BE_VOLATILE (a lasting key below a volatile one).
LSTATUS RegCreateKeyExA(HKEY hKey, LPCSTR pPath, DWORD ulReserved, LPSTR pClass, DWORD ulOptions, REGSAM ulAccess,
                        const SECURITY_ATTRIBUTES* pSecurity, PHKEY phResult, LPDWORD pulDisposition);
LSTATUS RegCreateKeyExW(HKEY hKey, LPCWSTR pPath, DWORD ulReserved, LPWSTR pClass, DWORD ulOptions, REGSAM ulAccess,
                        const SECURITY_ATTRIBUTES* pSecurity, PHKEY phResult, LPDWORD pulDisposition);

// RegCloseKey: ends a handle; a predefined key stays. Errors: ERROR_INVALID_HANDLE alone.
LSTATUS RegCloseKey(HKEY hKey);

// RegQueryValueEx: type and data of a value; no name or an empty one is the key's default value. Needs KEY_QUERY_VALUE.
//   *pulBytes: the room on entry, the size afterwards. pData null asks for the size. Text without its terminator gets one when
//   there is room for it; the size does not count it.
//   Errors: ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA (*pulBytes is the size needed), ERROR_ACCESS_DENIED,
//   ERROR_INVALID_PARAMETER (pData without pulBytes, pReserved).
LSTATUS RegQueryValueExA(HKEY hKey, LPCSTR pName, LPDWORD pReserved, LPDWORD pulType, LPBYTE pData, LPDWORD pulBytes);
LSTATUS RegQueryValueExW(HKEY hKey, LPCWSTR pName, LPDWORD pReserved, LPDWORD pulType, LPBYTE pData, LPDWORD pulBytes);

// RegSetValueEx: writes a value, any type number. Needs KEY_SET_VALUE. The same data once more leaves the write time alone.
//   Errors: ERROR_ACCESS_DENIED, ERROR_INVALID_PARAMETER (name too long),
//   ERROR_NOACCESS (bytes without pData), ERROR_NO_SYSTEM_RESOURCES (more data than a store can hold).
LSTATUS RegSetValueExA(HKEY hKey, LPCSTR pName, DWORD ulReserved, DWORD ulType, const BYTE* pData, DWORD ulBytes);
LSTATUS RegSetValueExW(HKEY hKey, LPCWSTR pName, DWORD ulReserved, DWORD ulType, const BYTE* pData, DWORD ulBytes);

// RegDeleteValue: Needs KEY_SET_VALUE. Errors: ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED.
LSTATUS RegDeleteValueA(HKEY hKey, LPCSTR pName);
LSTATUS RegDeleteValueW(HKEY hKey, LPCWSTR pName);

// RegDeleteKey: deletes the key at pPath with its values; an empty path is hKey itself. Open handles of it stay to be closed.
//   Errors: ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED (it has subkeys, or is a root), ERROR_INVALID_PARAMETER (no path).
LSTATUS RegDeleteKeyA(HKEY hKey, LPCSTR pPath);
LSTATUS RegDeleteKeyW(HKEY hKey, LPCWSTR pPath);

// RegDeleteTree: deletes the key at pPath with everything below it, at once. No path or an empty one empties hKey, which stays;
//   that needs KEY_ENUMERATE_SUB_KEYS and KEY_SET_VALUE. Errors: ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED.
LSTATUS RegDeleteTreeA(HKEY hKey, LPCSTR pPath);
LSTATUS RegDeleteTreeW(HKEY hKey, LPCWSTR pPath);

// RegEnumKeyEx: the subkey at an index, in the order of the upper-cased names. Needs KEY_ENUMERATE_SUB_KEYS.
//   *pulChars, *pulClassChars: the room with the terminator on entry, the length without it afterwards.
//   Errors: ERROR_NO_MORE_ITEMS, ERROR_MORE_DATA (room; the lengths stay as they were), ERROR_INVALID_PARAMETER, ERROR_ACCESS_DENIED.
LSTATUS RegEnumKeyExA(HKEY hKey, DWORD ulIndex, LPSTR pName, LPDWORD pulChars, LPDWORD pReserved, LPSTR pClass,
                      LPDWORD pulClassChars, PFILETIME pWritten);
LSTATUS RegEnumKeyExW(HKEY hKey, DWORD ulIndex, LPWSTR pName, LPDWORD pulChars, LPDWORD pReserved, LPWSTR pClass,
                      LPDWORD pulClassChars, PFILETIME pWritten);

// RegEnumValue: the value at an index, in the order of the upper-cased names. Needs KEY_QUERY_VALUE.
//   Errors: ERROR_NO_MORE_ITEMS, ERROR_MORE_DATA (room for the name, whose length stays as it was, or for the data, whose size
//   is told), ERROR_INVALID_PARAMETER (no name, no length of it, data without a size), ERROR_ACCESS_DENIED.
LSTATUS RegEnumValueA(HKEY hKey, DWORD ulIndex, LPSTR pName, LPDWORD pulChars, LPDWORD pReserved, LPDWORD pulType, LPBYTE pData,
                      LPDWORD pulBytes);
LSTATUS RegEnumValueW(HKEY hKey, DWORD ulIndex, LPWSTR pName, LPDWORD pulChars, LPDWORD pReserved, LPDWORD pulType, LPBYTE pData,
                      LPDWORD pulBytes);

// RegQueryInfoKey: counts and longest lengths in UTF-16 units (values in bytes as stored), class and time of the last write. Every
//   output may be null. Any handle will do. *pulSecurityBytes is 0: keys have no descriptors here.
//   Errors: ERROR_MORE_DATA (the class does not fit; what fits was copied), ERROR_INVALID_PARAMETER (pClass without its room).
LSTATUS RegQueryInfoKeyA(HKEY hKey, LPSTR pClass, LPDWORD pulClassChars, LPDWORD pReserved, LPDWORD pulSubKeys,
                         LPDWORD pulMaxSubKeyChars, LPDWORD pulMaxClassChars, LPDWORD pulValues, LPDWORD pulMaxValueNameChars,
                         LPDWORD pulMaxValueBytes, LPDWORD pulSecurityBytes, PFILETIME pWritten);
LSTATUS RegQueryInfoKeyW(HKEY hKey, LPWSTR pClass, LPDWORD pulClassChars, LPDWORD pReserved, LPDWORD pulSubKeys,
                         LPDWORD pulMaxSubKeyChars, LPDWORD pulMaxClassChars, LPDWORD pulValues, LPDWORD pulMaxValueNameChars,
                         LPDWORD pulMaxValueBytes, LPDWORD pulSecurityBytes, PFILETIME pWritten);

// RegFlushKey: returns when what was written is on the disk, so that even a power cut leaves it.
LSTATUS RegFlushKey(HKEY hKey);
