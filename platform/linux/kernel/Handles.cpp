#include "Handles.h"

#include "Errno.h"
#include "HandleTable.h"

BOOL CloseHandle(HANDLE hObject)
{
    if (lum::StandsForOneself(hObject) || lum::RemoveHandle(hObject)) return TRUE;
    return lum::Fail(ERROR_INVALID_HANDLE);
}

BOOL DuplicateHandle(HANDLE hSourceProcess, HANDLE hSource, HANDLE hTargetProcess, HANDLE* phTarget, DWORD, BOOL, DWORD ulOptions)
{
    const bool bOurs = hSourceProcess == GetCurrentProcess() && hTargetProcess == GetCurrentProcess();
    if (!bOurs || !(ulOptions & DUPLICATE_SAME_ACCESS)) return lum::Fail(ERROR_NOT_SUPPORTED);

    bool bFull = false;
    const HANDLE hCopy = lum::CopyHandle(hSource, bFull);
    if (ulOptions & DUPLICATE_CLOSE_SOURCE) lum::RemoveHandle(hSource);
    if (!hCopy) return lum::Fail(bFull ? ERROR_TOO_MANY_OPEN_FILES : ERROR_INVALID_HANDLE);
    *phTarget = hCopy;
    return TRUE;
}
