// Names in a compound file's directory. Internal to platform/linux.
#pragma once

#include "Layout.h"
#include "StorageCodes.h"

#include <string_view>

namespace lum
{
// CheckEntryName: whether a new entry may have that name.  Errors: STG_E_INVALIDNAME.
HRESULT CheckEntryName(std::u16string_view sName);

// CompareEntryNames: below 0, 0 or above, in the order of the directory: shorter ones first, then by units in upper case.
int CompareEntryNames(std::u16string_view sOne, std::u16string_view sOther);

// NameOfEntry: false when its length cannot be. None has no name.
bool NameOfEntry(const CfEntry& entry, std::u16string_view& sName);
void SetNameOfEntry(CfEntry& entry, std::u16string_view sName);
} // namespace lum
