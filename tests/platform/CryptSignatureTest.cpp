// Pairs, and what is signed with them.
#include "CryptKeys.h"

namespace
{
class CryptSignature : public CryptTest
{
protected:
    std::string Sign(const std::string& sData, const char* pDescription = nullptr, DWORD ulKeySpec = AT_SIGNATURE)
    {
        const HashHolder hash = Hash(sData);
        DWORD ulBytes = 0;
        EXPECT_EQ(Code(CryptSignHashA(hash, ulKeySpec, nullptr, 0, nullptr, &ulBytes)), 0u);
        std::string sSignature(ulBytes, 0);
        EXPECT_EQ(Code(CryptSignHashA(hash, ulKeySpec, pDescription, 0, Bytes(sSignature), &ulBytes)), 0u);
        EXPECT_EQ(ulBytes, sSignature.size());
        return sSignature;
    }

    DWORD Verify(const std::string& sData, const std::string& sSignature, HCRYPTKEY hKey, const char* pDescription = nullptr,
                 DWORD ulFlags = 0)
    {
        return Code(CryptVerifySignatureA(Hash(sData), Bytes(sSignature), Count(sSignature), hKey, pDescription, ulFlags));
    }

    DWORD Generate(DWORD ulKeySpec, DWORD ulBits, DWORD ulFlags = 0)
    {
        KeyHolder key;
        const DWORD ulCode = Code(CryptGenKey(mContext, ulKeySpec, ulBits << 16 | ulFlags, &key));
        if (ulCode) return ulCode;
        EXPECT_EQ(KeyNumber(key, KP_KEYLEN), ulBits ? ulBits : 2048);
        return 0;
    }
};

TEST_F(CryptSignature, IsByteForByteThatOfAnotherImplementation)
{
    Import(CryptData("signature-2048.private"));
    EXPECT_EQ(Hex(Sign("hello world")), Hex(CryptData("hello-world.signature")));
    EXPECT_EQ(Hex(Sign("hello world", "Report 7")), Hex(CryptData("hello-world-described.signature")));
    EXPECT_EQ(Hex(Sign("hello world", "")), Hex(CryptData("hello-world.signature")));
}

TEST_F(CryptSignature, TheDescriptionIsHashedAsUnits)
{
    const KeyHolder key = Import(CryptData("signature-2048.private"));
    EXPECT_EQ(Sign("hello world", "ab"), Sign(std::string("hello worlda\0b\0", 15)));
}

TEST_F(CryptSignature, VerifiesWhatWasSigned)
{
    const KeyHolder key = Import(CryptData("signature-2048.private"));
    const std::string sSignature = CryptData("hello-world.signature"), sDescribed = CryptData("hello-world-described.signature");
    EXPECT_EQ(Verify("hello world", sSignature, key), 0u);
    EXPECT_EQ(Verify("hello world", sDescribed, key, "Report 7"), 0u);
    EXPECT_EQ(Verify("hello world!", sSignature, key), DWORD(NTE_BAD_SIGNATURE));
    EXPECT_EQ(Verify("hello world", sSignature, key, "Report 7"), DWORD(NTE_BAD_SIGNATURE));
    EXPECT_EQ(Verify("hello world", sDescribed, key), DWORD(NTE_BAD_SIGNATURE));
    EXPECT_EQ(Verify("hello world", sDescribed, key, "Report 8"), DWORD(NTE_BAD_SIGNATURE));
}

TEST_F(CryptSignature, ThePublicPartIsEnoughToVerify)
{
    const std::string sPublic = Export(Import(CryptData("signature-2048.private")), PUBLICKEYBLOB);
    ContextHolder other;
    ASSERT_EQ(Code(CryptAcquireContextA(&other, nullptr, kpProvider, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT)), 0u);
    KeyHolder key;
    ASSERT_EQ(Code(CryptImportKey(other, Bytes(sPublic), Count(sPublic), 0, 0, &key)), 0u);
    EXPECT_EQ(Verify("hello world", CryptData("hello-world.signature"), key), 0u);
}

TEST_F(CryptSignature, ChangedSignaturesAreNone)
{
    const KeyHolder key = Import(CryptData("signature-2048.private"));
    const std::string sSignature = CryptData("hello-world.signature");
    for (std::size_t ulPlace = 0; ulPlace < sSignature.size(); ulPlace += 5)
    {
        std::string sChanged = sSignature;
        sChanged[ulPlace] ^= 1;
        EXPECT_EQ(Verify("hello world", sChanged, key), DWORD(NTE_BAD_SIGNATURE)) << ulPlace;
    }
    EXPECT_EQ(Verify("hello world", std::string(256, '\0'), key), DWORD(NTE_BAD_SIGNATURE));
    // Wine fails on what is no remainder of the modulus.
    EXPECT_EQ(Verify("hello world", std::string(256, '\xFF'), key), WineSays(DWORD(NTE_FAIL), DWORD(NTE_BAD_SIGNATURE)));
}

TEST_F(CryptSignature, OfAnotherLengthIsNone)
{
    const KeyHolder key = Import(CryptData("signature-2048.private"));
    const std::string sSignature = CryptData("hello-world.signature");
    for (const std::string& sOther : {std::string(), sSignature.substr(0, 255), sSignature.substr(1), sSignature + '\0'})
        EXPECT_EQ(Verify("hello world", sOther, key), DWORD(NTE_BAD_SIGNATURE)) << sOther.size();
    EXPECT_EQ(Verify("hello world", sSignature, Import(CryptData("exchange-1024.private"))), DWORD(NTE_BAD_SIGNATURE));
    const HashHolder hash = Hash("hello world");
    EXPECT_EQ(Code(CryptVerifySignatureA(hash, nullptr, 256, key, nullptr, 0)), DWORD(ERROR_INVALID_PARAMETER));
}

TEST_F(CryptSignature, ASessionKeyVerifiesNothing)
{
    // Wine compares lengths first.
    EXPECT_EQ(Verify("hello world", CryptData("hello-world.signature"), Derive("secret")),
              WineSays(DWORD(NTE_BAD_SIGNATURE), DWORD(NTE_BAD_KEY)));
}

TEST_F(CryptSignature, FlagsAreRefused)
{
    const KeyHolder key = Import(CryptData("signature-2048.private"));
    DWORD ulBytes = 0;
    EXPECT_EQ(Verify("hello world", CryptData("hello-world.signature"), key, nullptr, 0x80), DWORD(NTE_BAD_FLAGS));
    EXPECT_EQ(Code(CryptSignHashA(Hash("x"), AT_SIGNATURE, nullptr, 0x55, nullptr, &ulBytes)), DWORD(NTE_BAD_FLAGS));
}

TEST_F(CryptSignature, AskingForTheSizeLeavesTheHashAsItIs)
{
    Import(CryptData("signature-2048.private"));
    const HashHolder hash = Hash("hello");
    BYTE aubRoom[255];
    DWORD ulBytes = 0;
    EXPECT_EQ(Code(CryptSignHashA(hash, AT_SIGNATURE, nullptr, 0, nullptr, &ulBytes)), 0u);
    EXPECT_EQ(ulBytes, 256u);
    ulBytes = sizeof aubRoom;
    EXPECT_EQ(Code(CryptSignHashA(hash, AT_SIGNATURE, nullptr, 0, aubRoom, &ulBytes)), DWORD(ERROR_MORE_DATA));
    EXPECT_EQ(ulBytes, 256u);

    EXPECT_EQ(Code(CryptHashData(hash, Bytes(" world"), 6, 0)), 0u);
    std::string sSignature(256, 0);
    EXPECT_EQ(Code(CryptSignHashA(hash, AT_SIGNATURE, nullptr, 0, Bytes(sSignature), &ulBytes)), 0u);
    EXPECT_EQ(Hex(sSignature), Hex(CryptData("hello-world.signature")));
}

TEST_F(CryptSignature, SigningFinishesTheHash)
{
    const KeyHolder key = Import(CryptData("signature-2048.private"));
    const HashHolder hash = Hash("hello world");
    std::string sFirst(256, 0), sSecond(256, 0);
    DWORD ulBytes = 256;
    EXPECT_EQ(Code(CryptSignHashA(hash, AT_SIGNATURE, "Report 7", 0, Bytes(sFirst), &ulBytes)), 0u);
    EXPECT_EQ(Code(CryptHashData(hash, Bytes("!"), 1, 0)), DWORD(NTE_BAD_HASH_STATE));
    EXPECT_EQ(Code(CryptSignHashA(hash, AT_SIGNATURE, "Report 7", 0, Bytes(sSecond), &ulBytes)), DWORD(NTE_BAD_HASH_STATE));
    EXPECT_EQ(Code(CryptSignHashA(hash, AT_SIGNATURE, nullptr, 0, Bytes(sSecond), &ulBytes)), 0u);
    EXPECT_EQ(Hex(sSecond), Hex(sFirst));
    EXPECT_EQ(Code(CryptVerifySignatureA(hash, Bytes(sFirst), 256, key, nullptr, 0)), 0u);
    EXPECT_EQ(Code(CryptVerifySignatureA(hash, Bytes(sFirst), 256, key, "Report 7", 0)), DWORD(NTE_BAD_HASH_STATE));
}

TEST_F(CryptSignature, NeedsAPair)
{
    DWORD ulBytes = 0;
    const HashHolder hash = Hash("x");
    for (DWORD ulKeySpec : {AT_KEYEXCHANGE, AT_SIGNATURE, 3})
        EXPECT_EQ(Code(CryptSignHashA(hash, ulKeySpec, nullptr, 0, nullptr, &ulBytes)), DWORD(NTE_NO_KEY)) << ulKeySpec;
    Import(CryptData("exchange-1024.private"));
    EXPECT_EQ(Code(CryptSignHashA(hash, AT_SIGNATURE, nullptr, 0, nullptr, &ulBytes)), DWORD(NTE_NO_KEY));
    EXPECT_EQ(Code(CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, nullptr, &ulBytes)), 0u);
    EXPECT_EQ(ulBytes, 128u);
}

