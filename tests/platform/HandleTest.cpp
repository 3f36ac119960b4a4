// Handles of every kind.
#include "FileHandle.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

static HANDLE OpenNull() { return CreateFileA("NUL", kulRead, kulShareAll, nullptr, OPEN_EXISTING, 0, nullptr); }

TEST(Handle, FitsIn32BitsAndIsAMultipleOfFour)
{
    const FileHandle file(OpenNull());
    const auto ulValue = reinterpret_cast<ULONG_PTR>(static_cast<HANDLE>(file));
    EXPECT_NE(ulValue, 0u);
    EXPECT_EQ(ulValue & 3, 0u);
    EXPECT_LE(ulValue, 0xFFFFFFFFu);
}

TEST(Handle, IsClosedOnce)
{
    const HANDLE hFile = OpenNull();
    EXPECT_TRUE(CloseHandle(hFile));
    EXPECT_EQ(ErrorOf(CloseHandle(hFile)), DWORD(ERROR_INVALID_HANDLE));
}

TEST(Handle, ValuesThatAreNoneAreRefused)
{
    EXPECT_EQ(ErrorOf(CloseHandle(nullptr)), DWORD(ERROR_INVALID_HANDLE));
    for (ULONG_PTR ulValue : {ULONG_PTR(0x10001230), ULONG_PTR(0x7FFFFFFC), ULONG_PTR(0xDEADBEEC)})
        EXPECT_EQ(ErrorOf(CloseHandle(reinterpret_cast<HANDLE>(ulValue))), DWORD(ERROR_INVALID_HANDLE));
}

TEST(Handle, TheProcessItselfIsClosedWithoutEffect)
{
    EXPECT_TRUE(CloseHandle(GetCurrentProcess()));
    EXPECT_TRUE(CloseHandle(INVALID_HANDLE_VALUE)); // the same value
    EXPECT_TRUE(CloseHandle(INVALID_HANDLE_VALUE));
}

TEST(Handle, ManyAreDifferent)
{
    std::set<HANDLE> handles;
    for (int i = 0; i < 500; ++i) handles.insert(OpenNull());
    EXPECT_EQ(handles.size(), 500u);
    EXPECT_EQ(handles.count(INVALID_HANDLE_VALUE), 0u);
    for (HANDLE hFile : handles) EXPECT_TRUE(CloseHandle(hFile));
}

TEST(Handle, ADuplicateIsAHandleOfItsOwn)
{
    const HANDLE hFile = OpenNull();
    HANDLE hCopy = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), hFile, GetCurrentProcess(), &hCopy, 0, FALSE, DUPLICATE_SAME_ACCESS));
    EXPECT_NE(hCopy, hFile);
    EXPECT_TRUE(CloseHandle(hFile));
    char c = 0;
    DWORD ulDone = 0;
    EXPECT_TRUE(ReadFile(hCopy, &c, 1, &ulDone, nullptr));
    EXPECT_TRUE(CloseHandle(hCopy));
    EXPECT_EQ(ErrorOf(DuplicateHandle(GetCurrentProcess(), hFile, GetCurrentProcess(), &hCopy, 0, FALSE, DUPLICATE_SAME_ACCESS)),
              DWORD(ERROR_INVALID_HANDLE));
}

TEST(Handle, DuplicatingCanCloseTheSource)
{
    const HANDLE hFile = OpenNull();
    HANDLE hCopy = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), hFile, GetCurrentProcess(), &hCopy, 0, FALSE,
                                DUPLICATE_SAME_ACCESS | DUPLICATE_CLOSE_SOURCE));
    EXPECT_TRUE(hCopy == hFile || ErrorOf(CloseHandle(hFile)) == ERROR_INVALID_HANDLE);
    EXPECT_TRUE(CloseHandle(hCopy));
}

TEST(Handle, UsingAndClosingInDifferentThreadsIsSafe)
{
    TempFolder folder;
    ASSERT_TRUE(WriteText(folder / "file", "x"));
    std::atomic<HANDLE> hShared{INVALID_HANDLE_VALUE};
    std::atomic<bool> bStop{false};
    std::atomic<int> iRead{0}, iOdd{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
        readers.emplace_back([&] {
            while (!bStop)
            {
                OVERLAPPED start{};
                char c = 0;
                DWORD ulDone = 0;
                if (!ReadFile(hShared, &c, 1, &ulDone, &start)) continue;
                ++iRead;
                if (c != 'x') ++iOdd;
            }
        });
    for (int i = 0; i < 300 || iRead < 10; ++i)
    {
        const FileHandle file(folder / "file", kulRead);
        hShared = file;
        std::this_thread::yield();
    }
    bStop = true;
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(iOdd, 0);
}
