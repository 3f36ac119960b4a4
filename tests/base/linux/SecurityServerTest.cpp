// The security server with a real second account. That exists for one process alone, which has in a mount namespace of its own
// another /etc/passwd, /etc/shadow, /etc/group and /etc/pam.d. The machine's stay as they are.
#include "OEncrypt.h"
#include "OSecurity.h"
#include "OSecurityServer.h"
#include "OtherProcess.h"
#include "SecurityState.h"
#include "TempFolder.h"
#include "WideText.h"
#include "WithoutPasses.h"

#include <gtest/gtest.h>

#include <pwd.h>
#include <sched.h>
#include <sys/fsuid.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <condition_variable>
#include <cstring>
#include <fstream>
#include <functional>
#include <mutex>
#include <thread>

namespace
{
namespace fs = std::filesystem;

constexpr uid_t kUser = 61234, kOther = 61236;
constexpr gid_t kGroup = 61234, kLab = 61235; // the account's own, and a supplementary one
constexpr char kacUser[] = "lumbase-test", kacPassword[] = "torch & lamp";
// crypt(3) of that password, as a field
constexpr char kacHash[] = ":$6$lumbase$EImSPVMOQPVguYBbzZxvOP4Qm9BJtKhPe56SIWk1wnXbLCdhcbRBHrniSqEPqGpAcXHNxVPq166QPW3A/4XMA1";

// The role -------------------------------------------------------------------------------------------------------------------

std::string FileText(const std::string& sFile)
{
    std::ifstream file(sFile, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

bool Write(const std::string& sFile, const std::string& sText, mode_t mode, uid_t user = 0, gid_t group = 0)
{
    std::ofstream(sFile, std::ios::binary) << sText;
    return chown(sFile.c_str(), user, group) == 0 && chmod(sFile.c_str(), mode) == 0;
}

bool Cover(const std::string& sWith, const char* pPlace) { return mount(sWith.c_str(), pPlace, nullptr, MS_BIND, nullptr) == 0; }

// The files of the accounts for this process: those of the machine, and one account more.
bool MakeAccount(const std::string& sFolder)
{
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
    const std::string sId = std::to_string(kUser), sLab = std::to_string(kLab), sName = kacUser;
    const struct
    {
        const char* pPlace;
        std::string sMore;
        mode_t mode;
    } files[] = {
        {"/etc/passwd", sName + ":x:" + sId + ":" + sId + "::/nonexistent:/bin/sh\n", 0644},
        {"/etc/shadow", sName + kacHash + ":19000:0:99999:7:::\nlumbase-gone" + kacHash + ":19000:0:99999:7::19001:\n", 0600},
        {"/etc/group", sName + ":x:" + sId + ":\n" + sName + "-lab:x:" + sLab + ":" + sName + "\n", 0644},
    };
    std::string sGone = "lumbase-gone:x:" + std::to_string(kOther) + ":" + sId + "::/nonexistent:/bin/sh\n"; // has expired
    for (const auto& file : files)
    {
        const std::string sCopy = sFolder + "/" + fs::path(file.pPlace).filename().string();
        if (!Write(sCopy, FileText(file.pPlace) + file.sMore + std::exchange(sGone, ""), file.mode) || !Cover(sCopy, file.pPlace))
            return false;
    }
    const std::string sPam = sFolder + "/pam.d";
    fs::copy("/etc/pam.d", sPam);
    fs::copy_file(LUM_TEST_PAM, sPam + "/lumbase", fs::copy_options::overwrite_existing);
    return Cover(sPam, "/etc/pam.d");
}

// Without these, to root a file's mode is what it is to everybody.
bool DropPasses()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct aData[_LINUX_CAPABILITY_U32S_3] = {};
    if (syscall(SYS_capget, &header, aData) != 0) return false;
    const unsigned uPasses = 1u << CAP_DAC_OVERRIDE | 1u << CAP_DAC_READ_SEARCH;
    aData[0].effective &= ~uPasses;
    aData[0].permitted &= ~uPasses;
    return syscall(SYS_capset, &header, aData) == 0;
}

constexpr char kacClassKey[] = "CLSID\\{C2C44A9B-CD97-41FB-9F3B-1D1B9DDCABBD}";

void SetText(HKEY hRoot, const std::string& sKey, const char* pName, const std::string& sText)
{
    HKEY hKey = nullptr;
    RegCreateKeyExA(hRoot, sKey.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &hKey, nullptr);
    RegSetValueExA(hKey, pName, 0, REG_SZ, reinterpret_cast<const BYTE*>(sText.c_str()), static_cast<DWORD>(sText.size() + 1));
    RegCloseKey(hKey);
}

void Register() { SetText(HKEY_CLASSES_ROOT, std::string(kacClassKey) + "\\InprocServer32", nullptr, LUM_TEST_SECURITY); }

OSecurityFactory* Factory()
{
    void* pFactory = nullptr;
    CoCreateInstance(kSecurityFactoryClass, nullptr, CLSCTX_INPROC_SERVER, kSecurityFactoryInterface, &pFactory);
    return static_cast<OSecurityFactory*>(pFactory);
}

std::string Hex(HRESULT hResult)
{
    char acText[16];
    std::snprintf(acText, sizeof acText, "%08x", static_cast<unsigned>(hResult));
    return acText;
}

std::string LogOn(const std::string& sUser, const std::string& sDomain, const std::string& sPassword)
{
    OSecurityFactory* pFactory = Factory();
    if (!pFactory) return "no factory";
    OSecurityObject* pObject = reinterpret_cast<OSecurityObject*>(1);
    std::u16string user = Widen(sUser), domain = Widen(sDomain), password = Widen(sPassword);
    const HRESULT hResult = pFactory->LogOn(W(user.c_str()), W(domain.c_str()), W(password.c_str()), &pObject);
    pFactory->Release();
    if (SUCCEEDED(hResult)) pObject->Release();
    else if (pObject) return "an object all the same";
    return Hex(hResult);
}

// "yes", or the system's error.
std::string Opens(const std::string& sFile)
{
    const HANDLE hFile = CreateFileA(sFile.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (hFile == INVALID_HANDLE_VALUE) return std::to_string(GetLastError());
    CloseHandle(hFile);
    return "yes";
}
std::string OpensInside(const std::string& sFile)
{
    const HANDLE hFile = SecureAPI::CreateFileA(sFile.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (hFile == INVALID_HANDLE_VALUE) return std::to_string(GetLastError());
    CloseHandle(hFile);
    return "yes";
}

std::string gsFolder; // with a file of each kind

std::string OpensEach(std::string (*open)(const std::string&))
{
    return open(gsFolder + "/users") + " " + open(gsFolder + "/labs") + " " + open(gsFolder + "/roots");
}

// What the kernel knows of this thread: users and groups, those for files among them, and effective capabilities.
std::string Identity()
{
    std::ifstream status("/proc/thread-self/status");
    std::string sLine, sAll;
    while (std::getline(status, sLine))
        for (const char* pField : {"Uid:", "Gid:", "Groups:", "CapEff:"})
            if (sLine.starts_with(pField)) sAll += sLine + ";";
    return sAll;
}

std::string Prepare(const std::string& sFolder)
{
    gsFolder = sFolder;
    if (!MakeAccount(sFolder)) return std::string("no mount namespace of its own: ") + std::strerror(errno);
    if (!Write(sFolder + "/users", "x", 0600, kUser, kGroup) || !Write(sFolder + "/labs", "x", 0640, kOther, kLab) ||
        !Write(sFolder + "/roots", "x", 0600))
        return "no files";
    if (!DropPasses()) return "passes";

    CoInitialize(nullptr);
    Register();
    return "ready";
}

// By the stored record, as an instrument's program does.
std::string Initialise(const std::string& sPassword)
{
    LOGINDATA data{};
    const auto put = [](unsigned short* pTo, const std::string& sText) { std::copy(sText.begin(), sText.end(), pTo); };
    put(data.awcText1, kacUser);
    put(data.awcText3, sPassword);
    data.ulFlag = 1;
    std::vector<unsigned short> units(10000);
    OEncrypt::EncryptLoginData(&data, units.data(), 10000);
    fs::create_directory(gsFolder + "/security");
    Write(gsFolder + "/security/user.dat", std::string(reinterpret_cast<const char*>(units.data()), 20000), 0600);
    SetText(HKEY_LOCAL_MACHINE, "Run", "RunDir", gsFolder);
    return std::to_string(InitLumSecurityWithNoImpersonateUser());
}

// Opens each file on a thread that began before, while this one is inside the bracket.
std::string OtherThread()
{
    std::mutex mutex;
    std::condition_variable changed;
    bool bInside = false;
    std::string sOther;
    std::thread other([&]
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return bInside; });
        sOther = OpensEach(Opens);
    });
    ImpersonateUser();
    const std::string sOwn = OpensEach(Opens);
    {
        std::lock_guard lock(mutex);
        bInside = true;
    }
    changed.notify_all();
    other.join();
    ImpersonateRevertToSelf();
    return "inside: " + sOwn + ", other: " + sOther + ", after: " + OpensEach(Opens);
}

// A thread that inherits the identity, and one that is told of its end.
std::string Threads()
{
    const std::string sBefore = Identity();
    ImpersonateUser();
    const std::string sInside = Identity();
    std::string sInherited, sReverted, sDetached;
    std::thread([&]
    {
        sInherited = Identity();
        ImpersonateRevertToSelf();
        sReverted = Identity();
        ImpersonateUser();
        SecurityState().pObject.load()->ThreadDetach();
        sDetached = Identity();
    }).join();
    const std::string sStill = Identity();
    ImpersonateRevertToSelf();
    const auto is = [](const std::string& a, const std::string& b) { return a == b ? "same" : "not"; };
    return std::string("inherited: ") + is(sInherited, sInside) + ", reverted: " + is(sReverted, sBefore) +
           ", detached: " + is(sDetached, sBefore) + ", this one meanwhile: " + is(sStill, sInside) +
           ", inside and before: " + is(sInside, sBefore) + ", after: " + is(Identity(), sBefore);
}

// What making and opening a key in the bracket answer.
std::string Registry()
{
    HKEY hKey = nullptr;
    const LSTATUS lCreated = SecureAPI::RegCreateKeyExA(HKEY_LOCAL_MACHINE, "Software\\LumBaseTests\\Bracket", 0, nullptr, 0,
                                                        KEY_READ | KEY_WRITE, nullptr, &hKey, nullptr);
    if (lCreated == ERROR_SUCCESS) RegCloseKey(hKey);
    const LSTATUS lOpened = SecureAPI::RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Run", 0, KEY_READ, &hKey);
    if (lOpened == ERROR_SUCCESS) RegCloseKey(hKey);
    return std::to_string(lCreated) + " " + std::to_string(lOpened);
}

const OtherRole kAccount("account", [](const std::string& sOrder) -> std::string
{
    const std::string sVerb = sOrder.substr(0, sOrder.find('|'));
    std::vector<std::string> words;
    for (std::size_t ulAt = sOrder.find('|'); ulAt != sOrder.npos;)
    {
        const std::size_t ulEnd = sOrder.find('|', ulAt + 1);
        words.push_back(sOrder.substr(ulAt + 1, ulEnd == sOrder.npos ? ulEnd : ulEnd - ulAt - 1));
        ulAt = ulEnd;
    }
    if (sVerb == "prepare") return Prepare(words.at(0));
    if (sVerb == "log on") return LogOn(words.at(0), words.at(1), words.at(2));
    if (sVerb == "initialise") return Initialise(words.at(0));
    if (sVerb == "open") return OpensEach(Opens);
    if (sVerb == "open inside") return OpensEach(OpensInside);
    if (sVerb == "other thread") return OtherThread();
    if (sVerb == "threads") return Threads();
    if (sVerb == "registry") return Registry();
    if (sVerb == "identity") return Identity();
    return "what?";
});

// The tests ------------------------------------------------------------------------------------------------------------------

class SecurityServer : public testing::Test
{
protected:
    void SetUp() override
    {
#ifdef __SANITIZE_ADDRESS__
        GTEST_SKIP() << "PAM's modules are loaded late, and crypt() is null to them under the address sanitizer";
#endif
        if (geteuid() != 0) GTEST_SKIP() << "only root can work as another user";
        ASSERT_EQ(getpwuid(kUser), nullptr) << "the number is to be nobody's";
        fs::permissions(folder.Path(), fs::perms(0755));
        const std::string sReady = other.Ask("prepare|" + folder.Path());
        if (sReady.starts_with("no mount namespace")) GTEST_SKIP() << sReady;
        ASSERT_EQ(sReady, "ready");
    }
    std::string LogOnAs(const std::string& sUser, const std::string& sDomain, const std::string& sPassword)
    {
        return other.Ask("log on|" + sUser + "|" + sDomain + "|" + sPassword);
    }

