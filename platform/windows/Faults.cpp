// Hardware faults as C++ exceptions. The toolchain cannot translate them, so a vectored handler, which sees a fault first, sends
// the thread on to a function that throws.
#include "Platform.h"

#include "FaultCallSite.h"
#include "FaultInstruction.h"

#include <cstdlib>
#include <cstring>
#include <mutex>

// The thread comes here as if the processor had interrupted it: on the stack lies a machine frame (rip, cs, flags, rsp, ss), and
// the unwind tables say so. All registers but rcx and those two are still the faulting code's.
asm(R"(
    .text
    .p2align 4
    .globl LumFaultTrampoline
    .def LumFaultTrampoline; .scl 2; .type 32; .endef
    .seh_proc LumFaultTrampoline
LumFaultTrampoline:
    .seh_pushframe
    subq $40, %rsp
    .seh_stackalloc 40
    .seh_endprologue
    call LumThrowFault
    ud2
    .seh_endproc
)");
extern "C" void LumFaultTrampoline();
extern "C" [[noreturn]] void LumThrowFault(unsigned int uCode);

// The C++ runtime's part in unwinding: the handler of every function of ours that has handlers or destructors.
extern "C" EXCEPTION_DISPOSITION __gxx_personality_seh0(EXCEPTION_RECORD*, void*, CONTEXT*, DISPATCHER_CONTEXT*);

