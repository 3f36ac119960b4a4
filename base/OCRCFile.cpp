#include "OCRCFile.h"

#include "KeepLastError.h"
#include "OSecurity.h"

#include <algorithm>

namespace
{
constexpr DWORD kulTrailer = 2; // bytes

// A data file that nobody else has open; closed in the end.
class ODataFile
{
public:
    ODataFile(const char* pPath, DWORD ulAccess)
        : mhFile(SecureAPI::CreateFileA(pPath, ulAccess, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr))
    {
        if (IsOpen()) SetLastError(NO_ERROR); // what it is from here on is why the work failed
    }
    ~ODataFile()
    {
        const OKeepLastError keep;
        if (IsOpen()) CloseHandle(mhFile);
    }
    ODataFile(const ODataFile&) = delete;
    ODataFile& operator=(const ODataFile&) = delete;

    bool IsOpen() const { return mhFile != INVALID_HANDLE_VALUE; }
    operator HANDLE() const { return mhFile; }

    // CheckReadUpTo: whether the position is that many bytes before the end. When it is not, reading failed on the way, which
    //   left its error; or else the file has changed.
    bool CheckReadUpTo(DWORD ulFromEnd) const
    {
        const DWORD ulReadError = GetLastError();
        LARGE_INTEGER size{}, position{};
        if (!GetFileSizeEx(mhFile, &size) || !SetFilePointerEx(mhFile, LARGE_INTEGER{}, &position, FILE_CURRENT)) return false;
        if (position.QuadPart == std::max<LONGLONG>(size.QuadPart - ulFromEnd, 0)) return true;
        SetLastError(ulReadError == NO_ERROR ? ERROR_FILE_INVALID : ulReadError);
        return false;
    }

    // Cut: makes the position the end.
    bool CutAt(LONGLONG llPosition) const
    {
        LARGE_INTEGER position{};
        position.QuadPart = llPosition;
        return SetFilePointerEx(mhFile, position, nullptr, FILE_BEGIN) && SetEndOfFile(mhFile);
    }

    // AppendTrailer: at the end, where the position is. Half a trailer is taken back.
    bool AppendTrailer(unsigned short usCRC) const
    {
        LARGE_INTEGER size{};
        if (!GetFileSizeEx(mhFile, &size)) return false;
        const BYTE aubTrailer[kulTrailer] = {static_cast<BYTE>(usCRC), static_cast<BYTE>(usCRC >> 8)};
        DWORD ulWritten = 0;
        if (WriteFile(mhFile, aubTrailer, kulTrailer, &ulWritten, nullptr) && ulWritten == kulTrailer) return true;

        const OKeepLastError keep;
        CutAt(size.QuadPart);
        return false;
    }

    // ReadTrailer: the two bytes from the position on; zeros for what cannot be read.
    unsigned short ReadTrailer() const
    {
        BYTE aubTrailer[kulTrailer] = {};
        DWORD ulRead = 0;
        ReadFile(mhFile, aubTrailer, kulTrailer, &ulRead, nullptr);
        return static_cast<unsigned short>(aubTrailer[0] | aubTrailer[1] << 8);
    }

    // CutTrailer: the last two bytes.
    bool CutTrailer() const
    {
        LARGE_INTEGER size{};
        return GetFileSizeEx(mhFile, &size) && CutAt(size.QuadPart - kulTrailer);
    }

private:
    const HANDLE mhFile;
};

bool HasItsTrailer(OCRC& crc, const ODataFile& file, OCRCProgress pProgress, void* pContext)
{
    const unsigned short usCRC = crc.GetCRC(file, 1, pProgress, pContext);
    return file.CheckReadUpTo(kulTrailer) && file.ReadTrailer() == usCRC; // the position is where the trailer begins
}
} // namespace

int OCRCFile::AppendCRC(OString sPath) { return AppendCRC(sPath, nullptr, nullptr); }

int OCRCFile::AppendCRC(OString sPath, OCRCProgress pProgress, void* pContext)
try
{
    const CString sNarrow = sPath.ConvertToMultiByte();
    const ODataFile file(sNarrow, GENERIC_READ | GENERIC_WRITE);
    if (!file.IsOpen())
    {
        LogGroup("Error", nullptr, "AppendCRC", "Could not Open data File [%S][%s]", static_cast<const unsigned short*>(sPath),
                 static_cast<const char*>(sNarrow));
        return 0;
    }
    const unsigned short usCRC = GetCRC(file, 0, pProgress, pContext);
    return file.CheckReadUpTo(0) && file.AppendTrailer(usCRC);
}
catch (...) { LogCaught("OCRCFile::GetCRC"); throw; } // known by that name in logs

int OCRCFile::UndoAppendCRC(OString sPath)
try
{
    const ODataFile file(sPath.ConvertToMultiByte(), GENERIC_WRITE);
    if (file.IsOpen()) return file.CutTrailer();
    LogGroup("Error", nullptr, "UndoAppendCRC", "Could not Open data File");
    return 0;
}
catch (...) { LogCaught("OCRCFile::GetCRC"); throw; }

int OCRCFile::UndoMatchingCRC(OString sPath, OCRCProgress pProgress, void* pContext)
try
{
    const ODataFile file(sPath.ConvertToMultiByte(), GENERIC_READ | GENERIC_WRITE);
    if (file.IsOpen()) return HasItsTrailer(*this, file, pProgress, pContext) && file.CutTrailer();
    LogGroup("Error", nullptr, "UndoMatchingCRC", "Could not Open data File");
    return 0;
}
catch (...) { LogCaught("OCRCFile::UndoMatchingCRC"); throw; }

int OCRCFile::CheckCRC(OString sPath) { return CheckCRC(sPath, nullptr, nullptr); }

int OCRCFile::CheckCRC(OString sPath, OCRCProgress pProgress, void* pContext)
try
{
    const CString sNarrow = sPath.ConvertToMultiByte();
    const ODataFile file(sNarrow, GENERIC_READ);
    if (!file.IsOpen())
    {
        LogGroup("Error", nullptr, "CheckCRC", "Could not Open data File[%s]", static_cast<const char*>(sNarrow));
        return 0;
    }
    return HasItsTrailer(*this, file, pProgress, pContext);
}
catch (...) { LogCaught("OFileCRC::CheckCRC"); throw; }
