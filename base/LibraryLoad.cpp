// The library's load and unload sequence, by the loader's reason code.
#include "ORegistry.h"
#include "SecurityState.h"

BOOL LumLibraryEntry(DWORD ulReason)
{
    switch (ulReason)
    {
    case DLL_PROCESS_ATTACH:
        InitializeCriticalSection(&SecurityState().lock);
        ORegistry::InitRegistryWithCedarBasePath();
        break;
    case DLL_PROCESS_DETACH:
        DeleteCriticalSection(&SecurityState().lock);
        break;
    default:
        break;
    }
    return TRUE;
}
