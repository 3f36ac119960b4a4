// What a file holds, copied as a whole. Internal to platform/linux.
#pragma once

#include "CompoundFile.h"

namespace lum
{
// CopyContents: the root's properties and all that it holds, into the empty root of another file.
HRESULT CopyContents(CompoundFile& from, CompoundFile& to);
} // namespace lum
