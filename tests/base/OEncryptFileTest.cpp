// Files, encrypted and decrypted.
#include "EncryptTest.h"

#include <filesystem>

namespace
{
class OEncryptFile : public EncryptTest
{
protected:
    std::string Encrypted(const std::string& sPlain, const char* pPassword)
    {
        const std::string sFrom = File("plain", sPlain), sTo = folder / "cipher";
        EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), pPassword), 0);
        ExpectQuiet();
        return ReadText(sTo);
    }
    std::string Decrypted(const std::string& sCipher, const char* pPassword)
    {
        const std::string sFrom = File("cipher", sCipher), sTo = folder / "back";
        EXPECT_EQ(crypt.DecryptFileA(sFrom.c_str(), sTo.c_str(), pPassword), 0);
        ExpectQuiet();
        return ReadText(sTo);
    }

    // Decrypts bytes into a file that does not exist, and into one that holds something. What is told; both must be as before.
    Boxes Refusal(const std::string& sCipher, const char* pPassword = nullptr)
    {
        const std::string sFrom = File("cipher", sCipher), sOld = File("old", "old text"), sNew = folder / "new";
        EXPECT_EQ(crypt.DecryptFileA(sFrom.c_str(), sNew.c_str(), pPassword), 0);
        const Boxes shown = boxes.Shown();
        const ULONG ulError = crypt.GetError();
        EXPECT_NE(ulError, 0u);
        EXPECT_EQ(crypt.DecryptFileA(sFrom.c_str(), sOld.c_str(), pPassword), 0);
        EXPECT_EQ(boxes.Shown(), shown);
        EXPECT_EQ(crypt.GetError(), ulError);
        EXPECT_FALSE(Exists(sNew));
        EXPECT_EQ(ReadText(sOld), "old text");
        return shown;
    }

    void ExpectRefusesItself(const std::string& sSource, const std::string& sDestination)
    {
        const std::string sBefore = ReadText(sSource);
        EXPECT_EQ(crypt.EncryptFileA(sSource.c_str(), sDestination.c_str(), "secret"), 0);
        EXPECT_EQ(crypt.DecryptFileA(sSource.c_str(), sDestination.c_str(), "secret"), 0);
        const std::string sBox = std::string("Error opening destination file") + kpInvalid;
        EXPECT_EQ(boxes.Shown(), (Boxes{sBox, sBox})) << sDestination;
        EXPECT_EQ(crypt.GetError(), DWORD(ERROR_INVALID_PARAMETER));
        EXPECT_EQ(ReadText(sSource), sBefore);
    }

    static std::string Noise(std::size_t ulBytes)
    {
        std::string sNoise(ulBytes, 0);
        unsigned int uNoise = static_cast<unsigned int>(ulBytes);
        for (char& cByte : sNoise) cByte = static_cast<char>((uNoise = uNoise * 1664525 + 1013904223) >> 24);
        return sNoise;
    }
    static constexpr std::size_t kaulSizes[] = {0, 1, 999, 1000, 1001, 2000, 2001, 511'999, 512'000, 512'001, 1'025'000};
};

TEST_F(OEncryptFile, WithAPasswordItIsTheCiphertextAlone)
{
    EXPECT_EQ(Hex(Encrypted("hello world", "secret")), "67af0e9668fa55c57a1776");
    EXPECT_EQ(Decrypted("\x67\xaf\x0e\x96\x68\xfa\x55\xc5\x7a\x17\x76", "secret"), "hello world");
}

TEST_F(OEncryptFile, WithAPasswordItHasTheLengthOfItsSource)
{
    for (const std::size_t ulBytes : kaulSizes)
    {
        const std::string sPlain = Noise(ulBytes);
        const std::string sCipher = Encrypted(sPlain, "secret");
        EXPECT_EQ(sCipher.size(), ulBytes);
        EXPECT_TRUE(ulBytes == 0 || sCipher != sPlain);
        EXPECT_TRUE(Decrypted(sCipher, "secret") == sPlain) << ulBytes;
    }
}

