#include "RegStore.h"

#include "Console.h"
#include "Text.h"

#include <algorithm>

namespace tool
{
static HKEY RootHandle(size_t uRoot)
{
    static const HKEY kHandles[] = {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER, HKEY_CLASSES_ROOT, HKEY_USERS};
    static_assert(std::size(kHandles) == std::size(kRegRoots));
    return kHandles[uRoot];
}

static const WCHAR* Units(const std::u16string& sText) { return AsWide(AsUnits(sText.c_str())); }

static Stop Failed(const char* pWhat, const std::u16string& sName, LSTATUS lStatus)
{
    return Stop(kFailure, Format("%s %s failed: %s", pWhat, Narrow(sName).c_str(), SystemText(static_cast<DWORD>(lStatus)).c_str()));
}

std::optional<RegKey> FindKey(const RegKeyName& key, REGSAM ulAccess)
{
    HKEY hKey = nullptr;
    const LSTATUS lStatus = RegOpenKeyExW(RootHandle(key.uRoot), Units(key.sPath), 0, ulAccess, &hKey);
    if (lStatus == ERROR_FILE_NOT_FOUND) return std::nullopt;
    if (lStatus != ERROR_SUCCESS) throw Failed("opening", FullName(key), lStatus);
    return RegKey(hKey);
}

std::optional<RegValue> FindValue(HKEY hKey, const std::u16string& sName)
{
    RegValue value{sName, 0, {}};
    for (;;)
    {
        DWORD ulBytes = static_cast<DWORD>(value.aubData.size());
        const LSTATUS lStatus = RegQueryValueExW(hKey, Units(sName), nullptr, &value.ulType, value.aubData.data(), &ulBytes);
        if (lStatus == ERROR_FILE_NOT_FOUND) return std::nullopt;
        if (lStatus != ERROR_SUCCESS && lStatus != ERROR_MORE_DATA) throw Failed("reading the value", sName, lStatus);
        const bool bComplete = lStatus == ERROR_SUCCESS && ulBytes <= value.aubData.size();
        value.aubData.resize(ulBytes);
        if (bComplete) return value;
    }
}

void StoreValue(HKEY hKey, const RegValue& value)
{
    const LSTATUS lStatus = RegSetValueExW(hKey, Units(value.sName), 0, value.ulType, value.aubData.data(),
                                           static_cast<DWORD>(value.aubData.size()));
    if (lStatus != ERROR_SUCCESS) throw Failed("writing the value", value.sName, lStatus);
}

struct KeySize
{
    DWORD ulSubKeys, ulKeyChars, ulValues, ulValueChars, ulBytes; // counts, and the longest of each kind
};

static KeySize SizeOf(const RegKey& key)
{
    KeySize size{};
    const LSTATUS lStatus = RegQueryInfoKeyW(key.Handle(), nullptr, nullptr, nullptr, &size.ulSubKeys, &size.ulKeyChars, nullptr,
                                             &size.ulValues, &size.ulValueChars, &size.ulBytes, nullptr, nullptr);
    if (lStatus != ERROR_SUCCESS) throw Failed("reading", u"a key", lStatus);
    return size;
}

std::vector<RegValue> ReadValues(const RegKey& key)
{
    KeySize size = SizeOf(key);
    std::vector<RegValue> values;
    for (DWORD ulIndex = 0;;)
    {
        std::u16string sName(size.ulValueChars + 1, u'\0');
        RegValue value{{}, 0, std::vector<std::uint8_t>(size.ulBytes)};
        DWORD ulChars = static_cast<DWORD>(sName.size()), ulBytes = size.ulBytes;
        const LSTATUS lStatus = RegEnumValueW(key.Handle(), ulIndex, reinterpret_cast<WCHAR*>(sName.data()), &ulChars, nullptr,
                                              &value.ulType, value.aubData.data(), &ulBytes);
        if (lStatus == ERROR_NO_MORE_ITEMS) return values;
        if (lStatus == ERROR_MORE_DATA)
        {
            size = SizeOf(key); // another process wrote something longer meanwhile
            continue;
        }
        if (lStatus != ERROR_SUCCESS) throw Failed("reading", u"a value", lStatus);
        value.sName = sName.substr(0, ulChars);
        value.aubData.resize(ulBytes);
        values.push_back(std::move(value));
        ++ulIndex;
    }
}

std::vector<std::u16string> ReadSubKeys(const RegKey& key)
{
    std::vector<std::u16string> names;
    std::u16string sName(kuMaxKeyNameUnits + 1, u'\0');
    for (DWORD ulIndex = 0;; ++ulIndex)
    {
        DWORD ulChars = static_cast<DWORD>(sName.size());
        const LSTATUS lStatus = RegEnumKeyExW(key.Handle(), ulIndex, reinterpret_cast<WCHAR*>(sName.data()), &ulChars, nullptr,
                                              nullptr, nullptr, nullptr);
        if (lStatus == ERROR_NO_MORE_ITEMS) return names;
        if (lStatus != ERROR_SUCCESS) throw Failed("reading", u"a key's names", lStatus);
        names.push_back(sName.substr(0, ulChars));
    }
}

RegKeyName SubKey(const RegKeyName& key, const std::u16string& sName)
{
    return {key.uRoot, key.sPath.empty() ? sName : key.sPath + u"\\" + sName};
}

bool WalkTree(const RegKeyName& key, const std::function<void(const RegKeyName&, const RegKey&)>& visit)
{
    const auto open = FindKey(key, KEY_READ);
    if (!open) return false;
    visit(key, *open);
    for (const auto& sName : ReadSubKeys(*open)) WalkTree(SubKey(key, sName), visit);
    return true;
}

static LumRegistryChange ChangeOf(const RegOperation& operation, const RegKeyName& key)
{
    struct Pair
    {
        RegOperation::Kind eOperation;
        LumRegistryChange::Kind eChange;
    };
    static constexpr Pair kPairs[] = {
        {RegOperation::Kind::CreateKey, LumRegistryChange::CreateKey},
        {RegOperation::Kind::DeleteKey, LumRegistryChange::DeleteKey},
        {RegOperation::Kind::SetValue, LumRegistryChange::SetValue},
        {RegOperation::Kind::DeleteValue, LumRegistryChange::DeleteValue},
    };
    const auto pPair = std::ranges::find(kPairs, operation.eKind, &Pair::eOperation);
    return {pPair->eChange, RootHandle(key.uRoot), Units(key.sPath), Units(operation.sValue), operation.ulType,
            operation.aubData.data(), static_cast<DWORD>(operation.aubData.size())};
}

static bool NamesKey(const RegOperation& operation)
{
    return operation.eKind == RegOperation::Kind::CreateKey || operation.eKind == RegOperation::Kind::DeleteKey;
}

void Apply(const std::vector<RegOperation>& operations, const std::function<void(size_t)>& done)
{
    std::vector<LumRegistryChange> changes;
    changes.reserve(operations.size());
    const RegKeyName* pKey = nullptr;
    for (const RegOperation& operation : operations)
    {
        if (NamesKey(operation)) pKey = &operation.key;
        changes.push_back(ChangeOf(operation, *pKey));
    }

    size_t uFailed = changes.size();
    const auto Tell = [](void* pDone, size_t uDone) { (*static_cast<const std::function<void(size_t)>*>(pDone))(uDone); };
    const LSTATUS lStatus = LumRegistryApply(changes.data(), changes.size(), &uFailed, Tell,
                                             const_cast<std::function<void(size_t)>*>(&done));
    if (lStatus == ERROR_SUCCESS) return;
    if (uFailed >= operations.size()) throw Failed("writing to", u"the registry", lStatus);
    const RegOperation& failed = operations[uFailed];
    const std::string sWhere = failed.uLine ? "line " + std::to_string(failed.uLine) + ", changing" : std::string("changing");
    throw Failed(sWhere.c_str(), NamesKey(failed) ? FullName(failed.key) : u"the value '" + failed.sValue + u"'", lStatus);
}
} // namespace tool
