// The CRC of an open file: its tables, its chunks, and files that do not keep still.
#include "OCRC.h"

#include "FileHandle.h"
#include "LogRecorder.h"
#include "OException.h"
#include "PlainCrc.h"
#include "Raises.h"
#include "TempFolder.h"
#include "WideText.h"
#include "Wine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace
{
constexpr std::size_t kulChunk = 1'024'000;

std::string Noise(std::size_t ulBytes)
{
    ORepeatable noise;
    std::string sBytes(ulBytes, '\0');
    for (char& cByte : sBytes) cByte = static_cast<char>(noise.Below(256));
    return sBytes;
}

class OCRCOfFile : public testing::Test
{
protected:
    FileHandle Open(const std::string& sBytes)
    {
        EXPECT_TRUE(WriteText(msPath, sBytes));
        return FileHandle(msPath, kulRead);
    }
    unsigned short Of(const std::string& sBytes, int bExcludeTrailer = 0) { return OCRC().GetCRC(Open(sBytes), bExcludeTrailer); }
    static LONGLONG Position(HANDLE hFile)
    {
        LARGE_INTEGER position{};
        EXPECT_TRUE(SetFilePointerEx(hFile, LARGE_INTEGER{}, &position, FILE_CURRENT));
        return position.QuadPart;
    }

    TempFolder folder;
    const std::string msPath = folder / "data";
    LogRecorder log;
};
} // namespace

TEST(OCRC, ItsTableHasTheRegisterAfterEachByte)
{
    static_assert(sizeof OCRC::ausCRC_CCITT_Table == 256 * sizeof(unsigned short));
    EXPECT_EQ(OCRC::ausCRC_CCITT_Table[1], 0x1021);
    for (int i = 0; i < 256; ++i)
    {
        const char cByte = static_cast<char>(i);
        EXPECT_EQ(OCRC::ausCRC_CCITT_Table[i], PlainCrc({&cByte, 1})) << i;
    }
}

TEST(OCRC, OneStepTakesOneByte)
{
    struct OProbe : OCRC
    {
        using OCRC::DetermineCRC;
    };
    unsigned short usCRC = 0;
    for (const char cDigit : std::string("123456789")) usCRC = OProbe::DetermineCRC(static_cast<unsigned char>(cDigit), usCRC);
    EXPECT_EQ(usCRC, 0x31C3);
}

TEST(OCRC, HasItsGroupItsErrorBaseAndNoFields)
{
    LogRecorder log;
    OCRC crc;
    crc.Log("here");
    EXPECT_EQ(log.Others(), LogRecorder::Lines{"CRC | OCRC | Item | here"});
    EXPECT_EQ(crc.GetErrorBase(), 9000u);
    static_assert(sizeof(OCRC) == sizeof(OBase));

    crc.SetErrorBase(1);
    EXPECT_EQ(OCRC(crc).GetErrorBase(), 1u);
}

TEST_F(OCRCOfFile, IsThePublishedValueForTheNineDigits) { EXPECT_EQ(Of("123456789"), 0x31C3); }

TEST_F(OCRCOfFile, IsTheSameAsBitByBitForEveryLength)
{
    const std::string sNoise = Noise(100);
    for (std::size_t ulBytes = 0; ulBytes <= sNoise.size(); ++ulBytes)
    {
        const std::string sBytes = sNoise.substr(0, ulBytes);
        EXPECT_EQ(Of(sBytes), PlainCrc(sBytes)) << ulBytes;
    }
}

TEST_F(OCRCOfFile, IsTheSameForEveryByteInEveryPlace)
{
    for (std::size_t ulPlace = 0; ulPlace < 16; ++ulPlace)
    {
        std::string sBytes;
        for (int iByte = 0; iByte < 256; ++iByte)
            sBytes.append(std::string(16, '\x55').replace(ulPlace, 1, 1, static_cast<char>(iByte)));
        EXPECT_EQ(Of(sBytes), PlainCrc(sBytes)) << ulPlace;
    }
}

TEST_F(OCRCOfFile, GoesOnFromChunkToChunk)
{
    const std::string sNoise = Noise(3 * kulChunk + 5);
    for (const std::size_t ulBytes : {kulChunk - 1, kulChunk, kulChunk + 1, 2 * kulChunk, 2 * kulChunk + 17, 3 * kulChunk + 5})
    {
        const std::string sBytes = sNoise.substr(0, ulBytes);
        EXPECT_EQ(Of(sBytes), PlainCrc(sBytes)) << ulBytes;
    }
}

TEST_F(OCRCOfFile, LeavesTheTrailerOutWhenAsked)
{
    EXPECT_EQ(Of("123456789\xC3\x31", 1), 0x31C3);
    EXPECT_EQ(Of("123456789\xC3\x31", 2), 0x31C3);
    EXPECT_EQ(Of("12", 1), 0);
    const std::string sBytes = Noise(kulChunk + 1); // the trailer begins in one chunk and ends in the next
    EXPECT_EQ(Of(sBytes, 1), PlainCrc(std::string_view(sBytes).substr(0, sBytes.size() - 2)));
}

