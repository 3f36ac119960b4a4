// A process with a second account, which logs on and tells what it may open.
#include "SecurityAccount.h"

#include "OEncrypt.h"
#include "OSecurity.h"
#include "OSecurityServer.h"
#include "OtherProcess.h"
#include "SecurityState.h"
#include "WideText.h"

#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace
{
namespace fs = std::filesystem;

constexpr uid_t kUser = kuAccount, kOther = 61236, kService = 61237;
constexpr gid_t kGroup = kuAccount, kLab = 61235; // the account's own, and a supplementary one
// crypt(3) of that password, as a field
constexpr char kacHash[] = ":$6$lumbase$EImSPVMOQPVguYBbzZxvOP4Qm9BJtKhPe56SIWk1wnXbLCdhcbRBHrniSqEPqGpAcXHNxVPq166QPW3A/4XMA1";

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
    const std::string sId = std::to_string(kUser), sLab = std::to_string(kLab), sName = kacAccount;
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

// With these capabilities and no more.
bool KeepCapabilities(unsigned uKept)
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct aData[_LINUX_CAPABILITY_U32S_3] = {};
    if (syscall(SYS_capget, &header, aData) != 0) return false;
    aData[0].permitted &= uKept;
    aData[0].effective = aData[0].permitted;
    aData[1] = {};
    return syscall(SYS_capset, &header, aData) == 0;
}
constexpr unsigned kuPasses = 1u << CAP_DAC_OVERRIDE | 1u << CAP_DAC_READ_SEARCH;

// Without its passes, to root a file's mode is what it is to everybody.
std::string DropPasses() { return KeepCapabilities(~kuPasses) ? "done" : std::strerror(errno); }

// A user like others, but with passes and the right to be somebody else: a service that began as root and keeps what it needs.
std::string BecomeService()
{
    constexpr unsigned kuNeeded = 1u << CAP_SETUID | 1u << CAP_SETGID;
    const bool bDone = prctl(PR_SET_KEEPCAPS, 1) == 0 && setresuid(kService, kService, kService) == 0 &&
                       KeepCapabilities(kuNeeded | kuPasses);
    return bDone ? "done" : std::strerror(errno);
}

constexpr char kacClassKey[] = "CLSID\\{C2C44A9B-CD97-41FB-9F3B-1D1B9DDCABBD}";

void SetText(HKEY hRoot, const std::string& sKey, const char* pName, const std::string& sText)
{
    HKEY hKey = nullptr;
    RegCreateKeyExA(hRoot, sKey.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &hKey, nullptr);
    RegSetValueExA(hKey, pName, 0, REG_SZ, reinterpret_cast<const BYTE*>(sText.c_str()), static_cast<DWORD>(sText.size() + 1));
    RegCloseKey(hKey);
}
} // namespace

void RegisterServer() { SetText(HKEY_CLASSES_ROOT, std::string(kacClassKey) + "\\InprocServer32", nullptr, LUM_TEST_SECURITY); }
void UnregisterServer() { RegDeleteTreeA(HKEY_CLASSES_ROOT, kacClassKey); }

static OSecurityFactory* Factory()
{
    void* pFactory = nullptr;
    CoCreateInstance(kSecurityFactoryClass, nullptr, CLSCTX_INPROC_SERVER, kSecurityFactoryInterface, &pFactory);
    return static_cast<OSecurityFactory*>(pFactory);
}

std::string HexOf(HRESULT hResult)
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
    return HexOf(hResult);
}

namespace
{
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
    CoInitialize(nullptr);
    RegisterServer();
    return "ready";
}

// By the stored record, as an instrument's program does.
std::string Initialise(const std::string& sPassword)
{
    LOGINDATA data{};
    const auto put = [](unsigned short* pTo, const std::string& sText) { std::copy(sText.begin(), sText.end(), pTo); };
    put(data.awcText1, kacAccount);
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
    if (sVerb == "drop passes") return DropPasses();
    if (sVerb == "become service") return BecomeService();
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
} // namespace
