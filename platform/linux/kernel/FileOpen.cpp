// Opening and making files.
#include "DescriptorPath.h"
#include "Errno.h"
#include "FileObject.h"
#include "FileNames.h"
#include "FileRemoval.h"
#include "Files.h"
#include "Paths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <string>

namespace lum
{
namespace
{
constexpr int kiTries = 16; // a file may come or go between two steps, but not for ever

struct OpenRequest
{
    DWORD ulRights;
    DWORD ulShare;
    DWORD ulDisposition;
    DWORD ulFlags;

    bool Empties() const { return ulDisposition == CREATE_ALWAYS || ulDisposition == TRUNCATE_EXISTING; }
    bool WritesData() const { return (ulRights & (FILE_WRITE_DATA | FILE_APPEND_DATA)) != 0; }
    bool MayCreate() const { return ulDisposition != OPEN_EXISTING && ulDisposition != TRUNCATE_EXISTING; }
    bool DeletesOnClose() const { return (ulFlags & FILE_FLAG_DELETE_ON_CLOSE) != 0; }
};

DWORD SpecificRights(DWORD ulAccess)
{
    struct GenericRow { DWORD ulGeneric, ulRights; };
    constexpr GenericRow kRows[] = {{GENERIC_READ, FILE_GENERIC_READ},
                                    {GENERIC_WRITE, FILE_GENERIC_WRITE},
                                    {GENERIC_EXECUTE, FILE_GENERIC_EXECUTE},
                                    {GENERIC_ALL, FILE_ALL_ACCESS}};
    DWORD ulRights = ulAccess & FILE_ALL_ACCESS;
    for (const GenericRow& row : kRows)
        if (ulAccess & row.ulGeneric) ulRights |= row.ulRights;
    return ulRights;
}

int OpenFlags(const OpenRequest& request)
{
    const bool bRead = (request.ulRights & (FILE_READ_DATA | FILE_EXECUTE)) != 0;
    const bool bWrite = request.WritesData() || request.Empties();
    int iFlags = O_CLOEXEC | O_NOCTTY;
    iFlags |= bWrite ? (bRead ? O_RDWR : O_WRONLY) : O_RDONLY;
    if (!bRead && !bWrite) iFlags |= O_NONBLOCK; // for the name and attributes alone: nobody need stand at a pipe's other end
    if ((request.ulRights & (FILE_WRITE_DATA | FILE_APPEND_DATA)) == FILE_APPEND_DATA) iFlags |= O_APPEND;
    if (request.ulFlags & FILE_FLAG_WRITE_THROUGH) iFlags |= O_SYNC;
    return iFlags;
}

// Opens what is there; folders for reading alone, and a file that may not be read by its name when no data is asked for.
int OpenThere(const char* pPath, const OpenRequest& request)
{
    const int iFlags = OpenFlags(request);
    int fd = open(pPath, iFlags);
    if (fd < 0 && errno == EISDIR && (request.ulFlags & FILE_FLAG_BACKUP_SEMANTICS))
        fd = open(pPath, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0 && errno == EACCES && (iFlags & O_NONBLOCK)) fd = open(pPath, O_PATH | O_CLOEXEC);
    return fd;
}

// NO_ERROR when what was found may be opened in this way.
DWORD CheckFound(const struct stat& status, const OpenRequest& request, bool bFolderName)
{
    if (S_ISDIR(status.st_mode))
    {
        if (request.Empties() || !(request.ulFlags & FILE_FLAG_BACKUP_SEMANTICS)) return ERROR_ACCESS_DENIED;
        return NO_ERROR;
    }
    if (bFolderName) return ERROR_INVALID_NAME;
    // The rights of the file decide for everybody, its owner and the system's administrator included.
    const bool bReadOnly = (status.st_mode & 0222) == 0;
    if (bReadOnly && (request.WritesData() || request.Empties() || request.DeletesOnClose())) return ERROR_ACCESS_DENIED;
    return NO_ERROR;
}

DWORD Empty(int fd, const struct stat& status, const OpenRequest& request)
{
    if (ftruncate(fd, 0) != 0 && errno != EINVAL) return ErrorFromErrno(errno); // EINVAL: a device has nothing to empty
    if (request.ulDisposition == CREATE_ALWAYS && request.ulFlags & FILE_ATTRIBUTE_READONLY)
        fchmod(fd, status.st_mode & 07555);
    return NO_ERROR;
}

HANDLE Refuse(int fd, DWORD ulError)
{
    if (fd >= 0) close(fd);
    SetLastError(ulError);
    return INVALID_HANDLE_VALUE;
}

// Makes the handle of a descriptor that has passed every check. A file that was made for it goes when it cannot have one.
HANDLE MakeHandle(int fd, const OpenRequest& request, const ShareMode& share, bool bMade, DWORD ulLastError)
{
    auto* pFile = new (std::nothrow) FileObject(fd, share, request.DeletesOnClose());
    if (!pFile)
    {
        if (bMade) TakeBackFile(fd);
        return Refuse(fd, ERROR_NOT_ENOUGH_MEMORY);
    }
    pFile->AddRef();
    const ObjectRef file(pFile);
    const HANDLE hFile = InsertHandle(pFile, request.ulRights);
    if (!hFile && bMade) TakeBackFile(fd);
    SetLastError(hFile ? ulLastError : ERROR_TOO_MANY_OPEN_FILES);
    return hFile ? hFile : INVALID_HANDLE_VALUE;
}

// The share mode as it is claimed: emptying a file is writing to it.
ShareMode ClaimOf(const OpenRequest& request)
{
    return {ShareAccess(request.ulRights) | (request.Empties() ? FILE_SHARE_WRITE : 0), request.ulShare};
}

bool Claim(int fd, const OpenRequest& request, const ShareMode& share)
{
    return ClaimShare(fd, (OpenFlags(request) & O_ACCMODE) != O_WRONLY, share);
}

// Opens a file that exists. *pbGone: it went away meanwhile, try again.
HANDLE FinishFound(int fd, const OpenRequest& request, bool bFolderName, bool* pbGone)
{
    if (request.ulDisposition == CREATE_NEW) return Refuse(fd, ERROR_FILE_EXISTS);

    // The claim comes first, so that one look tells both what the file is and that it is still there.
    ShareMode share = ClaimOf(request);
    bool bClaimed = Claim(fd, request, share);
    struct stat status{};
    if (fstat(fd, &status) != 0) return Refuse(fd, ErrorFromErrno(errno));
    if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode))
    {
        DropShare(fd); // pipes and devices are shared by nature
        share = {};
        bClaimed = true;
    }
    if (const DWORD ulError = CheckFound(status, request, bFolderName)) return Refuse(fd, ulError);
    if (!bClaimed) return Refuse(fd, ERROR_SHARING_VIOLATION);
    if (status.st_nlink == 0)
    {
        *pbGone = true;
        return Refuse(fd, NO_ERROR);
    }
    if (request.Empties())
        if (const DWORD ulError = Empty(fd, status, request)) return Refuse(fd, ulError);

