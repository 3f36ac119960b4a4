// Handles, critical sections and files beside what a program for this system alone would take.
#include "OSecurity.h"

#include "linux/kernel/HandleTable.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace
{
class Thing : public lum::KernelObject
{
public:
    Thing() : KernelObject(lum::ObjectKind::Key) {}
};

// A file of 4,096 bytes in the state directory.
const char* TheFile()
{
    static const std::string sFile = []
    {
        const std::string sPath = std::getenv("LUMBASE_HOME") + std::string("/kernel-bench");
        const int iFile = open(sPath.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
        if (iFile < 0 || ftruncate(iFile, 4096) != 0)
        {
            std::perror(sPath.c_str());
            std::exit(3);
        }
        close(iFile);
        return sPath;
    }();
    return sFile.c_str();
}

void HandleMakeFindClose(benchmark::State& state)
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

void HandleMakeFindCloseWithMapAndMutex(benchmark::State& state)
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

void CriticalSectionEnterLeave(benchmark::State& state)
{
    static CRITICAL_SECTION section;
    for (auto _ : state)
    {
        EnterCriticalSection(&section);
        LeaveCriticalSection(&section);
    }
}
BENCHMARK(CriticalSectionEnterLeave);

void RecursivePthreadMutexLockUnlock(benchmark::State& state)
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

void FileOpenClose(benchmark::State& state)
{
    const char* const pFile = TheFile();
    for (auto _ : state) CloseHandle(CreateFileA(pFile, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
}
BENCHMARK(FileOpenClose);

void FileOpenCloseWithoutShareModes(benchmark::State& state)
{
    const char* const pFile = TheFile();
    for (auto _ : state) close(open(pFile, O_RDONLY | O_CLOEXEC));
}
BENCHMARK(FileOpenCloseWithoutShareModes);

// Under the configured user's identity, where nobody is configured.
void FileOpenCloseBracketed(benchmark::State& state)
{
    const char* const pFile = TheFile();
    for (auto _ : state)
        CloseHandle(SecureAPI::CreateFileA(pFile, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
}
BENCHMARK(FileOpenCloseBracketed);

void BracketAlone(benchmark::State& state) // what it adds to an open, without the open's own fluctuations
{
    for (auto _ : state)
    {
        ImpersonateUser();
        ImpersonateRevertToSelf();
    }
}
BENCHMARK(BracketAlone);

void FileRead4096(benchmark::State& state)
{
    const char* const pFile = TheFile();
    const HANDLE hFile = CreateFileA(pFile, GENERIC_READ, static_cast<DWORD>(state.range(0)), nullptr, OPEN_EXISTING, 0, nullptr);
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

void FileRead4096WithoutLocks(benchmark::State& state)
{
    const char* const pFile = TheFile();
    const int iFile = open(pFile, O_RDONLY | O_CLOEXEC);
    char acBuffer[4096];
    for (auto _ : state)
    {
        lseek(iFile, 0, SEEK_SET);
        benchmark::DoNotOptimize(read(iFile, acBuffer, sizeof acBuffer));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * 4096);
    close(iFile);
}
BENCHMARK(FileRead4096WithoutLocks);

} // namespace
