// The streams that a program begins with.
#include "PlatformPrivate.h"

#include <sys/stat.h>
#include <sys/types.h>

void LumMakeBinary(std::FILE*) {}

ULONGLONG LumBytesLeft(std::FILE* pStream)
{
    struct stat status = {};
    if (fstat(fileno(pStream), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
    const off_t llPosition = ftello(pStream);
    return llPosition < 0 || llPosition > status.st_size ? 0 : static_cast<ULONGLONG>(status.st_size - llPosition);
}
