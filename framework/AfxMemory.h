// The framework's allocation: memory, or its memory exception.
#pragma once

#include "Platform.h"

#include <cstdlib>

// AfxThrowMemoryException: throws a CMemoryException*; works when no memory is left.
[[noreturn]] void AfxThrowMemoryException();

// AfxAllocate: ulBytes of memory, to be given back with AfxFree; throws CMemoryException* when there is none.
inline void* AfxAllocate(std::size_t ulBytes)
{
    void* pBlock = std::malloc(ulBytes);
    if (!pBlock) AfxThrowMemoryException();
    return pBlock;
}

inline void AfxFree(void* pBlock) { std::free(pBlock); }
