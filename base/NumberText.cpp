#include "NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

static bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

namespace
{
struct OSigned
{
    const char* pDigits; // behind white space and sign
    bool bNegative;
};
} // namespace

static OSigned SkipToDigits(const char* pText)
{
    while (IsBlank(*pText)) ++pText;
    const bool bNegative = *pText == '-';
    if (bNegative || *pText == '+') ++pText;
    return {pText, bNegative};
}

// Of a number that no double can hold: whether it is too great. Otherwise it is too small.
static bool IsTooGreat(const char* pText)
{
    long long llMagnitude = 0; // the power of ten of the first digit that counts
    while (*pText == '0') ++pText;
    for (; IsDigit(*pText); ++pText) ++llMagnitude;
    if (*pText == '.')
    {
        ++pText;
        if (llMagnitude == 0)
            for (; *pText == '0'; ++pText) --llMagnitude;
        while (IsDigit(*pText)) ++pText;
    }
    const bool bExponent = *pText == 'e' || *pText == 'E';
    return llMagnitude + (bExponent ? ToInt(pText + 1) : 0) > 0;
}

double ToDouble(const char* pText)
{
    const auto [pDigits, bNegative] = SkipToDigits(pText);
    if (!IsDigit(*pDigits) && *pDigits != '.') return 0.0;

    double fValue = 0.0;
    const std::from_chars_result result = std::from_chars(pDigits, pDigits + std::strlen(pDigits), fValue);
    if (result.ec == std::errc::result_out_of_range) fValue = IsTooGreat(pDigits) ? HUGE_VAL : 0.0;
    return bNegative ? -fValue : fValue;
}

int ToInt(const char* pText)
{
    const auto [pDigits, bNegative] = SkipToDigits(pText);
    constexpr long long kllLimit = std::numeric_limits<int>::max();
    const long long llMost = bNegative ? kllLimit + 1 : kllLimit;
    long long llValue = 0;
    for (const char* p = pDigits; IsDigit(*p) && llValue < llMost; ++p) llValue = llValue * 10 + (*p - '0');
    if (llValue > llMost) llValue = llMost;
    return static_cast<int>(bNegative ? -llValue : llValue);
}

CString ToText(double fValue, int iPrecision)
{
    constexpr int kiMostFront = 1 + std::numeric_limits<double>::max_exponent10 + 2; // sign, digits, point
    constexpr int kiMostPrecision = 1 << 20;                                         // nothing but zeros long before that
    iPrecision = iPrecision < 0 ? 6 : std::min(iPrecision, kiMostPrecision);
    CString sText;
    char* pText = sText.GetBuffer(kiMostFront + iPrecision);
    const std::to_chars_result result =
        std::to_chars(pText, pText + kiMostFront + iPrecision, fValue, std::chars_format::fixed, iPrecision);
    sText.ReleaseBuffer(static_cast<int>(result.ptr - pText));
    return sText;
}
