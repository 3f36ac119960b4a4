// From the interrupted instruction to a C++ exception. Internal to platform/linux.
#pragma once

#include <cstdint>

namespace lum
{
// The interrupted frame, by the register numbers of the unwind tables: rax, rdx, rcx, rbx, rsi, rdi, rbp, rsp, r8 to r15, rip.
struct FaultFrame
{
    static constexpr int kiRbx = 3, kiRsp = 7, kiRip = 16;

    std::uint64_t aulRegisters[17];
    std::uint32_t ulCode;
};
} // namespace lum

extern "C"
{
// LumFaultTrampoline: where a faulting thread is sent, with a FaultFrame's address in rbx, on a free stack aligned to 16.
//   To the unwinder its caller is the frame that the FaultFrame describes. Not a function that can be called.
__attribute__((visibility("hidden"))) void LumFaultTrampoline();

// LumThrowFault: what the trampoline calls; it calls the thread's translator.
[[noreturn]] __attribute__((visibility("hidden"))) void LumThrowFault(lum::FaultFrame* pFrame);
}
