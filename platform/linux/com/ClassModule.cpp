#include "ClassModule.h"

#include "../kernel/Error.h"
#include "../kernel/Paths.h"
#include "../registry/Registry.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

namespace
{
using GetClassObject = HRESULT (*)(REFCLSID clsid, REFIID iid, void** ppObject);

struct Unload
{
    void operator()(void* pModule) const { dlclose(pModule); }
};
using LoadedModule = std::unique_ptr<void, Unload>;

struct CloseKey
{
    void operator()(HKEY hKey) const { RegCloseKey(hKey); }
};

// The default value of the class's key; empty when there is none.
std::u16string ModulePath(REFCLSID clsid)
{
    std::u16string sKey(u"CLSID\\");
    OLECHAR awcClass[40];
    StringFromGUID2(clsid, awcClass, 40);
    sKey.append(awcClass, awcClass + 38).append(u"\\InprocServer32");

    HKEY hKey = nullptr;
    const auto* pKey = reinterpret_cast<LPCWSTR>(sKey.c_str());
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, pKey, 0, KEY_QUERY_VALUE, &hKey) != ERROR_SUCCESS) return {};
    const std::unique_ptr<HKEY__, CloseKey> key(hKey);
    WCHAR awcPath[4096];
    DWORD ulType = REG_NONE, ulBytes = sizeof awcPath;
    const LSTATUS lResult = RegQueryValueExW(hKey, nullptr, nullptr, &ulType, reinterpret_cast<BYTE*>(awcPath), &ulBytes);
    if (lResult != ERROR_SUCCESS || ulType != REG_SZ) return {};
    std::u16string sPath(awcPath, awcPath + ulBytes / sizeof(WCHAR));
    return sPath.substr(0, sPath.find(u'\0'));
}

// Why a module did not load, as far as its file tells.
DWORD LoadFault(const std::string& sPath)
{
    if (access(sPath.c_str(), R_OK) == 0) return ERROR_BAD_EXE_FORMAT;
    return errno == EACCES ? ERROR_ACCESS_DENIED : ERROR_MOD_NOT_FOUND;
}
} // namespace

HRESULT lum::ModuleClassObject(REFCLSID clsid, REFIID iid, void** ppObject)
{
    const std::u16string sRegistered = ModulePath(clsid);
    if (sRegistered.empty()) return REGDB_E_CLASSNOTREG;
    SystemPath path;
    if (!ToSystemPath(reinterpret_cast<LPCWSTR>(sRegistered.c_str()), path)) return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
    if (path.sPath.find('/') == path.sPath.npos) path.sPath.insert(0, "./"); // a bare name would be looked for elsewhere
    if (FindSpelling(path.sPath) != PathFound::Whole) return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);

    const LoadedModule pModule(dlopen(path.sPath.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (!pModule) return HRESULT_FROM_WIN32(LoadFault(path.sPath));
    const auto pGet = reinterpret_cast<GetClassObject>(dlsym(pModule.get(), "DllGetClassObject"));
    if (!pGet) return CO_E_DLLNOTFOUND;
    // From now on there may be objects, whose code must stay.
    const LoadedModule pKept(dlopen(path.sPath.c_str(), RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE));
    return pGet(clsid, iid, ppObject);
}
