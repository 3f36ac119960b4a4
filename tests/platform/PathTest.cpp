// How paths are read.
#include "FileHandle.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

class Path : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(CreateDirectoryA((mFolder / "Folder").c_str(), nullptr));
        ASSERT_TRUE(WriteText(mFolder / "Folder/File.txt", "text"));
    }
    void TearDown() override { SetCurrentDirectoryA(std::filesystem::temp_directory_path().string().c_str()); }

    std::string FullName(const char* pPath)
    {
        char acFull[4096] = "";
        const DWORD ulLength = GetFullPathNameA(pPath, sizeof acFull, acFull, nullptr);
        EXPECT_EQ(ulLength, std::string(acFull).size());
        return acFull;
    }

    TempFolder mFolder;
};

TEST_F(Path, TakesEitherSeparator)
{
    EXPECT_EQ(ReadText(mFolder.Path() + "\\Folder\\File.txt"), "text");
    EXPECT_EQ(ReadText(mFolder.Path() + "/Folder//File.txt"), "text");
    EXPECT_EQ(ReadText(mFolder.Path() + "\\Folder/.\\File.txt"), "text");
}

TEST_F(Path, FindsANameInAnyCase)
{
    EXPECT_EQ(ReadText(mFolder / "Folder/FILE.TXT"), "text");
    EXPECT_EQ(ReadText(mFolder / "FOLDER/file.Txt"), "text");
    EXPECT_EQ(OpenError(mFolder / "FOLDER/file", kulRead), DWORD(ERROR_FILE_NOT_FOUND));
}

TEST_F(Path, MakesNoSecondFileThatDiffersInCaseAlone)
{
    EXPECT_EQ(OpenError(mFolder / "folder/FILE.TXT", kulWrite, 0, CREATE_NEW), DWORD(ERROR_FILE_EXISTS));
    ASSERT_TRUE(WriteText(mFolder / "folder/FILE.TXT", "new"));
    EXPECT_EQ(ReadText(mFolder / "Folder/File.txt"), "new");
    ASSERT_TRUE(WriteText(mFolder / "FOLDER/Other.txt", "other"));
    EXPECT_EQ(ReadText(mFolder / "Folder/Other.txt"), "other");
}

TEST_F(Path, GoesUpByTheTextAlone)
{
    EXPECT_EQ(ReadText(mFolder / "none/../Folder/none/../File.txt"), "text");
    EXPECT_EQ(ReadText(mFolder / "Folder/File.txt/../File.txt"), "text");
}

TEST_F(Path, DropsDotsAndBlanksAtTheEndOfAName)
{
    EXPECT_EQ(ReadText(mFolder / "Folder/File.txt. ."), "text");
    ASSERT_TRUE(WriteText(mFolder / "made..", "x"));
    EXPECT_EQ(ReadText(mFolder / "made"), "x");
}

TEST_F(Path, IsRelativeToTheWorkingFolder)
{
    ASSERT_TRUE(SetCurrentDirectoryA((mFolder / "FOLDER").c_str()));
    EXPECT_EQ(ReadText("File.txt"), "text");
    EXPECT_EQ(ReadText("..\\Folder\\File.txt"), "text");
    char acWorking[4096] = "";
    GetCurrentDirectoryA(sizeof acWorking, acWorking);
    EXPECT_EQ(ReadText(std::string(acWorking) + "/File.txt"), "text");
}

