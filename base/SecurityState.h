// Who the library works for: the state behind the impersonation bracket, one for the process.
#pragma once

#include "BaseAPI.h"
#include "OEncrypt.h"
#include "OSecurityServer.h"

#include <atomic>

struct OSecurityState
{
    CRITICAL_SECTION lock; // from process attach to process detach
    OOSVersion version;
    // Whoever holds the lock changes it. A thread's end reads it without the lock, since the loader may wait for that end.
    std::atomic<OSecurityObject*> pObject{nullptr};
    LOGINDATA login{};        // its flag is set: calls are to run as an account
    bool bLoginTaken = false; // the record was read, or it was tried
};

// SecurityState: ready before the library's entry function is called, whatever else is not yet.
OSecurityState& SecurityState();

// Owns the lock of the security functions for the length of a scope.
class OSecurityLock
{
public:
    OSecurityLock() { EnterCriticalSection(&SecurityState().lock); }
    ~OSecurityLock() { LeaveCriticalSection(&SecurityState().lock); }
    OSecurityLock(const OSecurityLock&) = delete;
    OSecurityLock& operator=(const OSecurityLock&) = delete;
};
