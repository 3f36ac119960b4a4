// Subkeys: counted, listed, deleted.
#include "ORegistry.h"

#include "OBuffer.h"
#include "RegistryCodes.h"

void ORegistry::RequireInfo(LSTATUS lRetval, const char* pMethod)
{
    if (lRetval == ERROR_SUCCESS) return;
    LogGroup("Error", nullptr, pMethod, "RegQueryInfoKey failed: lRetval=%d", lRetval);
    Raise(kulNoInfo);
}

ULONG ORegistry::GetNumSubKeys()
try
{
    RequireKey("GetNumSubKeys", "Object is not initialised; mhKey=NULL");
    DWORD dwSubKeys = 0;
    RequireInfo(RegQueryInfoKeyA(mhKey, nullptr, nullptr, nullptr, &dwSubKeys, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                 nullptr),
                "GetNumSubKeys");
    return dwSubKeys;
}
catch (...) { LogCaught("ORegistry::GetNumSubKeys"); throw; }

ULONG ORegistry::GetMaxSubKeyNameLength()
try
{
    RequireKey("GetMaxSubKeyNameLength");
    DWORD dwLongest = 0;
    RequireInfo(RegQueryInfoKeyA(mhKey, nullptr, nullptr, nullptr, nullptr, &dwLongest, nullptr, nullptr, nullptr, nullptr, nullptr,
                                 nullptr),
                "GetMaxSubKeyNameLength");
    return dwLongest;
}
catch (...) { LogCaught("ORegistry::GetMaxValueNameLength"); throw; } // known by this name in logs

static LSTATUS EnumKey(HKEY hKey, ULONG ulIndex, OBuffer& Name)
{
    DWORD dwRoom = Name.Length();
    return RegEnumKeyExA(hKey, ulIndex, static_cast<char*>(Name.AsPointer()), &dwRoom, nullptr, nullptr, nullptr, nullptr);
}

int ORegistry::EnumerateKeys(ULONG ulIndex, CString& sName)
try
{
    RequireKey("EnumerateKeys");
    const ULONG ulSubKeys = GetNumSubKeys();
    if (ulSubKeys == 0 || ulIndex >= ulSubKeys) return 0;

    OBuffer Name(GetMaxSubKeyNameLength() + 1, nullptr);
    LSTATUS lRetval = EnumKey(mhKey, ulIndex, Name);
    if (lRetval == ERROR_MORE_DATA)
    {
        // The longest name was told in UTF-16 units; in the code page each may take up to three bytes.
        Name.Alloc(Name.Length() * 3);
        lRetval = EnumKey(mhKey, ulIndex, Name);
    }
    const char* pName = static_cast<const char*>(Name.AsPointer());
    if (lRetval != ERROR_SUCCESS)
    {
        LogGroup("Error", nullptr, "EnumerateKeys", "RegEnumKeyEx failed: lRetval=%d; SubKeyName='%s'", lRetval, pName);
        Raise(kulEnumFailed);
    }
    sName = pName;
    return 1;
}
catch (...) { LogCaught("ORegistry::EnumerateKeys"); throw; }

int ORegistry::DeleteKey(const char* lpSubKey)
try
{
    CString sFullPath = mBasePath + mPath;
    RequireKey("DeleteKey");
    if (lpSubKey)
    {
        sFullPath += '\\';
        sFullPath += lpSubKey;
    }
    else CloseKey();

    const LSTATUS lRetval = RegDeleteKeyA(mhRootKey, sFullPath);
    if (lRetval == ERROR_SUCCESS) return 1;
    if (lpSubKey && lRetval == ERROR_FILE_NOT_FOUND) return 0;
    LogGroup("Error", nullptr, "DeleteKey", "RegDeleteKey failed: lRetval=%u; lpSubKey='%s'", lRetval,
             lpSubKey ? static_cast<const char*>(sFullPath) : nullptr);
    Raise(kulDeleteFailed);
    return 0;
}
catch (...) { LogCaught("ORegistry::DeleteKey"); throw; }

int ORegistry::DeleteKeyEx(const char* lpSubKey)
try
{
    RequireKey("DeleteKeyEx");
    ORegistry key;
    Clone(key, lpSubKey, TRUE);
    Clone(key, lpSubKey, FALSE); // once more: a key that had to be made does not know its path
    if (!lpSubKey) CloseKey();

    for (ULONG ulLeft = key.GetNumSubKeys(); ulLeft > 0; --ulLeft)
    {
        CString sName;
        if (!key.EnumerateKeys(0, sName)) // always the first: each turn deletes it
        {
            LogGroup("Error", nullptr, "DeleteKeyEx", "Reg.EnumerateKeys failed: Name='%s'", static_cast<const char*>(sName));
            Raise(kulEnumFailed);
        }
        ORegistry child;
        key.Clone(child, sName, TRUE);
        child.DeleteKeyEx(nullptr);
    }
    key.DeleteKey(nullptr);
    return 1;
}
catch (...) { LogCaught("ORegistry::DeleteKeyEx"); throw; }
