// The interfaces that every object, every class object and every automation object has.
//
//  * A call goes by the place of the method in the interface: no virtual member may be added, moved or taken out.
//  * A method that gives out an interface counts it; whoever holds one ends with Release.
#pragma once

#include "Guids.h"

#define STDMETHODCALLTYPE
#define STDAPICALLTYPE

struct IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppObject) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;
};
using LPUNKNOWN = IUnknown*;

struct IClassFactory : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pOuter, REFIID iid, void** ppObject) = 0;
    virtual HRESULT STDMETHODCALLTYPE LockServer(BOOL bLock) = 0;
};
using LPCLASSFACTORY = IClassFactory*;

// What automation's four methods are given. Nobody here looks inside.
struct ITypeInfo;
struct tagDISPPARAMS;
struct tagVARIANT;
struct tagEXCEPINFO;
using DISPPARAMS = tagDISPPARAMS;
using VARIANT = tagVARIANT;
using EXCEPINFO = tagEXCEPINFO;
using DISPID = LONG;

struct IDispatch : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* puCount) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT uInfo, LCID ulLocale, ITypeInfo** ppInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID reserved, LPOLESTR* ppNames, UINT uNames, LCID ulLocale,
                                                    DISPID* plIds) = 0;
    virtual HRESULT STDMETHODCALLTYPE Invoke(DISPID lId, REFIID reserved, LCID ulLocale, WORD uwFlags, DISPPARAMS* pParameters,
                                             VARIANT* pResult, EXCEPINFO* pExceptionInfo, UINT* puArgument) = 0;
};

inline constexpr IID IID_IUnknown{0x00000000, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IClassFactory{0x00000001, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IDispatch{0x00020400, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
