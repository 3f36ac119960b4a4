// The checked queries and writes, and names with a path in front.
#include "ORegistry.h"

#include "OBuffer.h"
#include "RegistryCodes.h"

#include <vector>

// Requirements -------------------------------------------------------------------------------------------------------------

void ORegistry::RequireKey(const char* pMethod, const char* pNotice)
{
    if (mhKey) return;
    LogGroup("Error", nullptr, pMethod, pNotice);
    Raise(kulNotOpen);
}

void ORegistry::RequireRead(LSTATUS lRetval, const char* pMethod, const char* lpValueName)
{
    if (lRetval == ERROR_SUCCESS) return;
    LogGroup("Error", nullptr, pMethod, "RegQueryValueEx failed: lRetval=%d; lpValueName='%s'", lRetval, lpValueName);
    Raise(kulReadFailed);
}

void ORegistry::RequireData(LSTATUS lRetval, DWORD dwType, DWORD dwExpected, const char* pMethod, const char* lpValueName)
{
    RequireRead(lRetval, pMethod, lpValueName);
    if (dwType == dwExpected) return;
    LogGroup("Error", nullptr, pMethod, "Invalid data type: dwType=%x", dwType);
    Raise(kulWrongType);
}

void ORegistry::RequireWritten(LSTATUS lRetval, const char* pMethod, const char* lpValueName)
{
    if (lRetval == ERROR_SUCCESS) return;
    LogGroup("Error", nullptr, pMethod, "RegSetValueEx failed: lRetval=%d; lpValueName='%s'", lRetval, lpValueName);
    Raise(kulWriteFailed);
}

// Path-qualified names -----------------------------------------------------------------------------------------------------

// The shortest name with a path: a letter, the backslash, a letter.
constexpr std::size_t kulShortestQualified = 3;

int ORegistry::GetPathName(const char* lpValueName, CString& sPath)
try
{
    if (!lpValueName)
    {
        LogGroup("Error", nullptr, "GetPathName", "Object is not initialised: lpValueName=NULL");
        Raise(kulNotOpen);
    }
    if (std::strlen(lpValueName) < kulShortestQualified) return 0;
    const char* pLast = std::strrchr(lpValueName, '\\');
    if (!pLast) return 0;
    sPath = CString(lpValueName, static_cast<int>(pLast - lpValueName));
    return 1;
}
catch (...) { LogCaught("ORegistry::GetPathName"); throw; }

int ORegistry::GetValueName(const char* lpValueName, CString& sValueName)
try
{
    CString sPath;
    if (!GetPathName(lpValueName, sPath))
    {
        sValueName = lpValueName;
        return 1;
    }
    if (std::strlen(lpValueName) < kulShortestQualified)
    {
        LogGroup("Error", nullptr, "GetValueName", "Object is not initialised: ulSize<3");
        Raise(kulNotOpen);
    }
    const char* pLast = std::strrchr(lpValueName, '\\');
    if (!pLast)
    {
        LogGroup("Error", nullptr, "GetValueName", "Object is not initialised");
        Raise(kulNotOpen);
    }
    sValueName = pLast + 1;
    return 1;
}
catch (...) { LogCaught("ORegistry::GetValueName"); throw; }

// Whether the name has a path; then target is open there and sValueName is the rest.
bool ORegistry::OpenQualified(const char* lpValueName, ORegistry& target, CString& sValueName)
{
    CString sPath;
    if (!GetPathName(lpValueName, sPath)) return false;
    GetValueName(lpValueName, sValueName);
    Clone(target, sPath, TRUE);
    return true;
}

// Queries ------------------------------------------------------------------------------------------------------------------

int ORegistry::QueryBinaryValue(const char* lpValueName, OBuffer& Buffer)
try
{
    constexpr const char* kpMethod = "QueryBinaryValue";
    RequireKey(kpMethod);
    ORegistry other;
    CString sName;
    if (OpenQualified(lpValueName, other, sName)) return other.QueryBinaryValue(sName, Buffer);

    DWORD dwSize = 0;
    LSTATUS lRetval = RegQueryValueExA(mhKey, lpValueName, nullptr, nullptr, nullptr, &dwSize);
    if (lRetval == ERROR_FILE_NOT_FOUND) return 0;
    RequireRead(lRetval, kpMethod, lpValueName);

    Buffer.Alloc(dwSize);
    if (dwSize == 0) return 1;
    DWORD dwType = REG_NONE;
    DWORD dwRead = dwSize;
    BYTE* pData = static_cast<BYTE*>(Buffer.AsPointer());
    lRetval = RegQueryValueExA(mhKey, lpValueName, nullptr, &dwType, pData, &dwRead);
    RequireData(lRetval, dwType, REG_BINARY, kpMethod, lpValueName);
    if (dwRead != dwSize)
    {
        LogGroup("Error", nullptr, kpMethod, "Invalid ReadDataSize: dwDataSizeRead=%d, expected [%d]", dwRead, dwSize);
        Raise(kulReadFailed);
    }
    return 1;
}
catch (...) { LogCaught("ORegistry::QueryBinaryValue"); throw; }

