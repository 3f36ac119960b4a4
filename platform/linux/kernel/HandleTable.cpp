// The handle table. Slots lie in segments that are never given back, so a slot can be looked at whatever becomes of it.
//
// A slot's whole state is one word: its generation, whether it is live, and a lock bit that is held for a few instructions.
// Free slots form a lock-free stack. Nothing waits for another thread longer than one of those few-instruction stretches.
#include "HandleTable.h"

#include <pthread.h>
#include <sched.h>

#include <cstdlib>

namespace lum
{
namespace
{
// A value is index and generation above two zero bits, and stays below 0x80000000, where the predefined keys begin.
constexpr ULONG kulIndexBits = 17;
constexpr ULONG kulGenerationBits = 12;
constexpr ULONG kulMaxSlots = 1u << kulIndexBits;
constexpr ULONG kulSegmentSlots = 1024;
constexpr ULONG kulSegments = kulMaxSlots / kulSegmentSlots;
constexpr ULONG kulNoSlot = kulMaxSlots;
static_assert(2 + kulIndexBits + kulGenerationBits == 31);

constexpr ULONG kulLocked = 1;
constexpr ULONG kulLive = 2;
constexpr ULONG kulOneGeneration = 4;
constexpr ULONG kulGenerationMask = ((1u << kulGenerationBits) - 1) * kulOneGeneration;

struct Slot
{
    std::atomic<ULONG> mulState;
    ULONG mulAccess;
    KernelObject* mpObject;
    std::atomic<ULONG> mulNextFree;
};

// Constant-initialised and never destroyed: other files' constructors and destructors may use handles.
constinit std::atomic<Slot*> gpSegments[kulSegments] = {};
constinit std::atomic<ULONG> gulUsedSlots{1};                    // slots ever handed out; 0 is kept free, so that no handle is null
constinit std::atomic<std::uint64_t> gullFreeList{kulNoSlot};    // low half: first free slot; high half: counts changes

Slot& SlotAt(ULONG ulIndex)
{
    return gpSegments[ulIndex / kulSegmentSlots].load(std::memory_order_acquire)[ulIndex % kulSegmentSlots];
}

// After fork() only the calling thread is left: a lock that another one held would never be given back.
void UnlockAfterFork()
{
    for (std::atomic<Slot*>& segment : gpSegments)
    {
        Slot* pSlots = segment.load(std::memory_order_relaxed);
        if (!pSlots) continue;
        for (ULONG i = 0; i < kulSegmentSlots; ++i) pSlots[i].mulState.fetch_and(~kulLocked, std::memory_order_relaxed);
    }
}

bool EnsureSegment(ULONG ulSegment)
{
    if (gpSegments[ulSegment].load(std::memory_order_acquire)) return true;

    auto* pSlots = static_cast<Slot*>(std::calloc(kulSegmentSlots, sizeof(Slot)));
    if (!pSlots) return false;

    Slot* pExpected = nullptr;
    if (!gpSegments[ulSegment].compare_exchange_strong(pExpected, pSlots, std::memory_order_acq_rel))
    {
        std::free(pSlots); // another thread was quicker
        return true;
    }
    if (ulSegment == 0) pthread_atfork(nullptr, nullptr, UnlockAfterFork);
    return true;
}

ULONG PopFreeSlot()
{
    std::uint64_t ullHead = gullFreeList.load(std::memory_order_acquire);
    for (;;)
    {
        const ULONG ulIndex = static_cast<ULONG>(ullHead);
        if (ulIndex == kulNoSlot) return kulNoSlot;
        const std::uint64_t ullNext =
            ((ullHead >> 32) + 1) << 32 | SlotAt(ulIndex).mulNextFree.load(std::memory_order_relaxed);
        if (gullFreeList.compare_exchange_weak(ullHead, ullNext, std::memory_order_acquire)) return ulIndex;
    }
}

void PushFreeSlot(ULONG ulIndex)
{
    Slot& slot = SlotAt(ulIndex);
    std::uint64_t ullHead = gullFreeList.load(std::memory_order_relaxed);
    std::uint64_t ullNew;
    do
    {
        slot.mulNextFree.store(static_cast<ULONG>(ullHead), std::memory_order_relaxed);
        ullNew = ((ullHead >> 32) + 1) << 32 | ulIndex;
    } while (!gullFreeList.compare_exchange_weak(ullHead, ullNew, std::memory_order_release, std::memory_order_relaxed));
}

ULONG TakeSlot()
{
    const ULONG ulFree = PopFreeSlot();
    if (ulFree != kulNoSlot) return ulFree;

    ULONG ulNew = gulUsedSlots.load(std::memory_order_relaxed);
    do
    {
        if (ulNew == kulMaxSlots || !EnsureSegment(ulNew / kulSegmentSlots)) return kulNoSlot;
    } while (!gulUsedSlots.compare_exchange_weak(ulNew, ulNew + 1, std::memory_order_relaxed));
    return ulNew;
}

// The slot that a handle value names and the state it must have for the value to be good; null for a value we never made.
Slot* Decode(HANDLE hObject, ULONG& ulIndex, ULONG& ulWanted)
{
    const auto ulValue = reinterpret_cast<ULONG_PTR>(hObject);
    if ((ulValue & 3) != 0 || ulValue >= 0x80000000u) return nullptr;
    ulIndex = static_cast<ULONG>(ulValue >> 2) & (kulMaxSlots - 1);
    ulWanted = (static_cast<ULONG>(ulValue >> (2 + kulIndexBits)) * kulOneGeneration) | kulLive;

    Slot* pSlots = gpSegments[ulIndex / kulSegmentSlots].load(std::memory_order_acquire);
    return pSlots ? &pSlots[ulIndex % kulSegmentSlots] : nullptr;
}

// Locks a slot in the wanted state; false when it is in another one.
bool LockSlot(Slot& slot, ULONG ulWanted)
{
    for (ULONG ulTries = 1;; ++ulTries)
    {
        ULONG ulState = ulWanted;
        if (slot.mulState.compare_exchange_weak(ulState, ulWanted | kulLocked, std::memory_order_acquire)) return true;
        if ((ulState & ~kulLocked) != ulWanted) return false;
        if (ulTries % 64 == 0) sched_yield(); // the holder was interrupted in its few instructions
        else __builtin_ia32_pause();
    }
}
// The object behind a handle, of that kind or (null) of any, counted once more; null for anything else.
inline KernelObject* AddRefBehind(HANDLE hObject, const ObjectKind* peKind, DWORD& ulAccess)
{
    ULONG ulIndex = 0, ulWanted = 0;
    Slot* pSlot = Decode(hObject, ulIndex, ulWanted);
    if (!pSlot || !LockSlot(*pSlot, ulWanted)) return nullptr;

    KernelObject* pObject = pSlot->mpObject;
    ulAccess = pSlot->mulAccess;
    if (!peKind || pObject->Kind() == *peKind) pObject->AddRef();
    else pObject = nullptr;
    pSlot->mulState.store(ulWanted, std::memory_order_release);
    return pObject;
}
} // namespace

HANDLE InsertHandle(KernelObject* pObject, DWORD ulAccess)
{
    const ULONG ulIndex = TakeSlot();
    if (ulIndex == kulNoSlot)
    {
        pObject->Release();
        return nullptr;
    }
    Slot& slot = SlotAt(ulIndex);
    slot.mulAccess = ulAccess;
    slot.mpObject = pObject;
    const ULONG ulGeneration = slot.mulState.load(std::memory_order_relaxed) & kulGenerationMask;
    slot.mulState.store(ulGeneration | kulLive, std::memory_order_release);
    return reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>((ulGeneration / kulOneGeneration << kulIndexBits | ulIndex) << 2));
}

