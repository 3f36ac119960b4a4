#include "Activation.h"

#include "../kernel/Error.h"
#include "ClassModule.h"
#include "ClassTable.h"

#include <memory>

namespace
{
struct ReleaseObject
{
    void operator()(IUnknown* pObject) const { pObject->Release(); }
};
template <class Interface>
using ObjectPtr = std::unique_ptr<Interface, ReleaseObject>;

// What a module failed with, when that may be told.
HRESULT FailureFor(DWORD ulContext, HRESULT hFailure)
{
    return (ulContext & CLSCTX_ALL) == CLSCTX_INPROC_SERVER ? hFailure : REGDB_E_CLASSNOTREG;
}
} // namespace

HRESULT CoGetClassObject(REFCLSID clsid, DWORD ulContext, LPVOID, REFIID iid, LPVOID* ppObject)
{
    if (!ppObject) return E_INVALIDARG;
    *ppObject = nullptr;
    const lum::ApartmentId apartment = lum::CurrentApartment();
    if (apartment == lum::kNoApartment) return CO_E_NOTINITIALIZED;
    if (!(ulContext & CLSCTX_INPROC_SERVER)) return REGDB_E_CLASSNOTREG;

    const ObjectPtr<IUnknown> pOffered(lum::FindClass(clsid, apartment));
    if (pOffered) return pOffered->QueryInterface(iid, ppObject);
    const HRESULT hResult = lum::ModuleClassObject(clsid, iid, ppObject);
    return SUCCEEDED(hResult) ? hResult : FailureFor(ulContext, hResult);
}

HRESULT CoCreateInstance(REFCLSID clsid, LPUNKNOWN pOuter, DWORD ulContext, REFIID iid, LPVOID* ppObject)
{
    if (!ppObject) return E_POINTER;
    *ppObject = nullptr;
    void* pFound = nullptr;
    const HRESULT hResult = CoGetClassObject(clsid, ulContext, nullptr, IID_IClassFactory, &pFound);
    if (FAILED(hResult)) return hResult;
    const ObjectPtr<IClassFactory> pClass(static_cast<IClassFactory*>(pFound));
    return pClass->CreateInstance(pOuter, iid, ppObject);
}
