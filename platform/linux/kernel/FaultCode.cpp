#include "FaultCode.h"

#include "FaultInstruction.h"

namespace lum
{
namespace
{
// The numbers that the processor gives to its exceptions.
enum Trap : std::uint8_t
{
    kDivide = 0,
    kDebug = 1,
    kBreakpoint = 3,
    kOverflow = 4,
    kBounds = 5,
    kOpcode = 6,
    kStackSegment = 12,
    kProtection = 13,
    kPage = 14,
    kX87 = 16,
    kAlignment = 17,
    kVector = 19
};

constexpr std::uint32_t kulAccessViolation = 0xC0000005;
constexpr std::uint64_t kulInstructionFetch = 0x10; // in a page fault's error code

std::uint64_t Register(const ucontext_t& context, int iRegister)
{
    return static_cast<std::uint64_t>(context.uc_mcontext.gregs[iRegister]);
}

std::uint32_t DivideCode(const ucontext_t& context)
{
    static constexpr int kaiEncoding[16] = {REG_RAX, REG_RCX, REG_RDX, REG_RBX, REG_RSP, REG_RBP, REG_RSI, REG_RDI,
                                            REG_R8,  REG_R9,  REG_R10, REG_R11, REG_R12, REG_R13, REG_R14, REG_R15};
    CpuState state;
    for (int i = 0; i < 16; ++i) state.aulRegisters[i] = Register(context, kaiEncoding[i]);
    state.ulRip = Register(context, REG_RIP);
    asm("movq %%fs:0, %0" : "=r"(state.ulThreadBase)); // the thread's block begins with its own address
    return IsDivisionByZero(state) ? 0xC0000094 : 0xC0000095;
}

std::uint32_t PageCode(int iSignal, const siginfo_t& info, const ucontext_t& context, const FaultThread& thread)
{
    if (iSignal == SIGBUS) return 0xC0000006; // mapped, but the file has nothing there
    const bool bOverflow = thread.IsStackOverflow(Register(context, REG_CR2), Register(context, REG_RSP), info.si_code == SEGV_MAPERR);
    return bOverflow ? 0xC00000FD : kulAccessViolation;
}

std::uint32_t FloatCode(const ucontext_t& context, bool bVector)
{
    const auto* pState = context.uc_mcontext.fpregs;
    const std::uint32_t ulCode = FloatFaultCode(bVector ? RaisedByVectorUnit(pState->mxcsr) : RaisedByX87(pState->swd, pState->cwd));
    return ulCode ? ulCode : 0xC0000090;
}
} // namespace

bool IsProcessorFault(int iSignal, const siginfo_t& info)
{
    if (info.si_code <= 0) return false;
    if (iSignal == SIGBUS) return info.si_code != BUS_MCEERR_AO; // a notice about memory that nobody touched yet
    if (iSignal == SIGTRAP) return info.si_code == SI_KERNEL || info.si_code == TRAP_BRKPT || info.si_code == TRAP_TRACE ||
                                   info.si_code == TRAP_HWBKPT;
    return true;
}

std::uint32_t FaultCode(int iSignal, const siginfo_t& info, const ucontext_t& context, const FaultThread& thread)
{
    switch (Register(context, REG_TRAPNO))
    {
    case kDivide: return DivideCode(context);
    case kDebug: return 0x80000004; // single step
    case kBreakpoint: return 0x80000003;
    case kOverflow: return 0xC0000095;
    case kBounds: return 0xC000008C;
    case kOpcode: return 0xC000001D; // illegal instruction
    case kProtection:
        return IsPrivileged(reinterpret_cast<const std::uint8_t*>(Register(context, REG_RIP))) ? 0xC0000096 : kulAccessViolation;
    case kPage: return PageCode(iSignal, info, context, thread);
    case kX87: return FloatCode(context, false);
    case kAlignment: return 0x80000002;
    case kVector: return FloatCode(context, true);
    case kStackSegment:
    default: return kulAccessViolation;
    }
}

std::uint64_t ThrowingAddress(ucontext_t& context)
{
    greg_t* pRegisters = context.uc_mcontext.gregs;
    const std::uint64_t ulRip = Register(context, REG_RIP);
    switch (pRegisters[REG_TRAPNO])
    {
    case kBreakpoint: return ulRip - 1; // reported behind the instruction
    case kPage:
        if (!(Register(context, REG_ERR) & kulInstructionFetch)) return ulRip;
        break;
    case kProtection:
        if (ulRip < 0x0000800000000000 || ulRip >= 0xFFFF800000000000) return ulRip; // a possible address
        break;
    default: return ulRip;
    }
    const std::uint64_t ulReturn = *reinterpret_cast<const std::uint64_t*>(pRegisters[REG_RSP]);
    pRegisters[REG_RSP] += 8;
    return ulReturn - 1; // within the call
}
} // namespace lum
