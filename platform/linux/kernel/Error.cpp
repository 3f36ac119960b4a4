#include "Error.h"

// Reached without a call, since every checked call of the library goes by here.
__attribute__((tls_model("initial-exec"))) static constinit thread_local DWORD gulLastError = NO_ERROR;

DWORD GetLastError() { return gulLastError; }

void SetLastError(DWORD ulError) { gulLastError = ulError; }
