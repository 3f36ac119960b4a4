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
    EXPECT_EQ(crypt.EncryptFileA(nullptr, sFile.c_str(), "secret"), 0);
    EXPECT_NE(crypt.GetError(), 0u);
    EXPECT_EQ(crypt.EncryptFileA(sFile.c_str(), nullptr, "secret"), 0);
    EXPECT_NE(crypt.GetError(), 0u);
    EXPECT_EQ(boxes.Shown().size(), 2u);
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
    std::string sCipher = Encrypted("hello world", nullptr);
    sCipher[4] = 7;
    EXPECT_EQ(Refusal(sCipher).size(), 1u);
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

// The steps, as a derived class takes them.
class Steps : public OEncrypt
{
public:
    using OEncrypt::CloseSrcAndDstFiles;
    using OEncrypt::OpenSrcAndDstFiles;
    using OEncrypt::ProcessSrcAndDstFiles;
};

// One that works with a container of its own.
class Elsewhere : public OEncrypt
{
public:
    explicit Elsewhere(HCRYPTPROV hProvider)
    {
        mhProvider = hProvider;
        mulInitialised = 1;
    }
    ~Elsewhere() { mulInitialised = 0; } // the handle is not its own
};

TEST_F(OEncryptFile, WithoutAProviderThereIsNoKeyAndTheDestinationStays)
{
    Elsewhere none(0);
    const std::string sFrom = File("plain", "x"), sOld = File("old", "old text"), sNew = folder / "new";
    for (const std::string& sTo : {sOld, sNew})
    {
        EXPECT_EQ(none.EncryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
        EXPECT_EQ(boxes.Shown(), Boxes{std::string("CryptEncrypt Error") + kpInvalid});
        EXPECT_EQ(none.DecryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
        EXPECT_EQ(boxes.Shown(), Boxes{std::string("CryptDecrypt Error") + kpInvalid});
        EXPECT_EQ(none.GetError(), DWORD(ERROR_INVALID_PARAMETER));
    }
    EXPECT_EQ(ReadText(sOld), "old text");
    EXPECT_FALSE(Exists(sNew));
}

class OEncryptSteps : public EncryptTest
{
protected:
    void SetUp() override
    {
        EncryptTest::SetUp();
        ASSERT_EQ(steps.Init(), 1);
    }
    int Open(const std::string& sFrom, const std::string& sTo)
    {
        return steps.OpenSrcAndDstFiles(sFrom.c_str(), &pFrom, sTo.c_str(), &pTo);
    }

    Steps steps;
    FILE* pFrom = nullptr;
    FILE* pTo = nullptr;
};

TEST_F(OEncryptSteps, OpenProcessClose)
{
    const std::string sTo = File("cipher", "what is there is gone");
    ASSERT_EQ(Open(File("plain", "hello world"), sTo), 0);
    EXPECT_EQ(ReadText(sTo), "");
    const KeyHolder key(steps.GetKeyFromHashedPassword("secret"));
    EXPECT_EQ(steps.ProcessSrcAndDstFiles(key, 1, &pFrom, &pTo), 0);
    EXPECT_EQ(steps.CloseSrcAndDstFiles(&pFrom, &pTo), 0);
    EXPECT_EQ(pFrom, nullptr);
    EXPECT_EQ(pTo, nullptr);
    EXPECT_EQ(steps.CloseSrcAndDstFiles(&pFrom, &pTo), 0);
    EXPECT_EQ(Hex(ReadText(sTo)), "67af0e9668fa55c57a1776");
    EXPECT_EQ(boxes.Shown(), Boxes());
}

TEST_F(OEncryptSteps, OfTwoThatWriteOneFileTheFirstDoes)
{
    const std::string sTo = folder / "cipher";
    ASSERT_EQ(Open(File("plain", "hello world"), sTo), 0);
    const std::string sOther = File("other", std::string(5000, 'o'));
    EXPECT_EQ(crypt.EncryptFileA(sOther.c_str(), sTo.c_str(), "secret"), 0);
    ExpectTold("Error opening destination file", ERROR_SHARING_VIOLATION);
    const KeyHolder key(steps.GetKeyFromHashedPassword("secret"));
    EXPECT_EQ(steps.ProcessSrcAndDstFiles(key, 1, &pFrom, &pTo), 0);
    EXPECT_EQ(crypt.EncryptFileA(sOther.c_str(), sTo.c_str(), "secret"), 0); // not before it is closed
    ExpectTold("Error opening destination file", ERROR_SHARING_VIOLATION);
    EXPECT_EQ(steps.CloseSrcAndDstFiles(&pFrom, &pTo), 0);
    EXPECT_EQ(Hex(ReadText(sTo)), "67af0e9668fa55c57a1776");
}

TEST_F(OEncryptSteps, OpeningTellsWhichFileItWas)
{
    const std::string sFile = File("plain", "x");
    EXPECT_EQ(Open(folder / "none", folder / "cipher"), 5);
    EXPECT_EQ(boxes.Shown(), Unknown("Error opening source file", ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(Exists(folder / "cipher"));
    EXPECT_EQ(Open(sFile, folder / "none/cipher"), 6);
    EXPECT_EQ(boxes.Shown(), Unknown("Error opening destination file", ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(steps.GetError(), DWORD(ERROR_PATH_NOT_FOUND));
    EXPECT_NE(pFrom, nullptr);
    EXPECT_EQ(steps.CloseSrcAndDstFiles(&pFrom, &pTo), 0);
}

TEST_F(OEncryptSteps, ProcessingTellsWhatWentWrong)
{
    const std::string sFrom = File("plain", "hello world");
    for (const int bEncrypt : {1, 0})
    {
        ASSERT_EQ(Open(sFrom, folder / "cipher"), 0);
        EXPECT_EQ(steps.ProcessSrcAndDstFiles(0, bEncrypt, &pFrom, &pTo), 3); // no key
        EXPECT_EQ(boxes.Shown(), Boxes{(bEncrypt ? "CryptEncrypt Error" : "CryptDecrypt Error") + std::string(kpInvalid)});
        EXPECT_EQ(steps.GetError(), DWORD(ERROR_INVALID_PARAMETER));
        EXPECT_EQ(steps.CloseSrcAndDstFiles(&pFrom, &pTo), 0);
    }

    const KeyHolder key(steps.GetKeyFromHashedPassword("secret"));
    ASSERT_EQ(Open(sFrom, folder / "cipher"), 0);
    SetLastError(0); // which the runtime leaves when it refuses by itself
    EXPECT_EQ(steps.ProcessSrcAndDstFiles(key, 1, &pFrom, &pFrom), 2);
    EXPECT_EQ(boxes.Shown(), Unknown("Error writing Ciphertext", ERROR_GEN_FAILURE));
    SetLastError(0);
    EXPECT_EQ(steps.ProcessSrcAndDstFiles(key, 1, &pTo, &pTo), 2);
    EXPECT_EQ(boxes.Shown(), Unknown("Error reading Plaintext", ERROR_GEN_FAILURE));
    EXPECT_EQ(steps.GetError(), DWORD(ERROR_GEN_FAILURE));
    EXPECT_EQ(steps.CloseSrcAndDstFiles(&pFrom, &pTo), 0);
}
} // namespace
