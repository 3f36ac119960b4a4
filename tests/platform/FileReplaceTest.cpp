// A file that takes the place of another in one step.
#include "Platform.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace
{
constexpr DWORD kulReplace = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;

class FileReplace : public testing::Test
{
protected:
    FileReplace() : mFolder(std::filesystem::temp_directory_path() / "lumbase-file-replace")
    {
        std::filesystem::remove_all(mFolder);
        std::filesystem::create_directories(mFolder);
    }
    ~FileReplace() override { std::filesystem::remove_all(mFolder); }

    std::string Path(const char* pName) const { return (mFolder / pName).string(); }
    void Write(const char* pName, const char* pText) { std::ofstream(mFolder / pName) << pText; }
    std::string Read(const char* pName) const
    {
        std::ifstream file(mFolder / pName);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool Exists(const char* pName) const { return std::filesystem::exists(mFolder / pName); }

    BOOL Move(DWORD ulFlags = kulReplace)
    {
        SetLastError(NO_ERROR);
        return MoveFileExA(Path("new").c_str(), Path("old").c_str(), ulFlags);
    }

    std::filesystem::path mFolder;
};

TEST_F(FileReplace, TheNewContentsStandUnderTheOldName)
{
    Write("new", "new contents");
    Write("old", "old");
    EXPECT_TRUE(Move());
    EXPECT_EQ(Read("old"), "new contents");
    EXPECT_FALSE(Exists("new"));
}

TEST_F(FileReplace, TheNameMayBeFree)
{
    Write("new", "text");
    EXPECT_TRUE(Move());
    EXPECT_EQ(Read("old"), "text");
}

TEST_F(FileReplace, WithoutTheFlagAFileThatExistsStays)
{
    Write("new", "new");
    Write("old", "old");
    EXPECT_FALSE(Move(MOVEFILE_WRITE_THROUGH));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(Read("old"), "old");
    EXPECT_EQ(Read("new"), "new");
}

TEST_F(FileReplace, AFileThatIsOpenStays)
{
    Write("new", "new");
    Write("old", "old");
    const HANDLE hOpen = CreateFileA(Path("old").c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(hOpen, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(Move());
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    CloseHandle(hOpen);
    EXPECT_EQ(Read("old"), "old");
    EXPECT_TRUE(Move());
    EXPECT_EQ(Read("old"), "new");
}

TEST_F(FileReplace, AFolderStays)
{
    Write("new", "new");
    std::filesystem::create_directory(mFolder / "old");
    EXPECT_FALSE(Move());
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(Read("new"), "new");
}

TEST_F(FileReplace, WhatIsMissingIsNotFound)
{
    Write("old", "old");
    EXPECT_FALSE(Move());
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(Read("old"), "old");

    Write("new", "new");
    EXPECT_FALSE(MoveFileExA(Path("new").c_str(), Path("none/old").c_str(), kulReplace));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
}
} // namespace
