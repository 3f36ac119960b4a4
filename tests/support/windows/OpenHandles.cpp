#include "OpenHandles.h"

#include <windows.h>

std::size_t CountOpenHandles()
{
    DWORD ulCount = 0;
    return GetProcessHandleCount(GetCurrentProcess(), &ulCount) ? ulCount : 0;
}
