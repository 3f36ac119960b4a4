// lum crypt on files, as a user runs it.
#include "CryptKeysFixture.h"

#include <thread>

namespace
{
class LumCrypt : public LumKeys
{
protected:
    LumCrypt()
    {
        WriteFileText(msSource, "hello world");
        WriteFileText(msPassword, "secret\n");
    }

    std::vector<std::string> With(const char* pVerb, const std::string& sFrom, const std::string& sTo) const
    {
        return {"crypt", pVerb, sFrom, sTo, "--password-file", msPassword};
    }

    const std::string msSource = File("report.txt"), msHidden = File("report.enc"), msBack = File("back.txt");
    const std::string msPassword = File("password");
};

TEST_F(LumCrypt, APasswordTurnsAFileIntoKnownBytesAndBack)
{
    EXPECT_EQ(LumOutput(With("encrypt", msSource, msHidden)), "");
    EXPECT_EQ(FileText(msHidden), "\x67\xaf\x0e\x96\x68\xfa\x55\xc5\x7a\x17\x76");
    EXPECT_EQ(LumOutput(With("decrypt", msHidden, msBack)), "");
    EXPECT_EQ(FileText(msBack), "hello world");
    ExpectNothingUnfinished();
}

TEST_F(LumCrypt, AnotherPasswordGivesGarbage)
{
    LumOutput(With("encrypt", msSource, msHidden));
    WriteFileText(msPassword, "Secret");
    LumOutput(With("decrypt", msHidden, msBack));
    EXPECT_EQ(FileText(msBack).size(), 11u);
    EXPECT_NE(FileText(msBack), "hello world");
}

TEST_F(LumCrypt, AnEmptyFileIsEncryptedToo)
{
    WriteFileText(msSource, "");
    LumOutput(With("encrypt", msSource, msHidden));
    EXPECT_EQ(std::filesystem::file_size(msHidden), 0u);
    LumOutput(With("decrypt", msHidden, msBack));
    EXPECT_EQ(std::filesystem::file_size(msBack), 0u);
}

TEST_F(LumCrypt, WithoutAPasswordItIsForTheUsersOwnPair)
{
    MakePairs();
    LumOutput({"crypt", "encrypt", msSource, msHidden});
    EXPECT_GT(std::filesystem::file_size(msHidden), 4u + 12u + 128u);
    LumOutput({"crypt", "decrypt", msHidden, msBack});
    EXPECT_EQ(FileText(msBack), "hello world");
}

TEST_F(LumCrypt, WithoutAPairTheUserIsToldHowToMakeOne)
{
    MakePairs();
    LumOutput({"crypt", "encrypt", msSource, msBack});
    LumOutput({"crypt", "keys", "remove", "--yes"});
    WriteFileText(msHidden, "what was there before");
    const std::string sHow = "your keys have no such pair (lum crypt keys create makes it)";
    ExpectRefusal({"crypt", "encrypt", msSource, msHidden}, 3, "encrypting " + msSource + " failed: " + sHow);
    ExpectRefusal({"crypt", "sign", msSource, msHidden}, 3, "signing " + msSource + " failed: " + sHow);
    ExpectRefusal({"crypt", "decrypt", msBack, msHidden}, 3, "decrypting " + msBack + " failed: " + sHow);
    EXPECT_EQ(FileText(msHidden), "what was there before");
    ExpectNothingUnfinished();
}

TEST_F(LumCrypt, WhatWasNotEncryptedForThePairIsNotDecrypted)
{
    MakePairs();
    WriteFileText(msBack, "what was there before");
    const std::string sText = "it does not begin with a key for your exchange pair";
    const auto refused = [&](const std::string& sBytes)
    {
        WriteFileText(msHidden, sBytes);
        ExpectRefusal({"crypt", "decrypt", msHidden, msBack}, 3, "decrypting " + msHidden + " failed: " + sText);
    };
    refused("");
    refused("abc");
    refused("hello world, hello world");
    refused(std::string("\xFF\xFF\xFF\xFF", 4) + "a key of four gigabytes");
    refused(std::string("\x10\0\0\0", 4) + "sixteen bytes at least");
    EXPECT_EQ(FileText(msBack), "what was there before");
    ExpectNothingUnfinished();
}

TEST_F(LumCrypt, AFileIsNotWrittenOverItself)
{
    ExpectRefusal(With("encrypt", msSource, msSource), 3, "are one file: nothing was changed");
    ExpectRefusal(With("encrypt", msSource, File("REPORT.TXT")), 3, "are one file");
    ExpectRefusal(With("decrypt", msSource, File("./report.txt")), 3, "are one file");
    ExpectRefusal({"crypt", "sign", msSource, msSource}, 3, "are one file");
    std::filesystem::create_hard_link(msSource, msBack);
    ExpectRefusal(With("encrypt", msSource, msBack), 3, "are one file");
    EXPECT_EQ(FileText(msSource), "hello world");
}

TEST_F(LumCrypt, NoFileThatStandsBesideIsTouched)
{
    MakePairs();
    const std::string sBeside = msHidden + ".part";
    WriteFileText(sBeside, "hello world");
    LumOutput(With("encrypt", sBeside, msHidden));
    EXPECT_EQ(FileText(msHidden), "\x67\xaf\x0e\x96\x68\xfa\x55\xc5\x7a\x17\x76");
    LumOutput({"crypt", "sign", sBeside, msHidden});
    EXPECT_EQ(std::filesystem::file_size(msHidden), 128u);
    ExpectRefusal({"crypt", "decrypt", msSource, msHidden}, 3, "failed: ");
    LumOutput({"login", "protect", msHidden, "--user", "meier", "--password-file", msPassword});
    EXPECT_EQ(FileText(sBeside), "hello world");
    EXPECT_EQ(Unfinished(), std::vector<std::string>{sBeside});
}

TEST_F(LumCrypt, OfTwoThatWriteOneFileAtATimeOneStands)
{
    std::string sHidden[2];
    for (const char cFill : {'0', '1'})
    {
        const std::string sSource = msSource + cFill, sAlone = msHidden + cFill;
        WriteFileText(sSource, std::string(5'000'000, cFill));
        LumOutput(With("encrypt", sSource, sAlone));
        sHidden[cFill - '0'] = FileText(sAlone);
    }
    // Of two that replace it in the same moment one may be refused, and says so.
    std::string sErrors[2];
    {
        const std::jthread other([&] { sErrors[0] = Lum(With("encrypt", msSource + '0', msHidden)).sErr; });
        sErrors[1] = Lum(With("encrypt", msSource + '1', msHidden)).sErr;
    }
    EXPECT_TRUE(sErrors[0].empty() || sErrors[1].empty());
    for (const std::string& sError : sErrors)
        EXPECT_TRUE(sError.empty() || sError.starts_with("lum: replacing " + msHidden + " failed: ")) << sError;
    const std::string sStands = FileText(msHidden);
    EXPECT_TRUE((sStands == sHidden[0] && sErrors[0].empty()) || (sStands == sHidden[1] && sErrors[1].empty()))
        << sStands.size() << " bytes";
    ExpectNothingUnfinished();
}

TEST_F(LumCrypt, WhatCannotBeReadOrWrittenIsNamed)
{
    ExpectRefusal(With("encrypt", File("none"), msHidden), 3, "opening " + File("none") + " failed: ");
    ExpectRefusal(With("encrypt", File(""), msHidden), 3, "is a folder");
    ExpectRefusal(With("encrypt", msSource, File("none/report.enc")), 3, "creating " + File("none/report.enc") + " failed: ");
    EXPECT_FALSE(std::filesystem::exists(msHidden));
    std::filesystem::create_directory(File("folder"));
    ExpectRefusal(With("encrypt", msSource, File("folder")), 3, "replacing " + File("folder") + " failed: ");
    ExpectNothingUnfinished();
    ExpectRefusal({"crypt", "encrypt", msSource, msHidden, "--password-file", File("none")}, 3, "opening " + File("none"));
}

TEST_F(LumCrypt, APasswordIsNoArgument)
{
    ExpectRefusal({"crypt", "encrypt", msSource, msHidden, "--password"}, 2, "there is no terminal to type a password at");
    ExpectRefusal({"crypt", "encrypt", msSource, msHidden, "--password", "secret"}, 2, "");
    ExpectRefusal({"crypt", "encrypt", msSource, msHidden, "--password", "--password-file", msPassword}, 2, "excludes");
    ExpectRefusal({"crypt", "encrypt", msSource}, 2, "DST");
    EXPECT_FALSE(std::filesystem::exists(msHidden));
}

TEST_F(LumCrypt, ASignatureHoldsUntilTheFileIsChanged)
{
    MakePairs();
    EXPECT_EQ(LumOutput({"crypt", "sign", msSource}), "");
    EXPECT_EQ(std::filesystem::file_size(msSource + ".sig"), 128u);
    EXPECT_EQ(LumOutput({"crypt", "verify", msSource}), msSource + ": signature matches\n");

    const auto expectNo = [&]
    {
        const ProgramResult result = Lum({"crypt", "verify", msSource});
        EXPECT_EQ(result.iStatus, 1);
        EXPECT_EQ(result.sOut, msSource + ": signature does not match\n");
        EXPECT_EQ(result.sErr, "");
    };
    WriteFileText(msSource, "hello w0rld");
    expectNo();
    WriteFileText(msSource, "hello world");
    EXPECT_EQ(Lum({"crypt", "verify", msSource}).iStatus, 0);
    for (const size_t uBytes : {0u, 127u, 129u}) // a signature of another length
    {
        std::filesystem::resize_file(msSource + ".sig", uBytes);
        expectNo();
    }
}

TEST_F(LumCrypt, TheSignatureMayBeAnywhere)
{
    MakePairs();
    LumOutput({"crypt", "sign", msSource, File("elsewhere")});
    EXPECT_FALSE(std::filesystem::exists(msSource + ".sig"));
    const std::string sJson = LumOutput({"crypt", "verify", msSource, File("elsewhere"), "--json"});
    EXPECT_NE(sJson.find("\"matches\": true"), std::string::npos) << sJson;
    ExpectRefusal({"crypt", "verify", msSource}, 3, "opening " + msSource + ".sig failed: ");
    ExpectRefusal({"crypt", "verify", File("none")}, 3, "opening " + File("none") + " failed: ");
}

TEST_F(LumCrypt, AlgorithmsAreListed)
{
    const std::string sTable = LumOutput({"crypt", "algorithms"});
    EXPECT_NE(sTable.find("encryption"), std::string::npos) << sTable;
    EXPECT_NE(sTable.find("0x6801\n"), std::string::npos) << sTable;
    EXPECT_NE(sTable.find("0x8003\n"), std::string::npos) << sTable;
    const std::string sJson = LumOutput({"crypt", "algorithms", "--json"});
    EXPECT_NE(sJson.find("\"name\": \"RC4\""), std::string::npos) << sJson;
    EXPECT_NE(sJson.find("\"number\": \"0x8003\""), std::string::npos) << sJson;
}

TEST_F(LumCrypt, HelpSaysHowWeakItIs)
{
    for (const char* pVerb : {"encrypt", "sign"})
        EXPECT_NE(LumOutput({"crypt", pVerb, "--help"}).find("THIS IS WEAK: keys have 40 bits"), std::string::npos);
}

TEST_F(LumCrypt, TheTourEncryptsSignsAndBreaksWithKeysOfItsOwn)
{
    const std::string sTour = LumOutput({"tour"});
    size_t uAt = 0;
    for (const char* pText : {"then Tour.enc  ->  67 af 0e 96 68 fa 55 c5 7a 17 76\n", "then Tour.back  ->  hello world\n",
                              "0, a signature of 128 bytes\n", "VerifyFile(\"Tour.txt\", \"Tour.sig\", nullptr)  ->  0\n",
                              "VerifyFile(\"Tour.txt\", \"Tour.sig\", nullptr)  ->  4\n"})
    {
        uAt = sTour.find(pText, uAt);
        ASSERT_NE(uAt, std::string::npos) << pText << "\n" << sTour;
    }
    EXPECT_EQ(Lum({"crypt", "keys", "show"}).iStatus, 1);            // none were made
    EXPECT_EQ(Lum({"crypt", "keys", "remove", "--yes"}).iStatus, 1); // not even a place for them

    MakePairs();
    const std::string sBefore = LumOutput({"crypt", "keys", "show"});
    LumOutput({"tour"});
    EXPECT_EQ(LumOutput({"crypt", "keys", "show"}), sBefore);
}
} // namespace
