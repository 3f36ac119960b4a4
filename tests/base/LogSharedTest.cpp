// One log, written by several threads and several programs, and lines that its file does not take.
#include "LogManagerFiles.h"
#include "OLogFile.h"
#include "ONameList.h"
#include "OtherProcess.h"
#include "Wine.h"

#include <atomic>
#include <map>
#include <thread>

namespace
{
class LogShared : public LogManagerFiles
{
protected:
    // Checks that every writer's lines "WRITER N xxx..." are there, whole, once each and in order.
    static void ExpectLinesOf(const Lines& lines, int iWriters, int iEach)
    {
        std::map<std::string, int> next;
        int iChanges = 0;
        std::string sBefore;
        for (const std::string& sLine : lines)
        {
            std::istringstream text(sLine.substr(sLine.rfind(" : ") + 3));
            std::string sWriter, sFill;
            int iLine = -1;
            text >> sWriter >> iLine >> sFill;
            ASSERT_EQ(iLine, next[sWriter]) << sLine;
            ASSERT_EQ(sFill, std::string(static_cast<std::size_t>(iLine % 90 + 1), 'x')) << sLine;
            ++next[sWriter];
            iChanges += sWriter != sBefore;
            sBefore = sWriter;
        }
        EXPECT_EQ(next.size(), static_cast<std::size_t>(iWriters));
        for (const auto& [sWriter, iLines] : next) EXPECT_EQ(iLines, iEach) << sWriter;
        EXPECT_GT(iChanges, iWriters) << "they did not write at the same time";
    }
};

void LogLines(OBase& object, const std::string& sWriter, int iLines)
{
    for (int i = 0; i < iLines; ++i)
    {
        const std::string sFill(static_cast<std::size_t>(i % 90 + 1), 'x');
        object.LogGroup(("G" + std::to_string(i % 7)).c_str(), sWriter.c_str(), "I", "%s %d %s", sWriter.c_str(), i, sFill.c_str());
    }
}

// Takes orders: a base path, the log's path, the writer's name and the number of lines, a line each; "end" ends it.
std::string AnswerWriter(const std::string& sOrder)
{
    static std::vector<std::string> orders;
    static std::optional<ODbgManagerCore> manager;
    if (sOrder == "end")
    {
        OBase().SetDbgManager(nullptr);
        manager.reset();
        return "ended";
    }
    orders.push_back(sOrder);
    if (orders.size() < 4) return "more";
    ORegistry::SetBasePath(orders[0].c_str());
    manager.emplace();
    manager->Init(0, orders[1].c_str());
    OBase object;
    object.SetDbgManager(&*manager);
    LogLines(object, orders[2], std::stoi(orders[3]));
    return "written";
}
const OtherRole kWriter("log-writer", AnswerWriter);
} // namespace

TEST_F(LogShared, ThreadsWriteWholeLinesAndLoseNone)
{
    constexpr int kiThreads = 4, kiLines = 2000;
    Start();
    std::vector<std::thread> threads;
    for (int i = 0; i < kiThreads; ++i)
    {
        threads.emplace_back([i]
        {
            OBase object;
            LogLines(object, "t" + std::to_string(i), kiLines);
        });
    }
    for (std::thread& thread : threads) thread.join();
    ExpectLinesOf(Logged(), kiThreads, kiLines);
}

TEST_F(LogShared, ProgramsWriteWholeLinesAndLoseNone)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine looks up where the end is and then writes there, over what has come meanwhile";
    constexpr int kiPrograms = 2, kiLines = 3000;
    StoreNumber("Debug", "EnableErrorsOnly", 0);
    {
        OtherProcess one("log-writer"), two("log-writer");
        for (OtherProcess* pProgram : {&one, &two})
        {
            EXPECT_EQ(pProgram->Ask(Path("") + "\\"), "more");
            EXPECT_EQ(pProgram->Ask(msLog), "more");
            EXPECT_EQ(pProgram->Ask(pProgram == &one ? "one" : "two"), "more");
        }
        one.Tell(std::to_string(kiLines));
        two.Tell(std::to_string(kiLines));
        EXPECT_EQ(one.Answer(), "written");
        EXPECT_EQ(two.Answer(), "written");
        EXPECT_EQ(one.Ask("end"), "ended");
        EXPECT_EQ(two.Ask("end"), "ended");
    }
    ExpectLinesOf(Logged(), kiPrograms, kiLines);
}

TEST_F(LogShared, AProgramThatIsKilledLeavesWhatItHasLogged)
{
    constexpr int kiLines = 100;
    StoreNumber("Debug", "EnableErrorsOnly", 0);
    OtherProcess program("log-writer");
    for (const std::string& sOrder : {Path("") + "\\", msLog, std::string("one")}) program.Ask(sOrder);
    EXPECT_EQ(program.Ask(std::to_string(kiLines)), "written");
    program.Kill();
    EXPECT_EQ(Logged().size(), static_cast<std::size_t>(kiLines));
    Start();
    object.LogGroup("G", "C", "I", "after");
    EXPECT_EQ(Logged().back(), "G : C : I : after");
}

