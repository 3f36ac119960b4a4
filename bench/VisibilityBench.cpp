// How soon a process sees what another one writes: from before the write until the reader, which polls, has read it.
// The time shown is the mean; the counters are the median and the 99th percentile in microseconds.
#include "Platform.h"


#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace
{
void Must(bool bGood, const char* pWhat)
{
    if (bGood) return;
    std::fprintf(stderr, "the benchmark cannot go on: %s\n", pWhat);
    _exit(3);
}

// A place holds one number. Each of the two processes opens it for itself.
class RegistryPlace
{
public:
    RegistryPlace()
    {
        const LSTATUS lStatus = RegCreateKeyExA(HKEY_LOCAL_MACHINE, "Software\\Tarvek\\Lum\\ES\\Cedar\\Visibility", 0, nullptr, 0,
                                                KEY_ALL_ACCESS, nullptr, &mhKey, nullptr);
        Must(lStatus == ERROR_SUCCESS, "opening the registry");
    }
    RegistryPlace(const RegistryPlace&) = delete;
    RegistryPlace& operator=(const RegistryPlace&) = delete;
    ~RegistryPlace() { RegCloseKey(mhKey); }

    void Write(DWORD ulNumber)
    {
        const auto* pNumber = reinterpret_cast<const BYTE*>(&ulNumber);
        Must(RegSetValueExA(mhKey, "Seen", 0, REG_DWORD, pNumber, sizeof ulNumber) == ERROR_SUCCESS, "writing to the registry");
    }
    DWORD Read()
    {
        DWORD ulNumber = 0, ulBytes = sizeof ulNumber;
        RegQueryValueExA(mhKey, "Seen", nullptr, nullptr, reinterpret_cast<BYTE*>(&ulNumber), &ulBytes);
        return ulNumber;
    }

private:
    HKEY mhKey = nullptr;
};

// SQLite as durable as the registry (write-ahead log, NORMAL), with its automatic checkpoints or with one every 2,000 pages that
// waits for nobody, which is quicker while somebody reads.
template <bool bAutomatic>
class SqlitePlace
{
public:
    SqlitePlace()
    {
        const std::string sFile = std::getenv("LUMBASE_HOME") + std::string("/visibility.sqlite");
        Must(sqlite3_open_v2(sFile.c_str(), &mpDb, kiOpen, nullptr) == SQLITE_OK, "opening SQLite");
        sqlite3_busy_timeout(mpDb, 10000);
        Run("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; CREATE TABLE IF NOT EXISTS seen (id INTEGER PRIMARY KEY, number)");
        if (!bAutomatic) Run("PRAGMA wal_autocheckpoint = 0");
        mpWrite = Prepare("INSERT OR REPLACE INTO seen VALUES (1, ?1)");
        mpRead = Prepare("SELECT number FROM seen WHERE id = 1");
    }
    SqlitePlace(const SqlitePlace&) = delete;
    SqlitePlace& operator=(const SqlitePlace&) = delete;
    ~SqlitePlace()
    {
        sqlite3_finalize(mpWrite);
        sqlite3_finalize(mpRead);
        sqlite3_close(mpDb);
    }

    void Write(DWORD ulNumber)
    {
        sqlite3_bind_int64(mpWrite, 1, ulNumber);
        Must(sqlite3_step(mpWrite) == SQLITE_DONE, "writing to SQLite");
        sqlite3_reset(mpWrite);
    }
    // After the reader has been told.
    void Tidy()
    {
        constexpr int kiWritesInTheLog = 2000; // a page each
        if (bAutomatic || ++miWrites % kiWritesInTheLog != 0) return;
        sqlite3_wal_checkpoint_v2(mpDb, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    }
    DWORD Read()
    {
        DWORD ulNumber = 0;
        if (sqlite3_step(mpRead) == SQLITE_ROW) ulNumber = static_cast<DWORD>(sqlite3_column_int64(mpRead, 0));
        sqlite3_reset(mpRead);
        return ulNumber;
    }

private:
    static constexpr int kiOpen = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    void Run(const char* pSql) { Must(sqlite3_exec(mpDb, pSql, nullptr, nullptr, nullptr) == SQLITE_OK, pSql); }
    sqlite3_stmt* Prepare(const char* pSql)
    {
        sqlite3_stmt* pStatement = nullptr;
        Must(sqlite3_prepare_v3(mpDb, pSql, -1, SQLITE_PREPARE_PERSISTENT, &pStatement, nullptr) == SQLITE_OK, pSql);
        return pStatement;
    }

    sqlite3* mpDb = nullptr;
    sqlite3_stmt *mpWrite = nullptr, *mpRead = nullptr;
    int miWrites = 0;
};

void Tidy(RegistryPlace&) {} // the registry does so by itself
template <bool bAutomatic> void Tidy(SqlitePlace<bAutomatic>& place) { place.Tidy(); }

std::int64_t Nanoseconds()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * std::int64_t{1000000000} + now.tv_nsec;
}

// What the two processes share.
struct Meeting
{
    std::atomic<DWORD> ulAsked, ulWritten; // numbers from 1 on
    std::atomic<bool> bReady, bEnd;
    std::atomic<std::int64_t> llStart;
};

template <class Place>
[[noreturn]] void WriteOnDemand(Meeting& meeting)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    Place place;
    place.Write(0);
    meeting.bReady = true;
    for (DWORD ulDone = 0; !meeting.bEnd;)
    {
        const DWORD ulAsked = meeting.ulAsked.load();
        if (ulAsked == ulDone) continue;
        meeting.llStart = Nanoseconds();
        place.Write(ulAsked);
        Tidy(place);
        meeting.ulWritten = ulDone = ulAsked;
    }
    _exit(0);
}

