// Critical sections on a futex. One word says who the owner is and whether anybody waits: taking and leaving a section that nobody
// else wants is one atomic step each, and no other store.
#include "Sync.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <bit>

namespace
{
constexpr ULONG_PTR kulFree = 0, kulWaitedFor = 1;
constexpr int kiSpins = 100; // short holds end within this; longer ones are slept through

// Where the thread's own memory is: no two threads share it, bit 0 is free, and it stays the same across fork().
inline ULONG_PTR ThreadNumber() { return reinterpret_cast<ULONG_PTR>(__builtin_thread_pointer()); }

// The futex is the word's lower half, where bit 0 is. Owners whose numbers differ in the upper half alone look the same to a
// sleeper, which does no harm: each of them finds bit 0 set when it leaves, and wakes somebody.
long Futex(CRITICAL_SECTION& section, int iOperation, DWORD ulValue)
{
    static_assert(std::endian::native == std::endian::little);
    return syscall(SYS_futex, &section.ulOwner, iOperation | FUTEX_PRIVATE_FLAG, ulValue, nullptr, nullptr, 0);
}

inline bool Take(CRITICAL_SECTION& section, ULONG_PTR ulOwner)
{
    ULONG_PTR ulExpected = kulFree;
    return std::atomic_ref(section.ulOwner).compare_exchange_strong(ulExpected, ulOwner, std::memory_order_acquire);
}

// Another thread may be writing the owner, but never the number of the thread that asks.
inline bool IsOwner(CRITICAL_SECTION& section, ULONG_PTR ulThread)
{
    return (std::atomic_ref(section.ulOwner).load(std::memory_order_relaxed) & ~kulWaitedFor) == ulThread;
}

// Enters a section that is owned.
__attribute__((noinline)) void EnterOwned(CRITICAL_SECTION& section, ULONG_PTR ulThread)
{
    if (IsOwner(section, ulThread))
    {
        ++section.lAgain;
        return;
    }
    std::atomic_ref owner(section.ulOwner);
    for (int i = 0; i < kiSpins; ++i)
    {
        if (owner.load(std::memory_order_relaxed) == kulFree && Take(section, ulThread)) return;
        __builtin_ia32_pause();
    }
    for (;;)
    {
        // Whoever has slept cannot know whether others still do, and takes the section in the state that wakes them.
        if (Take(section, ulThread | kulWaitedFor)) return;
        ULONG_PTR ulNow = owner.load(std::memory_order_relaxed);
        if (ulNow == kulFree) continue;
        const ULONG_PTR ulWaited = ulNow | kulWaitedFor;
        if (ulNow == ulWaited || owner.compare_exchange_weak(ulNow, ulWaited, std::memory_order_relaxed))
            Futex(section, FUTEX_WAIT, static_cast<DWORD>(ulWaited));
    }
}
} // namespace

void InitializeCriticalSection(LPCRITICAL_SECTION pSection) { *pSection = CRITICAL_SECTION{}; }

void EnterCriticalSection(LPCRITICAL_SECTION pSection)
{
    const ULONG_PTR ulThread = ThreadNumber();
    if (!Take(*pSection, ulThread)) EnterOwned(*pSection, ulThread);
}

BOOL TryEnterCriticalSection(LPCRITICAL_SECTION pSection)
{
    const ULONG_PTR ulThread = ThreadNumber();
    if (Take(*pSection, ulThread)) return TRUE;
    if (!IsOwner(*pSection, ulThread)) return FALSE;
    ++pSection->lAgain;
    return TRUE;
}

void LeaveCriticalSection(LPCRITICAL_SECTION pSection)
{
    if (pSection->lAgain > 0)
    {
        --pSection->lAgain;
        return;
    }
    if (std::atomic_ref(pSection->ulOwner).exchange(kulFree, std::memory_order_release) & kulWaitedFor)
        Futex(*pSection, FUTEX_WAKE, 1);
}

void DeleteCriticalSection(LPCRITICAL_SECTION pSection) { *pSection = CRITICAL_SECTION{}; }
