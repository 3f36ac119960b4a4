#include "CryptFiles.h"

#include "KeepLastError.h"

#include <utility>

namespace
{
OFileId IdOf(HANDLE hFile)
{
    const OKeepLastError keep;
    BY_HANDLE_FILE_INFORMATION info{};
    if (!GetFileInformationByHandle(hFile, &info)) return {};
    return {true, info.dwVolumeSerialNumber, static_cast<ULONGLONG>(info.nFileIndexHigh) << 32 | info.nFileIndexLow};
}

HANDLE OpenThere(const char* pName, DWORD ulAccess, DWORD ulShare, DWORD ulFlags)
{
    return CreateFileA(pName, ulAccess, ulShare, nullptr, OPEN_EXISTING, ulFlags, nullptr);
}

// The stream has the handle from now on, or else it is closed.
FILE* StreamOf(HANDLE hFile, const char* pMode)
{
    FILE* pFile = LumOpenStream(hFile, pMode);
    if (pFile) return pFile;
    CloseHandle(hFile);
    SetLastError(ERROR_TOO_MANY_OPEN_FILES);
    return nullptr;
}

constexpr DWORD kulShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
} // namespace

FILE* OpenCryptFile(const char* pName, OFileId& id)
{
    const HANDLE hFile = OpenThere(pName, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, FILE_ATTRIBUTE_NORMAL);
    if (hFile == INVALID_HANDLE_VALUE) return nullptr;
    id = IdOf(hFile);
    return StreamOf(hFile, "rb");
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
    if (mpStream) std::fclose(mpStream); // before the file is cut, since this may write
    if (mbRemove) Remove();
    if (mhFile != INVALID_HANDLE_VALUE) CloseHandle(mhFile);
}

bool OOutputFile::Open(const char* pName)
{
    mpName = pName;
    mhFile = CreateFileA(pName, GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (mhFile == INVALID_HANDLE_VALUE) return false;
    const bool bThere = GetLastError() == ERROR_ALREADY_EXISTS;
    mbFile = GetFileType(mhFile) == FILE_TYPE_DISK;
    mbRemove = mbFile && !bThere;
    mId = IdOf(mhFile);
    return OpenStream();
}

bool OOutputFile::OpenStream()
{
    const HANDLE hSelf = GetCurrentProcess();
    HANDLE hStream = INVALID_HANDLE_VALUE;
    if (!DuplicateHandle(hSelf, mhFile, hSelf, &hStream, 0, FALSE, DUPLICATE_SAME_ACCESS)) return false;
    mpStream = StreamOf(hStream, "wb");
    return mpStream != nullptr;
}

bool OOutputFile::Empty()
{
    if (!mbFile) return true;
    if (!Cut()) return false;
    mbRemove = true;
    return true;
}

FILE* OOutputFile::Drop()
{
    mbRemove = false;
    return std::exchange(mpStream, nullptr);
}

bool OOutputFile::Cut()
{
    const LARGE_INTEGER start{};
    return SetFilePointerEx(mhFile, start, nullptr, FILE_BEGIN) && SetEndOfFile(mhFile);
}

// The file rather than a link to it, and not another one that was given its name meanwhile. It is emptied first, since it may have
// names that nobody knows.
void OOutputFile::Remove()
{
    Cut();
    const HANDLE hNamed = OpenThere(mpName, 0, kulShareAll, FILE_ATTRIBUTE_NORMAL);
    const bool bSame = hNamed != INVALID_HANDLE_VALUE && IdOf(hNamed).IsSame(mId);
    if (hNamed != INVALID_HANDLE_VALUE) CloseHandle(hNamed);
    CloseHandle(std::exchange(mhFile, INVALID_HANDLE_VALUE)); // which keeps the file from being removed
    if (!bSame) return;
    const HANDLE hGoing = OpenThere(mpName, DELETE, kulShareAll, FILE_FLAG_DELETE_ON_CLOSE);
    if (hGoing != INVALID_HANDLE_VALUE) CloseHandle(hGoing);
}
