// The stored login record, the log-on, and what becomes of the security object.
#include "ComObject.h"
#include "Faulting.h"
#include "LoginPositions.h"
#include "MessageRecorder.h"
#include "OException.h"
#include "OSecurity.h"
#include "OtherProcess.h"
#include "RegistryBranch.h"
#include "SecurityState.h"
#include "TempFolder.h"
#include "WideText.h"
#include "WindowsVersion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <mutex>
#include <thread>

namespace
{
using Calls = std::vector<std::string>;
constexpr char kacMissing[] = "Security configuration error | Missing 'user.dat' file";

std::string Narrow(const WCHAR* pText)
{
    std::string sText;
    for (; *pText; ++pText) sText += static_cast<char>(*pText);
    return sText;
}

// What a log-on gives out.
class Served final : public OWithoutAutomation<OSecurityObject>
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppObject) override
    {
        *ppObject = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++lCount); }
    ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--lCount); }
    HRESULT STDMETHODCALLTYPE Impersonate() override { return Note("impersonate"); }
    HRESULT STDMETHODCALLTYPE Revert() override { return Note("revert"); }
    HRESULT STDMETHODCALLTYPE ThreadDetach() override
    {
        detached = GetCurrentThreadId();
        return Note("detach");
    }

    Calls Take()
    {
        std::lock_guard lock(mMutex);
        return std::exchange(mCalls, {});
    }

    std::atomic<LONG> lCount{0};
    std::atomic<HRESULT> hResult{S_OK};
    std::atomic<DWORD> detached{0};

private:
    HRESULT Note(const char* pCall)
    {
        std::lock_guard lock(mMutex);
        mCalls.push_back(pCall);
        return hResult;
    }

    std::mutex mMutex;
    Calls mCalls;
};

// The factory: who logged on, and what it is to do then.
class Factory final : public ComObject<OWithoutAutomation<OSecurityFactory>>
{
public:
    Factory() : ComObject({kSecurityFactoryInterface}) {}
    HRESULT STDMETHODCALLTYPE LogOn(const WCHAR* pUser, const WCHAR* pDomain, const WCHAR* pPassword,
                                    OSecurityObject** ppObject) override
    {
        logOns.push_back(Narrow(pUser) + " | " + Narrow(pDomain) + " | " + Narrow(pPassword));
        EXPECT_EQ(*ppObject, nullptr);
        if (onLogOn) onLogOn();
        if (FAILED(hResult)) return hResult;
        if (bGive) *ppObject = &served;
        served.lCount = bGive;
        return hResult;
    }
    Calls Take() { return std::exchange(logOns, {}); }

    Served served;
    HRESULT hResult = S_OK;
    bool bGive = true;
    std::function<void()> onLogOn;

private:
    Calls logOns;
};

void Put(unsigned short* pTo, const char* pText)
{
    while (*pText) *pTo++ = static_cast<unsigned char>(*pText++);
}

// The bytes of a user.dat.
std::string Record(ULONG ulFlag = 1)
{
    LOGINDATA data{};
    Put(data.awcText1, "operator");
    Put(data.awcText2, "LAB");
    Put(data.awcText3, "torch & lamp");
    data.ulFlag = ulFlag;
    std::vector<unsigned short> units(kulLoginUnits);
    OEncrypt::EncryptLoginData(&data, units.data(), kulLoginUnits);
    return std::string(reinterpret_cast<const char*>(units.data()), 2 * kulLoginUnits);
}
const std::string ksLogOn = "operator | LAB | torch & lamp";

// An installation of the test's own, in a process whose security has never been initialised.
class SecurityInit : public RegistryBranch
{
protected:
    SecurityInit()
    {
        EXPECT_EQ(CoInitialize(nullptr), S_OK);
        EXPECT_EQ(CoRegisterClassObject(kSecurityFactoryClass, &factoryClass, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &mulCookie),
                  S_OK);
        StoreText("Run", "RunDir", folder.Path());
        Forget();
    }
    ~SecurityInit() override
    {
        Forget();
        SecurityState().version = mVersion;
        CoUninitialize();
    }

    static void Forget()
    {
        SecurityState().pObject = nullptr;
        SecurityState().login = LOGINDATA{};
        SecurityState().bLoginTaken = false;
    }
    void Withdraw() { EXPECT_EQ(CoRevokeClassObject(mulCookie), S_OK); }
    void Install(const std::string& sBytes)
    {
        std::filesystem::create_directory(folder / "security");
        std::ofstream(File(), std::ios::binary) << sBytes;
    }
    std::string File() const { return folder / "security" + "/user.dat"; }

    TempFolder folder;
    Factory factory;
    ComClass factoryClass{factory};
    MessageRecorder boxes;

private:
    const OOSVersion mVersion = SecurityState().version;
    DWORD mulCookie = 0;
};
} // namespace

