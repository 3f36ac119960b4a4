// A lock between the threads of one process, which its owner may take again.
//
//  * Codes: 51 not initialised, 52 unlock without a lock.
#pragma once

#include "OSyncObject.h"

class OCriticalSection : public OSyncObject
{
public:
    explicit OCriticalSection(int bInit = 1); // 0: Init is called later
    OCriticalSection(const OCriticalSection& source) = default;
    OCriticalSection& operator=(const OCriticalSection& source) = default;
    ~OCriticalSection() override;

    ULONG Init(); // nothing to do when it is initialised already
    ULONG Done() override;
    int Lock(ULONG dwTimeout) override; // waits as long as it takes, whatever the time
    int Unlock() override;
    // TryForLock: 1 locked, 0 when another thread has it.
    int TryForLock();

private:
    void CriticalSectionInit();
    int RefuseUnlocked();
    CRITICAL_SECTION* Section() const { return static_cast<CRITICAL_SECTION*>(mhHandle); }

    ULONG mulInitialised = 0;
};
