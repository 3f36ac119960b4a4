// Which modes a root storage can be made and opened in. Internal to platform/linux.
#pragma once

#include "StorageCodes.h"

namespace lum
{
// CheckCreateMode, CheckOpenMode: of a root.
//   Errors: STG_E_INVALIDFLAG; STG_E_INVALIDFUNCTION (a priority open that is to delete the file).
HRESULT CheckCreateMode(DWORD ulMode);
HRESULT CheckOpenMode(DWORD ulMode);
} // namespace lum
