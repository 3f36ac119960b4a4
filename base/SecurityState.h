// Who the library works for: the state behind the impersonation bracket, one for the process.
#pragma once

#include "BaseAPI.h"

// The object that changes the calling thread's identity. It is an object of another module: the places of its methods count,
// the three of every object first, then the four of automation.
struct OSecurityObject
{
    virtual HRESULT WINAPI QueryInterface(const void* pInterfaceId, void** ppObject) = 0;
    virtual ULONG WINAPI AddRef() = 0;
    virtual ULONG WINAPI Release() = 0;
    virtual HRESULT WINAPI GetTypeInfoCount(UINT* puCount) = 0;
    virtual HRESULT WINAPI GetTypeInfo(UINT uInfo, LCID ulLocale, void** ppInfo) = 0;
    virtual HRESULT WINAPI GetIDsOfNames(const void* pReserved, WCHAR** ppNames, UINT uNames, LCID ulLocale, LONG* plIds) = 0;
    virtual HRESULT WINAPI Invoke(LONG lId, const void* pReserved, LCID ulLocale, WORD uwFlags, void* pParameters, void* pResult,
                                  void* pExceptionInfo, UINT* puArgument) = 0;
    virtual HRESULT WINAPI Impersonate() = 0;
    virtual HRESULT WINAPI Revert() = 0;
    virtual HRESULT WINAPI ThreadDetach() = 0;

protected:
    ~OSecurityObject() = default; // ended by Release alone
};

struct OSecurityState
{
    CRITICAL_SECTION lock; // from process attach to process detach
    OOSVersion version;
    OSecurityObject* pObject = nullptr;
    ULONG ulLoginSecurity = 0; // nonzero: an account is configured, calls are to run as it
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
