// The disk below a log: full, gone, read-only. For Linux alone, where a test can make such a disk, and where files that are open
// can be removed.
#include "LogManagerFiles.h"
#include "ODbgManagerDll.h"
#include "OLogFile.h"
#include "Raises.h"
#include "SmallDisk.h"
#include "WithoutPasses.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <utility>

namespace fs = std::filesystem;

namespace
{
class LogDisk : public LogManagerFiles
{
protected:
    static std::string Numbered(int i) { return "line " + std::to_string(i) + " " + std::string(static_cast<std::size_t>(60 + i % 50), 'x'); }
    static bool IsBlank(const std::string& sLine) { return sLine.find_first_not_of(' ') == std::string::npos; }
    void LogNumbered(int iFrom, int iTo)
    {
        for (int i = iFrom; i < iTo; ++i) object.LogGroup("G", "C", "I", "%s", Numbered(i).c_str());
    }
};
} // namespace

TEST_F(LogDisk, OnAFullDiskTheProgramGoesOnAndTheLogSaysSoOnceThereIsRoom)
{
    SmallDisk disk(mFolder.Path());
    if (!disk) GTEST_SKIP() << kpNoDisk;
    Start();
    LogNumbered(0, 10);
    disk.Fill();
    LogNumbered(10, 200);
    const std::string sFull = ReadText(msLog);
    EXPECT_TRUE(sFull.ends_with("\n")); // what fits of the next line is not left there
    disk.MakeRoom();
    object.LogGroup("G", "C", "I", "after");
    LogNumbered(0, 5);

    EXPECT_TRUE(ReadText(msLog).starts_with(sFull));
    const Lines lines = Logged();
    // What came before the disk was full is whole, and in order; then blanks for the line that did not fit; then the notice.
    int iWritten = 0;
    while (lines[static_cast<std::size_t>(iWritten)] == "G : C : I : " + Numbered(iWritten)) ++iWritten;
    EXPECT_GT(iWritten, 10);
    std::size_t uNext = static_cast<std::size_t>(iWritten);
    while (IsBlank(lines[uNext])) ++uNext;
    EXPECT_LE(uNext, static_cast<std::size_t>(iWritten) + 1);
    EXPECT_EQ(lines[uNext], "Error : ODbgManagerCore : Writeln : " + std::to_string(200 - iWritten) + " lines lost: the file did not take them");
    EXPECT_EQ(lines[uNext + 1], "G : C : I : after");
    EXPECT_EQ(lines.size(), uNext + 7);
}

TEST_F(LogDisk, LosesNoPartOfALineWhereverThePageEnds)
{
    SmallDisk disk(mFolder.Path());
    if (!disk) GTEST_SKIP() << kpNoDisk;
    Start();
    for (int iRound = 0; iRound < 150; ++iRound)
    {
        disk.Fill(1);
        // One page of room: the line after the last that fits is cut at another place each time.
        const std::string sText(static_cast<std::size_t>(3700 + iRound * 3), 'a');
        manager->Writeln(sText.c_str(), "G", "C", "I", 0);
        for (int i = 0; i < 8; ++i) manager->Writeln("short", "G", "C", "I", 0);
        const std::string sText2 = ReadText(msLog);
        ASSERT_TRUE(sText2.ends_with("\n")) << iRound;
        disk.MakeRoom();
        manager->Writeln("room", "G", "C", "I", 0);
        ASSERT_EQ(Logged().back(), "G : C : I : room") << iRound;
        for (const std::string& sLine : Logged())
        {
            ASSERT_TRUE(sLine == "G : C : I : short" || sLine == "G : C : I : room" || sLine.starts_with("G : C : I : aaa") ||
                        sLine.starts_with("Error : ODbgManagerCore : ") || IsBlank(sLine))
                << sLine.substr(0, 100);
        }
        {
            const FileHandle file(msLog, kulReadWrite); // begin anew, or the disk ends for good
            SetEndOfFile(file);
        }
    }
}

TEST_F(LogDisk, StartsAndEndsOnAFullDisk)
{
    SmallDisk disk(mFolder.Path());
    if (!disk) GTEST_SKIP() << kpNoDisk;
    disk.Fill();
    Start(1);
    object.LogGroup("Error", "C", "I", "lost");
    disk.MakeRoom();
    object.LogGroup("Error", "C", "I", "after");
    // The banner, the line, and one that was to tell of the error file.
    EXPECT_EQ(Logged(), (Lines{"Error : ODbgManagerCore : Writeln : 3 lines lost: the file did not take them", "Error : C : I : after"}));
    disk.Fill();
    LogNumbered(0, 500);
    Stop();
    EXPECT_TRUE(ReadText(msLog).ends_with("\n"));
}

