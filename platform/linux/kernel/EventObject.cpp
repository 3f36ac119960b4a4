#include "EventObject.h"

#include "RobustMutex.h"

#include <bit>
#include <cerrno>
#include <climits>
#include <new>

namespace lum
{
namespace
{
constexpr ULONG kulSignalled = 1, kulWaitedFor = 2, kulOneReset = 4;

// A process that was killed between the two left whole slots and a whole word: nothing to repair.
struct Guard
{
    explicit Guard(pthread_mutex_t& mutex) : mMutex(mutex)
    {
        if (pthread_mutex_lock(&mMutex) == EOWNERDEAD) pthread_mutex_consistent(&mMutex);
    }
    ~Guard() { pthread_mutex_unlock(&mMutex); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

    pthread_mutex_t& mMutex;
};
} // namespace

void InitEventState(EventState& state, bool bManual, bool bSignalled, bool bShared)
{
    for (pthread_mutex_t* pLock : {&state.queueLock, &state.handLock})
        InitMutex(*pLock, bShared ? MutexReach::Machine : MutexReach::Process);
    state.ulWord.store(bSignalled ? kulSignalled : 0, std::memory_order_relaxed);
    state.ulManual = bManual;
    state.ullNextOrder = 0;
    state.ulSlots = 0;
    state.ulRoom.store(0, std::memory_order_relaxed);
}

EventObject::EventObject(bool bManual, bool bSignalled) : Waitable(ObjectKind::Event), mState(mOwn), mbShared(false)
{
    InitEventState(mOwn, bManual, bSignalled, false);
}

EventObject::~EventObject()
{
    if (mbShared) return;
    for (EventSlot* pBlock : mapBlocks) delete[] pBlock;
    pthread_mutex_destroy(&mOwn.queueLock);
    pthread_mutex_destroy(&mOwn.handLock);
}

// Block k begins at slot (2^k - 1) * kulFirstBlock.
EventSlot* EventObject::SlotAt(ULONG ulSlot)
{
    const ULONG ulBlock = static_cast<ULONG>(std::bit_width(ulSlot / kulFirstBlock + 1)) - 1;
    if (ulBlock >= kulBlocks) return nullptr;
    const ULONG ulStart = ((1u << ulBlock) - 1) * kulFirstBlock;
    EventSlot*& pBlock = mapBlocks[ulBlock];
    if (!pBlock) pBlock = new (std::nothrow) EventSlot[kulFirstBlock << ulBlock]{};
    return pBlock ? &pBlock[ulSlot - ulStart] : nullptr;
}

void EventObject::Set()
{
    ULONG ulWord = mState.ulWord.load(std::memory_order_relaxed);
    for (;;)
    {
        if ((ulWord & kulWaitedFor) && !(ulWord & kulSignalled))
        {
            if (!mState.ulManual)
            {
                if (HandOver()) return;
                ulWord = mState.ulWord.load(std::memory_order_relaxed);
                continue;
            }
            mState.ulWord.fetch_or(0, std::memory_order_release); // what this thread did is seen by those it wakes
            return RaiseAndWake(mState.ulWord, kulSignalled, INT_MAX, mbShared);
        }
        if (mState.ulWord.compare_exchange_weak(ulWord, ulWord | kulSignalled, std::memory_order_release, std::memory_order_relaxed))
            return;
    }
}

void EventObject::Reset()
{
    ULONG ulWord = mState.ulWord.load(std::memory_order_relaxed);
    while (ulWord & kulSignalled)
    {
        const ULONG ulNew = mState.ulManual ? (ulWord & ~(kulSignalled | kulWaitedFor)) + kulOneReset : 0;
        if (mState.ulWord.compare_exchange_weak(ulWord, ulNew, std::memory_order_acq_rel, std::memory_order_relaxed)) return;
    }
}

Took EventObject::Try()
{
    if (mState.ulManual) return mState.ulWord.load(std::memory_order_acquire) & kulSignalled ? Took::Yes : Took::No;
    ULONG ulWord = mState.ulWord.load(std::memory_order_relaxed);
    while (ulWord == kulSignalled)
        if (mState.ulWord.compare_exchange_weak(ulWord, 0, std::memory_order_acquire, std::memory_order_relaxed)) return Took::Yes;
    return Took::No;
}

Took EventObject::Begin(WaitPlace& place)
{
    if (mState.ulManual)
    {
        ULONG ulWord = mState.ulWord.load(std::memory_order_acquire);
        for (;;)
        {
            if (ulWord & kulSignalled) return Took::Yes;
            place.sleep = {&mState.ulWord, ulWord | kulWaitedFor, mbShared};
            if (ulWord & kulWaitedFor) return Took::No;
            if (mState.ulWord.compare_exchange_weak(ulWord, ulWord | kulWaitedFor, std::memory_order_acquire)) return Took::No;
        }
    }

    const Guard queue(mState.queueLock);
    ULONG ulWord = 0;
    while (!mState.ulWord.compare_exchange_weak(ulWord, kulWaitedFor, std::memory_order_relaxed))
    {
        if (ulWord == kulWaitedFor) break;
        if (Try() == Took::Yes) return Took::Yes;
        ulWord = 0;
    }
    EventSlot* pSlot = TakeSlot(place.ulSlot);
    if (!pSlot) return Took::Failed;
    pSlot->ullOrder = mState.ullNextOrder++;
    pSlot->ulState.store(kulSlotWaiting, std::memory_order_relaxed);
    place.sleep = {&pSlot->ulState, kulSlotWaiting, mbShared};
    return Took::No;
}

Took EventObject::Check(WaitPlace& place)
{
    if (mState.ulManual) return mState.ulWord.load(std::memory_order_acquire) != place.sleep.ulWhile ? Took::Yes : Took::No;

    if (place.sleep.pWord->load(std::memory_order_acquire) == kulSlotWaiting) return Took::No;
    EventSlot& slot = *SlotAt(place.ulSlot);
    slot.ulHandedBefore.load(std::memory_order_acquire);
    FreeSlot(slot);
    return Took::Yes;
}

Took EventObject::Leave(WaitPlace& place)
{
    if (mState.ulManual) return Check(place);
    const Guard hand(mState.handLock), queue(mState.queueLock);
    if (Check(place) == Took::Yes) return Took::Yes;
    FreeSlot(*SlotAt(place.ulSlot));
    return Took::No;
}

void EventObject::GiveBack()
{
    if (!mState.ulManual) Set();
}

bool EventObject::IsAlive(const EventSlot& slot) const
{
    return !mbShared || !(LockWord(const_cast<EventSlot&>(slot).life).load(std::memory_order_acquire) & FUTEX_OWNER_DIED);
}

// With the queue locked. A slot is free when it says so, or when whoever had it has died; its life is held from here on.
EventSlot* EventObject::TakeSlot(ULONG& ulSlot)
{
    for (ulSlot = 0;; ++ulSlot)
    {
        EventSlot* pSlot = SlotAt(ulSlot);
        if (!pSlot) return nullptr;
        const bool bNew = ulSlot == mState.ulSlots;
        if (bNew && mbShared) InitMutex(pSlot->life, MutexReach::Machine);
        if (bNew) ++mState.ulSlots;
        if (!bNew && IsAlive(*pSlot) && pSlot->ulState.load(std::memory_order_acquire) != kulSlotFree) continue;
        if (!mbShared) return pSlot;

        const int iTaken = pthread_mutex_trylock(&pSlot->life);
        if (iTaken == EOWNERDEAD) pthread_mutex_consistent(&pSlot->life);
        if (iTaken == 0 || iTaken == EOWNERDEAD) return pSlot;
        // whoever had it has yet to let go: the next one
    }
}

void EventObject::FreeSlot(EventSlot& slot)
{
    slot.ulState.store(kulSlotFree, std::memory_order_release);
    if (mbShared) pthread_mutex_unlock(&slot.life);
}

// The slot of whoever lives and waits longest; null when nobody does. With the queue locked.
EventSlot* EventObject::FirstInQueue()
{
    EventSlot* pFirst = nullptr;
    for (ULONG i = 0; i < mState.ulSlots; ++i)
    {
        EventSlot* pSlot = SlotAt(i);
        if (!pSlot || pSlot->ulState.load(std::memory_order_relaxed) != kulSlotWaiting || !IsAlive(*pSlot)) continue;
        if (!pFirst || pSlot->ullOrder < pFirst->ullOrder) pFirst = pSlot;
    }
    return pFirst;
}

// Hands the event to whoever waits longest, or signals it when nobody does. False: nobody is said to wait.
bool EventObject::HandOver()
{
    const Guard hand(mState.handLock);
    EventSlot* pFirst = nullptr;
    {
        const Guard queue(mState.queueLock);
        if (mState.ulWord.load(std::memory_order_relaxed) != kulWaitedFor) return false;
        pFirst = FirstInQueue();
        if (!pFirst) mState.ulWord.store(kulSignalled, std::memory_order_release);
    }
    if (!pFirst) return true;
    // It waits still, or has died: nobody leaves the queue without the lock that is held. The event is said to be waited for
    // until it is set without anybody in the queue.
    pFirst->ulHandedBefore.fetch_add(1, std::memory_order_release);
    RaiseAndWake(pFirst->ulState, kulSlotHanded, 1, mbShared);
    return true;
}
} // namespace lum
