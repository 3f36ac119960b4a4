#include "OEvent.h"

#include "BaseAPI.h"
#include "CaughtException.h"

namespace
{
enum OEventCode : ULONG { kulInitialised = 100, kulNotInitialised = 101, kulFailed = 102, kulExisted = 103 };
}

OEvent::OEvent() { EventInit(); }

OEvent::OEvent(int bManualReset, int bInitialState, const char* pName, SECURITY_ATTRIBUTES* pSecurity)
{
    try
    {
        EventInit();
        Init(bManualReset, bInitialState, pName, pSecurity);
    }
    catch (...) { LogCaught("OEvent::OEvent"); throw; }
}

OEvent::~OEvent()
{
    try
    {
        OEvent::Done();
    }
    catch (...) { LogCaught("OEvent::~OEvent"); DropCaught(); }
}

ULONG OEvent::Init(int bManualReset, int bInitialState, const char* pName, SECURITY_ATTRIBUTES* pSecurity)
try
{
    if (mulInitialised) RefuseInitialised("Init", kulInitialised);
    mulInitialised = 1;
    mhHandle = CApi().CreateEventA(pSecurity, bManualReset, bInitialState, pName);
    if (GetLastError() == ERROR_ALREADY_EXISTS) return kulExisted;
    return 0;
}
catch (...) { LogCaught("OEvent::Init"); throw; }

ULONG OEvent::Done()
try
{
    if (!mulInitialised) return kulNotInitialised;
    if (mhHandle) CApi().CloseHandle(mhHandle);
    EventInit();
    OSyncObject::Done();
    return 0;
}
catch (...) { LogCaught("OEvent::Done"); throw; }

int OEvent::Lock(ULONG dwTimeout)
try
{
    if (!mulInitialised) return RefuseUninitialised("Lock", kulNotInitialised);
    switch (::WaitForSingleObject(mhHandle, dwTimeout))
    {
    case WAIT_OBJECT_0: return 1;
    case WAIT_TIMEOUT: return 0;
    case WAIT_ABANDONED:
        LogGroup("Error", nullptr, "Lock",
                 "Object was not released by the thread that owned it before the owning thread terminated");
        break;
    default: LogGroup("Error", nullptr, "Lock", "WaitForSingleObject failed"); break;
    }
    Raise(kulFailed);
    return 0;
}
catch (...) { LogCaught("OEvent::Lock"); throw; }

int OEvent::Unlock()
try
{
    if (!mulInitialised) return RefuseUninitialised("UnLock", kulNotInitialised); // so spelt in every log
    return 1;
}
catch (...) { LogCaught("OEvent::Unlock"); throw; }

int OEvent::SetEvent()
try
{
    if (!mulInitialised) return RefuseUninitialised("SetEvent", kulNotInitialised);
    if (!::SetEvent(mhHandle)) Raise(kulFailed);
    return 1;
}
catch (...) { LogCaught("OEvent::SetEvent"); throw; }

int OEvent::ResetEvent()
try
{
    if (!mulInitialised) return RefuseUninitialised("ResetEvent", kulNotInitialised);
    if (!::ResetEvent(mhHandle))
    {
        LogGroup("Error", nullptr, "ResetEvent", "Cannot reset event");
        Raise(kulFailed);
    }
    return 1;
}
catch (...) { LogCaught("OEvent::ResetEvent"); throw; }
