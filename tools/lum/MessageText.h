// Texts of the resource library.
#pragma once

#include <optional>
#include <string>

namespace tool
{
// MessageText: the text of a code, its id filled in; empty when the library has none.
std::optional<std::u16string> MessageText(unsigned int uId);
} // namespace tool