namespace
{
struct MachineFrame
{
    ULONG64 ulRip, ulCs, ulFlags, ulRsp, ulSs;
};
static_assert(sizeof(MachineFrame) == 40);

constexpr ULONG kulReserve = 64 * 1024; // stack kept back for handlers and destructors near an overflow
constexpr DWORD kulSingleStep = 0x100, kulBackwards = 0x400, kulCheckAlignment = 0x40000; // of the flags
constexpr int kiDeepest = 100000; // frames; a damaged stack may lead in circles

struct OFaultThread
{
    LumFaultTranslator pTranslator = nullptr;
    // While an overflow runs on to where it can be thrown from: that function, the instructions left to try, and how deep the
    // stack may become meanwhile.
    lum::GuardedFunction awaited;
    unsigned uSteps = 0;
    ULONG64 ulDeepest = 0;
};

// Not thread_local: the toolchain's takes memory when a thread first looks, and that would be in the handler.
DWORD gulSlot = FLS_OUT_OF_INDEXES;
std::once_flag gInstalled;
void* gpHandler = nullptr;

// Null for a thread that never had a translator.
OFaultThread* CurrentThread()
{
    const DWORD ulError = GetLastError(); // which reading the slot clears
    auto* pThread = static_cast<OFaultThread*>(FlsGetValue(gulSlot));
    SetLastError(ulError);
    return pThread;
}

// What the processor raises; exceptions that programs raise, those of the C++ runtime among them, are left alone.
bool IsProcessorFault(DWORD ulCode)
{
    static constexpr DWORD kaulCodes[] = {
        STATUS_ACCESS_VIOLATION,     STATUS_IN_PAGE_ERROR,           STATUS_DATATYPE_MISALIGNMENT, STATUS_BREAKPOINT,
        STATUS_SINGLE_STEP,          STATUS_ILLEGAL_INSTRUCTION,     STATUS_PRIVILEGED_INSTRUCTION, STATUS_ARRAY_BOUNDS_EXCEEDED,
        STATUS_FLOAT_DENORMAL_OPERAND, STATUS_FLOAT_DIVIDE_BY_ZERO,  STATUS_FLOAT_INEXACT_RESULT,  STATUS_FLOAT_INVALID_OPERATION,
        STATUS_FLOAT_OVERFLOW,       STATUS_FLOAT_STACK_CHECK,       STATUS_FLOAT_UNDERFLOW,       STATUS_INTEGER_DIVIDE_BY_ZERO,
        STATUS_INTEGER_OVERFLOW,     STATUS_STACK_OVERFLOW,          STATUS_GUARD_PAGE_VIOLATION};
    for (DWORD ulKnown : kaulCodes)
    {
        if (ulKnown == ulCode) return true;
    }
    return false;
}

bool DividesByZero(const CONTEXT& context)
{
    lum::CpuState state = {};
    // The registers stand in the record in the order of their encoding.
    static_assert(offsetof(CONTEXT, R15) - offsetof(CONTEXT, Rax) == 15 * sizeof(DWORD64));
    for (int i = 0; i < 16; ++i) state.aulRegisters[i] = (&context.Rax)[i];
    state.ulRip = context.Rip;
    return lum::IsDivisionByZero(state);
}

// Some systems report under one code what the processor tells apart.
DWORD ExactCode(DWORD ulCode, const CONTEXT& context)
{
    if (ulCode == STATUS_INTEGER_DIVIDE_BY_ZERO && !DividesByZero(context)) return STATUS_INTEGER_OVERFLOW;
    if (ulCode != STATUS_FLOAT_UNDERFLOW) return ulCode;

    const ULONG ulRaised = lum::RaisedByVectorUnit(context.MxCsr) |
                           lum::RaisedByX87(context.FltSave.StatusWord, context.FltSave.ControlWord);
    const bool bDenormal = (ulRaised & (lum::kulFloatDenormal | lum::kulFloatUnderflow)) == lum::kulFloatDenormal;
    return bDenormal ? STATUS_FLOAT_DENORMAL_OPERAND : ulCode;
}

// One frame, and what unwinding it leads to.
struct OFrame
{
    CONTEXT caller;
    ULONG64 ulFunction = 0;                // where its function begins; 0 for one without unwind data
    const std::uint8_t* pTable = nullptr; // what the C++ runtime knows of it; null when it has neither handlers nor destructors
};

// Follows the jump through which a module reaches the function of another.
const void* BehindThunk(const void* pFunction)
{
    const auto* p = static_cast<const std::uint8_t*>(pFunction);
    if (p[0] != 0xFF || p[1] != 0x25) return pFunction; // jmp *offset(%rip)
    LONG lOffset;
    std::memcpy(&lOffset, p + 2, sizeof lOffset);
    const void* pTarget;
    std::memcpy(&pTarget, p + 6 + lOffset, sizeof pTarget);
    return pTarget;
}

bool IsCppPersonality(PEXCEPTION_ROUTINE pHandler)
{
    return pHandler && BehindThunk(reinterpret_cast<const void*>(pHandler)) ==
                           BehindThunk(reinterpret_cast<const void*>(&__gxx_personality_seh0));
}

bool HasUnwindData(ULONG64 ulRip)
{
    ULONG64 ulImageBase = 0;
    return RtlLookupFunctionEntry(ulRip, &ulImageBase, nullptr);
}

// Where the return address of a function without unwind data lies: first on the stack, but for the toolchain's probe of the
// stack, which large frames call and many an overflow happens in. That has two registers above it.
const ULONG64* ReturnOfLeaf(const CONTEXT& context)
{
    constexpr int kiPushedByProbe = 2;
    const auto* pStack = reinterpret_cast<const ULONG64*>(context.Rsp);
    return !HasUnwindData(pStack[0]) && HasUnwindData(pStack[kiPushedByProbe]) ? pStack + kiPushedByProbe : pStack;
}

OFrame Unwind(const CONTEXT& context, ULONG64 ulRip)
{
    OFrame frame;
    frame.caller = context;
    frame.caller.Rip = ulRip;
    ULONG64 ulImageBase = 0, ulEstablisher = 0;
    PRUNTIME_FUNCTION pFunction = RtlLookupFunctionEntry(ulRip, &ulImageBase, nullptr);
    if (!pFunction)
    {
        const ULONG64* pReturn = ReturnOfLeaf(context);
        frame.caller.Rip = *pReturn;
        frame.caller.Rsp = reinterpret_cast<ULONG64>(pReturn + 1);
        return frame;
    }
    void* pHandlerData = nullptr;
    PEXCEPTION_ROUTINE pHandler = RtlVirtualUnwind(UNW_FLAG_EHANDLER, ulImageBase, ulRip, pFunction, &frame.caller, &pHandlerData,
                                                   &ulEstablisher, nullptr);
    frame.ulFunction = ulImageBase + pFunction->BeginAddress;
    if (IsCppPersonality(pHandler)) frame.pTable = static_cast<const std::uint8_t*>(pHandlerData);
    return frame;
}

// The C++ runtime looks for handlers one byte before the address that it finds, as behind a call. So a fault gets the address
// behind the instruction's first byte, unless the frame would be taken for a different one there: at a function's last byte, or
// where the bytes happen to look like a function's end.
ULONG64 ThrowingAddress(const CONTEXT& context, const OFrame& exact)
{
    if (!exact.ulFunction) return context.Rip;
    const OFrame shifted = Unwind(context, context.Rip + 1);
    return exact.caller.Rip == shifted.caller.Rip && exact.caller.Rsp == shifted.caller.Rsp ? context.Rip + 1 : context.Rip;
}

// Makes the context one to throw from: the interrupted one, or, where its function does not expect an exception at that place, that
// of the nearest caller which does.
void FindThrowingContext(CONTEXT& context)
{
    OFrame frame = Unwind(context, context.Rip);
    CONTEXT candidate = context;
    candidate.Rip = ThrowingAddress(context, frame);
    context.Rip = candidate.Rip;

    bool bSkipped = false;
    for (int i = 0; i < kiDeepest; ++i)
    {
        if (frame.pTable)
        {
            if (lum::ExpectsException(frame.pTable, candidate.Rip - 1 - frame.ulFunction))
            {
                if (bSkipped) context = candidate;
                return;
            }
            bSkipped = true;
        }
        if (!frame.caller.Rip || frame.caller.Rsp <= candidate.Rsp) return;
        candidate = frame.caller;
        frame = Unwind(candidate, candidate.Rip);
    }
}

// The innermost guarded function on the thread's stack.
lum::GuardedFunction FindGuarded(const CONTEXT& context)
{
    lum::GuardedFunction function;
    CONTEXT at = context;
    for (int i = 0; i < kiDeepest; ++i)
    {
        const OFrame frame = Unwind(at, at.Rip);
        if (frame.pTable)
        {
            function = {frame.ulFunction, frame.pTable, frame.caller.Rsp};
            break;
        }
        if (!frame.caller.Rip || frame.caller.Rsp <= at.Rsp) break;
        at = frame.caller;
    }
    return function;
}

void SendToTrampoline(DWORD ulCode, CONTEXT& context)
{
    constexpr ULONG64 kulRoomOfLeaf = 128;

    // Below the interrupted frame even where a caller's is thrown from: this handler still stands there.
    const ULONG64 ulTop = (context.Rsp - kulRoomOfLeaf) & ~ULONG64{15};
    FindThrowingContext(context);
    // 8 off a multiple of 16, as the trampoline's own allocation of 40 evens it out.
    auto* pFrame = reinterpret_cast<MachineFrame*>(ulTop - sizeof(MachineFrame));
    *pFrame = {context.Rip, context.SegCs, context.EFlags, context.Rsp, context.SegSs};

    context.Rip = reinterpret_cast<ULONG64>(&LumFaultTrampoline);
    context.Rsp = reinterpret_cast<ULONG64>(pFrame);
    context.Rcx = ulCode;
    context.EFlags &= ~(kulSingleStep | kulBackwards | kulCheckAlignment);
    context.MxCsr &= ~lum::kulFloatConditions;
    context.FltSave.MxCsr = context.MxCsr;
    context.FltSave.StatusWord = 0; // nothing pending, and the old unit's stack empty
    context.FltSave.TagWord = 0;
}

// An overflow goes on for a while where it may have interrupted anything. Returns whether it does.
bool RunsOn(CONTEXT& context, OFaultThread& thread)
{
    thread.awaited = FindGuarded(context);
    if (!thread.awaited.pTable || thread.awaited.IsReady(context.Rip, context.Rsp)) return false;
    thread.uSteps = lum::kuMostSteps;
    thread.ulDeepest = context.Rsp - kulReserve / 2;
    context.EFlags |= kulSingleStep;
    return true;
}

// Returns whether the thread has arrived where the overflow can be thrown from, or goes on recursing; else it runs on.
bool HasArrived(CONTEXT& context, OFaultThread& thread)
{
    if (thread.awaited.IsReady(context.Rip, context.Rsp) || context.Rsp < thread.ulDeepest) return true;
    if (--thread.uSteps)
        context.EFlags |= kulSingleStep; // the trap has cleared it
    else
        context.EFlags &= ~kulSingleStep;
    return false;
}

LONG CALLBACK OnException(EXCEPTION_POINTERS* pPointers)
{
    CONTEXT& context = *pPointers->ContextRecord;
    DWORD ulCode = pPointers->ExceptionRecord->ExceptionCode;
    if (!IsProcessorFault(ulCode)) return EXCEPTION_CONTINUE_SEARCH;
    OFaultThread* pThread = CurrentThread();
    if (!pThread || !pThread->pTranslator) return EXCEPTION_CONTINUE_SEARCH;

    if (ulCode == STATUS_STACK_OVERFLOW && RunsOn(context, *pThread)) return EXCEPTION_CONTINUE_EXECUTION;
    if (pThread->uSteps)
    {
        if (ulCode == STATUS_SINGLE_STEP && !HasArrived(context, *pThread)) return EXCEPTION_CONTINUE_EXECUTION;
        ulCode = STATUS_STACK_OVERFLOW; // whatever else happens on the way is its end
    }
    pThread->uSteps = 0;
    SendToTrampoline(ExactCode(ulCode, context), context);
    return EXCEPTION_CONTINUE_EXECUTION;
}

// The system raises an overflow while that much is left. It looks at the amount when it moves its guard page down; where the
// whole stack was made accessible at once, with the guard at its very end, a guard must be set where the reserve begins.
void KeepRoomForOverflow()
{
    ULONG ulBytes = kulReserve;
    SetThreadStackGuarantee(&ulBytes);

    MEMORY_BASIC_INFORMATION region;
    VirtualQuery(&region, &region, sizeof region);
    char* pBottom = static_cast<char*>(region.AllocationBase);
    for (const char* p = pBottom; p < pBottom + kulReserve; p += region.RegionSize)
    {
        if (!VirtualQuery(p, &region, sizeof region)) return;
        if (region.State != MEM_COMMIT || !(region.Protect & PAGE_GUARD)) continue;
        DWORD ulBefore;
        VirtualProtect(pBottom + kulReserve, 1, PAGE_READWRITE | PAGE_GUARD, &ulBefore);
        return;
    }
}

void Install()
{
    gulSlot = FlsAlloc([](void* pThread) { delete static_cast<OFaultThread*>(pThread); });
    gpHandler = AddVectoredExceptionHandler(1, OnException);
}

// The library may be unloaded: leave no handler behind that is gone.
__attribute__((destructor)) void RemoveHandler()
{
    if (gpHandler) RemoveVectoredExceptionHandler(gpHandler);
    if (gulSlot != FLS_OUT_OF_INDEXES) FlsFree(gulSlot);
}
} // namespace

void LumThrowFault(unsigned int uCode)
{
    CurrentThread()->pTranslator(uCode);
    std::abort(); // a translator throws
}

void LumSetFaultTranslator(LumFaultTranslator pTranslator)
{
    std::call_once(gInstalled, Install);
    OFaultThread* pThread = CurrentThread();
    if (!pThread)
    {
        if (!pTranslator) return;
        pThread = new OFaultThread;
        FlsSetValue(gulSlot, pThread);
    }
    pThread->pTranslator = pTranslator;
    if (pTranslator) KeepRoomForOverflow();
}
