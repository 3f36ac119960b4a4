// The Windows-shaped calls that exist on Linux, a header per facility.
#pragma once

#include "kernel/Types.h"

#include "com/Automation.h"
#include "kernel/Atomic.h"
#include "kernel/Error.h"
#include "kernel/FileNames.h"
#include "kernel/Files.h"
#include "kernel/Handles.h"
#include "kernel/Identity.h"
#include "kernel/Memory.h"
#include "kernel/Messages.h"
#include "kernel/PathCalls.h"
#include "kernel/Resources.h"
#include "kernel/Streams.h"
#include "kernel/Sync.h"
#include "kernel/System.h"
#include "kernel/Text.h"
#include "registry/Registry.h"
