// The checked file: what it does to a file, its codes, and what it logs.
#include "OApiFile.h"

#include "FileHandle.h"
#include "LogRecorder.h"
#include "MessageRecorder.h"
#include "Raises.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

namespace
{
class OApiFileTest : public testing::Test
{
protected:
    using Lines = LogRecorder::Lines;
    using Boxes = MessageRecorder::Boxes;

    ULONG Open(OApiFile& file, ULONG ulCreation = OPEN_ALWAYS, ULONG ulAccess = kulReadWrite)
    {
        return file.Init(msPath.c_str(), ulCreation, ulAccess, FILE_SHARE_READ | FILE_SHARE_WRITE, FILE_ATTRIBUTE_NORMAL, nullptr,
                         nullptr);
    }

    LogRecorder log;
    MessageRecorder messages;
    TempFolder folder;
    const std::string msPath = folder / "file";
};

HANDLE HandleOf(OApiFile& file)
{
    void* hFile = nullptr;
    EXPECT_RAISES(file.GetHandle(&hFile), 9003);
    return hFile;
}

std::string FlushBoxDetails(int iError, unsigned int uApiError)
{
    char acText[256];
    std::snprintf(acText, sizeof acText, "EXCEPTION - Details | File=base/BaseAPI.cpp : Line=52 : Error=%d : ApiError=$%x", iError,
                  uApiError);
    return acText;
}
} // namespace

// Opening and closing --------------------------------------------------------------------------------------------------------

TEST_F(OApiFileTest, GoesUnderFileStorage)
{
    OApiFile file;
    file.Log("here");
    EXPECT_EQ(log.Others(), Lines{"FileStorage | OApiFile | Item | here"});
    EXPECT_EQ(file.GetErrorBase(), 9000u);
}

TEST_F(OApiFileTest, OpensInItsConstructorAndClosesInItsDestructor)
{
    {
        OApiFile file(msPath.c_str(), CREATE_NEW, kulReadWrite, 0, FILE_ATTRIBUTE_NORMAL, nullptr, nullptr);
        EXPECT_EQ(file.Write("lamp"), TRUE);
        EXPECT_EQ(OpenError(msPath, kulRead), DWORD(ERROR_SHARING_VIOLATION));
    }
    EXPECT_EQ(ReadText(msPath), "lamp");
    EXPECT_EQ(log.Places(), Lines{});
}

