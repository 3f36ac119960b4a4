#include "Resources.h"

#include "Errno.h"
#include "Modules.h"
#include "Paths.h"
#include "Text.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <new>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace
{
using lum::PeFault;

// Where a library is looked for -------------------------------------------------------------------------------------------

std::string FolderOf(const std::string& sPath) { return sPath.substr(0, sPath.rfind('/') + 1); }

std::string ProgramFolder()
{
    char acPath[PATH_MAX];
    const ssize_t iLength = readlink("/proc/self/exe", acPath, sizeof acPath);
    return iLength > 0 ? FolderOf(std::string(acPath, static_cast<std::size_t>(iLength))) : std::string();
}

std::string LibraryFolder()
{
    Dl_info info;
    if (!dladdr(reinterpret_cast<void*>(&LibraryFolder), &info) || !info.dli_fname) return {};
    if (info.dli_fname[0] == '/') return FolderOf(info.dli_fname);
    char acPath[PATH_MAX]; // found through a relative library path
    return realpath(info.dli_fname, acPath) ? FolderOf(acPath) : std::string();
}

// Each ends in a slash, but for the working folder. Found out once: neither program nor library moves while it runs.
const std::vector<std::string>& SearchFolders()
{
    static const std::vector<std::string> folders = []
    {
        std::vector<std::string> result{ProgramFolder()};
        const std::string sLibrary = LibraryFolder();
        if (sLibrary != result.front()) result.push_back(sLibrary);
        result.push_back(sLibrary + "../share/lumbase/");
        result.push_back(sLibrary + "../../share/lumbase/"); // where libraries lie in a folder per kind of machine
        result.emplace_back();
        return result;
    }();
    return folders;
}

// In every folder as spelled before anything is looked for otherwise: that would read whole folders each time.
DWORD OpenBareName(const std::string& sName, HMODULE& hModule)
{
    hModule = lum::ShareModule(sName.c_str());
    if (hModule) return NO_ERROR;
    for (const std::string& sFolder : SearchFolders())
    {
        const DWORD ulError = lum::OpenModule((sFolder + sName).c_str(), hModule);
        if (ulError != ERROR_MOD_NOT_FOUND) return ulError;
    }
    for (const std::string& sFolder : SearchFolders())
    {
        std::string sPath = sFolder + sName;
        if (lum::FindSpelling(sPath) != lum::PathFound::Whole) continue;
        const DWORD ulError = lum::OpenModule(sPath.c_str(), hModule);
        if (ulError != ERROR_MOD_NOT_FOUND) return ulError;
    }
    return ERROR_MOD_NOT_FOUND;
}

DWORD OpenPath(const std::string& sName, HMODULE& hModule)
{
    lum::SystemPath path;
    if (!lum::ToSystemPath(sName.c_str(), path) || path.bFolder) return ERROR_MOD_NOT_FOUND;
    const DWORD ulError = lum::OpenModule(path.sPath.c_str(), hModule);
    if (ulError != ERROR_MOD_NOT_FOUND || lum::FindSpelling(path.sPath) != lum::PathFound::Whole) return ulError;
    return lum::OpenModule(path.sPath.c_str(), hModule);
}

DWORD OpenByName(std::string sName, HMODULE& hModule)
{
    const std::size_t ulFile = sName.find_last_of("/\\:") + 1; // 0 for a bare name
    if (ulFile == sName.size()) return ERROR_MOD_NOT_FOUND;
    if (sName.back() == '.') sName.pop_back();
    else if (sName.find('.', ulFile) == std::string::npos) sName += ".dll";
    return ulFile == 0 ? OpenBareName(lum::NarrowToSystem(sName), hModule) : OpenPath(sName, hModule);
}

// What is looked for in it -------------------------------------------------------------------------------------------------

DWORD ErrorOf(PeFault eFault)
{
    switch (eFault)
    {
    case PeFault::None: return NO_ERROR;
    case PeFault::BadImage: return ERROR_BAD_EXE_FORMAT;
    case PeFault::NoResources: return ERROR_RESOURCE_DATA_NOT_FOUND;
    case PeFault::NoType: return ERROR_RESOURCE_TYPE_NOT_FOUND;
    case PeFault::NoName: return ERROR_RESOURCE_NAME_NOT_FOUND;
    case PeFault::NoLanguage: return ERROR_RESOURCE_LANG_NOT_FOUND;
    }
    return ERROR_BAD_EXE_FORMAT;
}

// A type or name as callers give it: an id in place of a pointer, "#" and a number, or a text.
class ResourceName
{
public:
    template <class T>
    explicit ResourceName(const T* pName)
    {
        if (IS_INTRESOURCE(pName)) SetId(reinterpret_cast<ULONG_PTR>(pName));
        else if (*pName == '#') SetId(ParseNumber(pName + 1));
        else SetText(pName);
    }

    ResourceName(const ResourceName&) = delete;
    ResourceName& operator=(const ResourceName&) = delete;

    bool IsValid() const { return mbValid; }
    const lum::PeName& Get() const { return mName; }

private:
    static constexpr ULONG_PTR kulMaxId = 0xFFFF;

    // Blanks, a sign, digits; whatever follows does not count. Anything out of range comes back as too large.
    template <class T>
    static ULONG_PTR ParseNumber(const T* pText)
    {
        while (*pText == ' ' || *pText == '\t') ++pText;
        const bool bNegative = *pText == '-';
        if (*pText == '-' || *pText == '+') ++pText;
        ULONG_PTR ulValue = 0;
        for (; *pText >= '0' && *pText <= '9' && ulValue <= kulMaxId; ++pText)
            ulValue = ulValue * 10 + static_cast<ULONG_PTR>(*pText - '0');
        return bNegative && ulValue ? kulMaxId + 1 : ulValue;
    }

    void SetId(ULONG_PTR ulId)
    {
        mbValid = ulId <= kulMaxId;
        mName.uwId = static_cast<WORD>(ulId);
    }

    void SetText(LPCSTR pName)
    {
        const int iUnits = MultiByteToWideChar(CP_ACP, 0, pName, -1, nullptr, 0);
        mText.resize(static_cast<std::size_t>(iUnits) + 1);
        MultiByteToWideChar(CP_ACP, 0, pName, -1, mText.data(), iUnits);
        TakeText();
    }

    void SetText(LPCWSTR pName)
    {
        mText.assign(pName, pName + wcslen(pName) + 1);
        TakeText();
    }

    // Resource compilers write names in capitals.
    void TakeText()
    {
        mbValid = true;
        mName.pText = _wcsupr(mText.data());
        mName.ulChars = wcslen(mText.data());
    }

    lum::PeName mName;
    std::vector<WCHAR> mText; // with its terminator
    bool mbValid = false;
};

HRSRC Find(HMODULE hModule, const ResourceName& name, const ResourceName& type)
{
    const auto pModule = lum::FindModule(hModule);
    std::size_t ulEntry = 0;
    DWORD ulError = ERROR_RESOURCE_DATA_NOT_FOUND;
    if (pModule && !(name.IsValid() && type.IsValid())) ulError = ERROR_INVALID_PARAMETER;
    else if (pModule) ulError = ErrorOf(pModule->image.Find(type.Get(), name.Get(), ulEntry));
    if (ulError == NO_ERROR) return reinterpret_cast<HRSRC>(pModule->pBytes.get() + ulEntry);
    SetLastError(ulError);
    return nullptr;
}

// The bytes that a found resource stands for; none, with the last error set, when it is not this module's.
std::span<const BYTE> DataOf(HMODULE hModule, HRSRC hResource)
{
    const auto pModule = lum::FindModule(hModule);
    std::span<const BYTE> data;
    DWORD ulError = ERROR_RESOURCE_DATA_NOT_FOUND;
    if (pModule)
    {
        const ULONG_PTR ulPlace = reinterpret_cast<ULONG_PTR>(hResource) - reinterpret_cast<ULONG_PTR>(pModule->pBytes.get());
        ulError = ErrorOf(pModule->image.Data(ulPlace, data));
    }
    if (ulError != NO_ERROR) SetLastError(ulError);
    return data;
}
} // namespace

