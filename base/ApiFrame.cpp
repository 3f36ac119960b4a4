#include "ApiFrame.h"

#include "CException.h"
#include "KeepLastError.h"
#include "OException.h"

#include <cstdio>

static constexpr const char* kpSourceFile = "base/BaseAPI.cpp";

static void ShowNotices(const char* pMember, const char* pCaption, const char* pDetails)
{
    char acPlace[64];
    std::snprintf(acPlace, sizeof acPlace, "Caught in CApi::%s", pMember);
    LumMessageBox(acPlace, pCaption);
    LumMessageBox(pDetails, "EXCEPTION - Details");
}

void ShowApiCaught(const char* pMember, int iLine)
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
