#include "BaseAPI.h"

#include "CException.h"
#include "KeepLastError.h"
#include "OException.h"

#include <cstdio>
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
    kulNullHandle = 5,
    kulFlushFailed = 19,
};

constexpr ULONG kulErrorBase = 8500;
constexpr const char* kpSourceFile = "base/BaseAPI.cpp";

void ShowNotices(const char* pMember, const char* pCaption, const char* pDetails)
{
    char acPlace[64];
    std::snprintf(acPlace, sizeof acPlace, "Caught in CApi::%s", pMember);
    LumMessageBox(acPlace, pCaption);
    LumMessageBox(pDetails, "EXCEPTION - Details");
}

// The call frame of these members: shows the exception in flight. The lines are the places by which service knows the members;
// they stay what they are, wherever the member has moved.
void ShowCaught(const char* pMember, int iLine)
{
    const OKeepLastError keep;
    char acDetails[256];
    std::snprintf(acDetails, sizeof acDetails, "File=%s : Line=%d", kpSourceFile, iLine);
    try
    {
        throw;
    }
    catch (OAppException* pEx)
    {
        std::snprintf(acDetails, sizeof acDetails, "File=%s : Line=%d : Error=%d : ApiError=$%x", kpSourceFile, iLine,
                      static_cast<int>(pEx->mulErrorCode), static_cast<unsigned int>(pEx->miApiErrorCode));
        ShowNotices(pMember, "EXCEPTION : OAppException", acDetails);
    }
    catch (CException*)
    {
        ShowNotices(pMember, "EXCEPTION : CException", acDetails);
    }
    catch (...)
    {
        ShowNotices(pMember, "EXCEPTION : ...", acDetails);
    }
}

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
catch (...) { ShowCaught("FlushFileBuffers", 52); throw; }

int CApi::CloseHandle(void* hObject)
try
{
    if (!hObject) ThrowAppException(kulNullHandle);
    const int bDone = ::CloseHandle(hObject);
    if (!bDone) ThrowApiException(kulCloseFailed);
    return bDone;
}
catch (...) { ShowCaught("CloseHandle", 67); throw; }
