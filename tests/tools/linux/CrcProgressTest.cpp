// Long work of lum crc on a terminal, which script(1) provides, files that are none, and output that cannot be written. On Linux
// alone: Wine's console is no terminal that a test could look at.
#include "LumProgram.h"

#include <sys/stat.h>

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

TEST_F(LumCrcOnATerminal, OutputThatFindsNoRoomIsAFailure)
{
    WriteFileText(File("f"), "123456789\xC3\x31");
    const ProgramResult result = RunProgram("/bin/sh", {"-c", ProgramPath("lum") + " crc check " + File("f") + " >/dev/full"});
    EXPECT_EQ(result.iStatus, 3);
    EXPECT_EQ(result.sErr, "lum: writing the output failed: look at where it goes\n");
}

TEST_F(LumCrcOnATerminal, APipeIsNotWaitedFor)
{
    ASSERT_EQ(mkfifo(File("pipe").c_str(), 0600), 0);
    ExpectRefusal({"crc", "check", File("pipe")}, 3, "is no file on a disk");
    ExpectRefusal({"crc", "append", File("pipe")}, 3, "is no file on a disk");
}
} // namespace
