// Passwords that are typed, and the rights of what is written with them. On Linux alone: Wine's console is no terminal that a test
// could type at.
#include "PseudoTerminal.h"

#include "SmallDisk.h"

#include <sys/stat.h>

#include <csignal>
#include <utility>

namespace
{
class LumPassword : public LumProgram
{
protected:
    TerminalResult Protect(const std::vector<std::string>& answers) const
    {
        return LumAtTerminal({"login", "protect", msFile, "--user", "meier"}, answers);
    }
    static mode_t ModeOf(const std::string& sPath)
    {
        struct stat status = {};
        EXPECT_EQ(stat(sPath.c_str(), &status), 0);
        return status.st_mode & 0777;
    }

    const std::string msFile = File("user.dat");
};

TEST_F(LumPassword, IsAskedForTwiceAndNotShown)
{
    const TerminalResult result = Protect({"geheim\n", "geheim\n"});
    EXPECT_EQ(result.iStatus, 0);
    EXPECT_TRUE(result.bShowsTyping);
    EXPECT_EQ(result.sScreen, "Password: \nThe same again: \n" + msFile + ": login of meier written, for you alone to read\n");
    EXPECT_NE(LumOutput({"login", "reveal", msFile, "--show-password"}).find("Password  geheim\n"), std::string::npos);
}

TEST_F(LumPassword, IsAskedForTwiceToEncryptAndOnceToDecrypt)
{
    const std::string sPlain = File("report.txt"), sCipher = File("report.enc"), sBack = File("back.txt");
    WriteFileText(sPlain, "hello world");
    const TerminalResult there = LumAtTerminal({"crypt", "encrypt", "--password", sPlain, sCipher}, {"secret\n", "secret\n"});
    EXPECT_EQ(there.iStatus, 0);
    EXPECT_EQ(there.sScreen, "Password: \nThe same again: \n");
    EXPECT_EQ(FileText(sCipher), "\x67\xaf\x0e\x96\x68\xfa\x55\xc5\x7a\x17\x76");
    const TerminalResult back = LumAtTerminal({"crypt", "decrypt", "--password", sCipher, sBack}, {"secret\n"});
    EXPECT_EQ(back.iStatus, 0);
    EXPECT_EQ(back.sScreen, "Password: \n");
    EXPECT_EQ(FileText(sBack), "hello world");
    const TerminalResult differ = LumAtTerminal({"crypt", "encrypt", "--password", sPlain, sCipher}, {"secret\n", "sceret\n"});
    EXPECT_EQ(differ.iStatus, 3);
    EXPECT_EQ(FileText(sCipher), "\x67\xaf\x0e\x96\x68\xfa\x55\xc5\x7a\x17\x76");
    ExpectNothingUnfinished();
}

TEST_F(LumPassword, TwoThatDifferWriteNothing)
{
    const TerminalResult result = Protect({"geheim\n", "gehiem\n"});
    EXPECT_EQ(result.iStatus, 3);
    EXPECT_TRUE(result.sScreen.ends_with("lum: the two passwords are not the same: nothing was done\n")) << result.sScreen;
    EXPECT_FALSE(std::filesystem::exists(msFile));
}

TEST_F(LumPassword, AnEmptyOneIsNone)
{
    for (const char* pTyped : {"\n", "\x04"}) // a line that is empty, the end of what is typed
    {
        const TerminalResult result = Protect({pTyped});
        EXPECT_EQ(result.iStatus, 3);
        EXPECT_EQ(result.sScreen, "Password: \nlum: no password was typed\n");
    }
}

TEST_F(LumPassword, OneThatIsTooLongIsRefused)
{
    const TerminalResult result = Protect({std::string(1024, 'p') + "\n"});
    EXPECT_EQ(result.iStatus, 3);
    EXPECT_EQ(result.sScreen, "Password: \nlum: a password has at most 1023 bytes\n");
}

TEST_F(LumPassword, AnInterruptionEndsTheProgramAndTheTerminalShowsAgainWhatIsTyped)
{
    for (const auto& [pTyped, iSignal] : {std::pair{"\x03", SIGINT}, std::pair{"\x1c", SIGQUIT}})
    {
        const TerminalResult result = Protect({pTyped});
        EXPECT_EQ(result.iStatus, -1 - iSignal);
        EXPECT_TRUE(result.bShowsTyping);
        EXPECT_EQ(result.sScreen, "Password: \n");
    }
    EXPECT_FALSE(std::filesystem::exists(msFile));
}

TEST_F(LumPassword, AfterAPauseItIsAskedForAnew)
{
    // Ctrl-Z: at this terminal nobody else could go on meanwhile, so that the program is not stopped for long.
    const TerminalResult result = Protect({"\x1a", "geheim\n", "geheim\n"});
    EXPECT_EQ(result.iStatus, 0);
    EXPECT_TRUE(result.sScreen.starts_with("Password: \nPassword: \nThe same again: \n")) << result.sScreen;
    EXPECT_NE(LumOutput({"login", "reveal", msFile, "--show-password"}).find("Password  geheim\n"), std::string::npos);
}

TEST_F(LumPassword, WhatIsWrittenWithItIsItsOwnersAlone)
{
    WriteFileText(msFile, "readable for everybody");
    ASSERT_EQ(chmod(msFile.c_str(), 0666), 0);
    const mode_t uBefore = umask(0);
    EXPECT_EQ(Protect({"geheim\n", "geheim\n"}).iStatus, 0);
    umask(uBefore);
    EXPECT_EQ(ModeOf(msFile), 0600u);
}

TEST_F(LumPassword, AFullDiskLeavesTheOldRecord)
{
    std::filesystem::create_directory(File("disk"));
    SmallDisk disk(File("disk"));
    if (!disk) GTEST_SKIP() << kpNoDisk;
    WriteFileText(File("password"), "geheim");
    const std::string sRecord = File("disk/user.dat");
    const std::vector<std::string> words{"login", "protect", sRecord, "--user", "meier", "--password-file", File("password")};
    WriteFileText(sRecord, "the old one");
    disk.Fill(2);
    ExpectRefusal(words, 3, "(112)");
    EXPECT_EQ(FileText(sRecord), "the old one");
    ExpectNothingUnfinished();
    disk.MakeRoom();
    EXPECT_EQ(Lum(words).iStatus, 0);
    EXPECT_EQ(FileText(sRecord).size(), 20'000u);
}
} // namespace
