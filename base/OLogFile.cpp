#include "OLogFile.h"

#include "CaughtException.h"

#include <string>
#include <utility>

static constexpr ULONG kulWriteFailed = 7; // of OApiFile

CString LogFolder(const CString& sPath)
{
    for (int i = sPath.GetLength() - 2; i >= 0; --i)
        if (sPath[i] == '\\' || sPath[i] == '/') return sPath.Left(i);
    return ".";
}

static std::unique_ptr<OApiFile> OpenAtEnd(const char* pPath, ULONG ulCreation)
{
    auto pFile = std::make_unique<OApiFile>(pPath, ulCreation, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                            FILE_ATTRIBUTE_NORMAL, nullptr, nullptr);
    pFile->GoToEof();
    return pFile;
}

OLogFile::OLogFile(const char* pPath, ULONG ulCreation)
{
    char acFullPath[1024];
    const DWORD ulLength = GetFullPathNameA(pPath, sizeof acFullPath, acFullPath, nullptr);
    if (ulLength > 0 && ulLength < sizeof acFullPath) mFullPath = acFullPath;
    Adopt(OpenAtEnd(pPath, ulCreation));
}

void OLogFile::Adopt(std::unique_ptr<OApiFile> pFile)
{
    mhFile = pFile->mhFile;
    mpFile = std::move(pFile);
    mulFragment = 0;
}

bool OLogFile::Append(const char* pLine, ULONG ulBytes, LONGLONG llSecond)
{
    for (;;)
    {
        if (!IsOpen(llSecond) && !OpenAgain()) return false;
        const std::lock_guard lock(mLock);
        if (!mpFile) continue; // another thread has found it removed
        if (mulFragment && !BlankFragment()) return false;
        if (Write(pLine, ulBytes)) return true;
        if (mulFragment) BlankFragment();
        break;
    }
    TellOfFailure();
    return false;
}

bool OLogFile::AppendText(const char* pText, LONGLONG llSecond)
{
    const CString sLine = CString(pText) + "\r\n";
    return Append(sLine, static_cast<ULONG>(sLine.GetLength()), llSecond);
}

// One call for the whole line: no other program's comes between, and the end is where it is at that moment.
bool OLogFile::Write(const char* pLine, ULONG ulBytes)
{
    OVERLAPPED atEnd{};
    atEnd.Offset = atEnd.OffsetHigh = 0xFFFFFFFF;
    DWORD ulWritten = 0;
    if (WriteFile(mhFile, pLine, ulBytes, &ulWritten, &atEnd)) return true;

    LARGE_INTEGER end{};
    if (ulWritten == 0 || !SetFilePointerEx(mhFile, {}, &end, FILE_CURRENT)) return false;
    mulFragment = ulWritten;
    mllFragment = end.QuadPart - ulWritten;
    return false;
}

// Through whatever manager is installed, as the checked file's own failures are.
void OLogFile::TellOfFailure()
{
    OApiFile file;
    try
    {
        file.Raise(kulWriteFailed);
    }
    catch (...)
    {
        file.LogCaught("OLogFile::Append");
        DropCaught();
    }
}

// Overwriting takes no room. Cutting would leave nothing, but also take what another program has appended since the file's size was
// looked at.
bool OLogFile::BlankFragment()
{
    std::string sBlanks(mulFragment, ' ');
    sBlanks.back() = '\n';
    if (mulFragment > 1) sBlanks[mulFragment - 2] = '\r';
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(mllFragment);
    place.OffsetHigh = static_cast<DWORD>(mllFragment >> 32);
    DWORD ulWritten = 0;
    if (!WriteFile(mhFile, sBlanks.data(), mulFragment, &ulWritten, &place)) return false;
    mulFragment = 0;
    return true;
}

// Where files can be removed while they are open, lines would go on into one that nobody sees.
bool OLogFile::IsRemoved() const
{
    if (mFullPath.IsEmpty() || GetFileAttributesA(mFullPath) != INVALID_FILE_ATTRIBUTES) return false;
    const DWORD ulError = GetLastError();
    return ulError == ERROR_FILE_NOT_FOUND || ulError == ERROR_PATH_NOT_FOUND;
}

bool OLogFile::IsOpen(LONGLONG llSecond)
{
    std::unique_ptr<OApiFile> pRemoved; // closed when the lock is left
    const std::lock_guard lock(mLock);
    if (llSecond != mllLookedFor)
    {
        mllLookedFor = llSecond;
        if (mpFile && IsRemoved()) pRemoved = std::move(mpFile);
    }
    return mpFile != nullptr;
}

bool OLogFile::OpenAgain()
{
    CreateDirectoryA(LogFolder(mFullPath), nullptr);
    try
    {
        auto pFile = OpenAtEnd(mFullPath, OPEN_ALWAYS);
        const std::lock_guard lock(mLock);
        if (!mpFile) Adopt(std::move(pFile)); // else another thread was quicker
        return true;
    }
    catch (...)
    {
        DropCaught();
        return false;
    }
}
