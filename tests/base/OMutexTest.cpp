// The mutex as an object: ownership, counts, names, codes and what it logs.
#include "OMutex.h"

#include "LogRecorder.h"
#include "MessageRecorder.h"
#include "ObjectName.h"
#include "OEvent.h"
#include "OSingleLock.h"
#include "OtherProcess.h"
#include "Raises.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

// Keeps what is asked of it. Has a name in logs.
class OCountingMutex : public OMutex
{
public:
    using OMutex::OMutex;
    int Lock(ULONG dwTimeout) override
    {
        sCalls += "L" + std::to_string(dwTimeout) + " ";
        return OMutex::Lock(dwTimeout);
    }
    int Unlock() override
    {
        sCalls += "U ";
        return OMutex::Unlock();
    }
    std::string sCalls;
};

namespace
{
class OMutexTest : public testing::Test
{
protected:
    using Lines = LogRecorder::Lines;
    using Boxes = MessageRecorder::Boxes;
    LogRecorder log;
    MessageRecorder messages;
};

// Whether another thread can have the mutex.
bool IsFree(HANDLE hMutex)
{
    bool bFree = false;
    std::thread([&] {
        const DWORD dwResult = ::WaitForSingleObject(hMutex, 0);
        bFree = dwResult == WAIT_OBJECT_0 || dwResult == WAIT_ABANDONED;
        if (bFree) ::ReleaseMutex(hMutex);
    }).join();
    return bFree;
}

// Takes orders: init NAME, lock MILLISECONDS, unlock, done. Answers with the result, or with the code raised.
std::string AnswerOwner(const std::string& sOrder)
{
    static OMutex mutex;
    std::istringstream order(sOrder);
    std::string sVerb, sName;
    ULONG ulTimeout = 0, ulResult = 0;
    order >> sVerb;
    const auto raised = RaisedCode([&] {
        if (sVerb == "init") order >> sName, ulResult = mutex.Init(0, sName.c_str(), nullptr);
        if (sVerb == "lock") order >> ulTimeout, ulResult = static_cast<ULONG>(mutex.Lock(ulTimeout));
        if (sVerb == "unlock") ulResult = static_cast<ULONG>(mutex.Unlock());
        if (sVerb == "done") ulResult = mutex.Done();
    });
    return std::to_string(raised.value_or(ulResult));
}
const OtherRole kOwner("mutex-owner", AnswerOwner);
} // namespace

TEST_F(OMutexTest, GoesUnderUtilities)
{
    OMutex mutex;
    mutex.Log("here");
    EXPECT_EQ(log.Others(), Lines{"Utilities | OMutex | Item | here"});
    EXPECT_EQ(mutex.GetErrorBase(), 5500u);
}

TEST_F(OMutexTest, CountsItsLocksAndKeepsOtherThreadsOut)
{
    OMutex mutex(0, nullptr, nullptr);
    EXPECT_EQ(mutex.GetLockCount(), 0u);
    EXPECT_EQ(mutex.Lock(0), 1);
    EXPECT_EQ(mutex.Lock(INFINITE), 1);
    EXPECT_EQ(mutex.GetLockCount(), 2u);
    EXPECT_FALSE(IsFree(mutex.GetHandle()));
    EXPECT_EQ(mutex.Unlock(), 1);
    EXPECT_EQ(mutex.Unlock(), 1);
    EXPECT_EQ(mutex.GetLockCount(), 0u);
    EXPECT_TRUE(IsFree(mutex.GetHandle()));
}

TEST_F(OMutexTest, IsOwnedAndCountedByItsMakerWhenAskedFor)
{
    OMutex mutex(1, nullptr, nullptr);
    EXPECT_EQ(mutex.GetLockCount(), 1u);
    EXPECT_FALSE(IsFree(mutex.GetHandle()));
    EXPECT_EQ(mutex.Unlock(), 1);
    EXPECT_TRUE(IsFree(mutex.GetHandle()));
}

TEST_F(OMutexTest, ALockThatTimesOutIsZeroAndDoesNotCount)
{
    OMutex mutex(1, nullptr, nullptr);
    std::thread([&] { EXPECT_EQ(mutex.Lock(5), 0); }).join();
    EXPECT_EQ(mutex.GetLockCount(), 1u);
    EXPECT_EQ(log.Others(), Lines{"Mutex | CApi | WaitForMutex | WAIT_TIMEOUT : dwTimeout=5"});
    EXPECT_EQ(mutex.Unlock(), 1);
}

