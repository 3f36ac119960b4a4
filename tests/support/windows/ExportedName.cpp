#include "ExportedName.h"

#include "Platform.h"

void* FindExport(const char* pName)
{
    return reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("LumBase.dll"), pName));
}
