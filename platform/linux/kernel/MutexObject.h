// Mutexes, in the process's own memory or in a file that several map. Internal to platform/linux.
//
// Each is a recursive robust mutex of the system, so that the kernel itself tells of an owner who ended. Whoever waits for one
// mutex alone waits in the system's own call, which passes a wake-up on when it is killed; whoever waits for several sleeps on
// the lock words. A mutex goes to whoever is first to take it when it comes free, not to the one who waits longest.
#pragma once

#include "Waitable.h"

#include <pthread.h>

namespace lum
{
struct MutexState
{
    pthread_mutex_t mutex;  // 0x00
    BYTE aubReserved[24];   // 0x28  zero
};
static_assert(sizeof(MutexState) == 64);

// A mapping that a mutex lies in, and the file it is of.
struct MutexMapping
{
    void* pBase;
    SIZE_T ulBytes; // 0: none, the mutex lies in memory of its own
    ULONGLONG ullDevice, ullInode;
};

// BuryMutex: keeps a mutex without a handle until its owner has released it or ended; then its memory is freed, or unmapped.
// ExhumeMutex: gives back the mapping that was buried for a file, so that a process has one alone; false when there is none.
void BuryMutex(MutexState* pState, const MutexMapping& mapping);
bool ExhumeMutex(MutexMapping& mapping);

class MutexObject : public Waitable
{
public:
    // A mutex of this process, owned by nobody; null when there is no memory for it.
    static MutexObject* Make();
    ~MutexObject() override;

    bool Release(); // false: the calling thread does not own it

    Took Try() override;
    Took Begin(WaitPlace& place) override;
    Took Check(WaitPlace& place) override;
    Took Leave(WaitPlace& place) override;
    void GiveBack() override;
    Took Wait(const Deadline& deadline) override;
    bool LooksAgain() const override { return mbShared; }

protected:
    MutexObject(MutexState* pState, bool bShared) : Waitable(ObjectKind::Mutex), mpState(pState), mbShared(bShared) {}

    // Whether a thread of this process owns it: its memory must stay then, for the kernel has it in that thread's list.
    bool IsOwnedHere() const;

    void NoteOwner(); // after it was taken by a thread of this process

    MutexState* const mpState;
    const bool mbShared;

private:
    Took Owned(int iResult);

    std::atomic<ULONG> mulLastOwnerHere{0};
};
} // namespace lum
