// What LumBase adds to the Windows names, with one meaning on both systems.
#pragma once

#include <concepts>
#include <cstdio>
#include <ctime>

static_assert(sizeof(DWORD) == 4 && sizeof(LONG) == 4 && sizeof(BOOL) == 4 && sizeof(ULONG) == 4); // `long` is not 32 bits everywhere

// 16-bit text is `unsigned short` in our signatures and WCHAR in the platform's: the same units.
inline const WCHAR* AsWide(const unsigned short* pText) { return reinterpret_cast<const WCHAR*>(pText); }
inline WCHAR* AsWide(unsigned short* pText) { return reinterpret_cast<WCHAR*>(pText); }

// A character type, other than `unsigned short`, whose text is 16-bit units: char16_t, and wchar_t where it is 16 bits wide.
template <class T>
concept OWideChar = std::same_as<T, char16_t> || (std::same_as<T, wchar_t> && sizeof(wchar_t) == 2);

template <OWideChar T>
const unsigned short* AsUnits(const T* pText) { return reinterpret_cast<const unsigned short*>(pText); }

// LumMessageBox: shows one notice. All message boxes of the library go through it.
//   Returns what the hook returned, else IDOK.
int LumMessageBox(const char* pText, const char* pCaption);

// LumSetMessageHook: installs the function that shows notices; null restores the system's default.
using LumMessageHook = int (*)(const char* pText, const char* pCaption);
void LumSetMessageHook(LumMessageHook pHook);

// LumOpenStream: a binary stream on an open file, from its position on; mode "rb", "wb" (empties nothing) or "r+b".
//   The stream owns the handle: it ends with fclose. Null, and the handle still the caller's, when there can be no stream.
FILE* LumOpenStream(HANDLE hFile, const char* pMode);

// LumSetFaultTranslator: on the calling thread, hardware faults call pTranslator with the system's exception code
//   (0xC0000005 and so on), in the faulting thread and outside signal context; it throws. Null: back to what was before.
using LumFaultTranslator = void (*)(unsigned int uCode);
void LumSetFaultTranslator(LumFaultTranslator pTranslator);

// LumLibraryEntry: written in base/, called by the platform with DLL_PROCESS_ATTACH and so on; 0 refuses the load.
BOOL LumLibraryEntry(DWORD ulReason);

// LumTellThreadEnd: has LumLibraryEntry called with DLL_THREAD_DETACH, on the calling thread, when that ends; cheap to repeat.
//   Windows: it is called for every thread anyway. Linux: for these threads alone, and not for one that ends with the process.
void LumTellThreadEnd();

// LumIsTerminal: whether the stream goes to a terminal that takes escape sequences for colour and cursor.
bool LumIsTerminal(std::FILE* pStream);

// LumLocalTime: a moment in seconds since 1970 UTC as the local calendar and clock; false when the system cannot tell.
bool LumLocalTime(long long llSeconds, std::tm* pLocal);

// LumGetStateFolder: the folder for what programs keep beside the registry; made when it is missing.
//   Linux: where the registry is, LUMBASE_HOME and so on. Windows: "lumbase" in the user's local application data.
//   FALSE with the system's error, and ERROR_INSUFFICIENT_BUFFER for a name that does not fit.
BOOL LumGetStateFolder(LPSTR pOut, DWORD ulRoom);

// One change of the registry, for LumRegistryApply. Names and text are UTF-16 units, data is as it is to be stored.
struct LumRegistryChange
{
    enum Kind
    {
        CreateKey,   // the key and what is missing above it; one that exists stays as it is
        DeleteKey,   // the key with everything below it; none: nothing to do
        SetValue,    // creates the key too
        DeleteValue, // none, or no such key: nothing to do
    };
    Kind eKind;
    HKEY hRoot;         // a predefined key
    const WCHAR* pKey;  // the path below it
    const WCHAR* pName; // SetValue, DeleteValue: null or empty is the key's default value
    DWORD ulType;       // SetValue, as the next two
    const BYTE* pData;
    DWORD ulBytes;
};

// LumRegistryApply: makes many changes in the order given, all of them or none.
//   pProgress (may be null) is told how many are done, now and then; it must not use the registry. When one change fails, none
//   was made, and *pulFailed (if given) is its index, or ulChanges when it was none in particular. Returns what the registry
//   call for that change returns.
//   Linux: other processes see the changes of one root all at once, and no crash leaves half of them. A process that dies
//   between the commits of two roots leaves those that come first in HKEY_LOCAL_MACHINE, HKEY_CLASSES_ROOT, HKEY_USERS,
//   HKEY_CURRENT_USER done. Windows: changes become visible one by one and are taken back on failure; a process that dies
//   leaves what it had done.
using LumRegistryProgress = void (*)(void* pContext, size_t ulDone);
LSTATUS LumRegistryApply(const LumRegistryChange* pChanges, size_t ulChanges, size_t* pulFailed = nullptr,
                         LumRegistryProgress pProgress = nullptr, void* pContext = nullptr);
