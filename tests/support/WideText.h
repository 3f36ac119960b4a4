// Wide text in tests: literals for the platform's calls, and their answers as something that can be compared and printed.
#pragma once

#include "Platform.h"

#include <string>
#include <string_view>

inline const WCHAR* W(const char16_t* pText) { return reinterpret_cast<const WCHAR*>(pText); }
inline WCHAR* W(char16_t* pText) { return reinterpret_cast<WCHAR*>(pText); }

inline std::u16string Units(const WCHAR* pText, std::size_t ulUnits)
{
    return std::u16string(reinterpret_cast<const char16_t*>(pText), ulUnits);
}

// ASCII as wide text.
inline std::u16string Widen(std::string_view sText) { return std::u16string(sText.begin(), sText.end()); }

// Small numbers that repeat from run to run.
class ORepeatable
{
public:
    unsigned Below(unsigned uLimit)
    {
        mulState = mulState * 6364136223846793005u + 1442695040888963407u;
        return static_cast<unsigned>(mulState >> 33) % uLimit;
    }

private:
    unsigned long long mulState = 1;
};
