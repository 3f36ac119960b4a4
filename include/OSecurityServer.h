// What a security server is to the library: an object of another module that lets threads work as an account.
//
//  * The factory is made by its class, with CoCreateInstance, used for one log-on and released.
//  * The places of the methods count: the three of every object, the four of automation, then these. A server may answer those of
//    automation with E_NOTIMPL; OWithoutAutomation does.
#pragma once

#include "Platform.h"

struct OSecurityObject : IDispatch
{
    // Impersonate: puts the calling thread, and no other, under the account's identity. Revert: back to its own. A thread is
    //   under it or not: several steps of one kind are one.
    virtual HRESULT STDMETHODCALLTYPE Impersonate() = 0;
    virtual HRESULT STDMETHODCALLTYPE Revert() = 0;
    // ThreadDetach: the calling thread is about to end. On Windows every thread's end is told; on Linux that of a thread which the
    //   library has asked the object for a step on, done or refused.
    virtual HRESULT STDMETHODCALLTYPE ThreadDetach() = 0;
};

struct OSecurityFactory : IDispatch
{
    // LogOn: *ppObject is the caller's to release. The texts are zero-terminated.
    virtual HRESULT STDMETHODCALLTYPE LogOn(const WCHAR* pUser, const WCHAR* pDomain, const WCHAR* pPassword,
                                            OSecurityObject** ppObject) = 0;
};

inline constexpr CLSID kSecurityFactoryClass{0xC2C44A9B, 0xCD97, 0x41FB, {0x9F, 0x3B, 0x1D, 0x1B, 0x9D, 0xDC, 0xAB, 0xBD}};
inline constexpr IID kSecurityFactoryInterface{0x702E77AF, 0x5666, 0x493F, {0x95, 0xE5, 0x42, 0x98, 0x67, 0x3C, 0xE8, 0x65}};

// An automation interface that can only be called directly.
template <class Interface>
class OWithoutAutomation : public Interface
{
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override
    {
        return E_NOTIMPL;
    }
};
