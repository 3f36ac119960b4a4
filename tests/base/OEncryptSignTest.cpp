// Signatures of files.
#include "EncryptTest.h"

#include "PrivateMember.h"

PRIVATE_MEMBER(SigningContextOf, OEncrypt, mhProvider);

namespace
{
class OEncryptSign : public EncryptTest
{
protected:
    int Sign(const char* pDescription = nullptr) { return crypt.SignFile(msFile.c_str(), msSignature.c_str(), pDescription); }
    int Verify(const char* pDescription = nullptr) { return crypt.VerifyFile(msFile.c_str(), msSignature.c_str(), pDescription); }
    // That it does not match, which is told by the result alone.
    void ExpectMismatch(const char* pDescription = nullptr)
    {
        EXPECT_EQ(Verify(pDescription), 4);
        EXPECT_EQ(crypt.GetError(), DWORD(NTE_BAD_SIGNATURE));
        EXPECT_EQ(boxes.Shown(), Boxes());
    }

    // One of the same length: the exchange pair's numbers, said to be for signatures.
    void ImportOtherSignaturePair() { ImportPairBlob(WithNumber(CryptData("exchange-2048.private"), 4, CALG_RSA_SIGN, 4)); }
    void NewSignaturePair()
    {
        ChangeContainer([&] {
            ContextHolder context;
            KeyHolder pair;
            ASSERT_EQ(Code(Acquire(context)), 0u);
            ASSERT_EQ(Code(CryptGenKey(context, AT_SIGNATURE, 1024 << 16, &pair)), 0u);
        });
    }

