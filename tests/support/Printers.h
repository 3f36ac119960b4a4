// How a failed expectation shows our texts.
#pragma once

#include "OString.h"

#include <ostream>

inline void PrintTo(const CString& sText, std::ostream* pOut) { *pOut << '"' << static_cast<const char*>(sText) << '"'; }

inline void PrintTo(const OString& sText, std::ostream* pOut)
{
    *pOut << "u\"";
    for (int i = 0; i < sText.GetLength(); ++i)
    {
        if (sText[i] >= ' ' && sText[i] < 0x7F) *pOut << static_cast<char>(sText[i]);
        else *pOut << "\\x" << std::hex << sText[i] << std::dec;
    }
    *pOut << '"';
}
