// The names of streams and storages, as people read and type them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tool
{
// From the root down; empty: the root.
using StoragePath = std::vector<std::u16string>;

// A name that can be typed again: control characters, slashes and backslashes as "\x05", what the code page lacks as "\u4840".
std::string StorageName(std::u16string_view sName);
std::string StorageName(const StoragePath& path);

// "Runs/0001/Spectrum", with "\x05" and "\u4840" for what cannot be typed. Throws Stop for what can be no name.
StoragePath StoragePathOfWord(const std::string& sWord);

// CheckNewName: throws Stop for a name that streams and storages of other programs may have, and new ones may not.
void CheckNewName(std::u16string_view sName);
} // namespace tool
