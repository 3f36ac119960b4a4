// Text: the two code pages, wide text of 16-bit units, and the narrow runtime calls that C++ does not have.
//
//  * Wide text is `unsigned short`; a null pointer is no text unless a call says otherwise.
//  * The runtime's locale is "C" and stays so: only A to Z and a to z have case, collation is by unit.
//  * The narrow page is UTF-8; LUMBASE_ACP=1252, read once, chooses the Western one.
#pragma once

#include "Types.h"

#include <cwchar>

#define CP_ACP 0
#define CP_THREAD_ACP 3
#define CP_UTF8 65001

#define MB_PRECOMPOSED 0x00000001
#define MB_USEGLYPHCHARS 0x00000004
#define MB_ERR_INVALID_CHARS 0x00000008
#define WC_ERR_INVALID_CHARS 0x00000080
#define WC_NO_BEST_FIT_CHARS 0x00000400

// GetACP: the narrow page that CP_ACP stands for, CP_UTF8 or 1252.
UINT GetACP();

// MultiByteToWideChar: narrow text to units; returns how many, or 0.
//   Pages: CP_ACP, CP_THREAD_ACP (the same), CP_UTF8, 1252. Flags: the three MB_ above; the first two change nothing.
//   iBytes below 0: up to and including the terminator. iRoom 0: only asks how many units it takes.
//   What is not UTF-8 becomes U+FFFD, one for each byte that begins nothing and one for each sequence that breaks off.
//   Errors: ERROR_INVALID_PARAMETER (no text, no bytes, room without a buffer, unknown page), ERROR_INVALID_FLAGS,
//   ERROR_INSUFFICIENT_BUFFER (what fits was written), ERROR_NO_UNICODE_TRANSLATION (MB_ERR_INVALID_CHARS and not UTF-8).
//   Not provided: MB_COMPOSITE.
int MultiByteToWideChar(UINT uCodePage, DWORD ulFlags, LPCSTR pText, int iBytes, LPWSTR pWide, int iRoom);

// WideCharToMultiByte: units to narrow text; the mirror of the call above.
//   1252: a unit that the page lacks becomes its look-alike (unless WC_NO_BEST_FIT_CHARS), else the default, "?" for null.
//   UTF-8: half a surrogate pair becomes U+FFFD, or with WC_ERR_INVALID_CHARS is ERROR_NO_UNICODE_TRANSLATION.
//   *pbUsedDefault: whether anything was replaced. Errors as above.
//   Not provided: WC_COMPOSITECHECK and its companions.
int WideCharToMultiByte(UINT uCodePage, DWORD ulFlags, LPCWSTR pWide, int iUnits, LPSTR pText, int iRoom, LPCSTR pDefault,
                        LPBOOL pbUsedDefault);

// wcstombs: units to the narrow page, up to ulRoom bytes and whole characters only, with a terminator where it fits.
//   Returns the bytes without the terminator; pText null: the bytes it would take. (size_t)-1 when the page lacks a unit
//   (no look-alikes here); what came before it was written then.
std::size_t wcstombs(char* pText, const WCHAR* pWide, std::size_t ulRoom);

// The runtime's functions on zero-terminated wide text, with its results: wcscmp and wcscoll give -1, 0 or 1, the others
// of that kind the difference of the two units. Both arguments must be texts.
std::size_t wcslen(const WCHAR* pText);
int wcscmp(const WCHAR* pA, const WCHAR* pB);
int wcsncmp(const WCHAR* pA, const WCHAR* pB, std::size_t ulUnits);
int wcscoll(const WCHAR* pA, const WCHAR* pB);
int _wcsicmp(const WCHAR* pA, const WCHAR* pB);
int _wcsnicmp(const WCHAR* pA, const WCHAR* pB, std::size_t ulUnits);

const WCHAR* wcschr(const WCHAR* pText, WCHAR uwUnit); // the terminator can be looked for
const WCHAR* wcsrchr(const WCHAR* pText, WCHAR uwUnit);
const WCHAR* wcsstr(const WCHAR* pText, const WCHAR* pFind); // an empty text is found at the start
const WCHAR* wcspbrk(const WCHAR* pText, const WCHAR* pSet);
std::size_t wcsspn(const WCHAR* pText, const WCHAR* pSet);
std::size_t wcscspn(const WCHAR* pText, const WCHAR* pSet);

inline WCHAR* wcschr(WCHAR* pText, WCHAR uwUnit) { return const_cast<WCHAR*>(wcschr(static_cast<const WCHAR*>(pText), uwUnit)); }
inline WCHAR* wcsrchr(WCHAR* pText, WCHAR uwUnit) { return const_cast<WCHAR*>(wcsrchr(static_cast<const WCHAR*>(pText), uwUnit)); }
inline WCHAR* wcsstr(WCHAR* pText, const WCHAR* pFind) { return const_cast<WCHAR*>(wcsstr(static_cast<const WCHAR*>(pText), pFind)); }
inline WCHAR* wcspbrk(WCHAR* pText, const WCHAR* pSet) { return const_cast<WCHAR*>(wcspbrk(static_cast<const WCHAR*>(pText), pSet)); }

WCHAR* wcscpy(WCHAR* pTo, const WCHAR* pFrom);
WCHAR* wcsncpy(WCHAR* pTo, const WCHAR* pFrom, std::size_t ulUnits); // fills up with zeros; no terminator when the text fills it
WCHAR* _wcsupr(WCHAR* pText);
WCHAR* _wcslwr(WCHAR* pText);
WCHAR* _wcsrev(WCHAR* pText); // unit by unit

// _wtoi: white space, a sign, decimal digits (of any script that the runtime knows); beyond 32 bits the nearest limit.
int _wtoi(const WCHAR* pText);

// _ismbcspace, _ismbcdigit: of a unit passed as it is. The answers are the Western page's, whichever page is in use:
//   spaces are 9 to 13, 32 and 0xA0; digits are 0 to 9 and the superscripts 0xB2, 0xB3, 0xB9.
inline int _ismbcspace(unsigned int uUnit) { return (uUnit - 9 < 5 || uUnit == 0x20 || uUnit == 0xA0) ? 8 : 0; }
inline int _ismbcdigit(unsigned int uUnit) { return (uUnit - '0' < 10 || uUnit - 0xB2 < 2 || uUnit == 0xB9) ? 4 : 0; }

// Narrow text. Compared byte by byte, without a sign.
int lstrlenA(LPCSTR pText); // 0 for null
int _stricmp(const char* pA, const char* pB);
int _strnicmp(const char* pA, const char* pB, std::size_t ulBytes);
int _mbscmp(const unsigned char* pA, const unsigned char* pB); // -1, 0 or 1

// _itoa: the digits of a number, for iRadix 2 to 36; a sign for radix 10 only. Any other radix gives an empty text.
char* _itoa(int iValue, char* pText, int iRadix);
