// Reading, writing and positions.
#include "FileHandle.h"
#include "TempFolder.h"
#include "Wine.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

static LONGLONG Steps(const FILETIME& time) { return static_cast<LONGLONG>(time.dwHighDateTime) << 32 | time.dwLowDateTime; }

class FileTransfer : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(mFile.IsOpen()); }

    DWORD Write(const char* pText)
    {
        DWORD ulDone = 0;
        return WriteFile(mFile, pText, static_cast<DWORD>(std::strlen(pText)), &ulDone, nullptr) ? ulDone : 0;
    }
    std::string Read(DWORD ulBytes)
    {
        std::string sText(ulBytes, '?');
        DWORD ulDone = 0;
        if (!ReadFile(mFile, sText.data(), ulBytes, &ulDone, nullptr)) return "(error " + std::to_string(GetLastError()) + ")";
        return sText.substr(0, ulDone);
    }
    DWORD Position() { return SetFilePointer(mFile, 0, nullptr, FILE_CURRENT); }

    TempFolder mFolder;
    FileHandle mFile{mFolder / "file", kulReadWrite, 0, CREATE_NEW};
};

TEST_F(FileTransfer, ReadsBackWhatWasWritten)
{
    EXPECT_EQ(Write("hello"), 5u);
    EXPECT_EQ(Position(), 5u);
    EXPECT_EQ(SetFilePointer(mFile, 1, nullptr, FILE_BEGIN), 1u);
    EXPECT_EQ(Read(3), "ell");
    EXPECT_EQ(Read(100), "o");
    EXPECT_EQ(Read(100), "");
}

TEST_F(FileTransfer, SuccessLeavesTheLastErrorAlone)
{
    SetLastError(ERROR_GEN_FAILURE);
    Write("hello");
    SetFilePointer(mFile, 0, nullptr, FILE_BEGIN);
    Read(5);
    GetFileSize(mFile, nullptr);
    SetEndOfFile(mFile);
    FlushFileBuffers(mFile);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_GEN_FAILURE));
}

TEST_F(FileTransfer, MovesThePositionFromEachEnd)
{
    Write("0123456789");
    EXPECT_EQ(SetFilePointer(mFile, -3, nullptr, FILE_END), 7u);
    EXPECT_EQ(SetFilePointer(mFile, -2, nullptr, FILE_CURRENT), 5u);
    EXPECT_EQ(Read(1), "5");
    EXPECT_EQ(SetFilePointer(mFile, 20, nullptr, FILE_BEGIN), 20u);
    EXPECT_EQ(GetFileSize(mFile, nullptr), 10u);
    EXPECT_EQ(Read(1), "");
}

TEST_F(FileTransfer, RefusesPositionsBeforeTheStart)
{
    Write("hello");
    for (DWORD ulMethod : {DWORD(FILE_BEGIN), DWORD(FILE_CURRENT), DWORD(FILE_END)})
    {
        EXPECT_EQ(SetFilePointer(mFile, -6, nullptr, ulMethod), INVALID_SET_FILE_POINTER);
        EXPECT_EQ(GetLastError(), DWORD(ERROR_NEGATIVE_SEEK));
    }
    EXPECT_EQ(SetFilePointer(mFile, 0, nullptr, 3), INVALID_SET_FILE_POINTER);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(Position(), 5u);
}

TEST_F(FileTransfer, CarriesPositionsBeyond32BitsInTheHighPart)
{
    LONG lHigh = 1;
    EXPECT_EQ(SetFilePointer(mFile, 7, &lHigh, FILE_BEGIN), 7u);
    EXPECT_EQ(lHigh, 1);
    lHigh = -1;
    EXPECT_EQ(SetFilePointer(mFile, -8, &lHigh, FILE_CURRENT), 0xFFFFFFFFu); // a position, not a failure
    EXPECT_EQ(lHigh, 0);
    EXPECT_EQ(GetLastError(), DWORD(NO_ERROR));

    LARGE_INTEGER distance{}, position{};
    distance.QuadPart = 0x123456789;
    EXPECT_TRUE(SetFilePointerEx(mFile, distance, &position, FILE_BEGIN));
    EXPECT_EQ(position.QuadPart, 0x123456789);
    EXPECT_TRUE(SetFilePointerEx(mFile, {}, nullptr, FILE_BEGIN));
}

