// Many registry changes as one: each is made by the system's own calls, after what undoes it was written down.
#include "Platform.h"

#include <string>
#include <vector>

namespace lum
{
namespace
{
class Key
{
public:
    Key() = default;
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    ~Key() { if (mhKey) RegCloseKey(mhKey); }
    HKEY Get() const { return mhKey; }
    HKEY* Put() { return &mhKey; }

private:
    HKEY mhKey = nullptr;
};

struct Value
{
    std::wstring sName;
    DWORD ulType = 0;
    std::vector<BYTE> aubData;
};

// A key as it was, with everything below it.
struct Tree
{
    std::wstring sName;
    std::wstring sClass;
    std::vector<Value> values;
    std::vector<Tree> children;
};

struct Undo
{
    enum Kind
    {
        RemoveKey,   // and what was made below it
        RestoreTree,
        RemoveValue,
        RestoreValue,
    };
    Kind eKind;
    HKEY hRoot;
    std::wstring sKey;
    Value value;
    Tree tree;
};

const WCHAR* OrEmpty(const WCHAR* pText) { return pText ? pText : L""; }

LSTATUS ReadValue(HKEY hKey, const std::wstring& sName, Value& value)
{
    value.sName = sName;
    for (;;)
    {
        auto ulBytes = static_cast<DWORD>(value.aubData.size());
        const LSTATUS lStatus = RegQueryValueExW(hKey, sName.c_str(), nullptr, &value.ulType, value.aubData.data(), &ulBytes);
        if (lStatus != ERROR_SUCCESS && lStatus != ERROR_MORE_DATA) return lStatus;
        const bool bComplete = lStatus == ERROR_SUCCESS && ulBytes <= value.aubData.size();
        value.aubData.resize(ulBytes);
        if (bComplete) return ERROR_SUCCESS;
    }
}

LSTATUS ReadTree(HKEY hKey, Tree& tree)
{
    DWORD ulClass = 256, ulKeys = 0, ulKeyChars = 0, ulValues = 0, ulValueChars = 0;
    tree.sClass.resize(ulClass);
    LSTATUS lStatus = RegQueryInfoKeyW(hKey, tree.sClass.data(), &ulClass, nullptr, &ulKeys, &ulKeyChars, nullptr, &ulValues,
                                       &ulValueChars, nullptr, nullptr, nullptr);
    if (lStatus != ERROR_SUCCESS) return lStatus;
    tree.sClass.resize(ulClass);

    for (DWORD i = 0; i < ulValues; ++i)
    {
        std::wstring sName(ulValueChars + 1, L'\0');
        auto ulChars = static_cast<DWORD>(sName.size());
        lStatus = RegEnumValueW(hKey, i, sName.data(), &ulChars, nullptr, nullptr, nullptr, nullptr);
        if (lStatus != ERROR_SUCCESS) return lStatus;
        sName.resize(ulChars);
        if ((lStatus = ReadValue(hKey, sName, tree.values.emplace_back())) != ERROR_SUCCESS) return lStatus;
    }
    for (DWORD i = 0; i < ulKeys; ++i)
    {
        std::wstring sName(ulKeyChars + 1, L'\0');
        auto ulChars = static_cast<DWORD>(sName.size());
        lStatus = RegEnumKeyExW(hKey, i, sName.data(), &ulChars, nullptr, nullptr, nullptr, nullptr);
        if (lStatus != ERROR_SUCCESS) return lStatus;
        sName.resize(ulChars);
        Key child;
        if ((lStatus = RegOpenKeyExW(hKey, sName.c_str(), 0, KEY_READ, child.Put())) != ERROR_SUCCESS) return lStatus;
        Tree& below = tree.children.emplace_back();
        below.sName = std::move(sName);
        if ((lStatus = ReadTree(child.Get(), below)) != ERROR_SUCCESS) return lStatus;
    }
    return ERROR_SUCCESS;
}

void WriteValue(HKEY hKey, const Value& value)
{
    RegSetValueExW(hKey, value.sName.c_str(), 0, value.ulType, value.aubData.data(), static_cast<DWORD>(value.aubData.size()));
}

void WriteTree(HKEY hParent, const std::wstring& sName, const Tree& tree)
{
    Key key;
    std::wstring sClass = tree.sClass;
    if (RegCreateKeyExW(hParent, sName.c_str(), 0, sClass.data(), 0, KEY_WRITE, nullptr, key.Put(), nullptr) != ERROR_SUCCESS) return;
    for (const Value& value : tree.values) WriteValue(key.Get(), value);
    for (const Tree& child : tree.children) WriteTree(key.Get(), child.sName, child);
}

class Journal
{
public:
    LSTATUS Make(const LumRegistryChange& change);
    void TakeBack();

private:
    LSTATUS CreateKey(const LumRegistryChange& change, Key& key);
    LSTATUS DeleteKey(const LumRegistryChange& change);
    LSTATUS ChangeValue(HKEY hKey, const LumRegistryChange& change);
    std::vector<Undo> mUndo;
};

LSTATUS Journal::CreateKey(const LumRegistryChange& change, Key& key)
{
    const std::wstring sKey = OrEmpty(change.pKey);
    // The highest key that is missing: everything made below it goes with it.
    for (std::size_t ulEnd = 0; ulEnd < sKey.size();)
    {
        ulEnd = sKey.find(L'\\', ulEnd + 1);
        if (ulEnd == std::wstring::npos) ulEnd = sKey.size();
        const std::wstring sPart = sKey.substr(0, ulEnd);
        Key part;
        if (RegOpenKeyExW(change.hRoot, sPart.c_str(), 0, KEY_READ, part.Put()) != ERROR_FILE_NOT_FOUND) continue;
        mUndo.push_back({Undo::RemoveKey, change.hRoot, sPart, {}, {}});
        break;
    }
    return RegCreateKeyExW(change.hRoot, sKey.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, key.Put(), nullptr);
}

LSTATUS Journal::DeleteKey(const LumRegistryChange& change)
{
    const std::wstring sKey = OrEmpty(change.pKey);
    if (sKey.empty()) return ERROR_ACCESS_DENIED; // a root
    Key key;
    LSTATUS lStatus = RegOpenKeyExW(change.hRoot, sKey.c_str(), 0, KEY_READ, key.Put());
    if (lStatus == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
    if (lStatus != ERROR_SUCCESS) return lStatus;

    Undo undo{Undo::RestoreTree, change.hRoot, sKey, {}, {}};
    if ((lStatus = ReadTree(key.Get(), undo.tree)) != ERROR_SUCCESS) return lStatus;
    mUndo.push_back(std::move(undo));
    return RegDeleteTreeW(change.hRoot, sKey.c_str());
}

LSTATUS Journal::ChangeValue(HKEY hKey, const LumRegistryChange& change)
{
    const std::wstring sName = OrEmpty(change.pName);
    Undo undo{Undo::RestoreValue, change.hRoot, OrEmpty(change.pKey), {}, {}};
    const LSTATUS lStatus = ReadValue(hKey, sName, undo.value);
    if (lStatus == ERROR_FILE_NOT_FOUND) undo.eKind = Undo::RemoveValue;
    else if (lStatus != ERROR_SUCCESS) return lStatus;
    const bool bDelete = change.eKind == LumRegistryChange::DeleteValue;
    if (bDelete && lStatus == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;

    mUndo.push_back(std::move(undo));
    if (bDelete) return RegDeleteValueW(hKey, sName.c_str());
    if (!change.pData && change.ulBytes != 0) return ERROR_NOACCESS;
    return RegSetValueExW(hKey, sName.c_str(), 0, change.ulType, change.pData, change.ulBytes);
}

LSTATUS Journal::Make(const LumRegistryChange& change)
{
    if (change.eKind == LumRegistryChange::DeleteKey) return DeleteKey(change);

    Key key;
    if (change.eKind == LumRegistryChange::DeleteValue)
    {
        const LSTATUS lStatus = RegOpenKeyExW(change.hRoot, change.pKey, 0, KEY_READ | KEY_WRITE, key.Put());
        if (lStatus == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
        if (lStatus != ERROR_SUCCESS) return lStatus;
        return ChangeValue(key.Get(), change);
    }
    if (LSTATUS lStatus = CreateKey(change, key)) return lStatus;
    return change.eKind == LumRegistryChange::SetValue ? ChangeValue(key.Get(), change) : ERROR_SUCCESS;
}

void Journal::TakeBack()
{
    for (; !mUndo.empty(); mUndo.pop_back())
    {
        const Undo& undo = mUndo.back();
        if (undo.eKind == Undo::RemoveKey)
        {
            RegDeleteTreeW(undo.hRoot, undo.sKey.c_str());
            continue;
        }
        if (undo.eKind == Undo::RestoreTree)
        {
            WriteTree(undo.hRoot, undo.sKey, undo.tree);
            continue;
        }
        Key key;
        if (RegOpenKeyExW(undo.hRoot, undo.sKey.c_str(), 0, KEY_WRITE, key.Put()) != ERROR_SUCCESS) continue;
        if (undo.eKind == Undo::RemoveValue) RegDeleteValueW(key.Get(), undo.value.sName.c_str());
        else WriteValue(key.Get(), undo.value);
    }
}

// A predefined root alone: a key that is open may be gone when it comes to taking back.
bool IsRoot(HKEY hKey)
{
    return hKey == HKEY_LOCAL_MACHINE || hKey == HKEY_CLASSES_ROOT || hKey == HKEY_USERS || hKey == HKEY_CURRENT_USER;
}
} // namespace
} // namespace lum

LSTATUS LumRegistryApply(const LumRegistryChange* pChanges, size_t ulChanges, size_t* pulFailed, LumRegistryProgress pProgress,
                         void* pContext)
{
    constexpr size_t kulTellEvery = 1024;
    lum::Journal journal;
    for (size_t i = 0; i < ulChanges; ++i)
    {
        const LSTATUS lStatus = lum::IsRoot(pChanges[i].hRoot) ? journal.Make(pChanges[i]) : ERROR_INVALID_HANDLE;
        if (lStatus != ERROR_SUCCESS)
        {
            journal.TakeBack();
            if (pulFailed) *pulFailed = i;
            return lStatus;
        }
        if (pProgress && (i + 1) % kulTellEvery == 0) pProgress(pContext, i + 1);
    }
    if (pProgress) pProgress(pContext, ulChanges);
    return ERROR_SUCCESS;
}
