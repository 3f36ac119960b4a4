// Files and folders by their names: deleting, moving, folders, attributes.
#include "FileHandle.h"
#include "TempFolder.h"
#include "Wine.h"

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

class FileNames : public testing::Test
{
protected:
    const char* Name(const char* pName) { return (msLast = mFolder / pName).c_str(); }

    TempFolder mFolder;
    const std::string msFile = mFolder / "file", msNew = mFolder / "new";

private:
    std::string msLast;
};

TEST_F(FileNames, DeletesAFileAndNothingElse)
{
    ASSERT_TRUE(WriteText(msFile, "x"));
    EXPECT_TRUE(DeleteFileA(msFile.c_str()));
    EXPECT_EQ(ErrorOf(DeleteFileA(msFile.c_str())), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(ErrorOf(DeleteFileA(Name("none/file"))), DWORD(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(ErrorOf(DeleteFileA(mFolder.Path().c_str())), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(ErrorOf(DeleteFileA(Name("a?"))), DWORD(ERROR_INVALID_NAME));
    EXPECT_EQ(ErrorOf(DeleteFileA("")), DWORD(ERROR_PATH_NOT_FOUND));
}

TEST_F(FileNames, TwoNamesOfOneFileAreKnownByTheirHandles)
{
    ASSERT_TRUE(WriteText(msFile, "four"));
    ASSERT_TRUE(WriteText(msNew, "x"));
    const std::string sLink = mFolder / "link";
    std::filesystem::create_hard_link(msFile, sLink);
    const auto infoOf = [](const std::string& sName) {
        BY_HANDLE_FILE_INFORMATION info{};
        const FileHandle file(sName, kulRead);
        EXPECT_EQ(ErrorOf(GetFileInformationByHandle(file, &info)), 0u);
        return info;
    };
    const auto idOf = [&](const std::string& sName) {
        const BY_HANDLE_FILE_INFORMATION info = infoOf(sName);
        return std::tuple(info.dwVolumeSerialNumber, info.nFileIndexHigh, info.nFileIndexLow);
    };
    EXPECT_EQ(idOf(msFile), idOf(sLink));
    EXPECT_EQ(idOf(msFile), idOf(mFolder / "./FILE"));
    EXPECT_NE(idOf(msFile), idOf(msNew));

    const BY_HANDLE_FILE_INFORMATION info = infoOf(sLink);
    EXPECT_EQ(info.nNumberOfLinks, 2u);
    EXPECT_EQ(info.nFileSizeLow, 4u);
    EXPECT_EQ(info.nFileSizeHigh, 0u);
    EXPECT_EQ(info.dwFileAttributes, GetFileAttributesA(sLink.c_str()));
    FILETIME made{}, read{}, written{};
    EXPECT_TRUE(GetFileTime(FileHandle(sLink, kulRead), &made, &read, &written));
    EXPECT_EQ(std::memcmp(&info.ftLastWriteTime, &written, sizeof written), 0);
    EXPECT_EQ(std::memcmp(&info.ftCreationTime, &made, sizeof made), 0);
    BY_HANDLE_FILE_INFORMATION none{};
    EXPECT_EQ(ErrorOf(GetFileInformationByHandle(INVALID_HANDLE_VALUE, &none)), DWORD(ERROR_INVALID_HANDLE));
}

TEST_F(FileNames, MovesToAFreeNameOnly)
{
    ASSERT_TRUE(WriteText(msFile, "x"));
    EXPECT_TRUE(MoveFileA(msFile.c_str(), msNew.c_str()));
    EXPECT_EQ(ErrorOf(MoveFileA(msFile.c_str(), msNew.c_str())), DWORD(ERROR_FILE_NOT_FOUND));
    ASSERT_TRUE(WriteText(msFile, "y"));
    EXPECT_EQ(ErrorOf(MoveFileA(msFile.c_str(), msNew.c_str())), DWORD(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(ErrorOf(MoveFileA(msFile.c_str(), Name("none/new"))), DWORD(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(ErrorOf(MoveFileA(msFile.c_str(), "")), DWORD(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(ReadText(msNew), "x");
    EXPECT_EQ(ReadText(msFile), "y");
}

TEST_F(FileNames, MovingCanChangeTheCaseAlone)
{
    ASSERT_TRUE(WriteText(msFile, "x"));
    EXPECT_TRUE(MoveFileA(msFile.c_str(), msFile.c_str()));
    EXPECT_TRUE(MoveFileA(msFile.c_str(), Name("FILE")));
    std::string sFound;
    for (const auto& entry : std::filesystem::directory_iterator(mFolder.Path())) sFound += entry.path().filename().string();
    // Wine takes the two names for one and does nothing.
    EXPECT_EQ(sFound, WineSays<std::string>("file", "FILE"));
}

TEST_F(FileNames, MovesAFolderWithWhatIsInIt)
{
    ASSERT_TRUE(CreateDirectoryA(Name("folder"), nullptr));
    ASSERT_TRUE(WriteText(mFolder / "folder/inside", "x"));
    EXPECT_TRUE(MoveFileA((mFolder / "folder").c_str(), msNew.c_str()));
    EXPECT_EQ(ReadText(mFolder / "new/inside"), "x");
}

TEST_F(FileNames, MakesAndRemovesFolders)
{
    const std::string sFolder = mFolder / "folder";
    EXPECT_TRUE(CreateDirectoryA(sFolder.c_str(), nullptr));
    EXPECT_EQ(ErrorOf(CreateDirectoryA(sFolder.c_str(), nullptr)), DWORD(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(ErrorOf(CreateDirectoryA(Name("FOLDER"), nullptr)), DWORD(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(ErrorOf(CreateDirectoryA(Name("none/folder"), nullptr)), DWORD(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(ErrorOf(CreateDirectoryA(Name("a*"), nullptr)), DWORD(ERROR_INVALID_NAME));
    ASSERT_TRUE(WriteText(sFolder + "/file", "x"));
    EXPECT_EQ(ErrorOf(CreateDirectoryA((sFolder + "/file").c_str(), nullptr)), DWORD(ERROR_ALREADY_EXISTS));
    EXPECT_EQ(ErrorOf(RemoveDirectoryA(sFolder.c_str())), DWORD(ERROR_DIR_NOT_EMPTY));
    EXPECT_EQ(ErrorOf(RemoveDirectoryA((sFolder + "/file").c_str())), DWORD(ERROR_DIRECTORY));
    EXPECT_TRUE(DeleteFileA((sFolder + "/file").c_str()));
    EXPECT_TRUE(RemoveDirectoryA(sFolder.c_str()));
    EXPECT_EQ(ErrorOf(RemoveDirectoryA(sFolder.c_str())), DWORD(ERROR_FILE_NOT_FOUND));
}

TEST_F(FileNames, TellsWhatANameStandsFor)
{
    ASSERT_TRUE(WriteText(msFile, "x"));
    EXPECT_EQ(GetFileAttributesA(msFile.c_str()), DWORD(FILE_ATTRIBUTE_ARCHIVE));
    EXPECT_EQ(GetFileAttributesA(mFolder.Path().c_str()), DWORD(FILE_ATTRIBUTE_DIRECTORY));
    EXPECT_EQ(GetFileAttributesA(msNew.c_str()), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(GetFileAttributesA(Name("none/file")), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_PATH_NOT_FOUND));
}

TEST_F(FileNames, KeepsTheReadOnlyAttribute)
{
    ASSERT_TRUE(WriteText(msFile, "x"));
    EXPECT_TRUE(SetFileAttributesA(msFile.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(GetFileAttributesA(msFile.c_str()), DWORD(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE));
    EXPECT_TRUE(SetFileAttributesA(msFile.c_str(), FILE_ATTRIBUTE_ARCHIVE));
    EXPECT_EQ(GetFileAttributesA(msFile.c_str()), DWORD(FILE_ATTRIBUTE_ARCHIVE));
    EXPECT_EQ(ErrorOf(SetFileAttributesA(msNew.c_str(), FILE_ATTRIBUTE_READONLY)), DWORD(ERROR_FILE_NOT_FOUND));
}

TEST_F(FileNames, TellsSizeAndTimesWithoutOpening)
{
    ASSERT_TRUE(WriteText(msFile, "0123456789"));
    const FILETIME written{0x80000000, 0x01C10000};
    ASSERT_TRUE(SetFileTime(FileHandle(msFile, FILE_WRITE_ATTRIBUTES), nullptr, nullptr, &written));
    WIN32_FILE_ATTRIBUTE_DATA data{};
    ASSERT_TRUE(GetFileAttributesExA(msFile.c_str(), GetFileExInfoStandard, &data));
    EXPECT_EQ(data.nFileSizeLow, 10u);
    EXPECT_EQ(data.nFileSizeHigh, 0u);
    EXPECT_EQ(data.dwFileAttributes, DWORD(FILE_ATTRIBUTE_ARCHIVE));
    EXPECT_EQ(data.ftLastWriteTime.dwHighDateTime, written.dwHighDateTime);
    EXPECT_EQ(data.ftLastWriteTime.dwLowDateTime, written.dwLowDateTime);
    EXPECT_EQ(ErrorOf(GetFileAttributesExA(msNew.c_str(), GetFileExInfoStandard, &data)), DWORD(ERROR_FILE_NOT_FOUND));
}
