// The trailer of a data file: appended, checked and cut off again.
#include "OCRCFile.h"

#include "FileHandle.h"
#include "LogRecorder.h"
#include "OException.h"
#include "PlainCrc.h"
#include "Raises.h"
#include "RecordingSecurity.h"
#include "TempFolder.h"
#include "Wine.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace
{
using Lines = LogRecorder::Lines;

class OCRCFileTest : public testing::Test
{
protected:
    OString File(const std::string& sBytes)
    {
        EXPECT_TRUE(WriteText(msPath, sBytes));
        return msPath.c_str();
    }
    std::string Bytes() const { return ReadText(msPath); }
    FileHandle FileAt(LONGLONG llPlace) const
    {
        LARGE_INTEGER place{};
        place.QuadPart = llPlace;
        FileHandle file(msPath, kulReadWrite);
        EXPECT_TRUE(SetFilePointerEx(file, place, nullptr, FILE_BEGIN));
        return file;
    }
    bool IsFree() const { return OpenError(msPath, kulReadWrite, 0) == NO_ERROR; } // nobody has it open

    TempFolder folder;
    const std::string msPath = folder / "data";
    LogRecorder log;
    OCRCFile crc;
};
} // namespace

TEST_F(OCRCFileTest, HasItsGroupItsErrorBaseAndNoFields)
{
    crc.Log("here");
    EXPECT_EQ(log.Others(), Lines{"CRC | OCRCFile | Item | here"});
    EXPECT_EQ(crc.GetErrorBase(), 9000u);
    static_assert(sizeof(OCRCFile) == sizeof(OBase));

    crc.SetGroup("Mine");
    crc.SetErrorBase(1);
    OCRCFile copy(crc), assigned;
    assigned = crc;
    copy.Log("copied");
    assigned.Log("assigned");
    EXPECT_EQ(log.Others(), (Lines{"Mine | OCRCFile | Item | copied", "Mine | OCRCFile | Item | assigned"}));
    EXPECT_EQ(copy.GetErrorBase(), 1u);
}

// The trailer ----------------------------------------------------------------------------------------------------------------

TEST_F(OCRCFileTest, AppendsTheLowByteFirst)
{
    EXPECT_EQ(crc.AppendCRC(File("123456789")), 1);
    EXPECT_EQ(Bytes(), "123456789\xC3\x31");
    EXPECT_EQ(crc.CheckCRC(msPath.c_str()), 1);
    EXPECT_TRUE(IsFree());
}

TEST_F(OCRCFileTest, NoticesWhicheverByteWasChanged)
{
    const std::string sGood = "123456789\xC3\x31";
    for (std::size_t i = 0; i < sGood.size(); ++i)
    {
        std::string sBad = sGood;
        sBad[i] = static_cast<char>(sBad[i] ^ 0x10);
        EXPECT_EQ(crc.CheckCRC(File(sBad)), 0) << i;
        EXPECT_EQ(GetLastError(), DWORD(NO_ERROR));
        EXPECT_EQ(Bytes(), sBad);
        EXPECT_TRUE(IsFree());
    }
    EXPECT_EQ(crc.CheckCRC(File(sGood)), 1);
}

TEST_F(OCRCFileTest, AnEmptyFileGetsATrailerOfZeros)
{
    EXPECT_EQ(crc.AppendCRC(File("")), 1);
    EXPECT_EQ(Bytes(), std::string(2, '\0'));
    EXPECT_EQ(crc.CheckCRC(msPath.c_str()), 1);
}

