// What a signal of the processor's is called in Windows. Internal to platform/linux.
#pragma once

#include "FaultThread.h"

#include <csignal>
#include <cstdint>

#include <ucontext.h>

namespace lum
{
// IsProcessorFault: whether the processor raised the signal, rather than a process that sent it.
bool IsProcessorFault(int iSignal, const siginfo_t& info);

// FaultCode: the code of a processor's fault, such as 0xC0000005. Safe in a signal handler.
std::uint32_t FaultCode(int iSignal, const siginfo_t& info, const ucontext_t& context, const FaultThread& thread);

// ThrowingAddress: the address to look handlers up for: that of the instruction at fault. For a jump to where no code is,
//   that is the call which led there, and the context is put back to it.
std::uint64_t ThrowingAddress(ucontext_t& context);
} // namespace lum