TEST_F(OEncryptFile, BlocksAreOneStream)
{
    const std::string sCipher = Encrypted(std::string(2500, '\0'), "secret");
    EXPECT_NE(sCipher.substr(0, 1000), sCipher.substr(1000, 1000));
    EXPECT_EQ(Encrypted(std::string(1200, '\0'), "secret"), sCipher.substr(0, 1200));
}

TEST_F(OEncryptFile, AnotherPasswordGivesGarbageAndNoError)
{
    const std::string sCipher = Encrypted("hello world", "secret");
    EXPECT_NE(Decrypted(sCipher, "Secret"), "hello world");
    EXPECT_EQ(Decrypted(sCipher, "Secret").size(), 11u);
}

TEST_F(OEncryptFile, AnEmptyPasswordIsOne)
{
    const std::string sCipher = Encrypted("hello world", "");
    EXPECT_EQ(sCipher.size(), 11u);
    EXPECT_EQ(Decrypted(sCipher, ""), "hello world");
}

TEST_F(OEncryptFile, WithoutAPasswordTheKeyIsInFront)
{
    ImportExchangePair();
    for (const std::size_t ulBytes : kaulSizes)
    {
        const std::string sPlain = Noise(ulBytes);
        const std::string sCipher = Encrypted(sPlain, nullptr);
        ASSERT_EQ(sCipher.size(), 4 + 140 + ulBytes);
        EXPECT_EQ(Hex(sCipher.substr(0, 16)), "8c000000010200000168000000a40000");
        EXPECT_TRUE(Decrypted(sCipher, nullptr) == sPlain) << ulBytes;
    }
}

TEST_F(OEncryptFile, WithoutAPasswordEachTimeHasAKeyOfItsOwn)
{
    ImportExchangePair();
    const std::string sPlain(100, 'p');
    EXPECT_NE(Encrypted(sPlain, nullptr).substr(144), Encrypted(sPlain, nullptr).substr(144));
}

TEST_F(OEncryptFile, ALongerPairMakesALongerHead)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine takes no exchange pairs above 1,024 bits";
    ImportPair("exchange-2048.private");
    const std::string sCipher = Encrypted("hello world", nullptr);
    EXPECT_EQ(sCipher.size(), 4u + 268 + 11);
    EXPECT_EQ(Decrypted(sCipher, nullptr), "hello world");
}

TEST_F(OEncryptFile, ADestinationThatIsThereIsReplaced)
{
    const std::string sFrom = File("plain", "hello world"), sTo = File("cipher", std::string(5000, 'o'));
    EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
    EXPECT_EQ(Hex(ReadText(sTo)), "67af0e9668fa55c57a1776");
    EXPECT_EQ(ReadText(sFrom), "hello world");
}

TEST_F(OEncryptFile, AMissingSourceIsReportedAndLeavesTheDestination)
{
    const std::string sOld = File("old", "old text"), sNew = folder / "new", sNone = folder / "none";
    for (const std::string& sTo : {sOld, sNew})
    {
        EXPECT_EQ(crypt.EncryptFileA(sNone.c_str(), sTo.c_str(), "secret"), 0);
        ExpectTold("Error opening source file", ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(crypt.DecryptFileA(sNone.c_str(), sTo.c_str(), nullptr), 0);
        ExpectTold("Error opening source file", ERROR_FILE_NOT_FOUND);
    }
    EXPECT_EQ(ReadText(sOld), "old text");
    EXPECT_FALSE(Exists(sNew));
}

TEST_F(OEncryptFile, ADestinationThatCannotBeMadeIsReported)
{
    const std::string sFrom = File("plain", "x"), sTo = folder / "none/cipher";
    EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
    ExpectTold("Error opening destination file", ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), folder.Path().c_str(), "secret"), 0);
    ExpectTold("Error opening destination file", ERROR_ACCESS_DENIED);
}

