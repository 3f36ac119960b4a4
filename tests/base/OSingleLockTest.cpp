// The scoped lock: what it does to the object that it locks, its codes and what it logs.
#include "OSingleLock.h"

#include "LockSlots.h"
#include "LogRecorder.h"
#include "OCriticalSection.h"
#include "Raises.h"

#include <gtest/gtest.h>

namespace
{
// A lockable object that keeps what is asked of it.
class ORecordingLock : public OSyncObject
{
public:
    int Lock(ULONG dwTimeout) override
    {
        sCalls += "L" + std::to_string(dwTimeout) + " ";
        if (bRaises) Raise(99);
        return iAnswer;
    }
    int Unlock() override
    {
        sCalls += "U ";
        if (bRaises) Raise(99);
        return iAnswer;
    }

    std::string sCalls;
    int iAnswer = 1;
    bool bRaises = false;
};

class OSingleLockTest : public testing::Test
{
protected:
    using Lines = LogRecorder::Lines;
    LogRecorder log;
    ORecordingLock lockable;
};
} // namespace

TEST_F(OSingleLockTest, GoesUnderUtilities)
{
    OSingleLock lock;
    lock.Log("here");
    EXPECT_EQ(log.Others(), Lines{"Utilities | OSingleLock | Item | here"});
    EXPECT_EQ(lock.GetErrorBase(), 7500u);
}

TEST_F(OSingleLockTest, HasItsVirtualMembersInTheirOrder)
{
    ExpectLockSlots<OSingleLock>();
}

TEST_F(OSingleLockTest, LocksForTheLengthOfItsScope)
{
    {
        OSingleLock lock(&lockable, 1);
        EXPECT_EQ(lockable.sCalls, "L4294967295 ");
    }
    EXPECT_EQ(lockable.sCalls, "L4294967295 U ");
}

TEST_F(OSingleLockTest, LocksLaterWhenToldSo)
{
    {
        OSingleLock lock(&lockable, 0);
        EXPECT_EQ(lockable.sCalls, "");
        EXPECT_EQ(lock.Lock(7), 1);
        EXPECT_EQ(lock.Lock(8), 1);
        EXPECT_EQ(lock.Unlock(), 1);
        EXPECT_EQ(lockable.sCalls, "L7 L8 U ");
    }
    EXPECT_EQ(lockable.sCalls, "L7 L8 U U ");
}

TEST_F(OSingleLockTest, CountsALockThatTimedOutAndGivesItBack)
{
    lockable.iAnswer = 0;
    {
        OSingleLock lock(&lockable, 0);
        EXPECT_EQ(lock.Lock(0), 1);
        EXPECT_EQ(lock.Unlock(), 1);
        EXPECT_EQ(lock.Lock(0), 1);
    }
    EXPECT_EQ(lockable.sCalls, "L0 U L0 U ");
}

TEST_F(OSingleLockTest, DoneGivesBackEveryLockAndIsTwoTheSecondTime)
{
    OSingleLock lock(&lockable, 1);
    lock.Lock(1);
    EXPECT_EQ(lock.Done(), 0u);
    EXPECT_EQ(lockable.sCalls, "L4294967295 L1 U U ");
    EXPECT_EQ(lock.Done(), 2u);
    EXPECT_EQ(log.Errors(), Lines{});

    EXPECT_EQ(lock.Init(&lockable, 0), 0u); // and may begin anew
}

TEST_F(OSingleLockTest, ASecondInitIsCodeOne)
{
    OSingleLock lock(&lockable, 1);
    EXPECT_RAISES(lock.Init(&lockable, 1), 7501);
    EXPECT_EQ(log.Errors(), Lines{"OSingleLock | Init | Object is already initialised"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OSingleLock::Init"});
    EXPECT_EQ(lockable.sCalls, "L4294967295 ");
}

TEST_F(OSingleLockTest, NoObjectIsCodeThree)
{
    EXPECT_RAISES(OSingleLock(nullptr, 1), 7503);
    EXPECT_EQ(log.Errors(), Lines{"OSingleLock | Init | No Synchobject given: pSyncObject==NULL"});
    EXPECT_EQ(log.Places(), (Lines{"Caught in OSingleLock::Init", "Caught in OSingleLock::OSingleLock"}));

    OSingleLock lock;
    EXPECT_RAISES(lock.Init(nullptr, 0), 7503);
    EXPECT_EQ(lock.Init(&lockable, 0), 0u);
}

TEST_F(OSingleLockTest, WithoutInitIsCodeTwo)
{
    OSingleLock lock;
    EXPECT_RAISES(lock.Lock(0), 7502);
    EXPECT_EQ(log.Errors(), Lines{"OSingleLock | Lock | Object is not initialised"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OSingleLock::Lock"});
    EXPECT_RAISES(lock.Unlock(), 7502);
    EXPECT_EQ(log.Errors(), Lines{"OSingleLock | Unlock | Object is not initialised"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OSingleLock::Unlock"});
    EXPECT_EQ(lock.Done(), 2u);
}

TEST_F(OSingleLockTest, AnUnlockWithoutALockIsCodeFour)
{
    OSingleLock lock(&lockable, 0);
    EXPECT_RAISES(lock.Unlock(), 7504);
    EXPECT_EQ(log.Errors(), Lines{"OSingleLock | Unlock | Cannot unlock: it's not locked"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OSingleLock::Unlock"});
    EXPECT_EQ(lockable.sCalls, "");
}

TEST_F(OSingleLockTest, AFailureOfTheObjectPassesAndALockThatFailedDoesNotCount)
{
    {
        OSingleLock lock(&lockable, 0);
        lockable.bRaises = true;
        EXPECT_RAISES(lock.Lock(5), 5599);
        EXPECT_EQ(log.Places(), Lines{"Caught in OSingleLock::Lock"});
    }
    EXPECT_EQ(lockable.sCalls, "L5 ");
    EXPECT_RAISES(OSingleLock(&lockable, 1), 5599);
    EXPECT_EQ(log.Places(),
              (Lines{"Caught in OSingleLock::Lock", "Caught in OSingleLock::Init", "Caught in OSingleLock::OSingleLock"}));
}

TEST_F(OSingleLockTest, AFailureWhileItEndsIsLoggedAndNotThrown)
{
    {
        OSingleLock lock(&lockable, 1);
        lockable.bRaises = true;
    }
    EXPECT_EQ(log.Places(),
              (Lines{"Caught in OSingleLock::Unlock", "Caught in OSingleLock::Done", "Caught in OSingleLock::~OSingleLock"}));
}

TEST_F(OSingleLockTest, HoldsACriticalSection)
{
    OCriticalSection section;
    {
        OSingleLock lock(&section, 1);
        lock.Lock(INFINITE);
        EXPECT_EQ(section.GetLockCount(), 2u);
    }
    EXPECT_EQ(section.GetLockCount(), 0u);
    EXPECT_EQ(log.Others(), Lines{});
}
