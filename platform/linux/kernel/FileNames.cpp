// Deleting, moving and folders.
#include "FileNames.h"

#include "PlatformPrivate.h"

#include "Errno.h"
#include "FileObject.h"
#include "FileShare.h"
#include "Files.h"
#include "Paths.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace lum
{
namespace
{
constexpr DWORD kulAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Holds the right to take a file's name away: no open that denies it, until this ends. ulShare 0: no open at all.
class NameClaim
{
public:
    explicit NameClaim(const std::string& sPath, DWORD ulShare = kulAll)
    {
        constexpr int kiFlags = O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY;
        mFd = open(sPath.c_str(), O_RDONLY | kiFlags);
        const bool bCanRead = mFd >= 0 || errno != EACCES;
        if (!bCanRead) mFd = open(sPath.c_str(), O_WRONLY | kiFlags);
        // What we cannot open at all is not ours to judge.
        mbGranted = mFd < 0 || ClaimShare(mFd, bCanRead, {FILE_SHARE_DELETE, ulShare});
    }
    // By an open of the file for reading, which goes on: what that one denies stays denied.
    explicit NameClaim(int fdHeld)
        : mFd(fcntl(fdHeld, F_DUPFD_CLOEXEC, 0)), mbGranted(mFd >= 0 && ClaimShare(mFd, true, {FILE_SHARE_DELETE, 0}))
    {
    }
    ~NameClaim() { if (mFd >= 0) close(mFd); }
    NameClaim(const NameClaim&) = delete;
    NameClaim& operator=(const NameClaim&) = delete;

    bool IsGranted() const { return mbGranted; }

private:
    int mFd = -1;
    bool mbGranted = false;
};

template <class Text>
BOOL Delete(Text pName)
{
    SystemPath path;
    struct stat status{};
    if (!ToSystemPath(pName, path)) return FALSE;
    if (OnSpelling(path.sPath, [&](const char* p) { return lstat(p, &status); }) != 0) return FailErrno();
    if (S_ISDIR(status.st_mode)) return Fail(ERROR_ACCESS_DENIED);
    if (path.bFolder) return Fail(ERROR_INVALID_NAME);
    if (!S_ISREG(status.st_mode)) return unlink(path.sPath.c_str()) == 0 ? TRUE : FailErrno();
    if (!(status.st_mode & 0222)) return Fail(ERROR_ACCESS_DENIED);

    NameClaim claim(path.sPath);
    if (!claim.IsGranted()) return Fail(ERROR_SHARING_VIOLATION);
    return unlink(path.sPath.c_str()) == 0 ? TRUE : FailErrno();
}

int RenameToFreeName(const char* pFrom, const char* pTo)
{
    if (renameat2(AT_FDCWD, pFrom, AT_FDCWD, pTo, RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL) return -1;
    // A file system that cannot tell: the second name is made first, which fails where one exists.
    return link(pFrom, pTo) == 0 ? unlink(pFrom) : -1;
}

bool CopyContents(int fdFrom, int fdTo)
{
    for (;;)
    {
        const ssize_t lCopied = sendfile(fdTo, fdFrom, nullptr, 0x40000000);
        if (lCopied == 0) return true;
        if (lCopied < 0 && errno != EINTR) return false;
    }
}

// To another file system: a whole copy under a name of its own first, so that the new name never leads to half a file.
int MoveByCopy(const std::string& sFrom, const std::string& sTo, const struct stat& status)
{
    const int fdFrom = open(sFrom.c_str(), O_RDONLY | O_CLOEXEC);
    if (fdFrom < 0) return -1;
    std::string sCopy = sTo + ".XXXXXX";
    const int fdTo = mkostemp(sCopy.data(), O_CLOEXEC);
    bool bDone = fdTo >= 0 && CopyContents(fdFrom, fdTo);
    if (bDone)
    {
        const timespec aTimes[2] = {status.st_atim, status.st_mtim};
        bDone = fchmod(fdTo, status.st_mode & 07777) == 0 && futimens(fdTo, aTimes) == 0 && fsync(fdTo) == 0 &&
                RenameToFreeName(sCopy.c_str(), sTo.c_str()) == 0 && unlink(sFrom.c_str()) == 0;
    }
    const int iErrno = errno;
    if (fdTo >= 0) close(fdTo);
    close(fdFrom);
    if (!bDone && fdTo >= 0) unlink(sCopy.c_str());
    errno = iErrno;
    return bDone ? 0 : -1;
}

// The name that a file is to get: the folder as it is spelled on the disk, the last component as it was asked for.
std::string WithAskedName(const std::string& sFound, const std::string& sAsked)
{
    const std::size_t ulFound = sFound.rfind('/'), ulAsked = sAsked.rfind('/');
    const std::string sFolder = ulFound == std::string::npos ? "" : sFound.substr(0, ulFound + 1);
    return sFolder + (ulAsked == std::string::npos ? sAsked : sAsked.substr(ulAsked + 1));
}

constexpr DWORD kulMayCopy = 0x00000002; // to another file system, as MoveFileA does

bool SyncFolderOf(const std::string& sPath)
{
    const std::size_t ulEnd = sPath.rfind('/');
    const std::string sFolder = ulEnd == std::string::npos ? "." : sPath.substr(0, ulEnd + 1);
    const int fd = open(sFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool bDone = fd >= 0 && fsync(fd) == 0;
    const int iErrno = errno;
    if (fd >= 0) close(fd);
    errno = iErrno;
    return bDone;
}

// Both names exist, as they are spelled on the disk. fdHeld: an open of the second one that is not in the way, or -1.
BOOL Replace(const std::string& sFrom, const std::string& sTo, int fdHeld)
{
    struct stat from{}, to{}, held{};
    if (lstat(sFrom.c_str(), &from) != 0 || lstat(sTo.c_str(), &to) != 0) return FailErrno();
    if (fdHeld >= 0 && (fstat(fdHeld, &held) != 0 || held.st_dev != to.st_dev || held.st_ino != to.st_ino))
        return Fail(ERROR_ACCESS_DENIED); // it has another name by now
    if (S_ISDIR(from.st_mode) || S_ISDIR(to.st_mode) || !(to.st_mode & 0222)) return Fail(ERROR_ACCESS_DENIED);

    NameClaim old(sFrom), replaced = fdHeld < 0 ? NameClaim(sTo, 0) : NameClaim(fdHeld);
    if (!old.IsGranted()) return Fail(ERROR_SHARING_VIOLATION);
    if (!replaced.IsGranted()) return Fail(ERROR_ACCESS_DENIED);
    return rename(sFrom.c_str(), sTo.c_str()) == 0 ? TRUE : FailErrno();
}

template <class Text>
BOOL Move(Text pFrom, Text pTo, DWORD ulFlags, int fdHeld = -1)
{
    SystemPath from, to;
    struct stat status{};
    if (!ToSystemPath(pFrom, from) || !ToSystemPath(pTo, to)) return FALSE;
    if (OnSpelling(from.sPath, [&](const char* p) { return lstat(p, &status); }) != 0) return FailErrno();

    std::string sFound = to.sPath;
    const PathFound eFound = FindSpelling(sFound);
    if (eFound == PathFound::Less) return Fail(ERROR_PATH_NOT_FOUND);
    if (eFound == PathFound::Whole && sFound != from.sPath)
        return ulFlags & MOVEFILE_REPLACE_EXISTING ? Replace(from.sPath, sFound, fdHeld) : Fail(ERROR_ALREADY_EXISTS);
    const std::string sTo = WithAskedName(sFound, to.sPath);
    if (sTo == from.sPath) return TRUE;

    if (!S_ISREG(status.st_mode)) return RenameToFreeName(from.sPath.c_str(), sTo.c_str()) == 0 ? TRUE : FailErrno();

    NameClaim claim(from.sPath);
    if (!claim.IsGranted()) return Fail(ERROR_SHARING_VIOLATION);
    if (RenameToFreeName(from.sPath.c_str(), sTo.c_str()) == 0) return TRUE;
    if (errno == EXDEV && (ulFlags & kulMayCopy) && MoveByCopy(from.sPath, sTo, status) == 0) return TRUE;
    return FailErrno();
}
} // namespace
} // namespace lum

BOOL DeleteFileA(LPCSTR pName) { return lum::Delete(pName); }
BOOL DeleteFileW(LPCWSTR pName) { return lum::Delete(pName); }
BOOL MoveFileA(LPCSTR pFrom, LPCSTR pTo) { return lum::Move(pFrom, pTo, lum::kulMayCopy); }
BOOL MoveFileW(LPCWSTR pFrom, LPCWSTR pTo) { return lum::Move(pFrom, pTo, lum::kulMayCopy); }

static BOOL SyncName(LPCSTR pName)
{
    lum::SystemPath path;
    if (!lum::ToSystemPath(pName, path)) return FALSE;
    lum::FindSpelling(path.sPath);
    return lum::SyncFolderOf(path.sPath) ? TRUE : lum::FailErrno();
}

BOOL MoveFileExA(LPCSTR pFrom, LPCSTR pTo, DWORD ulFlags)
{
    if (ulFlags & ~(MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) return lum::Fail(ERROR_INVALID_PARAMETER);
    if (!lum::Move(pFrom, pTo, ulFlags)) return FALSE;
    return ulFlags & MOVEFILE_WRITE_THROUGH ? SyncName(pTo) : TRUE;
}

BOOL LumReplaceHeld(HANDLE hHeld, LPCSTR pNew, LPCSTR pHeld)
{
    BOOL bDone = FALSE;
    {
        const lum::FileUse held(hHeld, FILE_READ_DATA);
        bDone = held && lum::Move(pNew, pHeld, MOVEFILE_REPLACE_EXISTING, held->Fd()) && SyncName(pHeld);
    }
    const DWORD ulError = GetLastError();
    CloseHandle(hHeld);
    SetLastError(ulError);
    return bDone;
}

BOOL CreateDirectoryA(LPCSTR pName, LPSECURITY_ATTRIBUTES)
{
    lum::SystemPath path;
    if (!lum::ToSystemPath(pName, path)) return FALSE;
    const lum::PathFound eFound = lum::FindSpelling(path.sPath);
    if (eFound == lum::PathFound::Whole) return lum::Fail(ERROR_ALREADY_EXISTS);
    if (eFound == lum::PathFound::Less) return lum::Fail(ERROR_PATH_NOT_FOUND);
    return mkdir(path.sPath.c_str(), 0777) == 0 ? TRUE : lum::FailErrno();
}

BOOL RemoveDirectoryA(LPCSTR pName)
{
    lum::SystemPath path;
    struct stat status{};
    if (!lum::ToSystemPath(pName, path)) return FALSE;
    if (lum::OnSpelling(path.sPath, [&](const char* p) { return lstat(p, &status); }) != 0) return lum::FailErrno();
    if (!S_ISDIR(status.st_mode)) return lum::Fail(ERROR_DIRECTORY);
    return rmdir(path.sPath.c_str()) == 0 ? TRUE : lum::FailErrno();
}
