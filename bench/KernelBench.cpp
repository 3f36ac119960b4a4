// Handles, critical sections and files beside what a program for this system alone would take.
#include "Platform.h"

#include "linux/kernel/HandleTable.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace
{
class Thing : public lum::KernelObject
{
public:
    Thing() : KernelObject(lum::ObjectKind::Key) {}
};

constexpr char kFile[] = "/tmp/lumbase-kernel-bench";

void MakeFile()
{
    const int fd = open(kFile, O_CREAT | O_WRONLY, 0600);
    if (fd < 0 || ftruncate(fd, 4096) != 0) std::perror(kFile);
    close(fd);
}
} // namespace

static void HandleMakeFindClose(benchmark::State& state)
{
    auto* pThing = new Thing;
    for (auto _ : state)
    {
        pThing->AddRef();
        const HANDLE hThing = lum::InsertHandle(pThing, 0);
        benchmark::DoNotOptimize(lum::LookUpHandle(hThing, lum::ObjectKind::Key));
        lum::RemoveHandle(hThing);
    }
    pThing->Release();
}
BENCHMARK(HandleMakeFindClose);

static void HandleMakeFindCloseWithMapAndMutex(benchmark::State& state)
{
    std::mutex mutex;
    std::unordered_map<unsigned, std::shared_ptr<int>> table;
    const auto pThing = std::make_shared<int>(1);
    unsigned uNext = 0;
    for (auto _ : state)
    {
        const unsigned uHandle = ++uNext;
        {
            std::lock_guard guard(mutex);
            table.emplace(uHandle, pThing);
        }
        std::shared_ptr<int> pFound;
        {
            std::lock_guard guard(mutex);
            pFound = table.find(uHandle)->second;
        }
        benchmark::DoNotOptimize(pFound);
        std::lock_guard guard(mutex);
        table.erase(uHandle);
    }
}
BENCHMARK(HandleMakeFindCloseWithMapAndMutex);

static void CriticalSectionEnterLeave(benchmark::State& state)
{
    static CRITICAL_SECTION section;
    for (auto _ : state)
    {
        EnterCriticalSection(&section);
        LeaveCriticalSection(&section);
    }
}
BENCHMARK(CriticalSectionEnterLeave);

static void RecursivePthreadMutexLockUnlock(benchmark::State& state)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_t mutex;
    pthread_mutex_init(&mutex, &attributes);
    for (auto _ : state)
    {
        pthread_mutex_lock(&mutex);
        pthread_mutex_unlock(&mutex);
    }
}
BENCHMARK(RecursivePthreadMutexLockUnlock);

static void FileOpenClose(benchmark::State& state)
{
    MakeFile();
    for (auto _ : state) CloseHandle(CreateFileA(kFile, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
}
BENCHMARK(FileOpenClose);

static void FileOpenCloseWithoutShareModes(benchmark::State& state)
{
    MakeFile();
    for (auto _ : state) close(open(kFile, O_RDONLY | O_CLOEXEC));
}
BENCHMARK(FileOpenCloseWithoutShareModes);

static void FileRead4096(benchmark::State& state)
{
    MakeFile();
    const HANDLE hFile = CreateFileA(kFile, GENERIC_READ, static_cast<DWORD>(state.range(0)), nullptr, OPEN_EXISTING, 0, nullptr);
    char acBuffer[4096];
    DWORD ulDone = 0;
    for (auto _ : state)
    {
        SetFilePointer(hFile, 0, nullptr, FILE_BEGIN);
        ReadFile(hFile, acBuffer, sizeof acBuffer, &ulDone, nullptr);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * 4096);
    CloseHandle(hFile);
}
BENCHMARK(FileRead4096)->ArgName("share")->Arg(0)->Arg(FILE_SHARE_READ);

static void FileRead4096WithoutLocks(benchmark::State& state)
{
    MakeFile();
    const int fd = open(kFile, O_RDONLY | O_CLOEXEC);
    char acBuffer[4096];
    for (auto _ : state)
    {
        lseek(fd, 0, SEEK_SET);
        benchmark::DoNotOptimize(read(fd, acBuffer, sizeof acBuffer));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * 4096);
    close(fd);
}
BENCHMARK(FileRead4096WithoutLocks);

BENCHMARK_MAIN();
