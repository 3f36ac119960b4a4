// Where message boxes go without a hook; for Linux alone, where LUMBASE_MESSAGES says so.
#include "FileHandle.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>

class MessagePlace : public testing::Test
{
protected:
    void SetUp() override
    {
        for (const char* pName : {"DISPLAY", "WAYLAND_DISPLAY", "LUMBASE_MESSAGES"}) unsetenv(pName);
    }
    void TearDown() override { SetUp(); }

    // What is written to stderr meanwhile.
    std::string StderrOf(const std::function<void()>& call)
    {
        const int fdOld = dup(STDERR_FILENO), fdNew = open((mFolder / "stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(fdNew, STDERR_FILENO);
        call();
        dup2(fdOld, STDERR_FILENO);
        close(fdOld);
        close(fdNew);
        return ReadText(mFolder / "stderr");
    }

    TempFolder mFolder;
};

TEST_F(MessagePlace, IsStderrUnlessAnotherIsAskedFor)
{
    EXPECT_EQ(StderrOf([] { EXPECT_EQ(LumMessageBox("the lamp is out", "ERROR"), IDOK); }), "[ERROR] the lamp is out\n");
    EXPECT_EQ(StderrOf([] { MessageBoxA(nullptr, nullptr, nullptr, MB_OK); }), "[Error] \n");
    setenv("LUMBASE_MESSAGES", "stderr", 1);
    EXPECT_EQ(StderrOf([] { LumMessageBox("a\r\nb", "two\nlines"); }), "[two\\nlines] a\\r\\nb\n");
    setenv("LUMBASE_MESSAGES", "nonsense", 1);
    EXPECT_EQ(StderrOf([] { LumMessageBox("text", "caption"); }), "[caption] text\n");
}

TEST_F(MessagePlace, CanBeAFileThatGrowsLineByLine)
{
    const std::string sFile = mFolder / "messages";
    setenv("LUMBASE_MESSAGES", ("file:" + sFile).c_str(), 1);
    EXPECT_EQ(StderrOf([] {
                  LumMessageBox("first\nnotice", "ERROR");
                  LumMessageBox("second", "Note");
              }),
              "");
    EXPECT_EQ(ReadText(sFile), "[ERROR] first\\nnotice\n[Note] second\n");
}

TEST_F(MessagePlace, FallsBackToStderrWhenTheFileCannotBeWritten)
{
    setenv("LUMBASE_MESSAGES", ("file:" + mFolder.Path() + "/none/messages").c_str(), 1);
    EXPECT_EQ(StderrOf([] { LumMessageBox("text", "caption"); }), "[caption] text\n");
    setenv("LUMBASE_MESSAGES", "file:/dev/full", 1);
    EXPECT_EQ(StderrOf([] { LumMessageBox("text", "caption"); }), "[caption] text\n");
}

TEST_F(MessagePlace, NeverBlocksWithoutADesktop)
{
    setenv("LUMBASE_MESSAGES", "desktop", 1);
    EXPECT_EQ(StderrOf([] { EXPECT_EQ(LumMessageBox("text", "caption"), IDOK); }), "[caption] text\n");
}

TEST_F(MessagePlace, OnADesktopIsTheFirstDialogProgramThatWorks)
{
    // There is no desktop to run a real one on: these write down what they were asked to show.
    const auto MakeProgram = [this](const char* pName, const char* pScript) {
        ASSERT_TRUE(WriteText(mFolder / pName, pScript));
        chmod((mFolder / pName).c_str(), 0700);
    };
    MakeProgram("zenity", "#!/bin/sh\nexit 1\n");
    MakeProgram("kdialog", "#!/bin/sh\nprintf '%s|' \"$@\" > \"${0%/*}/shown\"\n");
    const std::string sOldPath = std::getenv("PATH");
    setenv("PATH", (mFolder.Path() + ":" + sOldPath).c_str(), 1);
    setenv("DISPLAY", ":99", 1);
    setenv("LUMBASE_MESSAGES", "desktop", 1);
    EXPECT_EQ(StderrOf([] { EXPECT_EQ(LumMessageBox("--it's out\nof \"gas\"", "ERROR"), IDOK); }), "");
    EXPECT_EQ(ReadText(mFolder / "shown"), "--title|ERROR|--msgbox| --it's out\nof \"gas\"|");
    setenv("PATH", sOldPath.c_str(), 1);
}

TEST_F(MessagePlace, KeepsTheLastError)
{
    setenv("LUMBASE_MESSAGES", ("file:" + mFolder.Path() + "/none/messages").c_str(), 1);
    DWORD ulAfter = 0;
    SetLastError(ERROR_GEN_FAILURE);
    StderrOf([&] {
        LumMessageBox("text", "caption");
        ulAfter = GetLastError();
    });
    EXPECT_EQ(ulAfter, DWORD(ERROR_GEN_FAILURE));
}