    TempFolder folder;
    OtherProcess other{"account"};
};

const std::string ksRefused = Hex(HRESULT_FROM_WIN32(ERROR_LOGON_FAILURE));
} // namespace

TEST_F(SecurityServer, FilesOfTheAccountOpenInsideTheBracketAndNotOutside)
{
    EXPECT_EQ(other.Ask("open"), "5 5 yes"); // users', labs', roots'
    ASSERT_EQ(other.Ask(std::string("initialise|") + kacPassword), "1");
    EXPECT_EQ(other.Ask("open"), "5 5 yes");
    EXPECT_EQ(other.Ask("open inside"), "yes yes 5");
    EXPECT_EQ(other.Ask("open"), "5 5 yes");
}

TEST_F(SecurityServer, OtherThreadsStayWhatTheyAre)
{
    ASSERT_EQ(other.Ask(std::string("initialise|") + kacPassword), "1");
    EXPECT_EQ(other.Ask("other thread"), "inside: yes yes 5, other: 5 5 yes, after: 5 5 yes");
}

TEST_F(SecurityServer, AThreadsIdentityIsItsOwnAgainAfterRevertAndDetach)
{
    ASSERT_EQ(other.Ask(std::string("initialise|") + kacPassword), "1");
    EXPECT_EQ(other.Ask("threads"), "inherited: same, reverted: same, detached: same, this one meanwhile: same, "
                                    "inside and before: not, after: same");
}

