// Calls on handles of every kind.
#pragma once

#include "Types.h"

// CloseHandle: ends a handle of any kind.
//   Errors: ERROR_INVALID_HANDLE (closed already, never opened, null).
BOOL CloseHandle(HANDLE hObject);
