#include "RegFileTypes.h"

namespace tool
{
std::vector<std::uint8_t> BytesOfUnits(std::u16string_view sUnits)
{
    std::vector<std::uint8_t> aubResult;
    aubResult.reserve(sUnits.size() * 2 + 2);
    for (char16_t c : sUnits)
    {
        aubResult.push_back(static_cast<std::uint8_t>(c & 0xFF));
        aubResult.push_back(static_cast<std::uint8_t>(c >> 8));
    }
    return aubResult;
}

std::vector<std::uint8_t> BytesOfText(std::u16string_view sText)
{
    std::vector<std::uint8_t> aubResult = BytesOfUnits(sText);
    aubResult.insert(aubResult.end(), 2, 0);
    return aubResult;
}

std::u16string UnitsOfBytes(const std::vector<std::uint8_t>& aubData)
{
    std::u16string sResult;
    sResult.reserve(aubData.size() / 2);
    for (size_t u = 0; u + 1 < aubData.size(); u += 2) sResult += static_cast<char16_t>(aubData[u] | aubData[u + 1] << 8);
    return sResult;
}

bool LooksCommented(std::u16string_view sKey)
{
    for (size_t u = sKey.find(u']'); u != sKey.npos; u = sKey.find(u']', u + 1))
    {
        const size_t uNext = sKey.find_first_not_of(u" \t", u + 1);
        if (uNext != sKey.npos && sKey[uNext] == u';') return true;
    }
    return false;
}
} // namespace tool
