#include "OSingleLock.h"

#include "CaughtException.h"

namespace
{
enum OSingleLockCode : ULONG { kulInitialised = 1, kulNotInitialised = 2, kulNoObject = 3, kulNotLocked = 4 };
}

void OSingleLock::SingleLockInit()
{
    SetGroup("Utilities");
    SetErrorBase(7500);
    mpSyncObject = nullptr;
    mulLockCount = 0;
    mulInitialised = 0;
}

int OSingleLock::Refuse(const char* pItem, const char* pText, ULONG ulCode)
{
    LogGroup("Error", nullptr, pItem, "%s", pText);
    Raise(ulCode);
    return 0;
}

OSingleLock::OSingleLock() { SingleLockInit(); }

OSingleLock::OSingleLock(OSyncObject* pSyncObject, int bInitialLock)
{
    try
    {
        SingleLockInit();
        Init(pSyncObject, bInitialLock);
    }
    catch (...) { LogCaught("OSingleLock::OSingleLock"); throw; }
}

OSingleLock::~OSingleLock()
{
    try
    {
        OSingleLock::Done();
    }
    catch (...) { LogCaught("OSingleLock::~OSingleLock"); DropCaught(); }
}

ULONG OSingleLock::Init(OSyncObject* pSyncObject, int bInitialLock)
try
{
    if (mulInitialised) Refuse("Init", "Object is already initialised", kulInitialised);
    if (!pSyncObject) Refuse("Init", "No Synchobject given: pSyncObject==NULL", kulNoObject);
    mulInitialised = 1;
    mpSyncObject = pSyncObject;
    if (bInitialLock) Lock(INFINITE);
    return 0;
}
catch (...) { LogCaught("OSingleLock::Init"); throw; }

ULONG OSingleLock::Done()
try
{
    if (!mulInitialised) return kulNotInitialised;
    for (ULONG ulHeld = mulLockCount; ulHeld > 0; --ulHeld) Unlock();
    SingleLockInit();
    return 0;
}
catch (...) { LogCaught("OSingleLock::Done"); throw; }

int OSingleLock::Lock(ULONG dwTimeout)
try
{
    if (!mulInitialised) return Refuse("Lock", "Object is not initialised", kulNotInitialised);
    mpSyncObject->Lock(dwTimeout); // counted whatever it answers
    ++mulLockCount;
    return 1;
}
catch (...) { LogCaught("OSingleLock::Lock"); throw; }

int OSingleLock::Unlock()
try
{
    if (!mulInitialised) return Refuse("Unlock", "Object is not initialised", kulNotInitialised);
    if (mulLockCount == 0) return Refuse("Unlock", "Cannot unlock: it's not locked", kulNotLocked);
    --mulLockCount;
    mpSyncObject->Unlock();
    return 1;
}
catch (...) { LogCaught("OSingleLock::Unlock"); throw; }
