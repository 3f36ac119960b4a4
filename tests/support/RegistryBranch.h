// A test's own branch of the registry, with the base path of ORegistry set to it, and a log that is kept.
//
//  * Keys are named below the branch. Everything here goes by the platform's calls, not by the classes under test.
#pragma once

#include "LogRecorder.h"
#include "ORegistry.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

struct StoredValue
{
    DWORD dwType;
    std::string sBytes;
    bool operator==(const StoredValue&) const = default;
};

class RegistryBranch : public testing::Test
{
protected:
    RegistryBranch()
    {
        const testing::TestInfo* pInfo = testing::UnitTest::GetInstance()->current_test_info();
        msBranch = std::string("Software\\LumBaseTests\\") + pInfo->test_suite_name() + "." + pInfo->name();
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, msBranch.c_str());
        ORegistry::SetBasePath((msBranch + "\\").c_str());
    }
    ~RegistryBranch() override
    {
        ORegistry::SetBasePath("");
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, msBranch.c_str());
    }

    std::string Path(const std::string& sKey) const { return sKey.empty() ? msBranch : msBranch + "\\" + sKey; }

    void MakeKey(const std::string& sKey) { Close(Made(sKey)); }
    bool HasKey(const std::string& sKey)
    {
        HKEY hKey = Opened(sKey);
        Close(hKey);
        return hKey != nullptr;
    }

    // Store: makes the key, too.
    void Store(const std::string& sKey, const char* pName, DWORD dwType, const std::string& sBytes)
    {
        const std::string sGuarded = sBytes + "#"; // the system takes a zero behind a text for its terminator
        HKEY hKey = Made(sKey);
        ASSERT_EQ(RegSetValueExA(hKey, pName, 0, dwType, reinterpret_cast<const BYTE*>(sGuarded.data()),
                                 static_cast<DWORD>(sBytes.size())),
                  ERROR_SUCCESS);
        Close(hKey);
    }
    void StoreText(const std::string& sKey, const char* pName, const std::string& sText)
    {
        Store(sKey, pName, REG_SZ, std::string(sText.c_str(), sText.size() + 1));
    }
    void StoreNumber(const std::string& sKey, const char* pName, DWORD dwValue)
    {
        Store(sKey, pName, REG_DWORD, std::string(reinterpret_cast<const char*>(&dwValue), sizeof dwValue));
    }

    std::optional<StoredValue> Stored(const std::string& sKey, const char* pName)
    {
        HKEY hKey = Opened(sKey);
        if (!hKey) return std::nullopt;
        StoredValue value{REG_NONE, std::string(4096, '\0')};
        DWORD dwSize = static_cast<DWORD>(value.sBytes.size());
        const LSTATUS lRetval =
            RegQueryValueExA(hKey, pName, nullptr, &value.dwType, reinterpret_cast<BYTE*>(value.sBytes.data()), &dwSize);
        Close(hKey);
        if (lRetval != ERROR_SUCCESS) return std::nullopt;
        value.sBytes.resize(dwSize);
        return value;
    }
    // None when there is no such value or it has another type.
    std::optional<std::string> StoredText(const std::string& sKey, const char* pName)
    {
        const std::optional<StoredValue> value = Stored(sKey, pName);
        if (!value || value->dwType != REG_SZ) return std::nullopt;
        return std::string(value->sBytes.c_str());
    }
    std::optional<DWORD> StoredNumber(const std::string& sKey, const char* pName)
    {
        const std::optional<StoredValue> value = Stored(sKey, pName);
        if (!value || value->dwType != REG_DWORD || value->sBytes.size() != sizeof(DWORD)) return std::nullopt;
        DWORD dwValue = 0;
        std::memcpy(&dwValue, value->sBytes.data(), sizeof dwValue);
        return dwValue;
    }

    using Lines = LogRecorder::Lines;
    LogRecorder log;

private:
    HKEY Made(const std::string& sKey)
    {
        HKEY hKey = nullptr;
        EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, Path(sKey).c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, &hKey, nullptr),
                  ERROR_SUCCESS);
        return hKey;
    }
    HKEY Opened(const std::string& sKey)
    {
        HKEY hKey = nullptr;
        const LSTATUS lRetval = RegOpenKeyExA(HKEY_LOCAL_MACHINE, Path(sKey).c_str(), 0, KEY_READ, &hKey);
        return lRetval == ERROR_SUCCESS ? hKey : nullptr;
    }
    static void Close(HKEY hKey)
    {
        if (hKey) RegCloseKey(hKey);
    }

    std::string msBranch;
};