    const std::string msFile = File("file", "hello world");
    const std::string msSignature = folder / "signature";
};

TEST_F(OEncryptSign, ASignatureIsItsBytesAlone)
{
    ImportSignaturePair();
    EXPECT_EQ(Sign(), 0);
    EXPECT_EQ(Hex(ReadText(msSignature)), Hex(CryptData("hello-world.signature")));
    EXPECT_EQ(Verify(), 0);
    EXPECT_EQ(Sign("Report 7"), 0);
    EXPECT_EQ(Hex(ReadText(msSignature)), Hex(CryptData("hello-world-described.signature")));
    EXPECT_EQ(Verify("Report 7"), 0);
    ExpectQuiet();
    EXPECT_EQ(ReadText(msFile), "hello world");
}

TEST_F(OEncryptSign, AnotherDescriptionDoesNotMatch)
{
    ImportSignaturePair();
    EXPECT_EQ(Sign("Report 7"), 0);
    ExpectMismatch();
    ExpectMismatch("Report 8");
    EXPECT_EQ(Verify("Report 7"), 0);
    ExpectQuiet();
}

TEST_F(OEncryptSign, AChangedFileDoesNotMatch)
{
    ImportSignaturePair();
    for (const std::size_t ulBytes : {0, 1, 999, 1000, 1001, 2000, 512'000, 600'007})
    {
        std::string sBytes(ulBytes, 'x');
        File("file", sBytes);
        EXPECT_EQ(Sign(), 0);
        EXPECT_EQ(Verify(), 0) << ulBytes;
        ExpectQuiet();
        File("file", sBytes + 'x');
        ExpectMismatch();
        if (sBytes.empty()) continue;
        sBytes[ulBytes / 2] ^= 1;
        File("file", sBytes);
        ExpectMismatch();
    }
}

TEST_F(OEncryptSign, AnotherPairDoesNotMatch)
{
    ImportSignaturePair();
    EXPECT_EQ(Sign(), 0);
    ImportOtherSignaturePair();
    ExpectMismatch();
    EXPECT_EQ(Sign(), 0);
    EXPECT_EQ(Verify(), 0);
    ExpectQuiet();
    ImportSignaturePair();
    ExpectMismatch();
}

TEST_F(OEncryptSign, APairOfAnotherLengthDoesNotMatch)
{
    ImportSignaturePair();
    EXPECT_EQ(Sign(), 0);
    NewSignaturePair();
    ExpectMismatch();
    EXPECT_EQ(Sign(), 0);
    EXPECT_EQ(Verify(), 0);
    ExpectQuiet();
}

TEST_F(OEncryptSign, ASignatureOfAnotherLengthDoesNotMatch)
{
    ImportSignaturePair();
    const std::string sSignature = CryptData("hello-world.signature");
    const std::string sShort = sSignature.substr(0, 255), sLong = sSignature + '\0';
    for (const std::string& sOther : {std::string(), sShort, sSignature.substr(1), sLong, sSignature + sSignature})
    {
        File("signature", sOther);
        ExpectMismatch();
    }
}

TEST_F(OEncryptSign, AChangedSignatureDoesNotMatch)
{
    ImportSignaturePair();
    std::string sSignature = CryptData("hello-world.signature");
    sSignature[17] ^= 1;
    File("signature", sSignature);
    ExpectMismatch();
}

TEST_F(OEncryptSign, WhatIsNoSignatureAtAllIsTold)
{
    ImportSignaturePair();
    File("signature", std::string(256, '\xFF')); // no remainder of the modulus
    if (!RunsUnderWine()) return ExpectMismatch();
    EXPECT_EQ(Verify(), 0); // Wine fails where others find that it does not match
    ExpectTold("CryptVerifySignature Error", DWORD(NTE_FAIL));
}

TEST_F(OEncryptSign, WithoutAPairNothingIsSignedOrVerified)
{
    File("signature", "old text");
    EXPECT_EQ(Sign(), 0);
    ExpectTold("CryptSignHash Error", DWORD(NTE_NO_KEY));
    EXPECT_EQ(ReadText(msSignature), "old text");
    EXPECT_EQ(Verify(), 0);
    ExpectTold("CryptSignHash Error", DWORD(NTE_NO_KEY));
}

TEST_F(OEncryptSign, WithoutAProviderThereIsNoHash)
{
    const HCRYPTPROV hProvider = std::exchange(crypt.*SigningContextOf(), 0);
    for (const auto& call : {&OEncrypt::SignFile, &OEncrypt::VerifyFile})
    {
        EXPECT_EQ((crypt.*call)(msFile.c_str(), msSignature.c_str(), nullptr), 0);
        EXPECT_EQ(boxes.Shown(), Boxes{std::string("CryptCreateHash Error") + kpInvalid});
        EXPECT_EQ(crypt.GetError(), DWORD(ERROR_INVALID_PARAMETER));
    }
    EXPECT_FALSE(Exists(msSignature));
    crypt.*SigningContextOf() = hProvider;
}

TEST_F(OEncryptSign, AMissingFileIsReported)
{
    ImportSignaturePair();
    const std::string sNone = folder / "none";
    EXPECT_EQ(crypt.SignFile(sNone.c_str(), msSignature.c_str(), nullptr), 5);
    ExpectTold("Error opening source file", ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(Exists(msSignature));
    EXPECT_EQ(crypt.VerifyFile(sNone.c_str(), msSignature.c_str(), nullptr), 5);
    ExpectTold("Error opening source file", ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Verify(), 5);
    ExpectTold("Error opening signature file", ERROR_FILE_NOT_FOUND);
}

TEST_F(OEncryptSign, ASignatureThatCannotBeMadeIsReported)
{
    ImportSignaturePair();
    EXPECT_EQ(crypt.SignFile(msFile.c_str(), (folder / "none/signature").c_str(), nullptr), 6);
    ExpectTold("Error opening signature file", ERROR_PATH_NOT_FOUND);
}

TEST_F(OEncryptSign, ASignatureIsNotWrittenOverTheFile)
{
    ImportSignaturePair();
    EXPECT_EQ(crypt.SignFile(msFile.c_str(), (folder / "./FILE").c_str(), nullptr), 6);
    EXPECT_EQ(boxes.Shown(), Boxes{std::string("Error opening signature file") + kpInvalid});
    EXPECT_EQ(crypt.GetError(), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(ReadText(msFile), "hello world");
}

TEST_F(OEncryptSign, ASignatureThatAnotherWritesIsLeftToIt)
{
    ImportSignaturePair();
    File("signature", "old text");
    {
        const FileHandle other(msSignature, kulReadWrite);
        EXPECT_EQ(Sign(), 6);
        ExpectTold("Error opening signature file", ERROR_SHARING_VIOLATION);
    }
    EXPECT_EQ(ReadText(msSignature), "old text");
}

TEST_F(OEncryptSign, ASignatureReplacesALongerOne)
{
    ImportSignaturePair();
    File("signature", std::string(5000, 'o'));
    EXPECT_EQ(Sign(), 0);
    EXPECT_EQ(ReadText(msSignature).size(), 256u);
}

TEST_F(OEncryptSign, AFileThatCannotBeReadIsReported)
{
    if (RunsUnderWine()) GTEST_SKIP() << kpNoLocks;
    ImportSignaturePair();
    EXPECT_EQ(Sign(), 0);
    const FileHandle other(msFile, kulReadWrite);
    ASSERT_TRUE(LockFile(other, 0, 0, 5, 0));
    EXPECT_EQ(Sign(), 2);
    ExpectTold("Error reading Plaintext", ERROR_LOCK_VIOLATION);
    EXPECT_EQ(Verify(), 2);
    ExpectTold("Error reading Plaintext", ERROR_LOCK_VIOLATION);
    EXPECT_TRUE(UnlockFile(other, 0, 0, 5, 0));
    EXPECT_EQ(Verify(), 0); // the signature of before
}

TEST_F(OEncryptSign, ASignatureThatCannotBeReadOrWrittenIsReported)
{
    if (RunsUnderWine()) GTEST_SKIP() << kpNoLocks;
    ImportSignaturePair();
    EXPECT_EQ(Sign(), 0);
    const FileHandle other(msSignature, kulRead);
    ASSERT_TRUE(LockFile(other, 0, 0, 5, 0));
    EXPECT_EQ(Verify(), 2);
    ExpectTold("Error reading signature", ERROR_LOCK_VIOLATION);
    EXPECT_EQ(Sign(), 2);
    ExpectTold("Error writing signature", ERROR_LOCK_VIOLATION);
    EXPECT_TRUE(UnlockFile(other, 0, 0, 5, 0));
}
} // namespace
