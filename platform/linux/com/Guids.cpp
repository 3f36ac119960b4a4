#include "Guids.h"

#include "../kernel/Error.h"
#include "../kernel/Text.h"

#include <cstring>

namespace
{
constexpr INT kiUnits = 38; // without the zero

// A digit stands for the two of the byte that has this place in memory, anything else for itself.
constexpr char kacLayout[] = "{3210-54-76-89-abcdef}";

int DigitOf(OLECHAR c)
{
    if (c >= u'0' && c <= u'9') return c - u'0';
    if (c >= u'A' && c <= u'F') return c - u'A' + 10;
    if (c >= u'a' && c <= u'f') return c - u'a' + 10;
    return -1;
}

// False, with all zeros, for any other text. Stops at its zero.
bool Parse(LPCOLESTR pText, GUID& result)
{
    BYTE aubBytes[sizeof(GUID)];
    result = GUID_NULL;
    for (const char* pPlace = kacLayout; *pPlace; ++pPlace)
    {
        const int iPlace = DigitOf(static_cast<OLECHAR>(*pPlace));
        if (iPlace < 0)
        {
            if (*pText++ != *pPlace) return false;
            continue;
        }
        const int iHigh = DigitOf(*pText++);
        const int iLow = iHigh < 0 ? -1 : DigitOf(*pText++);
        if (iLow < 0) return false;
        aubBytes[iPlace] = static_cast<BYTE>(iHigh << 4 | iLow);
    }
    if (*pText) return false;
    std::memcpy(&result, aubBytes, sizeof result);
    return true;
}
} // namespace

INT StringFromGUID2(REFGUID guid, LPOLESTR pText, INT iUnits)
{
    if (iUnits <= kiUnits) return 0;
    BYTE aubBytes[sizeof(GUID)];
    std::memcpy(aubBytes, &guid, sizeof guid);
    constexpr char kacDigits[] = "0123456789ABCDEF";
    for (const char* pPlace = kacLayout; *pPlace; ++pPlace)
    {
        const int iPlace = DigitOf(static_cast<OLECHAR>(*pPlace));
        if (iPlace < 0)
        {
            *pText++ = static_cast<OLECHAR>(*pPlace);
            continue;
        }
        *pText++ = static_cast<OLECHAR>(kacDigits[aubBytes[iPlace] >> 4]);
        *pText++ = static_cast<OLECHAR>(kacDigits[aubBytes[iPlace] & 15]);
    }
    *pText = 0;
    return kiUnits + 1;
}

HRESULT CLSIDFromString(LPCOLESTR pText, LPCLSID pResult)
{
    *pResult = CLSID_NULL;
    return !pText || Parse(pText, *pResult) ? S_OK : CO_E_CLASSSTRING;
}

HRESULT IIDFromString(LPCOLESTR pText, LPIID pResult)
{
    *pResult = IID_NULL;
    if (!pText) return S_OK;
    if (wcslen(pText) != kiUnits) return E_INVALIDARG;
    return Parse(pText, *pResult) ? S_OK : CO_E_IIDSTRING;
}
