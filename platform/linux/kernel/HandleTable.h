// The table behind every HANDLE and HKEY of the process, and the handles of cryptography. Internal to platform/linux.
//
//  * A value fits in 32 bits, is a multiple of 4, and is checked: a closed, invented or foreign value is never followed.
//  * A slot's values differ from use to use, so a stale value does not reach the slot's next owner.
//  * Any thread. An object dies when its last handle is closed and its last ObjectRef is gone.
#pragma once

#include "Types.h"

#include <atomic>

namespace lum
{
enum class ObjectKind : unsigned char { File, Key, Event, Mutex, Mapping, CryptContext, CryptKey, CryptHash };

class KernelObject
{
public:
    explicit KernelObject(ObjectKind eKind) : meKind(eKind) {}
    virtual ~KernelObject() = default;
    KernelObject(const KernelObject&) = delete;
    KernelObject& operator=(const KernelObject&) = delete;

    ObjectKind Kind() const { return meKind; }
    void AddRef() { mulRefs.fetch_add(1, std::memory_order_relaxed); }
    bool TryAddRef() // false: the last reference is gone, and the object about to be
    {
        ULONG ulRefs = mulRefs.load(std::memory_order_relaxed);
        while (ulRefs != 0)
            if (mulRefs.compare_exchange_weak(ulRefs, ulRefs + 1, std::memory_order_relaxed)) return true;
        return false;
    }
    void Release() { if (mulRefs.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this; }

private:
    std::atomic<ULONG> mulRefs{1}; // the creator's
    const ObjectKind meKind;
};

// One counted use of a kernel object; empty when the look-up failed.
class ObjectRef
{
public:
    ObjectRef() = default;
    explicit ObjectRef(KernelObject* pAdopted) : mpObject(pAdopted) {}
    ObjectRef(ObjectRef&& other) noexcept : mpObject(other.mpObject) { other.mpObject = nullptr; }
    ObjectRef& operator=(ObjectRef&& other) noexcept
    {
        KernelObject* pOld = mpObject;
        mpObject = other.mpObject;
        other.mpObject = pOld;
        return *this;
    }
    ~ObjectRef() { if (mpObject) mpObject->Release(); }

    explicit operator bool() const { return mpObject != nullptr; }
    template <class T> T* As() const { return static_cast<T*>(mpObject); }

private:
    KernelObject* mpObject = nullptr;
};

// InsertHandle: gives the object a handle and takes over the caller's reference. Returns null when the table is full
//   (the reference is released then).
HANDLE InsertHandle(KernelObject* pObject, DWORD ulAccess);

// LookUpHandle: the object behind a handle of that kind, counted; empty for anything else. *pulAccess: the access it was
//   opened with. Without a kind: the object behind a handle of any.
ObjectRef LookUpHandle(HANDLE hObject, ObjectKind eKind, DWORD* pulAccess = nullptr);
ObjectRef LookUpHandle(HANDLE hObject, DWORD* pulAccess);

// GenericRights: an access mask with its GENERIC_ bits and MAXIMUM_ALLOWED replaced by what they mean for a kind of object.
struct RightsRow
{
    DWORD ulRead, ulWrite, ulExecute, ulAll;
};
constexpr DWORD GenericRights(DWORD ulAccess, const RightsRow& row)
{
    DWORD ulRights = ulAccess & row.ulAll;
    if (ulAccess & GENERIC_READ) ulRights |= row.ulRead;
    if (ulAccess & GENERIC_WRITE) ulRights |= row.ulWrite;
    if (ulAccess & GENERIC_EXECUTE) ulRights |= row.ulExecute;
    if (ulAccess & (GENERIC_ALL | MAXIMUM_ALLOWED)) ulRights |= row.ulAll;
    return ulRights;
}

// CopyHandle: one more handle, with the same access, to the object behind a handle of any kind. Null when there is no such
//   handle, or when bFull: the table is.
HANDLE CopyHandle(HANDLE hObject, bool& bFull);

// RemoveHandle: ends a handle of any kind; false when there is no such handle. The object may die in this call.
bool RemoveHandle(HANDLE hObject);
} // namespace lum