ULONG ORegistry::QueryDwordValue(const char* lpValueName, ULONG ulDefault)
try
{
    constexpr const char* kpMethod = "QueryDwordValue";
    RequireKey(kpMethod);
    ORegistry other;
    CString sName;
    if (OpenQualified(lpValueName, other, sName)) return other.QueryDwordValue(sName, ulDefault);

    DWORD dwType = REG_NONE;
    DWORD dwValue = 0;
    DWORD dwSize = sizeof dwValue;
    const LSTATUS lRetval = RegQueryValueExA(mhKey, lpValueName, nullptr, &dwType, reinterpret_cast<BYTE*>(&dwValue), &dwSize);
    if (lRetval == ERROR_FILE_NOT_FOUND)
    {
        Clone(other, nullptr, TRUE);
        other.SetDwordValue(lpValueName, ulDefault);
        return ulDefault;
    }
    RequireData(lRetval, dwType, REG_DWORD, kpMethod, lpValueName);
    if (dwSize != sizeof dwValue)
    {
        LogGroup("Error", nullptr, kpMethod, "Invalid DataSize: dwDataSize=%d, expected [%d]", dwSize,
                 static_cast<DWORD>(sizeof dwValue));
        Raise(kulWrongType);
    }
    return dwValue;
}
catch (...) { LogCaught("ORegistry::QueryDwordValue"); throw; }

int ORegistry::QueryStringValue(const char* lpValueName, const char* pDefault, CString& sOut)
try
{
    constexpr const char* kpMethod = "QueryStringValue";
    RequireKey(kpMethod);
    ORegistry other;
    CString sName;
    if (OpenQualified(lpValueName, other, sName)) return other.QueryStringValue(sName, pDefault, sOut);

    DWORD dwSize = 0;
    LSTATUS lRetval = RegQueryValueExA(mhKey, lpValueName, nullptr, nullptr, nullptr, &dwSize);
    if (lRetval == ERROR_FILE_NOT_FOUND)
    {
        Clone(other, nullptr, TRUE);
        if (!pDefault) return 0;
        other.SetStringValue(lpValueName, pDefault);
        sOut = pDefault;
        return 0;
    }
    RequireRead(lRetval, kpMethod, lpValueName);
    if (dwSize == 0)
    {
        sOut.Empty();
        return 1;
    }
    std::vector<char> text(dwSize);
    DWORD dwType = REG_NONE;
    DWORD dwRead = dwSize;
    BYTE* pData = reinterpret_cast<BYTE*>(text.data());
    lRetval = RegQueryValueExA(mhKey, lpValueName, nullptr, &dwType, pData, &dwRead);
    RequireData(lRetval, dwType, REG_SZ, kpMethod, lpValueName);
    if (dwRead != dwSize)
    {
        LogGroup("Error", nullptr, kpMethod, "Invalid DataSize: dwDataSizeRead=%d, expected [%d]", dwRead, dwSize);
        Raise(kulReadFailed);
    }
    sOut = CString(text.data(), static_cast<int>(strnlen(text.data(), dwSize)));
    return 1;
}
catch (...) { LogCaught("ORegistry::QueryStringValue"); throw; }

// Writes -------------------------------------------------------------------------------------------------------------------

void ORegistry::SetDwordValue(const char* lpValueName, ULONG ulValue)
try
{
    constexpr const char* kpMethod = "SetDwordValue";
    RequireKey(kpMethod);
    ORegistry other;
    CString sName;
    if (OpenQualified(lpValueName, other, sName)) return other.SetDwordValue(sName, ulValue);

    RequireWritten(RegSetValueExA(mhKey, lpValueName, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&ulValue), sizeof ulValue),
                   kpMethod, lpValueName);
}
catch (...) { LogCaught("ORegistry::SetDwordValue"); throw; }

void ORegistry::SetStringValue(const char* lpValueName, const char* pText)
try
{
    constexpr const char* kpMethod = "SetStringValue";
    RequireKey(kpMethod);
    ORegistry other;
    CString sName;
    if (OpenQualified(lpValueName, other, sName)) return other.SetStringValue(sName, pText);

    if (!pText) Raise(kulNullText);
    const DWORD dwSize = static_cast<DWORD>(std::strlen(pText) + 1);
    RequireWritten(RegSetValueExA(mhKey, lpValueName, 0, REG_SZ, reinterpret_cast<const BYTE*>(pText), dwSize), kpMethod,
                   lpValueName);
}
catch (...) { LogCaught("ORegistry::SetStringValue"); throw; }
