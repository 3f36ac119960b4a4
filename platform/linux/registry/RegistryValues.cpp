// Reading, writing, deleting and enumerating values.
#include "RegistryHandles.h"
#include "RegistryText.h"

#include <emmintrin.h>

#include <optional>

namespace lum
{
namespace
{
// Units that are all ASCII, as bytes, eight at a time. false: one is not; pTo may hold some of it.
bool CopyAscii(const BYTE* pUnits, std::size_t ulUnits, BYTE* pTo)
{
    const __m128i beyond = _mm_set1_epi16(static_cast<short>(0xFF80));
    std::size_t i = 0;
    for (; i + 8 <= ulUnits; i += 8)
    {
        const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pUnits + 2 * i));
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(units, beyond), _mm_setzero_si128())) != 0xFFFF) return false;
        _mm_storel_epi64(reinterpret_cast<__m128i*>(pTo + i), _mm_packus_epi16(units, units));
    }
    for (; i < ulUnits; ++i)
    {
        char16_t uwUnit;
        std::memcpy(&uwUnit, pUnits + 2 * i, sizeof uwUnit);
        if (uwUnit >= 0x80) return false;
        pTo[i] = static_cast<BYTE>(uwUnit);
    }
    return true;
}

// Stored data to a caller of the A calls. pData null: only the size is asked for.
LSTATUS GiveData(const ValueView& value, LPBYTE pData, LPDWORD pulBytes, const char*)
{
    const DWORD ulRoom = pData ? *pulBytes : 0;
    if (!IsText(value.ulType))
    {
        *pulBytes = value.ulBytes;
        if (!pData) return ERROR_SUCCESS;
        if (value.ulBytes > ulRoom) return ERROR_MORE_DATA;
        std::memcpy(pData, value.pData, value.ulBytes);
        return ERROR_SUCCESS;
    }
    const std::size_t ulUnits = value.ulBytes / sizeof(WCHAR);
    std::size_t ulBytes = ulUnits; // what it is when it is all ASCII, which nearly all is
    if (!pData || ulUnits > ulRoom || !CopyAscii(value.pData, ulUnits, pData))
    {
        const std::u16string_view sUnits(reinterpret_cast<const char16_t*>(value.pData), ulUnits);
        ulBytes = CharsOf(sUnits, static_cast<const char*>(nullptr));
        if (pData && ulBytes <= ulRoom) CopyChars(sUnits, reinterpret_cast<char*>(pData), ulBytes);
    }
    *pulBytes = static_cast<DWORD>(ulBytes);
    if (!pData) return ERROR_SUCCESS;
    if (ulBytes > ulRoom) return ERROR_MORE_DATA;
    if (ulBytes > 0 && ulBytes < ulRoom && pData[ulBytes - 1] != 0) pData[ulBytes] = 0;
    return ERROR_SUCCESS;
}

// The same for the W calls.
LSTATUS GiveData(const ValueView& value, LPBYTE pData, LPDWORD pulBytes, const WCHAR*)
{
    const DWORD ulRoom = pData ? *pulBytes : 0;
    *pulBytes = value.ulBytes;
    if (!pData) return ERROR_SUCCESS;
    if (value.ulBytes > ulRoom) return ERROR_MORE_DATA;
    std::memcpy(pData, value.pData, value.ulBytes);

    constexpr DWORD kulUnit = sizeof(WCHAR);
    const bool bRoom = value.ulBytes >= kulUnit && ulRoom - value.ulBytes >= kulUnit;
    if (!IsText(value.ulType) || !bRoom) return ERROR_SUCCESS;
    BYTE* pEnd = pData + value.ulBytes;
    if (pEnd[-1] != 0 || pEnd[-2] != 0) pEnd[0] = pEnd[1] = 0;
    return ERROR_SUCCESS;
}

template <class Char>
LSTATUS QueryValue(HKEY hKey, const Char* pName, LPDWORD pReserved, LPDWORD pulType, LPBYTE pData, LPDWORD pulBytes)
{
    if (pReserved || (pData && !pulBytes)) return ERROR_INVALID_PARAMETER;
    KeyUse use;
    if (LSTATUS lStatus = UseKey(hKey, use)) return lStatus;
    if (!use.May(KEY_QUERY_VALUE)) return ERROR_ACCESS_DENIED;

    FoldedText name;
    LSTATUS lStatus = ERROR_FILE_NOT_FOUND; // for a name that no value can have
    if (name.SetName(pName))
        lStatus = use.pStore->WithValue(*use.pNode, use.llId, name,
                                        [&](const ValueView& value) -> LSTATUS
                                        {
                                            if (pulType) *pulType = value.ulType;
                                            return pulBytes ? GiveData(value, pData, pulBytes, pName) : ERROR_SUCCESS;
                                        });
    if (lStatus == ERROR_FILE_NOT_FOUND && pulBytes && !pData) *pulBytes = 0;
    return lStatus;
}

template <class Char>
LSTATUS SetValue(HKEY hKey, const Char* pName, DWORD ulType, const void* pData, DWORD ulBytes)
{
    KeyUse use;
    if (LSTATUS lStatus = UseKey(hKey, use)) return lStatus;
    if (!use.May(KEY_SET_VALUE)) return ERROR_ACCESS_DENIED;
    if (!pData && ulBytes != 0) return ERROR_NOACCESS;
    const std::u16string sName = UnitsOf(pName);
    if (sName.size() > kulMaxValueNameChars) return ERROR_INVALID_PARAMETER;
    return use.pStore->SetValue(*use.pNode, use.llId, FoldUnits(sName), sName, ulType, pData, ulBytes);
}

