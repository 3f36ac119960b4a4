// Making objects by the identifier of their class. All of it happens inside the process, by direct calls on the calling thread.
//
//  * Class objects that the program registered come first, then the module that the registry names.
//  * A class object belongs to the apartment that registered it: one thread, or all threads of the multithreaded apartment.
//  * What is given out is counted; on failure it is null.
#pragma once

#include "Interfaces.h"

#define CLSCTX_INPROC_SERVER 0x1
#define CLSCTX_INPROC_HANDLER 0x2
#define CLSCTX_LOCAL_SERVER 0x4
#define CLSCTX_REMOTE_SERVER 0x10
#define CLSCTX_INPROC (CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER)
#define CLSCTX_SERVER (CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER)
#define CLSCTX_ALL (CLSCTX_INPROC_HANDLER | CLSCTX_SERVER)

#define COINIT_MULTITHREADED 0x0
#define COINIT_APARTMENTTHREADED 0x2
#define COINIT_DISABLE_OLE1DDE 0x4
#define COINIT_SPEED_OVER_MEMORY 0x8

#define REGCLS_SINGLEUSE 0
#define REGCLS_MULTIPLEUSE 1
#define REGCLS_MULTI_SEPARATE 2
#define REGCLS_SUSPENDED 4
#define REGCLS_SURROGATE 8

// CoInitializeEx: gives the calling thread an apartment of its own (COINIT_APARTMENTTHREADED), or puts it into the multithreaded
//   one. CoInitialize is the former. Counted: S_OK the first time, S_FALSE afterwards. pReserved is not used.
//   Errors: RPC_E_CHANGED_MODE (the thread is in the other kind; not counted).
//   While one thread is in the multithreaded apartment, threads that did not initialise are in it too.
HRESULT CoInitialize(LPVOID pReserved);
HRESULT CoInitializeEx(LPVOID pReserved, DWORD ulFlags);

// CoUninitialize: takes one back; nothing where none is left. With an apartment's last one the class objects go that were
//   registered in it. A thread's end takes back all that it left.
void CoUninitialize();

// CoRegisterClassObject: offers a class object to this apartment. ulContext is not used, and how often it may be used
//   (ulFlags) does not matter inside a process. *pulCookie is for CoRevokeClassObject.
//   A class that the apartment has already: with REGCLS_MULTIPLEUSE S_OK and *pulCookie 0, and the first one stays.
//   Errors: E_INVALIDARG (a null pointer), CO_E_NOTINITIALIZED, CO_E_OBJISREG (has it already, other flags).
HRESULT CoRegisterClassObject(REFCLSID clsid, LPUNKNOWN pObject, DWORD ulContext, DWORD ulFlags, LPDWORD pulCookie);

// CoRevokeClassObject: takes it back.
//   Errors: CO_E_NOTINITIALIZED, E_INVALIDARG (no such cookie), RPC_E_WRONG_THREAD (of another apartment).
HRESULT CoRevokeClassObject(DWORD ulCookie);

// CoGetClassObject: the class object itself. Only CLSCTX_INPROC_SERVER is answered; pServer is not used.
//   A module is a shared object that exports, with C linkage, HRESULT DllGetClassObject(REFCLSID, REFIID, void**). Its path
//   is the default value of HKEY_CLASSES_ROOT\CLSID\{class}\InprocServer32. It stays loaded until the process ends.
//   Errors: E_INVALIDARG (ppObject is null), CO_E_NOTINITIALIZED, REGDB_E_CLASSNOTREG (no such class), what the class
//   object answers (E_NOINTERFACE).
//   With no other context than CLSCTX_INPROC_SERVER, why a module failed: HRESULT_FROM_WIN32 of ERROR_MOD_NOT_FOUND,
//   ERROR_ACCESS_DENIED or ERROR_BAD_EXE_FORMAT, CO_E_DLLNOTFOUND (does not export the function), what its function answers
//   (CLASS_E_CLASSNOTAVAILABLE). With others REGDB_E_CLASSNOTREG for all of these, since none of them has the class.
//   Not provided: servers in other processes, handlers, threading models (every module is called by the thread itself).
HRESULT CoGetClassObject(REFCLSID clsid, DWORD ulContext, LPVOID pServer, REFIID iid, LPVOID* ppObject);

// CoCreateInstance: one object of the class.
//   Errors: E_POINTER (ppObject is null), those of CoGetClassObject, what the class object answers (CLASS_E_NOAGGREGATION,
//   E_NOINTERFACE).
HRESULT CoCreateInstance(REFCLSID clsid, LPUNKNOWN pOuter, DWORD ulContext, REFIID iid, LPVOID* ppObject);
