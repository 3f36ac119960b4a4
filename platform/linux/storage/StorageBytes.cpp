#include "StorageBytes.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace lum
{
namespace
{
HRESULT WriteFailure()
{
    switch (errno)
    {
    case ENOSPC:
    case EDQUOT:
    case EFBIG: return STG_E_MEDIUMFULL;
    case EBADF:
    case EACCES:
    case EPERM:
    case EROFS: return STG_E_ACCESSDENIED;
    default: return STG_E_WRITEFAULT;
    }
}
} // namespace

HRESULT DescriptorBytes::Read(ULONGLONG ullAt, void* pTo, std::size_t ulBytes, std::size_t& ulRead)
{
    ulRead = 0;
    while (ulRead < ulBytes)
    {
        const ssize_t lDone = pread(mFd, static_cast<char*>(pTo) + ulRead, ulBytes - ulRead, static_cast<off_t>(ullAt + ulRead));
        if (lDone < 0 && errno == EINTR) continue;
        if (lDone < 0) return STG_E_READFAULT;
        if (lDone == 0) break;
        ulRead += static_cast<std::size_t>(lDone);
    }
    return S_OK;
}

HRESULT DescriptorBytes::Write(ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes)
{
    for (std::size_t ulDone = 0; ulDone < ulBytes;)
    {
        const ssize_t lDone =
            pwrite(mFd, static_cast<const char*>(pFrom) + ulDone, ulBytes - ulDone, static_cast<off_t>(ullAt + ulDone));
        if (lDone < 0 && errno == EINTR) continue;
        if (lDone < 0) return WriteFailure();
        ulDone += static_cast<std::size_t>(lDone);
    }
    return S_OK;
}

HRESULT DescriptorBytes::Size(ULONGLONG& ullBytes)
{
    struct stat status;
    if (fstat(mFd, &status) != 0) return STG_E_READFAULT;
    ullBytes = static_cast<ULONGLONG>(status.st_size);
    return S_OK;
}

HRESULT DescriptorBytes::SetSize(ULONGLONG ullBytes)
{
    while (ftruncate(mFd, static_cast<off_t>(ullBytes)) != 0)
        if (errno != EINTR) return WriteFailure();
    return S_OK;
}

HRESULT DescriptorBytes::Flush()
{
    return fdatasync(mFd) == 0 ? S_OK : WriteFailure();
}
} // namespace lum
