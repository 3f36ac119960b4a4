// Files that are their owner's alone from the first moment on, and what becomes of them.
#include "PlatformPrivate.h"

#include "Errno.h"
#include "Paths.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstring>

BOOL LumMakePrivateFile(LPCSTR pName)
{
    lum::SystemPath path;
    if (!lum::ToSystemPath(pName, path)) return FALSE;
    if (path.bFolder) return lum::Fail(ERROR_INVALID_NAME);
    if (lum::FindSpelling(path.sPath) == lum::PathFound::Whole) return lum::Fail(ERROR_FILE_EXISTS);
    const int fd = open(path.sPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0)
        return errno == EEXIST   ? lum::Fail(ERROR_FILE_EXISTS)
               : errno == ENOENT ? lum::Fail(ERROR_PATH_NOT_FOUND)
                                 : lum::FailErrno();
    close(fd);
    return TRUE;
}

// ---- shared

namespace lum
{
namespace
{
mode_t UsualMode()
{
    const mode_t uMask = umask(0077); // there is no other way to look at it
    umask(uMask);
    return 0666 & ~uMask;
}
} // namespace
} // namespace lum

BOOL LumShareAs(LPCSTR pPrivate, LPCSTR pOther)
{
    lum::SystemPath path, other;
    if (!lum::ToSystemPath(pPrivate, path) || !lum::ToSystemPath(pOther, other)) return FALSE;
    struct stat status = {};
    mode_t uMode = 0;
    if (lum::OnSpelling(other.sPath, [&](const char* p) { return stat(p, &status); }) == 0)
    {
        uMode = status.st_mode & 0777;
        if (lum::OnSpelling(path.sPath, [&](const char* p) { return chown(p, static_cast<uid_t>(-1), status.st_gid); }) != 0)
            uMode &= ~static_cast<mode_t>(0070); // they were for another group
    }
    else if (errno == ENOENT)
        uMode = lum::UsualMode();
    else
        return lum::FailErrno();
    return lum::OnSpelling(path.sPath, [&](const char* p) { return chmod(p, uMode); }) == 0 ? TRUE : lum::FailErrno();
}

// ---- removed

namespace lum
{
namespace
{
constexpr int kaiEnds[] = {SIGINT, SIGTERM, SIGHUP};
char gacInterrupted[PATH_MAX]; // empty: none

// The action was the default one again when this began, and the signal waits until it ends.
void RemoveAndEnd(int iSignal)
{
    if (*gacInterrupted) unlink(gacInterrupted);
    raise(iSignal);
}

class EndsBlocked
{
public:
    EndsBlocked()
    {
        sigset_t ends;
        sigemptyset(&ends);
        for (const int iSignal : kaiEnds) sigaddset(&ends, iSignal);
        pthread_sigmask(SIG_BLOCK, &ends, &mBefore);
    }
    ~EndsBlocked() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
    EndsBlocked(const EndsBlocked&) = delete;
    EndsBlocked& operator=(const EndsBlocked&) = delete;

private:
    sigset_t mBefore;
};
} // namespace
} // namespace lum

BOOL LumRemoveAtInterrupt(LPCSTR pName)
{
    const lum::EndsBlocked blocked; // nobody removes half a name
    *lum::gacInterrupted = 0;
    if (!pName) return TRUE;
    lum::SystemPath path;
    if (!lum::ToSystemPath(pName, path)) return FALSE;
    lum::FindSpelling(path.sPath);
    if (path.sPath.size() >= sizeof lum::gacInterrupted) return lum::Fail(ERROR_FILENAME_EXCED_RANGE);
    std::memcpy(lum::gacInterrupted, path.sPath.c_str(), path.sPath.size() + 1);

    struct sigaction remove = {};
    remove.sa_handler = lum::RemoveAndEnd;
    remove.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int iSignal : lum::kaiEnds)
    {
        struct sigaction before = {};
        sigaction(iSignal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) sigaction(iSignal, &remove, nullptr);
    }
    return TRUE;
}
