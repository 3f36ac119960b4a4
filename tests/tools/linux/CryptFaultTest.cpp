// lum crypt on disks that are full, with keys that are damaged or not private, and at a terminal. On Linux alone: there, key
// containers are files of ours, and a small disk can be had.
#include "CryptKeysFixture.h"
#include "PseudoTerminal.h"
#include "SmallDisk.h"

#include <sys/stat.h>

#include <csignal>

namespace
{
class LumCryptFault : public LumKeys
{
protected:
    LumCryptFault()
    {
        WriteFileText(File("report.txt"), std::string(60'000, 'r'));
        WriteFileText(File("password"), "secret");
    }
    static mode_t ModeOf(const std::string& sPath)
    {
        struct stat status = {};
        EXPECT_EQ(stat(sPath.c_str(), &status), 0) << sPath;
        return status.st_mode & 0777;
    }
    std::vector<std::string> Encrypt(const std::string& sDestination) const
    {
        return {"crypt", "encrypt", File("report.txt"), sDestination, "--password-file", File("password")};
    }
    static std::string KeyFile()
    {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(std::getenv("LUMBASE_HOME")))
            if (entry.path().extension() == ".keys") return entry.path().string();
        return {};
    }
};

TEST_F(LumCryptFault, AFullDiskLeavesWhatWasThere)
{
    std::filesystem::create_directory(File("disk"));
    SmallDisk disk(File("disk"));
    if (!disk) GTEST_SKIP() << kpNoDisk;
    const std::string d = File("disk/report.enc");
    WriteFileText(d, "what was there before");
    ExpectRefusal({"crypt", "encrypt", File("report.txt"), d, "--password-file", File("password")}, 3,
                  "(112) [Error writing Ciphertext]");
    EXPECT_EQ(FileText(d), "what was there before");
    ExpectNothingUnfinished();

    MakePairs();
    disk.Fill();
    ExpectRefusal({"crypt", "sign", File("report.txt"), File("disk/report.sig")}, 3, "(112)");
    ExpectRefusal({"crypt", "keys", "export", "signature", d}, 3, "(112)");
    EXPECT_EQ(FileText(d), "what was there before");
    EXPECT_FALSE(std::filesystem::exists(File("disk/report.sig")));
}

TEST_F(LumCryptFault, KeysThatOthersMayReadAreNotUsed)
{
    MakePairs();
    ASSERT_EQ(chmod(KeyFile().c_str(), 0644), 0);
    const std::string sWhy = "opening your keys failed: others may read or change the file of your keys";
    ExpectRefusal({"crypt", "keys", "show"}, 3, sWhy);
    ExpectRefusal({"crypt", "keys", "create", "--force"}, 3, sWhy);
    ExpectRefusal({"crypt", "sign", File("report.txt")}, 3, sWhy);
    ASSERT_EQ(chmod(KeyFile().c_str(), 0600), 0);
    EXPECT_EQ(Lum({"crypt", "sign", File("report.txt")}).iStatus, 0);
}

TEST_F(LumCryptFault, DamagedKeysAreNamedAndCanBeRemoved)
{
    MakePairs();
    std::string sBytes = FileText(KeyFile());
    sBytes[100] ^= 1;
    WriteFileText(KeyFile(), sBytes);
    ExpectRefusal({"crypt", "keys", "show"}, 3, "the file of your keys is damaged (lum crypt keys remove makes room for new ones)");
    ExpectRefusal({"crypt", "encrypt", File("report.txt"), File("x")}, 3, "the file of your keys is damaged");
    EXPECT_TRUE(FileText(KeyFile()) == sBytes);
    LumOutput({"crypt", "keys", "remove", "--yes"});
    EXPECT_NE(MakePairs(), "");
}

TEST_F(LumCryptFault, AnExportedPairIsItsOwnersAlone)
{
    MakePairs();
    const mode_t uBefore = umask(0);
    LumOutput({"crypt", "keys", "export", "exchange", File("e.key")});
    LumOutput({"crypt", "keys", "export", "exchange", File("e.pub"), "--public"});
    umask(uBefore);
    EXPECT_EQ(ModeOf(File("e.key")), 0600u);
    EXPECT_EQ(ModeOf(File("e.pub")), 0666u);
}

TEST_F(LumCryptFault, AReplacedFileKeepsWhoMayReadIt)
{
    for (const mode_t uMode : {0600u, 0640u, 0444u, 0666u})
    {
        WriteFileText(File("x"), "what was there before");
        ASSERT_EQ(chmod(File("x").c_str(), uMode), 0);
        const ProgramResult result = Lum(Encrypt(File("x")));
        EXPECT_EQ(ModeOf(File("x")), uMode);
        if (uMode & 0200)
            EXPECT_EQ(result.iStatus, 0) << result.sErr;
        else
            EXPECT_EQ(result.iStatus, 3); // what is read-only is not replaced
        ExpectNothingUnfinished();
        std::filesystem::remove(File("x"));
    }
    const mode_t uBefore = umask(027);
    LumOutput(Encrypt(File("new")));
    umask(uBefore);
    EXPECT_EQ(ModeOf(File("new")), 0640u);
}

TEST_F(LumCryptFault, WhatASignalInterruptsWasItsOwnersAloneAndIsGone)
{
    std::filesystem::resize_file(File("report.txt"), 1'000'000'000);
    WriteFileText(File("x"), "what was there before");
    std::string sLum = ProgramPath("lum");
    std::vector<std::string> words = Encrypt(File("x"));
    std::vector<char*> arguments{sLum.data()};
    for (std::string& sWord : words) arguments.push_back(sWord.data());
    arguments.push_back(nullptr);
    for (const int iSignal : {SIGINT, SIGTERM, SIGHUP})
    {
        const pid_t child = fork();
        if (child == 0)
        {
            execv(sLum.c_str(), arguments.data());
            _exit(127);
        }
        const std::string sNew = File("x.") + std::to_string(child) + ".part";
        struct stat status = {};
        for (int iWaits = 0; iWaits < 10'000 && (stat(sNew.c_str(), &status) != 0 || status.st_size == 0); ++iWaits) usleep(1000);
        EXPECT_EQ(status.st_mode & 0777, 0600u);
        kill(child, iSignal);
        int iStatus = 0;
        ASSERT_EQ(waitpid(child, &iStatus, 0), child);
        EXPECT_TRUE(WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == iSignal) << iStatus;
        ExpectNothingUnfinished();
    }
    EXPECT_EQ(FileText(File("x")), "what was there before");
}

TEST_F(LumCryptFault, AtATerminalThePasswordIsAskedForTwiceToEncryptAndOnceToDecrypt)
{
    WriteFileText(File("report.txt"), "hello world");
    const TerminalResult hidden =
        LumAtTerminal({"crypt", "encrypt", File("report.txt"), File("x"), "--password"}, {"secret\n", "secret\n"});
    EXPECT_EQ(hidden.iStatus, 0);
    EXPECT_EQ(hidden.sScreen, "Password: \nThe same again: \n");
    EXPECT_EQ(FileText(File("x")), "\x67\xaf\x0e\x96\x68\xfa\x55\xc5\x7a\x17\x76");
    const TerminalResult back = LumAtTerminal({"crypt", "decrypt", File("x"), File("y"), "--password"}, {"secret\n"});
    EXPECT_EQ(back.iStatus, 0);
    EXPECT_EQ(back.sScreen, "Password: \n");
    EXPECT_EQ(FileText(File("y")), "hello world");
}

TEST_F(LumCryptFault, LongWorkShowsHowFarItIs)
{
    std::filesystem::resize_file(File("report.txt"), 300'000'000);
    const TerminalResult result =
        LumAtTerminal({"crypt", "encrypt", File("report.txt"), File("x"), "--password-file", File("password")}, {});
    EXPECT_EQ(result.iStatus, 0);
    EXPECT_NE(result.sScreen.find("encrypting " + File("report.txt") + ": "), std::string::npos) << result.sScreen;
    EXPECT_NE(result.sScreen.find(" %"), std::string::npos) << result.sScreen;
    EXPECT_EQ(std::filesystem::file_size(File("x")), 300'000'000u);
}

TEST_F(LumCryptFault, ADeviceIsWrittenTo)
{
    WriteFileText(File("report.txt"), "hello world");
    const std::vector<std::string> words{"crypt", "encrypt", File("report.txt"), "/dev/full", "--password-file", File("password")};
    ExpectRefusal(words, 3, "(112)");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
    ExpectRefusal({"crypt", "encrypt", "/dev/null", File("x"), "--password-file", File("password")}, 3, "is no file on a disk");
}
} // namespace
