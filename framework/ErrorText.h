// How an exception gives its text. Internal to framework/.
#pragma once

#include "Platform.h"

#include <cstring>

// AfxGiveErrorText: copies sText, cut to uMaxChars with its terminator; *puHelpContext, when asked for, is 0.
inline void AfxGiveErrorText(const char* pSource, char* pText, UINT uMaxChars, UINT* puHelpContext)
{
    if (puHelpContext) *puHelpContext = 0;
    if (!pText || uMaxChars == 0) return;
    const std::size_t ulRoom = uMaxChars - 1;
    const std::size_t ulLength = std::strlen(pSource) < ulRoom ? std::strlen(pSource) : ulRoom;
    std::memcpy(pText, pSource, ulLength);
    pText[ulLength] = 0;
}