// The log-on -----------------------------------------------------------------------------------------------------------------

TEST_F(SecurityInit, LogsOnWithTheThreeTextsInTheirOrder)
{
    Install(Record());
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
    EXPECT_EQ(factory.Take(), Calls{ksLogOn});
    EXPECT_EQ(SecurityState().pObject, &factory.served);
    EXPECT_EQ(factory.served.lCount, 1);
    EXPECT_EQ(factory.Count(), 0); // released
    EXPECT_EQ(factory.served.Take(), Calls{});
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{});
}

TEST_F(SecurityInit, LeavesTheThreadUnderTheAccountsIdentityIfAsked)
{
    Install(Record());
    EXPECT_EQ(InitLumSecurity(4711), 1);
    EXPECT_EQ(factory.Take(), Calls{ksLogOn});
    EXPECT_EQ(factory.served.Take(), Calls{"impersonate"});
    EXPECT_EQ(InitLumSecurity(0), 1); // every time, with one log-on
    EXPECT_EQ(factory.Take(), Calls{});
    EXPECT_EQ(factory.served.Take(), Calls{"impersonate"});
    factory.served.hResult = S_FALSE;
    EXPECT_EQ(InitLumSecurity(0), 1);
    factory.served.hResult = E_FAIL;
    EXPECT_EQ(InitLumSecurity(0), 0);
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
}

TEST_F(SecurityInit, FromThenOnTheBracketUsesTheObject)
{
    Install(Record());
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
    EXPECT_EQ(ImpersonateUser(), 1);
    EXPECT_EQ(ImpersonateRevertToSelf(), 1);
    EXPECT_EQ(factory.served.Take(), (Calls{"impersonate", "revert"}));
    ORegistry reg;
    EXPECT_EQ(reg.OpenKey("Run", ORegistry::OPEN_ONLY), 1);
    EXPECT_EQ(factory.served.Take(), (Calls{"impersonate", "revert"}));
}

TEST_F(SecurityInit, LogsOnOnce)
{
    Install(Record());
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
    EXPECT_EQ(factory.Take(), Calls{ksLogOn});
}

TEST_F(SecurityInit, AnyResultThatIsNotNegativeIsALogOn)
{
    Install(Record());
    factory.hResult = S_FALSE;
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
    EXPECT_EQ(SecurityState().pObject, &factory.served);
}

TEST_F(SecurityInit, ALogOnWithoutAnObjectIsOneAllTheSame)
{
    Install(Record());
    factory.bGive = false;
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(ImpersonateUser(), 0); // an account is configured, and nobody works as it
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(factory.Take(), (Calls{ksLogOn, ksLogOn}));
}

TEST_F(SecurityInit, ARefusedLogOnCanBeTriedAgainWithoutTheFile)
{
    Install(Record());
    factory.hResult = HRESULT_FROM_WIN32(ERROR_LOGON_FAILURE);
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 0);
    EXPECT_EQ(InitLumSecurity(0), 0);
    EXPECT_EQ(SecurityState().pObject, nullptr);
    EXPECT_EQ(ImpersonateUser(), 0);
    EXPECT_EQ(factory.Count(), 0);
    std::filesystem::remove(File());
    factory.hResult = S_OK;
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
    EXPECT_EQ(factory.Take(), (Calls{ksLogOn, ksLogOn, ksLogOn}));
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{});
}

TEST_F(SecurityInit, FailsWithoutAFactoryOfTheRightKind)
{
    Install(Record());
    Withdraw();
    EXPECT_EQ(InitLumSecurity(0), 0); // none at all
    EXPECT_EQ(ImpersonateUser(), 0);

    ComObject<IUnknown> other{};
    ComClass otherClass(other);
    DWORD ulCookie = 0;
    CoRegisterClassObject(kSecurityFactoryClass, &otherClass, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &ulCookie);
    EXPECT_EQ(InitLumSecurity(0), 0); // one without the interface
    EXPECT_EQ(other.Count(), 0);
    CoRevokeClassObject(ulCookie);
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{});
}

TEST_F(SecurityInit, DoesNotInitialiseComItself)
{
    Install(Record());
    int iResult = 1;
    std::thread([&] { iResult = InitLumSecurityWithNoImpersonateUser(); }).join();
    EXPECT_EQ(iResult, 0);
    EXPECT_EQ(factory.Take(), Calls{});
}

