// The system's message formatter: texts of error codes, and formats with numbered inserts.
#pragma once

#include "Types.h"

#include <cstdarg>

#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200
#define FORMAT_MESSAGE_FROM_STRING 0x00000400
#define FORMAT_MESSAGE_FROM_HMODULE 0x00000800
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000
#define FORMAT_MESSAGE_ARGUMENT_ARRAY 0x00002000
#define FORMAT_MESSAGE_MAX_WIDTH_MASK 0x000000FF

// FormatMessageA, FormatMessageW: one message from a text or from the system's list, its inserts filled in.
//   %1 to %99, with a printf format between exclamation marks where it is not "s"; %n a line break, %0 the end without one,
//   %r, %t; any other character behind % stands for itself. Line breaks become CR LF. With a width (1 to 254 in the low byte
//   of the flags) they become blanks instead and lines of that many characters are broken; with 255 they are only that.
//   A * in %n!...! takes argument n: in an array %1!*.*s! is 1, 2 and 3; in a list the first * has no number, so that the text
//   of %1!*s! is 1 and of %1!*.*s! is 2. Arguments are integers and pointers, never floating-point numbers.
//   Returns the characters without the zero. With FORMAT_MESSAGE_ALLOCATE_BUFFER, pBuffer is the address of a pointer that gets
//   memory for LocalFree, of at least ulSize characters; null on failure.
//   Errors (result 0): ERROR_INVALID_PARAMETER (bad format or flags; inserts without arguments), ERROR_INSUFFICIENT_BUFFER,
//   ERROR_MR_MID_NOT_FOUND, ERROR_RESOURCE_LANG_NOT_FOUND (system texts are English), ERROR_NO_WORK_DONE (an empty message).
//   Not provided: message tables of modules (ERROR_RESOURCE_DATA_NOT_FOUND, or the system's text when that may be taken too).
DWORD FormatMessageA(DWORD ulFlags, LPCVOID pSource, DWORD ulMessageId, DWORD ulLanguageId, LPSTR pBuffer, DWORD ulSize,
                     va_list* pArguments);
DWORD FormatMessageW(DWORD ulFlags, LPCVOID pSource, DWORD ulMessageId, DWORD ulLanguageId, LPWSTR pBuffer, DWORD ulSize,
                     va_list* pArguments);

namespace lum
{
// SystemText: the English text of an error code, without a line break; null when there is none.
const char* SystemText(DWORD ulCode);
} // namespace lum
