// What a storage of a file holds, gone or copied as a whole. Internal to platform/linux.
#pragma once

#include "CompoundFile.h"

namespace lum
{
// EmptyStorage: removes all that it holds.
HRESULT EmptyStorage(CompoundFile& file, ULONG ulStorage);
// CopyContents: the root's properties and all that it holds, into the empty root of another file.
HRESULT CopyContents(CompoundFile& from, CompoundFile& to);
} // namespace lum