TEST_F(CryptSignature, NewPairsStayInTheContainerApart)
{
    ASSERT_EQ(Generate(AT_SIGNATURE, 512), 0u);
    ASSERT_EQ(Generate(AT_KEYEXCHANGE, 1024), 0u);
    mContext = ContextHolder();
    ASSERT_EQ(Code(Acquire(mContext)), 0u);
    KeyHolder signature, exchange;
    ASSERT_EQ(Code(CryptGetUserKey(mContext, AT_SIGNATURE, &signature)), 0u);
    ASSERT_EQ(Code(CryptGetUserKey(mContext, AT_KEYEXCHANGE, &exchange)), 0u);
    EXPECT_EQ(KeyNumber(signature, KP_KEYLEN), 512u);
    EXPECT_EQ(KeyNumber(exchange, KP_KEYLEN), 1024u);
    EXPECT_EQ(KeyNumber(signature, KP_ALGID), DWORD(CALG_RSA_SIGN));
    EXPECT_EQ(KeyNumber(exchange, KP_ALGID), DWORD(CALG_RSA_KEYX));
    EXPECT_EQ(Verify("data", Sign("data"), signature), 0u);
    EXPECT_EQ(Verify("data", Sign("data", nullptr, AT_KEYEXCHANGE), exchange), 0u);
}

