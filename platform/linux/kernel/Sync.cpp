// Critical sections on a futex: free, owned, owned and waited for. Only the third state costs a system call.
#include "Sync.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>

namespace
{
constexpr DWORD kulFree = 0, kulOwned = 1, kulWaitedFor = 2;
constexpr int kiSpins = 100; // short holds end within this; longer ones are slept through

// Its address is the thread's number: no two threads share it, and it stays the same across fork().
__attribute__((tls_model("initial-exec"))) constinit thread_local char gcThread = 0;

inline ULONG_PTR ThreadNumber() { return reinterpret_cast<ULONG_PTR>(&gcThread); }

long Futex(DWORD* pulWord, int iOperation, DWORD ulValue)
{
    return syscall(SYS_futex, pulWord, iOperation | FUTEX_PRIVATE_FLAG, ulValue, nullptr, nullptr, 0);
}

inline bool Take(CRITICAL_SECTION& section)
{
    DWORD ulExpected = kulFree;
    return std::atomic_ref(section.ulState).compare_exchange_strong(ulExpected, kulOwned, std::memory_order_acquire);
}

__attribute__((noinline)) void WaitFor(CRITICAL_SECTION& section)
{
    std::atomic_ref state(section.ulState);
    for (int i = 0; i < kiSpins; ++i)
    {
        if (state.load(std::memory_order_relaxed) == kulFree && Take(section)) return;
        __builtin_ia32_pause();
    }
    // Whoever has slept cannot know whether others still do, and takes the section in the state that wakes them.
    while (state.exchange(kulWaitedFor, std::memory_order_acquire) != kulFree) Futex(&section.ulState, FUTEX_WAIT, kulWaitedFor);
}

// Another thread may be writing the owner, but never the number of the thread that asks.
inline bool IsOwner(CRITICAL_SECTION& section, ULONG_PTR ulThread)
{
    return std::atomic_ref(section.ulOwner).load(std::memory_order_relaxed) == ulThread;
}

inline void SetOwner(CRITICAL_SECTION& section, ULONG_PTR ulThread)
{
    std::atomic_ref(section.ulOwner).store(ulThread, std::memory_order_relaxed);
}
} // namespace

void InitializeCriticalSection(LPCRITICAL_SECTION pSection) { *pSection = CRITICAL_SECTION{}; }

void EnterCriticalSection(LPCRITICAL_SECTION pSection)
{
    const ULONG_PTR ulThread = ThreadNumber();
    if (!Take(*pSection))
    {
        if (IsOwner(*pSection, ulThread))
        {
            ++pSection->lRecursion;
            return;
        }
        WaitFor(*pSection);
    }
    SetOwner(*pSection, ulThread);
    pSection->lRecursion = 1;
}

BOOL TryEnterCriticalSection(LPCRITICAL_SECTION pSection)
{
    const ULONG_PTR ulThread = ThreadNumber();
    if (Take(*pSection))
    {
        SetOwner(*pSection, ulThread);
        pSection->lRecursion = 1;
        return TRUE;
    }
    if (!IsOwner(*pSection, ulThread)) return FALSE;
    ++pSection->lRecursion;
    return TRUE;
}

void LeaveCriticalSection(LPCRITICAL_SECTION pSection)
{
    if (--pSection->lRecursion > 0) return;

    SetOwner(*pSection, 0);
    if (std::atomic_ref(pSection->ulState).exchange(kulFree, std::memory_order_release) == kulWaitedFor)
        Futex(&pSection->ulState, FUTEX_WAKE, 1);
}

void DeleteCriticalSection(LPCRITICAL_SECTION pSection) { *pSection = CRITICAL_SECTION{}; }