    const bool bSaySo = request.ulDisposition == CREATE_ALWAYS || request.ulDisposition == OPEN_ALWAYS;
    return MakeHandle(fd, request, share, false, bSaySo ? ERROR_ALREADY_EXISTS : NO_ERROR);
}

HANDLE FinishMade(int fd, const OpenRequest& request)
{
    const ShareMode share = ClaimOf(request);
    if (!Claim(fd, request, share)) return Refuse(fd, ERROR_SHARING_VIOLATION); // somebody was quicker to open what we made
    return MakeHandle(fd, request, share, true, NO_ERROR);
}

HANDLE OpenPath(SystemPath& path, const OpenRequest& request)
{
    const mode_t uMode = request.ulFlags & FILE_ATTRIBUTE_READONLY ? 0444 : 0666;
    for (int i = 0; i < kiTries; ++i)
    {
        bool bGone = false;
        std::string sFound = path.sPath;
        int fd = OnSpelling(sFound, [&](const char* p) { return OpenThere(p, request); });
        if (fd >= 0)
        {
            const HANDLE hFile = FinishFound(fd, request, path.bFolder, &bGone);
            if (!bGone) return hFile;
            continue;
        }
        if (errno != ENOENT || !request.MayCreate())
        {
            // A file that must not be there is in the way whatever its rights are.
            const bool bExists = request.ulDisposition == CREATE_NEW && (errno == EACCES || errno == EISDIR || errno == ETXTBSY);
            struct stat status{};
            const int iErrno = errno;
            if (bExists && lstat(sFound.c_str(), &status) == 0) return Refuse(-1, ERROR_FILE_EXISTS);
            return Refuse(-1, ErrorFromErrno(iErrno));
        }
        if (path.bFolder) return Refuse(-1, ERROR_INVALID_NAME);
        fd = open(sFound.c_str(), OpenFlags(request) | O_CREAT | O_EXCL, uMode);
        if (fd >= 0) return FinishMade(fd, request);
        if (errno != EEXIST) return Refuse(-1, errno == ENOENT ? ERROR_PATH_NOT_FOUND : ErrorFromErrno(errno));
    }
    return Refuse(-1, ERROR_ACCESS_DENIED); // such as a link that leads nowhere
}

