// The live registry as the commands see it: keys by name, values with their type and bytes.
#pragma once

#include "Platform.h"
#include "RegFile.h"

#include <functional>
#include <optional>

namespace tool
{
// Owns an open key.
class RegKey
{
public:
    explicit RegKey(HKEY hKey) : mhKey(hKey) {}
    RegKey(RegKey&& other) noexcept : mhKey(other.mhKey) { other.mhKey = nullptr; }
    RegKey& operator=(RegKey&&) = delete;
    ~RegKey() { if (mhKey) RegCloseKey(mhKey); }
    HKEY Handle() const { return mhKey; }

private:
    HKEY mhKey;
};

struct RegValue
{
    std::u16string sName; // empty: the key's default value
    DWORD ulType;
    std::vector<std::uint8_t> aubData;
};

// All of these throw Stop when the registry fails; a key or value that is missing is an empty answer.
std::optional<RegKey> FindKey(const RegKeyName& key, REGSAM ulAccess);
std::optional<RegValue> FindValue(HKEY hKey, const std::u16string& sName);
void StoreValue(HKEY hKey, const RegValue& value);
std::vector<RegValue> ReadValues(const RegKey& key);
std::vector<std::u16string> ReadSubKeys(const RegKey& key);

RegKeyName SubKey(const RegKeyName& key, const std::u16string& sName);

// Apply: does what the operations say, all of it or nothing; done(n) after each.
void Apply(const std::vector<RegOperation>& operations, const std::function<void(size_t)>& done);

// WalkTree: calls visit for the key and everything below it, a key before its subkeys, in the registry's order.
//   Returns false when the key does not exist.
bool WalkTree(const RegKeyName& key, const std::function<void(const RegKeyName&, const RegKey&)>& visit);
} // namespace tool
