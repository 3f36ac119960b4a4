#include "EntryName.h"

#include "../registry/RegistryNames.h"

#include <algorithm>

namespace lum
{
HRESULT CheckEntryName(std::u16string_view sName)
{
    if (sName.empty() || sName.size() > kulMaxNameUnits) return STG_E_INVALIDNAME;
    return sName.find_first_of(std::u16string_view(u"/\\:!\0", 5)) == sName.npos ? S_OK : STG_E_INVALIDNAME;
}

int CompareEntryNames(std::u16string_view sOne, std::u16string_view sOther)
{
    if (sOne.size() != sOther.size()) return sOne.size() < sOther.size() ? -1 : 1;
    for (std::size_t i = 0; i < sOne.size(); ++i)
    {
        if (sOne[i] == sOther[i]) continue;
        const char16_t uwOne = UpperUnit(sOne[i]), uwOther = UpperUnit(sOther[i]);
        if (uwOne != uwOther) return uwOne < uwOther ? -1 : 1;
    }
    return 0;
}

bool NameOfEntry(const CfEntry& entry, std::u16string_view& sName)
{
    if (entry.uwNameBytes < 4 || entry.uwNameBytes > sizeof entry.auwName || entry.uwNameBytes % 2 != 0) return false;
    sName = {entry.auwName, entry.uwNameBytes / 2u - 1};
    return true;
}

void SetNameOfEntry(CfEntry& entry, std::u16string_view sName)
{
    std::fill(std::begin(entry.auwName), std::end(entry.auwName), u'\0');
    std::copy(sName.begin(), sName.end(), entry.auwName);
    entry.uwNameBytes = static_cast<WORD>((sName.size() + 1) * 2);
}
} // namespace lum