template <class Text>
HANDLE Create(Text pName, DWORD ulAccess, DWORD ulShare, DWORD ulDisposition, DWORD ulFlags)
{
    SystemPath path;
    if (!ToSystemPath(pName, path)) return INVALID_HANDLE_VALUE;

    OpenRequest request{SpecificRights(ulAccess), ulShare, ulDisposition, ulFlags};
    if (ulDisposition < CREATE_NEW || ulDisposition > TRUNCATE_EXISTING) return Refuse(-1, ERROR_INVALID_PARAMETER);
    if (ulShare & ~(FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE)) return Refuse(-1, ERROR_INVALID_PARAMETER);
    if (ulDisposition == TRUNCATE_EXISTING && !(request.ulRights & FILE_WRITE_DATA)) return Refuse(-1, ERROR_INVALID_PARAMETER);
    if (request.DeletesOnClose()) request.ulRights |= DELETE;
    request.ulRights |= FILE_READ_ATTRIBUTES | SYNCHRONIZE;
    return OpenPath(path, request);
}
} // namespace

int FileObject::AppendFd()
{
    int fd = mAppendFd.load(std::memory_order_acquire);
    if (fd != kiNotAsked) return fd;
    struct stat status{};
    const int iFlags = fcntl(mFd, F_GETFL);
    const bool bFile = iFlags >= 0 && fstat(mFd, &status) == 0 && S_ISREG(status.st_mode);
    const int iNew = bFile ? open(DescriptorPath(mFd), O_WRONLY | O_APPEND | O_CLOEXEC | (iFlags & O_SYNC)) : -1;
    if (mAppendFd.compare_exchange_strong(fd, iNew, std::memory_order_acq_rel)) return iNew;
    if (iNew >= 0) close(iNew); // another thread was first
    return fd;
}

void FileObject::SettlePosition()
{
    if (!mbAppended.exchange(false)) return;
    const off_t llEnd = lseek(mAppendFd.load(std::memory_order_acquire), 0, SEEK_CUR);
    if (llEnd >= 0) lseek(mFd, llEnd, SEEK_SET);
}

FileObject::~FileObject()
{
    if (mbDeleteOnClose) DeleteFileOf(mFd);
    if (mAppendFd >= 0) close(mAppendFd);
    close(mFd);
}

FileUse::FileUse(HANDLE hFile, DWORD ulOneOf, DWORD* pulAccess)
{
    DWORD ulAccess = 0;
    mRef = LookUpHandle(hFile, ObjectKind::File, &ulAccess);
    if (!mRef)
    {
        SetLastError(ERROR_INVALID_HANDLE);
        return;
    }
    if (pulAccess) *pulAccess = ulAccess;
    if (ulOneOf == 0 || ulAccess & ulOneOf) return;
    mRef = {};
    SetLastError(ERROR_ACCESS_DENIED);
}
} // namespace lum

HANDLE CreateFileA(LPCSTR pName, DWORD ulAccess, DWORD ulShare, LPSECURITY_ATTRIBUTES, DWORD ulDisposition, DWORD ulFlags, HANDLE)
{
    return lum::Create(pName, ulAccess, ulShare, ulDisposition, ulFlags);
}

HANDLE CreateFileW(LPCWSTR pName, DWORD ulAccess, DWORD ulShare, LPSECURITY_ATTRIBUTES, DWORD ulDisposition, DWORD ulFlags, HANDLE)
{
    return lum::Create(pName, ulAccess, ulShare, ulDisposition, ulFlags);
}
