// Data files that programs past the library change, and a full disk. On Windows nobody gets at a file that is open without sharing,
// and no limit keeps one from growing.
#include "OCRCFile.h"

#include "FileHandle.h"
#include "FileLimit.h"
#include "LogRecorder.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace
{
class OCRCFileChanged : public testing::Test
{
protected:
    OString File(const std::string& sBytes)
    {
        EXPECT_TRUE(WriteText(msPath, sBytes));
        return msPath.c_str();
    }
    static void Grow(void* pContext, ULONGLONG, ULONGLONG)
    {
        std::ofstream(*static_cast<const std::string*>(pContext), std::ios::binary | std::ios::app) << "more";
    }
    static void Shrink(void* pContext, ULONGLONG, ULONGLONG)
    {
        std::filesystem::resize_file(*static_cast<const std::string*>(pContext), 7);
    }

    TempFolder folder;
    std::string msPath = folder / "data";
    LogRecorder log;
    OCRCFile crc;
};
} // namespace

TEST_F(OCRCFileChanged, AFileThatGrowsWhileItIsReadGetsNoTrailer)
{
    EXPECT_EQ(crc.AppendCRC(File("123456789"), Grow, &msPath), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_INVALID));
    EXPECT_EQ(ReadText(msPath), "123456789more");
    EXPECT_EQ(crc.CheckCRC(File("123456789\xC3\x31"), Grow, &msPath), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_INVALID));
}

TEST_F(OCRCFileChanged, AFileThatShrinksWhileItIsReadGetsNoTrailer)
{
    EXPECT_EQ(crc.AppendCRC(File("123456789"), Shrink, &msPath), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_INVALID));
    EXPECT_EQ(ReadText(msPath), "1234567");
    EXPECT_EQ(crc.CheckCRC(File("123456789\xC3\x31"), Shrink, &msPath), 0);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_INVALID));
    EXPECT_EQ(log.Errors(), LogRecorder::Lines{});
}

TEST_F(OCRCFileChanged, AFileThatChangesWhileItIsReadKeepsItsTrailer)
{
    for (const auto change : {Grow, Shrink})
    {
        EXPECT_EQ(crc.UndoMatchingCRC(File("123456789\xC3\x31"), change, &msPath), 0);
        EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_INVALID));
        EXPECT_EQ(ReadText(msPath), change == Grow ? "123456789\xC3\x31more" : "1234567");
    }
}

TEST_F(OCRCFileChanged, ATrailerThatDoesNotFitLeavesNothingOfItself)
{
    const OString sFile = File("123456789");
    for (const rlim_t ulRoom : {0, 1})
    {
        {
            const FileLimit limit(9 + ulRoom);
            EXPECT_EQ(crc.AppendCRC(sFile), 0);
            EXPECT_EQ(GetLastError(), DWORD(ERROR_DISK_FULL));
        }
        EXPECT_EQ(ReadText(msPath), "123456789") << ulRoom;
    }
    EXPECT_EQ(crc.AppendCRC(sFile), 1); // once there is room again
    EXPECT_EQ(ReadText(msPath), "123456789\xC3\x31");
}
