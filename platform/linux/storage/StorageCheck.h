// Walks through everything in a compound file and says what is wrong, and where. Internal to platform/linux.
#pragma once

#include "StorageBytes.h"

#include <string>
#include <vector>

namespace lum
{
struct StorageFinding
{
    std::string sWhere; // "header", "stream Runs/0001", "sector 12" ...; names as UTF-8
    std::string sWhat;
};

// CheckStorage: what it found, in the order of the walk; nothing for a sound file. Writes nothing. Memory: about five bytes for
//   each sector. It tells of a thousand things at most, and of sectors that belong to nobody the first and how many.
//   Errors: those of CompoundFile::Open, when there is no way to begin.
HRESULT CheckStorage(StorageBytes& bytes, std::vector<StorageFinding>& findings);
} // namespace lum
