#include "Waits.h"

#include "Errno.h"
#include "Handles.h"
#include "Waitable.h"

namespace
{
using namespace lum;

// Files, whose transfers are done when their call returns.
class Signalled : public Waitable
{
public:
    Signalled() : Waitable(ObjectKind::File) {}
    Took Try() override { return Took::Yes; }
    Took Begin(WaitPlace&) override { return Took::Yes; }
    Took Check(WaitPlace&) override { return Took::Yes; }
    Took Leave(WaitPlace&) override { return Took::No; }
    void GiveBack() override {}
};

// The process and the thread that ask.
class Running : public Waitable
{
public:
    Running() : Waitable(ObjectKind::File) {}
    Took Try() override { return Took::No; }
    Took Begin(WaitPlace& place) override
    {
        place.sleep = {&mNever, 0, false};
        return Took::No;
    }
    Took Check(WaitPlace&) override { return Took::No; }
    Took Leave(WaitPlace&) override { return Took::No; }
    void GiveBack() override {}

private:
    FutexWord mNever{0};
};

// Never destroyed: others may wait while the program's own statics are torn down.
Waitable& TheSignalled() { static Waitable& signalled = *new Signalled; return signalled; }
Waitable& TheRunning() { static Waitable& running = *new Running; return running; }

// What a handle can be waited for by; null with the last error set.
Waitable* FindWaitable(HANDLE hObject, ObjectRef& ref)
{
    DWORD ulAccess = 0;
    ref = LookUpHandle(hObject, &ulAccess);
    if (!ref)
    {
        if (StandsForOneself(hObject)) return &TheRunning();
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    if (!(ulAccess & SYNCHRONIZE))
    {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    switch (ref.As<KernelObject>()->Kind())
    {
    case ObjectKind::Event:
    case ObjectKind::Mutex: return ref.As<Waitable>();
    case ObjectKind::File: return &TheSignalled();
    default: SetLastError(ERROR_INVALID_HANDLE); return nullptr;
    }
}

DWORD Answer(Took eTook, DWORD ulIndex)
{
    switch (eTook)
    {
    case Took::Yes: return WAIT_OBJECT_0 + ulIndex;
    case Took::Abandoned: return WAIT_ABANDONED_0 + ulIndex;
    case Took::No: return WAIT_TIMEOUT;
    default: SetLastError(ERROR_NO_SYSTEM_RESOURCES); return WAIT_FAILED;
    }
}

struct Found
{
    Took eTook = Took::No;
    DWORD ulIndex = 0;
};

// Sleeps on any of the words, for a while only when a look is due then; false when the deadline came first.
bool SleepInTurns(const SleepWord* pSleeps, ULONG ulCount, const Deadline& deadline, bool bLooksAgain)
{
    if (!bLooksAgain) return SleepOnAny(pSleeps, ulCount, deadline);
    const Deadline next = deadline.NoLaterThanIn(kulLookAgainMs);
    return SleepOnAny(pSleeps, ulCount, next) || next.IsBefore(deadline);
}

// One wait for several objects, none of which could be had at once.
class AnyWait
{
public:
    AnyWait(Waitable* const* ppObjects, ULONG ulCount) : mppObjects(ppObjects), mulCount(ulCount) {}

    Found Run(const Deadline& deadline)
    {
        Enter();
        for (bool bInTime = true; mFound.eTook == Took::No && bInTime;)
        {
            bInTime = Sleep(deadline);
            Look();
        }
        LeaveAll();
        return mFound;
    }

private:
    void Enter()
    {
        for (; mulEntered < mulCount && mFound.eTook == Took::No; ++mulEntered)
        {
            const Took eTook = mppObjects[mulEntered]->Begin(maPlaces[mulEntered]);
            if (eTook != Took::No) mFound = {eTook, mulEntered};
            mbLooksAgain |= mppObjects[mulEntered]->LooksAgain();
        }
    }

    bool Sleep(const Deadline& deadline)
    {
        SleepWord aSleeps[MAXIMUM_WAIT_OBJECTS];
        for (ULONG i = 0; i < mulCount; ++i) aSleeps[i] = maPlaces[i].sleep;
        return SleepInTurns(aSleeps, mulCount, deadline, mbLooksAgain);
    }

    void Look()
    {
        for (ULONG i = 0; i < mulCount && mFound.eTook == Took::No; ++i)
            mFound = {mppObjects[i]->Check(maPlaces[i]), i};
    }

    // The queues of all but the one that was taken. One that turns out to have been handed over is the answer when there is
    // none yet (the time was up), else somebody else's.
    void LeaveAll()
    {
        const bool bFound = mFound.eTook != Took::No;
        const ULONG ulOut = bFound ? mFound.ulIndex : mulCount;
        for (ULONG i = 0; i < mulEntered; ++i)
        {
            if (i == ulOut) continue;
            const Took eTook = mppObjects[i]->Leave(maPlaces[i]);
            if (eTook == Took::No) continue;
            if (mFound.eTook == Took::No) mFound = {eTook, i};
            else mppObjects[i]->GiveBack();
        }
    }

    Waitable* const* const mppObjects;
    const ULONG mulCount;
    ULONG mulEntered = 0;
    bool mbLooksAgain = false;
    Found mFound;
    WaitPlace maPlaces[MAXIMUM_WAIT_OBJECTS];
};
} // namespace

Took lum::Waitable::Wait(const Deadline& deadline)
{
    WaitPlace place;
    Took eTook = Begin(place);
    if (eTook != Took::No) return eTook;
    for (bool bInTime = true; bInTime;)
    {
        bInTime = SleepInTurns(&place.sleep, 1, deadline, LooksAgain());
        eTook = Check(place);
        if (eTook != Took::No) return eTook;
    }
    return Leave(place);
}

DWORD WaitForSingleObject(HANDLE hObject, DWORD ulMilliseconds)
{
    ObjectRef ref;
    Waitable* pObject = FindWaitable(hObject, ref);
    if (!pObject) return WAIT_FAILED;
    Took eTook = pObject->Try();
    if (eTook == Took::No && ulMilliseconds != 0) eTook = pObject->Wait(Deadline(ulMilliseconds));
    return Answer(eTook, 0);
}

DWORD WaitForMultipleObjects(DWORD ulCount, const HANDLE* phObjects, BOOL bAll, DWORD ulMilliseconds)
{
    if (ulCount == 0 || ulCount > MAXIMUM_WAIT_OBJECTS || !phObjects) return Fail(ERROR_INVALID_PARAMETER), WAIT_FAILED;
    if (bAll && ulCount > 1) return Fail(ERROR_NOT_SUPPORTED), WAIT_FAILED;

    ObjectRef aRefs[MAXIMUM_WAIT_OBJECTS];
    Waitable* apObjects[MAXIMUM_WAIT_OBJECTS];
    for (DWORD i = 0; i < ulCount; ++i)
    {
        apObjects[i] = FindWaitable(phObjects[i], aRefs[i]);
        if (!apObjects[i]) return WAIT_FAILED;
    }
    for (DWORD i = 0; i < ulCount; ++i)
    {
        const Took eTook = apObjects[i]->Try();
        if (eTook != Took::No) return Answer(eTook, i);
    }
    if (ulMilliseconds == 0) return WAIT_TIMEOUT;
    const Found found = AnyWait(apObjects, ulCount).Run(Deadline(ulMilliseconds));
    return Answer(found.eTook, found.ulIndex);
}
