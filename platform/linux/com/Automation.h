// Automation strings: 16-bit text behind a 32-bit count of its bytes, with a closing zero that is not counted.
#pragma once

#include "../kernel/Types.h"

using OLECHAR = WCHAR;

// SysAllocString: a copy up to the first zero; null for null. SysAllocStringLen: ulUnits units, filled from pText unless it is null.
//   Both: null when there is no memory. The caller owns the result and gives it back with SysFreeString.
BSTR SysAllocString(const OLECHAR* pText);
BSTR SysAllocStringLen(const OLECHAR* pText, UINT ulUnits);

// SysReAllocStringLen: replaces *ppText by ulUnits units of pText, which may lie in *ppText. FALSE, with *ppText as it was,
//   when there is no memory.
INT SysReAllocStringLen(BSTR* ppText, const OLECHAR* pText, UINT ulUnits);

void SysFreeString(BSTR pText); // null is allowed

// Units and bytes; 0 for null.
UINT SysStringLen(BSTR pText);
UINT SysStringByteLen(BSTR pText);
