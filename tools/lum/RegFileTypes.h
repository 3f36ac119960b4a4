// What the reader and the writer of .reg files share: value types and the shape of their data.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tool
{
inline constexpr std::u16string_view kpHeader4 = u"REGEDIT4";
inline constexpr std::u16string_view kpHeader5 = u"Windows Registry Editor Version 5.00";

// The registry's own numbers.
inline constexpr std::uint32_t kulTypeText = 1;
inline constexpr std::uint32_t kulTypeExpandText = 2;
inline constexpr std::uint32_t kulTypeBinary = 3;
inline constexpr std::uint32_t kulTypeDword = 4;
inline constexpr std::uint32_t kulTypeMultiText = 7;
inline constexpr std::uint32_t kulTypeQword = 11;

// Version 4 keeps the data of these in the code page, the registry in UTF-16.
constexpr bool HoldsText(std::uint32_t ulType)
{
    return ulType == kulTypeText || ulType == kulTypeExpandText || ulType == kulTypeMultiText;
}

// Little-endian UTF-16, without and with a closing zero.
std::vector<std::uint8_t> BytesOfUnits(std::u16string_view sUnits);
std::vector<std::uint8_t> BytesOfText(std::u16string_view sText);

// The units of the data, an odd last byte left out.
std::u16string UnitsOfBytes(const std::vector<std::uint8_t>& aubData);

// "[key] ; remark" reads as a key when the remark ends in a bracket: no name of a key may look like that.
bool LooksCommented(std::u16string_view sKey);
} // namespace tool
