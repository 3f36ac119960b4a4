// Events, in the process's own memory or in a file that several map. Internal to platform/linux.
//
// A manual-reset event is one word: bit 0 signalled, bit 1 someone may sleep, and above them a number that every reset raises.
// Whoever sleeps remembers the word as it was and is released as soon as it is another, so that a reset right behind the set
// keeps nobody back.
//
// An auto-reset event is signalled (1), or waited for (2), or neither (0), and never both: setting it while somebody waits
// hands it to the one who waits longest. Each who waits has a slot with a word of its own; order in the queue is a number in the
// slot. The setter marks the slot and wakes its sleeper in one system call, so that a process killed at any point leaves the
// event either set or not set. In a shared event each who waits also holds the slot's robust mutex: the kernel marks it when
// the thread ends, and the dead are not handed anything.
//
// Two mutexes guard the queue. Entering takes the inner one alone; handing over and leaving take the outer one as well. The
// setter lets go of the inner one before it wakes anybody: whoever is woken often runs at once, in the setter's place, and
// is about to wait for the event again.
#pragma once

#include "Waitable.h"

#include <pthread.h>

namespace lum
{
struct EventSlot
{
    pthread_mutex_t life;                // 0x00  shared events alone: held by who waits
    FutexWord ulState;                   // 0x28  kulSlotFree, kulSlotWaiting, with kulSlotHanded
    std::atomic<ULONG> ulHandedBefore;   // 0x2C  written before the hand-over, read after it: what the setter did is seen
    ULONGLONG ullOrder;                  // 0x30  place in the queue, the lowest first
    ULONGLONG ullReserved;               // 0x38  zero
};
static_assert(sizeof(EventSlot) == 64 && offsetof(EventSlot, ulState) == 0x28);

struct EventState
{
    pthread_mutex_t queueLock; // 0x00  the inner one; both are robust in shared events
    FutexWord ulWord;          // 0x28
    ULONG ulManual;            // 0x2C  1 for manual reset
    ULONGLONG ullNextOrder;    // 0x30
    ULONG ulSlots;             // 0x38  slots ever used
    std::atomic<ULONG> ulRoom; // 0x3C  shared events alone: slots that the file has room for
    pthread_mutex_t handLock;  // 0x40  the outer one
    ULONGLONG aullReserved[3]; // 0x68  zero
};
static_assert(sizeof(EventState) == 128 && offsetof(EventState, ulWord) == 0x28 && offsetof(EventState, handLock) == 0x40);

constexpr ULONG kulSlotFree = 0, kulSlotWaiting = 1, kulSlotHanded = 2;

// InitEventState: an event nobody waits for.
void InitEventState(EventState& state, bool bManual, bool bSignalled, bool bShared);

class EventObject : public Waitable
{
public:
    EventObject(bool bManual, bool bSignalled);
    ~EventObject() override;

    void Set();
    void Reset();

    Took Try() override;
    Took Begin(WaitPlace& place) override;
    Took Check(WaitPlace& place) override;
    Took Leave(WaitPlace& place) override;
    void GiveBack() override;

protected:
    explicit EventObject(EventState& shared) : Waitable(ObjectKind::Event), mState(shared), mbShared(true) {} // initialised

    // The slot of that number, made if need be; null when there is no memory for it.
    virtual EventSlot* SlotAt(ULONG ulSlot);

private:
    bool IsAlive(const EventSlot& slot) const;
    EventSlot* TakeSlot(ULONG& ulSlot);
    void FreeSlot(EventSlot& slot);
    EventSlot* FirstInQueue();
    bool HandOver();

    static constexpr ULONG kulFirstBlock = 4, kulBlocks = 16; // each block twice the one before

    EventState mOwn;
    EventState& mState;
    const bool mbShared;
    EventSlot* mapBlocks[kulBlocks] = {};
};
} // namespace lum
