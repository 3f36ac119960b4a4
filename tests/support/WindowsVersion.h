// Version records that no system of today gives.
#pragma once

#include "BaseAPI.h"

#include <cstring>
#include <type_traits>

// An OOSVersion of another system: of its platform id (2 the NT family, 1 that of 95 and 98) and its version number.
inline OOSVersion VersionOf(DWORD dwPlatform, DWORD dwMajor, DWORD dwMinor = 0)
{
    OSVERSIONINFOA record{};
    record.dwOSVersionInfoSize = sizeof record;
    record.dwPlatformId = dwPlatform;
    record.dwMajorVersion = dwMajor;
    record.dwMinorVersion = dwMinor;
    OOSVersion version;
    static_assert(std::is_trivially_copyable_v<OOSVersion> && sizeof version == sizeof record);
    std::memcpy(static_cast<void*>(&version), &record, sizeof record);
    return version;
}
