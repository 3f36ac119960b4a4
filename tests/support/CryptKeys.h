// Contexts, keys and blobs for the tests of cryptography.
#pragma once

#include "Platform.h"
#include "Wine.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <utility>

inline constexpr const char* kpProvider = "Microsoft Base Cryptographic Provider v1.0";

// Code: what a call came to; 0 when it was done.
inline constexpr DWORD kulDone = 0;
inline DWORD Code(BOOL bDone) { return bDone ? 0 : GetLastError(); }

inline std::string CryptData(const std::string& sName)
{
    std::ifstream file(LUM_TEST_DATA "/crypt/" + sName, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << sName;
    return {std::istreambuf_iterator<char>(file), {}};
}

inline const BYTE* Bytes(const std::string& sBytes) { return reinterpret_cast<const BYTE*>(sBytes.data()); }
inline BYTE* Bytes(std::string& sBytes) { return reinterpret_cast<BYTE*>(sBytes.data()); }
inline DWORD Count(const std::string& sBytes) { return static_cast<DWORD>(sBytes.size()); }

inline std::string Hex(const std::string& sBytes)
{
    std::string sHex;
    for (unsigned char ubByte : sBytes)
    {
        sHex += "0123456789abcdef"[ubByte >> 4];
        sHex += "0123456789abcdef"[ubByte & 15];
    }
    return sHex;
}

// A number in a blob, least significant byte first.
inline std::string WithNumber(std::string sBlob, std::size_t ulPlace, DWORD ulNumber, std::size_t ulBytes)
{
    for (std::size_t i = 0; i < ulBytes; ++i) sBlob[ulPlace + i] = static_cast<char>(ulNumber >> (8 * i));
    return sBlob;
}

// A key or hash that is ended with the test.
template <BOOL (*Destroy)(ULONG_PTR)>
class CryptHolder
{
public:
    CryptHolder() = default;
    explicit CryptHolder(ULONG_PTR ulHandle) : mulHandle(ulHandle) {}
    CryptHolder(CryptHolder&& other) noexcept : mulHandle(other.mulHandle) { other.mulHandle = 0; }
    CryptHolder& operator=(CryptHolder&& other) noexcept
    {
        std::swap(mulHandle, other.mulHandle);
        return *this;
    }
    ~CryptHolder() { EXPECT_TRUE(!mulHandle || Destroy(mulHandle)); }

    operator ULONG_PTR() const { return mulHandle; }
    ULONG_PTR* operator&() // for the next one; what was held is ended
    {
        *this = CryptHolder();
        return &mulHandle;
    }
    ULONG_PTR Drop() { return std::exchange(mulHandle, 0); }

private:
    ULONG_PTR mulHandle = 0;
};
inline BOOL EndKey(ULONG_PTR ulKey) { return CryptDestroyKey(ulKey); }
inline BOOL EndHash(ULONG_PTR ulHash) { return CryptDestroyHash(ulHash); }
inline BOOL EndContext(ULONG_PTR ulContext) { return CryptReleaseContext(ulContext, 0); }
using KeyHolder = CryptHolder<EndKey>;
using HashHolder = CryptHolder<EndHash>;
using ContextHolder = CryptHolder<EndContext>;

// A container of the test's own, empty at first and gone afterwards.
class CryptTest : public testing::Test
{
protected:
    void SetUp() override
    {
        static int iNext = 0;
        msContainer = "lum-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++iNext);
        ASSERT_EQ(Code(Acquire(mContext, CRYPT_NEWKEYSET)), 0u);
    }
    void TearDown() override
    {
        HCRYPTPROV hNone = 0;
        CryptAcquireContextA(&hNone, msContainer.c_str(), kpProvider, PROV_RSA_FULL, CRYPT_DELETEKEYSET);
    }

    BOOL Acquire(ContextHolder& context, DWORD ulFlags = 0)
    {
        return CryptAcquireContextA(&context, msContainer.c_str(), kpProvider, PROV_RSA_FULL, ulFlags);
    }

    HashHolder Hash(const std::string& sData)
    {
        HashHolder hash;
        EXPECT_EQ(Code(CryptCreateHash(mContext, CALG_MD5, 0, 0, &hash)), 0u);
        EXPECT_EQ(Code(CryptHashData(hash, Bytes(sData), Count(sData), 0)), 0u);
        return hash;
    }

    KeyHolder Derive(const std::string& sPassword, DWORD ulFlags = 0)
    {
        KeyHolder key;
        EXPECT_EQ(Code(CryptDeriveKey(mContext, CALG_RC4, Hash(sPassword), ulFlags, &key)), 0u);
        return key;
    }

    KeyHolder Import(const std::string& sBlob, DWORD ulFlags = CRYPT_EXPORTABLE)
    {
        KeyHolder key;
        EXPECT_EQ(Code(CryptImportKey(mContext, Bytes(sBlob), Count(sBlob), 0, ulFlags, &key)), 0u);
        return key;
    }

    // What comes of importing bytes; the key, if there is one, is dropped.
    DWORD ImportCode(const std::string& sBlob, HCRYPTKEY hPublicKey = 0, DWORD ulFlags = CRYPT_EXPORTABLE)
    {
        KeyHolder key;
        return Code(CryptImportKey(mContext, Bytes(sBlob), Count(sBlob), hPublicKey, ulFlags, &key));
    }

    static std::string Export(HCRYPTKEY hKey, DWORD ulType, HCRYPTKEY hExportKey = 0)
    {
        DWORD ulBytes = 0;
        EXPECT_EQ(Code(CryptExportKey(hKey, hExportKey, ulType, 0, nullptr, &ulBytes)), 0u);
        std::string sBlob(ulBytes, 0);
        EXPECT_EQ(Code(CryptExportKey(hKey, hExportKey, ulType, 0, Bytes(sBlob), &ulBytes)), 0u);
        EXPECT_EQ(ulBytes, sBlob.size());
        return sBlob;
    }
    static DWORD ExportCode(HCRYPTKEY hKey, DWORD ulType, HCRYPTKEY hExportKey = 0, DWORD ulFlags = 0)
    {
        BYTE aubBlob[2000];
        DWORD ulBytes = sizeof aubBlob;
        return Code(CryptExportKey(hKey, hExportKey, ulType, ulFlags, aubBlob, &ulBytes));
    }

    static std::string Encrypt(HCRYPTKEY hKey, std::string sData, BOOL bFinal = TRUE)
    {
        DWORD ulBytes = Count(sData);
        EXPECT_EQ(Code(CryptEncrypt(hKey, 0, bFinal, 0, Bytes(sData), &ulBytes, ulBytes)), 0u);
        EXPECT_EQ(ulBytes, sData.size());
        return sData;
    }
    static std::string Decrypt(HCRYPTKEY hKey, std::string sData, BOOL bFinal = TRUE)
    {
        DWORD ulBytes = Count(sData);
        EXPECT_EQ(Code(CryptDecrypt(hKey, 0, bFinal, 0, Bytes(sData), &ulBytes)), 0u);
        EXPECT_EQ(ulBytes, sData.size());
        return sData;
    }

    static DWORD KeyNumber(HCRYPTKEY hKey, DWORD ulParam)
    {
        DWORD ulValue = 0, ulBytes = sizeof ulValue;
        EXPECT_EQ(Code(CryptGetKeyParam(hKey, ulParam, reinterpret_cast<BYTE*>(&ulValue), &ulBytes, 0)), 0u);
        return ulValue;
    }

    static std::string HashValue(HCRYPTHASH hHash)
    {
        std::string sValue(16, 0);
        DWORD ulBytes = Count(sValue);
        EXPECT_EQ(Code(CryptGetHashParam(hHash, HP_HASHVAL, Bytes(sValue), &ulBytes, 0)), 0u);
        return Hex(sValue);
    }

    std::string msContainer;
    ContextHolder mContext;
};
