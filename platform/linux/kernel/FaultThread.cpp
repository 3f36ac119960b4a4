#include "FaultThread.h"

#include "Faults.h"

#include <cerrno>
#include <mutex>
#include <new>

#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace lum
{
namespace
{
constexpr std::size_t kulPage = 4096;
constexpr std::size_t kulThrowStack = 256 * 1024; // the unwinder, the allocator and lazy binding, with a sanitizer below them
constexpr std::size_t kulSmallestThrowStack = 64 * 1024;
constexpr std::size_t kulReserve = 64 * 1024;
constexpr std::size_t kulSmallestStackWithReserve = 256 * 1024;

// How far around the stack pointer a function reaches out; and how far below the main stack the kernel keeps room free.
constexpr std::size_t kulNearStackPointer = 64 * 1024;
constexpr std::size_t kulBelowMainStack = 1024 * 1024;

// Reached from the signal handler: no lazy allocation, hence the static model.
__attribute__((tls_model("initial-exec"))) constinit thread_local FaultThread* gpCurrent = nullptr;

pthread_key_t gThreadEnd;
std::once_flag gThreadEndMade;

// Has the kernel read eight bytes there, for a call that it refuses anyway. Unlike a read of ours it fails without a signal;
// and like one, it makes the main stack grow.
bool IsReadable(std::uintptr_t ulAddress)
{
    constexpr int kiNoSuchOperation = -1;
    return syscall(SYS_rt_sigprocmask, kiNoSuchOperation, ulAddress, nullptr, 8) == 0 || errno != EFAULT;
}

std::uintptr_t StackPointer() { return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)); }

constexpr std::uintptr_t RoundUp(std::uintptr_t ulValue) { return (ulValue + kulPage - 1) & ~(kulPage - 1); }
} // namespace

FaultThread* FaultThread::Current() { return gpCurrent; }

FaultThread* FaultThread::Enter()
{
    if (gpCurrent) return gpCurrent;

    // From the bottom: a page that stops a fault which eats the throw stack up, that stack, this object.
    const std::size_t ulSize = kulPage + kulThrowStack + RoundUp(sizeof(FaultThread));
    void* pMapping = mmap(nullptr, ulSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (pMapping == MAP_FAILED) return nullptr;
    mprotect(pMapping, kulPage, PROT_NONE);

    const auto ulBegin = reinterpret_cast<std::uintptr_t>(pMapping);
    const AddressRange ownStack{ulBegin + kulPage, ulBegin + kulPage + kulThrowStack};
    auto* pThread = new (reinterpret_cast<void*>(ownStack.ulEnd)) FaultThread;
    pThread->mMapping = {ulBegin, ulBegin + ulSize};
    pThread->mbMainThread = getpid() == gettid();
    pThread->TakeAlternateStack(ownStack);
    pThread->SetReserveAside();

    std::call_once(gThreadEndMade, [] { pthread_key_create(&gThreadEnd, [](void*) { Leave(); }); });
    pthread_setspecific(gThreadEnd, pThread);
    gpCurrent = pThread;
    return pThread;
}

void FaultThread::Leave()
{
    FaultThread* pThread = gpCurrent;
    if (!pThread) return;
    gpCurrent = nullptr;
    pthread_setspecific(gThreadEnd, nullptr);
    pThread->GiveBack();
}

void FaultThread::TakeAlternateStack(const AddressRange& own)
{
    sigaltstack(nullptr, &mPrevious);
    if (!(mPrevious.ss_flags & SS_DISABLE) && mPrevious.ss_size >= kulSmallestThrowStack)
    {
        const auto ulBegin = reinterpret_cast<std::uintptr_t>(mPrevious.ss_sp);
        mThrowStack = {ulBegin, ulBegin + mPrevious.ss_size};
        return;
    }
    stack_t stack = {};
    stack.ss_sp = reinterpret_cast<void*>(own.ulBegin);
    stack.ss_size = own.Size();
    mbOwnStack = sigaltstack(&stack, nullptr) == 0;
    mThrowStack = own;
}

void FaultThread::SetReserveAside()
{
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) return;
    void* pLow = nullptr;
    std::size_t ulSize = 0, ulGuard = 0;
    pthread_attr_getstack(&attributes, &pLow, &ulSize);
    pthread_attr_getguardsize(&attributes, &ulGuard);
    pthread_attr_destroy(&attributes);

    const auto ulLow = reinterpret_cast<std::uintptr_t>(pLow);
    mStack = {ulLow, ulLow + ulSize};
    if (ulSize < kulSmallestStackWithReserve) return;

    // A thread's stack is mapped, its guard within it. The main one grows: whatever is mapped at its lowest address stays.
    const std::uintptr_t ulBegin = RoundUp(mbMainThread ? ulLow : ulLow + ulGuard);
    if (StackPointer() < ulBegin + kulReserve + kulPage) return; // too deep already
    void* const pReserve = reinterpret_cast<void*>(ulBegin);
    constexpr int kiFlags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED_NOREPLACE;
    const bool bKept = mbMainThread ? mmap(pReserve, kulReserve, PROT_NONE, kiFlags, -1, 0) == pReserve
                                    : mprotect(pReserve, kulReserve, PROT_NONE) == 0;
    if (bKept) mReserve = {ulBegin, ulBegin + kulReserve};
}

