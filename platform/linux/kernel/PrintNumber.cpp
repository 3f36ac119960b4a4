#include "PrintNumber.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace
{
using namespace lum;

constexpr int kiFractionBits = 52;
constexpr int kiExponentBias = 1023;
constexpr int kiHexDigits = kiFractionBits / 4;

// The digits of a number and how many of them stand before the point (none or fewer: zeros follow the point).
// Rounding works on the digits as characters, which is what gives shortened infinities their odd look.
class Digits
{
public:
    explicit Digits(double dMagnitude);

    void Round(int iKeep)
    {
        if (iKeep >= miCount) return;
        const bool bUp = iKeep >= 0 && mpFirst[iKeep] >= '5';
        miCount = std::max(iKeep, 0);
        if (bUp) AddOne();
    }
    void DropTrailingZeros()
    {
        while (miCount && mpFirst[miCount - 1] == '0') --miCount;
    }
    bool IsSpecial() const { return mbSpecial; }
    int Point() const { return miPoint; }
    int Count() const { return miCount; }
    char At(int iIndex) const { return iIndex >= 0 && iIndex < miCount ? mpFirst[iIndex] : '0'; }

private:
    void AddOne()
    {
        int i = miCount - 1;
        for (; i >= 0 && mpFirst[i] == '9'; --i) mpFirst[i] = '0';
        if (i >= 0)
        {
            ++mpFirst[i];
            return;
        }
        *--mpFirst = '1';
        ++miCount;
        ++miPoint;
    }

    char macText[1 + 310 + 1075 + 1]; // one place in front for a carry
    char* mpFirst = macText + 1;
    int miCount = 0;
    int miPoint = 1;
    bool mbSpecial = false;
};

Digits::Digits(double dMagnitude)
{
    if (!std::isfinite(dMagnitude))
    {
        const char* pText = std::isinf(dMagnitude) ? "1#INF" : std::signbit(dMagnitude) ? "1#IND" : "1#QNAN";
        miCount = static_cast<int>(std::strlen(pText));
        std::memcpy(mpFirst, pText, static_cast<std::size_t>(miCount));
        mbSpecial = true;
        return;
    }
    if (dMagnitude == 0) return;

    // A double is a whole number of 2^-n for the smallest n that fits, and so has exactly n decimals.
    const std::uint64_t ulBits = std::bit_cast<std::uint64_t>(dMagnitude);
    const int iExponent = static_cast<int>(ulBits >> kiFractionBits);
    const std::uint64_t ulFraction = ulBits & ((std::uint64_t{1} << kiFractionBits) - 1);
    const int iTrailing = std::countr_zero(ulFraction | std::uint64_t{1} << kiFractionBits);
    const int iScale = std::max(iExponent, 1) - kiExponentBias - kiFractionBits;
    const int iDecimals = std::max(0, -(iScale + iTrailing));

    char* pEnd = std::to_chars(mpFirst, std::end(macText), dMagnitude, std::chars_format::fixed, iDecimals).ptr;
    char* pPoint = std::find(mpFirst, pEnd, '.');
    miPoint = static_cast<int>(pPoint - mpFirst);
    if (pPoint != pEnd) pEnd = std::copy(pPoint + 1, pEnd, pPoint);
    char* pLeading = std::find_if(mpFirst, pEnd, [](char c) { return c != '0'; });
    miPoint -= static_cast<int>(pLeading - mpFirst);
    mpFirst = pLeading;
    miCount = static_cast<int>(pEnd - mpFirst);
}

const char* Sign(const PrintSpec& spec, bool bNegative)
{
    return bNegative ? "-" : spec.bPlus ? "+" : spec.bBlank ? " " : "";
}

// Digits iFrom to iFrom + iCount into the body: what lies before and behind the number's own is zeros.
void PutDigits(NumberText& text, const Digits& digits, int iFrom, int iCount)
{
    for (int i = iFrom; i < iFrom + iCount; ++i) text.acBody[text.iBody++] = digits.At(i);
}

// The point and iDecimals digits from iFrom on; those behind the last digit are only counted.
void PutDecimals(NumberText& text, const Digits& digits, int iFrom, int iDecimals, bool bAlways)
{
    if (iDecimals > 0 || bAlways) text.acBody[text.iBody++] = '.';
    const int iWritten = std::clamp(digits.Count() - iFrom, 0, iDecimals);
    PutDigits(text, digits, iFrom, iWritten);
    text.iTrailingZeros = iDecimals - iWritten;
}

void PutFixed(NumberText& text, const Digits& digits, int iDecimals, bool bPoint)
{
    const int iPoint = digits.Count() ? digits.Point() : 1;
    if (iPoint > 0) PutDigits(text, digits, 0, iPoint);
    else text.acBody[text.iBody++] = '0';
    PutDecimals(text, digits, iPoint, iDecimals, bPoint);
}

void PutScientific(NumberText& text, const Digits& digits, int iDecimals, bool bPoint, char cLetter)
{
    PutDigits(text, digits, 0, 1);
    PutDecimals(text, digits, 1, iDecimals, bPoint);
    const int iExponent = digits.Count() ? digits.Point() - 1 : 0;
    std::snprintf(text.acSuffix, sizeof text.acSuffix, "%c%c%03d", cLetter, iExponent < 0 ? '-' : '+', std::abs(iExponent));
}

void PutGeneral(NumberText& text, Digits& digits, const PrintSpec& spec)
{
    const bool bSpecialInFull = digits.IsSpecial() && spec.iPrecision <= 0;
    const int iDigits = bSpecialInFull ? digits.Count() : spec.iPrecision < 0 ? 6 : std::max(spec.iPrecision, 1);
    digits.Round(iDigits);
    const int iExponent = digits.Count() ? digits.Point() - 1 : 0;
    if (!spec.bAlternate) digits.DropTrailingZeros();

    const bool bScientific = iExponent < -4 || iExponent >= iDigits;
    const int iWanted = spec.bAlternate ? iDigits : digits.Count();
    const int iDecimals = std::max(0, bScientific ? iWanted - 1 : iWanted - 1 - iExponent);
    const bool bPoint = spec.bAlternate && !digits.IsSpecial();
    if (bScientific) PutScientific(text, digits, iDecimals, bPoint, spec.cType == 'G' ? 'E' : 'e');
    else PutFixed(text, digits, iDecimals, bPoint);
}
} // namespace

