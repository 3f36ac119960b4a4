#include "ExportedName.h"

#include <dlfcn.h>

void* FindExport(const char* pName)
{
    void* pLibrary = dlopen("libLumBase.so.1", RTLD_NOW | RTLD_NOLOAD);
    if (!pLibrary) return nullptr;
    void* pFunction = dlsym(pLibrary, pName);
    dlclose(pLibrary);
    return pFunction;
}
