// Handles to named objects. Internal to platform/linux.
#pragma once

#include "Errno.h"
#include "NamedFile.h"
#include "ObjectNames.h"

namespace lum
{
// CreateNamed: makes or opens an object and gives it a handle. pName is a name, not empty.
template <class Text>
HANDLE CreateNamed(Text pName, const NamedKind& kind, DWORD ulAccess)
{
    std::u16string sName;
    bool bFound = false;
    KernelObject* pObject = ParseObjectName(pName, sName) ? OpenNamed(sName, kind, true, bFound) : nullptr;
    if (!pObject) return nullptr;
    const HANDLE hObject = InsertHandle(pObject, ulAccess);
    SetLastError(!hObject ? ERROR_TOO_MANY_OPEN_FILES : bFound ? ERROR_ALREADY_EXISTS : NO_ERROR);
    return hObject;
}

// OpenExisting: gives a handle to an object that exists.
template <class Text>
HANDLE OpenExisting(Text pName, const NamedKind& kind, DWORD ulRights)
{
    if (!pName) return Fail(ERROR_INVALID_PARAMETER), nullptr;
    if (!*pName) return Fail(ERROR_INVALID_HANDLE), nullptr;
    std::u16string sName;
    bool bFound = false;
    KernelObject* pObject = ParseObjectName(pName, sName) ? OpenNamed(sName, kind, false, bFound) : nullptr;
    if (!pObject) return nullptr;
    const HANDLE hObject = InsertHandle(pObject, ulRights);
    if (!hObject) SetLastError(ERROR_TOO_MANY_OPEN_FILES);
    return hObject;
}
} // namespace lum
