// The streams that a program begins with, by way of the runtime's descriptors.
#include "PlatformPrivate.h"

#include <fcntl.h>
#include <io.h>

void LumMakeBinary(std::FILE* pStream)
{
    std::fflush(pStream);
    _setmode(_fileno(pStream), _O_BINARY);
}

ULONGLONG LumBytesLeft(std::FILE* pStream)
{
    const HANDLE hFile = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(pStream)));
    LARGE_INTEGER size{}, position{};
    if (GetFileType(hFile) != FILE_TYPE_DISK || !GetFileSizeEx(hFile, &size) ||
        !SetFilePointerEx(hFile, LARGE_INTEGER{}, &position, FILE_CURRENT) || position.QuadPart > size.QuadPart)
        return 0;
    return static_cast<ULONGLONG>(size.QuadPart - position.QuadPart);
}
