#include "MutexObject.h"

#include "RobustMutex.h"
#include "System.h"

#include <sys/mman.h>

#include <cerrno>
#include <mutex>
#include <new>
#include <vector>

namespace lum
{
namespace
{
struct Grave
{
    MutexState* pState;
    MutexMapping mapping;

    // Frees what nobody owns any more.
    bool Clear() const
    {
        if (OwnerIn(LockWord(pState->mutex).load(std::memory_order_acquire)) != 0) return false;
        if (mapping.ulBytes != 0) munmap(mapping.pBase, mapping.ulBytes);
        else delete pState;
        return true;
    }
};

struct Graves
{
    std::mutex mutex;
    std::vector<Grave> graves;
};

Graves& TheGraves()
{
    static Graves& graves = *new Graves; // never destroyed: threads may own what lies here to the very end
    return graves;
}
} // namespace

void BuryMutex(MutexState* pState, const MutexMapping& mapping)
{
    Graves& all = TheGraves();
    const std::lock_guard guard(all.mutex);
    std::erase_if(all.graves, [](const Grave& grave) { return grave.Clear(); });
    all.graves.push_back({pState, mapping});
}

bool ExhumeMutex(MutexMapping& mapping)
{
    Graves& all = TheGraves();
    const std::lock_guard guard(all.mutex);
    for (auto it = all.graves.begin(); it != all.graves.end(); ++it)
    {
        const MutexMapping& old = it->mapping;
        if (old.ulBytes == 0 || old.ullDevice != mapping.ullDevice || old.ullInode != mapping.ullInode) continue;
        mapping = old;
        all.graves.erase(it);
        return true;
    }
    return false;
}

MutexObject* MutexObject::Make()
{
    auto* pState = new (std::nothrow) MutexState{};
    if (!pState) return nullptr;
    InitOwnedMutex(pState->mutex, MutexReach::Process);
    auto* pMutex = new (std::nothrow) MutexObject(pState, false);
    if (!pMutex) delete pState;
    return pMutex;
}

MutexObject::~MutexObject()
{
    if (mbShared) return;
    while (Release()) {}
    if (IsOwnedHere())
    {
        BuryMutex(mpState, {});
        return;
    }
    pthread_mutex_destroy(&mpState->mutex);
    delete mpState;
}

bool MutexObject::IsOwnedHere() const
{
    const ULONG ulOwner = OwnerIn(LockWord(mpState->mutex).load(std::memory_order_acquire));
    return ulOwner != 0 && ulOwner == mulLastOwnerHere.load(std::memory_order_relaxed);
}

void MutexObject::NoteOwner()
{
    mulLastOwnerHere.store(OwnerIn(LockWord(mpState->mutex).load(std::memory_order_relaxed)), std::memory_order_relaxed);
}

bool MutexObject::Release()
{
    if (OwnerIn(LockWord(mpState->mutex).load(std::memory_order_relaxed)) != GetCurrentThreadId()) return false;
    pthread_mutex_unlock(&mpState->mutex);
    return true;
}

// What the system's answer to an attempt to take it means.
Took MutexObject::Owned(int iResult)
{
    if (iResult == EBUSY || iResult == ETIMEDOUT) return Took::No;
    if (iResult == EOWNERDEAD) pthread_mutex_consistent(&mpState->mutex);
    else if (iResult != 0) return Took::Failed;
    NoteOwner();
    return iResult == 0 ? Took::Yes : Took::Abandoned;
}

Took MutexObject::Try() { return Owned(pthread_mutex_trylock(&mpState->mutex)); }

Took MutexObject::Begin(WaitPlace& place)
{
    FutexWord& word = LockWord(mpState->mutex);
    for (;;)
    {
        ULONG ulWord = word.load(std::memory_order_relaxed);
        if (OwnerIn(ulWord) == 0)
        {
            const Took eTook = Try();
            if (eTook != Took::No) return eTook;
            continue;
        }
        place.sleep = {&word, ulWord | FUTEX_WAITERS, true}; // the kernel wakes those alone who sleep as on shared memory
        if (ulWord & FUTEX_WAITERS) return Took::No;
        if (word.compare_exchange_weak(ulWord, ulWord | FUTEX_WAITERS, std::memory_order_relaxed)) return Took::No;
    }
}

Took MutexObject::Check(WaitPlace& place)
{
    const Took eTook = Try();
    if (eTook == Took::No) return Begin(place);
    LockWord(mpState->mutex).fetch_or(FUTEX_WAITERS, std::memory_order_relaxed); // others may sleep still
    return eTook;
}

// Whoever leaves may have been the one that was woken: another one is to know that the mutex is free, or will come free.
Took MutexObject::Leave(WaitPlace&)
{
    FutexWord& word = LockWord(mpState->mutex);
    ULONG ulWord = word.load(std::memory_order_relaxed);
    while (OwnerIn(ulWord) != 0 && !(ulWord & FUTEX_WAITERS))
        if (word.compare_exchange_weak(ulWord, ulWord | FUTEX_WAITERS, std::memory_order_relaxed)) return Took::No;
    if (OwnerIn(ulWord) == 0) WakeOne(word, true);
    return Took::No;
}

void MutexObject::GiveBack() { Release(); }

Took MutexObject::Wait(const Deadline& deadline)
{
#ifdef __SANITIZE_THREAD__
    return Waitable::Wait(deadline); // this sanitizer does not know pthread_mutex_clocklock, and would not see that it locks
#endif
    for (;;)
    {
        const Deadline next = mbShared ? deadline.NoLaterThanIn(kulLookAgainMs) : deadline;
        const timespec* pMoment = next.Moment();
        const Took eTook = Owned(pMoment ? pthread_mutex_clocklock(&mpState->mutex, CLOCK_MONOTONIC, pMoment)
                                         : pthread_mutex_lock(&mpState->mutex));
        if (eTook != Took::No || !next.IsBefore(deadline)) return eTook;
    }
}
} // namespace lum