TEST_F(OApiFileTest, AFileThatIsNotThereIsCodeFiveAndLeavesTheObjectAsNew)
{
    OApiFile file;
    EXPECT_RAISES(Open(file, OPEN_EXISTING), 9005);
    EXPECT_EQ(log.Errors(), Lines{"OApiFile | Init | CreateFile (" + msPath + ") failed; System error: 2"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OApiFile::Init"});
    EXPECT_EQ(messages.Shown(), Boxes{});

    EXPECT_EQ(file.Done(), 1u);
    EXPECT_EQ(Open(file, CREATE_NEW), 0u);
}

TEST_F(OApiFileTest, AFailedOpenLeavesTheConstructorToo)
{
    const auto open = [&]
    {
        OApiFile(msPath.c_str(), OPEN_EXISTING, kulRead, 0, FILE_ATTRIBUTE_NORMAL, nullptr, nullptr);
    };
    EXPECT_EQ(RaisedCode(open), 9005u);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OApiFile::Init", "Caught in OApiFile::OApiFile"}));
}

// The access has the bit that makes Done flush, and there is nothing to flush.
TEST_F(OApiFileTest, AFailedOpenIsCodeFiveWhateverClosingItSays)
{
    OApiFile file;
    EXPECT_RAISES(Open(file, OPEN_EXISTING, FILE_READ_DATA), 9005);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OApiFile::Flush", "Caught in OApiFile::Done", "Caught in OApiFile::Init"}));
    EXPECT_EQ(messages.Shown(), (Boxes{"EXCEPTION : OAppException | Caught in CApi::FlushFileBuffers",
                                       FlushBoxDetails(8519, ERROR_INVALID_HANDLE)}));
    EXPECT_EQ(file.Done(), 1u);
}

TEST_F(OApiFileTest, ASecondInitIsCodeTwoAndLeavesTheFirstFileOpen)
{
    OApiFile file;
    Open(file);
    const HANDLE hFirst = HandleOf(file);
    log.Places();
    EXPECT_RAISES(file.Init((folder / "other").c_str(), CREATE_NEW, kulReadWrite, 0, 0, nullptr, nullptr), 9002);
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(log.Places(), Lines{"Caught in OApiFile::Init"});
    EXPECT_EQ(HandleOf(file), hFirst);
    EXPECT_EQ(file.Write("still"), TRUE);
    EXPECT_EQ(OpenError(folder / "other", kulRead), DWORD(ERROR_FILE_NOT_FOUND));
}

TEST_F(OApiFileTest, DoneOfAFileThatWasNeverOpenedIsOneAndDoesNothing)
{
    OApiFile file;
    EXPECT_EQ(file.Done(), 1u);
    EXPECT_EQ(file.Done(), 1u);
    EXPECT_EQ(log.Places(), Lines{});
}

TEST_F(OApiFileTest, ASecondDoneIsOne)
{
    OApiFile file;
    Open(file);
    EXPECT_EQ(file.Done(), 0u);
    EXPECT_EQ(file.Done(), 1u);
    EXPECT_EQ(OpenError(msPath, kulReadWrite, 0), DWORD(NO_ERROR));
    EXPECT_EQ(Open(file), 0u);
}

TEST_F(OApiFileTest, DoneFlushesOnlyWithBitZeroOfTheAccess)
{
    // A handle that may only read refuses the flush, which shows whether there was one.
    ASSERT_TRUE(WriteText(msPath, "lamp"));
    OApiFile generic, specific;
    Open(generic, OPEN_EXISTING, GENERIC_READ);
    EXPECT_EQ(generic.Done(), 0u);
    EXPECT_EQ(messages.Shown(), Boxes{});

    Open(specific, OPEN_EXISTING, FILE_READ_DATA);
    EXPECT_RAISES(specific.Done(), 8519);
    EXPECT_EQ(messages.Shown(), (Boxes{"EXCEPTION : OAppException | Caught in CApi::FlushFileBuffers",
                                       FlushBoxDetails(8519, ERROR_ACCESS_DENIED)}));
    EXPECT_EQ(log.Places(), (Lines{"Caught in OApiFile::Flush", "Caught in OApiFile::Done"}));

    OApiFile both;
    Open(both, OPEN_EXISTING, FILE_READ_DATA | FILE_WRITE_DATA);
    EXPECT_EQ(both.Done(), 0u);

    OApiFile writing;
    Open(writing, OPEN_EXISTING, GENERIC_WRITE);
    EXPECT_EQ(writing.Done(), 0u);
    EXPECT_EQ(messages.Shown(), Boxes{});
}

TEST_F(OApiFileTest, ADestructorWhoseFlushFailsLogsThatAndClosesTheFile)
{
    ASSERT_TRUE(WriteText(msPath, "lamp"));
    {
        OApiFile file(msPath.c_str(), OPEN_EXISTING, FILE_READ_DATA, 0, FILE_ATTRIBUTE_NORMAL, nullptr, nullptr);
    }
    EXPECT_EQ(log.Places(),
              (Lines{"Caught in OApiFile::Flush", "Caught in OApiFile::Done", "Caught in OApiFile::~OApiFile"}));
    EXPECT_EQ(OpenError(msPath, kulReadWrite, 0), DWORD(NO_ERROR));
}

TEST_F(OApiFileTest, ACopyHasTheSameHandleAndOneOfTheTwoCanCloseIt)
{
    {
        OApiFile file;
        Open(file);
        OApiFile copy(file);
        EXPECT_EQ(HandleOf(copy), HandleOf(file));
        copy.Write("both");
        log.Places();
        EXPECT_EQ(file.Done(), 0u);
        EXPECT_RAISES(copy.Done(), 8501);
        EXPECT_EQ(log.Places(), Lines{"Caught in OApiFile::Done"});
        EXPECT_EQ(messages.Shown(),
                  (Boxes{"EXCEPTION : OAppException | Caught in CApi::CloseHandle",
                         "EXCEPTION - Details | File=base/BaseAPI.cpp : Line=67 : Error=8501 : ApiError=$6"}));
    }
    EXPECT_EQ(log.Places(), (Lines{"Caught in OApiFile::Done", "Caught in OApiFile::~OApiFile"}));
    EXPECT_EQ(ReadText(msPath), "both");
}

// Reading and writing --------------------------------------------------------------------------------------------------------

TEST_F(OApiFileTest, WritesALineWithCarriageReturnAndLineFeed)
{
    OApiFile file;
    Open(file);
    EXPECT_EQ(file.Writeln("abc"), TRUE);
    EXPECT_EQ(file.Writeln(""), TRUE);
    EXPECT_EQ(ReadText(msPath), "abc\r\n\r\n");
}

TEST_F(OApiFileTest, WritesLinesOfEveryLength)
{
    std::string sAll;
    OApiFile file;
    Open(file);
    for (std::size_t ulChars : {1533u, 1534u, 1535u, 1536u, 1537u, 100'000u})
    {
        const std::string sLine(ulChars, static_cast<char>('a' + ulChars % 26));
        EXPECT_EQ(file.Writeln(sLine.c_str()), TRUE);
        sAll += sLine + "\r\n";
    }
    EXPECT_EQ(ReadText(msPath), sAll);
}

TEST_F(OApiFileTest, WritesALineAtThePosition)
{
    OApiFile file;
    Open(file);
    file.Write("0123456789");
    file.GoToPosition(2);
    EXPECT_EQ(file.Writeln("ab"), TRUE);
    EXPECT_EQ(file.MoveRelative(0), 6u);
    EXPECT_EQ(ReadText(msPath), "01ab\r\n6789");
}

TEST_F(OApiFileTest, ReadsBackAndTellsHowMuch)
{
    OApiFile file;
    Open(file);
    ULONG ulDone = 9;
    EXPECT_EQ(file.Write("hello", 5, &ulDone, nullptr), TRUE);
    EXPECT_EQ(ulDone, 5u);
    file.GoToStart();
    char acText[8] = {};
    EXPECT_EQ(file.Read(acText, 3, nullptr, nullptr), TRUE);
    EXPECT_STREQ(acText, "hel");
    EXPECT_EQ(file.Read(acText, 8, &ulDone, nullptr), TRUE);
    EXPECT_EQ(ulDone, 2u);
    EXPECT_EQ(file.Read(acText, 8, &ulDone, nullptr), TRUE);
    EXPECT_EQ(ulDone, 0u);
}

TEST_F(OApiFileTest, TransfersAtAnOffset)
{
    OApiFile file;
    Open(file);
    file.Write("0123456789");
    OVERLAPPED at{};
    at.Offset = 3;
    ULONG ulDone = 0;
    EXPECT_EQ(file.Write("xy", 2, nullptr, &at), TRUE);
    char acText[4] = {};
    EXPECT_EQ(file.Read(acText, 3, &ulDone, &at), TRUE);
    EXPECT_STREQ(acText, "xy5");
    EXPECT_EQ(ulDone, 3u);
    at.Offset = 100; // behind the end
    EXPECT_RAISES(file.Read(acText, 3, &ulDone, &at), 9006);
}

TEST_F(OApiFileTest, NoBufferIsCodeThreeAndNothingIsWritten)
{
    OApiFile file;
    Open(file);
    EXPECT_RAISES(file.Read(nullptr, 1, nullptr, nullptr), 9003);
    EXPECT_EQ(log.Places(), Lines{"Caught in OApiFile::Read"});
    EXPECT_RAISES(file.Write(nullptr, 0, nullptr, nullptr), 9003);
    EXPECT_EQ(log.Places(), Lines{"Caught in OApiFile::Write"});
    EXPECT_RAISES(file.Write(nullptr), 9003);
    EXPECT_EQ(log.Places(), Lines{"Caught in OApiFile::Write"});
    EXPECT_RAISES(file.Writeln(nullptr), 9003);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OApiFile::Write", "Caught in OApiFile::Writeln"}));
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(file.GetFileSize(), 0u);
}

TEST_F(OApiFileTest, WhatTheAccessDoesNotAllowIsCodeSixOrSeven)
{
    ASSERT_TRUE(WriteText(msPath, "lamp"));
    char cByte = 0;
    OApiFile reading, writing;
    Open(reading, OPEN_EXISTING, kulRead);
    Open(writing, OPEN_EXISTING, kulWrite);
    EXPECT_RAISES(reading.Write("x"), 9007);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(log.Places(), Lines{"Caught in OApiFile::Write"});
    EXPECT_RAISES(reading.Writeln("x"), 9007);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OApiFile::Write", "Caught in OApiFile::Writeln"}));
    EXPECT_RAISES(writing.Read(&cByte, 1, nullptr, nullptr), 9006);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(log.Places(), Lines{"Caught in OApiFile::Read"});
    EXPECT_EQ(log.Errors(), Lines{});
}

// Positions and size ---------------------------------------------------------------------------------------------------------

TEST_F(OApiFileTest, MovesItsPosition)
{
    OApiFile file;
    Open(file);
    file.Write("0123456789");
    EXPECT_EQ(file.GoToStart(), 0u);
    EXPECT_EQ(file.GoToEof(), 10u);
    EXPECT_EQ(file.MoveRelative(-3), 7u);
    EXPECT_EQ(file.GoToPosition(20), 20u);
    EXPECT_EQ(file.GetFileSize(), 10u);
}

TEST_F(OApiFileTest, APositionBeforeTheStartIsCodeEight)
{
    OApiFile file;
    Open(file);
    file.Write("0123");
    EXPECT_RAISES(file.GoToPosition(-1), 9008);
    EXPECT_EQ(log.Places(), Lines{"Caught in OApiFile::GoToPosition"});
    EXPECT_RAISES(file.MoveRelative(-5), 9008);
    EXPECT_EQ(log.Places(), Lines{"Caught in OApiFile::MoveRelative"});
    EXPECT_EQ(file.MoveRelative(0), 4u);
}

TEST_F(OApiFileTest, TheLastPositionOf32BitsIsCodeEightLikeAFailure)
{
    OApiFile file;
    Open(file);
    LONG lHigh = 0;
    SetFilePointer(HandleOf(file), -1, &lHigh, FILE_BEGIN); // refused: a negative high part is missing
    lHigh = 0;
    SetFilePointer(HandleOf(file), static_cast<LONG>(0xFFFFFFFE), &lHigh, FILE_BEGIN);
    EXPECT_RAISES(file.MoveRelative(1), 9008);
}

TEST_F(OApiFileTest, TellsTheLowerHalfOfALargeSize)
{
    OApiFile file;
    Open(file);
    const HANDLE hFile = HandleOf(file);
    LONG lHigh = 1;
    SetFilePointer(hFile, 7, &lHigh, FILE_BEGIN);
    if (!SetEndOfFile(hFile)) GTEST_SKIP() << "the file system holds no file of 4 GB";
    EXPECT_EQ(file.GetFileSize(), 7u);
}

TEST_F(OApiFileTest, TheSizeIsCodeZeroWithoutAFileAndForAClosedOne)
{
    OApiFile file;
    EXPECT_RAISES(file.GetFileSize(), 9000);
    EXPECT_EQ(log.Places(), Lines{"Caught in OApiFile::GetFileSize"});
    Open(file);
    CloseHandle(HandleOf(file));
    EXPECT_RAISES(file.GetFileSize(), 9000);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_HANDLE));
    file.ApiFileInit();
}

// Without a file, and with the wrong one -------------------------------------------------------------------------------------

TEST_F(OApiFileTest, EveryMemberButFlushAndSizeIsCodeOneWithoutAFile)
{
    OApiFile file;
    char cByte = 0;
    void* hFile = &cByte;
    EXPECT_RAISES(file.Read(&cByte, 1, nullptr, nullptr), 9001);
    EXPECT_RAISES(file.Read(nullptr, 1, nullptr, nullptr), 9001);
    EXPECT_RAISES(file.Write("x"), 9001);
    EXPECT_RAISES(file.Write(nullptr), 9001);
    EXPECT_RAISES(file.GoToEof(), 9001);
    EXPECT_RAISES(file.GoToStart(), 9001);
    EXPECT_RAISES(file.GoToPosition(0), 9001);
    EXPECT_RAISES(file.MoveRelative(0), 9001);
    EXPECT_RAISES(file.GetHandle(&hFile), 9001);
    EXPECT_EQ(hFile, nullptr);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OApiFile::Read", "Caught in OApiFile::Read", "Caught in OApiFile::Write",
                                   "Caught in OApiFile::Write", "Caught in OApiFile::GoToEof", "Caught in OApiFile::GoToStart",
                                   "Caught in OApiFile::GoToPosition", "Caught in OApiFile::MoveRelative",
                                   "Caught in OApiFile::GetHandle"}));
    EXPECT_RAISES(file.Writeln("x"), 9001);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OApiFile::Write", "Caught in OApiFile::Writeln"}));
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(messages.Shown(), Boxes{});
}

