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

int OSyncObject::RefuseUninitialised(const char* pItem, ULONG ulCode)
{
    LogGroup("Error", nullptr, pItem, "Object is not initialised");
    Raise(ulCode);
    return 0;
}

int OSyncObject::RefuseInitialised(const char* pItem, ULONG ulCode)
{
    LogGroup("Error", nullptr, pItem, "Object is already initialised");
    Raise(ulCode);
    return 0;
}

HANDLE OSyncObject::GetHandle()
try
{
    if (!mulValid) RefuseUninitialised("GetHandle", kulNotValid);
    return mhHandle;
}
catch (...) { LogCaught("OSyncObject::GetHandle"); throw; }

ULONG OSyncObject::GetLockCount()
try
{
    if (!mulValid) RefuseUninitialised("GetLockCount", kulNotValid);
    return mulLockCount;
}
catch (...) { LogCaught("OSyncObject::GetLockCount"); throw; }
