// Objects of a test's own: counted, on the stack or static, and never deleted.
#pragma once

#include "Platform.h"

#include <atomic>
#include <initializer_list>
#include <vector>

// An object that answers to IUnknown, to Interface and to the identifiers that it is given.
template <class Interface>
class ComObject : public Interface
{
public:
    explicit ComObject(std::initializer_list<IID> interfaces) : mInterfaces(interfaces) { mInterfaces.push_back(IID_IUnknown); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppObject) override
    {
        for (const IID& known : mInterfaces)
        {
            if (!IsEqualGUID(known, iid)) continue;
            *ppObject = static_cast<Interface*>(this);
            AddRef();
            return S_OK;
        }
        *ppObject = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++mlCount); }
    ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--mlCount); }

    LONG Count() const { return mlCount; } // of those who hold it

private:
    std::vector<IID> mInterfaces;
    std::atomic<LONG> mlCount{0};
};

// A class object that gives out one and the same object.
class ComClass final : public ComObject<IClassFactory>
{
public:
    explicit ComClass(IUnknown& object) : ComObject({IID_IClassFactory}), mObject(object) {}

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pOuter, REFIID iid, void** ppObject) override
    {
        return pOuter ? CLASS_E_NOAGGREGATION : mObject.QueryInterface(iid, ppObject);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

private:
    IUnknown& mObject;
};
