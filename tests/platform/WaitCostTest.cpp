// What waiting costs; for Linux alone, where the waits are ours.
#include "ObjectHandle.h"

#include <sys/resource.h>

#include <functional>
#include <string>

namespace
{
constexpr DWORD kulWaitMs = 300;

struct Cost
{
    long lSleeps;       // how often the thread went to sleep
    long lMilliseconds; // of the processor
};

Cost Used()
{
    rusage used{};
    getrusage(RUSAGE_THREAD, &used);
    return {used.ru_nvcsw,
            (used.ru_utime.tv_sec + used.ru_stime.tv_sec) * 1000 + (used.ru_utime.tv_usec + used.ru_stime.tv_usec) / 1000};
}

Cost CostOf(const std::function<DWORD()>& wait)
{
    const Cost before = Used();
    EXPECT_EQ(wait(), static_cast<DWORD>(WAIT_TIMEOUT));
    const Cost after = Used();
    return {after.lSleeps - before.lSleeps, after.lMilliseconds - before.lMilliseconds};
}
} // namespace

// Whoever polls with naps sleeps a hundred times, and whoever spins has the processor all the time.
TEST(WaitCost, AWaitSleepsAndDoesNotLookAgainAndAgain)
{
    const std::string sName = "WaitCost" + std::to_string(GetCurrentProcessId());
    const ObjectHandle event = NewEvent(false), manual = NewEvent(true), mutex = NewMutex(), other = NewEvent(true);
    const ObjectHandle named = CreateEventA(nullptr, FALSE, FALSE, (sName + "Event").c_str());
    const ObjectHandle namedMutex = CreateMutexA(nullptr, FALSE, (sName + "Mutex").c_str());
    const ObjectHandle taken = NewEvent(true), end = NewEvent(true);
    std::thread owner(
        [&]
        {
            WaitForSingleObject(mutex, INFINITE);
            WaitForSingleObject(namedMutex, INFINITE);
            SetEvent(taken);
            WaitForSingleObject(end, INFINITE);
            ReleaseMutex(namedMutex);
            ReleaseMutex(mutex);
        });
    WaitForSingleObject(taken, INFINITE);

    for (HANDLE hObject : {HANDLE(event), HANDLE(manual), HANDLE(mutex), HANDLE(named), HANDLE(namedMutex)})
    {
        const Cost cost = CostOf([&] { return WaitForSingleObject(hObject, kulWaitMs); });
        EXPECT_LE(cost.lSleeps, 10);
        EXPECT_LT(cost.lMilliseconds, static_cast<long>(kulWaitMs) / 3);
    }
    const Cost any = CostOf([&] { return WaitAny({event, manual, mutex, named, namedMutex, other}, kulWaitMs); });
    EXPECT_LE(any.lSleeps, 10);
    EXPECT_LT(any.lMilliseconds, static_cast<long>(kulWaitMs) / 3);

    SetEvent(end);
    owner.join();
}
