// What a thread with a fault translator has: a stack to throw from, and room at the end of its own. Internal to platform/linux.
#pragma once

#include "Platform.h"

#include "FaultCallSite.h"
#include "FaultTrampoline.h"

#include <csignal>
#include <cstddef>
#include <cstdint>

namespace lum
{
struct AddressRange
{
    std::uintptr_t ulBegin = 0, ulEnd = 0;

    bool Contains(std::uintptr_t ulAddress) const { return ulAddress - ulBegin < ulEnd - ulBegin; }
    std::size_t Size() const { return ulEnd - ulBegin; }
};

class FaultThread
{
public:
    // Current: the calling thread's, null when it has no translator. Safe in a signal handler.
    static FaultThread* Current();
    // Enter: the calling thread's, made when it has none; null without memory. It ends with the thread, or with Leave.
    static FaultThread* Enter();
    static void Leave();

    LumFaultTranslator mpTranslator = nullptr;
    FaultFrame mFrame = {};
    // While an overflow runs on to where it can be thrown from: that function, and the instructions left to try.
    GuardedFunction mAwaited;
    unsigned muSteps = 0;

    // From here on: safe in a signal handler.

    const AddressRange& ThrowStack() const { return mThrowStack; }
    // IsStackOverflow: whether an access to ulAddress failed because the stack ends there. bUnmapped: nothing is mapped there.
    bool IsStackOverflow(std::uintptr_t ulAddress, std::uintptr_t ulStackPointer, bool bUnmapped) const;
    // OpenReserve: gives the kept-back room to the stack; false when there is none, or none any more. CloseReserve: takes it
    //   back unless ulStackPointer stands in it.
    bool OpenReserve();
    bool CloseReserve(std::uintptr_t ulStackPointer);

private:
    FaultThread() = default;
    void TakeAlternateStack(const AddressRange& own);
    void SetReserveAside();
    void GiveBack();

    AddressRange mMapping;    // everything of ours, this object included
    AddressRange mThrowStack; // the thread's alternate signal stack
    stack_t mPrevious = {};   // what it was before; without SS_DISABLE in its flags only if ours replaced it
    bool mbOwnStack = false;

    bool mbMainThread = false;
    AddressRange mStack;   // the thread's stack as far as it may grow; empty when unknown
    AddressRange mReserve; // its lowest usable part; empty when none is kept back
    bool mbReserveOpen = false;
};
} // namespace lum
