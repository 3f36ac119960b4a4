#include "FaultTrampoline.h"

#include "FaultCallSite.h"

#include <cstddef>

#include <unwind.h>

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

namespace lum
{
namespace
{
struct Walk
{
    FaultFrame frame; // the caller that the exception would be thrown from
    bool bInterrupted = false; // the trampoline is passed
    bool bSkipped = false;
    bool bFound = false;
};

void TakeFrame(_Unwind_Context* pContext, std::uintptr_t ulRip, FaultFrame& frame)
{
    for (int i = 0; i < FaultFrame::kiRip; ++i)
    {
        if (i != FaultFrame::kiRsp) frame.aulRegisters[i] = _Unwind_GetGR(pContext, i);
    }
    frame.aulRegisters[FaultFrame::kiRsp] = _Unwind_GetCFA(pContext);
    frame.aulRegisters[FaultFrame::kiRip] = ulRip;
}

_Unwind_Reason_Code VisitFrame(_Unwind_Context* pContext, void* pArgument)
{
    auto& walk = *static_cast<Walk*>(pArgument);
    int iExact = 0;
    const std::uintptr_t ulReturn = _Unwind_GetIPInfo(pContext, &iExact);
    const std::uintptr_t ulRip = iExact ? ulReturn : ulReturn - 1; // within the call
    if (!walk.bInterrupted)
    {
        constexpr std::uintptr_t kulTrampolineBytes = 16;
        walk.bInterrupted = ulRip - reinterpret_cast<std::uintptr_t>(&LumFaultTrampoline) < kulTrampolineBytes;
        return _URC_NO_REASON;
    }
    if (walk.bSkipped) TakeFrame(pContext, ulRip, walk.frame);

    const auto* pTable = static_cast<const std::uint8_t*>(_Unwind_GetLanguageSpecificData(pContext));
    if (!pTable) return _URC_NO_REASON; // neither handlers nor destructors: an exception passes
    walk.bFound = ExpectsException(pTable, ulRip - _Unwind_GetRegionStart(pContext));
    if (walk.bFound) return _URC_NORMAL_STOP;
    walk.bSkipped = true;
    return _URC_NO_REASON;
}
} // namespace

void SkipUnexpecting(FaultFrame& frame)
{
    Walk walk;
    _Unwind_Backtrace(VisitFrame, &walk);
    if (!walk.bSkipped || !walk.bFound) return;
    walk.frame.ulCode = frame.ulCode;
    frame = walk.frame;
}
} // namespace lum