TEST_F(LogShared, ThreadsThatMeetNewCombinationsAtOnceLoseNone)
{
    constexpr int kiThreads = 4, kiNames = 300;
    Start();
    std::vector<std::thread> threads;
    for (int i = 0; i < kiThreads; ++i)
    {
        threads.emplace_back([]
        {
            OBase object;
            for (int iName = 0; iName < kiNames; ++iName)
                object.LogGroup(("G" + std::to_string(iName % 10)).c_str(), ("C" + std::to_string(iName)).c_str(), "I", "text");
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(Logged().size(), static_cast<std::size_t>(kiThreads * kiNames));
    manager->mulUpdateRegistry = 1;
    manager->UpdateRegistry();
    ONameList list(HKEY_LOCAL_MACHINE, "Debug");
    list.LoadFromRegistry();
    EXPECT_EQ(list.GetCount(), 10);
    for (int i = 0; i < list.GetCount(); ++i) EXPECT_EQ(list.GetAt(i)->mpChild->GetCount(), kiNames / 10);
}

// Bytes that another program has locked are a reason for a failed write that every system has; Wine does not keep such locks.
TEST_F(LogShared, LinesThatTheFileDoesNotTakeAreCountedAndToldOf)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine locks ranges against locking alone";
    Start(1);
    object.LogGroup("Error", "C", "I", "before");
    {
        const FileHandle theirLog(msLog, kulReadWrite), theirErrors(msErrors, kulReadWrite);
        ASSERT_TRUE(LockFile(theirLog, 0, 0, 1'000'000, 0));
        ASSERT_TRUE(LockFile(theirErrors, 0, 0, 1'000'000, 0));
        SetLastError(77);
        for (int i = 0; i < 3; ++i) object.LogGroup("Error", "C", "I", "lost");
        EXPECT_EQ(GetLastError(), 77u);
        manager->Writeln("lost", "G", "C", "I", 0);
        EXPECT_TRUE(UnlockFile(theirLog, 0, 0, 1'000'000, 0));
        EXPECT_TRUE(UnlockFile(theirErrors, 0, 0, 1'000'000, 0));
    }
    object.LogGroup("Error", "C", "I", "after");
    object.LogGroup("Error", "C", "I", "later");
    // Four lines, and three that were to tell of the error file.
    EXPECT_EQ(Logged(), (Lines{"Error : C : I : before", "Error : ODbgManagerCore : Writeln : 7 lines lost: the file did not take them",
                               "Error : C : I : after", "Error : C : I : later"}));
    const Lines errors = ErrorLines();
    ASSERT_EQ(errors.size(), 4u);
    EXPECT_TRUE(errors[1].starts_with("3 lines lost: the file did not take them . Error Occurred at ")) << errors[1];
    EXPECT_TRUE(errors[2].starts_with("after . Error Occurred at ")) << errors[2];
}

TEST_F(LogShared, ALineThatIsLostIsNotLoggedThroughACopyThatSharesTheFile)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine locks ranges against locking alone";
    Start(1);
    OSteppedManager copy(*manager);
    log.SetDbgManager(&copy);
    {
        const FileHandle theirs(msLog, kulReadWrite);
        ASSERT_TRUE(LockFile(theirs, 0, 0, 1'000'000, 0));
        manager->Writeln("lost", "G", "C", "I", 0);
        EXPECT_TRUE(UnlockFile(theirs, 0, 0, 1'000'000, 0));
    }
    copy.Writeln("after", "G", "C", "I", 0);
    EXPECT_EQ(Logged(), (Lines{"Error : ODbgManagerCore : Writeln : 1 lines lost: the file did not take them", "G : C : I : after"}));
    log.SetDbgManager(nullptr);
}

TEST_F(LogShared, TheLogTellsOfAnErrorFileThatTakesNothing)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine locks ranges against locking alone";
    Start(1);
    {
        const FileHandle theirs(msErrors, kulReadWrite);
        ASSERT_TRUE(LockFile(theirs, 0, 0, 1'000'000, 0));
        object.LogGroup("Error", "C", "I", "kept");
        EXPECT_TRUE(UnlockFile(theirs, 0, 0, 1'000'000, 0));
    }
    ASSERT_EQ(Logged().size(), 2u);
    EXPECT_EQ(Logged()[0], "Error : C : I : kept");
    EXPECT_TRUE(Logged()[1].ends_with("(9007) : Caught in OLogFile::Append")) << Logged()[1];
}

TEST_F(LogShared, LinesThatWereLostLastAreToldOfAtTheEnd)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine locks ranges against locking alone";
    Start(1);
    {
        const FileHandle theirLog(msLog, kulReadWrite), theirErrors(msErrors, kulReadWrite);
        ASSERT_TRUE(LockFile(theirLog, 0, 0, 1'000'000, 0));
        ASSERT_TRUE(LockFile(theirErrors, 0, 0, 1'000'000, 0));
        for (int i = 0; i < 2; ++i) object.LogGroup("Error", "C", "I", "lost");
        EXPECT_TRUE(UnlockFile(theirLog, 0, 0, 1'000'000, 0));
        EXPECT_TRUE(UnlockFile(theirErrors, 0, 0, 1'000'000, 0));
    }
    Stop();
    // Two lines, and two that were to tell of the error file.
    EXPECT_EQ(Logged(), Lines{"Error : ODbgManagerCore : Writeln : 4 lines lost: the file did not take them"});
    ASSERT_EQ(ErrorLines().size(), 1u);
    EXPECT_TRUE(ErrorLines()[0].starts_with("2 lines lost: the file did not take them . Error Occurred at ")) << ErrorLines()[0];
    EXPECT_EQ(LinesOf(msLog).back(), kpTerminatedBanner);
    EXPECT_EQ(LinesOf(msErrors).back(), kpTerminatedBanner);
}
