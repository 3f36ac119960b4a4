// The views of this process. Internal to platform/linux.
#pragma once

#include "Types.h"

namespace lum
{
// AddView: remembers mapped memory; false when there is no memory to do so.
bool AddView(void* pStart, SIZE_T ulBytes);
} // namespace lum
