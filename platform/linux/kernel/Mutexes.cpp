#include "Mutexes.h"

#include "NamedHandles.h"
#include "NamedMutex.h"

namespace
{
constexpr lum::RightsRow kRights = {0x00020001, 0x00020000, 0x00120000, MUTEX_ALL_ACCESS};

template <class Text>
HANDLE Create(bool bInitialOwner, Text pName)
{
    if (pName && *pName) return lum::CreateNamed(pName, lum::NamedMutexKind(bInitialOwner), MUTEX_ALL_ACCESS);
    lum::MutexObject* pMutex = lum::MutexObject::Make();
    if (!pMutex) return lum::Fail(ERROR_NOT_ENOUGH_MEMORY), nullptr;
    if (bInitialOwner) pMutex->Try();
    const HANDLE hMutex = lum::InsertHandle(pMutex, MUTEX_ALL_ACCESS);
    SetLastError(hMutex ? NO_ERROR : ERROR_TOO_MANY_OPEN_FILES);
    return hMutex;
}
} // namespace

HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES, BOOL bInitialOwner, LPCSTR pName) { return Create(bInitialOwner, pName); }
HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES, BOOL bInitialOwner, LPCWSTR pName) { return Create(bInitialOwner, pName); }

HANDLE OpenMutexA(DWORD ulAccess, BOOL, LPCSTR pName)
{
    return lum::OpenExisting(pName, lum::NamedMutexKind(false), lum::GenericRights(ulAccess, kRights));
}

HANDLE OpenMutexW(DWORD ulAccess, BOOL, LPCWSTR pName)
{
    return lum::OpenExisting(pName, lum::NamedMutexKind(false), lum::GenericRights(ulAccess, kRights));
}

BOOL ReleaseMutex(HANDLE hMutex)
{
    const lum::ObjectRef ref = lum::LookUpHandle(hMutex, lum::ObjectKind::Mutex);
    if (!ref) return lum::Fail(ERROR_INVALID_HANDLE);
    return ref.As<lum::MutexObject>()->Release() ? TRUE : lum::Fail(ERROR_NOT_OWNER);
}
