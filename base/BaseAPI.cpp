#include "BaseAPI.h"

#include "ApiFrame.h"
#include "OException.h"

#include <memory>

OOSVersion::OOSVersion() : mVersion{}
{
    mVersion.dwOSVersionInfoSize = sizeof mVersion;
    GetVersionExA(&mVersion);
}

namespace
{
enum OApiCode : ULONG
{
    kulCloseFailed = 1,
    kulCreateEventFailed = 2,
    kulOpenEventFailed = 3,
    kulSetEventFailed = 4, // and ResetEvent
    kulNullHandle = 5,
    kulCreateMutexFailed = 6,
    kulReleaseMutexFailed = 7,
    kulCreateMappingFailed = 8,
    kulMapFailed = 9,
    kulUnmapFailed = 10,
    kulFirstEvent = 11, // to 16: which of six
    kulAbandoned = 17,
    kulWaitFailed = 18,
    kulFlushFailed = 19,
    kulTimeout = 20,
};

constexpr ULONG kulErrorBase = 8500;

[[noreturn]] void ThrowCode(ULONG ulCode, DWORD ulSystemError)
{
    auto pException = std::make_unique<OAppException>();
    pException->mulErrorBase = kulErrorBase;
    pException->mulOffset = ulCode;
    pException->mulErrorCode = kulErrorBase + ulCode;
    pException->miApiErrorCode = static_cast<LONG>(ulSystemError);
    throw pException.release();
}
} // namespace

void CApi::ThrowApiException(ULONG ulCode) { ThrowCode(ulCode, GetLastError()); }

void CApi::ThrowAppException(ULONG ulCode) { ThrowCode(ulCode, NO_ERROR); }

int CApi::FlushFileBuffers(void* hFile)
try
{
    if (!hFile) ThrowAppException(kulNullHandle);
    const int bDone = ::FlushFileBuffers(hFile);
    if (!bDone) ThrowApiException(kulFlushFailed);
    return bDone;
}
catch (...) { ShowApiCaught("FlushFileBuffers", 52); throw; }

int CApi::CloseHandle(void* hObject)
try
{
    if (!hObject) ThrowAppException(kulNullHandle);
    const int bDone = ::CloseHandle(hObject);
    if (!bDone) ThrowApiException(kulCloseFailed);
    return bDone;
}
catch (...) { ShowApiCaught("CloseHandle", 67); throw; }

void* CApi::CreateEventA(SECURITY_ATTRIBUTES* pSecurity, int bManualReset, int bInitialState, const char* pName)
try
{
    void* const hEvent = ::CreateEventA(pSecurity, bManualReset, bInitialState, pName);
    if (!hEvent) ThrowApiException(kulCreateEventFailed);
    return hEvent;
}
catch (...) { ShowApiCaught("CreateEvent", 81); throw; }

void* CApi::OpenEventA(ULONG ulAccess, int bInherit, const char* pName)
try
{
    void* const hEvent = ::OpenEventA(ulAccess, bInherit, pName);
    if (!hEvent) ThrowApiException(kulOpenEventFailed);
    return hEvent;
}
catch (...) { ShowApiCaught("OpenEvent", 95); throw; }

int CApi::SetEvent(void* hEvent)
try
{
    if (!hEvent) ThrowAppException(kulNullHandle);
    const int bDone = ::SetEvent(hEvent);
    if (!bDone) ThrowApiException(kulSetEventFailed);
    return bDone;
}
catch (...) { ShowApiCaught("SetEvent", 110); throw; }

int CApi::ResetEvent(void* hEvent)
try
{
    if (!hEvent) ThrowAppException(kulNullHandle);
    const int bDone = ::ResetEvent(hEvent);
    if (!bDone) ThrowApiException(kulSetEventFailed);
    return bDone;
}
catch (...) { ShowApiCaught("ResetEvent", 125); throw; }

