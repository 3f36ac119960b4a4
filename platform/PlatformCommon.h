// What LumBase adds to the Windows names, with one meaning on both systems.
#pragma once

#include <concepts>
#include <cstdio>

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

// LumSetFaultTranslator: on the calling thread, hardware faults call pTranslator with the system's exception code
//   (0xC0000005 and so on), in the faulting thread and outside signal context; it throws. Null: back to what was before.
using LumFaultTranslator = void (*)(unsigned int uCode);
void LumSetFaultTranslator(LumFaultTranslator pTranslator);

// LumLibraryEntry: written in base/, called by the platform with DLL_PROCESS_ATTACH and so on; 0 refuses the load.
BOOL LumLibraryEntry(DWORD ulReason);

// LumIsTerminal: whether the stream goes to a terminal that takes escape sequences for colour and cursor.
bool LumIsTerminal(std::FILE* pStream);
