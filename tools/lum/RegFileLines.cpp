#include "RegFileLines.h"

#include "RegFile.h"
#include "Text.h"

#include <algorithm>

namespace tool
{
RegFileLines::RegFileLines(std::string_view sBytes) : msBytes(sBytes)
{
    if (sBytes.starts_with("\xEF\xBB\xBF"))
    {
        meCoding = Coding::Utf8;
        msBytes.remove_prefix(3);
        return;
    }
    if (sBytes.starts_with("\xFE\xFF"))
        throw RegFileError(1, "the file is big-endian UTF-16: save it as little-endian UTF-16, as the registry editor does");
    if (!sBytes.starts_with("\xFF\xFE"))
    {
        // Version 4 is in the code page by definition. Version 5 without a mark comes from an editor, and those save UTF-8.
        if (!sBytes.starts_with("REGEDIT4") && WideOfUtf8(sBytes)) meCoding = Coding::Utf8;
        return;
    }

    meCoding = Coding::Utf16;
    sBytes.remove_prefix(2);
    msUnits.reserve(sBytes.size() / 2);
    for (size_t u = 0; u + 1 < sBytes.size(); u += 2)
        msUnits += static_cast<char16_t>(static_cast<unsigned char>(sBytes[u]) | static_cast<unsigned char>(sBytes[u + 1]) << 8);
    if (sBytes.size() % 2)
        throw RegFileError(1 + static_cast<size_t>(std::ranges::count(msUnits, u'\n')),
                           "the file ends inside a character: it is UTF-16 of an odd number of bytes");
}

bool RegFileLines::Next()
{
    ++muNumber;
    if (!(meCoding == Coding::Utf16 ? NextUtf16() : NextBytes())) return false;

    if (msLine.find(u'\0') != msLine.npos)
        throw RegFileError(muNumber, "a zero character stands in the text: the file is damaged, or UTF-16 without its byte-order mark");
    return true;
}

bool RegFileLines::NextUtf16()
{
    if (muNextUnit >= msUnits.size()) return false;
    const size_t uEnd = std::min(msUnits.find(u'\n', muNextUnit), msUnits.size());
    Use(std::u16string_view(msUnits).substr(muNextUnit, uEnd - muNextUnit));
    muNextUnit = uEnd + 1;
    return true;
}

bool RegFileLines::NextBytes()
{
    if (msBytes.empty()) return false;
    const size_t uEnd = std::min(msBytes.find('\n'), msBytes.size());
    const std::string_view sLine = msBytes.substr(0, uEnd);
    msBytes.remove_prefix(std::min(uEnd + 1, msBytes.size()));

    std::optional<std::u16string> sWide = meCoding == Coding::Utf8 ? WideOfUtf8(sLine) : Wide(sLine);
    if (!sWide)
        throw RegFileError(muNumber, meCoding == Coding::Utf8 ? "the text is not valid UTF-8"
                                                              : "the text is not valid in the system's code page");
    msDecoded = std::move(*sWide);
    Use(msDecoded);
    return true;
}

void RegFileLines::Use(std::u16string_view sLine)
{
    constexpr std::u16string_view kBlanks = u" \t\r";
    const size_t uFirst = sLine.find_first_not_of(kBlanks);
    msLine = uFirst == sLine.npos ? std::u16string_view() : sLine.substr(uFirst, sLine.find_last_not_of(kBlanks) - uFirst + 1);
}
} // namespace tool
