// Keys that travel: blobs, and what is wrong with some.
#include "CryptKeys.h"

#include <algorithm>

namespace
{
class CryptBlob : public CryptTest
{
protected:
    // The pair that Wine must be told of to open a session key; we find the container's own.
    HCRYPTKEY Opener(HCRYPTKEY hPair) const { return RunsUnderWine() ? hPair : 0; }

    KeyHolder NewSession(DWORD ulFlags = CRYPT_EXPORTABLE)
    {
        KeyHolder key;
        EXPECT_EQ(Code(CryptGenKey(mContext, CALG_RC4, ulFlags, &key)), 0u);
        return key;
    }
};

TEST_F(CryptBlob, APrivateKeyComesOutAsItWentIn)
{
    for (const char* pName : {"exchange-512.private", "exchange-1024.private", "signature-2048.private"})
    {
        const std::string sBlob = CryptData(pName);
        const KeyHolder key = Import(sBlob);
        EXPECT_EQ(Hex(Export(key, PRIVATEKEYBLOB)), Hex(sBlob)) << pName;
    }
}

TEST_F(CryptBlob, APrivateKeyIsTheContainersFromThenOn)
{
    const std::string sExchange = CryptData("exchange-1024.private"), sSignature = CryptData("signature-2048.private");
    Import(sExchange);
    KeyHolder key;
    EXPECT_EQ(Code(CryptGetUserKey(mContext, AT_SIGNATURE, &key)), DWORD(NTE_NO_KEY));
    Import(sSignature);

    mContext = ContextHolder();
    ASSERT_EQ(Code(Acquire(mContext)), 0u);
    KeyHolder exchange, signature;
    ASSERT_EQ(Code(CryptGetUserKey(mContext, AT_KEYEXCHANGE, &exchange)), 0u);
    ASSERT_EQ(Code(CryptGetUserKey(mContext, AT_SIGNATURE, &signature)), 0u);
    EXPECT_EQ(Export(exchange, PRIVATEKEYBLOB), sExchange);
    EXPECT_EQ(Export(signature, PRIVATEKEYBLOB), sSignature);
    EXPECT_EQ(KeyNumber(exchange, KP_ALGID), DWORD(CALG_RSA_KEYX));
    EXPECT_EQ(KeyNumber(signature, KP_ALGID), DWORD(CALG_RSA_SIGN));
    EXPECT_EQ(KeyNumber(signature, KP_KEYLEN), 2048u);
}

TEST_F(CryptBlob, AnImportedPairIsExportableOnlyWhenToldSo)
{
    const std::string sBlob = CryptData("exchange-1024.private");
    {
        const KeyHolder key = Import(sBlob, 0);
        EXPECT_EQ(ExportCode(key, PRIVATEKEYBLOB), DWORD(NTE_BAD_KEY_STATE));
        EXPECT_EQ(KeyNumber(key, KP_PERMISSIONS), 0x3Bu);
    }
    mContext = ContextHolder();
    ASSERT_EQ(Code(Acquire(mContext)), 0u);
    KeyHolder key;
    ASSERT_EQ(Code(CryptGetUserKey(mContext, AT_KEYEXCHANGE, &key)), 0u);
    EXPECT_EQ(ExportCode(key, PRIVATEKEYBLOB), DWORD(NTE_BAD_KEY_STATE));
    EXPECT_EQ(ExportCode(key, PUBLICKEYBLOB), 0u);
}

TEST_F(CryptBlob, APublicKeyHasTheDocumentedLayout)
{
    const std::string sPublic = Export(Import(CryptData("exchange-1024.private")), PUBLICKEYBLOB);
    EXPECT_EQ(Hex(sPublic), Hex(CryptData("exchange-1024.public")));
    EXPECT_EQ(Hex(sPublic.substr(0, 20)), "0602000000a40000525341310004000001000100");
    EXPECT_EQ(sPublic.size(), 148u);
}

TEST_F(CryptBlob, APublicKeyHasNoPrivatePart)
{
    const KeyHolder key = Import(CryptData("exchange-1024.public"));
    EXPECT_EQ(Export(key, PUBLICKEYBLOB), CryptData("exchange-1024.public"));
    // Wine gives a blob of zeros for one.
    EXPECT_EQ(ExportCode(key, PRIVATEKEYBLOB), WineSays(kulDone, DWORD(NTE_BAD_KEY_STATE)));
    KeyHolder none;
    EXPECT_EQ(Code(CryptGetUserKey(mContext, AT_KEYEXCHANGE, &none)), DWORD(NTE_NO_KEY));
}

TEST_F(CryptBlob, OpensTheSessionKeyOfAnotherImplementation)
{
    const KeyHolder pair = Import(CryptData("exchange-1024.private"));
    const std::string sBlob = CryptData("session.simple");
    KeyHolder key;
    ASSERT_EQ(Code(CryptImportKey(mContext, Bytes(sBlob), Count(sBlob), Opener(pair), 0, &key)), 0u);
    EXPECT_EQ(KeyNumber(key, KP_KEYLEN), 40u);
    EXPECT_EQ(Decrypt(key, CryptData("session.encrypted")), "hello world");
    EXPECT_EQ(Hex(Encrypt(key, "hello world")), Hex(CryptData("session.encrypted")));
}

TEST_F(CryptBlob, TheContainersPairOpensASessionKey)
{
    const KeyHolder pair = Import(CryptData("exchange-1024.private"));
    // Wine does not look for it, and asks for the pair.
    EXPECT_EQ(ImportCode(CryptData("session.simple")), WineSays(DWORD(NTE_BAD_PUBLIC_KEY), kulDone));
    EXPECT_EQ(ImportCode(CryptData("session.simple"), pair), 0u);
}

TEST_F(CryptBlob, WithoutAPairThereIsNothingToOpenItWith)
{
    EXPECT_EQ(ImportCode(CryptData("session.simple")), WineSays(DWORD(NTE_BAD_PUBLIC_KEY), DWORD(NTE_NO_KEY)));
}

TEST_F(CryptBlob, ASessionKeyTravelsToTheOwnerOfAPair)
{
    const KeyHolder publicKey = Import(CryptData("exchange-1024.public"));
    const KeyHolder session = NewSession();
    const std::string sBlob = Export(session, SIMPLEBLOB, publicKey);
    EXPECT_EQ(sBlob.size(), 140u);
    EXPECT_EQ(Hex(sBlob.substr(0, 12)), "010200000168000000a40000");
    EXPECT_NE(Export(session, SIMPLEBLOB, publicKey), sBlob); // random padding

    const KeyHolder pair = Import(CryptData("exchange-1024.private"));
    KeyHolder opened, reopened;
    ASSERT_EQ(Code(CryptImportKey(mContext, Bytes(sBlob), Count(sBlob), Opener(pair), CRYPT_EXPORTABLE, &opened)), 0u);
    const std::string sSecond = Export(opened, SIMPLEBLOB, pair);
    ASSERT_EQ(Code(CryptImportKey(mContext, Bytes(sSecond), Count(sSecond), Opener(pair), 0, &reopened)), 0u);
    const std::string sPlain(300, 'p');
    EXPECT_EQ(Decrypt(reopened, Encrypt(opened, sPlain)), sPlain);
    // Wine puts random bytes, which do not travel, behind the forty bits of a key that it makes.
    EXPECT_EQ(Decrypt(opened, Encrypt(session, sPlain)) == sPlain, WineSays(false, true));
}

TEST_F(CryptBlob, ASessionKeyTravelsWithAnyPair)
{
    const KeyHolder session = Derive("secret", CRYPT_EXPORTABLE | 56 << 16);
    for (const char* pName : {"exchange-512.private", "exchange-1024.private"})
    {
        const KeyHolder pair = Import(CryptData(pName));
        const std::string sBlob = Export(session, SIMPLEBLOB, pair);
        KeyHolder opened;
        ASSERT_EQ(Code(CryptImportKey(mContext, Bytes(sBlob), Count(sBlob), Opener(pair), 0, &opened)), 0u);
        EXPECT_EQ(Hex(Encrypt(opened, "hello world")), "fae31517a9759fbe50c84d");
    }
}

TEST_F(CryptBlob, APairOf2048BitsCarriesSessionKeysToo)
{
    // Wine's limit for exchange pairs is 1,024 bits.
    EXPECT_EQ(ImportCode(CryptData("exchange-2048.private")), WineSays(DWORD(NTE_BAD_DATA), kulDone));
    if (RunsUnderWine()) return;
    KeyHolder pair;
    ASSERT_EQ(Code(CryptGetUserKey(mContext, AT_KEYEXCHANGE, &pair)), 0u);
    const std::string sBlob = Export(Derive("secret", CRYPT_EXPORTABLE), SIMPLEBLOB, pair);
    EXPECT_EQ(sBlob.size(), 268u);
    EXPECT_EQ(Hex(Encrypt(Import(sBlob), "hello world")), "67af0e9668fa55c57a1776");
}

TEST_F(CryptBlob, OnlyExportableSessionKeysAreGivenAway)
{
    const KeyHolder pair = Import(CryptData("exchange-1024.private"));
    const std::string sBlob = CryptData("session.simple");
    KeyHolder imported;
    ASSERT_EQ(Code(CryptImportKey(mContext, Bytes(sBlob), Count(sBlob), Opener(pair), 0, &imported)), 0u);
    // Wine gives every session key away.
    const DWORD ulRefused = WineSays(kulDone, DWORD(NTE_BAD_KEY_STATE));
    EXPECT_EQ(ExportCode(imported, SIMPLEBLOB, pair), ulRefused);
    EXPECT_EQ(ExportCode(NewSession(0), SIMPLEBLOB, pair), ulRefused);
    EXPECT_EQ(ExportCode(Derive("secret"), SIMPLEBLOB, pair), ulRefused);
}

TEST_F(CryptBlob, ABlobMustSuitTheKey)
{
    const KeyHolder pair = Import(CryptData("exchange-1024.private"));
    const KeyHolder session = NewSession();
    EXPECT_EQ(ExportCode(session, PUBLICKEYBLOB), DWORD(NTE_BAD_KEY));
    EXPECT_EQ(ExportCode(session, PRIVATEKEYBLOB), DWORD(NTE_BAD_KEY));
    EXPECT_EQ(ExportCode(session, SIMPLEBLOB), DWORD(NTE_BAD_PUBLIC_KEY));
    EXPECT_EQ(ExportCode(pair, SIMPLEBLOB), DWORD(NTE_BAD_PUBLIC_KEY));
    EXPECT_EQ(ExportCode(pair, 99), DWORD(NTE_BAD_TYPE));
    if (RunsUnderWine()) return; // which wraps with signature keys, takes any flags for public keys, and crashes on session keys
    EXPECT_EQ(ExportCode(pair, SIMPLEBLOB, pair), DWORD(NTE_BAD_KEY));
    EXPECT_EQ(ExportCode(pair, PRIVATEKEYBLOB, session), DWORD(NTE_BAD_KEY));
    EXPECT_EQ(ExportCode(session, SIMPLEBLOB, session), DWORD(NTE_BAD_PUBLIC_KEY));
    EXPECT_EQ(ExportCode(session, SIMPLEBLOB, Import(CryptData("signature-2048.private"))), DWORD(NTE_BAD_PUBLIC_KEY));
    EXPECT_EQ(ExportCode(session, SIMPLEBLOB, 0x12345), DWORD(NTE_BAD_PUBLIC_KEY));
    EXPECT_EQ(ExportCode(session, SIMPLEBLOB, pair, 0xFF), DWORD(NTE_BAD_FLAGS));
}

TEST_F(CryptBlob, SaysHowMuchRoomItTakes)
{
    const KeyHolder pair = Import(CryptData("exchange-1024.private"));
    const KeyHolder session = NewSession();
    struct { HCRYPTKEY hKey; DWORD ulType; HCRYPTKEY hExportKey; DWORD ulBytes; } const aCases[] = {
        {session, SIMPLEBLOB, pair, 140}, {pair, PUBLICKEYBLOB, 0, 148}, {pair, PRIVATEKEYBLOB, 0, 596}};
    for (const auto& each : aCases)
    {
        std::string sRoom(600, 'r');
        DWORD ulBytes = each.ulBytes - 1;
        EXPECT_EQ(Code(CryptExportKey(each.hKey, each.hExportKey, each.ulType, 0, Bytes(sRoom), &ulBytes)), DWORD(ERROR_MORE_DATA));
        EXPECT_EQ(ulBytes, each.ulBytes);
        EXPECT_EQ(sRoom, std::string(600, 'r'));
        ulBytes = 0;
        EXPECT_EQ(Code(CryptExportKey(each.hKey, each.hExportKey, each.ulType, 0, nullptr, &ulBytes)), 0u);
        EXPECT_EQ(ulBytes, each.ulBytes);
        EXPECT_EQ(Code(CryptExportKey(each.hKey, each.hExportKey, each.ulType, 0, Bytes(sRoom), nullptr)),
                  DWORD(ERROR_INVALID_PARAMETER));
    }
}

TEST_F(CryptBlob, NothingIsNotABlob)
{
    const std::string sBlob = CryptData("exchange-1024.public");
    KeyHolder key;
    EXPECT_EQ(Code(CryptImportKey(mContext, nullptr, 148, 0, 0, &key)), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(Code(CryptImportKey(mContext, Bytes(sBlob), 0, 0, 0, &key)), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(Code(CryptImportKey(mContext, Bytes(sBlob), 148, 0, 0, nullptr)), DWORD(ERROR_INVALID_PARAMETER));
    // Wine lets flags pass.
    EXPECT_EQ(Code(CryptImportKey(mContext, Bytes(sBlob), 148, 0, 0x8000, &key)), WineSays(kulDone, DWORD(NTE_BAD_FLAGS)));
}

TEST_F(CryptBlob, ACutBlobIsRefused)
{
    const KeyHolder pair = Import(CryptData("exchange-1024.private"));
    for (const char* pName : {"session.simple", "exchange-1024.public", "exchange-512.private"})
    {
        const std::string sBlob = CryptData(pName);
        // Wine does without the last number of a private key.
        const bool bPrivate = sBlob[0] == PRIVATEKEYBLOB;
        const std::size_t ulEnd = WineSays(bPrivate ? sBlob.size() - 64 : sBlob.size(), sBlob.size());
        for (std::size_t ulCut = 1; ulCut < ulEnd; ++ulCut)
            EXPECT_EQ(ImportCode(sBlob.substr(0, ulCut), pair), DWORD(NTE_BAD_DATA)) << pName << ' ' << ulCut;
    }
}

TEST_F(CryptBlob, ABlobThatIsTooLongIsRefused)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine does not look at what is behind a blob";
    const KeyHolder pair = Import(CryptData("exchange-1024.private"));
    for (const char* pName : {"session.simple", "exchange-1024.public", "exchange-1024.private"})
    {
        const std::string sBlob = CryptData(pName);
        KeyHolder key;
        EXPECT_EQ(ImportCode(sBlob + '\0'), DWORD(NTE_BAD_DATA)) << pName;
        EXPECT_EQ(Code(CryptImportKey(mContext, Bytes(sBlob), 0xFFFFFFFF, 0, 0, &key)), DWORD(NTE_BAD_DATA)) << pName;
    }
}

TEST_F(CryptBlob, WrongHeadersAreRefused)
{
    const KeyHolder pair = Import(CryptData("exchange-1024.private"));
    struct { const char* pName; std::size_t ulPlace; DWORD ulNumber; std::size_t ulBytes; HRESULT hrCode; } const aCases[] = {
        {"session.simple", 0, 0, 1, NTE_BAD_TYPE},
        {"session.simple", 0, 2, 1, NTE_BAD_TYPE},
        {"session.simple", 0, PUBLICKEYBLOB, 1, NTE_BAD_DATA},
        {"session.simple", 0, PRIVATEKEYBLOB, 1, NTE_BAD_DATA},
        {"session.simple", 0, 255, 1, NTE_BAD_TYPE},
        {"session.simple", 1, 1, 1, NTE_BAD_DATA},
        {"session.simple", 1, 3, 1, NTE_BAD_DATA},
        {"session.simple", 2, 1, 2, NTE_BAD_DATA},
        {"session.simple", 4, CALG_MD5, 4, NTE_BAD_DATA},
        {"session.simple", 4, 0x6899, 4, NTE_BAD_ALGID},
        {"session.simple", 4, 0, 4, NTE_BAD_ALGID},
        {"session.simple", 4, CALG_RSA_KEYX, 4, NTE_BAD_DATA},
        {"exchange-1024.public", 1, 4, 1, NTE_BAD_DATA},
        {"exchange-1024.public", 2, 1, 2, NTE_BAD_DATA},
        {"exchange-1024.public", 4, CALG_RC4, 4, NTE_BAD_DATA},
        {"exchange-1024.public", 4, 0, 4, NTE_BAD_ALGID},
        {"exchange-1024.public", 4, 0xAA02, 4, NTE_BAD_ALGID},
        {"exchange-1024.public", 8, 0x32415352, 4, NTE_BAD_DATA},
        {"exchange-1024.public", 8, 0, 4, NTE_BAD_DATA},
        {"exchange-1024.public", 12, 1, 4, NTE_BAD_DATA},
        {"exchange-1024.public", 12, 1023, 4, NTE_BAD_DATA},
        {"exchange-1024.public", 12, 1032, 4, NTE_BAD_DATA},
        {"exchange-1024.public", 12, 0x80000000, 4, NTE_BAD_DATA},
        {"exchange-1024.public", 12, 0xFFFFFFF8, 4, NTE_BAD_DATA},
        {"exchange-1024.public", 12, 0xFFFFFFFF, 4, NTE_BAD_DATA},
        {"exchange-1024.private", 4, CALG_RC4, 4, NTE_BAD_DATA},
        {"exchange-1024.private", 8, 0x31415352, 4, NTE_BAD_DATA},
        {"exchange-1024.private", 12, 8, 4, NTE_BAD_DATA},
        {"exchange-1024.private", 12, 0xFFFFFFFF, 4, NTE_BAD_DATA},
    };
    for (const auto& each : aCases)
    {
        const std::string sBlob = WithNumber(CryptData(each.pName), each.ulPlace, each.ulNumber, each.ulBytes);
        EXPECT_EQ(ImportCode(sBlob, pair), DWORD(each.hrCode)) << each.pName << ' ' << each.ulPlace << ' ' << each.ulNumber;
    }
}

TEST_F(CryptBlob, ASessionKeyForAnotherPairIsRefused)
{
    const KeyHolder other = Import(CryptData("exchange-512.private"));
    EXPECT_EQ(ImportCode(CryptData("session.simple"), WineSays(HCRYPTKEY(0), HCRYPTKEY(other))),
              WineSays(DWORD(NTE_BAD_PUBLIC_KEY), DWORD(NTE_BAD_DATA)));

    const std::string sBlob = CryptData("session.simple");
    const KeyHolder pair = Import(CryptData("exchange-1024.private")), publicPart = Import(CryptData("exchange-1024.public"));
    EXPECT_EQ(ImportCode(sBlob, publicPart), DWORD(NTE_BAD_DATA));
    for (std::size_t ulPlace = 12; ulPlace < sBlob.size(); ulPlace += 9)
    {
        std::string sChanged = sBlob;
        sChanged[ulPlace] ^= 0x10;
        EXPECT_EQ(ImportCode(sChanged, pair), DWORD(NTE_BAD_DATA)) << ulPlace;
    }
    EXPECT_EQ(ImportCode(WithNumber(sBlob, 136, 0xFFFFFFFF, 4), pair), DWORD(NTE_BAD_DATA)); // no remainder of the modulus
}

TEST_F(CryptBlob, NumbersThatMakeNoKeyAreRefused)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine does not look at the numbers";
    const std::string sPublic = CryptData("exchange-1024.public"), sPrivate = CryptData("exchange-1024.private");
    for (DWORD ulExponent : {0u, 1u, 2u, 4u, 0xFFFFFFFEu})
        EXPECT_EQ(ImportCode(WithNumber(sPublic, 16, ulExponent, 4)), DWORD(NTE_BAD_DATA)) << ulExponent;
    EXPECT_EQ(ImportCode(WithNumber(sPublic, 20, 0, 1)), DWORD(NTE_BAD_DATA));  // even
    EXPECT_EQ(ImportCode(WithNumber(sPublic, 147, 0, 1)), DWORD(NTE_BAD_DATA)); // shorter than it says
    EXPECT_EQ(ImportCode(WithNumber(CryptData("session.simple"), 8, CALG_RSA_SIGN, 4)), DWORD(NTE_BAD_ALGID));

    // Every number of a pair belongs to the others.
    KeyHolder before;
    for (std::size_t ulPlace = 16; ulPlace < sPrivate.size(); ++ulPlace)
    {
        std::string sChanged = sPrivate;
        sChanged[ulPlace] ^= 2;
        EXPECT_EQ(ImportCode(sChanged), DWORD(NTE_BAD_DATA)) << ulPlace;
    }
    EXPECT_EQ(ImportCode(sPrivate.substr(0, 148) + std::string(448, '\0')), DWORD(NTE_BAD_DATA));
    EXPECT_EQ(Code(CryptGetUserKey(mContext, AT_KEYEXCHANGE, &before)), DWORD(NTE_NO_KEY)); // nothing was stored
}

TEST_F(CryptBlob, APairTakesThePlaceOfTheOneBefore)
{
    Import(CryptData("exchange-512.private"));
    Import(CryptData("exchange-1024.private"));
    KeyHolder key;
    ASSERT_EQ(Code(CryptGetUserKey(mContext, AT_KEYEXCHANGE, &key)), 0u);
    EXPECT_EQ(KeyNumber(key, KP_KEYLEN), 1024u);
}
} // namespace
