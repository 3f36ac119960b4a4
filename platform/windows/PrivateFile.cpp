// Files that are their owner's alone from the first moment on, and what becomes of them.
#include "PlatformPrivate.h"

#include <aclapi.h>
#include <sddl.h>

#include <string>

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

BOOL LumShareAs(LPCSTR pPrivate, LPCSTR pOther)
{
    PSECURITY_DESCRIPTOR pDescriptor = nullptr;
    DWORD ulError =
        GetNamedSecurityInfoA(pOther, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, nullptr, &pDescriptor);
    if (ulError == NO_ERROR)
    {
        // The list as it stands, with what came from the folder.
        if (!SetFileSecurityA(pPrivate, DACL_SECURITY_INFORMATION, pDescriptor)) ulError = GetLastError();
        LocalFree(pDescriptor);
    }
    else if (ulError == ERROR_FILE_NOT_FOUND)
    {
        ACL none{}; // of its own, besides what the folder gives
        InitializeAcl(&none, sizeof none, ACL_REVISION);
        std::string sPrivate = pPrivate; // the call takes one that it might change
        ulError = SetNamedSecurityInfoA(sPrivate.data(), SE_FILE_OBJECT,
                                        DACL_SECURITY_INFORMATION | UNPROTECTED_DACL_SECURITY_INFORMATION, nullptr, nullptr, &none,
                                        nullptr);
    }
    if (ulError == NO_ERROR) return TRUE;
    SetLastError(ulError);
    return FALSE;
}

BOOL LumReplaceHeld(HANDLE hHeld, LPCSTR pNew, LPCSTR pHeld)
{
    CloseHandle(hHeld);
    return MoveFileExA(pNew, pHeld, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
}

BOOL LumRemoveAtInterrupt(LPCSTR) { return TRUE; }
