#include "TaskMemory.h"

#include <cstdlib>

LPVOID CoTaskMemAlloc(SIZE_T ulBytes) { return std::malloc(ulBytes > 0 ? ulBytes : 1); }

LPVOID CoTaskMemRealloc(LPVOID pBlock, SIZE_T ulBytes)
{
    if (pBlock && ulBytes == 0)
    {
        std::free(pBlock);
        return nullptr;
    }
    return std::realloc(pBlock, ulBytes > 0 ? ulBytes : 1);
}

void CoTaskMemFree(LPVOID pBlock) { std::free(pBlock); }
