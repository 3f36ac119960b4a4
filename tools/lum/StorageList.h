// What is in a compound file, as a tree for people and as JSON for programs.
#pragma once

#include "StorageNames.h"

#include <string>

namespace tool
{
// ListStorage: a storage with all that is in it, or one stream.
void ListStorage(const std::string& sFile, const StoragePath& path, bool bJson);
} // namespace tool
