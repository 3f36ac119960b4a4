// Apartments, class objects, and modules that the registry names.
#include "ComObject.h"
#include "ComServer.h"
#include "TempFolder.h"
#include "WideText.h"
#include "Wine.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <thread>

namespace
{
constexpr CLSID kClass{0x7D3F5A20, 0x52C8, 0x4E5B, {0x9B, 0x1F, 0x60, 0x2E, 0x4A, 0x8C, 0x77, 0x01}};
constexpr DWORD kulInside = CLSCTX_INPROC_SERVER, kulAny = CLSCTX_INPROC | CLSCTX_LOCAL_SERVER;

void* const kpUntouched = reinterpret_cast<void*>(1);

template <class Work>
void OnThread(Work work)
{
    std::thread(work).join();
}

// Gives back what a call made; a call that failed has left nothing.
HRESULT Released(HRESULT hResult, void* pObject)
{
    if (SUCCEEDED(hResult)) static_cast<IUnknown*>(pObject)->Release();
    else EXPECT_EQ(pObject, nullptr);
    return hResult;
}

HRESULT Create(REFCLSID clsid, DWORD ulContext = kulInside, REFIID iid = IID_IUnknown)
{
    void* pObject = kpUntouched;
    const HRESULT hResult = CoCreateInstance(clsid, nullptr, ulContext, iid, &pObject);
    return Released(hResult, pObject);
}

HRESULT Find(REFCLSID clsid, DWORD ulContext = kulInside, REFIID iid = IID_IUnknown)
{
    void* pObject = kpUntouched;
    const HRESULT hResult = CoGetClassObject(clsid, ulContext, nullptr, iid, &pObject);
    return Released(hResult, pObject);
}

// An apartment for the test's own thread, with one class that may be registered.
class Com : public testing::Test
{
protected:
    Com() { EXPECT_EQ(CoInitialize(nullptr), S_OK); }
    ~Com() override { CoUninitialize(); }

    DWORD Register(DWORD ulFlags = REGCLS_MULTIPLEUSE)
    {
        DWORD ulCookie = 0;
        EXPECT_EQ(CoRegisterClassObject(kClass, &factory, kulInside, ulFlags, &ulCookie), S_OK);
        return ulCookie;
    }

    ComObject<IUnknown> object{};
    ComClass factory{object};
};

// Puts what is to be the class's module into the registry.
class ComModule : public Com
{
protected:
    ~ComModule() override
    {
        RegDeleteTreeA(HKEY_CLASSES_ROOT, KeyOf(kClass).c_str());
        RegDeleteTreeA(HKEY_CLASSES_ROOT, KeyOf(kComServerClass).c_str());
    }

    static std::string KeyOf(REFCLSID clsid)
    {
        OLECHAR aclText[39];
        EXPECT_EQ(StringFromGUID2(clsid, aclText, 39), 39);
        return "CLSID\\" + std::string(aclText, aclText + 38);
    }
    static void Name(REFCLSID clsid, const std::string& sModule)
    {
        HKEY hKey = nullptr;
        ASSERT_EQ(RegCreateKeyExA(HKEY_CLASSES_ROOT, (KeyOf(clsid) + "\\InprocServer32").c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                                  &hKey, nullptr),
                  ERROR_SUCCESS);
        RegSetValueExA(hKey, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(sModule.c_str()),
                       static_cast<DWORD>(sModule.size() + 1));
        RegSetValueExA(hKey, "ThreadingModel", 0, REG_SZ, reinterpret_cast<const BYTE*>("Both"), 5);
        RegCloseKey(hKey);
    }
    static std::string Whole(const std::string& sPath)
    {
        char acPath[MAX_PATH] = "";
        EXPECT_NE(GetFullPathNameA(sPath.c_str(), MAX_PATH, acPath, nullptr), 0u);
        return acPath;
    }

    TempFolder folder;
};
} // namespace

// Apartments -----------------------------------------------------------------------------------------------------------------

