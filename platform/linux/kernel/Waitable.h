// What a thread can wait for. Internal to platform/linux.
//
// A wait asks every object whether it can be had at once (Try), else enters its queue (Begin), sleeps on the words that the
// queues gave, looks again (Check), and leaves the queues that are left (Leave). Whoever has entered a queue may be handed the
// object at any time, so that leaving can find it taken; GiveBack hands it on to the next in the queue.
#pragma once

#include "Futex.h"
#include "HandleTable.h"

namespace lum
{
enum class Took : unsigned char
{
    No,
    Yes,
    Abandoned, // yes, and the last owner ended without giving it back
    Failed,    // no memory for a place in the queue, or owned too often
};

// A thread's place in one object's queue.
struct WaitPlace
{
    SleepWord sleep;
    ULONG ulSlot; // the object's own
};

class Waitable : public KernelObject
{
public:
    using KernelObject::KernelObject;

    virtual Took Try() = 0;
    virtual Took Begin(WaitPlace& place) = 0; // No: in the queue now
    virtual Took Check(WaitPlace& place) = 0; // No: still in the queue; else out of it
    virtual Took Leave(WaitPlace& place) = 0; // out of it, with the object or without
    virtual void GiveBack() = 0;

    // Waits for this object alone, after Try has said No.
    virtual Took Wait(const Deadline& deadline);

    // Whether a killed process can take a wake-up with it, so that whoever sleeps on several words looks again now and then.
    virtual bool LooksAgain() const { return false; }
};

constexpr DWORD kulLookAgainMs = 2000; // how long a lost wake-up can stay unnoticed
} // namespace lum
