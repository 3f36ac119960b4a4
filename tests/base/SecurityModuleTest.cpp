// The log-on with another module's server as it looks from here, and with what the registry names as one when it is none.
#include "SecurityInit.h"

namespace
{
// A factory of places in a table, which notes those that are called.
struct RawFactory
{
    using Method = void (*)();
    const Method* pMethods;
    static inline std::vector<int> places;

    static HRESULT Note(int iPlace)
    {
        places.push_back(iPlace);
        return S_OK;
    }
    static HRESULT WINAPI Query(RawFactory* pSelf, const IID*, void** ppObject)
    {
        *ppObject = pSelf;
        return Note(1);
    }
    template <int iPlace>
    static HRESULT WINAPI Other(RawFactory*)
    {
        return Note(iPlace);
    }
    static HRESULT WINAPI LogOn(RawFactory*, const WCHAR* pUser, const WCHAR* pDomain, const WCHAR* pPassword, void**)
    {
        EXPECT_EQ(Narrow(pUser) + " | " + Narrow(pDomain) + " | " + Narrow(pPassword), ksLogOn);
        return Note(8);
    }
    template <class Function>
    static Method As(Function* pFunction)
    {
        return reinterpret_cast<Method>(pFunction);
    }
};

class SecurityModule : public SecurityInit
{
protected:
    SecurityModule()
    {
        Withdraw();
        Install(Record());
    }
    ~SecurityModule() override { RegDeleteTreeA(HKEY_CLASSES_ROOT, kpKey); }

    static void Name(const std::string& sModule)
    {
        char acWhole[MAX_PATH] = "";
        EXPECT_NE(GetFullPathNameA(sModule.c_str(), sizeof acWhole, acWhole, nullptr), 0u);
        HKEY hKey = nullptr;
        RegCreateKeyExA(HKEY_CLASSES_ROOT, (std::string(kpKey) + "\\InprocServer32").c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                        &hKey, nullptr);
        const auto ulBytes = static_cast<DWORD>(std::string(acWhole).size() + 1);
        EXPECT_EQ(RegSetValueExA(hKey, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(acWhole), ulBytes), ERROR_SUCCESS);
        RegCloseKey(hKey);
    }

    // An account is configured, nobody works as it, and the next try may succeed.
    void ExpectNoLogOn()
    {
        EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 0);
        EXPECT_EQ(InitLumSecurity(0), 0);
        EXPECT_EQ(SecurityState().pObject, nullptr);
        EXPECT_EQ(ImpersonateUser(), 0);
        EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{});
        DWORD ulCookie = 0;
        CoRegisterClassObject(kSecurityFactoryClass, &factoryClass, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &ulCookie);
        EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
        EXPECT_EQ(factory.Take(), SecurityCalls{ksLogOn});
        CoRevokeClassObject(ulCookie);
    }

    static constexpr const char* kpKey = "CLSID\\{C2C44A9B-CD97-41FB-9F3B-1D1B9DDCABBD}";
};
} // namespace

TEST_F(SecurityModule, IsLoggedOnToByTheEighthMethodOfItsFactory)
{
    using Raw = RawFactory;
    const Raw::Method methods[] = {Raw::As(Raw::Query),    Raw::As(Raw::Other<2>), Raw::As(Raw::Other<3>), Raw::As(Raw::Other<4>),
                                   Raw::As(Raw::Other<5>), Raw::As(Raw::Other<6>), Raw::As(Raw::Other<7>), Raw::As(Raw::LogOn)};
    Raw raw{methods};
    ComClass rawClass(*reinterpret_cast<IUnknown*>(&raw));
    DWORD ulCookie = 0;
    CoRegisterClassObject(kSecurityFactoryClass, &rawClass, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &ulCookie);
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
    EXPECT_EQ(Raw::places, (std::vector<int>{1, 8, 3})); // and released at once
    CoRevokeClassObject(ulCookie);
}

TEST_F(SecurityModule, ThatIsMissingIsNoLogOn)
{
    Name(folder / "none.dll");
    ExpectNoLogOn();
}

TEST_F(SecurityModule, ThatIsSomeOtherFileIsNoLogOn)
{
    std::ofstream(folder / "text.dll") << "not a module";
    Name(folder / "text.dll");
    ExpectNoLogOn();
}

TEST_F(SecurityModule, ThatHasNoClassesIsNoLogOn)
{
    Name(LUM_TEST_LIBRARY);
    ExpectNoLogOn();
}

TEST_F(SecurityModule, OfTheWrongClassIsNoLogOn)
{
    Name(LUM_TEST_COM_SERVER); // whose objects have another interface
    ExpectNoLogOn();
}
