// Names of events, mutexes and mappings. Internal to platform/linux.
#pragma once

#include "Types.h"

#include <string>

namespace lum
{
// ParseObjectName: the name without "Local\", which changes nothing; "Global\" stays a part of it. Empty for no name.
//   Case counts; all kinds of object share the names.
//   Errors: ERROR_FILENAME_EXCED_RANGE (narrow: more than MAX_PATH units; wide: more than 32,767), ERROR_PATH_NOT_FOUND (another
//   backslash), ERROR_BAD_PATHNAME (a backslash in front), ERROR_INVALID_NAME (a prefix alone), ERROR_INVALID_HANDLE ("Local"
//   and "Global", which name something else).
bool ParseObjectName(LPCSTR pName, std::u16string& sName);
bool ParseObjectName(LPCWSTR pName, std::u16string& sName);

// ObjectFileName: the file that stands for a name: letters, digits, '_', '-' and '.' as they are, other units as % and four
//   digits. A long name is cut, and its length and a number made from all of it follow behind '~'.
std::string ObjectFileName(const std::u16string& sName);
} // namespace lum
