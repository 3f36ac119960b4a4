// The security server: logs an account of this machine on, and lets threads open files as it.
#include "Account.h"
#include "Counted.h"

#include <strings.h>
#include <unistd.h>

#include <cstring>
#include <new>
#include <string>

namespace
{
class Security final : public OCounted<OSecurityObject>
{
public:
    explicit Security(const OFileIdentity& account) : mAccount(account), mOwnGroups(OwnGroups()) {}

    HRESULT STDMETHODCALLTYPE Impersonate() override { return TakeIdentity(mAccount, mOwnGroups) ? S_OK : E_ACCESSDENIED; }
    HRESULT STDMETHODCALLTYPE Revert() override { return LeaveIdentity(mOwnGroups) ? S_OK : E_ACCESSDENIED; }
    HRESULT STDMETHODCALLTYPE ThreadDetach() override { return Revert(); }

private:
    const OFileIdentity mAccount;
    const std::vector<gid_t> mOwnGroups; // of the process, when it logged on
};

constexpr std::size_t kulMostUnits = 255; // of a text, as the login record has room for them

// A text in the system's encoding, wiped in the end.
class Text
{
public:
    explicit Text(const WCHAR* pText)
    {
        if (!pText) return;
        while (mulUnits <= kulMostUnits && pText[mulUnits]) ++mulUnits;
        if (mulUnits > kulMostUnits) return;
        const int iUnits = static_cast<int>(mulUnits + 1); // and the zero
        mbGood = WideCharToMultiByte(CP_UTF8, 0, pText, iUnits, macText, sizeof macText, nullptr, nullptr) > 0;
    }
    ~Text() { explicit_bzero(macText, sizeof macText); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;

    bool IsGood() const { return mbGood; }
    const char* Get() const { return macText; }

private:
    std::size_t mulUnits = 0;
    bool mbGood = false;
    char macText[3 * kulMostUnits + 1] = "";
};

// This machine has no domain, or goes by its name or by a point.
bool IsThisMachine(const char* pDomain)
{
    char acHost[256] = "";
    if (!*pDomain || std::string(".") == pDomain) return true;
    return gethostname(acHost, sizeof acHost - 1) == 0 && strcasecmp(acHost, pDomain) == 0;
}

class SecurityFactory final : public OCounted<OSecurityFactory>
{
public:
    SecurityFactory() : OCounted(kSecurityFactoryInterface) {}

    HRESULT STDMETHODCALLTYPE LogOn(const WCHAR* pUser, const WCHAR* pDomain, const WCHAR* pPassword,
                                    OSecurityObject** ppObject) override
    try
    {
        if (!ppObject) return E_POINTER;
        *ppObject = nullptr;
        if (!MayChangeIdentity()) return E_ACCESSDENIED;
        const Text user(pUser), domain(pDomain), password(pPassword);
        if (!user.IsGood() || !domain.IsGood() || !password.IsGood()) return E_INVALIDARG;

        std::string sUser(user.Get());
        if (!IsThisMachine(domain.Get())) sUser = domain.Get() + ("\\" + sUser); // as PAM's modules for domains take it
        OFileIdentity account;
        const HRESULT hResult = CheckAccount(sUser, password.Get(), account);
        if (SUCCEEDED(hResult)) *ppObject = new Security(account);
        return hResult;
    }
    catch (const std::bad_alloc&)
    {
        return E_OUTOFMEMORY;
    }
};

// One for the module, never gone.
class SecurityClass final : public IClassFactory
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppObject) override
    {
        if (!ppObject) return E_POINTER;
        const bool bKnown = iid == IID_IUnknown || iid == IID_IClassFactory;
        *ppObject = bKnown ? this : nullptr;
        return bKnown ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pOuter, REFIID iid, void** ppObject) override
    {
        if (!ppObject) return E_POINTER;
        *ppObject = nullptr;
        if (pOuter) return CLASS_E_NOAGGREGATION;
        auto* pFactory = new (std::nothrow) SecurityFactory;
        if (!pFactory) return E_OUTOFMEMORY;
        const HRESULT hResult = pFactory->QueryInterface(iid, ppObject);
        pFactory->Release();
        return hResult;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};
} // namespace

extern "C" [[gnu::visibility("default")]] HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** ppObject)
{
    static SecurityClass factory;
    if (!ppObject) return E_POINTER;
    *ppObject = nullptr;
    return clsid == kSecurityFactoryClass ? factory.QueryInterface(iid, ppObject) : CLASS_E_CLASSNOTAVAILABLE;
}
