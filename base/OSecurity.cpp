#include "OSecurity.h"

#include "Impersonated.h"
#include "SecurityState.h"

OSecurityState& SecurityState()
{
    static OSecurityState state;
    return state;
}

static int Ask(HRESULT (STDMETHODCALLTYPE OSecurityObject::*pMethod)())
{
    const OSecurityLock lock;
    const OSecurityState& state = SecurityState();
    if (OSecurityObject* pObject = state.pObject)
    {
        LumTellThreadEnd();
        return SUCCEEDED((pObject->*pMethod)());
    }
    return !state.version.IsWinNT() || state.login.ulFlag == 0;
}

int ImpersonateUser() { return Ask(&OSecurityObject::Impersonate); }

int ImpersonateRevertToSelf() { return Ask(&OSecurityObject::Revert); }

LSTATUS SecureAPI::RegOpenKeyExA(HKEY hKey, const char* lpSubKey, ULONG ulOptions, ULONG ulAccess, HKEY* phResult)
{
    return Impersonated([&] { return ::RegOpenKeyExA(hKey, lpSubKey, ulOptions, ulAccess, phResult); });
}

LSTATUS SecureAPI::RegCreateKeyExA(HKEY hKey, const char* lpSubKey, ULONG ulReserved, char* lpClass, ULONG ulOptions,
                                   ULONG ulAccess, SECURITY_ATTRIBUTES* pSecurity, HKEY* phResult, ULONG* pulDisposition)
{
    return Impersonated([&]
    {
        return ::RegCreateKeyExA(hKey, lpSubKey, ulReserved, lpClass, ulOptions, ulAccess, pSecurity, phResult, pulDisposition);
    });
}

HANDLE SecureAPI::CreateFileA(const char* lpFileName, ULONG ulAccess, ULONG ulShare, SECURITY_ATTRIBUTES* pSecurity,
                              ULONG ulCreation, ULONG ulFlags, HANDLE hTemplate)
{
    return Impersonated([&] { return ::CreateFileA(lpFileName, ulAccess, ulShare, pSecurity, ulCreation, ulFlags, hTemplate); });
}

HANDLE SecureAPI::CreateFileW(const unsigned short* lpFileName, ULONG ulAccess, ULONG ulShare, SECURITY_ATTRIBUTES* pSecurity,
                              ULONG ulCreation, ULONG ulFlags, HANDLE hTemplate)
{
    return Impersonated([&]
    {
        return ::CreateFileW(AsWide(lpFileName), ulAccess, ulShare, pSecurity, ulCreation, ulFlags, hTemplate);
    });
}