TEST_F(OCRCOfFile, OfFewerBytesThanATrailerIsThatOfNothing)
{
    EXPECT_EQ(Of("", 0), 0);
    EXPECT_EQ(Of("", 1), 0);
    EXPECT_EQ(Of("A", 1), 0);
    EXPECT_EQ(Of("A", 0), PlainCrc("A"));
}

TEST_F(OCRCOfFile, BeginsAtTheBeginningAndStopsAtTheEnd)
{
    const FileHandle file = Open("123456789");
    SetFilePointer(file, 5, nullptr, FILE_BEGIN);
    OCRC crc;
    EXPECT_EQ(crc.GetCRC(file, 0), 0x31C3);
    EXPECT_EQ(Position(file), 9);
    EXPECT_EQ(crc.GetCRC(file, 1), PlainCrc("1234567"));
    EXPECT_EQ(Position(file), 7);
}

TEST_F(OCRCOfFile, TellsHowFarItIsAfterEachChunk)
{
    using Steps = std::vector<std::pair<ULONGLONG, ULONGLONG>>;
    Steps steps;
    const auto tell = [](void* pContext, ULONGLONG ullDone, ULONGLONG ullBytes)
    { static_cast<Steps*>(pContext)->emplace_back(ullDone, ullBytes); };
    const std::string sBytes = Noise(2 * kulChunk + 9);
    EXPECT_EQ(OCRC().GetCRC(Open(sBytes), 1, tell, &steps), PlainCrc(std::string_view(sBytes).substr(0, sBytes.size() - 2)));
    const ULONGLONG ullAll = 2 * kulChunk + 7;
    EXPECT_EQ(steps, (Steps{{kulChunk, ullAll}, {2 * kulChunk, ullAll}, {ullAll, ullAll}}));
}

TEST_F(OCRCOfFile, OfAFileThatShrinksIsThatOfWhatWasThere)
{
    const std::string sBytes = Noise(3 * kulChunk);
    for (const std::size_t ulLeft : {std::size_t{0}, kulChunk, kulChunk + kulChunk / 2})
    {
        const FileHandle file = Open(sBytes);
        struct OCut
        {
            std::string sPath;
            std::size_t ulLeft;
        } cut{msPath, ulLeft};
        const auto shrink = [](void* pContext, ULONGLONG, ULONGLONG)
        {
            const auto* pCut = static_cast<OCut*>(pContext);
            const FileHandle other(pCut->sPath, kulWrite);
            SetFilePointer(other, static_cast<LONG>(pCut->ulLeft), nullptr, FILE_BEGIN);
            EXPECT_TRUE(SetEndOfFile(other));
        };
        const std::size_t ulRead = std::max(ulLeft, kulChunk); // the first chunk was read by then
        EXPECT_EQ(OCRC().GetCRC(file, 0, shrink, &cut), PlainCrc(std::string_view(sBytes).substr(0, ulRead))) << ulLeft;
    }
}

TEST_F(OCRCOfFile, OfAFileThatCannotBeReadAnyFurtherIsThatOfWhatCould)
{
    const std::string sBytes = Noise(3 * kulChunk);
    const FileHandle file = Open(sBytes);
    const FileHandle other(msPath, kulReadWrite);
    ASSERT_TRUE(LockFile(other, kulChunk + 7, 0, 1, 0));
    SetLastError(NO_ERROR);
    // Wine locks ranges against locking alone.
    EXPECT_EQ(OCRC().GetCRC(file, 0), PlainCrc(std::string_view(sBytes).substr(0, WineSays(sBytes.size(), kulChunk))));
    EXPECT_EQ(GetLastError(), WineSays<DWORD>(NO_ERROR, ERROR_LOCK_VIOLATION));
    EXPECT_TRUE(UnlockFile(other, kulChunk + 7, 0, 1, 0));
}

TEST_F(OCRCOfFile, OfWhatIsNoFileIsZero)
{
    EXPECT_EQ(OCRC().GetCRC(nullptr, 0), 0);
    EXPECT_EQ(OCRC().GetCRC(INVALID_HANDLE_VALUE, 1), 0);
    FileHandle file = Open("123456789");
    const HANDLE hClosed = file;
    file.Close();
    EXPECT_EQ(OCRC().GetCRC(hClosed, 0), 0);
    EXPECT_EQ(OCRC().GetCRC(FileHandle(msPath, kulWrite), 0), 0); // one that may not be read
    EXPECT_EQ(log.Errors(), LogRecorder::Lines{});
    EXPECT_EQ(log.Places(), LogRecorder::Lines{});
}

TEST_F(OCRCOfFile, AnExceptionIsLoggedOnItsWayOut)
{
    const auto stop = [](void*, ULONGLONG, ULONGLONG) { OBase().RaiseWithAbsCode(17); };
    EXPECT_RAISES(OCRC().GetCRC(Open("123456789"), 0, stop, nullptr), 17);
    EXPECT_EQ(log.Places(), LogRecorder::Lines{"Caught in OCRC::GetCRC"});
}