TEST_F(OCRCFileTest, ATrailerMayFollowATrailer)
{
    const OString sFile = File("123456789");
    EXPECT_EQ(crc.AppendCRC(sFile), 1);
    EXPECT_EQ(crc.AppendCRC(sFile), 1);
    EXPECT_EQ(Bytes().size(), 13u);
    EXPECT_EQ(crc.CheckCRC(sFile), 1);
    EXPECT_EQ(crc.UndoAppendCRC(sFile), 1);
    EXPECT_EQ(Bytes(), "123456789\xC3\x31");
    EXPECT_EQ(crc.CheckCRC(sFile), 1);
    EXPECT_EQ(crc.UndoAppendCRC(sFile), 1);
    EXPECT_EQ(Bytes(), "123456789");
}

TEST_F(OCRCFileTest, UndoingCutsWhateverIsThere)
{
    EXPECT_EQ(crc.UndoAppendCRC(File("no trailer")), 1);
    EXPECT_EQ(Bytes(), "no trail");
    EXPECT_EQ(crc.UndoAppendCRC(File("ab")), 1);
    EXPECT_EQ(Bytes(), "");
    EXPECT_TRUE(IsFree());
}

TEST_F(OCRCFileTest, UndoingLeavesAFileThatIsTooShort)
{
    for (const char* pBytes : {"", "A"})
    {
        EXPECT_EQ(crc.UndoAppendCRC(File(pBytes)), 0);
        EXPECT_EQ(GetLastError(), DWORD(ERROR_NEGATIVE_SEEK));
        EXPECT_EQ(Bytes(), pBytes);
        EXPECT_TRUE(IsFree());
    }
    EXPECT_EQ(log.Errors(), Lines{});
}

TEST_F(OCRCFileTest, ChecksAFileThatIsTooShortForATrailerAgainstZero)
{
    EXPECT_EQ(crc.CheckCRC(File("")), 1);
    EXPECT_EQ(crc.CheckCRC(File("A")), 0);
    EXPECT_EQ(GetLastError(), DWORD(NO_ERROR));
    EXPECT_EQ(crc.CheckCRC(File(std::string(1, '\0'))), 1);
    EXPECT_EQ(crc.CheckCRC(File("AB")), 0);
    EXPECT_EQ(crc.AppendCRC(File("A")), 1);
    EXPECT_EQ(crc.CheckCRC(msPath.c_str()), 1);
    EXPECT_EQ(log.Errors(), Lines{});
}

TEST_F(OCRCFileTest, TellsHowFarItIs)
{
    const auto tell = [](void* pContext, ULONGLONG ullDone, ULONGLONG ullBytes)
    { static_cast<std::string*>(pContext)->append(std::to_string(ullDone) + "/" + std::to_string(ullBytes) + " "); };
    std::string sSteps;
    EXPECT_EQ(crc.AppendCRC(File(std::string(1'100'000, 'x')), tell, &sSteps), 1);
    EXPECT_EQ(crc.CheckCRC(msPath.c_str(), tell, &sSteps), 1);
    EXPECT_EQ(sSteps, "1024000/1100000 1100000/1100000 1024000/1100000 1100000/1100000 ");
}

