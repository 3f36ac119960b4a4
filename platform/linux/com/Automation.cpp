#include "Automation.h"

#include "../kernel/Text.h"

#include <cstdlib>
#include <cstring>

namespace
{
// What stands in front of the text. 64 bits wide, so that the text keeps the alignment of the block.
struct OTextHeader
{
    std::uint32_t ulUnused;
    std::uint32_t ulBytes;
};
static_assert(sizeof(OTextHeader) == 8);

OTextHeader* HeaderOf(BSTR pText) { return reinterpret_cast<OTextHeader*>(pText) - 1; }
} // namespace

BSTR SysAllocString(const OLECHAR* pText)
{
    return pText ? SysAllocStringLen(pText, static_cast<UINT>(wcslen(pText))) : nullptr;
}

BSTR SysAllocStringLen(const OLECHAR* pText, UINT ulUnits)
{
    constexpr UINT kulMostUnits = (UINT32_MAX - sizeof(OTextHeader) - sizeof(OLECHAR)) / sizeof(OLECHAR);
    if (ulUnits > kulMostUnits) return nullptr;

    const std::size_t ulBytes = ulUnits * sizeof(OLECHAR);
    auto* pHeader = static_cast<OTextHeader*>(std::malloc(sizeof(OTextHeader) + ulBytes + sizeof(OLECHAR)));
    if (!pHeader) return nullptr;
    *pHeader = {0, static_cast<std::uint32_t>(ulBytes)};
    BSTR pResult = reinterpret_cast<BSTR>(pHeader + 1);
    if (pText) std::memcpy(pResult, pText, ulBytes);
    pResult[ulUnits] = 0;
    return pResult;
}

INT SysReAllocStringLen(BSTR* ppText, const OLECHAR* pText, UINT ulUnits)
{
    BSTR pNew = SysAllocStringLen(pText, ulUnits);
    if (!pNew) return FALSE;
    SysFreeString(*ppText);
    *ppText = pNew;
    return TRUE;
}

void SysFreeString(BSTR pText)
{
    if (pText) std::free(HeaderOf(pText));
}

UINT SysStringLen(BSTR pText) { return SysStringByteLen(pText) / sizeof(OLECHAR); }

UINT SysStringByteLen(BSTR pText) { return pText ? HeaderOf(pText)->ulBytes : 0; }
