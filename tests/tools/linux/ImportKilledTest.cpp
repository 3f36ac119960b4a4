// An import whose process is killed. On Linux alone: there an import is one step for everybody else, however it ends; on
// Windows the system has no such step to offer.
#include "LumProgram.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace
{
class ImportKilled : public LumProgram
{
protected:
    static constexpr int kiValues = 20000;

    static std::string FileWith(const std::string& sKey, const char* pText)
    {
        std::string sFile = "REGEDIT4\r\n\r\n";
        for (int i = 0; i < kiValues; ++i)
        {
            if (i % 100 == 0) sFile += "[" + sKey + "\\Key " + std::to_string(i / 100) + "]\r\n";
            sFile += "\"value " + std::to_string(i) + "\"=\"" + pText + "\"\r\n";
        }
        return sFile;
    }

    // Starts an import and kills it after a while; false when it was done before.
    static bool ImportAndKill(const std::string& sFile, useconds_t uAfterMicroseconds)
    {
        const std::string sLum = ProgramPath("lum");
        const pid_t child = fork();
        if (child == 0)
        {
            execl(sLum.c_str(), "lum", "reg", "import", sFile.c_str(), nullptr);
            _exit(127);
        }
        usleep(uAfterMicroseconds);
        kill(child, SIGKILL);
        int iStatus = 0;
        waitpid(child, &iStatus, 0);
        return WIFSIGNALED(iStatus);
    }

    // How many of the values have the text; the others must have the other one.
    int CountOf(const char* pText, const char* pOther)
    {
        EXPECT_EQ(Lum({"reg", "export", Key(), File("now.reg"), "--version4"}).iStatus, 0);
        const std::string sNow = FileText(File("now.reg"));
        int iFound = 0, iOther = 0;
        for (size_t u = 0; (u = sNow.find("\"=\"", u)) != sNow.npos; u += 3)
        {
            if (sNow.compare(u + 3, std::string(pText).size() + 1, std::string(pText) + "\"") == 0) ++iFound;
            else if (sNow.compare(u + 3, std::string(pOther).size() + 1, std::string(pOther) + "\"") == 0) ++iOther;
        }
        EXPECT_EQ(iFound + iOther, kiValues);
        return iFound;
    }
};

TEST_F(ImportKilled, LeavesAllOfItOrNothing)
{
    WriteFileText(File("old.reg"), FileWith(Key(), "old"));
    WriteFileText(File("new.reg"), FileWith(Key(), "new"));
    LumOutput({"reg", "import", File("old.reg")});

    int iKilled = 0;
    for (useconds_t uMilliseconds = 1; uMilliseconds <= 300 && iKilled < 20; uMilliseconds += 1 + uMilliseconds / 8)
    {
        iKilled += ImportAndKill(File("new.reg"), uMilliseconds * 1000);
        const int iNew = CountOf("new", "old");
        EXPECT_TRUE(iNew == 0 || iNew == kiValues) << iNew << " values after " << uMilliseconds << " ms";
        if (iNew == kiValues) LumOutput({"reg", "import", File("old.reg")});
    }
    EXPECT_GT(iKilled, 3);
    LumOutput({"reg", "import", File("new.reg")}); // and the store takes what comes next
    EXPECT_EQ(CountOf("new", "old"), kiValues);
}
} // namespace
