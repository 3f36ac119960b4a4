// The files behind named objects; for Linux alone, where they are ours.
#include "FileHandle.h"
#include "ObjectHandle.h"
#include "ObjectRole.h"
#include "SmallDisk.h"
#include "TempFolder.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace
{
// Other processes have their objects in a directory of the test's own.
class RuntimeDirectory : public testing::Test
{
protected:
    void SetUp() override { setenv("LUMBASE_RUNTIME", mFolder.Path().c_str(), 1); }
    void TearDown() override { unsetenv("LUMBASE_RUNTIME"); }

    std::filesystem::path Directory() const { return std::filesystem::path(mFolder.Path()) / "lumbase"; }
    int Files() const
    {
        int iFiles = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(Directory())) ++iFiles;
        return iFiles;
    }

    TempFolder mFolder;
};

TEST_F(RuntimeDirectory, IsEmptyWhenTheLastHandleIsClosed)
{
    ObjectProcess a, b;
    EXPECT_EQ(a.Ask("event e 0 0"), "0");
    EXPECT_EQ(b.Ask("event e 0 0"), "183");
    EXPECT_EQ(a.Ask("mutex m 1"), "0");
    EXPECT_EQ(b.Ask("mapping p 100000"), "0");
    EXPECT_EQ(Files(), 3);
    for (const char* pClose : {"close e", "close m"}) EXPECT_EQ(a.Ask(pClose), "0");
    EXPECT_EQ(Files(), 2);
    for (const char* pClose : {"close e", "close p"}) EXPECT_EQ(b.Ask(pClose), "0");
    EXPECT_EQ(Files(), 0);
    struct stat status{};
    ASSERT_EQ(stat(Directory().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
}

TEST_F(RuntimeDirectory, IsSweptOfWhatTheKilledLeftWhenAnObjectIsMade)
{
    ObjectProcess survivor;
    for (int i = 0; i < 5; ++i)
    {
        ObjectProcess killed;
        for (int k = 0; k < 4; ++k) killed.Ask("event e" + std::to_string(i) + "-" + std::to_string(k) + " 0 0");
        killed.Kill();
    }
    EXPECT_GE(Files(), 4);
    for (int i = 0; i < 25; ++i)
    {
        EXPECT_EQ(survivor.Ask("mutex m 0"), "0");
        EXPECT_EQ(survivor.Ask("close m"), "0");
    }
    EXPECT_EQ(Files(), 0);
}

TEST_F(RuntimeDirectory, FilesThatNobodyHoldsAreAsGoodAsNone)
{
    std::filesystem::create_directory(Directory());
    const auto write = [&](const char* pName, const std::string& sText) { std::ofstream(Directory() / pName) << sText; };
    write("short", "x");
    write("empty", "");
    write("text", std::string(10'000, 'x'));
    ObjectProcess other;
    EXPECT_EQ(other.Ask("open-event text 1048576"), "failed 2");
    EXPECT_EQ(other.Ask("event short 0 0"), "0");
    EXPECT_EQ(other.Ask("mutex empty 1"), "0");
    EXPECT_EQ(other.Ask("mapping text 10"), "0");
    EXPECT_EQ(other.Ask("read text 9"), "0");
}

TEST_F(RuntimeDirectory, FilesThatAreHeldAndDamagedAreRefused)
{
    ObjectProcess holder, other;
    ASSERT_EQ(holder.Ask("event e 0 0"), "0");
    ASSERT_EQ(holder.Ask("mapping p 100000"), "0");
    std::filesystem::resize_file(Directory() / "p", 8192); // the state is there, the data are not
    EXPECT_EQ(other.Ask("open-mapping p 4"), "failed 1392");
    std::filesystem::resize_file(Directory() / "p", 60);
    EXPECT_EQ(other.Ask("open-mapping p 4"), "failed 1392");
    const int fd = open((Directory() / "e").c_str(), O_RDWR);
    ASSERT_EQ(pwrite(fd, "garbage!", 8, 0), 8);
    close(fd);
    EXPECT_EQ(other.Ask("event e 0 0"), "failed 1392");
    EXPECT_EQ(other.Ask("open-mutex e 1048576"), "failed 1392");
}

TEST_F(RuntimeDirectory, IsNotSharedWithOtherUsers)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a directory away";
    std::filesystem::create_directory(Directory());
    ASSERT_EQ(chown(Directory().c_str(), 12345, 12345), 0);
    ObjectProcess other;
    EXPECT_EQ(other.Ask("event e 0 0"), "failed 5");
    ASSERT_EQ(chown(Directory().c_str(), 0, 0), 0);
    ASSERT_EQ(chmod(Directory().c_str(), 0777), 0);
    EXPECT_EQ(other.Ask("event e 0 0"), "0"); // ours, and closed to the others from now on
    struct stat status{};
    ASSERT_EQ(stat(Directory().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
}

TEST_F(RuntimeDirectory, OnAFullDiskRefusesWhatIsNewAndKeepsWhatThereIs)
{
    SmallDisk disk(mFolder.Path());
    if (!disk) GTEST_SKIP() << kpNoDisk;
    ObjectProcess holder, other;
    ASSERT_EQ(holder.Ask("event e 0 0"), "0");
    ASSERT_EQ(holder.Ask("mutex m 1"), "0");
    disk.Fill();
    for (const char* pNew : {"event e2 0 0", "mutex m2 0", "mapping p2 8192"}) EXPECT_EQ(other.Ask(pNew), "failed 112") << pNew;
    EXPECT_EQ(other.Ask("event e 0 0"), "183");
    EXPECT_EQ(other.Ask("mutex m 0"), "183");
    EXPECT_EQ(other.Ask("wait m 10"), "258");
    EXPECT_EQ(holder.Ask("set e"), "0");
    EXPECT_EQ(other.Ask("wait e 10000"), "0");
    disk.MakeRoom();
    for (const char* pNew : {"event e2 0 0", "mutex m2 0", "mapping p2 8192"}) EXPECT_EQ(other.Ask(pNew), "0") << pNew;
}

TEST_F(RuntimeDirectory, ThatCannotBeMadeIsAnErrorAndNamelessObjectsGoOn)
{
    setenv("LUMBASE_RUNTIME", (mFolder / "missing").c_str(), 1);
    ObjectProcess other;
    EXPECT_EQ(other.Ask("event e 0 0"), "failed 3");
    EXPECT_EQ(other.Ask("open-mutex m 1048576"), "failed 2");
    const ObjectHandle event = CreateEventA(nullptr, TRUE, TRUE, nullptr);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
}

TEST_F(RuntimeDirectory, MayGoAndComeWhileObjectsAreOpen)
{
    ObjectProcess a, b;
    EXPECT_EQ(a.Ask("event e 0 0"), "0");
    std::filesystem::remove_all(Directory());
    EXPECT_EQ(a.Ask("set e"), "0");
    EXPECT_EQ(b.Ask("event e 0 0"), "0"); // another one
    EXPECT_EQ(a.Ask("close e"), "0");
    EXPECT_EQ(b.Ask("open-event e 1048576"), "0");
}

TEST_F(RuntimeDirectory, AChildKeepsWhatItsParentHad)
{
    const std::string sName = ObjectName("fork");
    ObjectHandle event = CreateEventA(nullptr, TRUE, FALSE, sName.c_str());
    ObjectHandle go = CreateEventA(nullptr, TRUE, FALSE, (sName + "-go").c_str());
    const pid_t child = fork();
    if (child == 0)
    {
        alarm(20);
        SetEvent(event);
        WaitForSingleObject(go, INFINITE);
        event.Close();
        go.Close();
        _exit(0);
    }
    EXPECT_EQ(WaitForSingleObject(event, 20'000), WAIT_OBJECT_0);
    event.Close();
    {
        const ObjectHandle again = OpenEventA(SYNCHRONIZE, FALSE, sName.c_str());
        EXPECT_NE(again, nullptr);
    }
    SetEvent(go);
    int iStatus = -1;
    waitpid(child, &iStatus, 0);
    EXPECT_EQ(iStatus, 0);
    const ObjectHandle gone = OpenEventA(SYNCHRONIZE, FALSE, sName.c_str());
    EXPECT_EQ(gone, nullptr);
}

// Makes futex_waitv unknown for the rest of the process, as in kernels before 5.16.
bool ForgetWaitv()
{
    sock_filter aRules[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 449, 0, 1),
                            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | 38),
                            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    sock_fprog program{4, aRules};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(OldKernel, SeveralObjectsCanBeWaitedForWithoutItsHelp)
{
    const pid_t child = fork();
    if (child == 0)
    {
        alarm(20);
        if (!ForgetWaitv() || syscall(449, nullptr, 0, 0, nullptr, 0) != -1 || errno != ENOSYS) _exit(2);
        const ObjectHandle a = NewEvent(false), b = NewEvent(true), mutex = NewMutex(true);
        std::thread setter([&] {
            LetThemSleep();
            SetEvent(b);
            LetThemSleep();
            SetEvent(a);
        });
        bool bGood = WaitAny({a, b}, 10) == WAIT_TIMEOUT;
        bGood = bGood && WaitAny({a, b}, INFINITE) == WAIT_OBJECT_0 + 1;
        ResetEvent(b);
        bGood = bGood && WaitAny({b, a}, 10'000) == WAIT_OBJECT_0 + 1;
        setter.join();
        _exit(bGood ? 0 : 1);
    }
    int iStatus = -1;
    waitpid(child, &iStatus, 0);
    EXPECT_EQ(WEXITSTATUS(iStatus), 0);
    EXPECT_TRUE(WIFEXITED(iStatus));
}
} // namespace
