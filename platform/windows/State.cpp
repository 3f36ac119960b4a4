// Where programs keep what lasts, beside the registry.
#include "Platform.h"

#include <string>

BOOL LumGetStateFolder(LPSTR pOut, DWORD ulRoom)
{
    char acData[MAX_PATH];
    const DWORD ulChars = GetEnvironmentVariableA("LOCALAPPDATA", acData, sizeof acData);
    if (ulChars == 0) return FALSE;
    const std::string sFolder = std::string(acData, ulChars < sizeof acData ? ulChars : 0) + "\\lumbase";
    if (ulChars >= sizeof acData || sFolder.size() >= ulRoom)
    {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    if (!CreateDirectoryA(sFolder.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) return FALSE;
    sFolder.copy(pOut, sFolder.size());
    pOut[sFolder.size()] = 0;
    return TRUE;
}
