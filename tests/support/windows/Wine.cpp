#include "Wine.h"

#include <windows.h>

#include <cstring>

bool RunsUnderWine() { return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr; }

bool RunsAsAdministrator()
{
    // Wine's user is the one who started it; for root, the rights of files are no obstacle.
    char acName[64] = "";
    DWORD ulRoom = sizeof acName;
    return GetUserNameA(acName, &ulRoom) && std::strcmp(acName, "root") == 0;
}
