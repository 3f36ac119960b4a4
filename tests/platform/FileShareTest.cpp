// Share modes and locked ranges, between the opens of one process and of two.
#include "FileHandle.h"
#include "OtherProcess.h"
#include "TempFolder.h"
#include "Wine.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>
#include <vector>

// Takes orders: open ACCESS SHARE DISPOSITION PATH, lock FIRST BYTES, unlock FIRST BYTES, read FIRST BYTES, write FIRST TEXT,
// close. Answers with the error, 0 for none.
static std::string AnswerHolder(const std::string& sOrder)
{
    static FileHandle file;
    std::istringstream order(sOrder);
    std::string sVerb, sText;
    DWORD ulFirst = 0, ulSecond = 0, ulThird = 0;
    order >> sVerb;
    BOOL bDone = FALSE;
    if (sVerb == "open")
    {
        order >> ulFirst >> ulSecond >> ulThird >> std::ws;
        std::getline(order, sText);
        file.~FileHandle();
        new (&file) FileHandle(sText, ulFirst, ulSecond, ulThird);
        bDone = file.IsOpen();
    }
    else if (sVerb == "write")
    {
        order >> ulFirst >> sText;
        SetFilePointer(file, static_cast<LONG>(ulFirst), nullptr, FILE_BEGIN);
        bDone = WriteFile(file, sText.data(), static_cast<DWORD>(sText.size()), &ulSecond, nullptr);
    }
    else if (sVerb == "close")
    {
        file.Close();
        bDone = TRUE;
    }
    else
    {
        order >> ulFirst >> ulSecond;
        char acBuffer[100];
        SetFilePointer(file, static_cast<LONG>(ulFirst), nullptr, FILE_BEGIN);
        if (sVerb == "read") bDone = ReadFile(file, acBuffer, ulSecond, &ulThird, nullptr);
        if (sVerb == "lock") bDone = LockFile(file, ulFirst, 0, ulSecond, 0);
        if (sVerb == "unlock") bDone = UnlockFile(file, ulFirst, 0, ulSecond, 0);
    }
    return std::to_string(ErrorOf(bDone));
}
static const OtherRole kHolder("file-holder", AnswerHolder);

static std::string Open(const std::string& sName, DWORD ulAccess, DWORD ulShare, DWORD ulDisposition = OPEN_EXISTING)
{
    std::ostringstream order;
    order << "open " << ulAccess << ' ' << ulShare << ' ' << ulDisposition << ' ' << sName;
    return order.str();
}

class FileShare : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(WriteText(msFile, "0123456789")); }

    TempFolder mFolder;
    const std::string msFile = mFolder / "file";
    static inline const std::string kDone = "0";
    static inline const std::string kShared = std::to_string(ERROR_SHARING_VIOLATION);
    static inline const std::string kLocked = std::to_string(ERROR_LOCK_VIOLATION);
};

// Two opens go together when each allows what the other does. All pairs of accesses and shares, against that rule.
TEST_F(FileShare, TwoOpensGoTogetherWhenEachAllowsTheOther)
{
    struct Access { DWORD ulRight, ulShareBit; };
    constexpr Access kAccesses[] = {{FILE_READ_DATA, FILE_SHARE_READ},
                                    {FILE_EXECUTE, FILE_SHARE_READ},
                                    {FILE_WRITE_DATA, FILE_SHARE_WRITE},
                                    {FILE_APPEND_DATA, FILE_SHARE_WRITE},
                                    {DELETE, FILE_SHARE_DELETE},
                                    {FILE_READ_DATA | FILE_WRITE_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE},
                                    {FILE_READ_DATA | DELETE, FILE_SHARE_READ | FILE_SHARE_DELETE},
                                    {FILE_READ_ATTRIBUTES, 0}};
    int iChecked = 0;
    for (const Access& first : kAccesses)
        for (DWORD ulFirstShare = 0; ulFirstShare <= kulShareAll; ++ulFirstShare)
        {
            const FileHandle holder(msFile, first.ulRight, ulFirstShare);
            ASSERT_TRUE(holder.IsOpen());
            for (const Access& second : kAccesses)
                for (DWORD ulSecondShare = 0; ulSecondShare <= kulShareAll; ++ulSecondShare, ++iChecked)
                {
                    const bool bBothTakePart = first.ulShareBit && second.ulShareBit;
                    const bool bTogether = !(first.ulShareBit & ~ulSecondShare) && !(second.ulShareBit & ~ulFirstShare);
                    EXPECT_EQ(OpenError(msFile, second.ulRight, ulSecondShare),
                              DWORD(!bBothTakePart || bTogether ? NO_ERROR : ERROR_SHARING_VIOLATION))
                        << std::hex << first.ulRight << '/' << ulFirstShare << " and " << second.ulRight << '/' << ulSecondShare;
                }
        }
    EXPECT_EQ(iChecked, 8 * 8 * 8 * 8);
}

