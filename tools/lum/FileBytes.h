// Whole files, read and replaced.
#pragma once

#include <string>
#include <string_view>

namespace tool
{
// Both throw Stop with the system's reason.
std::string ReadFileBytes(const std::string& sPath);

// The new contents stand under the name as a whole or not at all, after a power cut too. A pipe or a device is written to.
void ReplaceFileBytes(const std::string& sPath, std::string_view sBytes);
} // namespace tool
