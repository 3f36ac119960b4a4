// Critical sections.
#include "Platform.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

class CriticalSection : public testing::Test
{
protected:
    CriticalSection() { InitializeCriticalSection(&mSection); }
    ~CriticalSection() override { DeleteCriticalSection(&mSection); }

    bool AnotherThreadCanEnter()
    {
        bool bEntered = false;
        std::thread([&] {
            bEntered = TryEnterCriticalSection(&mSection);
            if (bEntered) LeaveCriticalSection(&mSection);
        }).join();
        return bEntered;
    }

    CRITICAL_SECTION mSection;
};

TEST_F(CriticalSection, IsOwnedUntilItWasLeftAsOftenAsEntered)
{
    EXPECT_TRUE(AnotherThreadCanEnter());
    EnterCriticalSection(&mSection);
    EnterCriticalSection(&mSection);
    EXPECT_TRUE(TryEnterCriticalSection(&mSection));
    LeaveCriticalSection(&mSection);
    LeaveCriticalSection(&mSection);
    EXPECT_FALSE(AnotherThreadCanEnter());
    LeaveCriticalSection(&mSection);
    EXPECT_TRUE(AnotherThreadCanEnter());
}

TEST_F(CriticalSection, LetsOneThreadInAtATime)
{
    constexpr int kiThreads = 4, kiRounds = 20'000;
    int iCount = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < kiThreads; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < kiRounds; ++i)
            {
                EnterCriticalSection(&mSection);
                ++iCount;
                LeaveCriticalSection(&mSection);
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(iCount, kiThreads * kiRounds);
}

TEST_F(CriticalSection, WakesThoseWhoSleptBeforeIt)
{
    std::atomic<int> iEntered{0};
    EnterCriticalSection(&mSection);
    std::vector<std::thread> threads;
    for (int t = 0; t < 5; ++t)
        threads.emplace_back([&] {
            EnterCriticalSection(&mSection);
            ++iEntered;
            LeaveCriticalSection(&mSection);
        });
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // long enough for all of them to sleep
    EXPECT_EQ(iEntered, 0);
    LeaveCriticalSection(&mSection);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(iEntered, 5);
}

TEST_F(CriticalSection, CanBeMadeAnewAfterItsEnd)
{
    DeleteCriticalSection(&mSection);
    InitializeCriticalSection(&mSection);
    EnterCriticalSection(&mSection);
    EXPECT_FALSE(AnotherThreadCanEnter());
    LeaveCriticalSection(&mSection);
}
