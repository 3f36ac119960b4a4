#include "CryptFiles.h"

#include "KeepLastError.h"

namespace
{
constexpr DWORD kulShare = FILE_SHARE_READ | FILE_SHARE_WRITE;

OFileId IdOf(HANDLE hFile)
{
    const OKeepLastError keep;
    BY_HANDLE_FILE_INFORMATION info{};
    if (!GetFileInformationByHandle(hFile, &info)) return {};
    return {true, info.dwVolumeSerialNumber, static_cast<ULONGLONG>(info.nFileIndexHigh) << 32 | info.nFileIndexLow};
}
} // namespace

FILE* OpenCryptFile(const char* pName, bool bWrite, OFileId& id)
{
    const HANDLE hFile = CreateFileA(pName, bWrite ? GENERIC_WRITE : GENERIC_READ, kulShare, nullptr,
                                     bWrite ? OPEN_ALWAYS : OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hFile == INVALID_HANDLE_VALUE) return nullptr;
    id = IdOf(hFile);
    FILE* pFile = LumOpenStream(hFile, bWrite ? "wb" : "rb");
    if (pFile) return pFile;
    CloseHandle(hFile);
    SetLastError(ERROR_TOO_MANY_OPEN_FILES);
    return nullptr;
}

bool ReadCryptBytes(FILE* pFile, BYTE* pRoom, DWORD& ulBytes, bool& bLast)
{
    ulBytes = static_cast<DWORD>(std::fread(pRoom, 1, kulCryptRoom, pFile));
    bLast = std::feof(pFile) != 0;
    return !std::ferror(pFile) && (bLast || ulBytes != 0);
}

OOutputFile::~OOutputFile()
{
    const OKeepLastError keep;
    if (mbRemove) DeleteFileA(mpName);
}

bool OOutputFile::Empty()
{
    // By its name, since a stream does not give its handle away.
    const HANDLE hFile = CreateFileA(mpName, GENERIC_WRITE, kulShare, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hFile == INVALID_HANDLE_VALUE) return false;
    const bool bFile = GetFileType(hFile) == FILE_TYPE_DISK; // a device can neither be emptied nor removed
    const bool bDone = !bFile || SetEndOfFile(hFile);
    mbRemove |= bFile && bDone;
    const DWORD ulError = GetLastError();
    CloseHandle(hFile);
    SetLastError(ulError);
    return bDone;
}
