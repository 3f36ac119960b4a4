// From a path as Windows programs write it to one that the system opens. Internal to platform/linux.
//
//  * Backslash and slash both separate; `.` and `..` are resolved by the text alone, as Windows does, and never lead above
//    the root of a drive. The last component loses a trailing run of dots and blanks, the others a trailing dot.
//  * C:\x is x below the link <home>/drives/c. Drive C is made when it is missing; the others are for people to link.
//  * NUL, in any folder and case, is /dev/null.
#pragma once

#include "Types.h"

#include <cerrno>
#include <string>
#include <string_view>

namespace lum
{
// A path taken apart, its components joined by single slashes without one at either end.
struct PathText
{
    char cDrive = 0;       // as written; 0 when there is none
    bool bRooted = false;  // begins at a root; always so with a drive
    bool bFolder = false;  // ended with a separator, or in `.` or `..`: can only be a folder
    std::string sRest;     // empty for the root itself, or for the working directory

    // The whole path, with backslashes when it has a drive, else with slashes.
    std::string Join() const;
};

// ParsePath: takes a path apart.
//   Errors: ERROR_PATH_NOT_FOUND (empty), ERROR_INVALID_NAME (a character that no Windows name has), ERROR_BAD_NETPATH (a share).
bool ParsePath(std::string_view path, PathText& out);

// A path for the system's calls, in the system's encoding.
struct SystemPath
{
    std::string sPath;
    bool bFolder = false;
};

// ToSystemPath: from narrow or wide text. Null is ERROR_PATH_NOT_FOUND; others as above, and ERROR_INVALID_NAME for text
//   that is not valid in its encoding.
bool ToSystemPath(LPCSTR pPath, SystemPath& out);
bool ToSystemPath(LPCWSTR pPath, SystemPath& out);

// Narrow text to the system's UTF-8 and back. The same bytes when the code page is UTF-8.
std::string NarrowToSystem(std::string_view text);
std::string SystemToNarrow(std::string_view text);

// How much of a path exists.
enum class PathFound : unsigned char { Whole, Folder, Less }; // Folder: all but the last component

// FindSpelling: looks for every component as spelled, then without regard to case, and gives the path the spelling that is
//   on the disk as far as there is one. Of several that differ in case alone, the first in byte order.
PathFound FindSpelling(std::string& sPath);

// Runs a call on a path; when nothing is there as spelled, once more on the spelling that is. The call returns -1 and sets
//   errno on failure; so does this, with ENOENT when only the last component is missing, ENOTDIR when more is.
template <class Call>
int OnSpelling(std::string& sPath, Call call)
{
    int iResult = call(sPath.c_str());
    if (iResult >= 0 || (errno != ENOENT && errno != ENOTDIR)) return iResult;

    const int iErrno = errno;
    const std::string sAsked = sPath;
    const PathFound eFound = FindSpelling(sPath);
    if (eFound == PathFound::Whole && sPath != sAsked) return call(sPath.c_str());
    errno = eFound == PathFound::Whole ? iErrno : eFound == PathFound::Folder ? ENOENT : ENOTDIR;
    return -1;
}
} // namespace lum