ULONG CApi::WaitOnEvents(void* hEvent1, void* hEvent2, void* hEvent3, void* hEvent4, void* hEvent5, void* hEvent6)
try
{
    HANDLE ahGiven[6];
    DWORD ulGiven = 0;
    for (HANDLE hEvent : {hEvent1, hEvent2, hEvent3, hEvent4, hEvent5, hEvent6})
    {
        if (hEvent) ahGiven[ulGiven++] = hEvent;
    }

    constexpr const char *kpGroup = "Api", *kpClass = "CApi", *kpItem = "WaitOnEvents";
    DWORD dwResult = 0;
    try
    {
        dwResult = ::WaitForMultipleObjects(ulGiven, ahGiven, FALSE, INFINITE);
        if (dwResult < WAIT_OBJECT_0 + 6) return kulFirstEvent + (dwResult - WAIT_OBJECT_0);
        if (dwResult >= WAIT_ABANDONED_0 && dwResult < WAIT_ABANDONED_0 + 6)
        {
            LogGroup(kpGroup, kpClass, kpItem, "WAIT_ABANDONED : dwResult=%u", dwResult);
            return kulAbandoned;
        }
        if (dwResult == WAIT_TIMEOUT) LogGroup(kpGroup, kpClass, kpItem, "WAIT_TIMEOUT : dwResult=%u", dwResult);
        else if (dwResult == WAIT_FAILED) LogGroup(kpGroup, kpClass, kpItem, "WAIT_FAILED : dwResult=%u", dwResult);
        else LogGroup(kpGroup, kpClass, kpItem, "Default : dwResult=%u", dwResult);
        ThrowAppException(kulWaitFailed);
    }
    catch (...)
    {
        LogGroup(kpGroup, kpClass, kpItem, "catch : dwResult=%u", dwResult);
        throw;
    }
}
catch (...) { ShowApiCaught("WaitOnEvents", 167); throw; }

void* CApi::CreateMutexA(SECURITY_ATTRIBUTES* pSecurity, int bInitialOwner, const char* pName)
try
{
    void* const hMutex = ::CreateMutexA(pSecurity, bInitialOwner, pName);
    if (!hMutex) ThrowApiException(kulCreateMutexFailed);
    return hMutex;
}
catch (...) { ShowApiCaught("CreateMutex", 182); throw; }

ULONG CApi::WaitForMutex(void* hMutex, ULONG dwTimeout)
try
{
    const auto log = [&](const char* pFormat) { LogGroup("Mutex", "CApi", "WaitForMutex", pFormat, dwTimeout); };
    switch (::WaitForSingleObject(hMutex, dwTimeout))
    {
    case WAIT_OBJECT_0: return 0;
    case WAIT_ABANDONED: log("API_ABANDONED : dwTimeout=%u"); return kulAbandoned;
    case WAIT_TIMEOUT: log("WAIT_TIMEOUT : dwTimeout=%u"); return kulTimeout;
    case WAIT_FAILED: log("WAIT_FAILED : dwTimeout=%u"); break;
    default: break;
    }
    ThrowAppException(kulWaitFailed);
}
catch (...) { ShowApiCaught("WaitForMutex", 202); throw; }

int CApi::ReleaseMutex(void* hMutex)
try
{
    if (!hMutex) ThrowAppException(kulNullHandle);
    const int bDone = ::ReleaseMutex(hMutex);
    if (!bDone) ThrowApiException(kulReleaseMutexFailed);
    return bDone;
}
catch (...) { ShowApiCaught("ReleaseMutex", 217); throw; }

void* CApi::CreateFileMappingA(void* hFile, SECURITY_ATTRIBUTES* pSecurity, ULONG ulProtect, ULONG ulSizeHigh, ULONG ulSizeLow,
                               const char* pName)
try
{
    void* const hMapping = ::CreateFileMappingA(hFile, pSecurity, ulProtect, ulSizeHigh, ulSizeLow, pName);
    if (!hMapping) ThrowApiException(kulCreateMappingFailed);
    return hMapping;
}
catch (...) { ShowApiCaught("CreateFileMapping", 231); throw; }

void* CApi::MapViewOfFile(void* hMapping, ULONG ulAccess, ULONG ulOffsetHigh, ULONG ulOffsetLow, ULONG ulBytes)
try
{
    void* const pView = ::MapViewOfFile(hMapping, ulAccess, ulOffsetHigh, ulOffsetLow, ulBytes);
    if (!pView) ThrowApiException(kulMapFailed);
    return pView;
}
catch (...) { ShowApiCaught("MapViewOfFile", 245); throw; }

int CApi::UnmapViewOfFile(void* pView)
try
{
    if (!pView) ThrowAppException(kulNullHandle);
    const int bDone = ::UnmapViewOfFile(pView);
    if (!bDone) ThrowApiException(kulUnmapFailed);
    return bDone;
}
catch (...) { ShowApiCaught("UnmapViewOfFile", 260); throw; }
