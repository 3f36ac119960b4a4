#include "LogReader.h"

#include "Console.h"
#include "LogLine.h"
#include "Platform.h"

#include <algorithm>

namespace tool
{
static constexpr size_t kuPiece = 256 * 1024; // small enough for the processor's cache: what was read is looked at there
static constexpr size_t kuTail = 256;
static constexpr size_t kuMostBanner = 256; // bytes of a line that begins a run
static constexpr DWORD kulPollMs = 100;

LogReader::LogReader(const std::string& sPath) : msPath(sPath), mhFile(INVALID_HANDLE_VALUE), maBuffer(kuPiece)
{
    const DWORD ulAttributes = GetFileAttributesA(sPath.c_str());
    if (ulAttributes != INVALID_FILE_ATTRIBUTES && (ulAttributes & FILE_ATTRIBUTE_DIRECTORY))
        throw Stop(kFailure, sPath + " is a folder: name a log file in it");
    Require(Open(), "opening");
    mbOnDisk = GetFileType(mhFile) == FILE_TYPE_DISK;
}

bool LogReader::Open()
{
    mhFile = CreateFileA(msPath.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                         FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    return mhFile != INVALID_HANDLE_VALUE;
}

void LogReader::Close()
{
    if (mhFile != INVALID_HANDLE_VALUE) CloseHandle(mhFile);
    mhFile = INVALID_HANDLE_VALUE;
}

void LogReader::Require(bool bDone, const char* pWhat) const
{
    if (bDone) return;
    const DWORD ulError = GetLastError();
    throw Stop(kFailure, Format("%s %s failed: %s", pWhat, msPath.c_str(), SystemText(ulError).c_str()));
}

size_t LogReader::ReadAt(std::uint64_t ullOffset, char* pBuffer, size_t uBytes)
{
    if (mbOnDisk)
    {
        LARGE_INTEGER offset;
        offset.QuadPart = static_cast<LONGLONG>(ullOffset);
        Require(SetFilePointerEx(mhFile, offset, nullptr, FILE_BEGIN), "reading");
    }
    DWORD ulRead = 0;
    const bool bDone = ReadFile(mhFile, pBuffer, static_cast<DWORD>(uBytes), &ulRead, nullptr);
    if (!bDone && GetLastError() == ERROR_BROKEN_PIPE) return 0; // how Windows says that a pipe has ended
    Require(bDone, "reading");
    return ulRead;
}

// ---- the last run

// Where the last line that begins a run stands in a part of the file; npos when there is none.
static size_t FindLastStart(std::string_view sPart, bool bFromBeginning)
{
    for (std::string_view sLeft = sPart;;)
    {
        const size_t uWord = sLeft.rfind(" Application Started [");
        if (uWord == sLeft.npos) return sPart.npos;
        sLeft = sLeft.substr(0, uWord);
        const size_t uBreak = sLeft.rfind('\n');
        if (uBreak == sLeft.npos && !bFromBeginning) continue; // its line begins in the part before
        const size_t uLine = uBreak == sLeft.npos ? 0 : uBreak + 1;
        const std::string_view sLine = sPart.substr(uLine, sPart.find('\n', uLine) - uLine);
        if (ParseLogLine(sLine).eKind == LogLine::Kind::Started) return uLine;
    }
}

void LogReader::GoToLastRun()
{
    if (!mbOnDisk) throw Stop(kFailure, msPath + " is no file on a disk: its last run cannot be looked for from its end");
    LARGE_INTEGER size{};
    Require(GetFileSizeEx(mhFile, &size), "reading");
    std::vector<char> aPart(kuPiece + kuMostBanner); // each part overlaps the one behind it, so that no banner is cut in both
    for (auto ullEnd = static_cast<std::uint64_t>(size.QuadPart); ullEnd > 0;)
    {
        const std::uint64_t ullBegin = ullEnd > kuPiece ? ullEnd - kuPiece : 0;
        const size_t uBytes = ReadAt(ullBegin, aPart.data(), static_cast<size_t>(ullEnd - ullBegin) + kuMostBanner);
        const size_t uFound = FindLastStart({aPart.data(), uBytes}, ullBegin == 0);
        if (uFound != std::string_view::npos)
        {
            mullPosition = ullBegin + uFound;
            return;
        }
        ullEnd = ullBegin;
    }
}

// ---- forward

std::string_view LogReader::Take(size_t uBytes)
{
    const std::string_view sTaken(maBuffer.data() + muBegin, uBytes);
    muBegin += uBytes;
    return sTaken;
}

std::string_view LogReader::Rest() { return Take(muEnd - muBegin); }

bool LogReader::Next(std::string_view& sLines)
{
    if (mbAnew)
    {
        mbAnew = false;
        mullPosition = 0;
        msTail.clear();
        sLines = Rest();
        if (!sLines.empty()) return true;
    }
    std::copy(maBuffer.begin() + static_cast<ptrdiff_t>(muBegin), maBuffer.begin() + static_cast<ptrdiff_t>(muEnd), maBuffer.begin());
    muEnd -= muBegin;
    muBegin = 0;
    for (;;)
    {
        if (mhFile == INVALID_HANDLE_VALUE && !Open()) return false; // gone for the moment
        const size_t uRead = ReadAt(mullPosition, maBuffer.data() + muEnd, maBuffer.size() - muEnd);
        if (uRead == 0) return false;
        const std::string_view sNew(maBuffer.data() + muEnd, uRead);
        mullPosition += uRead;
        muEnd += uRead;
        msTail.assign(sNew.substr(uRead - std::min(uRead, kuTail)));

        const size_t uBreak = sNew.rfind('\n');
        if (uBreak != sNew.npos) sLines = Take(muEnd - uRead + uBreak + 1);
        else if (muEnd == maBuffer.size()) sLines = Rest();
        else continue;
        return true;
    }
}

// ---- as it grows

// What stands before the position is known again, however the file's name came to another file, or its bytes to others.
bool LogReader::IsOtherFile()
{
    if (msTail.empty()) return false;
    char aNow[kuTail];
    const size_t uRead = ReadAt(mullPosition - msTail.size(), aNow, msTail.size());
    return std::string_view(aNow, uRead) != msTail;
}

bool LogReader::HasMore()
{
    if (!Open()) return false; // being replaced, or somebody has it for himself
    mbAnew = IsOtherFile();
    LARGE_INTEGER size{};
    Require(GetFileSizeEx(mhFile, &size), "reading");
    return mbAnew || static_cast<std::uint64_t>(size.QuadPart) > mullPosition;
}

void LogReader::WaitForMore()
{
    Close();
    while (!HasMore())
    {
        Close(); // before the sleep: an open file cannot be replaced
        Sleep(kulPollMs);
    }
}
} // namespace tool
