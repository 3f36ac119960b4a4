#include "Memory.h"

#include "Error.h"

#include <cstdlib>
#include <cstring>

HLOCAL LocalAlloc(UINT uFlags, SIZE_T ulBytes)
{
    void* pMemory = uFlags & LMEM_ZEROINIT ? std::calloc(1, ulBytes ? ulBytes : 1) : std::malloc(ulBytes ? ulBytes : 1);
    if (!pMemory) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return pMemory;
}

HLOCAL LocalFree(HLOCAL hMemory)
{
    std::free(hMemory);
    return nullptr;
}

PVOID SecureZeroMemory(PVOID pMemory, SIZE_T ulBytes)
{
    explicit_bzero(pMemory, ulBytes);
    return pMemory;
}
