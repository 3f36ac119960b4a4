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
    ACL none{};
    InitializeAcl(&none, sizeof none, ACL_REVISION);
    PACL pList = &none; // and what the folder gives
    SECURITY_INFORMATION ulInherits = UNPROTECTED_DACL_SECURITY_INFORMATION;
    PSECURITY_DESCRIPTOR pDescriptor = nullptr;
    DWORD ulError =
        GetNamedSecurityInfoA(pOther, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &pList, nullptr, &pDescriptor);
    if (ulError == NO_ERROR)
    {
        SECURITY_DESCRIPTOR_CONTROL uwControl = 0;
        DWORD ulRevision = 0;
        GetSecurityDescriptorControl(pDescriptor, &uwControl, &ulRevision);
        if (uwControl & SE_DACL_PROTECTED) ulInherits = PROTECTED_DACL_SECURITY_INFORMATION;
    }
    else if (ulError == ERROR_FILE_NOT_FOUND)
        pList = &none;
    else
    {
        SetLastError(ulError);
        return FALSE;
    }
    std::string sPrivate = pPrivate; // the call takes one that it might change
    ulError = SetNamedSecurityInfoA(sPrivate.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION | ulInherits, nullptr, nullptr,
                                    pList, nullptr);
    LocalFree(pDescriptor);
    if (ulError == NO_ERROR) return TRUE;
    SetLastError(ulError);
    return FALSE;
}

BOOL LumRemoveAtInterrupt(LPCSTR) { return TRUE; }
