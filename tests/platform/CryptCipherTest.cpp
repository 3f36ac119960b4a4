// Session keys, and what they do to data.
#include "CryptKeys.h"

#include <thread>

namespace
{
class CryptCipher : public CryptTest {};

TEST_F(CryptCipher, APasswordMakesTheKey)
{
    EXPECT_EQ(Hex(Encrypt(Derive("secret"), "hello world")), "67af0e9668fa55c57a1776");
    EXPECT_EQ(Decrypt(Derive("secret"), "\x67\xaf\x0e\x96\x68\xfa\x55\xc5\x7a\x17\x76"), "hello world");
    EXPECT_NE(Decrypt(Derive("Secret"), "\x67\xaf\x0e\x96\x68\xfa\x55\xc5\x7a\x17\x76"), "hello world");
    EXPECT_EQ(KeyNumber(Derive("secret"), KP_KEYLEN), 40u);
    EXPECT_EQ(KeyNumber(Derive("secret"), KP_ALGID), DWORD(CALG_RC4));
}

TEST_F(CryptCipher, LongerKeysAreUsedWithoutZeros)
{
    EXPECT_EQ(Hex(Encrypt(Derive("secret", 40 << 16), "hello world")), "67af0e9668fa55c57a1776");
    EXPECT_EQ(Hex(Encrypt(Derive("secret", 48 << 16), "hello world")), "f6afd7f1c1ee012915eae8");
    EXPECT_EQ(Hex(Encrypt(Derive("secret", 56 << 16), "hello world")), "fae31517a9759fbe50c84d");
}

TEST_F(CryptCipher, OtherSizesAndKindsAreRefused)
{
    const HashHolder hash = Hash("secret");
    KeyHolder key;
    for (DWORD ulBits : {1u, 32u, 41u, 64u, 128u, 0xFFFFu})
    {
        EXPECT_EQ(Code(CryptDeriveKey(mContext, CALG_RC4, hash, ulBits << 16, &key)), DWORD(NTE_BAD_DATA)) << ulBits;
        EXPECT_EQ(Code(CryptGenKey(mContext, CALG_RC4, ulBits << 16, &key)), DWORD(NTE_BAD_DATA)) << ulBits;
    }
    for (ALG_ID ulAlgorithm : {0x6899u, static_cast<unsigned>(CALG_MD5), 3u})
    {
        EXPECT_EQ(Code(CryptDeriveKey(mContext, ulAlgorithm, hash, 0, &key)), DWORD(NTE_BAD_ALGID)) << ulAlgorithm;
        EXPECT_EQ(Code(CryptGenKey(mContext, ulAlgorithm, 0, &key)), DWORD(NTE_BAD_ALGID)) << ulAlgorithm;
    }
    EXPECT_EQ(Code(CryptDeriveKey(mContext, AT_KEYEXCHANGE, hash, 0, &key)), DWORD(NTE_BAD_ALGID));
}

TEST_F(CryptCipher, AHashMakesTheSameKeyTwiceAndIsFinished)
{
    const HashHolder hash = Hash("secret");
    for (int i = 0; i < 2; ++i)
    {
        KeyHolder key;
        ASSERT_EQ(Code(CryptDeriveKey(mContext, CALG_RC4, hash, 0, &key)), 0u);
        EXPECT_EQ(Hex(Encrypt(key, "hello world")), "67af0e9668fa55c57a1776");
    }
    EXPECT_EQ(Code(CryptHashData(hash, Bytes("x"), 1, 0)), DWORD(NTE_BAD_HASH_STATE));
}

TEST_F(CryptCipher, TheStreamGoesOnFromCallToCall)
{
    const KeyHolder key = Derive("secret");
    EXPECT_EQ(Hex(Encrypt(key, "hello", FALSE)), "67af0e9668");
    EXPECT_EQ(Hex(Encrypt(key, " world", FALSE)), "fa55c57a1776");
    EXPECT_NE(Hex(Encrypt(key, "hello", FALSE)), "67af0e9668");
}

TEST_F(CryptCipher, TheStreamBeginsAnewAfterTheFinalCall)
{
    const KeyHolder key = Derive("secret");
    EXPECT_EQ(Hex(Encrypt(key, "hello", FALSE)), "67af0e9668");
    EXPECT_EQ(Hex(Encrypt(key, " world", TRUE)), "fa55c57a1776");
    EXPECT_EQ(Hex(Encrypt(key, "hello", FALSE)), "67af0e9668");
    EXPECT_EQ(Encrypt(key, "", TRUE), "");
    EXPECT_EQ(Hex(Encrypt(key, "hello world", TRUE)), "67af0e9668fa55c57a1776");
}

TEST_F(CryptCipher, EncryptionAndDecryptionShareTheStream)
{
    const KeyHolder key = Derive("secret");
    EXPECT_EQ(Hex(Encrypt(key, "hello", FALSE)), "67af0e9668");
    EXPECT_EQ(Decrypt(key, "\xfa\x55\xc5\x7a\x17\x76", TRUE), " world");
}

TEST_F(CryptCipher, ManyBlocksAreOneStream)
{
    std::string sPlain(1'000'003, 0);
    unsigned int uNoise = 1;
    for (char& cByte : sPlain) cByte = static_cast<char>((uNoise = uNoise * 1664525 + 1013904223) >> 24);
    const std::string sWhole = Encrypt(Derive("secret"), sPlain);

    std::string sBlocks;
    const KeyHolder key = Derive("secret");
    for (std::size_t ulPlace = 0; ulPlace < sPlain.size(); ulPlace += 1000)
        sBlocks += Encrypt(key, sPlain.substr(ulPlace, 1000), ulPlace + 1000 >= sPlain.size());
    EXPECT_TRUE(sBlocks == sWhole);
    EXPECT_TRUE(Decrypt(key, sBlocks) == sPlain);
}

TEST_F(CryptCipher, RoomForTheDataIsEnough)
{
    const KeyHolder key = Derive("secret");
    std::string sData = "hello world";
    DWORD ulBytes = 11;
    EXPECT_EQ(Code(CryptEncrypt(key, 0, TRUE, 0, Bytes(sData), &ulBytes, 11)), 0u);
    EXPECT_EQ(Hex(sData), "67af0e9668fa55c57a1776");
}

TEST_F(CryptCipher, TooLittleRoomChangesNothing)
{
    // Wine does not look at the room.
    if (RunsUnderWine()) GTEST_SKIP() << "Wine encrypts beyond the room that it was given";
    const KeyHolder key = Derive("secret");
    std::string sData = "hello world";
    DWORD ulBytes = 11;
    EXPECT_EQ(Code(CryptEncrypt(key, 0, TRUE, 0, Bytes(sData), &ulBytes, 10)), DWORD(ERROR_MORE_DATA));
    EXPECT_EQ(ulBytes, 11u);
    EXPECT_EQ(sData, "hello world");
    EXPECT_EQ(Hex(Encrypt(key, sData)), "67af0e9668fa55c57a1776");
}

TEST_F(CryptCipher, SaysHowMuchThereWillBe)
{
    const KeyHolder key = Derive("secret");
    DWORD ulBytes = 11;
    EXPECT_EQ(Code(CryptEncrypt(key, 0, FALSE, 0, nullptr, &ulBytes, 0)), 0u);
    EXPECT_EQ(ulBytes, WineSays(0u, 11u)); // Wine says that there will be nothing
    EXPECT_EQ(Code(CryptDecrypt(key, 0, FALSE, 0, nullptr, &ulBytes)), DWORD(ERROR_INVALID_PARAMETER));
}

TEST_F(CryptCipher, FlagsAreRefused)
{
    const KeyHolder key = Derive("secret");
    BYTE aubData[10] = {};
    DWORD ulBytes = 10;
    EXPECT_EQ(Code(CryptEncrypt(key, 0, TRUE, 4, aubData, &ulBytes, 10)), DWORD(NTE_BAD_FLAGS));
    EXPECT_EQ(Code(CryptDecrypt(key, 0, TRUE, 5, aubData, &ulBytes)), DWORD(NTE_BAD_FLAGS));
}

TEST_F(CryptCipher, HashesThePlainTextOnTheWay)
{
    const KeyHolder key = Derive("secret");
    const HashHolder sent = Hash(""), received = Hash("");
    std::string sData = "hello world";
    DWORD ulBytes = 11;
    ASSERT_EQ(Code(CryptEncrypt(key, sent, TRUE, 0, Bytes(sData), &ulBytes, 11)), 0u);
    ASSERT_EQ(Code(CryptDecrypt(key, received, TRUE, 0, Bytes(sData), &ulBytes)), 0u);
    EXPECT_EQ(sData, "hello world");
    EXPECT_EQ(HashValue(sent), "5eb63bbbe01eeed093cb22bb8f5acdc3");
    EXPECT_EQ(HashValue(received), "5eb63bbbe01eeed093cb22bb8f5acdc3");
    EXPECT_EQ(Code(CryptEncrypt(key, sent, TRUE, 0, Bytes(sData), &ulBytes, 11)), DWORD(NTE_BAD_HASH_STATE));
}

TEST_F(CryptCipher, NewKeysDiffer)
{
    KeyHolder one, other;
    ASSERT_EQ(Code(CryptGenKey(mContext, CALG_RC4, CRYPT_EXPORTABLE, &one)), 0u);
    ASSERT_EQ(Code(CryptGenKey(mContext, CALG_RC4, 0, &other)), 0u);
    EXPECT_EQ(KeyNumber(one, KP_KEYLEN), 40u);
    const std::string sPlain(100, 'x');
    EXPECT_NE(Encrypt(one, sPlain), Encrypt(other, sPlain));
    EXPECT_EQ(Decrypt(one, Encrypt(one, sPlain)), sPlain);
}

TEST_F(CryptCipher, AnRsaKeyIsNoCipher)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine encrypts with RSA keys too, which files never are";
    const KeyHolder key = Import(CryptData("exchange-1024.private"));
    BYTE aubData[200] = {};
    DWORD ulBytes = 10;
    EXPECT_EQ(Code(CryptEncrypt(key, 0, TRUE, 0, aubData, &ulBytes, 200)), DWORD(NTE_BAD_KEY));
    EXPECT_EQ(Code(CryptEncrypt(key, 0, TRUE, 0, nullptr, &ulBytes, 200)), DWORD(NTE_BAD_KEY));
    EXPECT_EQ(Code(CryptDecrypt(key, 0, TRUE, 0, aubData, &ulBytes)), DWORD(NTE_BAD_KEY));
}

