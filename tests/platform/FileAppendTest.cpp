// Writes at the end of a file that several programs write to.
#include "FileHandle.h"
#include "OtherProcess.h"
#include "TempFolder.h"
#include "Wine.h"

#include <gtest/gtest.h>

#include <sstream>

static BOOL Append(HANDLE hFile, const std::string& sText, DWORD* pulDone)
{
    OVERLAPPED atEnd{};
    atEnd.Offset = atEnd.OffsetHigh = 0xFFFFFFFF;
    return WriteFile(hFile, sText.data(), static_cast<DWORD>(sText.size()), pulDone, &atEnd);
}

// A line that shows who wrote it and whether it is whole.
static std::string Line(char cWriter, int iLine)
{
    return cWriter + std::to_string(iLine) + std::string(static_cast<std::size_t>(iLine % 90), cWriter) + ".\r\n";
}

// Takes orders: append WRITER LINES PATH. Answers with the number of lines written.
static std::string AnswerAppender(const std::string& sOrder)
{
    std::istringstream order(sOrder);
    std::string sVerb, sPath;
    char cWriter = 0;
    int iLines = 0, iWritten = 0;
    order >> sVerb >> cWriter >> iLines >> std::ws;
    std::getline(order, sPath);
    const FileHandle file(sPath, kulReadWrite, kulShareAll, OPEN_ALWAYS);
    for (int i = 0; i < iLines; ++i)
    {
        const std::string sLine = Line(cWriter, i);
        DWORD ulDone = 0;
        if (Append(file, sLine, &ulDone) && ulDone == sLine.size()) ++iWritten;
    }
    return std::to_string(iWritten);
}
static const OtherRole kAppender("file-appender", AnswerAppender);

// Lets two processes write to one file, checks every line of it, and tells how often the writer changed from line to line.
static int ChangesOfTwoAppenders(int iLines)
{
    const std::string sCount = std::to_string(iLines);
    TempFolder folder;
    const std::string sFile = folder / "log";
    {
        OtherProcess a("file-appender"), b("file-appender");
        a.Tell("append a " + sCount + ' ' + sFile);
        b.Tell("append b " + sCount + ' ' + sFile);
        EXPECT_EQ(a.Answer(), sCount);
        EXPECT_EQ(b.Answer(), sCount);
    }
    int iNextA = 0, iNextB = 0, iChanges = 0;
    char cBefore = 0;
    std::istringstream lines(ReadText(sFile));
    for (std::string sLine; std::getline(lines, sLine) && !testing::Test::HasFailure(); cBefore = sLine[0])
    {
        sLine += '\n';
        int& iNext = sLine[0] == 'a' ? iNextA : iNextB;
        EXPECT_EQ(sLine, Line(sLine[0], iNext));
        ++iNext;
        iChanges += sLine[0] != cBefore;
    }
    EXPECT_EQ(iNextA, iLines);
    EXPECT_EQ(iNextB, iLines);
    return iChanges;
}

TEST(FileAppend, LeavesEveryLineOfTwoProcessesWhole)
{
    if (RunsUnderWine()) GTEST_SKIP() << "Wine looks up where the end is and then writes there, over what has come meanwhile";
    // A busy machine may run one process after the other, which shows nothing: then once more.
    int iChanges = 0;
    for (int iTry = 0; iTry < 100 && iChanges <= 2 && !HasFailure(); ++iTry) iChanges = ChangesOfTwoAppenders(10'000);
    EXPECT_GT(iChanges, 2) << "the two never wrote at the same time";
}

TEST(FileAppend, FollowsAnEndThatAnotherHandleMoved)
{
    TempFolder folder;
    const FileHandle ours(folder / "log", kulReadWrite, kulShareAll, CREATE_NEW), theirs(folder / "log", kulReadWrite);
    DWORD ulDone = 0;
    EXPECT_TRUE(Append(ours, "one ", &ulDone));
    EXPECT_TRUE(Append(theirs, "two ", &ulDone));
    EXPECT_TRUE(Append(ours, "three", &ulDone));
    EXPECT_EQ(ulDone, 5u);
    EXPECT_EQ(SetFilePointer(ours, 0, nullptr, FILE_CURRENT), 13u);
    EXPECT_EQ(ReadText(folder / "log"), "one two three");
}

TEST(FileAppend, IsKeptOutOfBytesThatAnotherHasLockedBehindTheEnd)
{
    TempFolder folder;
    const FileHandle ours(folder / "log", kulReadWrite, kulShareAll, CREATE_NEW), theirs(folder / "log", kulReadWrite);
    DWORD ulDone = 0;
    ASSERT_TRUE(Append(ours, "one ", &ulDone));
    SetFilePointer(ours, 0, nullptr, FILE_BEGIN);
    ASSERT_TRUE(LockFile(theirs, 4, 0, 10, 0));
    // Wine locks ranges against locking alone.
    EXPECT_EQ(ErrorOf(Append(ours, "two ", &ulDone)), WineSays<DWORD>(NO_ERROR, ERROR_LOCK_VIOLATION));
    ASSERT_TRUE(UnlockFile(theirs, 4, 0, 10, 0));
    EXPECT_EQ(ReadText(folder / "log"), WineSays<std::string>("one two ", "one "));
}

TEST(FileAppend, LeavesThePositionBehindItsBytesForWhateverComesNext)
{
    TempFolder folder;
    ASSERT_TRUE(WriteText(folder / "log", "one two "));
    const FileHandle file(folder / "log", kulReadWrite);
    char acRead[8] = {};
    DWORD ulDone = 0;
    ASSERT_TRUE(ReadFile(file, acRead, 3, &ulDone, nullptr));
    ASSERT_TRUE(Append(file, "three", &ulDone));
    ASSERT_TRUE(WriteFile(file, " four", 5, &ulDone, nullptr)); // at the position
    ASSERT_TRUE(Append(file, " five", &ulDone));
    EXPECT_EQ(SetFilePointer(file, -4, nullptr, FILE_CURRENT), 19u);
    ASSERT_TRUE(ReadFile(file, acRead, 8, &ulDone, nullptr));
    EXPECT_EQ(std::string(acRead, ulDone), "five");
    ASSERT_TRUE(Append(file, " six", &ulDone));
    SetFilePointer(file, 0, nullptr, FILE_BEGIN);
    ASSERT_TRUE(WriteFile(file, "ONE", 3, &ulDone, nullptr));
    ASSERT_TRUE(SetEndOfFile(file));
    EXPECT_EQ(ReadText(folder / "log"), "ONE");
    ASSERT_TRUE(Append(file, "!", &ulDone));
    EXPECT_EQ(ReadText(folder / "log"), "ONE!");
}
