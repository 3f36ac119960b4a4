// What a class derived from OEncrypt has: the steps of its operations, and a container of its own.
#include "CryptFiles.h"
#include "EncryptTest.h"

#include <vector>

namespace
{
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

using OEncryptElsewhere = EncryptTest;

TEST_F(OEncryptElsewhere, WithoutAProviderThereIsNoKeyAndTheDestinationStays)
{
    Elsewhere none(0);
    const std::string sFrom = File("plain", "x"), sOld = File("old", "old text"), sNew = folder / "new";
    for (const std::string& sTo : {sOld, sNew})
    {
        EXPECT_EQ(none.EncryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
        EXPECT_EQ(boxes.Shown(), Boxes{std::string("CryptEncrypt Error") + kpInvalid});
        EXPECT_EQ(none.EncryptFileA(sFrom.c_str(), sTo.c_str(), nullptr), 0);
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
    void TearDown() override
    {
        steps = Steps();
        EncryptTest::TearDown();
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

// Which bytes a call of the provider is given, and whether it is told that they are the last.
TEST(OEncryptBlocks, HaveAThousandBytesAndTheLastHasFewer)
{
    using Calls = std::vector<std::pair<DWORD, bool>>;
    BYTE aubBytes[2001];
    const auto calls = [&](DWORD ulBytes, bool bLast) {
        Calls made;
        BYTE* pNext = aubBytes;
        EXPECT_TRUE(ForEachCryptBlock(aubBytes, ulBytes, bLast, [&](BYTE* pBlock, DWORD ulBlock, bool bFinal) {
            EXPECT_EQ(pBlock, pNext);
            pNext += ulBlock;
            made.emplace_back(ulBlock, bFinal);
            return true;
        }));
        return made;
    };
    EXPECT_EQ(calls(0, true), (Calls{{0, true}}));
    EXPECT_EQ(calls(999, true), (Calls{{999, true}}));
    EXPECT_EQ(calls(1000, true), (Calls{{1000, false}, {0, true}}));
    EXPECT_EQ(calls(2001, true), (Calls{{1000, false}, {1000, false}, {1, true}}));
    EXPECT_EQ(calls(2000, false), (Calls{{1000, false}, {1000, false}})); // more is to come
    int iCalls = 0;
    EXPECT_FALSE(ForEachCryptBlock(aubBytes, 2001, true, [&](BYTE*, DWORD, bool) { return ++iCalls < 2; }));
    EXPECT_EQ(iCalls, 2); // until one fails
}
} // namespace
