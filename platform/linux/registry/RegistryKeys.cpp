// Opening, creating, closing and deleting keys.
#include "RegistryHandles.h"

namespace lum
{
namespace
{
// Each generic right stands for several of a key's own.
struct GenericRight
{
    DWORD ulGeneric, ulMeans;
};
constexpr GenericRight kGenericRights[] = {
    {GENERIC_READ, KEY_READ},      {GENERIC_WRITE, KEY_WRITE},          {GENERIC_EXECUTE, KEY_EXECUTE},
    {GENERIC_ALL, KEY_ALL_ACCESS}, {MAXIMUM_ALLOWED, KEY_ALL_ACCESS},
};

DWORD GrantedAccess(REGSAM ulAsked)
{
    constexpr DWORD kulGeneric = GENERIC_READ | GENERIC_WRITE | GENERIC_EXECUTE | GENERIC_ALL | MAXIMUM_ALLOWED;
    if (!(ulAsked & kulGeneric)) return ulAsked;
    for (const GenericRight& right : kGenericRights)
        if (ulAsked & right.ulGeneric) ulAsked |= right.ulMeans;
    return ulAsked;
}

LSTATUS GiveHandle(RegistryStore& store, NodeRef node, std::int64_t llId, REGSAM ulAccess, PHKEY phResult)
{
    const HANDLE hNew = InsertHandle(new KeyObject(store, std::move(node), llId), GrantedAccess(ulAccess));
    if (!hNew) return ERROR_NO_SYSTEM_RESOURCES;
    *phResult = static_cast<HKEY>(hNew);
    return ERROR_SUCCESS;
}

template <class Char>
LSTATUS OpenKey(HKEY hKey, const Char* pPath, REGSAM ulAccess, PHKEY phResult)
{
    if (!phResult) return ERROR_INVALID_PARAMETER;
    if (!hKey) return ERROR_INVALID_HANDLE; // the one case that leaves the result alone
    *phResult = nullptr;
    KeyUse use;
    if (LSTATUS lStatus = UseKey(hKey, use)) return lStatus;
    if (use.bPredefined && (!pPath || !*pPath))
    {
        *phResult = hKey;
        return ERROR_SUCCESS;
    }
    FoldedText path(use.pNode->Path());
    if (LSTATUS lStatus = path.AddPath(pPath, use.bMayLead)) return lStatus;

    NodeRef found;
    std::int64_t llId = 0;
    if (LSTATUS lStatus = use.pStore->FindKey(*use.pNode, use.llId, path, found, llId)) return lStatus;
    return GiveHandle(*use.pStore, std::move(found), llId, ulAccess, phResult);
}

template <class Char>
LSTATUS CreateKey(HKEY hKey, const Char* pPath, DWORD ulReserved, const Char* pClass, DWORD ulOptions, REGSAM ulAccess,
                  PHKEY phResult, LPDWORD pulDisposition)
{
    if (!phResult || ulReserved != 0) return ERROR_INVALID_PARAMETER;
    if (!hKey) return ERROR_INVALID_HANDLE;
    *phResult = nullptr;
    KeyUse use;
    if (LSTATUS lStatus = UseKey(hKey, use)) return lStatus;
    FoldedText path(use.pNode->Path());
    if (LSTATUS lStatus = path.AddPath(pPath, false)) return lStatus;

    NodeRef key;
    std::int64_t llId = 0;
    bool bCreated = false;
    LSTATUS lStatus = use.pStore->FindKey(*use.pNode, use.llId, path, key, llId);
    if (lStatus == ERROR_FILE_NOT_FOUND)
    {
        std::string sClass;
        AppendBytes(sClass, UnitsOf(pClass));
        const bool bVolatile = (ulOptions & REG_OPTION_VOLATILE) != 0;
        const std::vector<KeyLevel> levels = SplitLevels(UnitsOf(pPath));
        lStatus = use.pStore->CreateKey(use.llId, path, levels, sClass, bVolatile, key, llId, bCreated);
    }
    if (lStatus != ERROR_SUCCESS) return lStatus;

    lStatus = GiveHandle(*use.pStore, std::move(key), llId, ulAccess, phResult);
    if (lStatus == ERROR_SUCCESS && pulDisposition) *pulDisposition = bCreated ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    return lStatus;
}

template <class Char>
LSTATUS DeleteKey(HKEY hKey, const Char* pPath)
{
    KeyUse use;
    if (LSTATUS lStatus = UseKey(hKey, use)) return lStatus;
    if (!pPath) return ERROR_INVALID_PARAMETER;
    FoldedText path(use.pNode->Path());
    if (LSTATUS lStatus = path.AddPath(pPath, false)) return lStatus;
    return use.pStore->DeleteKey(use.llId, path, SplitLevels(UnitsOf(pPath)));
}

template <class Char>
LSTATUS DeleteTree(HKEY hKey, const Char* pPath)
{
    KeyUse use;
    if (LSTATUS lStatus = UseKey(hKey, use)) return lStatus;
    FoldedText path(use.pNode->Path());
    if (LSTATUS lStatus = path.AddPath(pPath, false)) return lStatus;
    const std::vector<KeyLevel> levels = SplitLevels(UnitsOf(pPath));
    if (levels.empty() && !use.May(KEY_ENUMERATE_SUB_KEYS | KEY_SET_VALUE)) return ERROR_ACCESS_DENIED;
    return use.pStore->DeleteTree(use.llId, levels);
}
} // namespace

LSTATUS UseKey(HKEY hKey, KeyUse& use)
{
    const auto ulValue = reinterpret_cast<ULONG_PTR>(hKey);
    if (ulValue < 0x80000000u)
    {
        use.object = LookUpHandle(hKey, ObjectKind::Key, &use.ulAccess);
        if (!use.object) return ERROR_INVALID_HANDLE;
        const auto* pKey = use.object.As<KeyObject>();
        use.pStore = &pKey->Store();
        use.pNode = &pKey->KeyNode();
        use.llId = pKey->Id();
        return ERROR_SUCCESS;
    }
    // A predefined key is a negative 32-bit number; its upper half may or may not carry the sign.
    constexpr StoreIndex kStoreOf[] = {kClassesRoot, kCurrentUser, kLocalMachine, kUsers};
    const auto ulIndex = static_cast<ULONG>(ulValue) - 0x80000000u;
    const auto ulUpper = static_cast<ULONG>(ulValue >> 32);
    if (ulIndex >= std::size(kStoreOf) || (ulUpper != 0 && ulUpper != 0xFFFFFFFFu)) return ERROR_INVALID_HANDLE;
    use.pStore = &RegistryStore::At(kStoreOf[ulIndex]);
    use.pNode = &use.pStore->Root();
    use.llId = kllRootId;
    use.ulAccess = KEY_ALL_ACCESS;
    use.bPredefined = true;
    use.bMayLead = kStoreOf[ulIndex] == kClassesRoot;
    return ERROR_SUCCESS;
}
} // namespace lum

