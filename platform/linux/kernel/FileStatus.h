// From the system's status of a file to the Windows one. Internal to platform/linux.
#pragma once

#include "Types.h"

#include <sys/stat.h>

namespace lum
{
constexpr LONGLONG kllFileTimeOf1970 = 116444736000000000;

FILETIME ToFileTime(LONGLONG llSeconds, LONGLONG llNanoseconds);
timespec ToTimespec(const FILETIME& time);

struct FileTimes
{
    FILETIME made, read, written;
};

struct FileStatus
{
    DWORD ulAttributes;
    ULONGLONG ullBytes;
    FileTimes times;
    DWORD ulVolume, ulLinks;
    ULONGLONG ullIndex;
};

// Of a descriptor, or of a path when fd is AT_FDCWD; false with errno set.
bool ReadFileStatus(int fd, const char* pPath, FileStatus& out);
} // namespace lum