template <class Char>
LSTATUS DeleteValue(HKEY hKey, const Char* pName)
{
    KeyUse use;
    if (LSTATUS lStatus = UseKey(hKey, use)) return lStatus;
    if (!use.May(KEY_SET_VALUE)) return ERROR_ACCESS_DENIED;
    FoldedText name;
    if (!name.SetName(pName)) return ERROR_FILE_NOT_FOUND;
    return use.pStore->DeleteValue(*use.pNode, use.llId, name.View());
}

template <class Char>
LSTATUS EnumValue(HKEY hKey, DWORD ulIndex, Char* pName, LPDWORD pulChars, LPDWORD pReserved, LPDWORD pulType, LPBYTE pData,
                  LPDWORD pulBytes)
{
    if (!pName || !pulChars || pReserved || (pData && !pulBytes)) return ERROR_INVALID_PARAMETER;
    KeyUse use;
    if (LSTATUS lStatus = UseKey(hKey, use)) return lStatus;
    if (!use.May(KEY_QUERY_VALUE)) return ERROR_ACCESS_DENIED;

    std::optional<std::string> sLongFold; // of a value whose data is not remembered
    const auto give = [&](const ValueView& value) -> LSTATUS
    {
        if (pulType) *pulType = value.ulType;
        if (pulBytes)
            if (LSTATUS lStatus = GiveData(value, pData, pulBytes, pName)) return lStatus;
        return GiveName(value.sName, pName, pulChars);
    };
    const auto pick = [&](const ValueBlock& block) -> LSTATUS
    {
        if (ulIndex >= block.Count()) return ERROR_NO_MORE_ITEMS;
        const ValueView value = block.At(ulIndex);
        if (value.pData || !pulBytes) return give(value);
        sLongFold.emplace(value.sFold);
        return ERROR_SUCCESS;
    };
    LSTATUS lStatus = use.pStore->WithValues(*use.pNode, use.llId, pick);
    if (lStatus != ERROR_SUCCESS || !sLongFold) return lStatus;

    FoldedText fold(*sLongFold);
    return use.pStore->WithValue(*use.pNode, use.llId, fold, give);
}
} // namespace
} // namespace lum

LSTATUS RegQueryValueExA(HKEY hKey, LPCSTR pName, LPDWORD pReserved, LPDWORD pulType, LPBYTE pData, LPDWORD pulBytes)
{
    return lum::Answer([&] { return lum::QueryValue(hKey, pName, pReserved, pulType, pData, pulBytes); });
}

LSTATUS RegQueryValueExW(HKEY hKey, LPCWSTR pName, LPDWORD pReserved, LPDWORD pulType, LPBYTE pData, LPDWORD pulBytes)
{
    return lum::Answer([&] { return lum::QueryValue(hKey, pName, pReserved, pulType, pData, pulBytes); });
}

LSTATUS RegSetValueExA(HKEY hKey, LPCSTR pName, DWORD, DWORD ulType, const BYTE* pData, DWORD ulBytes)
{
    return lum::Answer(
        [&]
        {
            if (!lum::IsText(ulType) || !pData || ulBytes == 0) return lum::SetValue(hKey, pName, ulType, pData, ulBytes);
            std::u16string sUnits(ulBytes, u'\0'); // no narrow page has characters of more units than bytes
            const lum::Conversion made = lum::NarrowToWide(reinterpret_cast<const char*>(pData), ulBytes,
                                                           reinterpret_cast<WCHAR*>(sUnits.data()), ulBytes);
            return lum::SetValue(hKey, pName, ulType, sUnits.data(), static_cast<DWORD>(made.ulMade * sizeof(WCHAR)));
        });
}

LSTATUS RegSetValueExW(HKEY hKey, LPCWSTR pName, DWORD, DWORD ulType, const BYTE* pData, DWORD ulBytes)
{
    return lum::Answer([&] { return lum::SetValue(hKey, pName, ulType, pData, ulBytes); });
}

LSTATUS RegDeleteValueA(HKEY hKey, LPCSTR pName)
{
    return lum::Answer([&] { return lum::DeleteValue(hKey, pName); });
}

LSTATUS RegDeleteValueW(HKEY hKey, LPCWSTR pName)
{
    return lum::Answer([&] { return lum::DeleteValue(hKey, pName); });
}

LSTATUS RegEnumValueA(HKEY hKey, DWORD ulIndex, LPSTR pName, LPDWORD pulChars, LPDWORD pReserved, LPDWORD pulType, LPBYTE pData,
                      LPDWORD pulBytes)
{
    return lum::Answer([&] { return lum::EnumValue(hKey, ulIndex, pName, pulChars, pReserved, pulType, pData, pulBytes); });
}

LSTATUS RegEnumValueW(HKEY hKey, DWORD ulIndex, LPWSTR pName, LPDWORD pulChars, LPDWORD pReserved, LPDWORD pulType, LPBYTE pData,
                      LPDWORD pulBytes)
{
    return lum::Answer([&] { return lum::EnumValue(hKey, ulIndex, pName, pulChars, pReserved, pulType, pData, pulBytes); });
}
