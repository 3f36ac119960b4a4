// Files that are their owner's alone from the first moment on.
#include "PlatformPrivate.h"

#include <sddl.h>

BOOL LumMakePrivateFile(LPCSTR pName)
{
    // Nothing is inherited from the folder; the system and its administrators may do all on every disk.
    constexpr const char* kpOwnerSystemAdministrators = "D:P(A;;FA;;;OW)(A;;FA;;;SY)(A;;FA;;;BA)";
    SECURITY_ATTRIBUTES security{sizeof security, nullptr, FALSE};
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorA(kpOwnerSystemAdministrators, SDDL_REVISION_1,
                                                              &security.lpSecurityDescriptor, nullptr))
        return FALSE;
    const HANDLE hFile = CreateFileA(pName, GENERIC_WRITE, 0, &security, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    const DWORD ulError = GetLastError();
    LocalFree(security.lpSecurityDescriptor);
    if (hFile != INVALID_HANDLE_VALUE) return CloseHandle(hFile);
    SetLastError(ulError);
    return FALSE;
}