TEST_F(OCRCFileTest, UndoingCanBeForATrailerThatMatchesAlone)
{
    EXPECT_EQ(crc.UndoMatchingCRC(File("123456789\xC3\x31")), 1);
    EXPECT_EQ(Bytes(), "123456789");
    EXPECT_TRUE(IsFree());
    EXPECT_EQ(crc.UndoMatchingCRC(msPath.c_str()), 0);
    EXPECT_EQ(GetLastError(), DWORD(NO_ERROR));
    EXPECT_EQ(Bytes(), "123456789");
    EXPECT_EQ(crc.UndoMatchingCRC(File("")), 0); // which matches
    EXPECT_EQ(GetLastError(), DWORD(ERROR_NEGATIVE_SEEK));
    EXPECT_TRUE(IsFree());
    EXPECT_EQ(log.Errors(), Lines{});

    const OString sNone = folder.Path().c_str();
    EXPECT_EQ(crc.UndoMatchingCRC(sNone), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(log.Errors(), Lines{"OCRCFile | UndoMatchingCRC | Could not Open data File"});
}

// Files that do not open -----------------------------------------------------------------------------------------------------

TEST_F(OCRCFileTest, AMissingFileIsLoggedByEachInItsOwnWords)
{
    const OString sFile = msPath.c_str();
    EXPECT_EQ(crc.AppendCRC(sFile), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(log.Errors(), Lines{"OCRCFile | AppendCRC | Could not Open data File [" + msPath + "][" + msPath + "]"});
    EXPECT_EQ(crc.UndoAppendCRC(sFile), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(log.Errors(), Lines{"OCRCFile | UndoAppendCRC | Could not Open data File"});
    EXPECT_EQ(crc.CheckCRC(sFile), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(log.Errors(), Lines{"OCRCFile | CheckCRC | Could not Open data File[" + msPath + "]"});
    EXPECT_EQ(log.Places(), Lines{});
    EXPECT_FALSE(std::filesystem::exists(msPath));
}

TEST_F(OCRCFileTest, AFolderDoesNotOpen)
{
    const OString sFolder = folder.Path().c_str();
    EXPECT_EQ(crc.AppendCRC(sFolder), 0);
    EXPECT_EQ(crc.UndoAppendCRC(sFolder), 0);
    EXPECT_EQ(crc.CheckCRC(sFolder), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(log.Errors().size(), 3u);
}

TEST_F(OCRCFileTest, AReadOnlyFileIsCheckedAndNotChanged)
{
    const OString sFile = File("123456789\xC3\x31");
    ASSERT_TRUE(SetFileAttributesA(msPath.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(crc.CheckCRC(sFile), 1);
    EXPECT_EQ(log.Errors(), Lines{});
    if (RunsUnderWine() && RunsAsAdministrator()) GTEST_SKIP() << "Wine lets an administrator write to read-only files";
    EXPECT_EQ(crc.AppendCRC(sFile), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(crc.UndoAppendCRC(sFile), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(log.Errors().size(), 2u);
    EXPECT_EQ(Bytes(), "123456789\xC3\x31");
}

TEST_F(OCRCFileTest, NobodyElseMayHaveTheFileOpen)
{
    const OString sFile = File("123456789\xC3\x31");
    {
        const FileHandle other(msPath, kulRead);
        EXPECT_EQ(crc.AppendCRC(sFile), 0);
        EXPECT_EQ(crc.UndoAppendCRC(sFile), 0);
        EXPECT_EQ(crc.CheckCRC(sFile), 0);
        EXPECT_EQ(GetLastError(), DWORD(ERROR_SHARING_VIOLATION));
        EXPECT_EQ(log.Errors().size(), 3u);
    }
    EXPECT_EQ(crc.CheckCRC(sFile), 1);
}

TEST_F(OCRCFileTest, NobodyElseMayOpenTheFileMeanwhile)
{
    const auto open = [](void* pContext, ULONGLONG, ULONGLONG)
    { EXPECT_EQ(OpenError(*static_cast<std::string*>(pContext), kulRead), DWORD(ERROR_SHARING_VIOLATION)); };
    std::string sPath = msPath;
    EXPECT_EQ(crc.AppendCRC(File("123456789"), open, &sPath), 1);
    EXPECT_EQ(crc.CheckCRC(msPath.c_str(), open, &sPath), 1);
}

TEST_F(OCRCFileTest, IsOpenedUnderTheConfiguredIdentity)
{
    RecordingSecurity security;
    const std::vector<std::string> bracket{"impersonate", "revert"};
    const OString sFile = File("123456789");
    EXPECT_EQ(crc.AppendCRC(sFile), 1);
    EXPECT_EQ(security.Calls(), bracket);
    EXPECT_EQ(crc.CheckCRC(sFile), 1);
    EXPECT_EQ(security.Calls(), bracket);
    EXPECT_EQ(crc.UndoAppendCRC(sFile), 1);
    EXPECT_EQ(security.Calls(), bracket);
}

// Exceptions -----------------------------------------------------------------------------------------------------------------

TEST_F(OCRCFileTest, AnExceptionOfTheLayersBelowIsLoggedUnderTheNamesThatLogsKnow)
{
    RecordingSecurity security;
    security.onImpersonate = [] { OBase().RaiseWithAbsCode(17); };
    const OString sFile = File("123456789");
    EXPECT_RAISES(crc.AppendCRC(sFile), 17);
    EXPECT_EQ(log.Places(), Lines{"Caught in OCRCFile::GetCRC"});
    EXPECT_RAISES(crc.UndoAppendCRC(sFile), 17);
    EXPECT_EQ(log.Places(), Lines{"Caught in OCRCFile::GetCRC"});
    EXPECT_RAISES(crc.CheckCRC(sFile), 17);
    EXPECT_EQ(log.Places(), Lines{"Caught in OFileCRC::CheckCRC"});
    EXPECT_EQ(Bytes(), "123456789");
}

TEST_F(OCRCFileTest, AnExceptionOnTheWayClosesTheFileAndLeavesItAsItWas)
{
    const auto stop = [](void*, ULONGLONG, ULONGLONG) { OBase().RaiseWithAbsCode(17); };
    const OString sFile = File("123456789\xC3\x31");
    EXPECT_RAISES(crc.AppendCRC(sFile, stop, nullptr), 17);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OCRC::GetCRC", "Caught in OCRCFile::GetCRC"}));
    EXPECT_TRUE(IsFree());
    EXPECT_RAISES(crc.CheckCRC(sFile, stop, nullptr), 17);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OCRC::GetCRC", "Caught in OFileCRC::CheckCRC"}));
    EXPECT_TRUE(IsFree());
    EXPECT_RAISES(crc.UndoMatchingCRC(sFile, stop, nullptr), 17);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OCRC::GetCRC", "Caught in OCRCFile::UndoMatchingCRC"}));
    EXPECT_TRUE(IsFree());
    EXPECT_EQ(Bytes(), "123456789\xC3\x31");
}

// Beyond 32 bits -------------------------------------------------------------------------------------------------------------

TEST_F(OCRCFileTest, AFileOfFiveGibibytesHasATrailerOfAllItsBytes)
{
    constexpr LONGLONG kllSize = LONGLONG{5} << 30, kllPlace = (LONGLONG{9} << 29) + 3; // one byte in it, beyond the fourth
    const OString sFile = File("first");
    const auto put = [&](char cByte)
    {
        DWORD ulDone = 0;
        EXPECT_TRUE(WriteFile(FileAt(kllPlace), &cByte, 1, &ulDone, nullptr));
    };
    EXPECT_TRUE(SetEndOfFile(FileAt(kllSize)));
    put('x');
    EXPECT_EQ(crc.AppendCRC(sFile), 1);
    EXPECT_EQ(static_cast<LONGLONG>(std::filesystem::file_size(msPath)), kllSize + 2);

    unsigned short usExpected = PlainCrcOfZeros(PlainCrc("first"), kllPlace - 5);
    usExpected = PlainCrcOfZeros(PlainCrc("x", usExpected), kllSize - kllPlace - 1);
    BYTE aubTrailer[2] = {};
    DWORD ulDone = 0;
    EXPECT_TRUE(ReadFile(FileAt(kllSize), aubTrailer, 2, &ulDone, nullptr));
    EXPECT_EQ(aubTrailer[0] | aubTrailer[1] << 8, usExpected);

    put('y');
    EXPECT_EQ(crc.CheckCRC(sFile), 0);
    EXPECT_EQ(GetLastError(), DWORD(NO_ERROR));
    EXPECT_EQ(crc.UndoAppendCRC(sFile), 1);
    EXPECT_EQ(static_cast<LONGLONG>(std::filesystem::file_size(msPath)), kllSize);
}