TEST(ComApartment, IsEnteredOncePerThreadAndCounted)
{
    OnThread([]
    {
        EXPECT_EQ(CoInitialize(nullptr), S_OK);
        EXPECT_EQ(CoInitialize(nullptr), S_FALSE);
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE | COINIT_SPEED_OVER_MEMORY), S_FALSE);
        CoUninitialize();
        CoUninitialize();
        EXPECT_EQ(Find(kClass), REGDB_E_CLASSNOTREG); // still in it
        CoUninitialize();
        EXPECT_EQ(Find(kClass), CO_E_NOTINITIALIZED);
        CoUninitialize(); // one too many changes nothing
        EXPECT_EQ(CoInitialize(nullptr), S_OK);
        CoUninitialize();
    });
}

TEST(ComApartment, IsOfOneKindUntilItIsLeft)
{
    OnThread([]
    {
        EXPECT_EQ(CoInitialize(nullptr), S_OK);
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
        CoUninitialize(); // the refusal does not count
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        EXPECT_EQ(CoInitialize(nullptr), RPC_E_CHANGED_MODE);
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
        CoUninitialize();
        CoUninitialize();
        EXPECT_EQ(Find(kClass), CO_E_NOTINITIALIZED);
    });
}

TEST(ComApartment, WithoutOneNothingIsFoundOrOffered)
{
    OnThread([]
    {
        ComObject<IUnknown> object{};
        ComClass factory(object);
        DWORD ulCookie = 77;
        EXPECT_EQ(Create(kClass), CO_E_NOTINITIALIZED);
        EXPECT_EQ(Create(kClass, kulAny), CO_E_NOTINITIALIZED);
        EXPECT_EQ(Find(kClass), CO_E_NOTINITIALIZED);
        EXPECT_EQ(CoRegisterClassObject(kClass, &factory, kulInside, REGCLS_MULTIPLEUSE, &ulCookie), CO_E_NOTINITIALIZED);
        EXPECT_EQ(ulCookie, 77u);
        EXPECT_EQ(CoRevokeClassObject(1), CO_E_NOTINITIALIZED);
        EXPECT_EQ(factory.Count(), 0);
    });
}

