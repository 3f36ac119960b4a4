// lum storage in pipes, killed, on full disks and on a terminal. On Linux alone: there a shell is at hand, and a small disk.
#include "LumProgram.h"
#include "SmallDisk.h"
#include "StorageWork.h"
#include "WithoutPasses.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <thread>

namespace
{
class LumStoragePipe : public LumProgram
{
protected:
    static ProgramResult Shell(const std::string& sScript)
    {
        SetForPrograms("LUM", ProgramPath("lum").c_str());
        return RunProgram("/bin/bash", {"-c", "set -o pipefail; " + sScript});
    }
    ProgramResult InFolder(const std::string& sScript) const { return Shell("cd '" + File("") + "' && " + sScript); }

    // A put of what comes from there, which goes on.
    static pid_t StartPut(const std::string& sFile, const std::string& sFrom)
    {
        const std::string sLum = ProgramPath("lum");
        const pid_t child = fork();
        if (child != 0) return child;
        if (!std::freopen(sFrom.c_str(), "rb", stdin)) _exit(126);
        execl(sLum.c_str(), "lum", "storage", "put", sFile.c_str(), "Runs/0001/Spectrum", nullptr);
        _exit(127);
    }
    static int StatusOf(pid_t child)
    {
        int iStatus = 0;
        waitpid(child, &iStatus, 0);
        return iStatus;
    }
    // Puts what comes out of a pipe into a file, and does something when the storage has had a part of it.
    template <class Work>
    int PutWith(const std::string& sFile, Work work)
    {
        const std::string sPipe = File("pipe"), sPiece(1 << 20, 'n');
        EXPECT_EQ(mkfifo(sPipe.c_str(), 0600), 0);
        const pid_t child = StartPut(sFile, sPipe);
        std::FILE* const pPipe = std::fopen(sPipe.c_str(), "wb");
        for (int i = 0; i < 8; ++i) EXPECT_EQ(std::fwrite(sPiece.data(), 1, sPiece.size(), pPipe), sPiece.size());
        work(child);
        std::fclose(pPipe);
        return StatusOf(child);
    }
    void PutUntil(int iSignal, const std::string& sFile)
    {
        const int iStatus = PutWith(sFile,
                                    [iSignal](pid_t child)
                                    {
                                        kill(child, iSignal);
                                        siginfo_t info{};
                                        waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT);
                                    });
        EXPECT_TRUE(WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == iSignal) << iStatus;
    }
};

