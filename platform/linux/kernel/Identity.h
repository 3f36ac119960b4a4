// Whose rights a thread acts with.
#pragma once

#include "Types.h"

// RevertToSelf: ends an impersonation. Cannot fail: a thread that impersonates nobody stays what it is.
BOOL RevertToSelf();