TEST_F(LogDisk, WhatAnotherProgramAppendsBehindHalfALineStays)
{
    SmallDisk disk(mFolder.Path());
    if (!disk) GTEST_SKIP() << kpNoDisk;
    class OtherProgram : public ODbgManagerDll // is told of the failed write
    {
    public:
        explicit OtherProgram(std::function<void()> act) : mAct(std::move(act)) { SetDbgManager(this); }
        ~OtherProgram() override { SetDbgManager(nullptr); }
        void Writeln(const char*, const char*, const char*, const char*, int) override
        {
            if (mAct) std::exchange(mAct, nullptr)(); // once
        }

    private:
        std::function<void()> mAct;
    };
    OLogFile file(msLog.c_str(), OPEN_ALWAYS), theirs(msLog.c_str(), OPEN_ALWAYS);
    ASSERT_TRUE(file.AppendText("first", 0));
    disk.Fill();
    const std::string sLine = "half" + std::string(5000, 'x');
    {
        const OtherProgram other([&]
        {
            disk.MakeRoom();
            EXPECT_TRUE(theirs.AppendText("   theirs", 0));
        });
        EXPECT_FALSE(file.AppendText(sLine.c_str(), 0));
    }
    EXPECT_TRUE(file.AppendText("last", 0));
    EXPECT_EQ(ReadText(msLog), "first\r\n" + std::string(4096 - 9, ' ') + "\r\n   theirs\r\nlast\r\n");
}

TEST_F(LogDisk, AFileThatIsRemovedIsMadeAnewWithinASecond)
{
    Start(1);
    object.LogGroup("Error", "C", "I", "before");
    fs::remove(msLog);
    fs::remove(msErrors);
    manager->GoForward(1);
    object.LogGroup("Error", "C", "I", "after");
    EXPECT_EQ(Logged(), Lines{"Error : C : I : after"});
    EXPECT_EQ(ErrorLines().size(), 1u);
}

TEST_F(LogDisk, AFolderThatIsRemovedIsMadeAnewToo)
{
    const std::string sFolder = mFolder / "logs", sLog = sFolder + "/App.log";
    StoreNumber("Debug", "EnableErrorsOnly", 0);
    manager.emplace();
    manager->Init(0, sLog.c_str());
    fs::remove_all(sFolder);
    manager->GoForward(1);
    manager->Writeln("after", "G", "C", "I", 0);
    EXPECT_EQ(Bare(sLog), Lines{"G : C : I : after"});

    // Not where a file stands in its place; but as soon as that is gone.
    fs::remove_all(sFolder);
    std::ofstream(sFolder) << "in the way";
    manager->GoForward(1);
    manager->Writeln("lost", "G", "C", "I", 0);
    manager->Writeln("lost", "G", "C", "I", 0);
    fs::remove(sFolder);
    manager->Writeln("found again", "G", "C", "I", 0);
    EXPECT_EQ(Bare(sLog), (Lines{"Error : ODbgManagerCore : Writeln : 2 lines lost: the file did not take them", "G : C : I : found again"}));
}

TEST_F(LogDisk, AFolderThatBecomesReadOnlyKeepsNoLineOut)
{
    Start();
    ASSERT_EQ(chmod(mFolder.Path().c_str(), 0500), 0);
    manager->GoForward(1);
    object.LogGroup("G", "C", "I", "text");
    EXPECT_EQ(chmod(mFolder.Path().c_str(), 0700), 0);
    EXPECT_EQ(Logged(), Lines{"G : C : I : text"});
}

TEST_F(LogDisk, AFolderThatIsReadOnlyFromTheStartIsRefusedAndTheProgramGoesOn)
{
    StoreNumber("Debug", "EnableErrorsOnly", 0);
    ASSERT_EQ(chmod(mFolder.Path().c_str(), 0500), 0);
    EXPECT_TRUE(WithoutPasses([&] {
        OSteppedManager refused;
        if (RaisedCode([&] { refused.Init(0, msLog.c_str()); }) != 9005u) return false; // the file's own code: open failed
        object.SetDbgManager(&refused);
        object.LogGroup("G", "C", "I", "nowhere to go");
        object.LogGroup("Error", "C", "I", "nowhere to go");
        object.SetDbgManager(nullptr);
        return true;
    }));
    EXPECT_EQ(chmod(mFolder.Path().c_str(), 0700), 0);
    EXPECT_FALSE(fs::exists(msLog));
    EXPECT_FALSE(fs::exists(msErrors));
}

TEST_F(LogDisk, LinesGoToTheDebuggerAsWell)
{
    Start(0, 1, 0);
    const std::string sOutput = mFolder / "debug";
    setenv("LUMBASE_DEBUG_OUTPUT", ("file:" + sOutput).c_str(), 1);
    manager->Writeln("text", "G", "C", "I", 0);
    manager->Writeln("not written", "G", "C", "I", 1);
    unsetenv("LUMBASE_DEBUG_OUTPUT");
    EXPECT_EQ(ReadText(sOutput), LinesOf(msLog).back() + "\n");
}
