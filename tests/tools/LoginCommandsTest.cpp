// lum login, as a user runs it.
#include "LumProgram.h"

#include "OEncrypt.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace
{
class LumLogin : public LumProgram
{
protected:
    LumLogin() { WriteFileText(msPassword, "Ultra geheim 1\n"); }

    std::string Protect(std::vector<std::string> more = {}) const
    {
        std::vector<std::string> words{"login", "protect", msFile, "--user", "meier", "--password-file", msPassword};
        words.insert(words.end(), more.begin(), more.end());
        return LumOutput(words);
    }
    // A file that differs from a whole record by what the change makes of its bytes, and what check says of it.
    template <class Change>
    std::string Trouble(Change change) const
    {
        Protect();
        std::string sBytes = FileText(msFile);
        change(sBytes);
        WriteFileText(msFile, sBytes);
        const ProgramResult result = Lum({"login", "check", msFile});
        EXPECT_EQ(result.iStatus, 1) << result.sErr;
        EXPECT_EQ(result.sErr, "");
        EXPECT_TRUE(result.sOut.starts_with(msFile + ": ")) << result.sOut;
        ExpectRefusal({"login", "reveal", msFile}, 3, msFile + " "); // and it is not shown
        return result.sOut.substr(std::min(result.sOut.size(), msFile.size() + 2));
    }

    const std::string msFile = File("user.dat"), msPassword = File("password");
};

TEST_F(LumLogin, IsProtectedAndRevealedWithoutItsPassword)
{
    EXPECT_EQ(Protect({"--domain", "LAB"}), msFile + ": login of meier written, for you alone to read\n");
    EXPECT_EQ(LumOutput({"login", "reveal", msFile}), "User      meier\nDomain    LAB\nEnabled   yes\n");
    EXPECT_EQ(LumOutput({"login", "check", msFile}), msFile + ": is a whole login record\n");
}

TEST_F(LumLogin, ShowsThePasswordWhenAsked)
{
    Protect({"--disabled"});
    EXPECT_EQ(LumOutput({"login", "reveal", msFile, "--show-password"}),
              "User      meier\nDomain    \nPassword  Ultra geheim 1\nEnabled   no\n");
}

TEST_F(LumLogin, TheFileIsWhatTheLibraryReads)
{
    Protect({"--domain", "LAB"});
    const std::string sBytes = FileText(msFile);
    std::array<unsigned short, 10000> auwUnits{};
    ASSERT_EQ(sBytes.size(), sizeof auwUnits);
    std::memcpy(auwUnits.data(), sBytes.data(), sizeof auwUnits);
    LOGINDATA login;
    OEncrypt::DecryptLoginData(&login, auwUnits.data(), 10000);
    EXPECT_TRUE(reinterpret_cast<const char16_t*>(login.awcText1) == std::u16string(u"meier"));
    EXPECT_TRUE(reinterpret_cast<const char16_t*>(login.awcText2) == std::u16string(u"LAB"));
    EXPECT_TRUE(reinterpret_cast<const char16_t*>(login.awcText3) == std::u16string(u"Ultra geheim 1"));
    EXPECT_EQ(login.ulFlag, 1u);
    for (const char* pText : {"meier", "Ultra"}) // in neither form of text
    {
        std::string sWide;
        for (const char* p = pText; *p; ++p) sWide.append({*p, '\0'});
        EXPECT_EQ(sBytes.find(pText), std::string::npos);
        EXPECT_EQ(sBytes.find(sWide), std::string::npos);
    }
}

TEST_F(LumLogin, JsonHasThePasswordWhenAskedAlone)
{
    Protect({"--domain", "LAB"});
    EXPECT_EQ(LumOutput({"login", "reveal", msFile, "--json"}),
              "{\n  \"user\": \"meier\",\n  \"domain\": \"LAB\",\n  \"enabled\": true\n}\n");
    EXPECT_NE(LumOutput({"login", "reveal", msFile, "--json", "--show-password"}).find("\"password\": \"Ultra geheim 1\""),
              std::string::npos);
    EXPECT_NE(LumOutput({"login", "check", msFile, "--json"}).find("\"whole\": true\n"), std::string::npos);
    WriteFileText(msFile, "short");
    const ProgramResult result = Lum({"login", "check", msFile, "--json"});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_NE(result.sOut.find("\"whole\": false"), std::string::npos) << result.sOut;
    EXPECT_NE(result.sOut.find("\"trouble\": \"has 5 bytes"), std::string::npos) << result.sOut;
}

TEST_F(LumLogin, AFileThatIsNoWholeRecordIsTheAnswerNo)
{
    EXPECT_EQ(Trouble([](std::string& s) { s.clear(); }), "has 0 bytes, a login record has 20000\n");
    EXPECT_EQ(Trouble([](std::string& s) { s.resize(19'999); }), "has 19999 bytes, a login record has 20000\n");
    EXPECT_EQ(Trouble([](std::string& s) { s += 'x'; }), "is longer than the 20000 bytes of a login record\n");
    EXPECT_EQ(Trouble([](std::string& s) { s.resize(5'000'000); }), "is longer than the 20000 bytes of a login record\n");
    EXPECT_EQ(Trouble([](std::string& s) { s.assign(20'000, 'x'); }),
              "is no login record: its marker is 0x7878, neither 0x990D nor 0xC0A5\n");
}

TEST_F(LumLogin, ADamagedRecordIsTheAnswerNo)
{
    EXPECT_EQ(Trouble([](std::string& s) { s[0] = s[4] = 1; }), "is damaged: 2 of its filler characters are none\n");
    // The user's text has units everywhere, no place in the file has a zero any more.
    EXPECT_EQ(Trouble(
                  [](std::string& s)
                  {
                      for (size_t i = 0; i + 1 < s.size(); i += 2)
                          if (!s[i] && !s[i + 1]) s[i] = 'x';
                  }),
              "is damaged: one of its texts has no end\n");
}

TEST_F(LumLogin, AMissingRecordIsTheAnswerNo)
{
    const ProgramResult result = Lum({"login", "check", msFile});
    EXPECT_EQ(result.iStatus, 1);
    EXPECT_EQ(result.sOut, msFile + ": does not exist\n");
    ExpectRefusal({"login", "reveal", msFile}, 3, "opening " + msFile + " failed: ");
    ExpectRefusal({"login", "check", File("")}, 3, "failed: "); // a folder is there, and cannot be read
}

TEST_F(LumLogin, APasswordFileHasOneLineOfText)
{
    const auto revealed = [&](const std::string& sContents)
    {
        WriteFileText(msPassword, sContents);
        Protect();
        const std::string sShown = LumOutput({"login", "reveal", msFile, "--show-password"});
        const size_t uFrom = sShown.find("Password  ") + 10;
        return sShown.substr(uFrom, sShown.find('\n', uFrom) - uFrom);
    };
    EXPECT_EQ(revealed("no end"), "no end");
    EXPECT_EQ(revealed(" blanks stay \r\n"), " blanks stay ");
    EXPECT_EQ(revealed(std::string(255, 'p')), std::string(255, 'p'));

    const std::string sBefore = FileText(msFile);
    const auto refused = [&](const std::string& sContents, int iStatus, const std::string& sText)
    {
        WriteFileText(msPassword, sContents);
        ExpectRefusal({"login", "protect", msFile, "--user", "meier", "--password-file", msPassword}, iStatus, sText);
    };
    refused("", 3, "there is no password in it");
    refused("\n", 3, "there is no password in it");
    refused("one\ntwo\n", 3, "more than one line");
    refused(std::string("a\0b", 3), 3, "more than one line");
    refused(std::string(256, 'p'), 2, "the password is too long: a login record has room for 255 characters");
    refused(std::string(1023, 'p') + "\r\n", 2, "the password is too long: a login record");
    for (const char* pEnd : {"", "\n", "\r\n"})
        refused(std::string(1024, 'p') + pEnd, 3, "longer than a password can be, 1023 bytes");
    refused(std::string(5000, 'p'), 3, "longer than a password can be");
    ExpectRefusal({"login", "protect", msFile, "--user", "meier", "--password-file", File("none")}, 3, "opening " + File("none"));
    EXPECT_TRUE(FileText(msFile) == sBefore); // the record of before is as it was
}

TEST_F(LumLogin, APasswordIsNoArgumentAndNeedsATerminalOrAFile)
{
    ExpectRefusal({"login", "protect", msFile, "--user", "meier"}, 2, "there is no terminal to type a password at");
    ExpectRefusal({"login", "protect", msFile, "--user", "meier", "--password", "secret"}, 2, "");
    ExpectRefusal({"login", "protect", msFile, "--password-file", msPassword}, 2, "--user");
    ExpectRefusal({"login", "protect", msFile, "--user", "", "--password-file", msPassword}, 2, "the user's name is empty");
    ExpectRefusal({"login", "protect", msFile, "--user", std::string(256, 'u'), "--password-file", msPassword}, 2,
                  "the user's name is too long");
    EXPECT_FALSE(std::filesystem::exists(msFile));
}

TEST_F(LumLogin, TheRecordIsReplacedAsAWhole)
{
    WriteFileText(msFile, "what was there before");
    Protect();
    EXPECT_EQ(FileText(msFile).size(), 20'000u);
    ExpectNothingUnfinished();

    std::filesystem::create_directory(File("folder"));
    ExpectRefusal({"login", "protect", File("folder"), "--user", "meier", "--password-file", msPassword}, 3,
                  "replacing " + File("folder"));
    EXPECT_TRUE(std::filesystem::is_directory(File("folder")));
    ExpectNothingUnfinished();
    ExpectRefusal({"login", "protect", File("none/user.dat"), "--user", "meier", "--password-file", msPassword}, 3, "creating ");
}

TEST_F(LumLogin, HelpSaysWhatTheRecordIsGoodFor)
{
    EXPECT_NE(LumOutput({"login", "--help"}).find("not encrypted"), std::string::npos);
    EXPECT_NE(LumOutput({"login", "protect", "--help"}).find("--password-file"), std::string::npos);
}
} // namespace
