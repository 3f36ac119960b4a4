// lum security: which module is the security server of this registry.
#include "Commands.h"
#include "Console.h"
#include "Json.h"
#include "OSecurityServer.h"
#include "RegStore.h"
#include "Text.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <optional>
#include <string>

namespace tool
{
static std::string ClassKey()
{
    OLECHAR awcClass[39];
    const int iUnits = StringFromGUID2(kSecurityFactoryClass, awcClass, 39);
    return "CLSID\\" + std::string(awcClass, awcClass + iUnits - 1);
}

static void Require(LSTATUS lResult, const char* pWhat)
{
    if (lResult != ERROR_SUCCESS)
        throw Stop(kFailure, Format("%s failed: %s", pWhat, SystemText(static_cast<unsigned>(lResult)).c_str()));
}

static std::optional<std::string> Registered()
{
    char acPath[4096] = "";
    DWORD dwBytes = sizeof acPath;
    HKEY hKey = nullptr;
    LSTATUS lResult = RegOpenKeyExA(HKEY_CLASSES_ROOT, (ClassKey() + "\\InprocServer32").c_str(), 0, KEY_QUERY_VALUE, &hKey);
    const RegKey key(hKey);
    if (lResult == ERROR_SUCCESS)
        lResult = RegQueryValueExA(hKey, nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(acPath), &dwBytes);
    if (lResult == ERROR_FILE_NOT_FOUND) return std::nullopt;
    Require(lResult, "reading the registration");
    acPath[sizeof acPath - 1] = 0;
    return acPath;
}

static void SetRegistered(const std::string& sPath)
{
    HKEY hKey = nullptr;
    const std::string sKey = ClassKey() + "\\InprocServer32";
    Require(RegCreateKeyExA(HKEY_CLASSES_ROOT, sKey.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &hKey, nullptr), "registering");
    const RegKey key(hKey);
    const auto set = [hKey](const char* pName, const std::string& sText)
    {
        Require(RegSetValueExA(hKey, pName, 0, REG_SZ, reinterpret_cast<const BYTE*>(sText.c_str()),
                               static_cast<DWORD>(sText.size() + 1)),
                "registering");
    };
    set(nullptr, sPath);
    set("ThreadingModel", "Both");
}

static LSTATUS Unregister() { return RegDeleteTreeA(HKEY_CLASSES_ROOT, ClassKey().c_str()); }

// Whether the module that is registered loads and has the class.
static HRESULT TryServer()
{
    const HRESULT hApartment = CoInitialize(nullptr);
    if (FAILED(hApartment)) return hApartment;
    void* pFound = nullptr;
    const HRESULT hResult = CoGetClassObject(kSecurityFactoryClass, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, &pFound);
    if (SUCCEEDED(hResult)) static_cast<IClassFactory*>(pFound)->Release();
    CoUninitialize();
    return hResult;
}

// The module that comes with lum: beside it, or where the libraries are installed. This system may have none.
static std::string OwnModule()
{
    const std::string sName = LUM_SECURITY_MODULE;
    if (sName.empty()) throw Stop(kUsage, "MODULE is missing: no security server comes with lum on this system");
    char acProgram[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, acProgram, sizeof acProgram);
    const auto folder = std::filesystem::path(acProgram).parent_path();
    for (const auto& place : {folder / sName, folder / LUM_SECURITY_FOLDER / sName})
        if (std::filesystem::exists(place)) return place.lexically_normal().string();
    throw Stop(kFailure, "there is no " + sName + " beside lum or where its libraries are: name the MODULE");
}

static std::string WholePath(const std::string& sModule)
{
    char acPath[MAX_PATH] = "";
    const DWORD ulChars = GetFullPathNameA(sModule.c_str(), sizeof acPath, acPath, nullptr);
    if (!ulChars || ulChars >= sizeof acPath) throw Stop(kFailure, sModule + ": the path is no path, or too long");
    return acPath;
}

// What does not work is not registered: what was there before stays.
static void Register(const std::string& sGiven)
{
    const std::string sModule = WholePath(sGiven.empty() ? OwnModule() : sGiven);
    const std::optional<std::string> before = Registered();
    SetRegistered(sModule);
    const HRESULT hResult = TryServer();
    if (FAILED(hResult))
    {
        if (before) SetRegistered(*before);
        else Unregister();
        throw Stop(kFailure, sModule + " is no security server: " + SystemText(static_cast<unsigned>(hResult)));
    }
    Print("registered " + sModule);
}

static void PrintStatus(bool bJson)
{
    const std::optional<std::string> module = Registered();
    const HRESULT hResult = module ? TryServer() : REGDB_E_CLASSNOTREG;
    const std::string sTrouble = SUCCEEDED(hResult) ? "" : SystemText(static_cast<unsigned>(hResult));
    if (bJson)
    {
        Json json;
        json.BeginObject().Flag("registered", module.has_value()).Flag("works", SUCCEEDED(hResult));
        if (module) json.Text("module", Utf8(*module));
        if (module && !sTrouble.empty()) json.Text("error", Utf8(sTrouble));
        json.End();
        Print(json.Document());
    }
    else if (!module) Print("no security server is registered");
    else Print("registered " + *module + (sTrouble.empty() ? "" : ", which does not work: " + sTrouble));
    if (FAILED(hResult)) throw Stop(kAnswerIsNo, "");
}

void AddSecurityCommands(CLI::App& app)
{
    static std::string sModule;
    static bool bJson = false;
    CLI::App* pSecurity = app.add_subcommand("security", "Tell which module logs the configured account on");
    pSecurity->require_subcommand(1);
    pSecurity->footer("Programs that work as a configured account (security/user.dat of their run directory) log on through this\n"
                      "module. Exit status: 1 when there is none, or it does not work.");

    CLI::App* pRegister = pSecurity->add_subcommand("register", "Register a module, if it works");
    pRegister->add_option("MODULE", sModule, "its file; the one that comes with lum unless named");
    pRegister->callback([] { Register(sModule); });

    pSecurity->add_subcommand("unregister", "Take the registration back")->callback([] {
        const LSTATUS lResult = Unregister();
        if (lResult == ERROR_FILE_NOT_FOUND) throw Stop(kAnswerIsNo, "no security server is registered");
        Require(lResult, "taking the registration back");
        Print("no security server is registered any more");
    });

    CLI::App* pStatus = pSecurity->add_subcommand("status", "Show the module, and whether it works");
    pStatus->add_flag("--json", bJson, "as JSON");
    pStatus->callback([] { PrintStatus(bJson); });
}
} // namespace tool
