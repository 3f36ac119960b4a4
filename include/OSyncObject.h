// What can be locked: the base of critical sections, events and mutexes.
//
//  * Each counts the locks that were taken through it, so that closing one that is still held is noticed, logged and undone.
//  * Codes of the base 5500: 2 not valid, and those that each class lists.
//  * Life: constructor, Init, use, Done. After its Done an object is not valid: it has no handle and no count to ask for.
//  * A copy has the same handle, and only one of the copies may be closed.
//  * Meant to be shared between threads: the count is changed only by the thread that holds the object.
#pragma once

#include "Platform.h"

#include "OBase.h"

class OSyncObject : public OBase
{
public:
    OSyncObject();
    OSyncObject(const OSyncObject& source) = default;
    OSyncObject& operator=(const OSyncObject& source) = default;
    ~OSyncObject() override;

    virtual ULONG Done();
    // Lock: 1 locked, 0 not within the time (milliseconds, or INFINITE). Unlock: 1 when done.
    virtual int Lock(ULONG dwTimeout) = 0;
    virtual int Unlock() = 0;

    ULONG SyncObjectInit();
    HANDLE GetHandle();
    ULONG GetLockCount();

protected:
    // Refuse...: log under "Error" that the object is not initialised, or is already, and raise. 0, for those who return it.
    int RefuseUninitialised(const char* pItem, ULONG ulCode);
    int RefuseInitialised(const char* pItem, ULONG ulCode);

    ULONG mulLockCount = 0;
    HANDLE mhHandle = nullptr;
    ULONG mulValid = 0;
};
