// Enumerating subkeys, and what there is to know of a key.
#include "RegistryHandles.h"
#include "RegistryText.h"

namespace lum
{
namespace
{
FILETIME FileTimeOf(std::int64_t llTime)
{
    return {static_cast<DWORD>(llTime), static_cast<DWORD>(llTime >> 32)};
}

template <class Char>
LSTATUS EnumKey(HKEY hKey, DWORD ulIndex, Char* pName, LPDWORD pulChars, LPDWORD pReserved, Char* pClass, LPDWORD pulClassChars,
                PFILETIME pWritten)
{
    if (!pName || !pulChars || pReserved || (pClass && !pulClassChars)) return ERROR_INVALID_PARAMETER;
    KeyUse use;
    if (LSTATUS lStatus = UseKey(hKey, use)) return lStatus;
    if (!use.May(KEY_ENUMERATE_SUB_KEYS)) return ERROR_ACCESS_DENIED;

    ChildList::Child child;
    const bool bRecord = pulClassChars || pWritten; // more than is remembered
    const auto pick = [&](const ChildList& list) -> LSTATUS
    {
        if (ulIndex >= list.Count()) return ERROR_NO_MORE_ITEMS;
        if (!bRecord) return GiveName(list.At(ulIndex).sName, pName, pulChars);
        child = list.At(ulIndex);
        return ERROR_SUCCESS;
    };
    LSTATUS lStatus = use.pStore->WithChildren(*use.pNode, use.llId, pick);
    if (lStatus != ERROR_SUCCESS || !bRecord) return lStatus;

    KeyRecord record;
    if ((lStatus = use.pStore->ReadChildRecord(use.llId, child.sFold, record)) != ERROR_SUCCESS) return lStatus;
    if (pWritten) *pWritten = FileTimeOf(record.llWritten);
    if (CharsOf(child.sName, pName) >= *pulChars) return ERROR_MORE_DATA;
    if (pulClassChars)
    {
        const std::u16string sClass = UnitsFromBytes(record.sClass);
        if (pClass) lStatus = GiveName(sClass, pClass, pulClassChars);
        else *pulClassChars = static_cast<DWORD>(CharsOf(sClass, pName));
        if (lStatus != ERROR_SUCCESS) return lStatus;
    }
    return GiveName(child.sName, pName, pulChars);
}

void Give(LPDWORD pulTo, ULONG ulNumber)
{
    if (pulTo) *pulTo = ulNumber;
}

// Room of 0 characters asks for the length alone, as no buffer does. Where the class does not fit, the A call gives what does.
template <class Char>
LSTATUS GiveClass(const std::u16string& sClass, Char* pClass, LPDWORD pulChars)
{
    const auto ulChars = static_cast<DWORD>(CharsOf(sClass, pClass));
    const DWORD ulRoom = pClass ? *pulChars : 0;
    *pulChars = ulChars;
    if (ulRoom == 0) return ERROR_SUCCESS;
    if (ulChars < ulRoom)
    {
        CopyChars(sClass, pClass, ulChars);
        pClass[ulChars] = 0;
        return ERROR_SUCCESS;
    }
    if (sizeof(Char) == 1)
    {
        CopyChars(sClass, pClass, ulRoom - 1);
        pClass[ulRoom - 1] = 0;
        *pulChars = ulRoom - 1;
    }
    return ERROR_MORE_DATA;
}

template <class Char>
LSTATUS QueryInfo(HKEY hKey, Char* pClass, LPDWORD pulClassChars, LPDWORD pulSubKeys, LPDWORD pulMaxSubKeyChars,
                  LPDWORD pulMaxClassChars, LPDWORD pulValues, LPDWORD pulMaxValueNameChars, LPDWORD pulMaxValueBytes,
                  LPDWORD pulSecurityBytes, PFILETIME pWritten)
{
    if (pClass && !pulClassChars) return ERROR_INVALID_PARAMETER;
    KeyUse use;
    if (LSTATUS lStatus = UseKey(hKey, use)) return lStatus;

    const bool bRecord = pulClassChars || pWritten;
    KeyRecord record;
    if (bRecord || !(pulSubKeys || pulMaxSubKeyChars || pulMaxClassChars || pulValues || pulMaxValueNameChars || pulMaxValueBytes))
        if (LSTATUS lStatus = use.pStore->ReadRecord(use.llId, record)) return lStatus;

    if (pulSubKeys || pulMaxSubKeyChars || pulMaxClassChars)
    {
        const auto count = [&](const ChildList& list) -> LSTATUS
        {
            Give(pulSubKeys, list.Count());
            Give(pulMaxSubKeyChars, list.MaxNameChars());
            if (pulMaxClassChars) *pulMaxClassChars = list.MaxClassChars();
            return ERROR_SUCCESS;
        };
        if (LSTATUS lStatus = use.pStore->WithChildren(*use.pNode, use.llId, count)) return lStatus;
    }
    if (pulValues || pulMaxValueNameChars || pulMaxValueBytes)
    {
        const auto count = [&](const ValueBlock& block) -> LSTATUS
        {
            ULONG ulMaxChars = 0, ulMaxBytes = 0;
            for (ULONG i = 0; i < block.Count(); ++i)
            {
                const ValueView value = block.At(i);
                ulMaxChars = std::max(ulMaxChars, static_cast<ULONG>(value.sName.size()));
                ulMaxBytes = std::max(ulMaxBytes, value.ulBytes);
            }
            Give(pulValues, block.Count());
            Give(pulMaxValueNameChars, ulMaxChars);
            Give(pulMaxValueBytes, ulMaxBytes);
            return ERROR_SUCCESS;
        };
        if (LSTATUS lStatus = use.pStore->WithValues(*use.pNode, use.llId, count)) return lStatus;
    }
    Give(pulSecurityBytes, 0);
    if (pWritten) *pWritten = FileTimeOf(record.llWritten);
    return pulClassChars ? GiveClass(UnitsFromBytes(record.sClass), pClass, pulClassChars) : ERROR_SUCCESS;
}
} // namespace
} // namespace lum

