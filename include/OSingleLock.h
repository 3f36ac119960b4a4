// Holds one lockable object for the length of a scope, and gives back what it took.
//
//  * Does not own the object, which must outlive it.
//  * Codes of the base 7500: 1 initialised already, 2 not initialised, 3 no object given, 4 unlock without a lock.
//  * Every Lock counts, one that timed out too: it is given back as if it had been taken.
//  * One thread at a time.
#pragma once

#include "OSyncObject.h"

class OSingleLock : public OBase
{
public:
    OSingleLock();
    OSingleLock(OSyncObject* pSyncObject, int bInitialLock);
    OSingleLock(const OSingleLock&) = delete;
    OSingleLock& operator=(const OSingleLock&) = delete;
    ~OSingleLock() override;

    ULONG Init(OSyncObject* pSyncObject, int bInitialLock); // a bInitialLock waits without end
    virtual ULONG Done();
    virtual int Lock(ULONG dwTimeout);
    virtual int Unlock();

private:
    void SingleLockInit();
    int Refuse(const char* pItem, const char* pText, ULONG ulCode); // logs and raises; 0, for those who return it

    OSyncObject* mpSyncObject = nullptr;
    ULONG mulLockCount = 0;
    ULONG mulInitialised = 0;
};
