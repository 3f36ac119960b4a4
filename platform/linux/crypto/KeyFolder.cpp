#include "KeyFolder.h"

#include "../kernel/Errno.h"
#include "../kernel/State.h"
#include "KeyFile.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/file.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace lum
{
namespace
{
std::string FolderPath() { return StateHome() + "/keys-" + std::to_string(geteuid()); }

DWORD FromErrno(int iErrno)
{
    switch (iErrno)
    {
    case ENOENT: return NTE_BAD_KEYSET;
    case EACCES:
    case EPERM:
    case ELOOP: return NTE_PERM; // a link stands where the user's own should be
    default: return ErrorFromErrno(iErrno);
    }
}

class File
{
public:
    explicit File(int fd) : mFd(fd) {}
    ~File() { if (mFd >= 0) close(mFd); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    operator int() const { return mFd; }

private:
    const int mFd;
};

bool ReadAll(int fd, SecretBytes& bytes)
{
    std::size_t ulDone = 0;
    while (ulDone < bytes.size())
    {
        const ssize_t lRead = read(fd, bytes.data() + ulDone, bytes.size() - ulDone);
        if (lRead == 0) break;
        if (lRead < 0 && errno != EINTR) return false;
        if (lRead > 0) ulDone += static_cast<std::size_t>(lRead);
    }
    bytes.resize(ulDone);
    return true;
}

bool WriteAll(int fd, const SecretBytes& bytes)
{
    for (std::size_t ulDone = 0; ulDone < bytes.size();)
    {
        const ssize_t lWritten = write(fd, bytes.data() + ulDone, bytes.size() - ulDone);
        if (lWritten < 0 && errno != EINTR) return false;
        if (lWritten > 0) ulDone += static_cast<std::size_t>(lWritten);
    }
    return true;
}
constexpr uid_t kAsk = static_cast<uid_t>(-1); // nobody's number: setfsuid and setfsgid tell what is, and change nothing

// Whether the thread may take any identity; without that it could leave another's and not go back.
bool MayChangeIdentity()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct aData[_LINUX_CAPABILITY_U32S_3] = {};
    constexpr DWORD kulNeeded = 1u << CAP_SETUID | 1u << CAP_SETGID;
    return syscall(SYS_capget, &header, aData) == 0 && (aData[0].effective & kulNeeded) == kulNeeded;
}
} // namespace

ProcessIdentity::ProcessIdentity()
    : mUser(static_cast<uid_t>(setfsuid(kAsk))), mGroup(static_cast<gid_t>(setfsgid(kAsk)))
{
    if ((mUser == geteuid() && mGroup == getegid()) || !MayChangeIdentity()) return;
    mbChanged = true;
    setfsgid(getegid());
    setfsuid(geteuid()); // when that is user 0, the kernel gives and takes the passes that belong to it
}

ProcessIdentity::~ProcessIdentity()
{
    if (!mbChanged) return;
    const int iErrno = errno;
    setfsuid(mUser);
    setfsgid(mGroup);
    errno = iErrno;
}

KeyFolder::~KeyFolder()
{
    if (mFd >= 0) close(mFd); // and with it the turn
}

DWORD KeyFolder::Open(bool bMake)
{
    const std::string sPath = FolderPath();
    if (bMake && !EnsureDirectory(sPath)) return GetLastError() == ERROR_ACCESS_DENIED ? NTE_PERM : GetLastError();
    mFd = open(sPath.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (mFd < 0) return errno == ENOTDIR ? static_cast<DWORD>(NTE_PERM) : FromErrno(errno);

    struct stat status{};
    if (fstat(mFd, &status) != 0) return FromErrno(errno);
    return status.st_uid == geteuid() && (status.st_mode & 022) == 0 ? NO_ERROR : NTE_PERM;
}

DWORD KeyFolder::TakeTurn()
{
    while (flock(mFd, LOCK_EX) != 0)
        if (errno != EINTR) return FromErrno(errno);
    return NO_ERROR;
}

DWORD KeyFolder::Read(const std::string& sFile, SecretBytes& bytes)
{
    const File file(openat(mFd, sFile.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (file < 0) return FromErrno(errno);
    struct stat status{};
    if (fstat(file, &status) != 0) return FromErrno(errno);
    if (status.st_uid != geteuid() || (status.st_mode & 077) != 0) return NTE_PERM;
    if (!S_ISREG(status.st_mode) || status.st_size > static_cast<off_t>(kulMostKeyFileBytes)) return NTE_KEYSET_ENTRY_BAD;

    bytes.resize(static_cast<std::size_t>(status.st_size));
    return ReadAll(file, bytes) ? NO_ERROR : FromErrno(errno);
}

DWORD KeyFolder::Write(const std::string& sFile, const SecretBytes& bytes)
{
    unlinkat(mFd, sFile.c_str(), 0); // left by a process that was killed
    const File file(openat(mFd, sFile.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (file < 0) return FromErrno(errno);
    return WriteAll(file, bytes) && fsync(file) == 0 ? NO_ERROR : FromErrno(errno);
}

DWORD KeyFolder::Replace(const std::string& sFile, const SecretBytes& bytes)
{
    const std::string sNew = sFile + ".new";
    DWORD ulError = Write(sNew, bytes);
    if (!ulError && renameat(mFd, sNew.c_str(), mFd, sFile.c_str()) != 0) ulError = FromErrno(errno);
    if (ulError)
    {
        unlinkat(mFd, sNew.c_str(), 0);
        return ulError;
    }
    return fsync(mFd) == 0 ? NO_ERROR : FromErrno(errno);
}

DWORD KeyFolder::Remove(const std::string& sFile)
{
    if (unlinkat(mFd, sFile.c_str(), 0) != 0) return FromErrno(errno);
    return fsync(mFd) == 0 ? NO_ERROR : FromErrno(errno);
}
} // namespace lum