TEST_F(SecurityInit, ACrashOrAnExceptionAtLogOnIsAFailure)
{
    Install(Record());
    const std::function<void()> troubles[] = {[] { faulting::ReadNull(); }, [] { throw 1; }, [] { AfxThrowMemoryException(); }};
    int iWithout = -1, iWith = -1, iOther = -1;
    for (const auto& trouble : troubles)
    {
        factory.onLogOn = trouble;
        std::thread([&]
        {
            SetupSignal();
            CoInitialize(nullptr);
            DWORD ulCookie = 0;
            ComClass own(factory);
            CoRegisterClassObject(kSecurityFactoryClass, &own, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &ulCookie);
            iWithout = InitLumSecurityWithNoImpersonateUser();
            iWith = InitLumSecurity(0);
            CoRevokeClassObject(ulCookie);
            CoUninitialize();
        }).join();
        EXPECT_EQ(iWithout, 0);
        EXPECT_EQ(iWith, 0);
        EXPECT_EQ(SecurityState().pObject, nullptr);
        std::thread([&] { iOther = ImpersonateUser(); }).join(); // the lock was left
        EXPECT_EQ(iOther, 0);
    }
    factory.onLogOn = nullptr;
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
    EXPECT_EQ(factory.Take().size(), 7u);
}

TEST_F(SecurityInit, AnExceptionWhileImpersonatingIsAFailure)
{
    Install(Record());
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
    struct Throwing final : ComObject<OWithoutAutomation<OSecurityObject>>
    {
        Throwing() : ComObject({}) {}
        HRESULT STDMETHODCALLTYPE Impersonate() override { throw 1; }
        HRESULT STDMETHODCALLTYPE Revert() override { return S_OK; }
        HRESULT STDMETHODCALLTYPE ThreadDetach() override { throw 1; }
    } throwing;
    SecurityState().pObject = &throwing;
    EXPECT_EQ(InitLumSecurity(0), 0);
    std::thread([] { ImpersonateRevertToSelf(); }).join(); // at the thread's end, nobody is there to catch it
    SecurityState().pObject = nullptr;
}

TEST_F(SecurityInit, NoOtherThreadImpersonatesDuringTheLogOn)
{
    Install(Record());
    std::atomic<bool> bDone = false, bEarly = false;
    std::thread other;
    factory.onLogOn = [&]
    {
        other = std::thread([&]
        {
            ImpersonateUser();
            bEarly = !bDone;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        bDone = true;
    };
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
    other.join();
    EXPECT_FALSE(bEarly);
    EXPECT_EQ(factory.served.Take().front(), "impersonate"); // so it waited for the object
}

TEST_F(SecurityInit, OutsideTheNtFamilyNothingIsRead)
{
    Install(Record());
    SecurityState().version = VersionOf(VER_PLATFORM_WIN32_WINDOWS, 4, 10);
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_FALSE(SecurityState().bLoginTaken);
    EXPECT_EQ(factory.Take(), Calls{});
    std::filesystem::remove(File());
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{});
}

// The record ------------------------------------------------------------------------------------------------------------------

TEST_F(SecurityInit, WithoutTheFileNobodyIsConfigured)
{
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{kacMissing});
    Install(Record()); // too late
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{});
    EXPECT_EQ(factory.Take(), Calls{});
    EXPECT_EQ(ImpersonateUser(), 1);
}

TEST_F(SecurityInit, WithoutARunDirectoryTheFileIsMissing)
{
    Store("Run", "RunDir", REG_DWORD, std::string(4, '\0'));
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{kacMissing});
    Forget();
    ORegistry::SetBasePath("Software\\LumBaseTests\\Nothing\\");
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{kacMissing});
}

TEST_F(SecurityInit, AFileThatSomebodyElseHasOpenIsMissingToo)
{
    Install(Record());
    HANDLE hFile = CreateFileA(File().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(hFile, INVALID_HANDLE_VALUE);
    EXPECT_EQ(InitLumSecurity(0), 1);
    CloseHandle(hFile);
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{kacMissing});
}

TEST_F(SecurityInit, ARecordThatSaysNoOrNeitherConfiguresNobody)
{
    std::string sNeither = Record();
    sNeither[2 * kalLoginPositions[768]] ^= 1;
    for (const std::string& sBytes : {Record(0), sNeither, std::string(), std::string(20000, '\0')})
    {
        Forget();
        Install(sBytes);
        EXPECT_EQ(InitLumSecurity(0), 1);
        EXPECT_EQ(ImpersonateUser(), 1);
        EXPECT_EQ(factory.Take(), Calls{});
    }
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{});
}

