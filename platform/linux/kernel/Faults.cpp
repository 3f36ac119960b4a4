// The signal handler, and what becomes of signals that are none of ours.
#include "Faults.h"

#include "FaultCode.h"
#include "FaultThread.h"
#include "FaultWalk.h"
#include "Platform.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <mutex>

#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

namespace lum
{
namespace
{
constexpr int kaiSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP};

struct sigaction gaBefore[_NSIG]; // by signal; written before our handler is there
std::once_flag gInstalled;

// Lets the signal arrive once more when the handler has returned, and end the process where it was interrupted.
void EndByDefault(int iSignal, siginfo_t* pInfo)
{
    struct sigaction byDefault = {};
    byDefault.sa_handler = SIG_DFL;
    sigaction(iSignal, &byDefault, nullptr);

    sigset_t mask; // ours alone: the return from the handler brings the thread's own back
    sigemptyset(&mask);
    sigaddset(&mask, iSignal);
    pthread_sigmask(SIG_BLOCK, &mask, nullptr);
    syscall(SYS_rt_tgsigqueueinfo, getpid(), gettid(), iSignal, pInfo);
}

void CallBefore(int iSignal, siginfo_t* pInfo, void* pContext)
{
    const struct sigaction before = gaBefore[iSignal];
    if (before.sa_flags & SA_RESETHAND)
    {
        gaBefore[iSignal].sa_handler = SIG_DFL;
        gaBefore[iSignal].sa_flags = 0;
    }
    sigset_t mask = before.sa_mask;
    if (!(before.sa_flags & SA_NODEFER)) sigaddset(&mask, iSignal);
    pthread_sigmask(SIG_BLOCK, &mask, nullptr);

    if (before.sa_flags & SA_SIGINFO)
        before.sa_sigaction(iSignal, pInfo, pContext);
    else
        before.sa_handler(iSignal);
}

void PassOn(int iSignal, siginfo_t* pInfo, void* pContext)
{
    const struct sigaction& before = gaBefore[iSignal];
    const bool bFunction = (before.sa_flags & SA_SIGINFO) || (before.sa_handler != SIG_DFL && before.sa_handler != SIG_IGN);
    if (bFunction) return CallBefore(iSignal, pInfo, pContext);

    // As the kernel has it, only a signal that was sent can be ignored.
    if (before.sa_handler == SIG_IGN && !IsProcessorFault(iSignal, *pInfo)) return;
    EndByDefault(iSignal, pInfo);
}

// Nothing pending and the old unit's stack empty, as code expects that is entered from an unwound call.
void ClearFloatState(ucontext_t& context)
{
    constexpr std::uint32_t kulVectorFlags = 0x3F;
    auto* pState = context.uc_mcontext.fpregs;
    if (!pState) return;
    pState->swd = 0;
    pState->ftw = 0;
    pState->mxcsr &= ~kulVectorFlags;
}

constexpr greg_t klSingleStep = 0x100, klBackwards = 0x400, klCheckAlignment = 0x40000;
constexpr std::uint32_t kulStackOverflow = 0xC00000FD;

std::uintptr_t Rip(const ucontext_t& context) { return static_cast<std::uintptr_t>(context.uc_mcontext.gregs[REG_RIP]); }
std::uintptr_t StackPointer(const ucontext_t& context) { return static_cast<std::uintptr_t>(context.uc_mcontext.gregs[REG_RSP]); }

// Makes the thread go on in the trampoline, on the throw stack, once the handler has returned.
void SendToTrampoline(std::uint32_t ulCode, ucontext_t& context, FaultThread& thread)
{
    static constexpr int kaiUnwindOrder[17] = {REG_RAX, REG_RDX, REG_RCX, REG_RBX, REG_RSI, REG_RDI, REG_RBP, REG_RSP, REG_R8,
                                               REG_R9,  REG_R10, REG_R11, REG_R12, REG_R13, REG_R14, REG_R15, REG_RIP};
    thread.muSteps = 0;
    greg_t* pRegisters = context.uc_mcontext.gregs;
    for (int i = 0; i < 17; ++i) thread.mFrame.aulRegisters[i] = static_cast<std::uint64_t>(pRegisters[kaiUnwindOrder[i]]);
    thread.mFrame.ulCode = ulCode;

    pRegisters[REG_RIP] = reinterpret_cast<greg_t>(&LumFaultTrampoline);
    pRegisters[REG_RSP] = static_cast<greg_t>(thread.ThrowStack().ulEnd & ~std::uintptr_t{15});
    pRegisters[REG_RBX] = reinterpret_cast<greg_t>(&thread.mFrame);
    pRegisters[REG_EFL] &= ~(klSingleStep | klBackwards | klCheckAlignment);
    ClearFloatState(context);
}

// An overflow goes on for a while where it may have interrupted anything. Without room to go on it is thrown at once.
void OnStackOverflow(ucontext_t& context, FaultThread& thread)
{
    if (thread.OpenReserve())
    {
        thread.mAwaited = FindGuarded(Rip(context), StackPointer(context));
        if (thread.mAwaited.pTable && !thread.mAwaited.IsReady(Rip(context), StackPointer(context)))
        {
            thread.muSteps = kuMostSteps;
            context.uc_mcontext.gregs[REG_EFL] |= klSingleStep;
            return;
        }
    }
    SendToTrampoline(kulStackOverflow, context, thread);
}

// Whether the next instruction may block signals: with the trap's own blocked a step would end the process.
bool MayBlockSignals(const ucontext_t& context)
{
    const auto* pInstruction = reinterpret_cast<const unsigned char*>(Rip(context));
    return pInstruction[0] == 0x0F && pInstruction[1] == 0x05 && context.uc_mcontext.gregs[REG_RAX] == SYS_rt_sigprocmask;
}

void OnStep(ucontext_t& context, FaultThread& thread)
{
    if (thread.mAwaited.IsReady(Rip(context), StackPointer(context))) return SendToTrampoline(kulStackOverflow, context, thread);
    if (--thread.muSteps && !MayBlockSignals(context)) return;
    thread.muSteps = 0;
    context.uc_mcontext.gregs[REG_EFL] &= ~klSingleStep;
}

void OnFault(int iSignal, const siginfo_t& info, ucontext_t& context, FaultThread& thread)
{
    constexpr std::uint32_t kulSingleStepCode = 0x80000004;
    const std::uint32_t ulCode = FaultCode(iSignal, info, context, thread);
    if (ulCode == kulStackOverflow) return OnStackOverflow(context, thread);
    if (ulCode == kulSingleStepCode && thread.muSteps) return OnStep(context, thread);

    thread.CloseReserve(StackPointer(context)); // of an overflow whose exception nobody deleted
    context.uc_mcontext.gregs[REG_RIP] = static_cast<greg_t>(ThrowingAddress(context));
    SendToTrampoline(ulCode, context, thread);
}

// The kernel enters a handler with the thread's alignment check still on, which would make ours fault in its turn.
void StopCheckingAlignment() { __builtin_ia32_writeeflags_u64(__builtin_ia32_readeflags_u64() & ~std::uint64_t{klCheckAlignment}); }

void OnSignal(int iSignal, siginfo_t* pInfo, void* pContext)
{
    StopCheckingAlignment();
    const int iError = errno;
    auto& context = *static_cast<ucontext_t*>(pContext);
    FaultThread* pThread = FaultThread::Current();

    const bool bOurs = pThread && IsProcessorFault(iSignal, *pInfo) && !pThread->ThrowStack().Contains(StackPointer(context));
    if (bOurs)
        OnFault(iSignal, *pInfo, context, *pThread);
    else
        PassOn(iSignal, pInfo, pContext);
    errno = iError;
}

void InstallHandlers()
{
    for (int iSignal : kaiSignals)
    {
        sigaction(iSignal, nullptr, &gaBefore[iSignal]);
        struct sigaction ours = {};
        ours.sa_sigaction = OnSignal;
        ours.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER | (gaBefore[iSignal].sa_flags & SA_RESTART);
        sigaction(iSignal, &ours, nullptr);
    }
}

// The library may be unloaded: leave no handler behind that is gone.
__attribute__((destructor)) void RemoveHandlers()
{
    for (int iSignal : kaiSignals)
    {
        struct sigaction current;
        const bool bOurs = sigaction(iSignal, nullptr, &current) == 0 && (current.sa_flags & SA_SIGINFO) &&
                           current.sa_sigaction == OnSignal;
        if (bOurs) sigaction(iSignal, &gaBefore[iSignal], nullptr);
    }
}
} // namespace
} // namespace lum

void LumThrowFault(lum::FaultFrame* pFrame)
{
    lum::SkipUnexpecting(*pFrame);
    if (const lum::FaultThread* pThread = lum::FaultThread::Current()) pThread->mpTranslator(pFrame->ulCode);
    std::abort(); // a translator throws
}

void LumSetFaultTranslator(LumFaultTranslator pTranslator)
{
    if (!pTranslator) return lum::FaultThread::Leave();
    lum::FaultThread* pThread = lum::FaultThread::Enter();
    if (!pThread) return;
    pThread->mpTranslator = pTranslator;
    std::call_once(lum::gInstalled, lum::InstallHandlers);
}
