// The event as an object: waiting, names, codes and what it logs.
#include "OEvent.h"

#include "LogRecorder.h"
#include "MessageRecorder.h"
#include "ObjectName.h"
#include "OMutex.h"
#include "OSingleLock.h"
#include "Raises.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

// An event whose handle is another's.
class OForeignEvent : public OEvent
{
public:
    explicit OForeignEvent(HANDLE hForeign) : OEvent(1, 0, nullptr, nullptr), mhOwn(mhHandle) { mhHandle = hForeign; }
    ~OForeignEvent() override { mhHandle = mhOwn; }

private:
    const HANDLE mhOwn;
};

namespace
{
class OEventTest : public testing::Test
{
protected:
    using Lines = LogRecorder::Lines;
    using Boxes = MessageRecorder::Boxes;
    LogRecorder log;
    MessageRecorder messages;
};
} // namespace

TEST_F(OEventTest, GoesUnderUtilities)
{
    OEvent event;
    event.Log("here");
    EXPECT_EQ(log.Others(), Lines{"Utilities | OEvent | Item | here"});
    EXPECT_EQ(event.GetErrorBase(), 5500u);
}

TEST_F(OEventTest, AnswersZeroWhileThereIsNoSignal)
{
    OEvent event(1, 0, nullptr, nullptr);
    EXPECT_EQ(event.Lock(0), 0);
    EXPECT_EQ(event.Lock(5), 0);
    EXPECT_EQ(log.Errors(), Lines{});
}

TEST_F(OEventTest, StaysSignalledUntilItIsResetByHand)
{
    OEvent event(1, 0, nullptr, nullptr);
    EXPECT_EQ(event.SetEvent(), 1);
    EXPECT_EQ(event.Lock(0), 1);
    EXPECT_EQ(event.Lock(INFINITE), 1);
    EXPECT_EQ(event.ResetEvent(), 1);
    EXPECT_EQ(event.Lock(0), 0);
}

TEST_F(OEventTest, LetsOneThroughWhenItResetsItself)
{
    OEvent event(0, 1, nullptr, nullptr);
    EXPECT_EQ(event.Lock(0), 1);
    EXPECT_EQ(event.Lock(0), 0);
}

TEST_F(OEventTest, DoesNotCountAndHasNothingToUnlock)
{
    OEvent event(1, 1, nullptr, nullptr);
    EXPECT_EQ(event.Lock(INFINITE), 1);
    EXPECT_EQ(event.GetLockCount(), 0u);
    EXPECT_EQ(event.Unlock(), 1);
    EXPECT_EQ(event.Unlock(), 1);
    EXPECT_EQ(event.Done(), 0u);
    EXPECT_EQ(log.Others(), Lines{});
}

TEST_F(OEventTest, WakesAThreadThatWaits)
{
    OEvent go(0, 0, nullptr, nullptr), done(0, 0, nullptr, nullptr);
    std::thread other([&] {
        EXPECT_EQ(go.Lock(INFINITE), 1);
        done.SetEvent();
    });
    EXPECT_EQ(done.Lock(20), 0);
    go.SetEvent();
    EXPECT_EQ(done.Lock(INFINITE), 1);
    other.join();
}