TEST_F(OEncryptFile, AReadOnlyDestinationIsReportedAndStays)
{
    if (RunsUnderWine() && RunsAsAdministrator()) GTEST_SKIP() << "Wine lets an administrator write to read-only files";
    const std::string sFrom = File("plain", "x"), sTo = File("cipher", "old text");
    SetFileAttributesA(sTo.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
    ExpectTold("Error opening destination file", ERROR_ACCESS_DENIED);
    EXPECT_EQ(ReadText(sTo), "old text");
}

TEST_F(OEncryptFile, NamesThatAreNotThereAreReported)
{
    const std::string sFile = File("plain", "x");
    for (const auto& call : {&OEncrypt::EncryptFileA, &OEncrypt::DecryptFileA})
    {
        EXPECT_EQ((crypt.*call)(nullptr, sFile.c_str(), "secret"), 0);
        ExpectTold("Error opening source file", ERROR_PATH_NOT_FOUND);
        EXPECT_EQ((crypt.*call)(sFile.c_str(), nullptr, "secret"), 0);
        ExpectTold("Error opening destination file", ERROR_PATH_NOT_FOUND);
    }
    EXPECT_EQ(ReadText(sFile), "x");
}

TEST_F(OEncryptFile, WithoutAPairThereIsNoKeyToPutInFront)
{
    const std::string sFrom = File("plain", "x"), sOld = File("old", "old text"), sNew = folder / "new";
    for (const std::string& sTo : {sOld, sNew})
    {
        EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), nullptr), 0);
        ExpectTold("CryptGetUserKey Error", DWORD(NTE_NO_KEY));
    }
    EXPECT_EQ(ReadText(sOld), "old text");
    EXPECT_FALSE(Exists(sNew));
}

TEST_F(OEncryptFile, AHeadThatIsCutShortIsRefused)
{
    ImportExchangePair();
    const std::string sCipher = Encrypted("hello world", nullptr);
    for (const std::size_t ulBytes : {0, 1, 3, 4, 5, 143})
        EXPECT_EQ(Refusal(sCipher.substr(0, ulBytes)), Unknown("Error reading file header", ERROR_HANDLE_EOF)) << ulBytes;
}

TEST_F(OEncryptFile, AHeadOfNoLengthHasNoKey)
{
    ImportExchangePair();
    EXPECT_EQ(Refusal(std::string(4, '\0') + "hello world"), Boxes{std::string("CryptImportKey Error") + kpInvalid});
}

TEST_F(OEncryptFile, NoMemoryIsTakenForAnImpossibleLength)
{
    ImportExchangePair();
    for (const char* pLength : {"\xff\xff\xff\xff", "\xfe\xff\xff\xff", "\x01\x00\x01\x80"})
        EXPECT_EQ(Refusal(std::string(pLength, 4) + "hello world"),
                  Unknown("Error Out of memory or improperly formatted source file!", 14));
    EXPECT_EQ(crypt.GetError(), 14u);
}

TEST_F(OEncryptFile, AHeadForAnotherPairIsRefused)
{
    ImportExchangePair();
    const std::string sCipher = Encrypted("hello world", nullptr);
    ImportPair("exchange-512.private");
    EXPECT_EQ(Refusal(sCipher), Unknown("CryptImportKey Error", DWORD(NTE_BAD_DATA)));
}

TEST_F(OEncryptFile, AChangedHeadIsRefused)
{
    ImportExchangePair();
    const std::string sHead = WithNumber(std::string(4, 0), 0, 140, 4) + CryptData("session.simple");
    EXPECT_EQ(Decrypted(sHead + CryptData("session.encrypted"), nullptr), "hello world");
    const struct
    {
        std::size_t ulPlace; // in the key
        DWORD ulNumber;
        HRESULT hError;
    } rows[] = {
        {0, PRIVATEKEYBLOB, NTE_BAD_DATA}, {0, 9, NTE_BAD_TYPE}, {1, 3, NTE_BAD_DATA}, {4, 0, NTE_BAD_ALGID}, {20, 0, NTE_BAD_DATA},
    };
    for (const auto& row : rows)
    {
        const std::string sChanged = WithNumber(sHead, 4 + row.ulPlace, row.ulNumber, 1);
        ASSERT_NE(sChanged, sHead);
        EXPECT_EQ(Refusal(sChanged + "hello world"), Unknown("CryptImportKey Error", DWORD(row.hError))) << row.ulPlace;
    }
}

