// Locks of the system on bytes of an open file, which need not be there. Internal to platform/linux.
#pragma once

#include <fcntl.h>

namespace lum
{
inline struct flock ByteLock(int iType, off_t llStart, off_t llBytes)
{
    struct flock lock{};
    lock.l_type = static_cast<short>(iType);
    lock.l_whence = SEEK_SET;
    lock.l_start = llStart;
    lock.l_len = llBytes;
    return lock;
}

// IsHeld: whether another open holds a lock there that one of this type would meet. A file system without locks has none.
inline bool IsHeld(int fd, int iType, off_t llStart, off_t llBytes)
{
    struct flock lock = ByteLock(iType, llStart, llBytes);
    return fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}
} // namespace lum
