// Wide text copied, changed in place and read as a number.
#include "Text.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace
{
// White space as wide text knows it, which is more than the multibyte test knows.
bool IsSpace(WCHAR uw)
{
    if (uw - 0x09u < 5 || uw == ' ' || uw == 0xA0) return true;
    return uw == 0x1680 || (uw >= 0x2000 && uw <= 0x200A) || uw == 0x2028 || uw == 0x2029 || uw == 0x202F || uw == 0x205F || uw == 0x3000;
}

// The value of a decimal digit in the scripts that the runtime reads, else -1.
int DigitValue(WCHAR uw)
{
    static constexpr WCHAR kauwZeros[] = {'0',    0x0660, 0x06F0, 0x0966, 0x09E6, 0x0A66, 0x0AE6, 0x0B66, 0x0C66, 0x0CE6,
                                          0x0D66, 0x0E50, 0x0ED0, 0x0F20, 0x1040, 0x17E0, 0x1810, 0xFF10};
    for (WCHAR uwZero : kauwZeros)
    {
        if (uw - uwZero + 0u < 10) return uw - uwZero;
    }
    return -1;
}
} // namespace

WCHAR* wcscpy(WCHAR* pTo, const WCHAR* pFrom)
{
    std::memcpy(pTo, pFrom, (wcslen(pFrom) + 1) * sizeof(WCHAR));
    return pTo;
}

WCHAR* wcsncpy(WCHAR* pTo, const WCHAR* pFrom, std::size_t ulUnits)
{
    std::size_t ul = 0;
    for (; ul < ulUnits && pFrom[ul]; ++ul) pTo[ul] = pFrom[ul];
    std::fill(pTo + ul, pTo + ulUnits, WCHAR{0});
    return pTo;
}

WCHAR* _wcsupr(WCHAR* pText)
{
    for (WCHAR* p = pText; *p; ++p)
    {
        if (*p - 'a' + 0u < 26) *p = static_cast<WCHAR>(*p - 'a' + 'A');
    }
    return pText;
}

WCHAR* _wcslwr(WCHAR* pText)
{
    for (WCHAR* p = pText; *p; ++p)
    {
        if (*p - 'A' + 0u < 26) *p = static_cast<WCHAR>(*p - 'A' + 'a');
    }
    return pText;
}

WCHAR* _wcsrev(WCHAR* pText)
{
    std::reverse(pText, pText + wcslen(pText));
    return pText;
}

int _wtoi(const WCHAR* pText)
{
    while (IsSpace(*pText)) ++pText;
    const bool bMinus = *pText == '-';
    if (*pText == '-' || *pText == '+') ++pText;

    constexpr LONGLONG klMost = std::numeric_limits<int>::max();
    LONGLONG lValue = 0;
    for (int iDigit = DigitValue(*pText); iDigit >= 0 && lValue <= klMost; iDigit = DigitValue(*++pText))
    {
        lValue = lValue * 10 + iDigit;
    }
    return static_cast<int>(bMinus ? -std::min(lValue, klMost + 1) : std::min(lValue, klMost));
}
