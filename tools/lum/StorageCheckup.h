// What is damaged in compound files.
#pragma once

#include <string>
#include <vector>

namespace tool
{
// CheckStorages: a line for each damage, and one for a file without any. Every file has its turn. Throws Stop: the answer is no
// when something is damaged, a failure when a file cannot be checked at all.
void CheckStorages(const std::vector<std::string>& files, bool bJson);
} // namespace tool
