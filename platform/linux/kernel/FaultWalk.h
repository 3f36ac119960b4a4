// Looks through the frames above a fault. Internal to platform/linux.
#pragma once

#include "FaultCallSite.h"
#include "FaultTrampoline.h"

namespace lum
{
// SkipUnexpecting: where the frame's function does not expect an exception, makes the frame that of the nearest caller which
//   does. Called below the trampoline, outside signal context.
void SkipUnexpecting(FaultFrame& frame);

// FindGuarded: the innermost guarded function of a thread that is at ulRip, with ulStackPointer. Called from the signal handler.
GuardedFunction FindGuarded(std::uintptr_t ulRip, std::uintptr_t ulStackPointer);
} // namespace lum
