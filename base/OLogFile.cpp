#include "OLogFile.h"

#include "CaughtException.h"
#include "OException.h"

#include <cstring>

CString LogFolder(const CString& sPath)
{
    for (int i = sPath.GetLength() - 2; i >= 0; --i)
        if (sPath[i] == '\\' || sPath[i] == '/') return sPath.Left(i);
    return ".";
}

OLogFile::OLogFile(const char* pPath, ULONG ulCreation)
{
    char acFullPath[1024];
    const DWORD ulLength = GetFullPathNameA(pPath, sizeof acFullPath, acFullPath, nullptr);
    if (ulLength > 0 && ulLength < sizeof acFullPath) mFullPath = acFullPath;
    Open(pPath, ulCreation);
}

void OLogFile::Open(const char* pPath, ULONG ulCreation)
{
    mFile.Init(pPath, ulCreation, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, FILE_ATTRIBUTE_NORMAL, nullptr,
               nullptr);
    mFile.GoToEof();
}

bool OLogFile::Append(const char* pLine, ULONG ulBytes, LONGLONG llSecond)
{
    const std::lock_guard lock(mLock);
    if (llSecond != mllLookedFor)
    {
        mllLookedFor = llSecond;
        OpenAgainIfRemoved();
    }
    if (!mbOpen && !TryOpen()) return false;
    if (mulFragment && !TakeBack()) return false;
    return Write(pLine, ulBytes);
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
    ULONG ulWritten = 0;
    try
    {
        mFile.Write(pLine, ulBytes, &ulWritten, &atEnd);
        return true;
    }
    catch (...)
    {
        DropCaught();
    }
    if (ulWritten == 0) return false;

    LARGE_INTEGER end{};
    if (!SetFilePointerEx(Handle(), {}, &end, FILE_CURRENT)) return false;
    mulFragment = ulWritten;
    mllFragment = end.QuadPart - ulWritten;
    TakeBack();
    return false;
}

HANDLE OLogFile::Handle()
{
    HANDLE hFile = nullptr;
    try
    {
        mFile.GetHandle(&hFile);
    }
    catch (...)
    {
        DropCaught(); // as always
    }
    return hFile;
}

// Takes the beginning of a line out of the file again. Cutting it off takes no room, and neither does overwriting it.
bool OLogFile::TakeBack()
{
    const HANDLE hFile = Handle();
    LARGE_INTEGER size{}, start{};
    start.QuadPart = mllFragment;
    const LONGLONG llEnd = mllFragment + mulFragment;
    bool bDone = GetFileSizeEx(hFile, &size) != 0;
    if (bDone && size.QuadPart == llEnd)
    {
        bDone = SetFilePointerEx(hFile, start, nullptr, FILE_BEGIN) && SetEndOfFile(hFile);
    }
    else if (bDone && size.QuadPart > llEnd)
    {
        const CString sBlanks(' ', static_cast<int>(mulFragment));
        OVERLAPPED place{};
        place.Offset = start.LowPart;
        place.OffsetHigh = static_cast<DWORD>(start.HighPart);
        DWORD ulWritten = 0;
        bDone = WriteFile(hFile, sBlanks, mulFragment, &ulWritten, &place) != 0;
    }
    if (bDone) mulFragment = 0;
    return bDone;
}

// Where files can be removed while they are open, lines would go on into one that nobody sees.
void OLogFile::OpenAgainIfRemoved()
{
    if (!mbOpen || mFullPath.IsEmpty() || GetFileAttributesA(mFullPath) != INVALID_FILE_ATTRIBUTES) return;
    const DWORD ulError = GetLastError();
    if (ulError != ERROR_FILE_NOT_FOUND && ulError != ERROR_PATH_NOT_FOUND) return;
    try
    {
        mFile.Done();
    }
    catch (...)
    {
        DropCaught();
        mFile.ApiFileInit();
    }
    mulFragment = 0;
    mbOpen = false;
}

bool OLogFile::TryOpen()
{
    CreateDirectoryA(LogFolder(mFullPath), nullptr);
    try
    {
        Open(mFullPath, OPEN_ALWAYS);
        mbOpen = true;
    }
    catch (...)
    {
        DropCaught();
    }
    return mbOpen;
}
