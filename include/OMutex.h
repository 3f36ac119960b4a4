// A lock between threads, and by a name between the programs of a user. Its owner may take it again.
//
//  * Codes: 150 initialised already, 151 not initialised, 152 unlock without a lock. Making, waiting, releasing and closing go
//    through CApi and raise its codes.
//  * A mutex whose owner ended without releasing it belongs to the next who waits, uncounted: that Lock answers 0.
#pragma once

#include "OSyncObject.h"

class OMutex : public OSyncObject
{
public:
    OMutex();
    OMutex(int bInitialOwner, const char* pName, SECURITY_ATTRIBUTES* pSecurity);
    OMutex(const OMutex& source) = default;
    OMutex& operator=(const OMutex& source) = default;
    ~OMutex() override;

    // Init: 0 made, and owned when asked for; 153 there was one of that name, and this is it, not owned. A null name is no name.
    //   When it fails, the object counts as initialised, without a mutex.
    ULONG Init(int bInitialOwner, const char* pName, SECURITY_ATTRIBUTES* pSecurity);
    // Done: releases what is counted. It takes the mutex once more before, and so waits for another owner.
    ULONG Done() override;
    int Lock(ULONG dwTimeout) override; // 0 also when the mutex was abandoned, which is owned then but not counted
    int Unlock() override;
    // IsLocked: 1 when another thread owns it. Otherwise it is owned by the caller from then on, and not counted.
    int IsLocked();

private:
    void MutexInit() { mulInitialised = 0; }

    ULONG mulInitialised = 0;
};
