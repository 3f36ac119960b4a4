// That keys and passwords do not stay behind in memory; for Linux alone, where the wiping is ours.
#include "CryptKeys.h"
#include "SecretSearch.h"

#include <cstring>
#include <memory>

namespace
{
// A file's bytes where no copy of them is left behind.
class Contents
{
public:
    explicit Contents(const char* pName)
    {
        const int fd = open((std::string(LUM_TEST_DATA "/crypt/") + pName).c_str(), O_RDONLY | O_CLOEXEC);
        mulBytes = static_cast<DWORD>(std::max<ssize_t>(read(fd, maubBytes, sizeof maubBytes), 0));
        close(fd);
    }
    ~Contents() { explicit_bzero(maubBytes, sizeof maubBytes); }
    const BYTE* Data() const { return maubBytes; }
    DWORD Count() const { return mulBytes; }

private:
    BYTE maubBytes[3000];
    DWORD mulBytes;
};

class CryptWipe : public CryptTest {};

TEST_F(CryptWipe, APrivateKeyIsGoneWithItsHandle)
{
    if (kbFreedMemoryIsKept) GTEST_SKIP() << "the address sanitizer keeps freed memory for a while";
    constexpr std::size_t kulInPrime = 20 + 256 + 40, kulInExponent = 1172 - 200; // of a pair of 2,048 bits
    auto pBlob = std::make_unique<Contents>("signature-2048.private");
    const auto* pText = reinterpret_cast<const char*>(pBlob->Data());
    const Secret prime(pText + kulInPrime), exponent(pText + kulInExponent);
    {
        KeyHolder key;
        ASSERT_EQ(Code(CryptImportKey(mContext, pBlob->Data(), pBlob->Count(), 0, CRYPT_EXPORTABLE, &key)), 0u);
        BYTE aubRoom[3000];
        DWORD ulBytes = sizeof aubRoom;
        ASSERT_EQ(Code(CryptExportKey(key, 0, PRIVATEKEYBLOB, 0, aubRoom, &ulBytes)), 0u);
        explicit_bzero(aubRoom, sizeof aubRoom);
        ulBytes = sizeof aubRoom;
        ASSERT_EQ(Code(CryptSignHashA(Hash("x"), AT_SIGNATURE, nullptr, 0, aubRoom, &ulBytes)), 0u);
        pBlob.reset();
        EXPECT_GT(CountInMemory(prime), 0u);
        EXPECT_GT(CountInMemory(exponent), 0u);
    }
    EXPECT_EQ(CountInMemory(prime), 0u);
    EXPECT_EQ(CountInMemory(exponent), 0u);
}

TEST_F(CryptWipe, APairThatWasRefusedIsGoneAtOnce)
{
    if (kbFreedMemoryIsKept) GTEST_SKIP() << "the address sanitizer keeps freed memory for a while";
    constexpr std::size_t kulInPrime = 20 + 256 + 40;
    auto pBlob = std::make_unique<Contents>("signature-2048.private");
    const Secret prime(reinterpret_cast<const char*>(pBlob->Data()) + kulInPrime);
    KeyHolder key;
    EXPECT_EQ(Code(CryptImportKey(mContext, pBlob->Data(), pBlob->Count() - 1, 0, 0, &key)), DWORD(NTE_BAD_DATA));
    const_cast<BYTE*>(pBlob->Data())[1171] ^= 1;
    EXPECT_EQ(Code(CryptImportKey(mContext, pBlob->Data(), pBlob->Count(), 0, 0, &key)), DWORD(NTE_BAD_DATA));
    EXPECT_GT(CountInMemory(prime), 0u); // the blob itself
    pBlob.reset();
    EXPECT_EQ(CountInMemory(prime), 0u);
}

TEST_F(CryptWipe, APasswordIsGoneWithTheHash)
{
    if (kbFreedMemoryIsKept) GTEST_SKIP() << "the address sanitizer keeps freed memory for a while";
    char acPassword[] = "correct horse battery st";
    const Secret password(acPassword);
    HashHolder hash;
    ASSERT_EQ(Code(CryptCreateHash(mContext, CALG_MD5, 0, 0, &hash)), 0u);
    ASSERT_EQ(Code(CryptHashData(hash, reinterpret_cast<const BYTE*>(acPassword), sizeof acPassword - 1, 0)), 0u);
    explicit_bzero(acPassword, sizeof acPassword);
    EXPECT_GT(CountInMemory(password), 0u);
    KeyHolder key;
    ASSERT_EQ(Code(CryptDeriveKey(mContext, CALG_RC4, hash, 0, &key)), 0u);
    hash = HashHolder();
    EXPECT_EQ(CountInMemory(password), 0u);
}
} // namespace