TEST_F(OApiFileTest, AFlushWithoutAFileRaisesTheSystemCallsOwnCode)
{
    OApiFile file;
    EXPECT_RAISES(file.Flush(), 8505);
    EXPECT_EQ(log.Places(), Lines{"Caught in OApiFile::Flush"});
    EXPECT_EQ(messages.Shown(),
              (Boxes{"EXCEPTION : OAppException | Caught in CApi::FlushFileBuffers", FlushBoxDetails(8505, 0)}));
}

TEST_F(OApiFileTest, FlushesAFileThatIsWrittenTo)
{
    OApiFile file;
    Open(file);
    file.Write("x");
    EXPECT_EQ(file.Flush(), TRUE);
}

TEST_F(OApiFileTest, GivesTheHandleAndRaisesThree)
{
    OApiFile file;
    Open(file);
    void* hFile = nullptr;
    EXPECT_RAISES(file.GetHandle(&hFile), 9003);
    EXPECT_EQ(log.Places(), Lines{"Caught in OApiFile::GetHandle"});
    EXPECT_EQ(GetFileType(hFile), DWORD(FILE_TYPE_DISK));
    EXPECT_RAISES(file.GetHandle(nullptr), 9003);
}

TEST_F(OApiFileTest, AHandleThatWasClosedElsewhereFailsInEveryCall)
{
    OApiFile file;
    Open(file);
    CloseHandle(HandleOf(file));
    log.Places();
    char cByte = 0;
    EXPECT_RAISES(file.Read(&cByte, 1, nullptr, nullptr), 9006);
    EXPECT_RAISES(file.Write("x"), 9007);
    EXPECT_RAISES(file.Writeln("x"), 9007);
    EXPECT_RAISES(file.GoToEof(), 9008);
    EXPECT_RAISES(file.Flush(), 8519);
    EXPECT_RAISES(file.Done(), 8501);
    EXPECT_EQ(file.ApiFileInit(), 0u);
    EXPECT_EQ(file.Done(), 1u);
}