TEST_F(LumStoragePipe, WhatAUserWouldTryFirstWorks)
{
    WriteFileText(File("data"), std::string(70'000, 'd') + std::string("\0\r\n\x1A", 4));
    const ProgramResult result = InFolder("$LUM storage put new.cfb Runs/0001/Spectrum < data && $LUM storage list new.cfb && "
                                          "$LUM storage cat new.cfb Runs/0001/Spectrum | cmp - data");
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    EXPECT_EQ(result.sErr, "");
    EXPECT_TRUE(result.sOut.ends_with("      Spectrum\n")) << result.sOut;
    EXPECT_EQ(InFolder("cat data | $LUM storage put new.cfb Piped - && $LUM storage cat new.cfb Piped | cmp - data").iStatus, 0);
}

TEST_F(LumStoragePipe, StreamsThatAreClosedAreNoFileOfOurs)
{
    WriteFileText(File("data"), "data");
    LumOutput({"storage", "put", File("new.cfb"), "Notes", File("data")});
    const std::string sBefore = FileText(File("new.cfb"));
    for (const char* pFile : {"new.cfb", "none.cfb"})
    {
        const ProgramResult input = InFolder(std::string("$LUM storage put ") + pFile + " Other <&-");
        EXPECT_EQ(input.iStatus, 3);
        EXPECT_EQ(input.sErr, "lum: reading the standard input failed\n");
    }
    EXPECT_FALSE(std::filesystem::exists(File("none.cfb")));
    for (const char* pVerb : {"list new.cfb", "cat new.cfb Notes", "check new.cfb"})
    {
        const ProgramResult output = InFolder(std::string("$LUM storage ") + pVerb + " >&-");
        EXPECT_EQ(output.iStatus, 3) << pVerb;
        EXPECT_EQ(output.sErr, "lum: writing the output failed: look at where it goes\n") << pVerb;
    }
    EXPECT_EQ(InFolder("$LUM storage remove new.cfb None <&- >&- 2>&-").iStatus, 1);
    EXPECT_TRUE(FileText(File("new.cfb")) == sBefore);
    EXPECT_EQ(InFolder("$LUM storage put new.cfb Other data <&- >&- 2>&-").iStatus, 0);
    EXPECT_EQ(LumOutput({"storage", "cat", File("new.cfb"), "Other"}), "data");
    EXPECT_EQ(LumOutput({"storage", "check", File("new.cfb")}), File("new.cfb") + ": sound\n");
}

TEST_F(LumStoragePipe, WhoStopsReadingIsNotToldSo)
{
    WriteFileText(File("data"), std::string(3'000'000, 'd'));
    ASSERT_EQ(InFolder("$LUM storage put new.cfb a < data").iStatus, 0);
    for (const char* pBefore : {"", "trap '' PIPE; "})
    {
        const ProgramResult result = InFolder(std::string(pBefore) + "set +o pipefail; $LUM storage cat new.cfb a | head -c 10");
        EXPECT_EQ(result.sOut, "dddddddddd");
        EXPECT_EQ(result.sErr, "");
    }
    const ProgramResult full = InFolder("$LUM storage cat new.cfb a > /dev/full");
    EXPECT_EQ(full.iStatus, 3);
    EXPECT_EQ(full.sErr, "lum: writing the output failed: look at where it goes\n");
}

TEST_F(LumStoragePipe, APutThatIsKilledLeavesTheFileAsItWas)
{
    WriteFileText(File("data"), "what was there before");
    const std::string f = File("old.cfb");
    LumOutput({"storage", "put", f, "Runs/0001/Spectrum", File("data")});
    PutUntil(SIGKILL, f);
    EXPECT_EQ(LumOutput({"storage", "cat", f, "Runs/0001/Spectrum"}), "what was there before");
    EXPECT_EQ(LumOutput({"storage", "check", f}), f + ": sound\n");
    LumOutput({"storage", "put", f, "Runs/0001/Spectrum", File("data")});
    EXPECT_EQ(LumOutput({"storage", "check", f}), f + ": sound\n");
}

TEST_F(LumStoragePipe, AtWhateverMomentItIsKilledTheFileIsTheOldOrTheNew)
{
    const std::string f = File("old.cfb"), sOld(3000, 'o'), sNew(3'000'000, 'n');
    WriteFileText(File("old"), sOld);
    WriteFileText(File("data"), sNew);
    for (int i = 0; i < 40; ++i)
    {
        std::filesystem::remove(f);
        const bool bThere = i % 2 != 0;
        if (bThere) LumOutput({"storage", "put", f, "Runs/0001/Spectrum", File("old")});
        const pid_t child = StartPut(f, File("data"));
        std::this_thread::sleep_for(std::chrono::milliseconds(i));
        kill(child, SIGKILL);
        StatusOf(child);
        EXPECT_TRUE(bThere <= std::filesystem::exists(f));
        if (!std::filesystem::exists(f)) continue;
        const std::string sBytes = LumOutput({"storage", "cat", f, "Runs/0001/Spectrum"});
        EXPECT_TRUE(sBytes == sNew || (bThere && sBytes == sOld)) << sBytes.size();
        EXPECT_EQ(LumOutput({"storage", "check", f}), f + ": sound\n");
    }
}

TEST_F(LumStoragePipe, AFileIsReadWhileAPutWaitsForItsPipe)
{
    WriteFileText(File("data"), "what was there before");
    const std::string f = File("old.cfb");
    LumOutput({"storage", "put", f, "Notes", File("data")});
    EXPECT_EQ(PutWith(f,
                      [&](pid_t)
                      {
                          EXPECT_EQ(LumOutput({"storage", "cat", f, "Notes"}), "what was there before");
                          EXPECT_EQ(LumOutput({"storage", "list", f}).find("Spectrum"), std::string::npos);
                          ExpectRefusal({"storage", "remove", f, "Notes"}, 3, "another program has it open");
                      }),
              0);
    EXPECT_EQ(LumOutput({"storage", "cat", f, "Runs/0001/Spectrum"}).size(), std::size_t{8} << 20);
}

TEST_F(LumStoragePipe, AFileInUseIsWaitedForInAFolderThatTakesNoOther)
{
    using std::filesystem::perms;
    WriteFileText(File("data"), "data");
    std::filesystem::create_directory(File("folder"));
    const std::string f = File("folder/old.cfb"), sData = File("data");
    LumOutput({"storage", "put", f, "Notes", sData});
    const auto put = [&]
    {
        tool::PutStream(f, {u"More"}, sData, 0);
        return true;
    };
    const int iStatus = PutWith(f,
                                [&](pid_t child)
                                {
                                    std::filesystem::permissions(File("folder"), perms::owner_read | perms::owner_exec);
                                    std::thread end(
                                        [child]
                                        {
                                            std::this_thread::sleep_for(std::chrono::milliseconds(500));
                                            kill(child, SIGKILL);
                                        });
                                    EXPECT_TRUE(WithoutPasses(put));
                                    end.join();
                                });
    std::filesystem::permissions(File("folder"), perms::owner_all);
    EXPECT_TRUE(WIFSIGNALED(iStatus)) << iStatus;
    EXPECT_EQ(LumOutput({"storage", "cat", f, "More"}), "data");
    ExpectNothingUnfinished();
}

TEST_F(LumStoragePipe, AStreamIsCopiedWithinAFileWhoeverOpensItFirst)
{
    WriteFileText(File("data"), std::string(3'000'000, 'd'));
    ASSERT_EQ(InFolder("$LUM storage put new.cfb a < data").iStatus, 0);
    for (const char* pScript : {"$LUM storage cat new.cfb a | (sleep 0.3; $LUM storage put new.cfb b)",
                                "(sleep 0.3; $LUM storage cat new.cfb a) | $LUM storage put new.cfb c"})
    {
        const ProgramResult result = InFolder(pScript);
        EXPECT_EQ(result.iStatus, 0) << pScript;
        EXPECT_EQ(result.sErr, "");
    }
    for (const char* pStream : {"b", "c"})
        EXPECT_EQ(InFolder(std::string("$LUM storage cat new.cfb ") + pStream + " | cmp - data").iStatus, 0) << pStream;
    ExpectNothingUnfinished();
}

TEST_F(LumStoragePipe, AFileThatAnotherHasMadeMeanwhileIsNotReplaced)
{
    WriteFileText(File("data"), "what another put");
    const std::string f = File("new.cfb");
    EXPECT_EQ(PutWith(f, [&](pid_t) { LumOutput({"storage", "put", f, "Notes", File("data")}); }), 0);
    EXPECT_EQ(LumOutput({"storage", "cat", f, "Notes"}), "what another put");
    EXPECT_EQ(LumOutput({"storage", "cat", f, "Runs/0001/Spectrum"}).size(), std::size_t{8} << 20);
    ExpectNothingUnfinished();
}

TEST_F(LumStoragePipe, ANewFileIsThereAsAWholeOrNotAtAll)
{
    PutUntil(SIGINT, File("new.cfb"));
    EXPECT_FALSE(std::filesystem::exists(File("new.cfb")));
    ExpectNothingUnfinished();
}

TEST_F(LumStoragePipe, AFullDiskLeavesTheFileAsItWas)
{
    std::filesystem::create_directory(File("disk"));
    SmallDisk disk(File("disk"));
    if (!disk) GTEST_SKIP() << kpNoDisk;
    const std::string f = File("disk/old.cfb");
    WriteFileText(File("data"), std::string(5000, 'd'));
    WriteFileText(File("large"), std::string(60'000, 'l'));
    LumOutput({"storage", "put", f, "a", File("data")});
    ExpectRefusal({"storage", "put", f, "a", File("large")}, 3, "the disk is full");
    ExpectRefusal({"storage", "put", f, "b", File("large")}, 3, "the disk is full");
    ExpectRefusal({"storage", "put", File("disk/new.cfb"), "a", File("large")}, 3, "the disk is full");
    EXPECT_FALSE(std::filesystem::exists(File("disk/new.cfb")));
    EXPECT_EQ(LumOutput({"storage", "cat", f, "a"}), FileText(File("data")));
    EXPECT_EQ(LumOutput({"storage", "check", f}), f + ": sound\n");
    LumOutput({"storage", "put", File("other.cfb"), "b", File("large")});
    ExpectRefusal({"storage", "copy", File("other.cfb"), File("disk/copy.cfb")}, 3,
                  "writing b in " + File("disk/copy.cfb") + " failed: the disk is full");
    disk.Fill();
    ExpectRefusal({"storage", "copy", f, File("disk/copy.cfb")}, 3,
                  "creating " + File("disk/copy.cfb") + " failed: the disk is full");
    ExpectNothingUnfinished();
}

TEST_F(LumStoragePipe, APipeIsNoCompoundFileAndNotWaitedFor)
{
    ASSERT_EQ(mkfifo(File("pipe").c_str(), 0600), 0);
    WriteFileText(File("data"), "d");
    ExpectRefusal({"storage", "list", File("pipe")}, 3, "opening " + File("pipe") + " failed");
    ExpectRefusal({"storage", "check", File("pipe")}, 3, "is no file on a disk");
    ExpectRefusal({"storage", "put", File("pipe"), "a", File("data")}, 3, "is no file on a disk");
    ExpectRefusal({"storage", "copy", File("pipe"), File("new.cfb")}, 3, "failed");
}

TEST_F(LumStoragePipe, LongWorkShowsHowFarItIsOnATerminal)
{
    const std::string f = File("long.cfb"), sSource = File("source");
    WriteFileText(sSource, "");
    std::filesystem::resize_file(sSource, 120'000'000);
    SetForPrograms("TERM", "xterm");
    const auto screen = [](const std::string& sCommand) {
        return RunProgram("/usr/bin/script", {"-qec", ProgramPath("lum") + " storage " + sCommand, "/dev/null"}).sOut;
    };
    EXPECT_NE(screen("put " + f + " a " + sSource).find("\rwriting a in "), std::string::npos);
    EXPECT_NE(screen("put " + f + " b < " + sSource).find("b in " + f + ": 50 %"), std::string::npos);
    EXPECT_NE(screen("copy " + f + " " + File("copy.cfb")).find("\rcopying " + f + ": 40 %"), std::string::npos);
    EXPECT_NE(screen("check " + f).find("\rchecking " + f + ": 30 %"), std::string::npos);
    EXPECT_NE(screen("cat " + f + " a > /dev/null").find("\rreading a in " + f + ": 50 %"), std::string::npos);
}
} // namespace