TEST_F(SecurityInit, WhatAShortFileLacksIsZeros)
{
    const LONG lFlag = kalLoginPositions[768];
    std::string sShort = Record();
    sShort.resize(2 * static_cast<std::size_t>(lFlag)); // all up to the flag
    Install(sShort);
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(factory.Take(), Calls{});
    Forget();
    Install(Record().substr(0, 2 * static_cast<std::size_t>(lFlag) + 2)); // and the flag
    EXPECT_EQ(InitLumSecurity(0), 1);
    std::string sExpected;
    const auto at = [&](std::size_t ulFirst, std::string_view sText)
    {
        for (std::size_t i = 0; i < sText.size() && kalLoginPositions[ulFirst + i] <= lFlag; ++i) sExpected += sText[i];
    };
    at(512, "operator");
    sExpected += " | ";
    at(0, "LAB");
    sExpected += " | ";
    at(256, "torch & lamp");
    EXPECT_EQ(factory.Take(), Calls{sExpected});
}

TEST_F(SecurityInit, OfALongFileTheFirst20000BytesCount)
{
    Install(Record() + Record(0) + std::string(1 << 20, 'x'));
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(factory.Take(), Calls{ksLogOn});
    EXPECT_TRUE(std::filesystem::remove(File())); // nobody has it open any more
}

TEST_F(SecurityInit, ThePasswordIsWipedOnceItIsNotNeededAnyMore)
{
    Install(Record());
    const auto isWiped = []
    {
        const auto* pBytes = reinterpret_cast<const char*>(&SecurityState().login);
        return std::all_of(pBytes, pBytes + offsetof(LOGINDATA, ulFlag), [](char c) { return c == 0; });
    };
    factory.hResult = E_FAIL;
    InitLumSecurityWithNoImpersonateUser();
    EXPECT_FALSE(isWiped());
    factory.hResult = S_OK;
    InitLumSecurityWithNoImpersonateUser();
    EXPECT_TRUE(isWiped());
    EXPECT_EQ(SecurityState().login.ulFlag, 1u);
}

// The object's end ------------------------------------------------------------------------------------------------------------

TEST_F(SecurityInit, TheObjectHearsOfTheEndOfAThreadThatUsedIt)
{
    Install(Record());
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
    DWORD ulThread = 0;
    std::thread([&]
    {
        ulThread = GetCurrentThreadId();
        ImpersonateUser();
        EXPECT_EQ(factory.served.Take(), Calls{"impersonate"});
    }).join();
    EXPECT_EQ(factory.served.Take(), Calls{"detach"});
    EXPECT_EQ(factory.served.detached, ulThread); // on that very thread
}

TEST_F(SecurityInit, TheEndOfAThreadWithoutAnObjectIsNothing)
{
    std::thread([] { ImpersonateUser(); }).join();
    Install(Record());
    std::thread([&]
    {
        EXPECT_EQ(InitLumSecurity(0), 0); // not in an apartment
        Forget();
    }).join();
    EXPECT_EQ(factory.served.Take(), Calls{});
}

namespace
{
// Leaves a line where it was told to when it is released for the last time.
class Witness final : public ComObject<OWithoutAutomation<OSecurityObject>>
{
public:
    explicit Witness(const std::string& sFile) : ComObject({}), msFile(sFile) {}
    ULONG STDMETHODCALLTYPE Release() override
    {
        HANDLE hFile = CreateFileA(msFile.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
        DWORD ulWritten = 0;
        WriteFile(hFile, "released", 8, &ulWritten, nullptr);
        CloseHandle(hFile);
        delete this;
        return 0;
    }
    HRESULT STDMETHODCALLTYPE Impersonate() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Revert() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE ThreadDetach() override { return S_OK; }

private:
    const std::string msFile;
};

const OtherRole kHoldsObject("witness", [](const std::string& sFile) -> std::string
{
    SecurityState().pObject = new Witness(sFile); // as a log-on would; the end of the program finds it there
    return "held";
});
} // namespace

TEST(SecurityEnd, TheObjectIsReleasedWhenTheLibraryIsUnloaded)
{
    TempFolder folder;
    const std::string sFile = folder / "witness";
    {
        OtherProcess other("witness");
        EXPECT_EQ(other.Ask(sFile), "held");
        EXPECT_FALSE(std::filesystem::exists(sFile));
    }
    std::string sText;
    std::ifstream(sFile) >> sText;
    EXPECT_EQ(sText, "released"); // once: the file is made anew or not at all
}

// Reports ---------------------------------------------------------------------------------------------------------------------

TEST_F(SecurityInit, ReportsTheSystemsTextForTheLastError)
{
    char acText[512] = "";
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, ERROR_LOGON_FAILURE, 0, acText,
                   sizeof acText, nullptr);
    ASSERT_STRNE(acText, "");
    SetLastError(ERROR_LOGON_FAILURE);
    EXPECT_EQ(ReportSecurityError("Log-on"), 1);
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{std::string("Log-on | ") + acText});
    SetLastError(12345678); // no text has this number
    EXPECT_EQ(ReportSecurityError("Log-on"), 0);
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{"Log-on | "});
}
