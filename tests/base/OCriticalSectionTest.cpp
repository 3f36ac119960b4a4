// The critical section as an object: counts, codes and what it logs. OSyncObject is what it has in common with the others.
#include "OCriticalSection.h"

#include "LockSlots.h"
#include "LogRecorder.h"
#include "Raises.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace
{
class OCriticalSectionTest : public testing::Test
{
protected:
    using Lines = LogRecorder::Lines;
    LogRecorder log;
};

// What TryForLock answers on another thread. What it took, it gives back.
int TriedElsewhere(OCriticalSection& section)
{
    int iTaken = -1;
    std::thread([&] {
        iTaken = section.TryForLock();
        if (iTaken) section.Unlock();
    }).join();
    return iTaken;
}
} // namespace

TEST_F(OCriticalSectionTest, GoesUnderUtilities)
{
    OCriticalSection section;
    section.Log("here");
    EXPECT_EQ(log.Others(), Lines{"Utilities | OCriticalSection | Item | here"});
    EXPECT_EQ(section.GetErrorBase(), 5500u);
}

TEST_F(OCriticalSectionTest, HasItsVirtualMembersInTheirOrder)
{
    ExpectLockSlots<OSyncObject>();
}

TEST_F(OCriticalSectionTest, CountsItsLocksAndKeepsOtherThreadsOut)
{
    OCriticalSection section;
    EXPECT_NE(section.GetHandle(), nullptr);
    EXPECT_EQ(section.Lock(0), 1);
    EXPECT_EQ(section.Lock(INFINITE), 1);
    EXPECT_EQ(section.GetLockCount(), 2u);
    EXPECT_EQ(TriedElsewhere(section), 0);
    EXPECT_EQ(section.Unlock(), 1);
    EXPECT_EQ(TriedElsewhere(section), 0);
    EXPECT_EQ(section.Unlock(), 1);
    EXPECT_EQ(section.GetLockCount(), 0u);
    EXPECT_EQ(TriedElsewhere(section), 1);
}

TEST_F(OCriticalSectionTest, TryForLockTakesAFreeOneAndOnesOwnAndCounts)
{
    OCriticalSection section;
    EXPECT_EQ(section.TryForLock(), 1);
    EXPECT_EQ(section.TryForLock(), 1);
    EXPECT_EQ(section.GetLockCount(), 2u);
    EXPECT_EQ(TriedElsewhere(section), 0);
    EXPECT_EQ(section.GetLockCount(), 2u);
    section.Unlock();
    section.Unlock();
    EXPECT_EQ(TriedElsewhere(section), 1);
}

TEST_F(OCriticalSectionTest, LetsOneThreadInAtATime)
{
    constexpr int kiThreads = 4, kiRounds = 5'000;
    OCriticalSection section;
    int iCount = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < kiThreads; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < kiRounds; ++i)
            {
                section.Lock(INFINITE);
                ++iCount;
                section.Unlock();
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(iCount, kiThreads * kiRounds);
    EXPECT_EQ(section.GetLockCount(), 0u);
}

TEST_F(OCriticalSectionTest, CanBeInitialisedLaterAndAgain)
{
    OCriticalSection section(0);
    EXPECT_EQ(section.GetHandle(), nullptr);
    EXPECT_EQ(section.Init(), 0u);
    const HANDLE hSection = section.GetHandle();
    EXPECT_NE(hSection, nullptr);
    section.Lock(0);
    EXPECT_EQ(section.Init(), 0u); // nothing to do
    EXPECT_EQ(section.GetHandle(), hSection);
    EXPECT_EQ(section.GetLockCount(), 1u);
    section.Unlock();
}

TEST_F(OCriticalSectionTest, WithoutInitIsCode51)
{
    OCriticalSection section(0);
    EXPECT_RAISES(section.Lock(INFINITE), 5551);
    EXPECT_EQ(log.Errors(), Lines{"OCriticalSection | Lock | Object is not initialised"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OCriticalSection::Lock"});
    EXPECT_RAISES(section.Unlock(), 5551);
    EXPECT_EQ(log.Errors(), Lines{"OCriticalSection | Unlock | Object is not initialised"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OCriticalSection::Unlock"});
    EXPECT_RAISES(section.TryForLock(), 5551);
    EXPECT_EQ(log.Errors(), Lines{"OCriticalSection | TryForLock | Object is not initialised"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OCriticalSection::TryForLock"});
    EXPECT_EQ(section.Done(), 51u);
    EXPECT_EQ(log.Errors(), Lines{});
}

TEST_F(OCriticalSectionTest, AnUnlockWithoutALockIsCode52)
{
    OCriticalSection section;
    EXPECT_RAISES(section.Unlock(), 5552);
    EXPECT_EQ(log.Errors(), Lines{"OCriticalSection | Unlock | Critical Section is not locked"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OCriticalSection::Unlock"});
    EXPECT_EQ(section.GetLockCount(), 0u);
    EXPECT_EQ(TriedElsewhere(section), 1);
}

TEST_F(OCriticalSectionTest, ClosedWhileLockedThreeTimesWarnsOnceAndIsLeftThreeTimes)
{
    struct OCounting : OCriticalSection
    {
        int Unlock() override
        {
            ++iUnlocks;
            return OCriticalSection::Unlock();
        }
        int iUnlocks = 0;
    } section;
    for (int i = 0; i < 3; ++i) section.Lock(INFINITE);
    EXPECT_EQ(section.Done(), 0u);
    EXPECT_EQ(section.iUnlocks, 3);
    EXPECT_EQ(log.Others().size(), 1u);
    EXPECT_EQ(section.Done(), 51u);
}

TEST_F(OCriticalSectionTest, WarnsOfALockThatTheDestructorFinds)
{
    {
        OCriticalSection section;
        section.Lock(INFINITE);
    }
    EXPECT_EQ(log.Others(), Lines{"Warning | OCriticalSection | Done | Critical Section closed while still owned"});
    EXPECT_EQ(log.Places(), Lines{});
}

TEST_F(OCriticalSectionTest, IsNotValidAfterItsDone)
{
    OCriticalSection section;
    EXPECT_EQ(section.Done(), 0u);
    EXPECT_RAISES(section.GetHandle(), 5502);
    EXPECT_EQ(log.Errors(), Lines{"OCriticalSection | GetHandle | Object is not initialised"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OSyncObject::GetHandle"});
    EXPECT_RAISES(section.GetLockCount(), 5502);
    EXPECT_EQ(log.Errors(), Lines{"OCriticalSection | GetLockCount | Object is not initialised"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OSyncObject::GetLockCount"});
    EXPECT_EQ(section.OSyncObject::Done(), 2u);

    EXPECT_EQ(section.Init(), 0u); // it locks again, and still has no handle to give
    EXPECT_EQ(section.Lock(INFINITE), 1);
    EXPECT_EQ(section.Unlock(), 1);
    EXPECT_RAISES(section.GetHandle(), 5502);
}

TEST_F(OCriticalSectionTest, ACopyHasTheSameSection)
{
    OCriticalSection section;
    section.Lock(INFINITE);
    alignas(OCriticalSection) char acRoom[sizeof(OCriticalSection)];
    OCriticalSection& copy = *new (acRoom) OCriticalSection(section); // never destroyed: the section is the other's to end
    EXPECT_EQ(copy.GetHandle(), section.GetHandle());
    EXPECT_EQ(copy.GetLockCount(), 1u);
    EXPECT_EQ(TriedElsewhere(copy), 0);
    section.Unlock();
}
