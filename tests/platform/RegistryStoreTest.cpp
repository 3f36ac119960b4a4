// The stores as files: who may read them, what becomes of damaged ones, and what a process leaves that is killed.
// Linux only: elsewhere the registry is the system's.
#include "RegistryHome.h"
#include "RegistryKey.h"

#include "linux/registry/ChangeCounter.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <random>
#include <sstream>
#include <thread>

namespace
{
constexpr char kacKey[] = "Software\\LumBaseTests\\Store";

std::string StatusText(LSTATUS lStatus)
{
    return "error " + std::to_string(lStatus);
}

std::string DoGet(const std::string& sName)
{
    OpenKey key;
    if (LSTATUS lStatus = RegOpenKeyExA(HKEY_LOCAL_MACHINE, kacKey, 0, KEY_READ, key.Put())) return StatusText(lStatus);
    char acText[200];
    DWORD ulBytes = sizeof acText;
    LSTATUS lStatus = RegQueryValueExA(key, sName.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(acText), &ulBytes);
    return lStatus == ERROR_SUCCESS ? acText : StatusText(lStatus);
}

std::string DoSet(const std::string& sName, const std::string& sText, DWORD ulOptions = 0, const char* pSub = "")
{
    OpenKey key;
    const std::string sPath = std::string(kacKey) + pSub;
    if (LSTATUS lStatus = RegCreateKeyExA(HKEY_LOCAL_MACHINE, sPath.c_str(), 0, nullptr, ulOptions, KEY_ALL_ACCESS, nullptr, key.Put(), nullptr))
        return StatusText(lStatus);
    const LSTATUS lStatus = RegSetValueExA(key, sName.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(sText.c_str()),
                                           static_cast<DWORD>(sText.size() + 1));
    return lStatus == ERROR_SUCCESS ? "done" : StatusText(lStatus);
}

// Writes 1, 2, 3 ... for ever, each as a value, as a key, and as fifty values at once, and tells of each that is written.
void WriteForEver()
{
    const std::u16string sPath(kacKey, kacKey + sizeof kacKey - 1);
    std::vector<std::u16string> names;
    for (int i = 0; i < 50; ++i) names.push_back({u'a', u'l', u'l', static_cast<char16_t>(u'0' + i / 10), static_cast<char16_t>(u'0' + i % 10)});
    for (DWORD ulNumber = 1;; ++ulNumber)
    {
        const std::string sNumber = std::to_string(ulNumber);
        OpenKey key;
        if (DoSet("last", sNumber) != "done") return;
        if (DoSet("", sNumber, 0, ("\\Made\\" + sNumber).c_str()) != "done") return;
        std::vector<LumRegistryChange> changes;
        for (const std::u16string& sName : names)
            changes.push_back({LumRegistryChange::SetValue, HKEY_LOCAL_MACHINE, Wide(sPath), Wide(sName), REG_DWORD,
                               reinterpret_cast<const BYTE*>(&ulNumber), sizeof ulNumber});
        if (LumRegistryApply(changes.data(), changes.size()) != ERROR_SUCCESS) return;
        std::printf("%s\n", sNumber.c_str());
        std::fflush(stdout);
    }
}

// Dies at a chosen point of the next commit of any connection that is opened from now on.
int DieInCommit(sqlite3* pDb, char**, const sqlite3_api_routines*)
{
    sqlite3_commit_hook(pDb, [](void*) { return raise(SIGKILL); }, nullptr);
    return SQLITE_OK;
}
int DieAfterCommit(sqlite3* pDb, char**, const sqlite3_api_routines*)
{
    const auto onEnd = [](unsigned, void*, void* pStatement, void*)
    {
        const char* pSql = sqlite3_sql(static_cast<sqlite3_stmt*>(pStatement));
        return pSql && std::string(pSql) == "COMMIT" ? raise(SIGKILL) : 0;
    };
    sqlite3_trace_v2(pDb, SQLITE_TRACE_PROFILE, onEnd, nullptr);
    return SQLITE_OK;
}

// get NAME | set NAME TEXT | volatile NAME TEXT | open PATH | drop | die in | die after | run
std::string DoOrder(const std::string& sOrder)
{
    std::istringstream words(sOrder);
    std::string sVerb, sName, sText;
    words >> sVerb >> sName >> sText;
    if (sVerb == "get") return DoGet(sName);
    if (sVerb == "set") return DoSet(sName, sText);
    if (sVerb == "volatile") return DoSet(sName, sText, REG_OPTION_VOLATILE, "\\Volatile");
    if (sVerb == "open")
    {
        OpenKey key;
        return StatusText(RegOpenKeyExA(HKEY_LOCAL_MACHINE, sName.c_str(), 0, KEY_READ, key.Put()));
    }
    if (sVerb == "drop")
    {
        const LSTATUS lStatus = RegDeleteTreeA(HKEY_LOCAL_MACHINE, kacKey);
        return lStatus == ERROR_SUCCESS ? "done" : StatusText(lStatus);
    }
    if (sVerb == "run") WriteForEver();
    if (sVerb != "die") return "ended";
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(sName == "in" ? DieInCommit : DieAfterCommit));
    return "will";
}
const OtherRole kRole("store", DoOrder);

