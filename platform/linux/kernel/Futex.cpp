#include "Futex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace lum
{
namespace
{
constexpr long klNanosecondsPerSecond = 1'000'000'000;
constexpr ULONG kulMostWords = 64;
constexpr DWORD kulNapMs = 2;

std::atomic<bool> gbOneWordOnly{false}; // the kernel has said that it cannot sleep on several

int Flags(bool bShared) { return bShared ? 0 : FUTEX_PRIVATE_FLAG; }

timespec Now()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

bool IsEarlier(const timespec& a, const timespec& b)
{
    return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_nsec < b.tv_nsec;
}
} // namespace

Deadline::Deadline(DWORD ulMilliseconds) : mbNever(ulMilliseconds == INFINITE)
{
    if (mbNever) return;
    mMoment = Now();
    mMoment.tv_sec += ulMilliseconds / 1000;
    mMoment.tv_nsec += static_cast<long>(ulMilliseconds % 1000) * 1'000'000;
    if (mMoment.tv_nsec < klNanosecondsPerSecond) return;
    mMoment.tv_nsec -= klNanosecondsPerSecond;
    ++mMoment.tv_sec;
}

bool Deadline::IsBefore(const Deadline& other) const
{
    return !mbNever && (other.mbNever || IsEarlier(mMoment, other.mMoment));
}

Deadline Deadline::NoLaterThanIn(DWORD ulMilliseconds) const
{
    const Deadline soon(ulMilliseconds);
    return soon.IsBefore(*this) ? soon : *this;
}

bool SleepOn(const SleepWord& sleep, const Deadline& deadline)
{
    const long lResult = syscall(SYS_futex, sleep.pWord, FUTEX_WAIT_BITSET | Flags(sleep.bShared), sleep.ulWhile,
                                 deadline.Moment(), nullptr, FUTEX_BITSET_MATCH_ANY);
    return lResult == 0 || errno != ETIMEDOUT;
}

bool SleepOnAny(const SleepWord* pSleeps, ULONG ulCount, const Deadline& deadline)
{
    if (ulCount == 1) return SleepOn(*pSleeps, deadline);
    if (!gbOneWordOnly.load(std::memory_order_relaxed))
    {
        futex_waitv aWords[kulMostWords];
        for (ULONG i = 0; i < ulCount; ++i)
            aWords[i] = {pSleeps[i].ulWhile, reinterpret_cast<ULONG_PTR>(pSleeps[i].pWord),
                         static_cast<ULONG>(FUTEX_32 | Flags(pSleeps[i].bShared)), 0};
        const long lResult = syscall(SYS_futex_waitv, aWords, ulCount, 0, deadline.Moment(), CLOCK_MONOTONIC);
        if (lResult >= 0) return true;
        if (errno != ENOSYS && errno != EPERM) return errno != ETIMEDOUT; // EPERM: a sandbox that does not know the call
        gbOneWordOnly.store(true, std::memory_order_relaxed);
    }
    const Deadline soon = deadline.NoLaterThanIn(kulNapMs);
    return SleepOn(*pSleeps, soon) || soon.IsBefore(deadline);
}

void WakeOne(FutexWord& word, bool bShared) { syscall(SYS_futex, &word, FUTEX_WAKE | Flags(bShared), 1, nullptr, nullptr, 0); }

void RaiseAndWake(FutexWord& word, ULONG ulBits, int iSleepers, bool bShared)
{
    // The comparison would wake more who sleep on the word; it is one that is never true.
    const ULONG ulStep = FUTEX_OP(FUTEX_OP_OR, ulBits, FUTEX_OP_CMP_EQ, 0);
    syscall(SYS_futex, &word, FUTEX_WAKE_OP | Flags(bShared), iSleepers, nullptr, &word, ulStep);
}
} // namespace lum
