#include "OSyncObject.h"

#include "CaughtException.h"

static constexpr ULONG kulNotValid = 2;

OSyncObject::OSyncObject()
{
    SyncObjectInit();
    mulValid = 1;
}

OSyncObject::~OSyncObject()
{
    try
    {
        OSyncObject::Done();
    }
    catch (...) { LogCaught("OSyncObject::~OSyncObject"); DropCaught(); }
}

ULONG OSyncObject::SyncObjectInit()
{
    SetGroup("Utilities");
    SetErrorBase(5500);
    mulLockCount = 0;
    mhHandle = nullptr;
    mulValid = 0;
    return 0;
}

ULONG OSyncObject::Done()
{
    return mulValid ? SyncObjectInit() : kulNotValid;
}

void OSyncObject::RaiseNotInitialised(const char* pItem, ULONG ulCode)
{
    LogGroup("Error", nullptr, pItem, "Object is not initialised");
    Raise(ulCode);
}

void OSyncObject::RaiseInitialised(const char* pItem, ULONG ulCode)
{
    LogGroup("Error", nullptr, pItem, "Object is already initialised");
    Raise(ulCode);
}

HANDLE OSyncObject::GetHandle()
try
{
    if (!mulValid) RaiseNotInitialised("GetHandle", kulNotValid);
    return mhHandle;
}
catch (...) { LogCaught("OSyncObject::GetHandle"); throw; }

ULONG OSyncObject::GetLockCount()
try
{
    if (!mulValid) RaiseNotInitialised("GetLockCount", kulNotValid);
    return mulLockCount;
}
catch (...) { LogCaught("OSyncObject::GetLockCount"); throw; }
