#include "OCriticalSection.h"

#include "CaughtException.h"

#include <memory>

namespace
{
enum OCriticalSectionCode : ULONG { kulNotInitialised = 51, kulNotLocked = 52 };
}

OCriticalSection::OCriticalSection(int bInit)
{
    try
    {
        CriticalSectionInit();
        if (bInit) Init();
    }
    catch (...) { LogCaught("OCriticalSection::OCriticalSection"); throw; }
}

OCriticalSection::~OCriticalSection()
{
    try
    {
        OCriticalSection::Done();
    }
    catch (...) { LogCaught("OCriticalSection::~OCriticalSection"); DropCaught(); }
}

void OCriticalSection::CriticalSectionInit()
{
    mulInitialised = 0;
    mhHandle = nullptr;
}

ULONG OCriticalSection::Init()
try
{
    if (mulInitialised) return 0;
    auto pSection = std::make_unique<CRITICAL_SECTION>();
    InitializeCriticalSection(pSection.get());
    mhHandle = pSection.release();
    mulInitialised = 1;
    return 0;
}
catch (...) { LogCaught("OCriticalSection::Init"); throw; }

ULONG OCriticalSection::Done()
try
{
    if (!mulInitialised) return kulNotInitialised;
    if (mulLockCount >= 1) LogGroup("Warning", nullptr, "Done", "Critical Section closed while still owned");
    for (ULONG ulHeld = mulLockCount; ulHeld > 0; --ulHeld) Unlock();
    DeleteCriticalSection(Section());
    delete Section();
    CriticalSectionInit();
    OSyncObject::Done();
    return 0;
}
catch (...) { LogCaught("OCriticalSection::Done"); throw; }

int OCriticalSection::RefuseUnlocked()
{
    LogGroup("Error", nullptr, "Unlock", "Critical Section is not locked");
    Raise(kulNotLocked);
    return 0;
}

int OCriticalSection::Lock(ULONG)
try
{
    if (!mulInitialised) return RefuseUninitialised("Lock", kulNotInitialised);
    EnterCriticalSection(Section());
    ++mulLockCount;
    return 1;
}
catch (...) { LogCaught("OCriticalSection::Lock"); throw; }

int OCriticalSection::Unlock()
try
{
    if (!mulInitialised) return RefuseUninitialised("Unlock", kulNotInitialised);
    if (mulLockCount == 0) return RefuseUnlocked();
    --mulLockCount; // while nobody else can change it
    LeaveCriticalSection(Section());
    return 1;
}
catch (...) { LogCaught("OCriticalSection::Unlock"); throw; }

int OCriticalSection::TryForLock()
try
{
    if (!mulInitialised) return RefuseUninitialised("TryForLock", kulNotInitialised);
    if (!TryEnterCriticalSection(Section())) return 0;
    ++mulLockCount;
    return 1;
}
catch (...) { LogCaught("OCriticalSection::TryForLock"); throw; }
