// Working under the configured user's identity.
//
//  * Where login security is not configured, the bracket does nothing: the calls below are the bare platform calls.
//  * The identity is the calling thread's. An exception out of the call itself leaves the thread impersonating.
#pragma once

#include "Platform.h"

extern "C"
{
// ImpersonateUser, ImpersonateRevertToSelf: put the thread under the configured user's identity, and back.
//   1 done or nothing to do; 0 not possible. Never overlap with one another.
int ImpersonateUser();
int ImpersonateRevertToSelf();

// InitLumSecurityWithNoImpersonateUser: reads who is configured, once in a process, and logs on unless that is done. The calling
//   thread has initialised COM. 1 logged on, or nobody is configured; 0 not possible. A record that is missing or cannot be
//   read is told in a message box, and nobody is configured then. A server that throws at log-on is a failure, too; one that
//   crashes ends the program, except on a thread that called SetupSignal.
// InitLumSecurity: the same, and puts the calling thread under the configured user's identity. The argument is not used.
int InitLumSecurityWithNoImpersonateUser();
int InitLumSecurity(ULONG ulUnused);

// ReportSecurityError: shows the system's text for the last error. 0: the system has none, the box is empty.
int ReportSecurityError(const char* pCaption);
}

// Platform calls inside the bracket: their own arguments, results and last error.
class SecureAPI
{
public:
    static LSTATUS RegOpenKeyExA(HKEY hKey, const char* lpSubKey, ULONG ulOptions, ULONG ulAccess, HKEY* phResult);
    static LSTATUS RegCreateKeyExA(HKEY hKey, const char* lpSubKey, ULONG ulReserved, char* lpClass, ULONG ulOptions,
                                   ULONG ulAccess, SECURITY_ATTRIBUTES* pSecurity, HKEY* phResult, ULONG* pulDisposition);
    static HANDLE CreateFileA(const char* lpFileName, ULONG ulAccess, ULONG ulShare, SECURITY_ATTRIBUTES* pSecurity,
                              ULONG ulCreation, ULONG ulFlags, HANDLE hTemplate);
    static HANDLE CreateFileW(const unsigned short* lpFileName, ULONG ulAccess, ULONG ulShare, SECURITY_ATTRIBUTES* pSecurity,
                              ULONG ulCreation, ULONG ulFlags, HANDLE hTemplate);
};