TEST_F(FileTransfer, RefusesAPositionThatTheResultCannotHold)
{
    LONG lHigh = 1;
    ASSERT_EQ(SetFilePointer(mFile, 7, &lHigh, FILE_BEGIN), 7u);
    // Wine gives the lower half of it.
    EXPECT_EQ(SetFilePointer(mFile, 1, nullptr, FILE_CURRENT), WineSays<DWORD>(8, INVALID_SET_FILE_POINTER));
    lHigh = 0;
    EXPECT_EQ(SetFilePointer(mFile, 0, &lHigh, FILE_CURRENT), WineSays<DWORD>(8, 7)); // and so it has moved
}

TEST_F(FileTransfer, CutsAndLengthensAtThePosition)
{
    Write("hello");
    SetFilePointer(mFile, 3, nullptr, FILE_BEGIN);
    EXPECT_TRUE(SetEndOfFile(mFile));
    EXPECT_EQ(GetFileSize(mFile, nullptr), 3u);
    SetFilePointer(mFile, 6, nullptr, FILE_BEGIN);
    EXPECT_TRUE(SetEndOfFile(mFile));
    SetFilePointer(mFile, 0, nullptr, FILE_BEGIN);
    EXPECT_EQ(Read(10), std::string("hel\0\0\0", 6));
}

TEST_F(FileTransfer, TellsTheSizeInBothWays)
{
    LONG lHigh = 2;
    SetFilePointer(mFile, 3, &lHigh, FILE_BEGIN);
    ASSERT_TRUE(SetEndOfFile(mFile));
    DWORD ulHigh = 0;
    EXPECT_EQ(GetFileSize(mFile, &ulHigh), 3u);
    EXPECT_EQ(ulHigh, 2u);
    LARGE_INTEGER size{};
    EXPECT_TRUE(GetFileSizeEx(mFile, &size));
    EXPECT_EQ(size.QuadPart, 0x200000003);
}

TEST_F(FileTransfer, AnOverlappedTransferUsesItsOffsetAndMovesThePositionBehindIt)
{
    Write("0123456789");
    OVERLAPPED overlapped{};
    overlapped.Offset = 2;
    DWORD ulDone = 0;
    EXPECT_TRUE(WriteFile(mFile, "ab", 2, &ulDone, &overlapped));
    EXPECT_EQ(overlapped.InternalHigh, 2u);
    EXPECT_EQ(Position(), 4u);
    char acBuffer[4];
    overlapped.Offset = 1;
    EXPECT_TRUE(ReadFile(mFile, acBuffer, 4, nullptr, &overlapped));
    EXPECT_EQ(std::string(acBuffer, 4), "1ab4");
    EXPECT_EQ(Position(), 5u);
}

TEST_F(FileTransfer, AnOverlappedReadBehindTheEndIsAnError)
{
    Write("hello");
    OVERLAPPED overlapped{};
    overlapped.Offset = 100;
    char acBuffer[4];
    DWORD ulDone = 9;
    EXPECT_EQ(ErrorOf(ReadFile(mFile, acBuffer, 4, &ulDone, &overlapped)), DWORD(ERROR_HANDLE_EOF));
    EXPECT_EQ(ulDone, 0u);
    overlapped.Offset = 4;
    EXPECT_TRUE(ReadFile(mFile, acBuffer, 4, &ulDone, &overlapped));
    EXPECT_EQ(ulDone, 1u);
}

TEST_F(FileTransfer, AnOverlappedWriteAtMinusOneAppends)
{
    Write("hello");
    SetFilePointer(mFile, 0, nullptr, FILE_BEGIN);
    OVERLAPPED overlapped{};
    overlapped.Offset = overlapped.OffsetHigh = 0xFFFFFFFF;
    DWORD ulDone = 0;
    EXPECT_TRUE(WriteFile(mFile, "!", 1, &ulDone, &overlapped));
    SetFilePointer(mFile, 0, nullptr, FILE_BEGIN);
    EXPECT_EQ(Read(10), "hello!");
}

TEST_F(FileTransfer, ABadBufferIsAnErrorAndNotACrash)
{
    Write("hello");
    SetFilePointer(mFile, 0, nullptr, FILE_BEGIN);
    DWORD ulDone = 9;
    EXPECT_EQ(ErrorOf(ReadFile(mFile, nullptr, 2, &ulDone, nullptr)), DWORD(ERROR_NOACCESS));
    EXPECT_EQ(ErrorOf(WriteFile(mFile, nullptr, 2, &ulDone, nullptr)), DWORD(ERROR_INVALID_USER_BUFFER));
    EXPECT_EQ(ulDone, 0u);
}