TEST_F(OMutexTest, OneOfANameThatExistsIsThatMutexAndNotTaken)
{
    const std::string sName = ObjectName("mutex");
    OMutex first(0, sName.c_str(), nullptr), second;
    EXPECT_EQ(second.Init(1, sName.c_str(), nullptr), 153u);
    EXPECT_EQ(second.GetLockCount(), 0u);
    EXPECT_TRUE(IsFree(first.GetHandle()));
    EXPECT_EQ(second.Lock(0), 1);
    EXPECT_FALSE(IsFree(first.GetHandle()));
    second.Unlock();
    EXPECT_EQ(log.Errors(), Lines{});

    first.Done();
    second.Done();
    EXPECT_EQ(first.Init(1, sName.c_str(), nullptr), 0u); // the name went with its last handle
    EXPECT_EQ(first.Unlock(), 1);
}

TEST_F(OMutexTest, IsSharedByItsNameWithOtherPrograms)
{
    const std::string sName = ObjectName("shared");
    OMutex mutex(0, sName.c_str(), nullptr);
    OtherProcess other("mutex-owner");
    EXPECT_EQ(other.Ask("init " + sName), "153");
    EXPECT_EQ(other.Ask("lock 0"), "1");
    EXPECT_EQ(mutex.Lock(0), 0);
    EXPECT_EQ(other.Ask("unlock"), "1");
    EXPECT_EQ(mutex.Lock(1000), 1);
    EXPECT_EQ(other.Ask("lock 0"), "0");
    EXPECT_EQ(mutex.Unlock(), 1);
    EXPECT_EQ(other.Ask("lock 1000"), "1");
    EXPECT_EQ(other.Ask("done"), "0");
    EXPECT_EQ(mutex.Lock(0), 1);
    mutex.Unlock();
}

TEST_F(OMutexTest, AKilledOwnerLeavesItToTheNextWhoseLockIsZeroAndOwnsIt)
{
    const std::string sName = ObjectName("killed");
    OMutex mutex(0, sName.c_str(), nullptr);
    OtherProcess other("mutex-owner");
    ASSERT_EQ(other.Ask("init " + sName), "153");
    ASSERT_EQ(other.Ask("lock 0"), "1");
    other.Kill();
    EXPECT_EQ(mutex.Lock(10'000), 0);
    EXPECT_EQ(log.Others(), Lines{"Mutex | CApi | WaitForMutex | API_ABANDONED : dwTimeout=10000"});
    EXPECT_EQ(mutex.GetLockCount(), 0u);
    EXPECT_FALSE(IsFree(mutex.GetHandle()));
    EXPECT_RAISES(mutex.Unlock(), 5652); // it is not counted
    EXPECT_TRUE(::ReleaseMutex(mutex.GetHandle()));
    EXPECT_EQ(mutex.Lock(0), 1);
    EXPECT_EQ(mutex.Unlock(), 1);
}

TEST_F(OMutexTest, IsLockedAsksTheOthersAndTakesAFreeOneUncounted)
{
    OMutex mutex(0, nullptr, nullptr);
    EXPECT_EQ(mutex.IsLocked(), 0);
    EXPECT_EQ(mutex.IsLocked(), 0); // one's own is not locked, and is owned twice by now
    EXPECT_EQ(mutex.GetLockCount(), 0u);
    int iElsewhere = -1;
    std::thread([&] { iElsewhere = mutex.IsLocked(); }).join();
    EXPECT_EQ(iElsewhere, 1);
    EXPECT_RAISES(mutex.Unlock(), 5652);
    EXPECT_TRUE(::ReleaseMutex(mutex.GetHandle()));
    EXPECT_FALSE(IsFree(mutex.GetHandle()));
    EXPECT_TRUE(::ReleaseMutex(mutex.GetHandle()));
    EXPECT_TRUE(IsFree(mutex.GetHandle()));
}

TEST_F(OMutexTest, ClosedWhileOwnedWarnsTakesItOnceMoreAndReleasesAll)
{
    OCountingMutex mutex(1, nullptr, nullptr);
    mutex.Lock(0);
    HANDLE hCopy = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), mutex.GetHandle(), GetCurrentProcess(), &hCopy, 0, FALSE, DUPLICATE_SAME_ACCESS));
    mutex.sCalls.clear();
    EXPECT_EQ(mutex.Done(), 0u);
    EXPECT_EQ(mutex.sCalls, "L4294967295 U U U ");
    EXPECT_EQ(log.Others(), Lines{"Warning | OCountingMutex | Done | Mutex closed while still owned"});
    EXPECT_TRUE(IsFree(hCopy));
    EXPECT_TRUE(::CloseHandle(hCopy));
    EXPECT_EQ(mutex.Done(), 151u);
}

TEST_F(OMutexTest, ClosedWhileFreeIsTakenAndReleasedOnce)
{
    OCountingMutex mutex(0, nullptr, nullptr);
    EXPECT_EQ(mutex.Done(), 0u);
    EXPECT_EQ(mutex.sCalls, "L4294967295 U ");
    EXPECT_EQ(log.Others(), Lines{});
    EXPECT_RAISES(mutex.GetLockCount(), 5502);
    EXPECT_EQ(mutex.Init(0, nullptr, nullptr), 0u);
}

