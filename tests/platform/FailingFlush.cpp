#include "FailingFlush.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

static std::atomic<int> giAllowed{INT_MAX}, giFailures{0}, giFlushes{0};

void FailFlushes(int iAllowed, int iFailures)
{
    giAllowed = iAllowed;
    giFailures = iFailures;
}

int CountFlushes() { return giFlushes; }

static std::atomic<int> giReadable{INT_MAX}; // the count of flushes from which on nothing is

void FailReadsAfter(int iFlushes) { giReadable = iFlushes == INT_MAX ? INT_MAX : giFlushes + iFlushes; }

// In the place of the C library's, for the library under test too.
extern "C" ssize_t pread(int fd, void* pTo, size_t ulBytes, off_t llAt)
{
    if (giFlushes < giReadable) return syscall(SYS_pread64, fd, pTo, ulBytes, llAt);
    errno = EIO;
    return -1;
}

extern "C" int fdatasync(int fd)
{
    ++giFlushes;
    if (giAllowed > 0)
    {
        --giAllowed;
        return static_cast<int>(syscall(SYS_fdatasync, fd));
    }
    if (giFailures == 0) return static_cast<int>(syscall(SYS_fdatasync, fd));
    --giFailures;
    errno = EIO;
    return -1;
}
