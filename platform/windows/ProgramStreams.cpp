// The streams that a program begins with, by way of the runtime's descriptors.
#include "PlatformPrivate.h"

#include <fcntl.h>
#include <io.h>

// The runtime has looked at the handles by now, and leaves closed what had none.
void LumOpenStandardStreams() {}

static HANDLE HandleOf(std::FILE* pStream) { return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(pStream))); }

void LumMakeBinary(std::FILE* pStream)
{
    std::fflush(pStream);
    _setmode(_fileno(pStream), _O_BINARY);
}

ULONGLONG LumBytesLeft(std::FILE* pStream)
{
    const HANDLE hFile = HandleOf(pStream);
    LARGE_INTEGER size{}, position{};
    if (GetFileType(hFile) != FILE_TYPE_DISK || !GetFileSizeEx(hFile, &size) ||
        !SetFilePointerEx(hFile, LARGE_INTEGER{}, &position, FILE_CURRENT) || position.QuadPart > size.QuadPart)
        return 0;
    return static_cast<ULONGLONG>(size.QuadPart - position.QuadPart);
}

BOOL LumIsFile(std::FILE* pStream, LPCSTR pName)
{
    constexpr DWORD kulShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    BY_HANDLE_FILE_INFORMATION stream{}, named{};
    const HANDLE hNamed =
        CreateFileA(pName, FILE_READ_ATTRIBUTES, kulShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hNamed == INVALID_HANDLE_VALUE) return FALSE;
    const bool bBoth = GetFileInformationByHandle(HandleOf(pStream), &stream) && GetFileInformationByHandle(hNamed, &named);
    CloseHandle(hNamed);
    return bBoth && stream.dwVolumeSerialNumber == named.dwVolumeSerialNumber && stream.nFileIndexHigh == named.nFileIndexHigh &&
           stream.nFileIndexLow == named.nFileIndexLow;
}
