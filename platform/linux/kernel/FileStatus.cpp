// Attributes, times and sizes.
#include "FileStatus.h"

#include "DescriptorPath.h"
#include "Errno.h"
#include "FileNames.h"
#include "FileObject.h"
#include "Files.h"
#include "Paths.h"

#include <fcntl.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>

namespace lum
{
FILETIME ToFileTime(LONGLONG llSeconds, LONGLONG llNanoseconds)
{
    const auto ullSteps = static_cast<ULONGLONG>(llSeconds * 10'000'000 + llNanoseconds / 100 + kllFileTimeOf1970);
    return {static_cast<DWORD>(ullSteps), static_cast<DWORD>(ullSteps >> 32)};
}

timespec ToTimespec(const FILETIME& time)
{
    const LONGLONG llSteps =
        static_cast<LONGLONG>(static_cast<ULONGLONG>(time.dwHighDateTime) << 32 | time.dwLowDateTime) - kllFileTimeOf1970;
    LONGLONG llSeconds = llSteps / 10'000'000, llRest = llSteps % 10'000'000;
    if (llRest < 0) llRest += 10'000'000, --llSeconds; // before 1970
    return {llSeconds, static_cast<long>(llRest * 100)};
}

bool ReadFileStatus(int fd, const char* pPath, FileStatus& out)
{
    struct statx status{};
    if (statx(fd, pPath, *pPath ? 0 : AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) return false;

    out.ulAttributes = S_ISDIR(status.stx_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
    if (!(status.stx_mode & 0222)) out.ulAttributes |= FILE_ATTRIBUTE_READONLY;
    out.ullBytes = S_ISDIR(status.stx_mode) ? 0 : status.stx_size;
    out.ulVolume = static_cast<DWORD>(makedev(status.stx_dev_major, status.stx_dev_minor));
    out.ulLinks = status.stx_nlink;
    out.ullIndex = status.stx_ino;
    out.times.read = ToFileTime(status.stx_atime.tv_sec, status.stx_atime.tv_nsec);
    out.times.written = ToFileTime(status.stx_mtime.tv_sec, status.stx_mtime.tv_nsec);
    const bool bKept = (status.stx_mask & STATX_BTIME) != 0;
    const bool bChangeFirst = status.stx_ctime.tv_sec < status.stx_mtime.tv_sec;
    const statx_timestamp& made = bKept ? status.stx_btime : bChangeFirst ? status.stx_ctime : status.stx_mtime;
    out.times.made = ToFileTime(made.tv_sec, made.tv_nsec);
    return true;
}

namespace
{
template <class Text>
bool StatusOf(Text pName, FileStatus& out)
{
    SystemPath path;
    if (!ToSystemPath(pName, path)) return false;
    const int iResult =
        OnSpelling(path.sPath, [&](const char* p) { return ReadFileStatus(AT_FDCWD, p, out) ? 0 : -1; });
    if (iResult != 0) return FailErrno();
    if (path.bFolder && !(out.ulAttributes & FILE_ATTRIBUTE_DIRECTORY)) return Fail(ERROR_INVALID_NAME);
    return true;
}

template <class Text>
BOOL SetAttributes(Text pName, DWORD ulAttributes)
{
    SystemPath path;
    if (!ToSystemPath(pName, path)) return FALSE;
    struct stat status{};
    if (OnSpelling(path.sPath, [&](const char* p) { return stat(p, &status); }) != 0) return FailErrno();
    if (S_ISDIR(status.st_mode)) return TRUE;

    mode_t uMode = status.st_mode & 07777;
    if (ulAttributes & FILE_ATTRIBUTE_READONLY) uMode &= ~0222u;
    else if (!(uMode & 0222)) uMode |= S_IWUSR;
    if (uMode == (status.st_mode & 07777)) return TRUE;
    return chmod(path.sPath.c_str(), uMode) == 0 ? TRUE : FailErrno();
}
} // namespace
} // namespace lum

DWORD GetFileAttributesA(LPCSTR pName)
{
    lum::FileStatus status{};
    return lum::StatusOf(pName, status) ? status.ulAttributes : INVALID_FILE_ATTRIBUTES;
}

DWORD GetFileAttributesW(LPCWSTR pName)
{
    lum::FileStatus status{};
    return lum::StatusOf(pName, status) ? status.ulAttributes : INVALID_FILE_ATTRIBUTES;
}

BOOL GetFileAttributesExA(LPCSTR pName, GET_FILEEX_INFO_LEVELS eLevel, LPVOID pData)
{
    if (eLevel != GetFileExInfoStandard || !pData) return lum::Fail(ERROR_INVALID_PARAMETER);
    lum::FileStatus status{};
    if (!lum::StatusOf(pName, status)) return FALSE;

    auto& data = *static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(pData);
    data.dwFileAttributes = status.ulAttributes;
    data.ftCreationTime = status.times.made;
    data.ftLastAccessTime = status.times.read;
    data.ftLastWriteTime = status.times.written;
    data.nFileSizeHigh = static_cast<DWORD>(status.ullBytes >> 32);
    data.nFileSizeLow = static_cast<DWORD>(status.ullBytes);
    return TRUE;
}

BOOL SetFileAttributesA(LPCSTR pName, DWORD ulAttributes) { return lum::SetAttributes(pName, ulAttributes); }
BOOL SetFileAttributesW(LPCWSTR pName, DWORD ulAttributes) { return lum::SetAttributes(pName, ulAttributes); }

BOOL GetFileInformationByHandle(HANDLE hFile, BY_HANDLE_FILE_INFORMATION* pInfo)
{
    lum::FileUse file(hFile, 0);
    if (!file) return FALSE;
    lum::FileStatus status{};
    if (!lum::ReadFileStatus(file->Fd(), "", status)) return lum::FailErrno();
    const auto low = [](ULONGLONG ull) { return static_cast<DWORD>(ull); };
    const auto high = [](ULONGLONG ull) { return static_cast<DWORD>(ull >> 32); };
    *pInfo = {status.ulAttributes, status.times.made, status.times.read, status.times.written, status.ulVolume,
              high(status.ullBytes), low(status.ullBytes), status.ulLinks, high(status.ullIndex), low(status.ullIndex)};
    return TRUE;
}

BOOL GetFileTime(HANDLE hFile, LPFILETIME pMade, LPFILETIME pRead, LPFILETIME pWritten)
{
    lum::FileUse file(hFile, 0);
    if (!file) return FALSE;
    lum::FileStatus status{};
    if (!lum::ReadFileStatus(file->Fd(), "", status)) return lum::FailErrno();
    if (pMade) *pMade = status.times.made;
    if (pRead) *pRead = status.times.read;
    if (pWritten) *pWritten = status.times.written;
    return TRUE;
}

BOOL SetFileTime(HANDLE hFile, const FILETIME*, const FILETIME* pRead, const FILETIME* pWritten)
{
    lum::FileUse file(hFile, FILE_WRITE_ATTRIBUTES);
    if (!file) return FALSE;
    timespec aTimes[2] = {{0, UTIME_OMIT}, {0, UTIME_OMIT}};
    if (pRead) aTimes[0] = lum::ToTimespec(*pRead);
    if (pWritten) aTimes[1] = lum::ToTimespec(*pWritten);
    // By way of /proc, since a descriptor that only stands for the name cannot be used directly.
    return utimensat(AT_FDCWD, lum::DescriptorPath(file->Fd()), aTimes, 0) == 0 ? TRUE : lum::FailErrno();
}
