#include "ClassTable.h"

#include "../kernel/Error.h"
#include "Activation.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <vector>

namespace
{
struct OfferedClass
{
    CLSID clsid;
    IUnknown* pObject; // counted
    lum::ApartmentId apartment;
    DWORD ulCookie;
};

// Objects are counted under the lock, so that none goes between being found and being counted. They are released outside it:
// the last release runs the program's code.
class ClassTable
{
public:
    HRESULT Add(OfferedClass offered, DWORD ulFlags, DWORD& ulCookie)
    try
    {
        std::lock_guard lock(mMutex);
        ulCookie = 0;
        if (FindLocked(offered.clsid, offered.apartment)) return ulFlags & REGCLS_MULTIPLEUSE ? S_OK : CO_E_OBJISREG;
        offered.ulCookie = ulCookie = NextCookie();
        mClasses.push_back(offered);
        offered.pObject->AddRef();
        return S_OK;
    }
    catch (const std::bad_alloc&)
    {
        return E_OUTOFMEMORY;
    }

    IUnknown* Find(REFCLSID clsid, lum::ApartmentId apartment)
    {
        std::lock_guard lock(mMutex);
        const OfferedClass* pFound = FindLocked(clsid, apartment);
        if (!pFound) return nullptr;
        pFound->pObject->AddRef();
        return pFound->pObject;
    }

    HRESULT Revoke(DWORD ulCookie, lum::ApartmentId apartment)
    {
        IUnknown* pObject;
        {
            std::lock_guard lock(mMutex);
            const auto found = std::ranges::find(mClasses, ulCookie, &OfferedClass::ulCookie);
            if (found == mClasses.end()) return E_INVALIDARG;
            if (found->apartment != apartment) return RPC_E_WRONG_THREAD;
            pObject = found->pObject;
            mClasses.erase(found);
        }
        pObject->Release();
        return S_OK;
    }

    void RevokeAll(lum::ApartmentId apartment)
    {
        while (IUnknown* pObject = TakeOne(apartment)) pObject->Release();
    }

private:
    const OfferedClass* FindLocked(REFCLSID clsid, lum::ApartmentId apartment) const
    {
        for (const OfferedClass& offered : mClasses)
            if (offered.apartment == apartment && offered.clsid == clsid) return &offered;
        return nullptr;
    }

    DWORD NextCookie()
    {
        do ++mulLastCookie;
        while (!mulLastCookie || std::ranges::find(mClasses, mulLastCookie, &OfferedClass::ulCookie) != mClasses.end());
        return mulLastCookie;
    }

    IUnknown* TakeOne(lum::ApartmentId apartment)
    {
        std::lock_guard lock(mMutex);
        const auto found = std::ranges::find(mClasses, apartment, &OfferedClass::apartment);
        if (found == mClasses.end()) return nullptr;
        IUnknown* pObject = found->pObject;
        mClasses.erase(found);
        return pObject;
    }

    std::mutex mMutex;
    std::vector<OfferedClass> mClasses;
    DWORD mulLastCookie = 0;
};

ClassTable& Table()
{
    // Never destroyed: threads still end while the program does.
    static ClassTable& table = *new ClassTable;
    return table;
}
} // namespace

IUnknown* lum::FindClass(REFCLSID clsid, ApartmentId apartment) { return Table().Find(clsid, apartment); }

void lum::RevokeClassesOf(ApartmentId apartment) { Table().RevokeAll(apartment); }

HRESULT CoRegisterClassObject(REFCLSID clsid, LPUNKNOWN pObject, DWORD, DWORD ulFlags, LPDWORD pulCookie)
{
    if (!pObject || !pulCookie) return E_INVALIDARG;
    const lum::ApartmentId apartment = lum::CurrentApartment();
    if (apartment == lum::kNoApartment) return CO_E_NOTINITIALIZED;
    return Table().Add({clsid, pObject, apartment, 0}, ulFlags, *pulCookie);
}

HRESULT CoRevokeClassObject(DWORD ulCookie)
{
    const lum::ApartmentId apartment = lum::CurrentApartment();
    if (apartment == lum::kNoApartment) return CO_E_NOTINITIALIZED;
    return Table().Revoke(ulCookie, apartment);
}