template <class Place>
void SeeAnothersWrite(benchmark::State& state)
{
    void* pShared = mmap(nullptr, sizeof(Meeting), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Must(pShared != MAP_FAILED, "sharing memory");
    auto& meeting = *new (pShared) Meeting{};
    const pid_t child = fork(); // nothing of SQLite's is open here
    Must(child >= 0, "starting the writer");
    if (child == 0) WriteOnDemand<Place>(meeting);
    while (!meeting.bReady)
    {
        Must(waitpid(child, nullptr, WNOHANG) == 0, "the writer has gone");
        usleep(1000);
    }

    std::vector<double> latencies; // in microseconds
    {
        Place place;
        DWORD ulNumber = 0;
        for (auto _ : state)
        {
            meeting.ulAsked = ++ulNumber;
            while (place.Read() != ulNumber) {}
            const auto fNanoseconds = static_cast<double>(Nanoseconds() - meeting.llStart.load());
            latencies.push_back(fNanoseconds * 1e-3);
            state.SetIterationTime(fNanoseconds * 1e-9);
            while (meeting.ulWritten.load() != ulNumber) {}
        }
    }
    meeting.bEnd = true;
    waitpid(child, nullptr, 0);
    munmap(pShared, sizeof(Meeting));
    std::sort(latencies.begin(), latencies.end());
    state.counters["median_us"] = latencies[latencies.size() / 2];
    state.counters["p99_us"] = latencies[latencies.size() * 99 / 100];
}
BENCHMARK(SeeAnothersWrite<RegistryPlace>)->Name("SeeAnothersWrite/registry")->UseManualTime()->Iterations(20000);
BENCHMARK(SeeAnothersWrite<SqlitePlace<false>>)->Name("SeeAnothersWrite/SQLite")->UseManualTime()->Iterations(20000);
BENCHMARK(SeeAnothersWrite<SqlitePlace<true>>)->Name("SeeAnothersWrite/SQLite, automatic checkpoints")->UseManualTime()->Iterations(20000);
} // namespace
