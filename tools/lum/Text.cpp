#include "Text.h"

#include "Platform.h"

#include <algorithm>
#include <cstdio>

namespace tool
{
static std::string FromWide(UINT uCodePage, std::u16string_view sText, BOOL* pbLost)
{
    const int iUnits = static_cast<int>(sText.size());
    const WCHAR* pUnits = AsWide(AsUnits(sText.data()));
    const int iBytes = iUnits ? WideCharToMultiByte(uCodePage, 0, pUnits, iUnits, nullptr, 0, nullptr, nullptr) : 0;
    std::string sResult(static_cast<size_t>(iBytes), '\0');
    if (iBytes) WideCharToMultiByte(uCodePage, 0, pUnits, iUnits, sResult.data(), iBytes, nullptr, pbLost);
    return sResult;
}

static std::optional<std::u16string> ToWide(UINT uCodePage, DWORD ulFlags, std::string_view sText)
{
    if (sText.empty()) return std::u16string();
    const int iBytes = static_cast<int>(sText.size());
    const int iUnits = MultiByteToWideChar(uCodePage, ulFlags, sText.data(), iBytes, nullptr, 0);
    if (iUnits <= 0) return std::nullopt;
    std::u16string sResult(static_cast<size_t>(iUnits), u'\0');
    MultiByteToWideChar(uCodePage, ulFlags, sText.data(), iBytes, reinterpret_cast<WCHAR*>(sResult.data()), iUnits);
    return sResult;
}

std::string Narrow(std::u16string_view sText) { return FromWide(CP_ACP, sText, nullptr); }

std::optional<std::string> NarrowExactly(std::u16string_view sText)
{
    // The way back is the proof: a best fit, such as a letter without its accent, is a loss as well.
    std::string sResult = FromWide(CP_ACP, sText, nullptr);
    if (Wide(sResult) != sText) return std::nullopt;
    return sResult;
}

std::string Utf8(std::u16string_view sText) { return FromWide(CP_UTF8, sText, nullptr); }

std::string Utf8(std::string_view sCodePageText)
{
    return Utf8(ToWide(CP_ACP, 0, sCodePageText).value_or(u"")); // no flags: what is not valid becomes its substitute
}

std::optional<std::u16string> Wide(std::string_view sCodePageText) { return ToWide(CP_ACP, MB_ERR_INVALID_CHARS, sCodePageText); }

std::optional<std::u16string> WideOfUtf8(std::string_view sText) { return ToWide(CP_UTF8, MB_ERR_INVALID_CHARS, sText); }

std::string Visible(std::string_view sText)
{
    std::string sResult;
    for (char c : sText)
    {
        const unsigned uCode = static_cast<unsigned char>(c);
        char aSpelled[8];
        if (c == '\n') sResult += "\\n";
        else if (c == '\r') sResult += "\\r";
        else if (c == '\t') sResult += "\\t";
        else if (uCode >= 0x20 && uCode != 0x7F) sResult += c;
        else sResult.append(aSpelled, static_cast<size_t>(std::snprintf(aSpelled, sizeof aSpelled, "\\x%02x", uCode)));
    }
    return sResult;
}

static char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

bool EqualNoCase(std::string_view sLeft, std::string_view sRight)
{
    return std::ranges::equal(sLeft, sRight, [](char a, char b) { return Lower(a) == Lower(b); });
}
} // namespace tool