TEST_F(CryptSignature, ANewPairTakesThePlaceOfTheOneBefore)
{
    ASSERT_EQ(Generate(AT_SIGNATURE, 512), 0u);
    const std::string sOld = Sign("data");
    ASSERT_EQ(Generate(AT_SIGNATURE, 512), 0u);
    KeyHolder key;
    ASSERT_EQ(Code(CryptGetUserKey(mContext, AT_SIGNATURE, &key)), 0u);
    EXPECT_EQ(Verify("data", sOld, key), DWORD(NTE_BAD_SIGNATURE));
    EXPECT_EQ(Verify("data", Sign("data"), key), 0u);
}

TEST_F(CryptSignature, PairsHaveTheSizeAskedFor)
{
    for (DWORD ulBits : {512u, 520u, 1000u, 1024u}) EXPECT_EQ(Generate(AT_SIGNATURE, ulBits), 0u) << ulBits;
    for (DWORD ulBits : {1u, 376u, 513u, 1023u, 16392u}) EXPECT_EQ(Generate(AT_SIGNATURE, ulBits), DWORD(NTE_BAD_DATA)) << ulBits;
}

TEST_F(CryptSignature, AnOddSizeTravelsToo)
{
    ASSERT_EQ(Generate(AT_SIGNATURE, 520, CRYPT_EXPORTABLE), 0u);
    KeyHolder key;
    ASSERT_EQ(Code(CryptGetUserKey(mContext, AT_SIGNATURE, &key)), 0u);
    const std::string sBlob = Export(key, PRIVATEKEYBLOB), sSignature = Sign("data");
    EXPECT_EQ(Export(Import(sBlob), PRIVATEKEYBLOB), sBlob);
    EXPECT_EQ(Sign("data"), sSignature);
}

TEST_F(CryptSignature, APairIsExportableOnlyWhenMadeSo)
{
    KeyHolder hidden, open;
    ASSERT_EQ(Code(CryptGenKey(mContext, AT_SIGNATURE, 512 << 16, &hidden)), 0u);
    EXPECT_EQ(ExportCode(hidden, PRIVATEKEYBLOB), DWORD(NTE_BAD_KEY_STATE));
    ASSERT_EQ(Code(CryptGenKey(mContext, AT_SIGNATURE, 512 << 16 | CRYPT_EXPORTABLE, &open)), 0u);
    EXPECT_EQ(ExportCode(open, PRIVATEKEYBLOB), 0u);
}

TEST_F(CryptSignature, APairWithoutASizeHas2048Bits)
{
    if (RunsUnderWine()) GTEST_SKIP() << "the usual size of a pair is the system's own: Wine's has 512 bits";
    ASSERT_EQ(Generate(AT_SIGNATURE, 0), 0u);
    KeyHolder key;
    ASSERT_EQ(Code(CryptGetUserKey(mContext, AT_SIGNATURE, &key)), 0u);
    EXPECT_EQ(KeyNumber(key, KP_KEYLEN), 2048u);
}

TEST_F(CryptSignature, AlgorithmsNameThePairsToo)
{
    KeyHolder key;
    ASSERT_EQ(Code(CryptGenKey(mContext, CALG_RSA_SIGN, 512 << 16, &key)), 0u);
    ASSERT_EQ(Code(CryptGetUserKey(mContext, AT_SIGNATURE, &key)), 0u);
}
} // namespace
