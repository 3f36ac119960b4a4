// The library's exceptions as lines of text.
#pragma once

#include <string>

namespace tool
{
// LibraryErrorText: what the exception in flight says; call it in a handler only. Library and framework exceptions are
// deleted; any other exception is thrown on.
std::string LibraryErrorText();
} // namespace tool