namespace lum
{
void PrintInteger(NumberText& text, const PrintSpec& spec, ULONGLONG ullValue, bool bNegative)
{
    const bool bHex = spec.cType == 'x' || spec.cType == 'X';
    const int iBase = bHex ? 16 : spec.cType == 'o' ? 8 : 10;
    if (ullValue || spec.iPrecision != 0)
    {
        char* pEnd = std::to_chars(text.acBody, std::end(text.acBody), ullValue, iBase).ptr;
        text.iBody = static_cast<int>(pEnd - text.acBody);
        if (spec.cType == 'X') std::transform(text.acBody, pEnd, text.acBody, [](char c) { return c >= 'a' ? static_cast<char>(c - 32) : c; });
    }
    text.iLeadingZeros = std::max(0, spec.iPrecision - text.iBody);

    const char* pBase = "";
    if (spec.bAlternate && ullValue && bHex) pBase = spec.cType == 'x' ? "0x" : "0X";
    if (spec.bAlternate && ullValue && iBase == 8 && !text.iLeadingZeros) pBase = "0";
    const bool bSigned = spec.cType == 'd' || spec.cType == 'i';
    std::strcpy(text.acPrefix, bSigned ? Sign(spec, bNegative) : pBase);
}

void PrintDecimal(NumberText& text, const PrintSpec& spec, double dValue)
{
    std::strcpy(text.acPrefix, Sign(spec, std::signbit(dValue)));
    Digits digits(std::isnan(dValue) ? dValue : std::fabs(dValue));
    const int iDecimals = spec.iPrecision < 0 ? 6 : spec.iPrecision;
    const bool bPoint = spec.bAlternate && !digits.IsSpecial();
    switch (spec.cType)
    {
    case 'f':
        digits.Round(iDecimals > 2000 ? 2000 : digits.Point() + iDecimals);
        return PutFixed(text, digits, iDecimals, bPoint);
    case 'e':
    case 'E':
        digits.Round(iDecimals > 2000 ? 2000 : iDecimals + 1);
        return PutScientific(text, digits, iDecimals, bPoint, spec.cType);
    default:
        return PutGeneral(text, digits, spec);
    }
}

void PrintHexadecimal(NumberText& text, const PrintSpec& spec, double dValue)
{
    const bool bUpper = spec.cType == 'A';
    std::strcat(std::strcpy(text.acPrefix, Sign(spec, std::signbit(dValue))), bUpper ? "0X" : "0x");
    const int iDecimals = spec.iPrecision < 0 ? kiHexDigits : spec.iPrecision;
    if (!std::isfinite(dValue))
    {
        Digits digits(std::isnan(dValue) ? dValue : std::fabs(dValue));
        digits.Round(iDecimals > 2000 ? 2000 : iDecimals + 1);
        PutFixed(text, digits, iDecimals, false);
        std::strcpy(text.acSuffix, bUpper ? "P+0" : "p+0");
        return;
    }

    const std::uint64_t ulBits = std::bit_cast<std::uint64_t>(std::fabs(dValue));
    const int iExponent = static_cast<int>(ulBits >> kiFractionBits);
    std::uint64_t ulValue = ulBits & ((std::uint64_t{1} << kiFractionBits) - 1);
    if (iExponent) ulValue |= std::uint64_t{1} << kiFractionBits;
    const int iShown = std::min(iDecimals, kiHexDigits);
    if (const int iDropped = 4 * (kiHexDigits - iShown)) // rounded up from a half; the first digit may become a 2
    {
        ulValue = ((ulValue >> (iDropped - 1)) + 1) >> 1;
    }
    char acDigits[kiHexDigits + 2];
    std::snprintf(acDigits, sizeof acDigits, bUpper ? "%0*llX" : "%0*llx", iShown + 1, static_cast<unsigned long long>(ulValue));
    text.acBody[text.iBody++] = acDigits[0];
    if (iDecimals || spec.bAlternate) text.acBody[text.iBody++] = '.';
    std::memcpy(text.acBody + text.iBody, acDigits + 1, static_cast<std::size_t>(iShown));
    text.iBody += iShown;
    text.iTrailingZeros = iDecimals - iShown;
    const int iPower = !ulBits ? 0 : std::max(iExponent, 1) - kiExponentBias;
    std::snprintf(text.acSuffix, sizeof text.acSuffix, "%c%+d", bUpper ? 'P' : 'p', iPower);
}
} // namespace lum