void FaultThread::GiveBack()
{
    if (mReserve.Size() && mbMainThread) munmap(reinterpret_cast<void*>(mReserve.ulBegin), mReserve.Size());
    if (mReserve.Size() && !mbMainThread) OpenReserve();

    // A stack that somebody installed after us stays.
    stack_t current;
    if (mbOwnStack && sigaltstack(nullptr, &current) == 0 && current.ss_sp == reinterpret_cast<void*>(mThrowStack.ulBegin))
    {
        mPrevious.ss_flags &= ~SS_ONSTACK;
        sigaltstack(&mPrevious, nullptr);
    }
    const AddressRange mapping = mMapping;
    munmap(reinterpret_cast<void*>(mapping.ulBegin), mapping.Size()); // this object with it
}

bool FaultThread::IsStackOverflow(std::uintptr_t ulAddress, std::uintptr_t ulStackPointer, bool bUnmapped) const
{
    if (mReserve.Contains(ulAddress)) return true;

    // At the guard, or where the main stack could not grow.
    const std::uintptr_t ulUsable = mReserve.Size() ? mReserve.ulEnd : mStack.ulBegin + kulPage;
    const AddressRange below{mStack.ulBegin - (mbMainThread ? kulBelowMainStack : kulPage), ulUsable};
    if (mStack.Size() && below.Contains(ulAddress)) return true;
    if (mbMainThread && bUnmapped && mStack.Contains(ulAddress)) return true;

    // A large frame steps over all that: the stack pointer has left the stack, and the access belongs to it.
    const AddressRange frame{ulStackPointer - kulNearStackPointer, ulStackPointer + kulNearStackPointer};
    return mStack.Size() && !AddressRange{ulUsable, mStack.ulEnd}.Contains(ulStackPointer) && frame.Contains(ulAddress);
}

bool FaultThread::OpenReserve()
{
    if (!mReserve.Size() || mbReserveOpen) return false;
    // Let the main stack grow down to the reserve first: beside accessible memory the kernel lets it grow no more.
    if (mbMainThread && !IsReadable(mReserve.ulEnd)) return false;
    mbReserveOpen = mprotect(reinterpret_cast<void*>(mReserve.ulBegin), mReserve.Size(), PROT_READ | PROT_WRITE) == 0;
    return mbReserveOpen;
}

bool FaultThread::CloseReserve(std::uintptr_t ulStackPointer)
{
    if (!mbReserveOpen) return true;
    // The page above the reserve counts too: what the caller still pushes must not end in it.
    if (AddressRange{mReserve.ulBegin, mReserve.ulEnd + kulPage}.Contains(ulStackPointer)) return false;
    mbReserveOpen = mprotect(reinterpret_cast<void*>(mReserve.ulBegin), mReserve.Size(), PROT_NONE) != 0;
    return !mbReserveOpen;
}
} // namespace lum

int _resetstkoflw()
{
    lum::FaultThread* pThread = lum::FaultThread::Current();
    return !pThread || pThread->CloseReserve(lum::StackPointer());
}
