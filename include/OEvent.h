// A signal between threads, and by a name between the programs of a user.
//
//  * Codes: 100 initialised already, 101 not initialised, 102 waiting, setting or resetting failed. Making and closing one go
//    through CApi and raise its codes.
#pragma once

#include "OSyncObject.h"

class OEvent : public OSyncObject
{
public:
    OEvent();
    OEvent(int bManualReset, int bInitialState, const char* pName, SECURITY_ATTRIBUTES* pSecurity);
    OEvent(const OEvent& source) = default;
    OEvent& operator=(const OEvent& source) = default;
    ~OEvent() override;

    // Init: 0 made, 103 there was one of that name, and this is it. A null name is no name. When it fails, Done comes before
    //   the next attempt.
    ULONG Init(int bManualReset, int bInitialState, const char* pName, SECURITY_ATTRIBUTES* pSecurity);
    ULONG Done() override;
    // Lock: waits for the signal. 1 signalled, 0 not within the time. The count stays 0.
    int Lock(ULONG dwTimeout) override;
    int Unlock() override; // nothing to do: 1

    int SetEvent();
    int ResetEvent();

private:
    void EventInit() { mulInitialised = 0; }

    ULONG mulInitialised = 0;
};
