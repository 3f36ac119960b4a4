// Opening and closing, plain reads and writes, and what an object says about itself.
#include "ORegistry.h"

#include "NumberText.h"
#include "OSecurity.h"
#include "RegistryCodes.h"

#include <cstdlib>
#include <cstring>

// Made before the library's entry function runs, which chooses it.
[[gnu::init_priority(101)]] CString ORegistry::mBasePath;

ORegistry::ORegistry(HKEY hRoot, const char* pPath, OPEN_MODE eMode)
{
    try
    {
        Init();
        SetRoot(hRoot);
        OpenKey(pPath, eMode);
    }
    catch (...) { LogCaught("ORegistry::ORegistry"); throw; }
}

void ORegistry::Init()
{
    SetGroup("Utilities");
    SetErrorBase(19000);
    mhRootKey = HKEY_LOCAL_MACHINE;
    mhKey = nullptr;
    mSecurityAttributes = nullptr;
    mAccessMask = KEY_QUERY_VALUE | KEY_SET_VALUE | KEY_CREATE_SUB_KEY | KEY_ENUMERATE_SUB_KEYS;
    mCreateOptions = REG_OPTION_NON_VOLATILE;
    mPath.Empty();
}

void ORegistry::Cleanup()
{
    SetGroup("Utilities");
    SetErrorBase(19000);
    if (mhKey) RegCloseKey(mhKey);
    mhKey = nullptr;
}

void ORegistry::SetRoot(HKEY hRoot)
try
{
    Cleanup();
    mhRootKey = hRoot;
}
catch (...) { LogCaught("ORegistry::SetRoot"); throw; }

void ORegistry::SetBasePath(const char* pPath) { mBasePath = pPath; }

// Opening and closing ------------------------------------------------------------------------------------------------------

int ORegistry::OpenOrCreate(const char* pFullPath, const char* pPath, OPEN_MODE eMode)
{
    if (SecureAPI::RegOpenKeyExA(mhRootKey, pFullPath, 0, mAccessMask, &mhKey) == ERROR_SUCCESS)
    {
        mPath = pPath;
        return 1;
    }
    if (eMode != OPEN_OR_CREATE) return 0;
    return SecureAPI::RegCreateKeyExA(mhRootKey, pFullPath, 0, nullptr, mCreateOptions, mAccessMask, mSecurityAttributes, &mhKey,
                                      nullptr) == ERROR_SUCCESS;
}

int ORegistry::OpenKey(const char* pPath, OPEN_MODE eMode)
try
{
    CString sFullPath = mBasePath + pPath;
    sFullPath.Replace("\\\\", "\\");
    if (mhKey)
    {
        if (RegCloseKey(mhKey) == ERROR_SUCCESS) mhKey = nullptr;
        else LogGroup("Error", nullptr, "OpenKey", "Couldn't Close Old Handle");
    }
    return OpenOrCreate(sFullPath, pPath, eMode);
}
catch (...) { LogCaught("ORegistry::OpenKey"); throw; }

int ORegistry::OpenKeyEx(const char* pPath, OPEN_MODE eMode)
try
{
    return OpenOrCreate(pPath, pPath, eMode);
}
catch (...) { LogCaught("ORegistry::OpenKeyEx"); throw; }

void ORegistry::CloseKey()
try
{
    if (mhKey)
    {
        const LSTATUS lRetval = RegCloseKey(mhKey);
        if (lRetval != ERROR_SUCCESS)
        {
            LogGroup("Error", nullptr, "CloseKey", "RegCloseKey failed: lRetval=%d", lRetval);
            Raise(kulCloseFailed);
        }
        mhKey = nullptr;
    }
    Cleanup();
}
catch (...) { LogCaught("ORegistry::CloseKey"); throw; }

void ORegistry::Clone(ORegistry& target, const char* pSubPath, int iCreate)
try
{
    RequireKey("Clone");
    CString sPath = mPath;
    if (pSubPath)
    {
        sPath += '\\';
        sPath += pSubPath;
    }
    target.SetRoot(mhRootKey);
    target.OpenKey(sPath, iCreate ? OPEN_OR_CREATE : OPEN_ONLY);
}
catch (...) { LogCaught("ORegistry::Clone"); throw; }

// Plain reads --------------------------------------------------------------------------------------------------------------