TEST_F(FileTransfer, TransfersOfNothingSucceed)
{
    DWORD ulDone = 9;
    EXPECT_TRUE(WriteFile(mFile, "", 0, &ulDone, nullptr));
    EXPECT_EQ(ulDone, 0u);
    EXPECT_TRUE(ReadFile(mFile, nullptr, 0, &ulDone, nullptr));
    EXPECT_EQ(GetFileSize(mFile, nullptr), 0u);
}

TEST_F(FileTransfer, CarriesAMegabyteAtOnce)
{
    std::string sText(1 << 20, 'x');
    sText.back() = 'y';
    DWORD ulDone = 0;
    EXPECT_TRUE(WriteFile(mFile, sText.data(), 1 << 20, &ulDone, nullptr));
    EXPECT_EQ(ulDone, 1u << 20);
    SetFilePointer(mFile, 0, nullptr, FILE_BEGIN);
    EXPECT_EQ(Read(1 << 20), sText);
}

TEST_F(FileTransfer, KeepsTheTimesThatAreSet)
{
    const FILETIME read{0x40000000, 0x01C00000}, written{0x80000000, 0x01C10000};
    EXPECT_TRUE(SetFileTime(mFile, nullptr, &read, &written));
    FILETIME readBack{}, writtenBack{};
    EXPECT_TRUE(GetFileTime(mFile, nullptr, &readBack, &writtenBack));
    EXPECT_EQ(Steps(readBack), Steps(read));
    EXPECT_EQ(Steps(writtenBack), Steps(written));

    const FILETIME before1970{0, 0x01900000};
    EXPECT_TRUE(SetFileTime(mFile, nullptr, nullptr, &before1970));
    EXPECT_TRUE(GetFileTime(mFile, nullptr, &readBack, &writtenBack));
    EXPECT_EQ(Steps(readBack), Steps(read));
    EXPECT_EQ(Steps(writtenBack), Steps(before1970));
}

TEST_F(FileTransfer, ANewFileWasMadeJustNow)
{
    FILETIME now{}, made{};
    GetSystemTimeAsFileTime(&now);
    ASSERT_TRUE(GetFileTime(mFile, &made, nullptr, nullptr));
    EXPECT_LT(std::abs(Steps(now) - Steps(made)), 600'000'000LL);
}

TEST_F(FileTransfer, ADuplicateSharesThePosition)
{
    Write("hello");
    HANDLE hCopy = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), mFile, GetCurrentProcess(), &hCopy, 0, FALSE, DUPLICATE_SAME_ACCESS));
    SetFilePointer(hCopy, 2, nullptr, FILE_BEGIN);
    EXPECT_EQ(Read(10), "llo");
    EXPECT_TRUE(CloseHandle(hCopy));
    EXPECT_EQ(Write("x"), 1u);
}

TEST_F(FileTransfer, EveryCallRefusesAClosedHandle)
{
    char acBuffer[4];
    DWORD ulDone = 9;
    FILETIME time{};
    LARGE_INTEGER size{};
    const HANDLE hClosed = mFile;
    mFile.Close();
    for (HANDLE hFile : {hClosed, INVALID_HANDLE_VALUE, HANDLE(nullptr)})
    {
        EXPECT_EQ(ErrorOf(ReadFile(hFile, acBuffer, 1, &ulDone, nullptr)), DWORD(ERROR_INVALID_HANDLE));
        EXPECT_EQ(ErrorOf(WriteFile(hFile, acBuffer, 1, &ulDone, nullptr)), DWORD(ERROR_INVALID_HANDLE));
        EXPECT_EQ(SetFilePointer(hFile, 0, nullptr, FILE_BEGIN), INVALID_SET_FILE_POINTER);
        EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_HANDLE));
        EXPECT_EQ(GetFileSize(hFile, nullptr), INVALID_FILE_SIZE);
        EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_HANDLE));
        EXPECT_EQ(ErrorOf(GetFileSizeEx(hFile, &size)), DWORD(ERROR_INVALID_HANDLE));
        EXPECT_EQ(ErrorOf(SetEndOfFile(hFile)), DWORD(ERROR_INVALID_HANDLE));
        EXPECT_EQ(ErrorOf(FlushFileBuffers(hFile)), DWORD(ERROR_INVALID_HANDLE));
        EXPECT_EQ(ErrorOf(LockFile(hFile, 0, 0, 1, 0)), DWORD(ERROR_INVALID_HANDLE));
        EXPECT_EQ(ErrorOf(GetFileTime(hFile, &time, nullptr, nullptr)), DWORD(ERROR_INVALID_HANDLE));
        EXPECT_EQ(GetFileType(hFile), DWORD(FILE_TYPE_UNKNOWN));
    }
}
