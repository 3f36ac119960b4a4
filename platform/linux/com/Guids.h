// Identifiers of classes and interfaces, and their text.
#pragma once

#include "Automation.h"

struct GUID
{
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];
};
static_assert(sizeof(GUID) == 16);

using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;
using LPGUID = GUID*;
using LPIID = IID*;
using LPCLSID = CLSID*;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;

inline constexpr GUID GUID_NULL{};
#define IID_NULL GUID_NULL
#define CLSID_NULL GUID_NULL

constexpr bool operator==(REFGUID a, REFGUID b)
{
    if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) return false;
    for (int i = 0; i < 8; ++i)
        if (a.Data4[i] != b.Data4[i]) return false;
    return true;
}
constexpr BOOL IsEqualGUID(REFGUID a, REFGUID b) { return a == b; }
constexpr BOOL IsEqualIID(REFIID a, REFIID b) { return a == b; }
constexpr BOOL IsEqualCLSID(REFCLSID a, REFCLSID b) { return a == b; }

// StringFromGUID2: "{00112233-4455-6677-8899-AABBCCDDEEFF}" and its zero, capital letters. Returns the 39 units, or 0 when
//   there is room for fewer.
INT StringFromGUID2(REFGUID guid, LPOLESTR pText, INT iUnits);

// CLSIDFromString, IIDFromString: from such text, letters of any case. Null is the identifier of all zeros.
//   Errors: CO_E_CLASSSTRING; E_INVALIDARG (of another length), CO_E_IIDSTRING. *pResult is all zeros then.
//   Not provided: names of classes.
HRESULT CLSIDFromString(LPCOLESTR pText, LPCLSID pResult);
HRESULT IIDFromString(LPCOLESTR pText, LPIID pResult);
