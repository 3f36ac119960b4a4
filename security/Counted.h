// An object of this module: counted, gone with its last release.
#pragma once

#include "OSecurityServer.h"

#include <atomic>

// Answers to IUnknown, IDispatch and, unless it has none, the interface's own identifier.
template <class Interface>
class OCounted : public OWithoutAutomation<Interface>
{
public:
    explicit OCounted(REFIID own = IID_IDispatch) : mOwn(own) {}
    virtual ~OCounted() = default;
    OCounted(const OCounted&) = delete;
    OCounted& operator=(const OCounted&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppObject) override
    {
        if (!ppObject) return E_POINTER;
        const bool bKnown = iid == IID_IUnknown || iid == IID_IDispatch || iid == mOwn;
        *ppObject = bKnown ? static_cast<Interface*>(this) : nullptr;
        if (!bKnown) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++mulCount; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG ulLeft = --mulCount;
        if (!ulLeft) delete this;
        return ulLeft;
    }

private:
    const IID mOwn;
    std::atomic<ULONG> mulCount{1};
};
