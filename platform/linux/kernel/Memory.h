// Memory that a system call hands out, such as the text of FormatMessage.
#pragma once

#include "Types.h"

#define LMEM_FIXED 0x0000
#define LMEM_ZEROINIT 0x0040
#define LPTR (LMEM_FIXED | LMEM_ZEROINIT)

// LocalAlloc: ulBytes of fixed memory. Errors: null and ERROR_NOT_ENOUGH_MEMORY. Not provided: movable memory.
HLOCAL LocalAlloc(UINT uFlags, SIZE_T ulBytes);

// LocalFree: gives it back; null is allowed. Returns null.
HLOCAL LocalFree(HLOCAL hMemory);

// SecureZeroMemory: fills with zeros what is not read any more, which the compiler would otherwise take for superfluous.
PVOID SecureZeroMemory(PVOID pMemory, SIZE_T ulBytes);
