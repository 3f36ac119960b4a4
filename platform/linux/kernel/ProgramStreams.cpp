// The streams that a program begins with.
#include "PlatformPrivate.h"

#include "Paths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <iterator>

namespace
{
constexpr int kaiStreams[] = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
bool gabClosed[std::size(kaiStreams)];

// Before the library opens its registry: SQLite then opens those that are closed, for reading.
__attribute__((constructor(101))) void LookAtStreams()
{
    for (const int fd : kaiStreams) gabClosed[fd] = fcntl(fd, F_GETFD) < 0;
}
} // namespace

// On the null device, the other way round: it can be neither read nor written then.
void LumOpenStandardStreams()
{
    for (const int fd : kaiStreams)
    {
        if (!gabClosed[fd]) continue;
        const int fdNull = open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        if (fdNull == fd || fdNull < 0) continue;
        dup2(fdNull, fd);
        close(fdNull);
    }
}

void LumMakeBinary(std::FILE*) {}

ULONGLONG LumBytesLeft(std::FILE* pStream)
{
    struct stat status = {};
    if (fstat(fileno(pStream), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
    const off_t llPosition = ftello(pStream);
    return llPosition < 0 || llPosition > status.st_size ? 0 : static_cast<ULONGLONG>(status.st_size - llPosition);
}

BOOL LumIsFile(std::FILE* pStream, LPCSTR pName)
{
    lum::SystemPath path;
    struct stat stream = {}, named = {};
    return fstat(fileno(pStream), &stream) == 0 && lum::ToSystemPath(pName, path) &&
           lum::OnSpelling(path.sPath, [&](const char* p) { return stat(p, &named); }) == 0 && stream.st_dev == named.st_dev &&
           stream.st_ino == named.st_ino;
}
