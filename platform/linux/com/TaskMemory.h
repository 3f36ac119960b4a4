// Memory that one side of an interface allocates and the other gives back.
#pragma once

#include "../kernel/Types.h"

// CoTaskMemAlloc: a block of that size, 0 included; null when there is no memory.
// CoTaskMemRealloc: the block moved to another size; null with the block as it was when there is no memory. Size 0 gives it back.
LPVOID CoTaskMemAlloc(SIZE_T ulBytes);
LPVOID CoTaskMemRealloc(LPVOID pBlock, SIZE_T ulBytes);

void CoTaskMemFree(LPVOID pBlock); // null is allowed
