#include "OMutex.h"

#include "BaseAPI.h"
#include "CaughtException.h"

namespace
{
enum OMutexCode : ULONG { kulInitialised = 150, kulNotInitialised = 151, kulNotLocked = 152, kulExisted = 153 };
}

OMutex::OMutex() { MutexInit(); }

OMutex::OMutex(int bInitialOwner, const char* pName, SECURITY_ATTRIBUTES* pSecurity)
{
    try
    {
        MutexInit();
        Init(bInitialOwner, pName, pSecurity);
    }
    catch (...) { LogCaught("OMutex::OMutex 2"); throw; }
}

OMutex::~OMutex()
{
    try
    {
        OMutex::Done();
    }
    catch (...) { LogCaught("OMutex::~OMutex"); DropCaught(); }
}

ULONG OMutex::Init(int bInitialOwner, const char* pName, SECURITY_ATTRIBUTES* pSecurity)
try
{
    if (mulInitialised) RefuseInitialised("Init", kulInitialised);
    mulInitialised = 1;
    mhHandle = CApi().CreateMutexA(pSecurity, bInitialOwner, pName);
    if (GetLastError() == ERROR_ALREADY_EXISTS) return kulExisted; // and whoever owns it stays its owner
    if (bInitialOwner) ++mulLockCount;
    return 0;
}
catch (...) { LogCaught("OMutex::Init"); throw; }

ULONG OMutex::Done()
try
{
    if (!mulInitialised) return kulNotInitialised;
    if (mulLockCount > 0) LogGroup("Warning", nullptr, "Done", "Mutex closed while still owned");
    Lock(INFINITE);
    for (ULONG ulHeld = mulLockCount; ulHeld > 0; --ulHeld) Unlock();
    CApi().CloseHandle(mhHandle);
    MutexInit();
    OSyncObject::Done();
    return 0;
}
catch (...) { LogCaught("OMutex::Done"); throw; }

int OMutex::Lock(ULONG dwTimeout)
try
{
    if (!mulInitialised) return RefuseUninitialised("Lock", kulNotInitialised);
    if (CApi().WaitForMutex(mhHandle, dwTimeout) != 0) return 0;
    ++mulLockCount;
    return 1;
}
catch (...) { LogCaught("OMutex::Lock"); throw; }

int OMutex::Unlock()
try
{
    if (!mulInitialised) return RefuseUninitialised("Unlock", kulNotInitialised);
    if (mulLockCount == 0)
    {
        LogGroup("Error", nullptr, "Unlock", "Cannot unlock mutex: it is not locked");
        Raise(kulNotLocked);
    }
    --mulLockCount;
    return CApi().ReleaseMutex(mhHandle) != 0;
}
catch (...) { LogCaught("OMutex::Unlock"); throw; }

int OMutex::IsLocked()
try
{
    if (!mulInitialised) return RefuseUninitialised("IsLocked", kulNotInitialised);
    return CApi().WaitForMutex(mhHandle, 0) != 0;
}
catch (...) { LogCaught("OMutex::IsLocked"); throw; }