HMODULE LoadLibraryA(LPCSTR pName)
{
    HMODULE hModule = nullptr;
    DWORD ulError = ERROR_MOD_NOT_FOUND;
    try
    {
        if (pName) ulError = OpenByName(pName, hModule);
    }
    catch (const std::bad_alloc&)
    {
        ulError = ERROR_NOT_ENOUGH_MEMORY;
    }
    if (ulError != NO_ERROR) SetLastError(ulError);
    return hModule;
}

BOOL FreeLibrary(HMODULE hModule)
{
    if (lum::CloseModule(hModule)) return TRUE;
    return lum::Fail(hModule ? ERROR_MOD_NOT_FOUND : ERROR_INVALID_HANDLE);
}

HRSRC FindResourceA(HMODULE hModule, LPCSTR pName, LPCSTR pType)
{
    return Find(hModule, ResourceName(pName), ResourceName(pType));
}

HRSRC FindResourceW(HMODULE hModule, LPCWSTR pName, LPCWSTR pType)
{
    return Find(hModule, ResourceName(pName), ResourceName(pType));
}

HGLOBAL LoadResource(HMODULE hModule, HRSRC hResource)
{
    return hResource ? const_cast<BYTE*>(DataOf(hModule, hResource).data()) : nullptr;
}

LPVOID LockResource(HGLOBAL hData) { return hData; }

DWORD SizeofResource(HMODULE hModule, HRSRC hResource)
{
    return hResource ? static_cast<DWORD>(DataOf(hModule, hResource).size()) : 0;
}
