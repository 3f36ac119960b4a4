// Names of events, mutexes and mappings that no other test has.
#pragma once

#include "Platform.h"

#include <atomic>
#include <string>

inline std::string ObjectName(const char* pWhat)
{
    static std::atomic<int> iNext{0};
    return std::string("lum-") + pWhat + '-' + std::to_string(GetCurrentProcessId()) + '-' + std::to_string(++iNext);
}