LSTATUS RegEnumKeyExA(HKEY hKey, DWORD ulIndex, LPSTR pName, LPDWORD pulChars, LPDWORD pReserved, LPSTR pClass,
                      LPDWORD pulClassChars, PFILETIME pWritten)
{
    return lum::Answer([&] { return lum::EnumKey(hKey, ulIndex, pName, pulChars, pReserved, pClass, pulClassChars, pWritten); });
}

LSTATUS RegEnumKeyExW(HKEY hKey, DWORD ulIndex, LPWSTR pName, LPDWORD pulChars, LPDWORD pReserved, LPWSTR pClass,
                      LPDWORD pulClassChars, PFILETIME pWritten)
{
    return lum::Answer([&] { return lum::EnumKey(hKey, ulIndex, pName, pulChars, pReserved, pClass, pulClassChars, pWritten); });
}

LSTATUS RegQueryInfoKeyA(HKEY hKey, LPSTR pClass, LPDWORD pulClassChars, LPDWORD, LPDWORD pulSubKeys, LPDWORD pulMaxSubKeyChars,
                         LPDWORD pulMaxClassChars, LPDWORD pulValues, LPDWORD pulMaxValueNameChars, LPDWORD pulMaxValueBytes,
                         LPDWORD pulSecurityBytes, PFILETIME pWritten)
{
    return lum::Answer([&] {
        return lum::QueryInfo(hKey, pClass, pulClassChars, pulSubKeys, pulMaxSubKeyChars, pulMaxClassChars, pulValues,
                              pulMaxValueNameChars, pulMaxValueBytes, pulSecurityBytes, pWritten);
    });
}

LSTATUS RegQueryInfoKeyW(HKEY hKey, LPWSTR pClass, LPDWORD pulClassChars, LPDWORD, LPDWORD pulSubKeys, LPDWORD pulMaxSubKeyChars,
                         LPDWORD pulMaxClassChars, LPDWORD pulValues, LPDWORD pulMaxValueNameChars, LPDWORD pulMaxValueBytes,
                         LPDWORD pulSecurityBytes, PFILETIME pWritten)
{
    return lum::Answer([&] {
        return lum::QueryInfo(hKey, pClass, pulClassChars, pulSubKeys, pulMaxSubKeyChars, pulMaxClassChars, pulValues,
                              pulMaxValueNameChars, pulMaxValueBytes, pulSecurityBytes, pWritten);
    });
}
