#include "OApiFile.h"

#include "BaseAPI.h"
#include "CaughtException.h"
#include "OSecurity.h"

#include <memory>

namespace
{
enum OApiFileCode : ULONG
{
    kulNoSize = 0,
    kulNotInitialised = 1,
    kulAlreadyInitialised = 2,
    kulNoBuffer = 3,
    kulOpenFailed = 5,
    kulReadFailed = 6,
    kulWriteFailed = 7,
    kulSeekFailed = 8,
};

constexpr ULONG kulFlushedOnDone = FILE_READ_DATA; // the access whose files Done flushes
static_assert(kulFlushedOnDone == 1);
constexpr ULONG kulUsualLine = 1536; // longer ones take memory from the heap
constexpr char kacLineEnd[] = {'\r', '\n'};
} // namespace

OApiFile::OApiFile() { ApiFileInit(); }

OApiFile::OApiFile(const char* pName, ULONG ulCreation, ULONG ulAccess, ULONG ulShare, ULONG ulFlags,
                   SECURITY_ATTRIBUTES* pSecurity, void* hTemplate)
{
    try
    {
        ApiFileInit();
        Init(pName, ulCreation, ulAccess, ulShare, ulFlags, pSecurity, hTemplate);
    }
    catch (...) { LogCaught("OApiFile::OApiFile"); throw; }
}

OApiFile::~OApiFile()
{
    try
    {
        Done();
        return;
    }
    catch (...) { LogCaught("OApiFile::~OApiFile"); DropCaught(); }
    // A flush that fails is no reason to keep the file open, and from others closed, to the end of the process.
    if (mulAccess & kulFlushedOnDone) ::CloseHandle(mhFile);
}

ULONG OApiFile::ApiFileInit()
{
    mulInitialised = 0;
    mhFile = nullptr;
    SetGroup("FileStorage");
    SetErrorBase(9000);
    return 0;
}

void OApiFile::CheckInitialised()
{
    if (!mulInitialised) Raise(kulNotInitialised);
}

void OApiFile::Open(const char* pName, ULONG ulCreation, ULONG ulAccess, ULONG ulShare, ULONG ulFlags,
                    SECURITY_ATTRIBUTES* pSecurity, void* hTemplate)
{
    mulInitialised = 1;
    mhFile = SecureAPI::CreateFileA(pName, ulAccess, ulShare, pSecurity, ulCreation, ulFlags, hTemplate);
    mulAccess = ulAccess;
    if (mhFile != INVALID_HANDLE_VALUE) return;

    LogGroup("Error", nullptr, "Init", "CreateFile (%s) failed; System error: %d", pName, static_cast<int>(GetLastError()));
    Raise(kulOpenFailed);
}

// The open's own failure is the one to tell of, whatever closing says; and the object is reset.
void OApiFile::DropFailedOpen()
{
    try
    {
        Done();
    }
    catch (...)
    {
        DropCaught();
        ApiFileInit();
    }
}

ULONG OApiFile::Init(const char* pName, ULONG ulCreation, ULONG ulAccess, ULONG ulShare, ULONG ulFlags,
                     SECURITY_ATTRIBUTES* pSecurity, void* hTemplate)
try
{
    if (mulInitialised) Raise(kulAlreadyInitialised); // the file that is open stays so
    try
    {
        Open(pName, ulCreation, ulAccess, ulShare, ulFlags, pSecurity, hTemplate);
        return 0;
    }
    catch (...)
    {
        DropFailedOpen();
        throw;
    }
}
catch (...) { LogCaught("OApiFile::Init"); throw; }

ULONG OApiFile::Done()
try
{
    if (!mulInitialised) return 1;
    if (mulAccess & kulFlushedOnDone) Flush();
    if (mhFile) CApi().CloseHandle(mhFile);
    return ApiFileInit();
}
catch (...) { LogCaught("OApiFile::Done"); throw; }