TEST_F(OApiFileTest, NamesThatCannotBeOpenedSayWhy)
{
    const auto error = [&](const char* pName)
    {
        OApiFile file;
        EXPECT_RAISES(file.Init(pName, OPEN_EXISTING, kulRead, 0, FILE_ATTRIBUTE_NORMAL, nullptr, nullptr), 9005) << pName;
        const Lines errors = log.Errors();
        return errors.size() == 1 ? errors[0].substr(errors[0].rfind(' ') + 1) : std::to_string(errors.size()) + " errors";
    };
    EXPECT_EQ(error(folder.Path().c_str()), "5");
    EXPECT_EQ(error((folder / "none/file").c_str()), "3");
    EXPECT_EQ(error(""), "3");
    EXPECT_EQ(error((folder / "a?b").c_str()), "123");
    EXPECT_EQ(error((folder / std::string(300, 'n')).c_str()), "206");
}

TEST_F(OApiFileTest, ANameTooLongForALogLineIsShownInABox)
{
    OApiFile file;
    const std::string sName = folder / std::string(2000, 'n');
    EXPECT_RAISES(file.Init(sName.c_str(), OPEN_EXISTING, kulRead, 0, FILE_ATTRIBUTE_NORMAL, nullptr, nullptr), 9005);
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(messages.Shown(), Boxes{"ERROR | Error from OBase::LogGroup"});
}
