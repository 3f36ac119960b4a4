// The tree in the registry.
#include "ONameList.h"

#include "CaughtException.h"
#include "NameListCodes.h"
#include "ORegistry.h"

#include <cstring>
#include <exception>
#include <memory>

constexpr const char *kpEnabled = "Enabled", *kpDefaultEnable = "DefaultEnable", *kpErrorsOnly = "EnableErrorsOnly";

CString ONameList::SubkeyPath(const char* pName) const { return mKeyPath + "\\" + pName; }

ULONG ONameList::GetSwitch(const char* pName, int iDefault, const char* pWhere)
try
{
    ORegistry key;
    key.SetRoot(mhRootKey);
    if (!key.OpenKey(mKeyPath, ORegistry::OPEN_ONLY)) return static_cast<ULONG>(iDefault);
    return key.QueryDwordValue(pName, static_cast<ULONG>(iDefault));
}
catch (...) { LogCaught(pWhere); throw; }

ULONG ONameList::GetEnabled(int iDefault) { return GetSwitch(kpEnabled, iDefault, "ONameList::GetEnabled"); }
ULONG ONameList::GetDefaultEnable(int iDefault) { return GetSwitch(kpDefaultEnable, iDefault, "ONameList::GetDefaultEnable"); }
ULONG ONameList::GetErrorsOnly(int iDefault) { return GetSwitch(kpErrorsOnly, iDefault, "ONameList::GetErrorsOnly"); }

// Loading -----------------------------------------------------------------------------------------------------------------

void ONameList::LoadFromRegistry()
try
{
    ORegistry key(mhRootKey, mKeyPath, ORegistry::OPEN_ONLY);
    DeleteList();
    const ULONG ulSubkeys = key.GetNumSubKeys();
    for (ULONG i = 0; i < ulSubkeys; ++i)
    {
        CString sName;
        if (!key.EnumerateKeys(i, sName)) Raise(kulNotListed);
        LoadSubkey(sName);
    }
}
catch (...) { LogCaught("ONameList::LoadFromRegistry"); throw; }

void ONameList::LoadSubkey(const char* pName)
{
    const CString sPath = SubkeyPath(pName);
    ORegistry key(mhRootKey, sPath, ORegistry::OPEN_ONLY);
    std::unique_ptr<ONameList> pChild;
    if (key.GetNumSubKeys() > 0)
    {
        pChild = std::make_unique<ONameList>(mhRootKey, sPath);
        pChild->LoadFromRegistry();
    }
    AddEntry(pName, pChild.get(), key.QueryDwordValue(kpEnabled, 1));
    pChild.release();
}

// Saving ------------------------------------------------------------------------------------------------------------------

void ONameList::SaveToRegistry()
try
{
    ORegistry key(mhRootKey, mKeyPath, ORegistry::OPEN_OR_CREATE);
    key.GetKeyHandle(); // raises when there is none

    std::exception_ptr pFirst;
    const int iCount = GetCount();
    for (int i = 0; i < iCount; ++i)
    {
        try
        {
            SaveEntry(*GetAt(i));
        }
        catch (...)
        {
            if (pFirst) DropCaught();
            else pFirst = std::current_exception();
        }
    }
    if (pFirst) std::rethrow_exception(pFirst);
}
catch (...) { LogCaught("ONameList::SaveToRegistry"); throw; }

// Whether a name stands for a subkey: the path of another would lead to the list's own key, or past it.
static bool HasKey(const char* pName)
{
    const std::size_t ulLength = std::strlen(pName);
    return ulLength > 0 && pName[0] != '\\' && pName[ulLength - 1] != '\\';
}

void ONameList::SaveEntry(const ONameEntry& entry)
{
    if (!HasKey(entry.mpName)) return;
    ORegistry key(mhRootKey, SubkeyPath(entry.mpName), ORegistry::OPEN_OR_CREATE);
    key.SetDwordValue(kpEnabled, entry.mulEnabled);
    if (entry.mpChild) entry.mpChild->SaveToRegistry();
}

void ONameList::ResetKey()
try
{
    const struct { const char* pName; ULONG ulValue; } kSwitches[] = {
        {kpEnabled, GetEnabled(1)}, {kpDefaultEnable, GetDefaultEnable(1)}, {kpErrorsOnly, GetErrorsOnly(1)}};
    ORegistry key;
    key.SetRoot(mhRootKey);
    if (key.OpenKey(mKeyPath, ORegistry::OPEN_ONLY)) key.DeleteKeyEx(nullptr);
    key.OpenKey(mKeyPath, ORegistry::OPEN_OR_CREATE);
    for (const auto& row : kSwitches) key.SetDwordValue(row.pName, row.ulValue);
}
catch (...) { LogCaught("ONameList::ResetKey"); throw; }
