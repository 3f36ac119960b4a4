// Exhausted memory, for large blocks alone, so that a test can go on while it lasts.
#pragma once

#include <cstddef>
#include <vector>

// While one lives, the library gets no block of 2 GiB or more; smaller ones are there.
//   Linux: the process has no room left in its address space.
//   Windows: the library's allocation calls are answered with null.
class NoLargeBlocks
{
public:
    NoLargeBlocks();
    ~NoLargeBlocks();
    NoLargeBlocks(const NoLargeBlocks&) = delete;
    NoLargeBlocks& operator=(const NoLargeBlocks&) = delete;

    static constexpr std::size_t kulLarge = std::size_t{1} << 31;

private:
    struct Range
    {
        void* pStart;
        std::size_t ulBytes;
    };
    std::vector<Range> mTaken; // reserved, never touched
};