LSTATUS RegOpenKeyExA(HKEY hKey, LPCSTR pPath, DWORD, REGSAM ulAccess, PHKEY phResult)
{
    return lum::Answer([&] { return lum::OpenKey(hKey, pPath, ulAccess, phResult); });
}

LSTATUS RegOpenKeyExW(HKEY hKey, LPCWSTR pPath, DWORD, REGSAM ulAccess, PHKEY phResult)
{
    return lum::Answer([&] { return lum::OpenKey(hKey, pPath, ulAccess, phResult); });
}

LSTATUS RegCreateKeyExA(HKEY hKey, LPCSTR pPath, DWORD ulReserved, LPSTR pClass, DWORD ulOptions, REGSAM ulAccess,
                        const SECURITY_ATTRIBUTES*, PHKEY phResult, LPDWORD pulDisposition)
{
    return lum::Answer([&] {
        return lum::CreateKey<char>(hKey, pPath, ulReserved, pClass, ulOptions, ulAccess, phResult, pulDisposition);
    });
}

LSTATUS RegCreateKeyExW(HKEY hKey, LPCWSTR pPath, DWORD ulReserved, LPWSTR pClass, DWORD ulOptions, REGSAM ulAccess,
                        const SECURITY_ATTRIBUTES*, PHKEY phResult, LPDWORD pulDisposition)
{
    return lum::Answer([&] {
        return lum::CreateKey<WCHAR>(hKey, pPath, ulReserved, pClass, ulOptions, ulAccess, phResult, pulDisposition);
    });
}

LSTATUS RegCloseKey(HKEY hKey)
{
    if (lum::RemoveHandle(hKey)) return ERROR_SUCCESS;
    constexpr ULONG_PTR kulPredefined = 0x80000000; // these stay open, those that mean nothing too
    return reinterpret_cast<ULONG_PTR>(hKey) >= kulPredefined ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LSTATUS RegDeleteKeyA(HKEY hKey, LPCSTR pPath)
{
    return lum::Answer([&] { return lum::DeleteKey(hKey, pPath); });
}

LSTATUS RegDeleteKeyW(HKEY hKey, LPCWSTR pPath)
{
    return lum::Answer([&] { return lum::DeleteKey(hKey, pPath); });
}

LSTATUS RegDeleteTreeA(HKEY hKey, LPCSTR pPath)
{
    return lum::Answer([&] { return lum::DeleteTree(hKey, pPath); });
}

LSTATUS RegDeleteTreeW(HKEY hKey, LPCWSTR pPath)
{
    return lum::Answer([&] { return lum::DeleteTree(hKey, pPath); });
}

LSTATUS RegFlushKey(HKEY hKey)
{
    return lum::Answer(
        [&]
        {
            lum::KeyUse use;
            if (LSTATUS lStatus = lum::UseKey(hKey, use)) return lStatus;
            lum::KeyRecord record; // a key that is gone says so
            if (LSTATUS lStatus = use.pStore->ReadRecord(use.llId, record)) return lStatus;
            return use.pStore->Flush();
        });
}
