// One printf conversion and the text of its number. Internal to the printf calls.
#pragma once

#include "Types.h"

namespace lum
{
enum class PrintSize : unsigned char { Plain, Short, Long };

// What stands between "%" and the letter, and the letter.
struct PrintSpec
{
    bool bLeft = false, bPlus = false, bBlank = false, bZero = false, bAlternate = false;
    bool bWide = false;                   // the prefix w
    bool b64 = false;                     // one of the prefixes for 64 bits
    PrintSize eSize = PrintSize::Plain;   // the last of the prefixes h and l
    int iWidth = 0;
    int iPrecision = -1;                  // -1: none given
    char cType = 0;
};

// A number in pieces: prefix, leading zeros, body, trailing zeros, suffix. The zeros are counted, not written, so that no
// precision is too large. Padding with zeros goes behind the prefix.
struct NumberText
{
    char acPrefix[4] = ""; // sign and base
    int iLeadingZeros = 0;
    char acBody[1600]; // the longest double has 309 digits before the point, the smallest 1074 behind it
    int iBody = 0;
    int iTrailingZeros = 0;
    char acSuffix[16] = ""; // exponent
};

void PrintInteger(NumberText& text, const PrintSpec& spec, ULONGLONG ullValue, bool bNegative);
void PrintDecimal(NumberText& text, const PrintSpec& spec, double dValue); // e, f, g
void PrintHexadecimal(NumberText& text, const PrintSpec& spec, double dValue); // a
} // namespace lum
