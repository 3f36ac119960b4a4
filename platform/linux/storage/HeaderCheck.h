// The header of a compound file. Internal to platform/linux.
#pragma once

#include "Layout.h"
#include "StorageBytes.h"
#include "StorageCodes.h"

namespace lum
{
// ReadHeader: whatever stands there; zeros where the file ends.  Errors: STG_E_INVALIDHEADER (it ends there), STG_E_READFAULT.
HRESULT ReadHeader(StorageBytes& bytes, CfHeader& header);

// CheckHeader: whether it is one that we know, whatever follows it in the file.
//   Errors: STG_E_INVALIDHEADER, STG_E_OLDFORMAT (of the time before the format was settled), STG_E_OLDDLL (of a later version).
HRESULT CheckHeader(const CfHeader& header);

// NewHeader: of an empty file of version 3 or 4.
CfHeader NewHeader(WORD uwVersion);
} // namespace lum