int OApiFile::Read(void* pBuffer, ULONG ulBytes, ULONG* pulRead, OVERLAPPED* pOverlapped)
try
{
    CheckInitialised();
    if (!pBuffer) Raise(kulNoBuffer);
    DWORD ulRead = 0;
    const int bDone = ::ReadFile(mhFile, pBuffer, ulBytes, pulRead ? pulRead : &ulRead, pOverlapped);
    if (!bDone) Raise(kulReadFailed);
    return bDone;
}
catch (...) { LogCaught("OApiFile::Read"); throw; }

int OApiFile::Write(const void* pBuffer, ULONG ulBytes, ULONG* pulWritten, OVERLAPPED* pOverlapped)
try
{
    CheckInitialised();
    if (!pBuffer) Raise(kulNoBuffer);
    DWORD ulWritten = 0;
    const int bDone = ::WriteFile(mhFile, pBuffer, ulBytes, pulWritten ? pulWritten : &ulWritten, pOverlapped);
    if (!bDone) Raise(kulWriteFailed);
    return bDone;
}
catch (...) { LogCaught("OApiFile::Write"); throw; }

int OApiFile::Writeln(const void* pText)
try
{
    const ULONG ulText = TextBytes(pText);
    if (!pText) return Write(pText, ulText, nullptr, nullptr); // which refuses it
    const ULONG ulLine = ulText + sizeof kacLineEnd;

    char acUsual[kulUsualLine];
    const std::unique_ptr<char[]> pLong(ulLine > sizeof acUsual ? new (std::nothrow) char[ulLine] : nullptr);
    char* const pLine = pLong ? pLong.get() : acUsual;
    if (!pLong && ulLine > sizeof acUsual) // no memory to join them in
        return Write(pText, ulText, nullptr, nullptr) ? Write(kacLineEnd, sizeof kacLineEnd, nullptr, nullptr) : 0;

    std::memcpy(pLine, pText, ulText);
    std::memcpy(pLine + ulText, kacLineEnd, sizeof kacLineEnd);
    return Write(pLine, ulLine, nullptr, nullptr);
}
catch (...) { LogCaught("OApiFile::Writeln"); throw; }

ULONG OApiFile::GetHandle(void** phFile)
try
{
    if (phFile) *phFile = mhFile;
    CheckInitialised();
    Raise(kulNoBuffer); // always: callers know it, and take the handle that they have got by then
    return 0;
}
catch (...) { LogCaught("OApiFile::GetHandle"); throw; }

ULONG OApiFile::MoveTo(LONG lDistance, ULONG ulMethod)
{
    CheckInitialised();
    const ULONG ulPosition = ::SetFilePointer(mhFile, lDistance, nullptr, ulMethod);
    if (ulPosition == INVALID_SET_FILE_POINTER) Raise(kulSeekFailed);
    return ulPosition;
}

ULONG OApiFile::GoToEof()
try
{
    return MoveTo(0, FILE_END);
}
catch (...) { LogCaught("OApiFile::GoToEof"); throw; }

ULONG OApiFile::GoToStart()
try
{
    return MoveTo(0, FILE_BEGIN);
}
catch (...) { LogCaught("OApiFile::GoToStart"); throw; }

ULONG OApiFile::GoToPosition(LONG lPosition)
try
{
    return MoveTo(lPosition, FILE_BEGIN);
}
catch (...) { LogCaught("OApiFile::GoToPosition"); throw; }

ULONG OApiFile::MoveRelative(LONG lDistance)
try
{
    return MoveTo(lDistance, FILE_CURRENT);
}
catch (...) { LogCaught("OApiFile::MoveRelative"); throw; }

int OApiFile::Flush()
try
{
    return CApi().FlushFileBuffers(mhFile);
}
catch (...) { LogCaught("OApiFile::Flush"); throw; }

unsigned int OApiFile::GetFileSize()
try
{
    if (!mhFile) Raise(kulNoSize);
    const DWORD ulSize = ::GetFileSize(mhFile, nullptr);
    if (ulSize == INVALID_FILE_SIZE) Raise(kulNoSize);
    return ulSize;
}
catch (...) { LogCaught("OApiFile::GetFileSize"); throw; }
