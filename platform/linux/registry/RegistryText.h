// Text on its way out to a caller, in units or in the narrow page. Internal to platform/linux.
#pragma once

#include "../kernel/CodePages.h"

#include "Registry.h"

#include <cstring>
#include <string_view>

namespace lum
{
inline bool IsText(DWORD ulType) { return ulType == REG_SZ || ulType == REG_EXPAND_SZ || ulType == REG_MULTI_SZ; }

// How many characters some units take, and writing them.
inline std::size_t CharsOf(std::u16string_view sUnits, const WCHAR*) { return sUnits.size(); }
inline void CopyChars(std::u16string_view sUnits, WCHAR* pTo, std::size_t ulRoom)
{
    std::memcpy(pTo, sUnits.data(), sizeof(WCHAR) * std::min(sUnits.size(), ulRoom));
}

inline std::size_t CharsOf(std::u16string_view sUnits, const char*)
{
    return WideToNarrow(reinterpret_cast<const WCHAR*>(sUnits.data()), sUnits.size(), nullptr, kulAnyRoom, Misfit::LookAlike).ulMade;
}
inline void CopyChars(std::u16string_view sUnits, char* pTo, std::size_t ulRoom)
{
    WideToNarrow(reinterpret_cast<const WCHAR*>(sUnits.data()), sUnits.size(), pTo, ulRoom, Misfit::LookAlike);
}

// GiveName: a name with its terminator, into *pulChars characters of room; *pulChars becomes its length without it.
//   ERROR_MORE_DATA: it does not fit, and nothing was written.
template <class Char>
LSTATUS GiveName(std::u16string_view sName, Char* pTo, LPDWORD pulChars)
{
    const std::size_t ulChars = CharsOf(sName, pTo);
    if (ulChars >= *pulChars) return ERROR_MORE_DATA;
    CopyChars(sName, pTo, ulChars);
    pTo[ulChars] = 0;
    *pulChars = static_cast<DWORD>(ulChars);
    return ERROR_SUCCESS;
}
} // namespace lum