TEST_F(OMutexTest, ASecondInitIsCode150)
{
    OMutex mutex(0, nullptr, nullptr);
    EXPECT_RAISES(mutex.Init(1, nullptr, nullptr), 5650);
    EXPECT_EQ(log.Errors(), Lines{"OMutex | Init | Object is already initialised"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OMutex::Init"});
    EXPECT_EQ(mutex.GetLockCount(), 0u);
}

TEST_F(OMutexTest, WithoutInitIsCode151)
{
    OMutex mutex;
    EXPECT_RAISES(mutex.Lock(0), 5651);
    EXPECT_EQ(log.Errors(), Lines{"OMutex | Lock | Object is not initialised"});
    EXPECT_RAISES(mutex.Unlock(), 5651);
    EXPECT_EQ(log.Errors(), Lines{"OMutex | Unlock | Object is not initialised"});
    EXPECT_RAISES(mutex.IsLocked(), 5651);
    EXPECT_EQ(log.Errors(), Lines{"OMutex | IsLocked | Object is not initialised"});
    EXPECT_EQ(log.Places(), (Lines{"Caught in OMutex::Lock", "Caught in OMutex::Unlock", "Caught in OMutex::IsLocked"}));
    EXPECT_EQ(mutex.Done(), 151u);
}

TEST_F(OMutexTest, AnUnlockWithoutALockIsCode152AndNeverReachesTheSystem)
{
    OMutex mutex(0, nullptr, nullptr);
    ::WaitForSingleObject(mutex.GetHandle(), 0); // owned, but not through the object
    EXPECT_RAISES(mutex.Unlock(), 5652);
    EXPECT_EQ(log.Errors(), Lines{"OMutex | Unlock | Cannot unlock mutex: it is not locked"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OMutex::Unlock"});
    EXPECT_EQ(messages.Shown(), Boxes{});
    EXPECT_FALSE(IsFree(mutex.GetHandle()));
    ::ReleaseMutex(mutex.GetHandle());
}

TEST_F(OMutexTest, ARefusedNameRaisesTheSystemCallsCode)
{
    const std::string sName = ObjectName("kind");
    OEvent event(1, 0, sName.c_str(), nullptr);
    EXPECT_RAISES(OMutex(0, sName.c_str(), nullptr), 8506);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OMutex::Init", "Caught in OMutex::OMutex 2"}));
    EXPECT_EQ(messages.Shown(),
              (Boxes{"EXCEPTION : OAppException | Caught in CApi::CreateMutex",
                     "EXCEPTION - Details | File=base/BaseAPI.cpp : Line=182 : Error=8506 : ApiError=$6"}));
    EXPECT_RAISES(OMutex(0, "no\\such\\folder", nullptr), 8506);
    EXPECT_RAISES(OMutex(0, std::string(300, 'n').c_str(), nullptr), 8506);
    OMutex unnamed(1, "", nullptr);
    EXPECT_EQ(unnamed.Unlock(), 1);
}

TEST_F(OMutexTest, OneWhoseInitFailedEndsWithoutWaiting)
{
    const std::string sName = ObjectName("kind");
    const OEvent event(1, 0, sName.c_str(), nullptr);
    {
        OMutex mutex;
        EXPECT_RAISES(mutex.Init(0, sName.c_str(), nullptr), 8506);
        EXPECT_EQ(mutex.GetHandle(), nullptr);
        EXPECT_RAISES(mutex.Init(0, nullptr, nullptr), 5500 + 150); // it counts as initialised
        log.Places();
    }
    EXPECT_EQ(log.Places().back(), "Caught in OMutex::~OMutex");
}

TEST_F(OMutexTest, AnUnlockOnAnotherThreadRaisesTheSystemCallsCode)
{
    OMutex mutex(1, nullptr, nullptr);
    std::thread([&] { EXPECT_RAISES(mutex.Unlock(), 8507); }).join();
    EXPECT_EQ(messages.Shown(),
              (Boxes{"EXCEPTION : OAppException | Caught in CApi::ReleaseMutex",
                     "EXCEPTION - Details | File=base/BaseAPI.cpp : Line=217 : Error=8507 : ApiError=$120"}));
    EXPECT_EQ(mutex.GetLockCount(), 0u); // counted down before the system is asked
    EXPECT_TRUE(::ReleaseMutex(mutex.GetHandle()));
}

TEST_F(OMutexTest, AScopedLockThatLockedItTwiceUnlocksItTwice)
{
    OCountingMutex mutex(0, nullptr, nullptr);
    {
        OSingleLock lock(&mutex, 1);
        lock.Lock(INFINITE);
        EXPECT_EQ(mutex.GetLockCount(), 2u);
        mutex.sCalls.clear();
    }
    EXPECT_EQ(mutex.sCalls, "U U ");
    EXPECT_TRUE(IsFree(mutex.GetHandle()));
}