TEST_F(CryptCipher, ADestroyedKeyIsNone)
{
    const HCRYPTKEY hKey = Derive("secret").Drop();
    BYTE aubData[10] = {};
    DWORD ulBytes = 10;
    EXPECT_TRUE(CryptDestroyKey(hKey));
    EXPECT_EQ(Code(CryptDestroyKey(hKey)), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(Code(CryptEncrypt(hKey, 0, TRUE, 0, aubData, &ulBytes, 10)), DWORD(ERROR_INVALID_PARAMETER));
}

TEST_F(CryptCipher, TellsWhatAKeyMayDo)
{
    EXPECT_EQ(KeyNumber(Derive("secret"), KP_PERMISSIONS), 0x3Bu);
    EXPECT_EQ(KeyNumber(Derive("secret", CRYPT_EXPORTABLE), KP_PERMISSIONS), 0x3Fu);
    const KeyHolder key = Derive("secret");
    DWORD ulValue = 0, ulBytes = 2;
    EXPECT_EQ(Code(CryptGetKeyParam(key, KP_KEYLEN, reinterpret_cast<BYTE*>(&ulValue), &ulBytes, 0)), DWORD(ERROR_MORE_DATA));
    EXPECT_EQ(ulBytes, 4u);
    EXPECT_EQ(Code(CryptGetKeyParam(key, 99, nullptr, &ulBytes, 0)), DWORD(NTE_BAD_TYPE));
}
} // namespace
