// Locks and signals through the library's classes beside what a program for this system alone would take.
#include "BaseAPI.h"
#include "OCriticalSection.h"
#include "OEvent.h"
#include "OSingleLock.h"


#include <benchmark/benchmark.h>

#include <linux/futex.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>

namespace
{
// Locks ----------------------------------------------------------------------------------------------------------------------

class RecursiveMutex
{
public:
    RecursiveMutex()
    {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&mMutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    ~RecursiveMutex() { pthread_mutex_destroy(&mMutex); }
    void Lock() { pthread_mutex_lock(&mMutex); }
    void Unlock() { pthread_mutex_unlock(&mMutex); }

private:
    pthread_mutex_t mMutex;
};

void SingleLockOnCriticalSection(benchmark::State& state)
{
    OCriticalSection section;
    OSingleLock lock(&section, 0);
    for (auto _ : state)
    {
        lock.Lock(INFINITE);
        lock.Unlock();
    }
}
BENCHMARK(SingleLockOnCriticalSection);

void SingleLockOfAScopeOnCriticalSection(benchmark::State& state)
{
    OCriticalSection section;
    for (auto _ : state) OSingleLock lock(&section, 1);
}
BENCHMARK(SingleLockOfAScopeOnCriticalSection);

void CriticalSection(benchmark::State& state)
{
    OCriticalSection section;
    for (auto _ : state)
    {
        section.Lock(INFINITE);
        section.Unlock();
    }
}
BENCHMARK(CriticalSection);

void RecursivePthreadMutex(benchmark::State& state)
{
    RecursiveMutex mutex;
    for (auto _ : state)
    {
        mutex.Lock();
        mutex.Unlock();
    }
}
BENCHMARK(RecursivePthreadMutex);

// Round trips: one signal there and one back. Both sides on one core, since waking another costs more than all the rest. ------

void PinToOneCore()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(0, &set);
    sched_setaffinity(0, sizeof set, &set);
}

// A signal that resets itself, by the bare system call.
class FutexSignal
{
public:
    explicit FutexSignal(int iFlag) : miFlag(iFlag) {}
    void Set()
    {
        mSet.store(1, std::memory_order_release);
        syscall(SYS_futex, &mSet, FUTEX_WAKE | miFlag, 1, nullptr, nullptr, 0);
    }
    void Wait()
    {
        while (mSet.exchange(0, std::memory_order_acquire) == 0) syscall(SYS_futex, &mSet, FUTEX_WAIT | miFlag, 0, nullptr, nullptr, 0);
    }

private:
    std::atomic<int> mSet{0};
    const int miFlag;
};

struct FutexPair
{
    explicit FutexPair(int iFlag) : there(iFlag), back(iFlag) {}
    FutexSignal there, back;
    void Send() { there.Set(); }
    void Go() { Send(), back.Wait(); }
    void Answer() { there.Wait(), back.Set(); }
};

struct EventPair
{
    EventPair() : there(FALSE, FALSE, nullptr, nullptr), back(FALSE, FALSE, nullptr, nullptr) {}
    explicit EventPair(const std::string& sName)
        : there(FALSE, FALSE, (sName + "-there").c_str(), nullptr), back(FALSE, FALSE, (sName + "-back").c_str(), nullptr)
    {
    }
    OEvent there, back;
    void Send() { there.SetEvent(); }
    void Go() { Send(), back.Lock(INFINITE); }
    void Answer() { there.Lock(INFINITE), back.SetEvent(); }
};

// The answering thread waits for the last of six events.
struct SixEvents : EventPair
{
    OEvent others[5];
    SixEvents()
    {
        for (OEvent& event : others) event.Init(FALSE, FALSE, nullptr, nullptr);
    }
    void Answer()
    {
        CApi().WaitOnEvents(others[0].GetHandle(), others[1].GetHandle(), others[2].GetHandle(), others[3].GetHandle(),
                            others[4].GetHandle(), there.GetHandle());
        back.SetEvent();
    }
};

struct OneEvent : EventPair
{
    void Answer()
    {
        CApi().WaitOnEvents(there.GetHandle(), nullptr, nullptr, nullptr, nullptr, nullptr);
        back.SetEvent();
    }
};

template <class Pair>
void BetweenThreads(benchmark::State& state, Pair& pair)
{
    std::atomic<bool> bEnd{false};
    std::thread other([&] {
        PinToOneCore();
        while (!bEnd) pair.Answer();
    });
    for (auto _ : state) pair.Go();
    bEnd = true;
    pair.Send(); // which it may not wait for any more
    other.join();
}

// Answers in a process of its own, until it is killed.
template <class Answer>
void BetweenProcesses(benchmark::State& state, Answer answer, const auto& go)
{
    const pid_t child = fork();
    if (child == 0) answer();
    go(); // it is there
    for (auto _ : state) go();
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

void EventBetweenThreads(benchmark::State& state)
{
    EventPair pair;
    BetweenThreads(state, pair);
}
void FutexBetweenThreads(benchmark::State& state)
{
    FutexPair pair(FUTEX_PRIVATE_FLAG);
    BetweenThreads(state, pair);
}
void WaitOnEventsOneBetweenThreads(benchmark::State& state)
{
    OneEvent pair;
    BetweenThreads(state, pair);
}
void WaitOnEventsSixBetweenThreads(benchmark::State& state)
{
    SixEvents pair;
    BetweenThreads(state, pair);
}
BENCHMARK(EventBetweenThreads)->UseRealTime();
BENCHMARK(FutexBetweenThreads)->UseRealTime();
BENCHMARK(WaitOnEventsOneBetweenThreads)->UseRealTime();
BENCHMARK(WaitOnEventsSixBetweenThreads)->UseRealTime();

void NamedEventBetweenProcesses(benchmark::State& state)
{
    const std::string sName = "lock-bench-" + std::to_string(getpid());
    EventPair pair(sName);
    const auto answer = [&] {
        EventPair theirs(sName);
        for (;;) theirs.Answer();
    };
    BetweenProcesses(state, answer, [&] { pair.Go(); });
}
BENCHMARK(NamedEventBetweenProcesses)->UseRealTime();

void FutexBetweenProcesses(benchmark::State& state)
{
    void* const pShared = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto& pair = *new (pShared) FutexPair(0);
    const auto answer = [&] {
        for (;;) pair.Answer();
    };
    BetweenProcesses(state, answer, [&] { pair.Go(); });
    munmap(pShared, 4096);
}
BENCHMARK(FutexBetweenProcesses)->UseRealTime();

// Without a wait: the signal is there already. --------------------------------------------------------------------------------

template <class Pair>
void AlreadySet(benchmark::State& state)
{
    Pair pair;
    for (auto _ : state)
    {
        pair.there.SetEvent();
        pair.Answer();
    }
}
BENCHMARK(AlreadySet<OneEvent>);
BENCHMARK(AlreadySet<SixEvents>);
} // namespace

[[maybe_unused]] static const bool kbPrepared = (PinToOneCore(), true);
