// The machine's instrument family, as a test wants it; put back as it was in the end. Not for tests that run side by side.
#pragma once

#include "Platform.h"

#include <optional>
#include <string>

class InstalledFamily
{
public:
    static constexpr char kacKey[] = "Software\\Tarvek\\Lum\\General";
    static constexpr char kacValue[] = "InstrumentType";

    // Nothing is installed until Set.
    InstalledFamily()
    {
        HKEY hKey = nullptr;
        if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kacKey, 0, KEY_READ, &hKey) != ERROR_SUCCESS) return;
        char acFamily[256] = "";
        DWORD dwSize = sizeof acFamily - 1;
        if (RegQueryValueExA(hKey, kacValue, nullptr, nullptr, reinterpret_cast<BYTE*>(acFamily), &dwSize) == ERROR_SUCCESS)
            mFormer = acFamily;
        RegCloseKey(hKey);
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, kacKey);
    }
    ~InstalledFamily()
    {
        if (mFormer) Set(*mFormer);
        else RegDeleteTreeA(HKEY_LOCAL_MACHINE, kacKey);
    }
    InstalledFamily(const InstalledFamily&) = delete;
    InstalledFamily& operator=(const InstalledFamily&) = delete;

    void Set(const std::string& sFamily) { SetValue(REG_SZ, sFamily.c_str(), sFamily.size() + 1); }
    void SetValue(DWORD dwType, const void* pData, std::size_t ulBytes)
    {
        HKEY hKey = Make();
        RegSetValueExA(hKey, kacValue, 0, dwType, static_cast<const BYTE*>(pData), static_cast<DWORD>(ulBytes));
        RegCloseKey(hKey);
    }
    // Without a value: the key alone.
    void SetNothing() { RegCloseKey(Make()); }

private:
    static HKEY Make()
    {
        HKEY hKey = nullptr;
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, kacKey, 0, nullptr, 0, KEY_WRITE, nullptr, &hKey, nullptr);
        return hKey;
    }

    std::optional<std::string> mFormer;
};
