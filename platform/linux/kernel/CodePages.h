// The conversions behind the code-page calls. Internal to platform/linux.
//
//  * Each makes as much as there is room for and says how much that was; with pTo null it only counts.
//  * A conversion stops at the first character that does not fit whole, or that strictness refuses.
#pragma once

#include "Types.h"

namespace lum
{
struct Conversion
{
    std::size_t ulMade = 0;  // units or bytes
    DWORD ulError = 0;       // ERROR_INSUFFICIENT_BUFFER, ERROR_NO_UNICODE_TRANSLATION or 0
    bool bReplaced = false;  // something took the place of a character that the target lacks
};

constexpr std::size_t kulAnyRoom = ~std::size_t{0};

enum class Misfit : unsigned char { Replace, LookAlike, Refuse };

Conversion Utf8ToWide(const char* pText, std::size_t ulBytes, WCHAR* pTo, std::size_t ulRoom, Misfit eMisfit);
Conversion WideToUtf8(const WCHAR* pWide, std::size_t ulUnits, char* pTo, std::size_t ulRoom, Misfit eMisfit);

// The Western page, 1252: every byte has its unit.
Conversion WesternToWide(const char* pText, std::size_t ulBytes, WCHAR* pTo, std::size_t ulRoom);
Conversion WideToWestern(const WCHAR* pWide, std::size_t ulUnits, char* pTo, std::size_t ulRoom, Misfit eMisfit, char cDefault);

// The process's narrow page.
Conversion NarrowToWide(const char* pText, std::size_t ulBytes, WCHAR* pTo, std::size_t ulRoom);
Conversion WideToNarrow(const WCHAR* pWide, std::size_t ulUnits, char* pTo, std::size_t ulRoom, Misfit eMisfit);

// How many bytes of a text in the narrow page make ulUnits units, or all of it; reads no further than that.
std::size_t NarrowBytes(const char* pText, std::size_t ulUnits);
} // namespace lum