class RegistryStores : public testing::Test
{
protected:
    void Fill(int iValues = 1) const
    {
        const auto pProcess = home.Start();
        for (int i = 0; i < iValues; ++i) ASSERT_EQ(pProcess->Ask("set v" + std::to_string(i) + " text" + std::to_string(i)), "done");
    }
    // That no process gets anything out of the store or changes a byte of it.
    void ExpectRefused(LSTATUS lStatus) const
    {
        const std::string sBefore = ReadAll(home.Store());
        EXPECT_EQ(home.Ask("get v0"), StatusText(lStatus));
        EXPECT_EQ(home.Ask("set v0 other"), StatusText(lStatus));
        EXPECT_EQ(home.Ask("get v0"), StatusText(lStatus));
        EXPECT_TRUE(ReadAll(home.Store()) == sBefore);
    }
    RegistryHome home;
};

TEST_F(RegistryStores, ReadingARegistryThatWasNeverWrittenCreatesNothing)
{
    EXPECT_EQ(home.Ask("get v0"), StatusText(ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(std::filesystem::exists(home.Path()));
}

TEST_F(RegistryStores, AReaderFindsARegistryThatIsWrittenLater)
{
    const auto pReader = home.Start();
    EXPECT_EQ(pReader->Ask("get v0"), StatusText(ERROR_FILE_NOT_FOUND));
    Fill();
    EXPECT_EQ(pReader->Ask("get v0"), "text0");
}

TEST_F(RegistryStores, WhatIsWrittenIsThereForTheNextProcess)
{
    Fill(3);
    EXPECT_EQ(home.Ask("get v2"), "text2");
    EXPECT_FALSE(std::filesystem::exists(home.Store() + "-wal")); // a clean end leaves no log
    EXPECT_EQ(AskSqlite(home.Store(), "PRAGMA integrity_check"), "ok");
}

TEST_F(RegistryStores, EveryFileIsTheOwnersAlone)
{
    const mode_t uOld = umask(0);
    const auto pProcess = home.Start();
    umask(uOld);
    ASSERT_EQ(pProcess->Ask("set v0 text0"), "done");
    int iFiles = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.Path()))
    {
        struct stat status{};
        ASSERT_EQ(stat(entry.path().c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, S_ISDIR(status.st_mode) ? 0700u : 0600u) << entry.path();
        ++iFiles;
    }
    EXPECT_GE(iFiles, 5); // folder, store, log, its index, counter
}

// The user that root gives its rights up for has to be let into the folder of this very program.
static bool OthersMayRunThis()
{
    for (auto path = std::filesystem::canonical("/proc/self/exe"); path.has_relative_path(); path = path.parent_path())
    {
        struct stat status{};
        if (stat(path.c_str(), &status) != 0 || !(status.st_mode & S_IXOTH)) return false;
    }
    return true;
}

TEST_F(RegistryStores, WithoutRightsTheAnswerIsAccessDenied)
{
    if (geteuid() == 0 && !OthersMayRunThis()) GTEST_SKIP() << "this program lies where other users may not go";
    Fill();
    const auto expectDenied = [&]
    {
        // By somebody who has no rights on it: root has them all, so the one who asks is started by another user.
        const pid_t child = fork();
        if (child == 0)
        {
            if (geteuid() == 0 && setuid(65534) != 0) _exit(3);
            const auto pProcess = home.Start();
            if (pProcess->Ask("get v0") != StatusText(ERROR_ACCESS_DENIED)) _exit(1);
            _exit(pProcess->Ask("set v0 other") == StatusText(ERROR_ACCESS_DENIED) ? 0 : 2);
        }
        int iStatus = 0;
        waitpid(child, &iStatus, 0);
        EXPECT_EQ(WEXITSTATUS(iStatus), 0);
    };
    using std::filesystem::perms;
    const std::string sTop = std::filesystem::path(home.Path()).parent_path();
    std::filesystem::permissions(sTop, perms(0755));
    std::filesystem::permissions(home.Path(), perms(0755));
    std::filesystem::permissions(home.Folder(), perms(geteuid() == 0 ? 0700 : 0000));
    expectDenied();

    // May be read by all, written by none.
    std::filesystem::permissions(home.Folder(), perms(geteuid() == 0 ? 0755 : 0555));
    for (const auto& entry : std::filesystem::directory_iterator(home.Folder())) std::filesystem::permissions(entry.path(), perms(0444));
    expectDenied();
    std::filesystem::permissions(home.Folder(), perms(0700));
    for (const auto& entry : std::filesystem::directory_iterator(home.Folder())) std::filesystem::permissions(entry.path(), perms(0600));
    EXPECT_EQ(home.Ask("get v0"), "text0");
}

TEST_F(RegistryStores, AStateDirectoryThatCannotBeMadeIsAnError)
{
    WriteAll(home.Path(), "a file in its place");
    EXPECT_EQ(home.Ask("set v0 text0"), StatusText(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(ReadAll(home.Path()), "a file in its place");
}

TEST_F(RegistryStores, GarbageIsRefusedAndLeftAlone)
{
    Fill();
    std::string sGarbage(20480, '\0');
    std::mt19937 random(1);
    for (char& c : sGarbage) c = static_cast<char>(random());
    WriteAll(home.Store(), sGarbage);
    ExpectRefused(ERROR_BADDB);
}

TEST_F(RegistryStores, ATruncatedStoreIsRefusedAndLeftAlone)
{
    Fill(300);
    const std::string sWhole = ReadAll(home.Store());
    for (const size_t ulBytes : {sWhole.size() - 1, sWhole.size() - 4096, sWhole.size() - 5000, size_t{4096}, size_t{100}, size_t{1}, size_t{0}})
    {
        SCOPED_TRACE(ulBytes);
        WriteAll(home.Store(), sWhole.substr(0, ulBytes));
        ExpectRefused(ERROR_REGISTRY_CORRUPT);
    }
    WriteAll(home.Store(), sWhole);
    EXPECT_EQ(home.Ask("get v299"), "text299");
}

TEST_F(RegistryStores, AZeroedPageNeverGivesAWrongAnswer)
{
    Fill(300);
    const std::string sWhole = ReadAll(home.Store());
    constexpr size_t kulPage = 4096;
    ASSERT_GE(sWhole.size(), 6 * kulPage);
    int iRefused = 0;
    for (size_t ulStart = 0; ulStart < sWhole.size(); ulStart += kulPage)
    {
        SCOPED_TRACE(ulStart / kulPage);
        WriteAll(home.Store(), std::string(sWhole).replace(ulStart, kulPage, kulPage, '\0'));
        const auto pProcess = home.Start();
        for (const int i : {0, 150, 299})
        {
            const std::string sAnswer = pProcess->Ask("get v" + std::to_string(i));
            if (sAnswer == "text" + std::to_string(i)) continue;
            EXPECT_TRUE(sAnswer == StatusText(ERROR_REGISTRY_CORRUPT) || sAnswer == StatusText(ERROR_BADDB)) << sAnswer;
            ++iRefused;
        }
        const std::string sWritten = pProcess->Ask("set v150 anew");
        EXPECT_TRUE(sWritten == "done" || sWritten == StatusText(ERROR_REGISTRY_CORRUPT) || sWritten == StatusText(ERROR_BADDB)) << sWritten;
    }
    EXPECT_GT(iRefused, 3);
}

TEST_F(RegistryStores, AnotherProgramsDatabaseIsNotTakenForARegistry)
{
    std::filesystem::create_directories(home.Folder());
    EXPECT_EQ(AskSqlite(home.Store(), "SELECT 1"), "unable to open database file");
    WriteAll(home.Store(), "");
    EXPECT_EQ(AskSqlite(home.Store(), "CREATE TABLE theirs (a)"), "");
    ExpectRefused(ERROR_BADDB);
}

TEST_F(RegistryStores, AStoreOfANewerVersionIsRefusedClearly)
{
    Fill();
    EXPECT_EQ(AskSqlite(home.Store(), "PRAGMA user_version"), "1");
    EXPECT_EQ(AskSqlite(home.Store(), "PRAGMA user_version = 2"), "");
    ExpectRefused(ERROR_REVISION_MISMATCH);
}

TEST_F(RegistryStores, ADamagedCounterIsMadeAnew)
{
    Fill();
    for (const std::string& sBytes : {std::string(), std::string(100, 'x'), std::string(4096, '\0'), std::string(8192, 'x')})
    {
        WriteAll(home.Counter(), sBytes);
        EXPECT_EQ(home.Ask("get v0"), "text0");
        EXPECT_EQ(home.Ask("set v0 text0"), "done");
    }
    std::filesystem::remove(home.Counter());
    EXPECT_EQ(home.Ask("get v0"), "text0");
}

TEST_F(RegistryStores, VolatileKeysEndWithTheMachinesRun)
{
    Fill();
    EXPECT_EQ(home.Ask("volatile v0 text0"), "done");
    const std::string sVolatile = std::string("open ") + kacKey + "\\Volatile";
    EXPECT_EQ(home.Ask(sVolatile), StatusText(ERROR_SUCCESS));
    std::string sCounter = ReadAll(home.Counter());
    sCounter[offsetof(lum::CounterFile, aullBootId)] ^= 1; // as if it were of another run
    WriteAll(home.Counter(), sCounter);
    EXPECT_EQ(home.Ask(sVolatile), StatusText(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(home.Ask("get v0"), "text0");
    EXPECT_EQ(home.Ask("volatile v0 text0"), "done");
    EXPECT_EQ(home.Ask(sVolatile), StatusText(ERROR_SUCCESS));
}

// With the change under way when its process dies, everybody else has seen the counter odd.
TEST_F(RegistryStores, AProcessThatDiesBeforeItsCommitHasChangedNothing)
{
    Fill();
    const auto pReader = home.Start();
    EXPECT_EQ(pReader->Ask("get v0"), "text0");
    {
        const auto pWriter = home.Start();
        EXPECT_EQ(pWriter->Ask("die in"), "will");
        EXPECT_EQ(pWriter->Ask("set v0 lost"), "");
    }
    EXPECT_EQ(pReader->Ask("get v0"), "text0");
    EXPECT_EQ(home.Ask("get v0"), "text0");
    EXPECT_EQ(home.Ask("set v0 next"), "done");
    EXPECT_EQ(pReader->Ask("get v0"), "next");
}

TEST_F(RegistryStores, AProcessThatDiesRightAfterItsCommitHasMadeItsChange)
{
    Fill();
    const auto pReader = home.Start();
    const auto pSecond = home.Start();
    EXPECT_EQ(pReader->Ask("get v0"), "text0");
    {
        const auto pWriter = home.Start();
        EXPECT_EQ(pWriter->Ask("die after"), "will");
        EXPECT_EQ(pWriter->Ask("set v0 made"), "");
    }
    EXPECT_EQ(pReader->Ask("get v0"), "made");
    EXPECT_EQ(pReader->Ask("set v0 next"), "done");
    EXPECT_EQ(pSecond->Ask("get v0"), "next");
    EXPECT_EQ(pReader->Ask("get v0"), "next");
}

TEST_F(RegistryStores, AStoreStaysWholeWhenItsWriterIsKilledAHundredTimes)
{
    std::mt19937 random(2);
    int iAtWork = 0; // rounds in which the writer had begun
    Fill();
    const auto pWitness = home.Start(); // lives through it all, writes the same key and remembers what it reads
    for (int iRound = 0; iRound < 100; ++iRound)
    {
        SCOPED_TRACE(iRound);
        const auto pWriter = home.Start();
        pWriter->Tell("run");
        unsigned long ulTold = 0;
        for (unsigned int i = random() % 4; i > 0; --i) ulTold = std::stoul("0" + pWriter->Answer());
        pWitness->Tell("set witness " + std::to_string(iRound)); // both at once
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 700));
        pWriter->Kill();
        ASSERT_EQ(pWitness->Answer(), "done");
        for (std::string sLine; !(sLine = pWriter->Answer()).empty();) ulTold = std::stoul(sLine);

        if (ulTold > 0) ++iAtWork;

        // All that it told of is there.
        ASSERT_EQ(pWitness->Ask("get witness"), std::to_string(iRound));
        const std::string sLast = pWitness->Ask("get last");
        if (ulTold > 0)
        {
            ASSERT_GE(std::stoul("0" + sLast), ulTold);
        }
        for (unsigned long i = 1; i <= ulTold; ++i)
            ASSERT_EQ(pWitness->Ask("open " + std::string(kacKey) + "\\Made\\" + std::to_string(i)), StatusText(ERROR_SUCCESS));
        ASSERT_EQ(AskSqlite(home.Store(), "PRAGMA integrity_check"), "ok");
        // What was changed at once is all old or all new.
        ASSERT_LE(AskSqlite(home.Store(), "SELECT count(DISTINCT data) FROM value WHERE name GLOB 'all*'"), "1");
        ASSERT_EQ(AskSqlite(home.Store(), "SELECT count(*) % 50 FROM value WHERE name GLOB 'all*'"), "0");
        // Nothing hangs in the air.
        ASSERT_EQ(AskSqlite(home.Store(), "SELECT count(*) FROM value WHERE key NOT IN (SELECT id FROM key)"), "0");
        ASSERT_EQ(AskSqlite(home.Store(), "SELECT count(*) FROM key WHERE parent NOT IN (SELECT id FROM key) AND id <> 1"), "0");
        // The next one starts from nothing.
        ASSERT_EQ(pWitness->Ask("drop"), "done");
    }
    EXPECT_GT(iAtWork, 50);
}

class RegistryFork : public RegistryKey
{
protected:
    // Runs in a child; what it returns is its exit status.
    template <class F> static pid_t InChild(F work)
    {
        const pid_t child = fork();
        if (child == 0) _exit(work());
        return child;
    }
    static int StatusOf(pid_t child)
    {
        int iStatus = 0;
        waitpid(child, &iStatus, 0);
        return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1;
    }
    static int WriteMany(HKEY hKey, const char* pName)
    {
        for (int i = 0; i < 300; ++i)
        {
            if (SetText(hKey, pName, std::to_string(i)) != ERROR_SUCCESS) return 1;
            if (GetText(hKey, pName) != std::to_string(i)) return 2;
        }
        return 0;
    }
};

TEST_F(RegistryFork, ParentAndChildBothGoOnWriting)
{
    ASSERT_EQ(SetText(mKey, "before", "text"), ERROR_SUCCESS);
    const pid_t child = InChild([&] { return GetText(mKey, "before") == "text" ? WriteMany(mKey, "child") : 3; });
    EXPECT_EQ(WriteMany(mKey, "parent"), 0);
    EXPECT_EQ(StatusOf(child), 0);
    EXPECT_EQ(GetText(mKey, "child"), "299");
    EXPECT_EQ(GetText(mKey, "parent"), "299");
    EXPECT_EQ(AskSqlite(std::string(std::getenv("LUMBASE_HOME")) + "/registry/local-machine.db", "PRAGMA integrity_check"), "ok");
}

TEST_F(RegistryFork, AForkAmidTheWorkOfOtherThreadsStopsNobody)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer's allocator keeps a lock of another thread in the child of a fork";
#endif
    std::atomic<bool> bEnded{false};
    std::vector<std::thread> threads;
    ASSERT_EQ(SetText(mKey, "a", "text"), ERROR_SUCCESS);
    for (const char* pName : {"a", "b"})
        threads.emplace_back(
            [&, pName]
            {
                for (int i = 0; !bEnded; ++i)
                {
                    EXPECT_EQ(SetText(mKey, pName, std::to_string(i)), ERROR_SUCCESS);
                    EXPECT_EQ(GetText(mKey, pName), std::to_string(i));
                }
            });
    for (int i = 0; i < 20; ++i)
    {
        const pid_t child = InChild(
            [&]
            {
                const std::string sMine = "child" + std::to_string(i);
                if (SetText(mKey, sMine.c_str(), "text") != ERROR_SUCCESS) return 1;
                return GetText(mKey, sMine.c_str()) == "text" && GetText(mKey, "a") ? 0 : 2;
            });
        EXPECT_EQ(StatusOf(child), 0);
    }
    bEnded = true;
    for (std::thread& thread : threads) thread.join();
    for (int i = 0; i < 20; ++i) EXPECT_EQ(GetText(mKey, ("child" + std::to_string(i)).c_str()), "text");
}

TEST_F(RegistryFork, AChildOfAChildWritesToo)
{
    const pid_t child = InChild([&] { return SetText(mKey, "one", "1") + StatusOf(InChild([&] { return SetText(mKey, "two", "2"); })); });
    EXPECT_EQ(StatusOf(child), 0);
    EXPECT_EQ(GetText(mKey, "one"), "1");
    EXPECT_EQ(GetText(mKey, "two"), "2");
}

TEST_F(RegistryFork, AParentThatIsKilledTakesItsLockAlong)
{
    // The child outlives its parent, with whatever it inherited.
    int aPipe[2];
    ASSERT_EQ(pipe(aPipe), 0);
    const pid_t parent = InChild(
        [&]
        {
            SetText(mKey, "v", "parent");
            InChild(
                [&]
                {
                    char c;
                    close(aPipe[1]);
                    return static_cast<int>(read(aPipe[0], &c, 1));
                });
            for (int i = 0;; ++i) SetText(mKey, "v", std::to_string(i));
            return 0;
        });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    kill(parent, SIGKILL);
    EXPECT_EQ(StatusOf(parent), -1);
    EXPECT_EQ(SetText(mKey, "v", "survivor"), ERROR_SUCCESS);
    EXPECT_EQ(GetText(mKey, "v"), "survivor");
    close(aPipe[1]);
    close(aPipe[0]);
}
} // namespace
