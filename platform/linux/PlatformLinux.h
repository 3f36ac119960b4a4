// The Windows-shaped calls that exist on Linux, a header per facility.
#pragma once

#include "kernel/Types.h"

#include "kernel/Error.h"
#include "kernel/Handles.h"
#include "kernel/Identity.h"
#include "kernel/Messages.h"
#include "kernel/PathCalls.h"
#include "kernel/Sync.h"
#include "registry/Registry.h"
