// lum crypt keys, as a user runs it.
#include "CryptKeysFixture.h"

#include <algorithm>

namespace
{
class LumCryptKeys : public LumKeys
{
protected:
    static std::string Shown() { return LumOutput({"crypt", "keys", "show"}); }
    static void ExpectNone()
    {
        ExpectRefusal({"crypt", "keys", "show"}, 1, "you have no key pairs (lum crypt keys create makes them)");
    }
};

TEST_F(LumCryptKeys, AreMadeShownAndRemoved)
{
    ExpectNone();
    const std::string sMade = MakePairs();
    EXPECT_TRUE(sMade.starts_with("exchange   1024 bits  ")) << sMade;
    EXPECT_NE(sMade.find("\nsignature  1024 bits  "), std::string::npos) << sMade;
    EXPECT_EQ(Shown(), sMade);
    ExpectRefusal({"crypt", "keys", "remove"}, 2, "--yes");
    EXPECT_EQ(Shown(), sMade);
    EXPECT_EQ(LumOutput({"crypt", "keys", "remove", "--yes"}), "your keys are removed\n");
    ExpectNone();
    ExpectRefusal({"crypt", "keys", "remove", "--yes"}, 1, "there are no keys to remove");
}

TEST_F(LumCryptKeys, OneKindAloneAndOf2048BitsUnlessToldOtherwise)
{
    const std::string sSignature = LumOutput({"crypt", "keys", "create", "signature"});
    EXPECT_TRUE(sSignature.starts_with("signature  2048 bits  ")) << sSignature;
    EXPECT_EQ(Shown(), sSignature);
    ExpectRefusal({"crypt", "keys", "export", "exchange", File("e")}, 1, "you have no exchange pair");
    if (RunsUnderWine()) // whose limit for exchange pairs is 1,024 bits
    {
        ExpectRefusal({"crypt", "keys", "create", "exchange"}, 3, "making the exchange pair of 2048 bits failed: ");
        EXPECT_EQ(Shown(), sSignature);
        return;
    }
    const std::string sExchange = LumOutput({"crypt", "keys", "create", "exchange"});
    EXPECT_TRUE(sExchange.starts_with("exchange   2048 bits  ")) << sExchange;
    EXPECT_EQ(Shown(), sExchange + sSignature);
}

TEST_F(LumCryptKeys, APairIsNotReplacedUnlessForced)
{
    const std::string sMade = LumOutput({"crypt", "keys", "create", "signature", "--bits", "512"});
    ExpectRefusal({"crypt", "keys", "create", "--bits", "512"}, 3, "your signature pair is there already");
    EXPECT_EQ(Shown(), sMade); // and no exchange pair was made first
    LumOutput({"crypt", "keys", "create", "signature", "--bits", "512", "--force"});
    EXPECT_NE(Shown(), sMade);
}

TEST_F(LumCryptKeys, TravelInFilesAndComeBackTheSame)
{
    const std::string sMade = MakePairs(), e = File("e.key"), s = File("s.key");
    EXPECT_EQ(LumOutput({"crypt", "keys", "export", "exchange", e}), "");
    EXPECT_EQ(LumOutput({"crypt", "keys", "export", "signature", s}), "");
    EXPECT_EQ(FileText(e).substr(0, 12), std::string("\x07\x02\0\0\0\xA4\0\0RSA2", 12));
    EXPECT_EQ(FileText(s).substr(0, 12), std::string("\x07\x02\0\0\0\x24\0\0RSA2", 12));
    EXPECT_EQ(FileText(e).size(), 20u + 1024 / 16 * 9);

    ExpectRefusal({"crypt", "keys", "import", s}, 3, "your signature pair is there already");
    LumOutput({"crypt", "keys", "remove", "--yes"});
    EXPECT_EQ(LumOutput({"crypt", "keys", "import", s}), sMade.substr(sMade.find("signature")));
    EXPECT_TRUE(sMade.starts_with(LumOutput({"crypt", "keys", "import", e})));
    EXPECT_EQ(Shown(), sMade);
    LumOutput({"crypt", "keys", "import", s, "--force"});
    EXPECT_EQ(Shown(), sMade);
}

TEST_F(LumCryptKeys, ThePublicPartCanBeExportedAloneAndIsNoPair)
{
    MakePairs();
    const std::string p = File("s.pub");
    LumOutput({"crypt", "keys", "export", "signature", p, "--public"});
    EXPECT_EQ(FileText(p).substr(0, 12), std::string("\x06\x02\0\0\0\x24\0\0RSA1", 12));
    EXPECT_EQ(FileText(p).size(), 20u + 1024 / 8);
    ExpectRefusal({"crypt", "keys", "import", p, "--force"}, 3, p + " has the public part of a pair alone");
}

TEST_F(LumCryptKeys, WhatIsNoPairIsNotImported)
{
    const std::string sMade = MakePairs(), s = File("s.key");
    LumOutput({"crypt", "keys", "export", "signature", s});
    const std::string sBlob = FileText(s);
    const auto refused = [&](const std::string& sBytes, const std::string& sText)
    {
        WriteFileText(s, sBytes);
        ExpectRefusal({"crypt", "keys", "import", s, "--force"}, 3, sText);
    };
    refused("", "is no key pair: it has 0 bytes");
    refused(sBlob.substr(0, 7), "is no key pair: it has 7 bytes");
    refused("no blob at all, but some text", "is no key pair");
    refused(sBlob.substr(0, 100), "importing the pair failed: ");
    refused(std::string(100'000, '\7'), "it is far too long");
    std::string sSession = sBlob;
    sSession[0] = 1;
    refused(sSession, "is no key pair");
    ExpectRefusal({"crypt", "keys", "import", File("none")}, 3, "opening " + File("none") + " failed: ");
    EXPECT_EQ(Shown(), sMade);
}

TEST_F(LumCryptKeys, TheNumberOfBitsIsChecked)
{
    for (const char* pBits : {"1023", "0", "504", "4104", "many"})
        ExpectRefusal({"crypt", "keys", "create", "--bits", pBits}, 2, "--bits");
    ExpectNone();
}

TEST_F(LumCryptKeys, JsonHasEachPair)
{
    const std::string sMade = MakePairs(), sJson = LumOutput({"crypt", "keys", "show", "--json"});
    EXPECT_NE(sJson.find("\"kind\": \"exchange\",\n    \"bits\": 1024,\n    \"fingerprint\": \"" + sMade.substr(22, 47) + "\""),
              std::string::npos)
        << sJson;
    EXPECT_EQ(std::ranges::count(sJson, '{'), 2);
    LumOutput({"crypt", "keys", "remove", "--yes"});
    const ProgramResult none = Lum({"crypt", "keys", "show", "--json"});
    EXPECT_EQ(none.iStatus, 1);
    EXPECT_EQ(none.sOut, "[]\n");
}

TEST_F(LumCryptKeys, AFileOfAPairIsReplacedAsAWhole)
{
    MakePairs();
    ExpectRefusal({"crypt", "keys", "export", "signature", File("none/s.key")}, 3, "creating ");
    std::filesystem::create_directory(File("folder"));
    ExpectRefusal({"crypt", "keys", "export", "signature", File("folder")}, 3, "replacing ");
    ExpectNothingUnfinished();
    ExpectRefusal({"crypt", "keys", "export", "both", File("x")}, 2, "KIND");
}
} // namespace
