// A file beyond 32 bits.
#include "EncryptTest.h"

#include <thread>

namespace
{
using OEncryptLarge = EncryptTest;

constexpr LONGLONG kllSize = LONGLONG{5} << 30, kllPlace = (LONGLONG{9} << 29) + 3; // one byte in it, beyond the fourth gibibyte

FileHandle FileAt(const std::string& sPath, LONGLONG llPlace)
{
    FileHandle file(sPath, kulReadWrite);
    LARGE_INTEGER place{};
    place.QuadPart = llPlace;
    EXPECT_TRUE(SetFilePointerEx(file, place, nullptr, FILE_BEGIN));
    return file;
}

TEST_F(OEncryptLarge, AFileOfFiveGibibytesIsEncryptedAndSignedToItsEnd)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "twenty gibibytes take minutes with sanitizers, which see the same blocks in smaller files";
#endif
    ImportSignaturePair();
    const std::string sFile = File("large", ""), sMade = folder / "made";
    const std::string sGolden = File("golden", CryptData("five-gibibytes.signature"));
    EXPECT_TRUE(SetEndOfFile(FileAt(sFile, kllSize)));
    const auto put = [&](char cByte) {
        DWORD ulDone = 0;
        EXPECT_TRUE(WriteFile(FileAt(sFile, kllPlace), &cByte, 1, &ulDone, nullptr));
    };
    put('x');
    int iEncrypted = -1, iVerified = -1;
    const auto withAnother = [](int& iResult, auto operation) {
        return std::jthread([&iResult, operation] {
            OEncrypt other;
            if (other.Init() && operation(other) == 0) iResult = static_cast<int>(other.GetError());
        });
    };
    {
        const bool bAll = !RunsUnderWine(); // whose cryptography takes two minutes for all of it
        std::jthread encrypting, verifying;
        const auto encrypt = [&](OEncrypt& object) { return object.EncryptFileA(sFile.c_str(), "NUL", "secret"); };
        const auto verify = [&](OEncrypt& object) { return object.VerifyFile(sFile.c_str(), sGolden.c_str(), nullptr); };
        if (bAll) encrypting = withAnother(iEncrypted, encrypt);
        if (bAll) verifying = withAnother(iVerified, verify);
        EXPECT_EQ(crypt.SignFile(sFile.c_str(), sMade.c_str(), nullptr), 0);
    }
    ExpectQuiet();
    EXPECT_EQ(Hex(ReadText(sMade)), Hex(ReadText(sGolden)));
    if (RunsUnderWine()) return;
    EXPECT_EQ(iEncrypted, 0);
    EXPECT_EQ(iVerified, 0);

    put('y');
    EXPECT_EQ(crypt.VerifyFile(sFile.c_str(), sGolden.c_str(), nullptr), 4);
    EXPECT_EQ(crypt.GetError(), DWORD(NTE_BAD_SIGNATURE));
    EXPECT_EQ(boxes.Shown(), Boxes());
}
} // namespace