TEST_F(OEncryptFile, WithoutAPairAHeadOpensNothing)
{
    ImportExchangePair();
    const std::string sCipher = Encrypted("hello world", nullptr);
    ChangeContainer(DropContainer);
    // Wine asks for the pair rather than look for it.
    EXPECT_EQ(Refusal(sCipher), Unknown("CryptImportKey Error", WineSays(DWORD(NTE_BAD_PUBLIC_KEY), DWORD(NTE_NO_KEY))));
}

TEST_F(OEncryptFile, IsNotWrittenOverItself)
{
    const std::string sFile = File("Plain", "hello world");
    ExpectRefusesItself(sFile, sFile);
    ExpectRefusesItself(sFile, folder / "./Plain");
    ExpectRefusesItself(sFile, folder.Path() + "\\PLAIN");
    ASSERT_TRUE(std::filesystem::create_directory(folder / "in"));
    ExpectRefusesItself(sFile, folder / "in/../Plain");
}

TEST_F(OEncryptFile, IsNotWrittenOverItselfByAHardLink)
{
    const std::string sFile = File("plain", "hello world"), sLink = folder / "link";
    std::filesystem::create_hard_link(sFile, sLink);
    ExpectRefusesItself(sFile, sLink);
    ExpectRefusesItself(sLink, sFile);
}

TEST_F(OEncryptFile, WhatCannotBeReadLeavesNoHalfFile)
{
    if (RunsUnderWine()) GTEST_SKIP() << kpNoLocks;
    const std::string sFrom = File("plain", Noise(400'000)), sTo = folder / "cipher";
    const FileHandle other(sFrom, kulReadWrite);
    ASSERT_TRUE(LockFile(other, 350'000, 0, 10, 0)); // by another program
    EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
    ExpectTold("Error reading Plaintext", ERROR_LOCK_VIOLATION);
    EXPECT_FALSE(Exists(sTo));
    EXPECT_TRUE(UnlockFile(other, 350'000, 0, 10, 0));
}

TEST_F(OEncryptFile, WhatCannotBeWrittenLeavesNoHalfFile)
{
    if (RunsUnderWine()) GTEST_SKIP() << kpNoLocks;
    const std::string sFrom = File("plain", Noise(400'000));
    for (const DWORD ulPlace : {0u, 350'000u})
    {
        const std::string sTo = File("cipher", "old text");
        {
            const FileHandle other(sTo, kulRead);
            ASSERT_TRUE(LockFile(other, ulPlace, 0, 10, 0)); // by another program
            EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
            ExpectTold("Error writing Ciphertext", ERROR_LOCK_VIOLATION);
        }
        EXPECT_FALSE(Exists(sTo));
    }
}

TEST_F(OEncryptFile, AFileThatAnotherWritesIsLeftToIt)
{
    const std::string sFrom = File("plain", "hello world"), sTo = File("cipher", "old text");
    {
        const FileHandle other(sTo, kulReadWrite);
        EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
        ExpectTold("Error opening destination file", ERROR_SHARING_VIOLATION);
        EXPECT_EQ(crypt.DecryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
        ExpectTold("Error opening destination file", ERROR_SHARING_VIOLATION);
    }
    EXPECT_EQ(ReadText(sTo), "old text");
}

TEST_F(OEncryptFile, TheNextOperationClearsTheError)
{
    const std::string sNone = folder / "none", sTo = folder / "out";
    crypt.EncryptFileA(sNone.c_str(), sTo.c_str(), "secret");
    ExpectTold("Error opening source file", ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Decrypted("x", "secret").size(), 1u);
}
} // namespace
