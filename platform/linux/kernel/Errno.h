// From the system's errno to the thread's last error. Internal to platform/linux.
#pragma once

#include "Error.h"

namespace lum
{
// The Windows number for an errno value; ERROR_GEN_FAILURE for one that has none.
DWORD ErrorFromErrno(int iErrno);

// Sets the last error and returns FALSE: `return Fail(ERROR_INVALID_HANDLE);`
inline BOOL Fail(DWORD ulError)
{
    SetLastError(ulError);
    return FALSE;
}

// Sets the last error from errno and returns FALSE.
BOOL FailErrno();
} // namespace lum
