// A name by which the file of a descriptor can be opened again. Internal to platform/linux.
#pragma once

#include <cstdio>

namespace lum
{
// Needs no memory.
class DescriptorPath
{
public:
    explicit DescriptorPath(int fd) { std::snprintf(macPath, sizeof macPath, "/proc/self/fd/%d", fd); }
    operator const char*() const { return macPath; }

private:
    char macPath[32];
};
} // namespace lum
