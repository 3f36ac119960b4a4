// Text between the registry's 16-bit units, the code page of the system and UTF-8.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tool
{
// In the system's code page, for people; what it cannot express becomes its substitute.
std::string Narrow(std::u16string_view sText);

// In the system's code page, nothing lost; empty when it cannot express the text.
std::optional<std::string> NarrowExactly(std::u16string_view sText);

// With control characters spelled out ("\n", "\x1b"), so that a text keeps to its line and a terminal does not obey it.
std::string Visible(std::string_view sText);

// In UTF-8, for JSON.
std::string Utf8(std::u16string_view sText);
std::string Utf8(std::string_view sCodePageText);

// From the system's code page or UTF-8; empty when the bytes are not valid in it.
std::optional<std::u16string> Wide(std::string_view sCodePageText);
std::optional<std::u16string> WideOfUtf8(std::string_view sText);

bool EqualNoCase(std::string_view sLeft, std::string_view sRight); // ASCII letters alike
} // namespace tool
