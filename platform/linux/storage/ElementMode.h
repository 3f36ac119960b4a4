// What the mode of an element of a storage may be. Internal to platform/linux.
#pragma once

#include "Interfaces.h"

namespace lum
{
enum ElementCall : unsigned
{
    kCreateStream = 1,
    kOpenStream = 2,
    kCreateStorage = 4,
    kOpenStorage = 8
};

// CheckElementMode: STG_E_INVALIDFLAG (no mode at all), STG_E_INVALIDFUNCTION (one that elements do not have).
HRESULT CheckElementMode(ElementCall eCall, DWORD ulMode);

// CheckElementAccess: whether what was opened that way may give out an element of that mode.  Errors: STG_E_ACCESSDENIED.
HRESULT CheckElementAccess(DWORD ulStorageMode, DWORD ulMode);

constexpr DWORD kulCommitFlags =
    STGC_OVERWRITE | STGC_ONLYIFCURRENT | STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE | STGC_CONSOLIDATE;
} // namespace lum
