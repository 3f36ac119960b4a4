#include "FaultTrampoline.h"

#include <cstddef>

static_assert(offsetof(lum::FaultFrame, aulRegisters) == 0 && lum::FaultFrame::kiRsp * 8 == 0x38);

// The frame is described as a signal's, so that the unwinder takes the address of the interrupted instruction as it stands and
// does not look at the one before it. rbx survives the call, and points to the saved registers:
//   the frame address is the saved stack pointer  (0x0f: expression of 3 bytes: *(rbx + 0x38)),
//   every other register lies where it was saved  (0x10: register, expression of 3 bytes: rbx + 8 * register, in two bytes).
// The nop is for unwinders that look one byte in front of the first instruction all the same.
asm(R"(
    .text
    .p2align 4
    .globl LumFaultTrampoline
    .hidden LumFaultTrampoline
    .type LumFaultTrampoline, @function
    .cfi_startproc simple
    .cfi_signal_frame
    .cfi_escape 0x0f, 3, 0x73, 0x38, 0x06
    .irp register, 0, 1, 2, 3, 4, 5, 6, 8, 9, 10, 11, 12, 13, 14, 15, 16
    .cfi_escape 0x10, \register, 3, 0x73, ((\register * 8) & 0x7f) | 0x80, (\register * 8) >> 7
    .endr
    nop
LumFaultTrampoline:
    movq %rbx, %rdi
    call LumThrowFault
    ud2
    .cfi_endproc
    .size LumFaultTrampoline, . - LumFaultTrampoline
)");
