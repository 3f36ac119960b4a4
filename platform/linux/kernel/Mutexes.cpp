#include "Mutexes.h"

#include "Errno.h"
#include "MutexObject.h"

namespace
{
template <class Text>
HANDLE Create(bool bInitialOwner, Text pName)
{
    if (pName && *pName) return lum::Fail(ERROR_NOT_SUPPORTED), nullptr;
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

BOOL ReleaseMutex(HANDLE hMutex)
{
    const lum::ObjectRef ref = lum::LookUpHandle(hMutex, lum::ObjectKind::Mutex);
    if (!ref) return lum::Fail(ERROR_INVALID_HANDLE);
    return ref.As<lum::MutexObject>()->Release() ? TRUE : lum::Fail(ERROR_NOT_OWNER);
}
