#include "OpenHandles.h"

#include "OpenTable.h"

#include <filesystem>
#include <iterator>

std::size_t CountOpenHandles()
{
    std::size_t ulOpen = 0;
    ForEachOpenHandle([&](HANDLE, const lum::KernelObject&) { ++ulOpen; });
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return ulOpen + static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}
