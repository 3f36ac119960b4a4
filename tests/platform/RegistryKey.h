// A key of a test's own, open, empty at first and gone afterwards.
#pragma once

#include "Platform.h"

#include "Wine.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

inline const WCHAR* Wide(const char16_t* pText) { return AsWide(AsUnits(pText)); }
inline const WCHAR* Wide(const std::u16string& sText) { return Wide(sText.c_str()); }
inline std::u16string Units(const WCHAR* pText, size_t ulChars) { return {reinterpret_cast<const char16_t*>(pText), ulChars}; }

class OpenKey
{
public:
    OpenKey() = default;
    OpenKey(HKEY hKey) : mhKey(hKey) {}
    OpenKey(OpenKey&& other) noexcept : mhKey(other.mhKey) { other.mhKey = nullptr; }
    OpenKey& operator=(OpenKey&& other) noexcept
    {
        std::swap(mhKey, other.mhKey);
        return *this;
    }
    ~OpenKey() { if (mhKey) RegCloseKey(mhKey); }
    operator HKEY() const { return mhKey; }
    HKEY* Put() { return &mhKey; }

private:
    HKEY mhKey = nullptr;
};

class RegistryKey : public testing::Test
{
protected:
    RegistryKey()
    {
        const testing::TestInfo* pInfo = testing::UnitTest::GetInstance()->current_test_info();
        msPath = std::string("Software\\LumBaseTests\\") + pInfo->test_suite_name() + "." + pInfo->name();
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, msPath.c_str());
        mKey = Create(HKEY_LOCAL_MACHINE, msPath.c_str());
    }
    ~RegistryKey() override { RegDeleteTreeA(HKEY_LOCAL_MACHINE, msPath.c_str()); }

    static OpenKey Create(HKEY hKey, const char* pPath)
    {
        OpenKey key;
        EXPECT_EQ(RegCreateKeyExA(hKey, pPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Put(), nullptr), ERROR_SUCCESS) << pPath;
        return key;
    }
    static OpenKey Open(HKEY hKey, const char* pPath, REGSAM ulAccess = KEY_ALL_ACCESS)
    {
        OpenKey key;
        EXPECT_EQ(RegOpenKeyExA(hKey, pPath, 0, ulAccess, key.Put()), ERROR_SUCCESS) << pPath;
        return key;
    }
    // What opening gives; the key is closed again.
    static LSTATUS TryOpen(HKEY hKey, const char* pPath)
    {
        OpenKey key;
        return RegOpenKeyExA(hKey, pPath, 0, KEY_READ, key.Put());
    }
    static LSTATUS TryOpen(HKEY hKey, const std::u16string& sPath)
    {
        OpenKey key;
        return RegOpenKeyExW(hKey, Wide(sPath), 0, KEY_READ, key.Put());
    }
    static LSTATUS TryCreate(HKEY hKey, const std::u16string& sPath)
    {
        OpenKey key;
        return RegCreateKeyExW(hKey, Wide(sPath), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Put(), nullptr);
    }

    static LSTATUS Set(HKEY hKey, const char* pName, DWORD ulType, const std::string& sBytes)
    {
        const std::string sGuarded = sBytes + "#"; // the system takes a zero behind a text for its terminator
        return RegSetValueExA(hKey, pName, 0, ulType, reinterpret_cast<const BYTE*>(sGuarded.data()), static_cast<DWORD>(sBytes.size()));
    }
    static LSTATUS SetText(HKEY hKey, const char* pName, const std::string& sText) { return Set(hKey, pName, REG_SZ, sText + '\0'); }

    struct Value
    {
        LSTATUS lStatus;
        DWORD ulType;
        std::string sBytes;
        bool operator==(const Value&) const = default;
    };
    static Value Get(HKEY hKey, const char* pName)
    {
        Value value{ERROR_SUCCESS, 0, std::string(70000, '\xEE')};
        auto ulBytes = static_cast<DWORD>(value.sBytes.size());
        DWORD ulType = 0;
        value.lStatus = RegQueryValueExA(hKey, pName, nullptr, &ulType, reinterpret_cast<BYTE*>(value.sBytes.data()), &ulBytes);
        value.ulType = value.lStatus == ERROR_SUCCESS ? ulType : 0;
        value.sBytes.resize(value.lStatus == ERROR_SUCCESS ? ulBytes : 0);
        return value;
    }
    static std::optional<std::string> GetText(HKEY hKey, const char* pName)
    {
        const Value value = Get(hKey, pName);
        if (value.lStatus != ERROR_SUCCESS || value.ulType != REG_SZ) return std::nullopt;
        return value.sBytes.c_str();
    }

    static std::vector<std::string> SubKeys(HKEY hKey)
    {
        std::vector<std::string> names;
        for (char acName[600];;)
        {
            DWORD ulChars = sizeof acName;
            const LSTATUS lStatus =
                RegEnumKeyExA(hKey, static_cast<DWORD>(names.size()), acName, &ulChars, nullptr, nullptr, nullptr, nullptr);
            if (lStatus != ERROR_SUCCESS)
            {
                EXPECT_EQ(lStatus, ERROR_NO_MORE_ITEMS);
                return names;
            }
            EXPECT_EQ(ulChars, strlen(acName));
            names.emplace_back(acName);
        }
    }
    static std::vector<std::string> ValueNames(HKEY hKey)
    {
        std::vector<std::string> names;
        for (char acName[600];;)
        {
            DWORD ulChars = sizeof acName;
            const LSTATUS lStatus =
                RegEnumValueA(hKey, static_cast<DWORD>(names.size()), acName, &ulChars, nullptr, nullptr, nullptr, nullptr);
            if (lStatus != ERROR_SUCCESS)
            {
                EXPECT_EQ(lStatus, ERROR_NO_MORE_ITEMS);
                return names;
            }
            names.emplace_back(acName);
        }
    }

    static HKEY NoKey() { return reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x7FFC)); }

    std::string msPath; // below HKEY_LOCAL_MACHINE
    OpenKey mKey;
};