TEST_F(OEventTest, WaitsAboutAsLongAsItIsTold)
{
    OEvent event(1, 0, nullptr, nullptr);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(event.Lock(60), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
}

TEST_F(OEventTest, OneOfANameThatExistsIsThatEventAndSaysSo)
{
    const std::string sName = ObjectName("event");
    OEvent first, second;
    EXPECT_EQ(first.Init(1, 0, sName.c_str(), nullptr), 0u);
    EXPECT_EQ(second.Init(0, 1, sName.c_str(), nullptr), 103u); // kind and state are those it was made with
    EXPECT_EQ(second.Lock(0), 0);
    first.SetEvent();
    EXPECT_EQ(second.Lock(0), 1);
    EXPECT_EQ(second.Lock(0), 1);
    EXPECT_EQ(log.Errors(), Lines{});

    first.Done();
    second.Done();
    EXPECT_EQ(first.Init(0, 0, sName.c_str(), nullptr), 0u); // the name went with its last handle
}

TEST_F(OEventTest, ANameOfAnotherKindOfObjectRaisesTheSystemCallsCode)
{
    const std::string sName = ObjectName("kind");
    OMutex mutex(0, sName.c_str(), nullptr);
    OEvent event;
    EXPECT_RAISES(event.Init(1, 0, sName.c_str(), nullptr), 8502);
    EXPECT_EQ(log.Places(), Lines{"Caught in OEvent::Init"});
    EXPECT_EQ(messages.Shown(),
              (Boxes{"EXCEPTION : OAppException | Caught in CApi::CreateEvent",
                     "EXCEPTION - Details | File=base/BaseAPI.cpp : Line=81 : Error=8502 : ApiError=$6"}));

    // Whoever tries again says so first.
    EXPECT_RAISES(event.Init(1, 0, nullptr, nullptr), 5600);
    EXPECT_EQ(event.Done(), 0u);
    EXPECT_EQ(event.Init(1, 0, nullptr, nullptr), 0u);

    log.Places();
    EXPECT_RAISES(OEvent(1, 0, sName.c_str(), nullptr), 8502);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OEvent::Init", "Caught in OEvent::OEvent"}));
}

TEST_F(OEventTest, RefusesNamesThatTheSystemRefuses)
{
    OEvent event;
    EXPECT_RAISES(event.Init(1, 0, "no\\such\\folder", nullptr), 8502);
    EXPECT_EQ(event.Done(), 0u);
    EXPECT_RAISES(event.Init(1, 0, std::string(300, 'n').c_str(), nullptr), 8502);
    EXPECT_EQ(event.Done(), 0u);
    EXPECT_EQ(event.Init(1, 1, "", nullptr), 0u); // an empty name is none
    OEvent other;
    EXPECT_EQ(other.Init(1, 0, "", nullptr), 0u);
    EXPECT_EQ(other.Lock(0), 0);
}

TEST_F(OEventTest, ASecondInitIsCode100)
{
    OEvent event(1, 1, nullptr, nullptr);
    EXPECT_RAISES(event.Init(1, 0, nullptr, nullptr), 5600);
    EXPECT_EQ(log.Errors(), Lines{"OEvent | Init | Object is already initialised"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OEvent::Init"});
    EXPECT_EQ(event.Lock(0), 1);
}

TEST_F(OEventTest, WithoutInitIsCode101)
{
    OEvent event;
    EXPECT_RAISES(event.Lock(0), 5601);
    EXPECT_EQ(log.Errors(), Lines{"OEvent | Lock | Object is not initialised"});
    EXPECT_RAISES(event.Unlock(), 5601);
    EXPECT_EQ(log.Errors(), Lines{"OEvent | UnLock | Object is not initialised"});
    EXPECT_RAISES(event.SetEvent(), 5601);
    EXPECT_EQ(log.Errors(), Lines{"OEvent | SetEvent | Object is not initialised"});
    EXPECT_RAISES(event.ResetEvent(), 5601);
    EXPECT_EQ(log.Errors(), Lines{"OEvent | ResetEvent | Object is not initialised"});
    EXPECT_EQ(log.Places(), (Lines{"Caught in OEvent::Lock", "Caught in OEvent::Unlock", "Caught in OEvent::SetEvent",
                                   "Caught in OEvent::ResetEvent"}));
    EXPECT_EQ(event.Done(), 101u);
}

TEST_F(OEventTest, AHandleThatIsNoneIsCode102)
{
    OForeignEvent event(reinterpret_cast<HANDLE>(ULONG_PTR(0x123454)));
    EXPECT_RAISES(event.Lock(0), 5602);
    EXPECT_EQ(log.Errors(), Lines{"OForeignEvent | Lock | WaitForSingleObject failed"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OEvent::Lock"});
    EXPECT_RAISES(event.SetEvent(), 5602);
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(log.Places(), Lines{"Caught in OEvent::SetEvent"});
    EXPECT_RAISES(event.ResetEvent(), 5602);
    EXPECT_EQ(log.Errors(), Lines{"OForeignEvent | ResetEvent | Cannot reset event"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OEvent::ResetEvent"});
    EXPECT_EQ(messages.Shown(), Boxes{});
}

TEST_F(OEventTest, AnAbandonedMutexInItsPlaceIsCode102)
{
    OMutex mutex(0, nullptr, nullptr);
    std::thread([&] { ::WaitForSingleObject(mutex.GetHandle(), INFINITE); }).join();
    OForeignEvent event(mutex.GetHandle());
    EXPECT_RAISES(event.Lock(0), 5602);
    EXPECT_EQ(log.Errors(), Lines{"OForeignEvent | Lock | Object was not released by the thread that owned it before the owning "
                                  "thread terminated"});
    ::ReleaseMutex(mutex.GetHandle());
}

TEST_F(OEventTest, ClosesItsHandleOnce)
{
    OEvent event(1, 0, nullptr, nullptr);
    const HANDLE hEvent = event.GetHandle();
    EXPECT_EQ(event.Done(), 0u);
    EXPECT_FALSE(::SetEvent(hEvent));
    EXPECT_EQ(event.Done(), 101u);
    EXPECT_RAISES(event.GetHandle(), 5502);
    EXPECT_EQ(messages.Shown(), Boxes{});
}

TEST_F(OEventTest, ACopyHasTheSameHandleAndOneOfTheTwoCanCloseIt)
{
    {
        OEvent event(1, 0, nullptr, nullptr);
        OEvent copy(event);
        copy.SetEvent();
        EXPECT_EQ(event.Lock(0), 1);
        EXPECT_EQ(copy.Done(), 0u);
        EXPECT_EQ(messages.Shown(), Boxes{});
    }
    EXPECT_EQ(log.Places(), (Lines{"Caught in OEvent::Done", "Caught in OEvent::~OEvent"}));
    EXPECT_EQ(messages.Shown(),
              (Boxes{"EXCEPTION : OAppException | Caught in CApi::CloseHandle",
                     "EXCEPTION - Details | File=base/BaseAPI.cpp : Line=67 : Error=8501 : ApiError=$6"}));
}

TEST_F(OEventTest, AScopedLockWaitsForIt)
{
    OEvent event(0, 1, nullptr, nullptr);
    OSingleLock lock(&event, 1);
    EXPECT_EQ(event.Lock(0), 0);
    EXPECT_EQ(lock.Unlock(), 1);
    EXPECT_EQ(event.Lock(0), 0);
}
