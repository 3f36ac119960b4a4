#include "RuntimeDirectory.h"

#include "Errno.h"
#include "State.h"

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace lum
{
namespace
{
pthread_mutex_t gProcessTurn = PTHREAD_MUTEX_INITIALIZER;
[[maybe_unused]] const int giForkHandler = pthread_atfork([] { pthread_mutex_lock(&gProcessTurn); },
                                                          [] { pthread_mutex_unlock(&gProcessTurn); },
                                                          [] { pthread_mutex_unlock(&gProcessTurn); });
std::size_t gulTurnsSinceSweep = 0, gulFilesAtSweep = 0; // with the process's turn

// A directory that is the user's own and nobody else's; -1 with errno set.
int OpenOwn(const std::string& sPath)
{
    const int fd = open(sPath.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return -1;
    struct stat status{};
    const bool bOurs = fstat(fd, &status) == 0 && status.st_uid == geteuid();
    if (bOurs && ((status.st_mode & 077) == 0 || fchmod(fd, 0700) == 0)) return fd;
    close(fd);
    errno = EACCES;
    return -1;
}

int OpenOrMake(const std::string& sPath)
{
    const int fd = OpenOwn(sPath);
    if (fd >= 0 || errno != ENOENT || mkdir(sPath.c_str(), 0700) != 0) return fd;
    return OpenOwn(sPath);
}

std::string ChoosePath()
{
    if (const char* pPath = std::getenv("LUMBASE_RUNTIME"); pPath && *pPath == '/') return std::string(pPath) + "/lumbase";
    const char* pSession = std::getenv("XDG_RUNTIME_DIR");
    const std::string aChoices[] = {"/dev/shm/lumbase-" + std::to_string(geteuid()),
                                    pSession && *pSession == '/' ? std::string(pSession) + "/lumbase" : std::string()};
    for (const std::string& sPath : aChoices)
    {
        const int fd = sPath.empty() ? -1 : OpenOrMake(sPath);
        if (fd < 0) continue;
        close(fd);
        return sPath;
    }
    EnsureStateHome();
    return StateHome() + "/run";
}

const std::string& Path()
{
    static const std::string& sPath = *new std::string(ChoosePath()); // never destroyed: handles are closed to the very end
    return sPath;
}
} // namespace

DirectoryTurn::DirectoryTurn(bool bMake)
{
    pthread_mutex_lock(&gProcessTurn);
    mFd = bMake ? OpenOrMake(Path()) : OpenOwn(Path());
    if (mFd < 0)
    {
        if (bMake && errno == ENOENT) Fail(ERROR_PATH_NOT_FOUND); // the folder around it is missing
        else FailErrno();
        return;
    }
    int iLocked;
    do iLocked = flock(mFd, LOCK_EX);
    while (iLocked != 0 && errno == EINTR);
    if (iLocked == 0) return;
    FailErrno();
    close(mFd);
    mFd = -1;
}

DirectoryTurn::~DirectoryTurn()
{
    if (mFd >= 0) close(mFd);
    pthread_mutex_unlock(&gProcessTurn);
}

void DirectoryTurn::RemoveUnheld(const char* pFile) const
{
    const int fd = openat(mFd, pFile, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return;
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) unlinkat(mFd, pFile, 0);
    close(fd);
}

void DirectoryTurn::Sweep() const
{
    if (gulTurnsSinceSweep++ < gulFilesAtSweep) return;
    const int fd = openat(mFd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* pDirectory = fd < 0 ? nullptr : fdopendir(fd);
    if (!pDirectory) return;
    gulTurnsSinceSweep = gulFilesAtSweep = 0;
    while (const dirent* pEntry = readdir(pDirectory))
    {
        if (pEntry->d_name[0] == '.') continue;
        ++gulFilesAtSweep;
        RemoveUnheld(pEntry->d_name);
    }
    closedir(pDirectory);
}
} // namespace lum