ObjectRef LookUpHandle(HANDLE hObject, ObjectKind eKind, DWORD* pulAccess)
{
    DWORD ulAccess = 0;
    KernelObject* pObject = AddRefBehind(hObject, &eKind, ulAccess);
    if (pObject && pulAccess) *pulAccess = ulAccess;
    return ObjectRef(pObject);
}

ObjectRef LookUpHandle(HANDLE hObject, DWORD* pulAccess)
{
    return ObjectRef(AddRefBehind(hObject, nullptr, *pulAccess));
}

HANDLE CopyHandle(HANDLE hObject, bool& bFull)
{
    DWORD ulAccess = 0;
    KernelObject* pObject = AddRefBehind(hObject, nullptr, ulAccess);
    if (!pObject) return nullptr;
    const HANDLE hCopy = InsertHandle(pObject, ulAccess);
    bFull = hCopy == nullptr;
    return hCopy;
}

bool RemoveHandle(HANDLE hObject)
{
    ULONG ulIndex = 0, ulWanted = 0;
    Slot* pSlot = Decode(hObject, ulIndex, ulWanted);
    if (!pSlot || !LockSlot(*pSlot, ulWanted)) return false;

    KernelObject* pObject = pSlot->mpObject;
    pSlot->mpObject = nullptr;
    pSlot->mulState.store((ulWanted + kulOneGeneration) & kulGenerationMask, std::memory_order_release);
    PushFreeSlot(ulIndex);
    pObject->Release();
    return true;
}
} // namespace lum
