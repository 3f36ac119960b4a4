// lum log view, as a user runs it.
#include "LumProgram.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace
{
const std::string ksStarted = "*********************** Application Started [2026:11:21  16:30] ***********************\r\n";
const std::string ksNextStarted = "*********************** Application Started [2026:11:22  8:5] ***********************\r\n";
const std::string ksEnded = "*********************** Application Terminated ****************************\r\n";
const std::string ksBoot = "       0.001 : Comms : OSerial : Item : port open\r\n";
const std::string ksFailure = "      12.500 : ExceptionApp : OModelParams : Item : Error 19004 : Caught in A::B\r\n";
const std::string ksWarning = "      20.000 : Warning : OMutex : Done : Mutex closed while still owned\r\n";
const std::string ksTwoRuns = ksStarted + ksBoot + ksFailure + ksEnded + ksNextStarted + ksBoot + ksWarning + ksEnded;

class LumLogView : public LumProgram
{
protected:
    std::string Log(const std::string& sText)
    {
        WriteFileText(File("App.log"), sText);
        return File("App.log");
    }
    std::string View(const std::string& sText, std::vector<std::string> words = {})
    {
        words.insert(words.begin(), {"log", "view", Log(sText)});
        return LumOutput(words);
    }
};

TEST_F(LumLogView, LinesStandInColumnsBelowTheirRun)
{
    EXPECT_EQ(View(ksTwoRuns), "Run started 2026-11-21 16:30\n"
                               "       0.001  Comms         OSerial       Item      port open\n"
                               "      12.500  ExceptionApp  OModelParams  Item      Error 19004 : Caught in A::B\n"
                               "Run ended\n"
                               "\n"
                               "Run started 2026-11-22 08:05\n"
                               "       0.001  Comms         OSerial       Item      port open\n"
                               "      20.000  Warning       OMutex        Done      Mutex closed while still owned\n"
                               "Run ended\n");
}

TEST_F(LumLogView, ErrorsAreShownAloneEachBelowItsRun)
{
    EXPECT_EQ(View(ksTwoRuns, {"--errors"}), "Run started 2026-11-21 16:30\n"
                                             "      12.500  ExceptionApp  OModelParams  Item      Error 19004 : Caught in A::B\n"
                                             "\n"
                                             "Run started 2026-11-22 08:05\n"
                                             "      20.000  Warning       OMutex        Done      Mutex closed while still owned\n");
}

TEST_F(LumLogView, ALineMustAnswerEveryQuestion)
{
    const std::string sRow = "       0.001  Comms         OSerial       Item      port open\n";
    EXPECT_EQ(View(ksTwoRuns, {"--group", "comms", "--class", "OSERIAL", "--last-run"}), "Run started 2026-11-22 08:05\n" + sRow);
    const std::string sBoth = View(ksTwoRuns, {"-g", "Comms", "-g", "Warning", "-l"});
    EXPECT_NE(sBoth.find("port open"), sBoth.npos);
    EXPECT_NE(sBoth.find("still owned"), sBoth.npos);
    EXPECT_EQ(View(ksTwoRuns, {"--since", "12.501"}), "Run started 2026-11-22 08:05\n"
                                                      "      20.000  Warning       OMutex        Done      Mutex closed while still owned\n");
    EXPECT_NE(View(ksTwoRuns, {"--since", "12.5"}).find("19004"), std::string::npos);
    ExpectRefusal({"log", "view", Log(ksTwoRuns), "--errors", "--group", "Comms"}, 1, "has no line that was asked for");
}

TEST_F(LumLogView, TheFirstFailureOfTheLastRunIsOneCommandAway)
{
    EXPECT_EQ(View(ksTwoRuns + ksNextStarted + ksBoot + ksFailure + ksWarning, {"--last-run", "--errors", "--first", "1"}),
              "Run started 2026-11-22 08:05\n"
              "      12.500  ExceptionApp  OModelParams  Item      Error 19004 : Caught in A::B\n");
}

TEST_F(LumLogView, ATextGoesOnBelowItself)
{
    const std::string sLog = ksStarted + "       1.000 : Error : C : I : first\r\nsecond\r\n\r\n" + ksBoot + "third\r\n";
    EXPECT_EQ(View(sLog, {"--errors"}), "Run started 2026-11-21 16:30\n"
                                        "       1.000  Error         C             I         first\n" +
                                            std::string(52, ' ') + "second\n" + std::string(52, ' ') + "\n");
    EXPECT_EQ(View(sLog, {"--json", "--first", "1"}),
              "{\"run\": \"2026-11-21 16:30\", \"seconds\": 1.000, \"group\": \"Error\", \"class\": \"C\", \"item\": \"I\", "
              "\"text\": \"first\\u000asecond\\u000a\"}\n");
}

TEST_F(LumLogView, TheErrorFileIsShownWithItsTimes)
{
    const std::string sLog = ksStarted + "Object is not initialised . Error Occurred at 15-Nov-05 01:02:03 PM\r\n";
    EXPECT_EQ(View(sLog, {"--errors"}), "Run started 2026-11-21 16:30\n15-Nov-05 01:02:03 PM  Object is not initialised\n");
    EXPECT_EQ(View(sLog, {"--json", "--group", "Error"}),
              "{\"run\": \"2026-11-21 16:30\", \"occurred\": \"15-Nov-05 01:02:03 PM\", \"text\": \"Object is not initialised\"}\n");
}

TEST_F(LumLogView, ANoteOnALineThatCouldNotBeWrittenIsAnError)
{
    EXPECT_EQ(View(ksStarted + ksBoot + "ODbgManager::Writeln : Length=3 : pText=abc\r\n", {"--errors"}),
              "Run started 2026-11-21 16:30\nODbgManager::Writeln : Length=3 : pText=abc\n");
}

TEST_F(LumLogView, ControlCharactersAreSpelledOut)
{
    EXPECT_EQ(View("       1.000 : G\x1b[2J : C : I : a\tb\x07\r\n"), "       1.000  G\\x1b[2J      C             I         a\\tb\\x07\n");
}

TEST_F(LumLogView, LongNamesMoveTheColumnsOnce)
{
    EXPECT_EQ(View("       1.000 : G : C : I : a\n       2.000 : AGroupOfSixteen_ : C : I : b\n       3.000 : G : C : I : c\n"),
              "       1.000  G             C             I         a\n"
              "       2.000  AGroupOfSixteen_  C             I         b\n"
              "       3.000  G                 C             I         c\n");
}

TEST_F(LumLogView, LinesEndInLineFeedsToo)
{
    EXPECT_EQ(View("       1.000 : G : C : I : a\n       2.000 : G : C : I : without an end"),
              "       1.000  G             C             I         a\n"
              "       2.000  G             C             I         without an end\n");
}

TEST_F(LumLogView, AFileThatIsNoLogIsShownAsItIs)
{
    EXPECT_EQ(View(std::string("one\0two\n\xFF\xFE\n", 11)).substr(0, 11), "one\\x00two\n");
    ExpectRefusal({"log", "view", Log("one\ntwo\n"), "--errors"}, 1, "has no line that was asked for");
}

TEST_F(LumLogView, ALineLongerThanAnyBufferIsShownWhole)
{
    const std::string sLong(3'000'000, 'x');
    std::string sOutput = View("       1.000 : Error : C : I : " + sLong + "\r\n" + ksBoot, {"--errors"});
    std::erase_if(sOutput, [](char c) { return c != 'x'; });
    EXPECT_TRUE(sOutput == sLong) << sOutput.size();
}

TEST_F(LumLogView, LinesAreWholeWhereverTheFileIsCutForReading)
{
    std::string sLog = ksStarted;
    size_t uErrors = 0;
    for (int i = 0; i < 20'000; ++i) // of all lengths, so that one of them lies across each border
    {
        sLog += "       1.000 : " + std::string(i % 7 ? "Comms" : "Error") + " : C : I : " + std::string(static_cast<size_t>(i % 97), 'x') + "\r\n";
        uErrors += i % 7 == 0;
    }
    const std::string sOutput = View(sLog, {"--errors"});
    EXPECT_EQ(static_cast<size_t>(std::ranges::count(sOutput, '\n')), uErrors + 1);
    EXPECT_EQ(sOutput.find("Comms"), sOutput.npos);
}

TEST_F(LumLogView, TheLastRunIsFoundWhereverItBegins)
{
    for (size_t uBytes : {0u, 200'000u, 262'000u, 262'080u, 262'140u, 262'144u, 262'230u, 600'000u})
    {
        std::string sRun = ksNextStarted + ksFailure;
        for (int i = 0; sRun.size() < uBytes; ++i) sRun += "       1.000 : Comms : C : I : " + std::string(static_cast<size_t>(i % 90), 'x') + "\n";
        sRun.resize(std::max(uBytes, ksNextStarted.size() + ksFailure.size()));
        EXPECT_EQ(View(ksTwoRuns + sRun, {"--last-run", "--errors"}),
                  "Run started 2026-11-22 08:05\n      12.500  ExceptionApp  OModelParams  Item      Error 19004 : Caught in A::B\n")
            << uBytes;
    }
    EXPECT_NE(View(ksFailure, {"--last-run"}).find("19004"), std::string::npos);
}

TEST_F(LumLogView, ATextThatSpeaksOfAStartBeginsNoRun)
{
    const std::string sLog = ksStarted + "       1.000 : G : C : I : * Application Started [2026:11:21  16:30] *\r\n";
    EXPECT_TRUE(View(sLog, {"--last-run"}).starts_with("Run started 2026-11-21 16:30\n       1.000  G"));
}

TEST_F(LumLogView, NothingToShowIsAnAnswer)
{
    ExpectRefusal({"log", "view", Log("")}, 1, "holds no lines");
    ExpectRefusal({"log", "view", Log(""), "--last-run"}, 1, "holds no lines");
    ExpectRefusal({"log", "view", Log(ksStarted + ksBoot), "--errors"}, 1, "has no line that was asked for");
    ExpectRefusal({"log", "view", Log(ksStarted), "--json", "--errors"}, 1, "has no line that was asked for");
}

TEST_F(LumLogView, WhatCannotBeReadIsAFailure)
{
    ExpectRefusal({"log", "view", File("none.log")}, 3, "failed: ");
    ExpectRefusal({"log", "view", File("none.log"), "--follow"}, 3, "failed: ");
    ExpectRefusal({"log", "view", File("")}, 3, "is a folder");
    ExpectRefusal({"log", "view"}, 2, "FILE");
    ExpectRefusal({"log", "view", Log(ksBoot), "--since", "-1"}, 2, "--since");
    ExpectRefusal({"log", "view", Log(ksBoot), "--since", "soon"}, 2, "--since");
    ExpectRefusal({"log", "view", Log(ksBoot), "--first", "0"}, 2, "--first");
}

TEST_F(LumLogView, AFileThatIsOpenForWritingIsRead)
{
    const std::string sPath = Log(ksBoot);
    const HANDLE hWriter = CreateFileA(sPath.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                       FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(hWriter, INVALID_HANDLE_VALUE);
    EXPECT_NE(LumOutput({"log", "view", sPath}).find("port open"), std::string::npos);
    CloseHandle(hWriter);
}

// ---- --follow: lum ends by itself when it has shown as many entries as it was asked for.

class LumLogFollow : public LumLogView
{
protected:
    // Does step(0), step(1), ... until lum has shown uEntries; returns its output.
    template <class Step>
    std::string Follow(const std::string& sPath, int iEntries, Step step)
    {
        ProgramResult result;
        std::atomic<bool> bEnded = false;
        std::thread viewer([&] {
            do result = Lum({"log", "view", sPath, "--follow", "--first", std::to_string(iEntries)});
            while (result.iStatus == 3); // the file was not there at its start
            bEnded = true;
        });
        for (int i = 0; !bEnded; ++i)
        {
            step(i);
            Sleep(50);
        }
        viewer.join();
        EXPECT_EQ(result.iStatus, 0) << result.sErr;
        return result.sOut;
    }
    static std::string Entry(int i) { return "       1.000 : G : C : I : text " + std::to_string(i) + "\r\n"; }
    static size_t Texts(const std::string& sOutput, const char* pText = "  text ")
    {
        size_t uFound = 0;
        for (size_t u = 0; (u = sOutput.find(pText, u)) != sOutput.npos; ++u) ++uFound;
        return uFound;
    }
};

TEST_F(LumLogFollow, WhatIsAppendedIsShownOnceAndInOrder)
{
    const std::string sPath = Log(ksStarted);
    const std::string sOutput = Follow(sPath, 5, [&](int i) {
        std::ofstream log(sPath, std::ios::binary | std::ios::app);
        log << Entry(i).substr(0, 20) << std::flush; // in two pieces: a line is shown when it is whole
        Sleep(20);
        log << Entry(i).substr(20);
    });
    std::string sExpected = "Run started 2026-11-21 16:30\n";
    for (int i = 0; i < 5; ++i) sExpected += "       1.000  G             C             I         text " + std::to_string(i) + "\n";
    EXPECT_EQ(sOutput, sExpected);
}

TEST_F(LumLogFollow, AFileThatIsCutIsReadFromItsBeginning)
{
    const std::string sPath = Log(Entry(99));
    EXPECT_EQ(Texts(Follow(sPath, 4, [&](int i) { WriteFileText(sPath, Entry(i)); })), 4u);
}

TEST_F(LumLogFollow, AFileThatIsReplacedByALongerOneIsReadFromItsBeginning)
{
    const std::string sPath = Log(Entry(99)), sNew = File("New.log");
    const std::string sOutput = Follow(sPath, 8, [&](int i) {
        std::string sText;
        for (int iLine = 0; iLine <= i; ++iLine) sText += Entry(1000 * (i + 1) + iLine);
        WriteFileText(sNew, sText);
        MoveFileExA(sNew.c_str(), sPath.c_str(), MOVEFILE_REPLACE_EXISTING); // fails in the moment in which lum reads
    });
    EXPECT_EQ(Texts(sOutput), 8u);
    EXPECT_GE(Texts(sOutput, "000\n"), 2u) << sOutput; // the first lines of two files at least
}

TEST_F(LumLogFollow, AFileThatGoesAndComesBackIsFollowed)
{
    const std::string sPath = Log(Entry(99));
    const std::string sOutput = Follow(sPath, 3, [&](int i) {
        DeleteFileA(sPath.c_str());
        Sleep(200);
        WriteFileText(sPath, Entry(i));
        Sleep(200);
    });
    EXPECT_EQ(Texts(sOutput), 3u);
}
} // namespace
