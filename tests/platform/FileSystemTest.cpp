// What the system beneath can do to a file; for Linux alone: devices that are full, rights, links, forks.
#include "FileHandle.h"
#include "OtherProcess.h"
#include "TempFolder.h"

#include "linux/kernel/State.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <thread>

class FileSystem : public testing::Test
{
protected:
    // Runs a check in a forked process that may not do what an administrator may; its answer counts.
    static bool AsOrdinaryUser(const std::function<bool()>& check)
    {
        const pid_t child = fork();
        if (child == 0)
        {
            if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(2);
            _exit(check() ? 0 : 1);
        }
        int iStatus = -1;
        waitpid(child, &iStatus, 0);
        return iStatus == 0;
    }

    TempFolder mFolder;
    const std::string msFile = mFolder / "file";
};

TEST_F(FileSystem, AFullDeviceIsAnError)
{
    const FileHandle file("/dev/full", kulWrite);
    DWORD ulDone = 9;
    EXPECT_EQ(ErrorOf(WriteFile(file, "text", 4, &ulDone, nullptr)), DWORD(ERROR_DISK_FULL));
    EXPECT_EQ(ulDone, 0u);
}

TEST_F(FileSystem, AWriteThatFitsInPartSaysHowFarItWent)
{
    if (mount("none", mFolder.Path().c_str(), "tmpfs", 0, "size=64k") != 0)
        GTEST_SKIP() << "a small disk needs the right to mount one";
    std::string sText(100'000, 'x');
    DWORD ulDone = 0;
    {
        const FileHandle file(msFile, kulReadWrite, 0, CREATE_NEW);
        EXPECT_EQ(ErrorOf(WriteFile(file, sText.data(), 100'000, &ulDone, nullptr)), DWORD(ERROR_DISK_FULL));
        EXPECT_GT(ulDone, 0u);
        EXPECT_LT(ulDone, 100'000u);
        EXPECT_EQ(GetFileSize(file, nullptr), ulDone);
    }
    EXPECT_TRUE(DeleteFileA(msFile.c_str()));
    EXPECT_EQ(umount(mFolder.Path().c_str()), 0);
}

TEST_F(FileSystem, AMoveToAnotherFileSystemTakesTheContentsAlong)
{
    const std::string sOther = mFolder / "other";
    ASSERT_TRUE(CreateDirectoryA(sOther.c_str(), nullptr));
    if (mount("none", sOther.c_str(), "tmpfs", 0, "size=64k") != 0)
        GTEST_SKIP() << "a second disk needs the right to mount one";
    const FILETIME written{0x80000000, 0x01C10000};
    ASSERT_TRUE(WriteText(msFile, "text"));
    ASSERT_TRUE(SetFileTime(FileHandle(msFile, FILE_WRITE_ATTRIBUTES), nullptr, nullptr, &written));
    EXPECT_TRUE(MoveFileA(msFile.c_str(), (sOther + "/new").c_str()));
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(ERROR_FILE_NOT_FOUND));
    FILETIME writtenBack{};
    EXPECT_TRUE(GetFileTime(FileHandle(sOther + "/new", kulRead), nullptr, nullptr, &writtenBack));
    EXPECT_EQ(writtenBack.dwHighDateTime, written.dwHighDateTime);
    EXPECT_EQ(ReadText(sOther + "/new"), "text");

    ASSERT_TRUE(WriteText(msFile, std::string(100'000, 'x')));
    EXPECT_EQ(ErrorOf(MoveFileA(msFile.c_str(), (sOther + "/large").c_str())), DWORD(ERROR_DISK_FULL));
    EXPECT_EQ(ReadText(msFile).size(), 100'000u);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(sOther), {}), 1); // nothing half written stays
    EXPECT_EQ(umount(sOther.c_str()), 0);
}

TEST_F(FileSystem, RunningOutOfDescriptorsIsAnError)
{
    ASSERT_TRUE(WriteText(msFile, "x"));
    rlimit old{};
    getrlimit(RLIMIT_NOFILE, &old);
    const rlimit few{3, old.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    const DWORD ulError = OpenError(msFile, kulRead);
    setrlimit(RLIMIT_NOFILE, &old);
    EXPECT_EQ(ulError, DWORD(ERROR_TOO_MANY_OPEN_FILES));
}

TEST_F(FileSystem, AFolderWithoutRightsLetsNothingBeMade)
{
    ASSERT_TRUE(WriteText(msFile, "text"));
    chmod(mFolder.Path().c_str(), 0555);
    EXPECT_TRUE(AsOrdinaryUser([this] {
        return OpenError(mFolder / "new", kulWrite, 0, CREATE_NEW) == ERROR_ACCESS_DENIED &&
               ErrorOf(DeleteFileA(msFile.c_str())) == ERROR_ACCESS_DENIED &&
               ErrorOf(CreateDirectoryA((mFolder / "folder").c_str(), nullptr)) == ERROR_ACCESS_DENIED &&
               OpenError(msFile, kulRead) == NO_ERROR;
    }));
    chmod(mFolder.Path().c_str(), 0600);
    EXPECT_TRUE(AsOrdinaryUser([this] { return OpenError(msFile, kulRead) == ERROR_ACCESS_DENIED; }));
    chmod(mFolder.Path().c_str(), 0700);
}

TEST_F(FileSystem, AFileThatMayOnlyBeWrittenHasShareModesToo)
{
    ASSERT_TRUE(WriteText(msFile, "text"));
    chmod(mFolder.Path().c_str(), 0777);
    chmod(msFile.c_str(), 0222);
    EXPECT_TRUE(AsOrdinaryUser([this] {
        FileHandle first(msFile, kulWrite, FILE_SHARE_WRITE);
        const FileHandle second(msFile, kulWrite, FILE_SHARE_WRITE);
        const bool bTogether = first.IsOpen() && second.IsOpen();
        return bTogether && OpenError(msFile, kulWrite, 0) == ERROR_SHARING_VIOLATION &&
               OpenError(msFile, kulRead) == ERROR_ACCESS_DENIED;
    }));
}

TEST_F(FileSystem, ALockOfAnotherKindDelaysAnOpenButDoesNotStopIt)
{
    ASSERT_TRUE(WriteText(msFile, "text"));
    const int fd = open(msFile.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(fd, LOCK_EX), 0);
    const FileHandle holder(msFile, kulRead, 0);
    EXPECT_TRUE(holder.IsOpen());
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(ERROR_SHARING_VIOLATION));
    close(fd);
}

TEST_F(FileSystem, AProgramStartedFromHereHoldsNothing)
{
    ASSERT_TRUE(WriteText(msFile, "text"));
    FileHandle holder(msFile, kulRead, 0);
    char acProgram[] = "sleep", acSeconds[] = "100";
    char* aWords[] = {acProgram, acSeconds, nullptr};
    pid_t child = 0;
    ASSERT_EQ(posix_spawnp(&child, "sleep", nullptr, nullptr, aWords, environ), 0);
    holder.Close();
    EXPECT_EQ(OpenError(msFile, kulReadWrite, 0), DWORD(NO_ERROR));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

TEST_F(FileSystem, AForkedChildHoldsWhatItWasGivenUntilItEnds)
{
    ASSERT_TRUE(WriteText(msFile, "text"));
    FileHandle holder(msFile, kulRead, 0);
    int aPipe[2];
    ASSERT_EQ(pipe(aPipe), 0);
    const pid_t child = fork();
    if (child == 0)
    {
        char c = 0;
        close(aPipe[1]);
        _exit(read(aPipe[0], &c, 1) == 0 ? 0 : 1);
    }
    close(aPipe[0]);
    holder.Close();
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(ERROR_SHARING_VIOLATION));
    close(aPipe[1]);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(NO_ERROR));
}

TEST_F(FileSystem, APipeGivesWhatItHas)
{
    ASSERT_EQ(mkfifo(msFile.c_str(), 0600), 0);
    const int fd = open(msFile.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(write(fd, "abc", 3), 3);
    const FileHandle file(msFile, kulRead);
    char acBuffer[10];
    DWORD ulDone = 0;
    EXPECT_TRUE(ReadFile(file, acBuffer, 10, &ulDone, nullptr));
    EXPECT_EQ(ulDone, 3u);
    EXPECT_EQ(GetFileType(file), DWORD(FILE_TYPE_PIPE));
    EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_BEGIN), INVALID_SET_FILE_POINTER);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_SEEK_ON_DEVICE));
    close(fd);
}

TEST_F(FileSystem, AnInterruptedReadGoesOn)
{
    static std::atomic<int> iSignals;
    iSignals = 0;
    struct sigaction interrupt{}, old{};
    interrupt.sa_handler = [](int) { ++iSignals; }; // without SA_RESTART: the system gives up the read
    sigaction(SIGALRM, &interrupt, &old);
    ASSERT_EQ(mkfifo(msFile.c_str(), 0600), 0);
    const int fd = open(msFile.c_str(), O_RDWR | O_CLOEXEC);
    const FileHandle file(msFile, kulRead);
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
    std::thread writer([&] {
        while (iSignals < 3) std::this_thread::yield();
        EXPECT_EQ(write(fd, "abc", 3), 3);
    });
    pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
    const itimerval often{{0, 5'000}, {0, 5'000}}, never{};
    setitimer(ITIMER_REAL, &often, nullptr);
    char acBuffer[10];
    DWORD ulDone = 0;
    EXPECT_TRUE(ReadFile(file, acBuffer, 10, &ulDone, nullptr));
    EXPECT_EQ(ulDone, 3u);
    setitimer(ITIMER_REAL, &never, nullptr);
    writer.join();
    sigaction(SIGALRM, &old, nullptr);
    close(fd);
}

TEST_F(FileSystem, ALinkIsDeletedAndNotWhatItLeadsTo)
{
    ASSERT_TRUE(WriteText(msFile, "text"));
    const std::string sLink = mFolder / "link", sLost = mFolder / "lost";
    ASSERT_EQ(symlink(msFile.c_str(), sLink.c_str()), 0);
    ASSERT_EQ(symlink((mFolder / "nowhere/file").c_str(), sLost.c_str()), 0);
    EXPECT_EQ(ReadText(sLink), "text");
    EXPECT_TRUE(DeleteFileA(sLink.c_str()));
    EXPECT_EQ(ReadText(msFile), "text");
    EXPECT_EQ(OpenError(sLost, kulRead), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(FileHandle(sLost, kulWrite, 0, CREATE_ALWAYS).IsOpen());
    EXPECT_TRUE(DeleteFileA(sLost.c_str()));
}

TEST_F(FileSystem, ADriveIsALinkBelowTheStateDirectory)
{
    EXPECT_EQ(lum::StateHome(), std::getenv("LUMBASE_HOME"));
    ASSERT_TRUE(WriteText("C:\\file", "on C"));
    EXPECT_EQ(ReadText(lum::StateHome() + "/drive_c/file"), "on C");

    ASSERT_EQ(symlink(mFolder.Path().c_str(), (lum::StateHome() + "/drives/m").c_str()), 0);
    ASSERT_TRUE(WriteText("M:/file", "on M"));
    EXPECT_EQ(ReadText(msFile), "on M");
    EXPECT_EQ(ReadText("m:\\..\\..\\..\\file"), "on M");
    EXPECT_EQ(OpenError("m:\\etc\\..\\..\\etc\\passwd", kulRead), DWORD(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(OpenError("X:\\file", kulRead), DWORD(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(OpenError("\\\\host\\share\\file", kulRead), DWORD(ERROR_BAD_NETPATH));
    unlink((lum::StateHome() + "/drives/m").c_str());
}

TEST_F(FileSystem, NamesMatchWithoutCaseInEveryScript)
{
    ASSERT_TRUE(WriteText(mFolder / "\xC3\x84rger", "x"));         // capital A with two dots
    EXPECT_EQ(ReadText(mFolder / "\xC3\xA4RGER"), "x");            // the small one
    EXPECT_EQ(OpenError(mFolder / "Arger", kulRead), DWORD(ERROR_FILE_NOT_FOUND));
    const std::string sNotText = mFolder.Path() + "/\xFF\xFE";     // not UTF-8, but a name to the system
    ASSERT_TRUE(WriteText(sNotText, "y"));
    EXPECT_EQ(ReadText(sNotText), "y");
}

TEST_F(FileSystem, OfTwoNamesThatDifferInCaseEachIsFoundAsSpelled)
{
    ASSERT_EQ(close(open((mFolder / "name").c_str(), O_CREAT | O_WRONLY, 0600)), 0);
    ASSERT_EQ(close(open((mFolder / "NAME").c_str(), O_CREAT | O_WRONLY, 0600)), 0);
    ASSERT_TRUE(WriteText(mFolder / "name", "small"));
    ASSERT_TRUE(WriteText(mFolder / "NAME", "large"));
    EXPECT_EQ(ReadText(mFolder / "name"), "small");
    EXPECT_EQ(ReadText(mFolder / "NAME"), "large");
    EXPECT_EQ(ReadText(mFolder / "Name"), "large"); // the first in byte order
}