TEST_F(SecurityServer, AWrongPasswordFailsAndChangesNothing)
{
    const std::string sBefore = other.Ask("identity");
    EXPECT_EQ(other.Ask("initialise|torch & Lamp"), "0");
    EXPECT_EQ(other.Ask("identity"), sBefore);
    EXPECT_EQ(other.Ask("open inside"), "5 5 yes");
    EXPECT_EQ(other.Ask("open"), "5 5 yes");
}

TEST_F(SecurityServer, LogsOnWhomPamKnowsAndNobodyElse)
{
    char acHost[256] = "";
    gethostname(acHost, sizeof acHost - 1);
    for (const std::string& sDomain : {std::string(), std::string("."), std::string(acHost)})
        EXPECT_EQ(LogOnAs(kacUser, sDomain, kacPassword), "00000000") << sDomain;
    EXPECT_EQ(LogOnAs(kacUser, "ELSEWHERE", kacPassword), ksRefused);
    EXPECT_EQ(LogOnAs("lumbase-nobody", "", kacPassword), ksRefused);
    EXPECT_EQ(LogOnAs(kacUser, "", ""), ksRefused);
    EXPECT_EQ(LogOnAs("lumbase-gone", "", kacPassword), ksRefused); // the machine's rules do not tell that it has expired
    EXPECT_EQ(LogOnAs(std::string(256, 'x'), "", kacPassword), Hex(E_INVALIDARG));
    EXPECT_EQ(LogOnAs(kacUser, "", std::string(256, 'x')), Hex(E_INVALIDARG));
}

TEST_F(SecurityServer, TheRegistryStaysReadableInTheBracket)
{
    ASSERT_EQ(other.Ask(std::string("initialise|") + kacPassword), "1");
    EXPECT_EQ(other.Ask("registry"), "0 0");
}

TEST(SecurityServerModule, WithoutThePrivilegeTheLogOnIsDenied)
{
    EXPECT_TRUE(WithoutPasses([]
    {
        CoInitialize(nullptr);
        Register();
        const std::string sResult = LogOn(kacUser, "", kacPassword);
        RegDeleteTreeA(HKEY_CLASSES_ROOT, kacClassKey);
        return sResult == Hex(E_ACCESSDENIED);
    }));
}