CString& ORegistry::ReadString(const char* pName, CString& sOut, const char* pDefault)
try
{
    if (pDefault) sOut = pDefault;
    if (!mhKey) return sOut;

    char acText[512];
    DWORD dwType = REG_NONE;
    DWORD dwSize = sizeof acText;
    const LSTATUS lRetval = RegQueryValueExA(mhKey, pName, nullptr, &dwType, reinterpret_cast<BYTE*>(acText), &dwSize);
    // What was stored without a terminator comes back without one when it fills the buffer.
    if (lRetval == ERROR_SUCCESS && dwType == REG_SZ) sOut = CString(acText, static_cast<int>(strnlen(acText, dwSize)));
    return sOut;
}
catch (...) { LogCaught("ORegistry::ReadString"); throw; }

void ORegistry::ReadPChar(const char* pName, char* pBuffer, int iSize, const char* pDefault)
try
{
    CString sText;
    ReadString(pName, sText, pDefault);
    if (iSize > 0) std::strncpy(pBuffer, sText, static_cast<std::size_t>(iSize));
}
catch (...) { LogCaught("ORegistry::ReadPChar"); throw; }

int ORegistry::ReadInteger(const char* pName, int iDefault)
try
{
    CString sText;
    ReadString(pName, sText, nullptr);
    return sText.IsEmpty() ? iDefault : ToInt(sText);
}
catch (...) { LogCaught("ORegistry::ReadInteger"); throw; }

double ORegistry::ReadDouble(const char* pName, double fDefault)
try
{
    CString sText;
    ReadString(pName, sText, nullptr);
    return sText.IsEmpty() ? fDefault : ToDouble(sText);
}
catch (...) { LogCaught("ORegistry::ReadDouble"); throw; }

FILETIME ORegistry::ReadFileTime(const char* pName, const FILETIME* pDefault)
{
    FILETIME time{};
    if (!mhKey) return time;
    DWORD dwType = REG_BINARY;
    DWORD dwSize = sizeof time;
    const LSTATUS lRetval = RegQueryValueExA(mhKey, pName, nullptr, &dwType, reinterpret_cast<BYTE*>(&time), &dwSize);
    if (lRetval == ERROR_SUCCESS) return time;
    return pDefault ? *pDefault : FILETIME{};
}

// Plain writes -------------------------------------------------------------------------------------------------------------

void ORegistry::WritePChar(const char* pName, const char* pText)
{
    if (!mhKey || !pText) return;
    RegSetValueExA(mhKey, pName, 0, REG_SZ, reinterpret_cast<const BYTE*>(pText), static_cast<DWORD>(std::strlen(pText) + 1));
}

void ORegistry::WriteString(const char* pName, const CString& sText)
try
{
    WritePChar(pName, sText);
}
catch (...) { LogCaught("ORegistry::WriteString"); throw; }

void ORegistry::WriteInteger(const char* pName, int iValue)
try
{
    CString sText;
    sText.Format("%d", iValue);
    WritePChar(pName, sText);
}
catch (...) { LogCaught("ORegistry::WriteInteger"); throw; }

void ORegistry::WriteDouble(const char* pName, double fValue, int iPrecision)
try
{
    WritePChar(pName, ToText(fValue, iPrecision));
}
catch (...) { LogCaught("ORegistry::WriteDouble"); throw; }

void ORegistry::WriteFileTime(const char* pName, const FILETIME* pValue)
{
    if (!mhKey || !pValue) return;
    RegSetValueExA(mhKey, pName, 0, REG_BINARY, reinterpret_cast<const BYTE*>(pValue), sizeof *pValue);
}

// Accessors ----------------------------------------------------------------------------------------------------------------

HKEY ORegistry::GetRootKeyHandle()
try
{
    if (!mhRootKey)
    {
        LogGroup("Error", nullptr, "GetRootKeyHandle", "Object is not initialised: mhRootKey=NULL");
        Raise(kulNotOpen);
    }
    return mhRootKey;
}
catch (...) { LogCaught("ORegistry::GetRootKeyHandle"); throw; }

HKEY ORegistry::GetKeyHandle()
try
{
    RequireKey("GetKeyHandle");
    return mhKey;
}
catch (...) { LogCaught("ORegistry::GetKeyHandle"); throw; }

CString ORegistry::GetPath()
try
{
    RequireKey("GetPath", "Object is not initialised: mhKey=NULL ");
    return mPath;
}
catch (...) { LogCaught("ORegistry::GetPath"); throw; }

int ORegistry::GetIntValue(CString sText)
try
{
    const char* pText = sText;
    const bool bPrefix = pText[0] == '0' && (pText[1] == 'x' || pText[1] == 'X');
    if (pText[0] != '$' && !bPrefix) return ToInt(pText);
    return static_cast<int>(std::strtoull(pText + (bPrefix ? 2 : 1), nullptr, 16));
}
catch (...) { LogCaught("ORegistry::GetIntValue"); throw; }
