// The library's load and unload sequence, by the loader's reason code.
#include "CaughtException.h"
#include "ORegistry.h"
#include "SecurityState.h"

// The object is another module's; what it throws would end the program here.
template <class Call>
static void Tell(OSecurityObject* pObject, Call call)
{
    if (!pObject) return;
    try
    {
        call(*pObject);
    }
    catch (...) { DropCaught(); }
}

BOOL LumLibraryEntry(DWORD ulReason)
{
    switch (ulReason)
    {
    case DLL_PROCESS_ATTACH:
        InitializeCriticalSection(&SecurityState().lock);
        ORegistry::InitRegistryWithCedarBasePath();
        break;
    case DLL_THREAD_DETACH:
        Tell(SecurityState().pObject, [](OSecurityObject& object) { object.ThreadDetach(); });
        break;
    case DLL_PROCESS_DETACH:
        DeleteCriticalSection(&SecurityState().lock);
        SecureZeroMemory(&SecurityState().login, sizeof(LOGINDATA));
        Tell(SecurityState().pObject.exchange(nullptr), [](OSecurityObject& object) { object.Release(); });
        break;
    default:
        break;
    }
    return TRUE;
}
