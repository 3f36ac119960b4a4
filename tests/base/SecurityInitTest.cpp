// The log-on, what becomes of the security object, and reports.
#include "SecurityInit.h"

#include "Faulting.h"
#include "OException.h"
#include "OtherProcess.h"
#include "WindowsVersion.h"

#include <thread>

using Calls = SecurityCalls;

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
