#include "FileRemoval.h"

#include "DescriptorPath.h"
#include "FileShare.h"

#include <sys/stat.h>
#include <unistd.h>

namespace lum
{
bool PathOf(int fd, char (&acPath)[4096])
{
    const ssize_t lLength = readlink(DescriptorPath(fd), acPath, sizeof acPath - 1);
    if (lLength <= 0) return false;
    acPath[lLength] = '\0';
    return true;
}

void DeleteFileOf(int fd)
{
    char acPath[4096];
    struct stat ours{}, theirs{};
    const bool bSame = PathOf(fd, acPath) && fstat(fd, &ours) == 0 && lstat(acPath, &theirs) == 0 &&
                       ours.st_dev == theirs.st_dev && ours.st_ino == theirs.st_ino;
    if (bSame) unlink(acPath);
}

void TakeBackFile(int fd)
{
    struct stat status{};
    if (ClaimAlone(fd) && fstat(fd, &status) == 0 && status.st_size == 0) DeleteFileOf(fd);
}
} // namespace lum
