// Long work of lum crc on a terminal, which script(1) provides, files that are none, and output that cannot be written. On Linux
// alone: Wine's console is no terminal that a test could look at.
#include "LumProgram.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace
{
class LumCrcOnATerminal : public LumProgram
{
protected:
    static std::string Screen(const std::string& sCommand)
    {
        SetForPrograms("TERM", "xterm");
        return RunProgram("/usr/bin/script", {"-qec", ProgramPath("lum") + " " + sCommand, "/dev/null"}).sOut;
    }
};

TEST_F(LumCrcOnATerminal, LongWorkShowsHowFarItIs)
{
    const std::string f = File("f");
    WriteFileText(f, "");
    std::filesystem::resize_file(f, 200'000'000); // zeros match
    const std::string sScreen = Screen("crc check " + f);
    EXPECT_NE(sScreen.find("\rchecking " + f + ": 50 %"), std::string::npos) << sScreen;
    EXPECT_NE(sScreen.find("CRC matches"), std::string::npos) << sScreen;
    EXPECT_EQ(LumOutput({"crc", "check", f}), f + ": CRC matches\n"); // and nothing of it elsewhere
}

TEST_F(LumCrcOnATerminal, ShortWorkDoesNot)
{
    WriteFileText(File("f"), "123456789\xC3\x31");
    const std::string sScreen = Screen("crc check " + File("f"));
    EXPECT_EQ(sScreen.find('%'), std::string::npos) << sScreen;
    EXPECT_NE(sScreen.find("CRC matches"), std::string::npos) << sScreen;
}

TEST_F(LumCrcOnATerminal, OutputThatFindsNoRoomEndsIt)
{
    WriteFileText(File("f"), "123456789");
    WriteFileText(File("g"), "123456789");
    const ProgramResult result =
        RunProgram("/bin/sh", {"-c", ProgramPath("lum") + " crc append " + File("f") + " " + File("g") + " >/dev/full"});
    EXPECT_EQ(result.iStatus, 3);
    EXPECT_EQ(result.sErr, "lum: writing the output failed: look at where it goes\n");
    EXPECT_EQ(FileText(File("f")), "123456789\xC3\x31");
    EXPECT_EQ(FileText(File("g")), "123456789");
}

TEST_F(LumCrcOnATerminal, NobodyWhoReadsEndsItAsItEndsOtherPrograms)
{
    WriteFileText(File("f"), "123456789");
    WriteFileText(File("g"), "123456789");
    int afdPipe[2];
    ASSERT_EQ(pipe(afdPipe), 0);
    const pid_t child = fork();
    if (child == 0)
    {
        close(afdPipe[0]);
        dup2(afdPipe[1], STDOUT_FILENO);
        const std::string sLum = ProgramPath("lum");
        execl(sLum.c_str(), "lum", "crc", "append", File("f").c_str(), File("g").c_str(), nullptr);
        _exit(127);
    }
    close(afdPipe[0]);
    close(afdPipe[1]);
    int iStatus = 0;
    ASSERT_EQ(waitpid(child, &iStatus, 0), child);
    EXPECT_TRUE(WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == SIGPIPE) << iStatus;
    EXPECT_EQ(FileText(File("f")), "123456789\xC3\x31");
    EXPECT_EQ(FileText(File("g")), "123456789");
}

TEST_F(LumCrcOnATerminal, APipeIsNotWaitedFor)
{
    ASSERT_EQ(mkfifo(File("pipe").c_str(), 0600), 0);
    ExpectRefusal({"crc", "check", File("pipe")}, 3, "is no file on a disk");
    ExpectRefusal({"crc", "append", File("pipe")}, 3, "is no file on a disk");
}
} // namespace
