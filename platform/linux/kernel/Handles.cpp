#include "Handles.h"

#include "Errno.h"
#include "HandleTable.h"

BOOL CloseHandle(HANDLE hObject)
{
    if (!lum::RemoveHandle(hObject)) return lum::Fail(ERROR_INVALID_HANDLE);
    return TRUE;
}
