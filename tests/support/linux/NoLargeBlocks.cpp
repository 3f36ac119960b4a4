#include "NoLargeBlocks.h"

#include <sys/mman.h>

// The address sanitizer's allocator ends the program when there is no memory, unless it is told to answer as malloc does.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

NoLargeBlocks::NoLargeBlocks()
{
    for (std::size_t ulBytes = std::size_t{1} << 46; ulBytes >= kulLarge;)
    {
        void* pStart = mmap(nullptr, ulBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (pStart == MAP_FAILED) ulBytes /= 2;
        else mTaken.push_back({pStart, ulBytes});
    }
}

NoLargeBlocks::~NoLargeBlocks()
{
    for (const Range& range : mTaken) munmap(range.pStart, range.ulBytes);
}
