// A stream on a handle: the buffer is the runtime's, the transfers are ours, so that shares and locks hold for it as well.
#include "Errno.h"
#include "Files.h"
#include "Handles.h"
#include "Platform.h"

#include <sys/types.h>

#include <cerrno>
#include <cstdio>

namespace
{
ssize_t ReadCookie(void* pCookie, char* pBuffer, size_t ulBytes)
{
    DWORD ulDone = 0;
    if (ReadFile(pCookie, pBuffer, static_cast<DWORD>(ulBytes), &ulDone, nullptr)) return ulDone;
    errno = EIO;
    return -1;
}

ssize_t WriteCookie(void* pCookie, const char* pBuffer, size_t ulBytes)
{
    DWORD ulDone = 0;
    if (WriteFile(pCookie, pBuffer, static_cast<DWORD>(ulBytes), &ulDone, nullptr)) return ulDone;
    errno = EIO;
    return 0; // how a cookie tells of a failed write
}

int SeekCookie(void* pCookie, off64_t* pllOffset, int iWhence)
{
    LARGE_INTEGER distance{}, position{};
    distance.QuadPart = *pllOffset;
    if (!SetFilePointerEx(pCookie, distance, &position, static_cast<DWORD>(iWhence)))
    {
        errno = EINVAL;
        return -1;
    }
    *pllOffset = position.QuadPart;
    return 0;
}

int CloseCookie(void* pCookie)
{
    if (CloseHandle(pCookie)) return 0;
    errno = EBADF;
    return -1;
}
} // namespace

static_assert(FILE_BEGIN == SEEK_SET && FILE_CURRENT == SEEK_CUR && FILE_END == SEEK_END);

FILE* LumOpenStream(HANDLE hFile, const char* pMode)
{
    return fopencookie(hFile, pMode, {ReadCookie, WriteCookie, SeekCookie, CloseCookie});
}
