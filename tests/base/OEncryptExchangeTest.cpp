// What one system wrote, the other reads: the report of the test data, encrypted and signed by the Linux build and by the Windows
// build, with the same pairs in the container.
#include "EncryptTest.h"

namespace
{
class OEncryptExchange : public EncryptTest
{
protected:
    void SetUp() override
    {
        EncryptTest::SetUp();
        ImportExchangePair();
        ImportSignaturePair();
    }

    std::string Decrypted(const char* pData, const char* pPassword)
    {
        const std::string sTo = folder / "back";
        EXPECT_EQ(crypt.DecryptFileA(Data(pData).c_str(), sTo.c_str(), pPassword), 0);
        ExpectQuiet();
        return ReadText(sTo);
    }
    std::string Signature(const char* pDescription)
    {
        const std::string sTo = folder / "signature";
        EXPECT_EQ(crypt.SignFile(Data("report.txt").c_str(), sTo.c_str(), pDescription), 0);
        ExpectQuiet();
        return ReadText(sTo);
    }
    static std::string Data(const char* pName) { return std::string(LUM_TEST_DATA "/crypt/") + pName; }

    static constexpr const char* kpPassword = "Lantern fog 7";
};

TEST_F(OEncryptExchange, WithAPasswordBothWriteTheSame)
{
    const std::string sTo = folder / "cipher";
    EXPECT_EQ(crypt.EncryptFileA(Data("report.txt").c_str(), sTo.c_str(), kpPassword), 0);
    ExpectQuiet();
    EXPECT_EQ(Hex(ReadText(sTo)), Hex(CryptData("report.password")));
    EXPECT_EQ(Decrypted("report.password", kpPassword), CryptData("report.txt"));
}

TEST_F(OEncryptExchange, WithASessionKeyEachReadsBoth)
{
    EXPECT_EQ(Decrypted("report.session-linux", nullptr), CryptData("report.txt"));
    EXPECT_EQ(Decrypted("report.session-windows", nullptr), CryptData("report.txt"));
    EXPECT_NE(CryptData("report.session-linux").substr(144), CryptData("report.session-windows").substr(144));
}

TEST_F(OEncryptExchange, SessionKeysComeFromTheHeadsOfBoth)
{
    for (const char* pName : {"report.session-linux", "report.session-windows"})
    {
        KeyHolder key;
        EXPECT_EQ(crypt.ImportKeyBlob(&key, Data(pName).c_str()), 0); // the head of an encrypted file is a key's file
        std::string sText = CryptData(pName).substr(144, 8);
        DWORD ulBytes = Count(sText);
        EXPECT_EQ(Code(CryptDecrypt(key, 0, TRUE, 0, Bytes(sText), &ulBytes)), 0u);
        EXPECT_EQ(sText, "Report 7");
    }
    ExpectQuiet();
}

TEST_F(OEncryptExchange, BothSignTheSame)
{
    EXPECT_EQ(Hex(Signature(nullptr)), Hex(CryptData("report.signature")));
    EXPECT_EQ(Hex(Signature("Report 7")), Hex(CryptData("report.described")));
    EXPECT_EQ(crypt.VerifyFile(Data("report.txt").c_str(), Data("report.signature").c_str(), nullptr), 0);
    EXPECT_EQ(crypt.VerifyFile(Data("report.txt").c_str(), Data("report.described").c_str(), "Report 7"), 0);
    ExpectQuiet();
    EXPECT_EQ(crypt.VerifyFile(Data("report.txt").c_str(), Data("report.signature").c_str(), "Report 7"), 4);
}
} // namespace