TEST_F(FileShare, TheEndOfAnOpenEndsWhatItDenied)
{
    FileHandle holder(msFile, kulRead, 0);
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(ERROR_SHARING_VIOLATION));
    holder.Close();
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(NO_ERROR));
}

TEST_F(FileShare, ADuplicateKeepsTheShareModeUntilItIsClosedToo)
{
    FileHandle holder(msFile, kulRead, 0);
    HANDLE hCopy = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), holder, GetCurrentProcess(), &hCopy, 0, FALSE, DUPLICATE_SAME_ACCESS));
    holder.Close();
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(ERROR_SHARING_VIOLATION));
    CloseHandle(hCopy);
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(NO_ERROR));
}

TEST_F(FileShare, SeveralNamesOfOneFileShareOneMode)
{
    const FileHandle holder(msFile, kulRead, 0);
    EXPECT_EQ(OpenError(mFolder / "FILE", kulRead), DWORD(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(OpenError(mFolder / "none/../file", kulRead), DWORD(ERROR_SHARING_VIOLATION));
}

TEST_F(FileShare, DeletingAndMovingNeedTheConsentOfEveryOpen)
{
    const FileHandle holder(msFile, kulRead, FILE_SHARE_READ | FILE_SHARE_WRITE);
    EXPECT_EQ(ErrorOf(DeleteFileA(msFile.c_str())), DWORD(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(ErrorOf(MoveFileA(msFile.c_str(), (mFolder / "new").c_str())), DWORD(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(ReadText(msFile), "0123456789");
}

TEST_F(FileShare, ADeletedFileStaysReadableForThoseWhoAgreed)
{
    FileHandle holder(msFile, kulRead);
    EXPECT_TRUE(DeleteFileA(msFile.c_str()));
    char acBuffer[4];
    DWORD ulDone = 0;
    EXPECT_TRUE(ReadFile(holder, acBuffer, 4, &ulDone, nullptr));
    EXPECT_EQ(std::string(acBuffer, ulDone), "0123");
    holder.Close();
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(ERROR_FILE_NOT_FOUND));
}

TEST_F(FileShare, AnotherProcessMeetsWhatThisOneDenies)
{
    OtherProcess other("file-holder");
    FileHandle holder(msFile, kulRead, FILE_SHARE_READ);
    EXPECT_EQ(other.Ask(Open(msFile, kulRead, FILE_SHARE_READ)), kDone);
    EXPECT_EQ(other.Ask(Open(msFile, kulWrite, kulShareAll)), kShared);
    EXPECT_EQ(other.Ask(Open(msFile, kulRead, FILE_SHARE_WRITE)), kShared);
    EXPECT_EQ(other.Ask(Open(msFile, kulWrite, kulShareAll, CREATE_ALWAYS)), kShared);
    EXPECT_EQ(ReadText(msFile), "0123456789");
    holder.Close();
    EXPECT_EQ(other.Ask(Open(msFile, kulWrite, 0)), kDone);
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(ErrorOf(DeleteFileA(msFile.c_str())), DWORD(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(other.Ask("close"), kDone);
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(NO_ERROR));
}

TEST_F(FileShare, AKilledProcessDeniesNothing)
{
    for (int i = 0; i < 5; ++i)
    {
        OtherProcess other("file-holder");
        ASSERT_EQ(other.Ask(Open(msFile, kulReadWrite, 0)), kDone);
        ASSERT_EQ(other.Ask("lock 2 3"), kDone);
        EXPECT_EQ(OpenError(msFile, kulRead), DWORD(ERROR_SHARING_VIOLATION));
        other.Kill();
        const FileHandle file(msFile, kulReadWrite, 0);
        EXPECT_TRUE(file.IsOpen());
        EXPECT_TRUE(LockFile(file, 0, 0, 10, 0));
    }
}

TEST_F(FileShare, ReadOnlyFilesHaveShareModesToo)
{
    ASSERT_TRUE(SetFileAttributesA(msFile.c_str(), FILE_ATTRIBUTE_READONLY));
    OtherProcess other("file-holder");
    ASSERT_EQ(other.Ask(Open(msFile, kulRead, 0)), kDone);
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(ERROR_SHARING_VIOLATION));
    other.Kill();
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(NO_ERROR));
}

TEST_F(FileShare, OfManyWhoWantTheFileAloneExactlyOneGetsIt)
{
    constexpr int kiRounds = 200, kiThreads = 4;
    std::atomic<int> iOpen{0}, iMost{0}, iTurns{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kiThreads; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < kiRounds; ++i)
            {
                const FileHandle file(msFile, kulReadWrite, 0);
                if (!file.IsOpen()) continue;
                int iNow = ++iOpen, iBefore = iMost;
                while (iNow > iBefore && !iMost.compare_exchange_weak(iBefore, iNow)) {}
                ++iTurns;
                --iOpen;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(iMost, 1);
    EXPECT_GE(iTurns, kiRounds); // the last one left has no rival
}

TEST_F(FileShare, ALockedRangeIsLockedForEveryOpen)
{
    const FileHandle holder(msFile, kulReadWrite), rival(msFile, kulReadWrite);
    ASSERT_TRUE(LockFile(holder, 2, 0, 3, 0));
    EXPECT_EQ(ErrorOf(LockFile(holder, 2, 0, 3, 0)), DWORD(ERROR_LOCK_VIOLATION));
    EXPECT_EQ(ErrorOf(LockFile(holder, 4, 0, 9, 0)), DWORD(ERROR_LOCK_VIOLATION));
    EXPECT_EQ(ErrorOf(LockFile(rival, 0, 0, 3, 0)), DWORD(ERROR_LOCK_VIOLATION));
    EXPECT_TRUE(LockFile(rival, 0, 0, 2, 0));
    EXPECT_TRUE(LockFile(rival, 5, 0, 2, 0));
    // Wine's word for it is the one for a range that another holds.
    const DWORD ulNotLocked = WineSays<DWORD>(ERROR_LOCK_VIOLATION, ERROR_NOT_LOCKED);
    EXPECT_EQ(ErrorOf(UnlockFile(rival, 2, 0, 3, 0)), ulNotLocked);
    EXPECT_EQ(ErrorOf(UnlockFile(holder, 2, 0, 2, 0)), ulNotLocked);
    EXPECT_TRUE(UnlockFile(holder, 2, 0, 3, 0));
    EXPECT_EQ(ErrorOf(UnlockFile(holder, 2, 0, 3, 0)), ulNotLocked);
    EXPECT_TRUE(LockFile(rival, 2, 0, 3, 0));
}

TEST_F(FileShare, LockedBytesAreReadAndWrittenByTheirHolderAlone)
{
    const FileHandle holder(msFile, kulReadWrite), rival(msFile, kulReadWrite);
    ASSERT_TRUE(LockFile(holder, 2, 0, 3, 0));
    char acBuffer[16];
    DWORD ulDone = 0;
    // Wine locks ranges against locking alone.
    const DWORD ulRefused = WineSays<DWORD>(NO_ERROR, ERROR_LOCK_VIOLATION);
    EXPECT_TRUE(ReadFile(rival, acBuffer, 2, &ulDone, nullptr));
    EXPECT_EQ(ErrorOf(ReadFile(rival, acBuffer, 4, &ulDone, nullptr)), ulRefused);
    OVERLAPPED at4{};
    at4.Offset = 4;
    EXPECT_EQ(ErrorOf(WriteFile(rival, "xy", 2, &ulDone, &at4)), ulRefused);
    at4.Offset = 5;
    EXPECT_TRUE(WriteFile(rival, "x", 1, &ulDone, &at4));
    EXPECT_TRUE(ReadFile(holder, acBuffer, 10, &ulDone, nullptr));
    EXPECT_EQ(ulDone, 10u);
}

TEST_F(FileShare, RangesBehindTheEndCanBeLockedAndAWholeFileToo)
{
    const FileHandle holder(msFile, kulReadWrite), rival(msFile, kulRead);
    EXPECT_TRUE(LockFile(holder, 0, 1, 5, 0));
    EXPECT_EQ(ErrorOf(LockFile(rival, 2, 1, 1, 0)), DWORD(ERROR_LOCK_VIOLATION));
    EXPECT_TRUE(UnlockFile(holder, 0, 1, 5, 0));
    EXPECT_TRUE(LockFile(holder, 0, 0, 0xFFFFFFFF, 0xFFFFFFFF));
    EXPECT_EQ(ErrorOf(LockFile(rival, 2, 1, 1, 0)), DWORD(ERROR_LOCK_VIOLATION));
    EXPECT_TRUE(UnlockFile(holder, 0, 0, 0xFFFFFFFF, 0xFFFFFFFF));
    EXPECT_TRUE(LockFile(rival, 2, 1, 1, 0));
}

TEST_F(FileShare, AReaderCanLockARange)
{
    FileHandle holder(msFile, kulRead), rival(msFile, kulRead);
    EXPECT_TRUE(LockFile(holder, 0, 0, 1, 0));
    EXPECT_EQ(ErrorOf(LockFile(rival, 0, 0, 1, 0)), DWORD(ERROR_LOCK_VIOLATION));
    char acBuffer[4];
    DWORD ulDone = 0;
    // Wine locks ranges against locking alone.
    EXPECT_EQ(ErrorOf(ReadFile(rival, acBuffer, 1, &ulDone, nullptr)), WineSays<DWORD>(NO_ERROR, ERROR_LOCK_VIOLATION));
    EXPECT_TRUE(ReadFile(holder, acBuffer, 1, &ulDone, nullptr));
    holder.Close();
    EXPECT_TRUE(ReadFile(rival, acBuffer, 1, &ulDone, nullptr));
}

TEST_F(FileShare, AnotherProcessMeetsLockedRanges)
{
    OtherProcess other("file-holder");
    const FileHandle holder(msFile, kulReadWrite);
    ASSERT_EQ(other.Ask(Open(msFile, kulReadWrite, kulShareAll)), kDone);
    ASSERT_TRUE(LockFile(holder, 2, 0, 3, 0));
    EXPECT_EQ(other.Ask("lock 4 2"), kLocked);
    EXPECT_EQ(other.Ask("lock 5 2"), kDone);
    EXPECT_EQ(ErrorOf(LockFile(holder, 5, 0, 1, 0)), DWORD(ERROR_LOCK_VIOLATION));
    // Wine locks ranges against locking alone.
    EXPECT_EQ(other.Ask("read 0 3"), WineSays(kDone, kLocked));
    EXPECT_EQ(other.Ask("write 4 x"), WineSays(kDone, kLocked));
    EXPECT_EQ(other.Ask("read 0 2"), kDone);
    other.Kill();
    EXPECT_TRUE(LockFile(holder, 5, 0, 1, 0));
}