TEST_F(Path, RefusesAWorkingFolderThatIsNone)
{
    EXPECT_EQ(ErrorOf(SetCurrentDirectoryA((mFolder / "none").c_str())), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(ErrorOf(SetCurrentDirectoryA((mFolder / "none/none").c_str())), DWORD(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(ErrorOf(SetCurrentDirectoryA((mFolder / "Folder/File.txt").c_str())), DWORD(ERROR_DIRECTORY));
}

TEST_F(Path, StopsAtTheRootOfADrive)
{
    const std::string sName = "lum-path-" + std::to_string(GetCurrentProcessId());
    ASSERT_TRUE(WriteText("C:\\" + sName, "on drive C"));
    EXPECT_EQ(ReadText("c:/" + sName), "on drive C");
    EXPECT_EQ(ReadText("C:\\..\\..\\..\\" + sName), "on drive C");
    EXPECT_EQ(ReadText("C:\\none\\..\\..\\" + sName), "on drive C");
    EXPECT_EQ(ReadText("\\\\?\\C:\\" + sName), "on drive C");
    EXPECT_TRUE(DeleteFileA(("C:\\" + sName).c_str()));
    EXPECT_EQ(OpenError("C:\\", kulRead), DWORD(ERROR_ACCESS_DENIED)); // a folder
    EXPECT_EQ(OpenError("C:\\lum-none\\file", kulRead), DWORD(ERROR_PATH_NOT_FOUND));
    EXPECT_FALSE(FileHandle("q:\\file", kulRead).IsOpen());
}

TEST_F(Path, GivesTheWholeNameOfADrivePath)
{
    EXPECT_EQ(FullName("C:\\a\\.\\b\\..\\c"), "C:\\a\\c");
    EXPECT_EQ(FullName("c:/a/b"), "c:\\a\\b");
    EXPECT_EQ(FullName("C:\\..\\a"), "C:\\a");
    EXPECT_EQ(FullName("C:\\a\\"), "C:\\a\\");
    EXPECT_EQ(FullName("C:\\a\\.."), "C:\\");
    EXPECT_EQ(FullName("C:\\a. ."), "C:\\a");
    EXPECT_EQ(FullName("C:\\a.\\b"), "C:\\a\\b");
}

TEST_F(Path, PointsAtTheLastComponent)
{
    char acFull[100] = "";
    char* pPart = nullptr;
    EXPECT_EQ(GetFullPathNameA("C:\\folder\\file", sizeof acFull, acFull, &pPart), 14u);
    EXPECT_STREQ(pPart, "file");
    GetFullPathNameA("C:\\folder\\", sizeof acFull, acFull, &pPart);
    EXPECT_EQ(pPart, nullptr);
}

TEST_F(Path, AsksForRoomThatIsMissing)
{
    char acFull[100] = "-";
    EXPECT_EQ(GetFullPathNameA("C:\\folder\\file", 14, acFull, nullptr), 15u);
    EXPECT_STREQ(acFull, "-");
    const DWORD ulWorking = GetCurrentDirectoryA(0, nullptr), ulTemp = GetTempPathA(0, nullptr);
    EXPECT_EQ(GetCurrentDirectoryA(ulWorking, std::string(ulWorking, 0).data()), ulWorking - 1);
    EXPECT_EQ(GetTempPathA(ulTemp, std::string(ulTemp, 0).data()), ulTemp - 1);
}

TEST_F(Path, TheTemporaryFolderEndsWithASeparator)
{
    char acTemp[4096] = "";
    const DWORD ulLength = GetTempPathA(sizeof acTemp, acTemp);
    ASSERT_GT(ulLength, 1u);
    EXPECT_TRUE(acTemp[ulLength - 1] == '\\' || acTemp[ulLength - 1] == '/');
    EXPECT_TRUE(GetFileAttributesA(acTemp) & FILE_ATTRIBUTE_DIRECTORY);
}

TEST_F(Path, TheProgramKnowsItsFile)
{
    char acProgram[4096] = "", acShort[5] = "????";
    const DWORD ulLength = GetModuleFileNameA(nullptr, acProgram, sizeof acProgram);
    EXPECT_EQ(ulLength, std::string(acProgram).size());
    EXPECT_NE(std::string(acProgram).find("PlatformTests"), std::string::npos);
    EXPECT_NE(GetFileAttributesA(acProgram), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetModuleFileNameA(nullptr, acShort, sizeof acShort), 5u);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(std::string(acShort, 4), std::string(acProgram, 4));
}