TEST_F(Com, ANullPlaceForTheResultIsAnError)
{
    EXPECT_EQ(CoCreateInstance(kClass, nullptr, kulAny, IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(CoGetClassObject(kClass, kulAny, nullptr, IID_IUnknown, nullptr), E_INVALIDARG);
}

// Class objects of the program -----------------------------------------------------------------------------------------------

TEST_F(Com, FindsTheClassObjectThatWasRegistered)
{
    EXPECT_EQ(Create(kClass), REGDB_E_CLASSNOTREG);
    const DWORD ulCookie = Register();
    EXPECT_NE(ulCookie, 0u);
    EXPECT_EQ(factory.Count(), 1);

    void* pFound = nullptr;
    EXPECT_EQ(CoGetClassObject(kClass, kulAny, nullptr, IID_IClassFactory, &pFound), S_OK);
    EXPECT_EQ(pFound, static_cast<IClassFactory*>(&factory));
    EXPECT_EQ(factory.Count(), 2);
    factory.Release();

    void* pObject = nullptr;
    EXPECT_EQ(CoCreateInstance(kClass, nullptr, kulAny, IID_IUnknown, &pObject), S_OK);
    EXPECT_EQ(pObject, &object);
    EXPECT_EQ(object.Count(), 1);
    EXPECT_EQ(factory.Count(), 1); // let go of

    EXPECT_EQ(CoRevokeClassObject(ulCookie), S_OK);
    EXPECT_EQ(factory.Count(), 0);
    EXPECT_EQ(Create(kClass, kulAny), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(CoRevokeClassObject(ulCookie), E_INVALIDARG);
    EXPECT_EQ(CoRevokeClassObject(0), E_INVALIDARG);
}

TEST_F(Com, PassesOnWhatTheClassObjectAnswers)
{
    const DWORD ulCookie = Register();
    EXPECT_EQ(Create(kClass, kulAny, IID_IDispatch), E_NOINTERFACE);
    EXPECT_EQ(Find(kClass, kulAny, IID_IDispatch), E_NOINTERFACE);
    void* pObject = kpUntouched;
    EXPECT_EQ(CoCreateInstance(kClass, &object, kulAny, IID_IUnknown, &pObject), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(pObject, nullptr);
    EXPECT_EQ(factory.Count(), 1);
    EXPECT_EQ(object.Count(), 0);
    CoRevokeClassObject(ulCookie);
}

TEST_F(Com, RegistersNothingWithoutAnObjectOrAPlaceForTheCookie)
{
    DWORD ulCookie = 0;
    EXPECT_EQ(CoRegisterClassObject(kClass, nullptr, kulInside, REGCLS_MULTIPLEUSE, &ulCookie), E_INVALIDARG);
    EXPECT_EQ(CoRegisterClassObject(kClass, &factory, kulInside, REGCLS_MULTIPLEUSE, nullptr), E_INVALIDARG);
    EXPECT_EQ(factory.Count(), 0);
    EXPECT_EQ(Create(kClass), REGDB_E_CLASSNOTREG);
}

TEST_F(Com, TheFirstClassObjectOfAClassStays)
{
    const DWORD ulFirst = Register();
    ComClass second(object);
    DWORD ulSecond = 77;
    EXPECT_EQ(CoRegisterClassObject(kClass, &second, kulInside, REGCLS_MULTIPLEUSE, &ulSecond), S_OK);
    EXPECT_EQ(ulSecond, 0u);
    EXPECT_EQ(CoRegisterClassObject(kClass, &second, kulInside, REGCLS_SINGLEUSE, &ulSecond), CO_E_OBJISREG);
    EXPECT_EQ(second.Count(), 0);
    EXPECT_EQ(Create(kClass), S_OK);
    CoRevokeClassObject(ulFirst);
}

TEST_F(Com, InsideAProcessAClassObjectServesAnyNumberOfTimes)
{
    for (const DWORD ulFlags : std::initializer_list<DWORD>{REGCLS_SINGLEUSE, REGCLS_MULTIPLEUSE, REGCLS_MULTI_SEPARATE})
    {
        const DWORD ulCookie = Register(ulFlags);
        EXPECT_EQ(Create(kClass), S_OK);
        EXPECT_EQ(Create(kClass), S_OK);
        EXPECT_EQ(CoRevokeClassObject(ulCookie), S_OK);
    }
}

TEST_F(Com, OnlyAServerInsideTheProcessIsAnswered)
{
    const DWORD ulCookie = Register();
    for (const DWORD ulContext : std::initializer_list<DWORD>{kulInside, CLSCTX_INPROC, CLSCTX_SERVER, CLSCTX_ALL})
        EXPECT_EQ(Create(kClass, ulContext), S_OK);
    EXPECT_EQ(Create(kClass, CLSCTX_INPROC_HANDLER), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(Create(kClass, CLSCTX_LOCAL_SERVER), REGDB_E_CLASSNOTREG);
    CoRevokeClassObject(ulCookie);
}

TEST_F(Com, AClassObjectIsThatOfItsApartmentAlone)
{
    const DWORD ulCookie = Register();
    OnThread([&]
    {
        EXPECT_EQ(CoInitialize(nullptr), S_OK);
        EXPECT_EQ(Create(kClass), REGDB_E_CLASSNOTREG);
        EXPECT_EQ(CoRevokeClassObject(ulCookie), RPC_E_WRONG_THREAD);
        ComClass own(object);
        DWORD ulOwn = 0;
        EXPECT_EQ(CoRegisterClassObject(kClass, &own, kulInside, REGCLS_MULTIPLEUSE, &ulOwn), S_OK);
        EXPECT_EQ(Create(kClass), S_OK);
        EXPECT_EQ(CoRevokeClassObject(ulOwn), S_OK);
        CoUninitialize();
    });
    EXPECT_EQ(CoRevokeClassObject(ulCookie), S_OK);
}

TEST_F(Com, LeavingAnApartmentTakesItsClassObjectsBack)
{
    OnThread([this]
    {
        EXPECT_EQ(CoInitialize(nullptr), S_OK);
        const DWORD ulCookie = Register();
        EXPECT_EQ(factory.Count(), 1);
        CoUninitialize();
        EXPECT_EQ(factory.Count(), 0);
        EXPECT_EQ(CoInitialize(nullptr), S_OK);
        EXPECT_EQ(Create(kClass), REGDB_E_CLASSNOTREG);
        EXPECT_EQ(CoRevokeClassObject(ulCookie), E_INVALIDARG);
        CoUninitialize();
    });
}

TEST_F(Com, SoDoesTheEndOfTheThread)
{
    for (const DWORD ulKind : std::initializer_list<DWORD>{COINIT_APARTMENTTHREADED, COINIT_MULTITHREADED})
    {
        OnThread([this, ulKind]
        {
            EXPECT_EQ(CoInitializeEx(nullptr, ulKind), S_OK);
            EXPECT_EQ(CoInitializeEx(nullptr, ulKind), S_FALSE);
            Register();
            EXPECT_EQ(factory.Count(), 1);
        });
        EXPECT_EQ(factory.Count(), 0);
    }
    OnThread([] { EXPECT_EQ(Create(kClass), CO_E_NOTINITIALIZED); });
}

TEST_F(Com, TheMultithreadedApartmentIsOneForAllItsThreads)
{
    OnThread([this]
    {
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        const DWORD ulCookie = Register();
        OnThread([ulCookie]
        {
            EXPECT_EQ(Create(kClass), S_OK); // without initialising
            EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
            EXPECT_EQ(Create(kClass), S_OK);
            CoUninitialize();
            EXPECT_EQ(CoInitialize(nullptr), S_OK);
            EXPECT_EQ(Create(kClass), REGDB_E_CLASSNOTREG);
            EXPECT_EQ(CoRevokeClassObject(ulCookie), RPC_E_WRONG_THREAD);
            CoUninitialize();
            EXPECT_EQ(CoRevokeClassObject(ulCookie), S_OK);
        });
        EXPECT_EQ(factory.Count(), 0);
        Register();
        CoUninitialize();
        EXPECT_EQ(factory.Count(), 0);
    });
}

// Modules --------------------------------------------------------------------------------------------------------------------

TEST_F(ComModule, IsFoundByTheRegistryAndGivesItsObjects)
{
    Name(kComServerClass, Whole(LUM_TEST_COM_SERVER));
    for (const DWORD ulContext : {kulInside, kulAny})
    {
        void* pObject = nullptr;
        ASSERT_EQ(CoCreateInstance(kComServerClass, nullptr, ulContext, kComServerInterface, &pObject), S_OK);
        auto* pServed = static_cast<IComServerObject*>(pObject);
        EXPECT_EQ(pServed->Answer(), 42u);
        pServed->Release();
    }
    EXPECT_EQ(Create(kComServerClass, kulAny, IID_IDispatch), E_NOINTERFACE);
    EXPECT_EQ(Find(kComServerClass, kulInside, IID_IDispatch), E_NOINTERFACE);
    void* pObject = kpUntouched;
    EXPECT_EQ(CoCreateInstance(kComServerClass, &object, kulAny, IID_IUnknown, &pObject), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(pObject, nullptr);
    EXPECT_EQ(Create(kComServerClass, CLSCTX_LOCAL_SERVER), REGDB_E_CLASSNOTREG);
}

TEST_F(ComModule, ComesBehindTheProgramsOwnClassObject)
{
    Name(kComServerClass, Whole(LUM_TEST_COM_SERVER));
    DWORD ulCookie = 0;
    EXPECT_EQ(CoRegisterClassObject(kComServerClass, &factory, kulInside, REGCLS_MULTIPLEUSE, &ulCookie), S_OK);
    void* pObject = nullptr;
    EXPECT_EQ(CoCreateInstance(kComServerClass, nullptr, kulInside, IID_IUnknown, &pObject), S_OK);
    EXPECT_EQ(pObject, &object);
    CoRevokeClassObject(ulCookie);
}

TEST_F(ComModule, ThatHasNotTheClassSaysSo)
{
    Name(kClass, Whole(LUM_TEST_COM_SERVER));
    EXPECT_EQ(Create(kClass), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(Create(kClass, kulAny), REGDB_E_CLASSNOTREG); // nor has anyone else
}

TEST_F(ComModule, ThatIsNoneIsAnError)
{
    Name(kClass, folder / "nothing.dll");
    // Wine calls every file that does not load forbidden.
    EXPECT_EQ(Create(kClass), WineSays(E_ACCESSDENIED, HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND)));
    EXPECT_EQ(Create(kClass, kulAny), REGDB_E_CLASSNOTREG);

    const std::string sText = folder / "text.dll";
    std::FILE* pFile = std::fopen(sText.c_str(), "w");
    ASSERT_NE(pFile, nullptr);
    std::fputs("not a module\n", pFile);
    std::fclose(pFile);
    Name(kClass, sText);
    EXPECT_EQ(Create(kClass), WineSays(E_ACCESSDENIED, HRESULT_FROM_WIN32(ERROR_BAD_EXE_FORMAT)));

    Name(kClass, Whole(LUM_TEST_LIBRARY)); // a module without the function
    EXPECT_EQ(Create(kClass), CO_E_DLLNOTFOUND);
    EXPECT_EQ(Create(kClass, kulAny), REGDB_E_CLASSNOTREG);
}

TEST_F(ComModule, AKeyWithoutAPathIsNoRegistration)
{
    HKEY hKey = nullptr;
    RegCreateKeyExA(HKEY_CLASSES_ROOT, (KeyOf(kClass) + "\\InprocServer32").c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &hKey,
                    nullptr);
    RegCloseKey(hKey);
    EXPECT_EQ(Create(kClass), REGDB_E_CLASSNOTREG);
}

// Identifiers ----------------------------------------------------------------------------------------------------------------

TEST(ComGuid, HasATextOfThirtyEightCapitals)
{
    const GUID guid{0xABCDEF01, 0x2B, 0xC, {0, 0xF, 1, 2, 3, 4, 5, 6}};
    OLECHAR awcText[40];
    EXPECT_EQ(StringFromGUID2(guid, awcText, 39), 39);
    EXPECT_EQ(Units(awcText, 39), std::u16string(u"{ABCDEF01-002B-000C-000F-010203040506}\0", 39));
    EXPECT_EQ(StringFromGUID2(guid, awcText, 40), 39);
    EXPECT_EQ(StringFromGUID2(guid, awcText, 38), 0);
    EXPECT_EQ(StringFromGUID2(guid, awcText, 0), 0);
}

TEST(ComGuid, IsReadFromItsTextAlone)
{
    const GUID expected{0xABCDEF01, 0x2B, 0xC, {0, 0xF, 1, 2, 3, 4, 5, 0xFE}};
    for (const char16_t* pText : {u"{ABCDEF01-002B-000C-000F-0102030405FE}", u"{abcdef01-002b-000c-000f-0102030405fe}"})
    {
        GUID guid{};
        EXPECT_EQ(CLSIDFromString(W(pText), &guid), S_OK);
        EXPECT_TRUE(IsEqualGUID(guid, expected));
        guid = GUID{};
        EXPECT_EQ(IIDFromString(W(pText), &guid), S_OK);
        EXPECT_TRUE(guid == expected);
    }
    const struct
    {
        const char16_t* pText;
        HRESULT hAsInterface;
    } wrong[] = {
        {u"", E_INVALIDARG},
        {u"{", E_INVALIDARG},
        {u"ABCDEF01-002B-000C-000F-0102030405FE", E_INVALIDARG},
        {u"{ABCDEF01-002B-000C-000F-0102030405FE", E_INVALIDARG},
        {u"{ABCDEF01-002B-000C-000F-0102030405FE} ", E_INVALIDARG},
        {u"{ABCDEF0G-002B-000C-000F-0102030405FE}", CO_E_IIDSTRING},
        {u"{ABCDEF01-002B-000C-000F0-102030405FE}", CO_E_IIDSTRING},
    };
    for (const auto& row : wrong)
    {
        GUID guid{};
        EXPECT_EQ(CLSIDFromString(W(row.pText), &guid), CO_E_CLASSSTRING);
        EXPECT_EQ(IIDFromString(W(row.pText), &guid), row.hAsInterface);
    }
}

TEST(ComGuid, NoTextIsTheIdentifierOfZeros)
{
    GUID guid{1, 2, 3, {4}};
    EXPECT_EQ(CLSIDFromString(nullptr, &guid), S_OK);
    EXPECT_TRUE(IsEqualGUID(guid, GUID{}));
    guid.Data1 = 1;
    EXPECT_EQ(IIDFromString(nullptr, &guid), S_OK);
    EXPECT_TRUE(IsEqualGUID(guid, GUID{}));
    EXPECT_FALSE(IsEqualGUID(guid, kClass));
}
