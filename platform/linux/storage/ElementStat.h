// What is told of an element. Internal to platform/linux.
#pragma once

#include "OpenElement.h"

namespace lum
{
// FillStat: for Stat and for enumerations; ulMode 0 for what is not open.  Errors: STG_E_INSUFFICIENTMEMORY.
HRESULT FillStat(StorageLevel& level, const CfEntry& entry, DWORD ulMode, DWORD ulFlags, STATSTG& stat);

// FillRootStat: the same for a root, whose name and times are those of its file.
HRESULT FillRootStat(const RootFile& file, const CfEntry& entry, DWORD ulFlags, STATSTG& stat);
} // namespace lum
