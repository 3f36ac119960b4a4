// Processes killed while they hold named objects, and those who contend for them.
#include "FileHandle.h"
#include "ObjectHandle.h"
#include "ObjectRole.h"
#include "Wine.h"

#include <array>
#include <map>
#include <memory>
#include <sstream>

namespace
{
constexpr int kiContenders = 8;
int Rounds() { return RunsUnderWine() ? 5 : 100; } // a process costs a hundred times more there

// "arm NAME": opens the mutex; "contend NAME OTHER MS": waits for it, alone or (OTHER not "-") with an event, and says how
// that ended: "taken", "abandoned" or another answer; whoever has it gives it back.
std::string Contend(const std::string& sOrder)
{
    static std::map<std::string, ObjectHandle> handles;
    std::istringstream order(sOrder);
    std::string sVerb, sName, sOther;
    DWORD ulMilliseconds = 0;
    order >> sVerb >> sName >> sOther >> ulMilliseconds;
    if (sVerb == "arm")
    {
        handles.clear();
        handles[sName] = ObjectHandle(CreateMutexA(nullptr, FALSE, sName.c_str()));
        if (sOther != "-") handles[sOther] = ObjectHandle(CreateEventA(nullptr, TRUE, FALSE, sOther.c_str()));
        return "armed";
    }
    if (sVerb == "disarm")
    {
        handles.clear();
        return "disarmed";
    }
    const HANDLE hMutex = handles[sName];
    const DWORD ulAnswer = sOther == "-" ? WaitForSingleObject(hMutex, ulMilliseconds)
                                         : WaitAny({hMutex, handles[sOther]}, ulMilliseconds);
    if (ulAnswer != WAIT_OBJECT_0 && ulAnswer != WAIT_ABANDONED) return std::to_string(ulAnswer);
    if (!ReleaseMutex(hMutex)) return "not owner";
    return ulAnswer == WAIT_OBJECT_0 ? "taken" : "abandoned";
}
const OtherRole kContender("contender", Contend);

class Contenders
{
public:
    explicit Contenders(const std::string& sMutex) : msMutex(sMutex)
    {
        for (auto& pProcess : mProcesses) pProcess = std::make_unique<OtherProcess>("contender");
    }
    // Half of them wait for the mutex alone, half for an event besides that nobody sets.
    std::string Event(int i) const { return i % 2 ? msMutex + "-never" : "-"; }
    void Arm()
    {
        for (int i = 0; i < kiContenders; ++i) mProcesses[i]->Tell("arm " + msMutex + " " + Event(i));
        for (auto& pProcess : mProcesses) EXPECT_EQ(pProcess->Answer(), "armed");
    }
    void Disarm()
    {
        for (auto& pProcess : mProcesses) EXPECT_EQ(pProcess->Ask("disarm"), "disarmed");
    }
    void Start()
    {
        for (int i = 0; i < kiContenders; ++i) mProcesses[i]->Tell("contend " + msMutex + " " + Event(i) + " 20000");
    }
    // How many were told this, of all but those that have been killed.
    std::map<std::string, int> End()
    {
        std::map<std::string, int> answers;
        for (auto& pProcess : mProcesses) ++answers[pProcess->Answer()];
        return answers;
    }
    OtherProcess& operator[](int i) { return *mProcesses[i]; }
    void Replace(int i) { mProcesses[i] = std::make_unique<OtherProcess>("contender"); }

private:
    const std::string msMutex;
    std::array<std::unique_ptr<OtherProcess>, kiContenders> mProcesses;
};

bool IsThere(const std::string& sName)
{
    const ObjectHandle mutex = OpenMutexA(SYNCHRONIZE, FALSE, sName.c_str());
    return mutex || GetLastError() == ERROR_INVALID_HANDLE;
}
} // namespace

TEST(KilledProcess, LeavesItsMutexToExactlyOneOfThoseWhoWait)
{
    const std::string sMutex = ObjectName("abandoned");
    Contenders contenders(sMutex);
    for (int iRound = 0; iRound < Rounds(); ++iRound)
    {
        ObjectProcess owner;
        ASSERT_EQ(owner.Ask("mutex " + sMutex + " 1"), "0") << "something was left of the round before";
        contenders.Arm();
        contenders.Start();
        if (iRound % 10 == 0) LetThemSleep();
        owner.Kill();
        const std::map<std::string, int> answers = contenders.End();
        const std::map<std::string, int> wanted{{"abandoned", 1}, {"taken", kiContenders - 1}};
        ASSERT_EQ(answers, wanted) << "round " << iRound;
        contenders.Disarm();
        ASSERT_FALSE(IsThere(sMutex));
    }
}

TEST(KilledProcess, AmongThoseWhoWaitStrandsNoneOfTheOthers)
{
    // The owner and one who waits are killed at once: whichever of them the kernel had in hand, all others get their turn.
    const std::string sMutex = ObjectName("both");
    Contenders contenders(sMutex);
    for (int iRound = 0; iRound < Rounds() / 4 + 1; ++iRound)
    {
        ObjectProcess owner;
        ASSERT_EQ(owner.Ask("mutex " + sMutex + " 1"), "0");
        contenders.Arm();
        contenders.Start();
        if (iRound % 5 == 0) LetThemSleep();
        const int iVictim = iRound % kiContenders;
        owner.Kill();
        contenders[iVictim].Kill();
        std::map<std::string, int> answers = contenders.End();
        const int iServed = answers["taken"] + answers["abandoned"];
        EXPECT_GE(iServed, kiContenders - 1) << "round " << iRound; // the victim may have had its turn before
        EXPECT_EQ(answers.count(std::to_string(WAIT_TIMEOUT)), 0u);
        contenders.Replace(iVictim);
        contenders.Disarm();
        ASSERT_FALSE(IsThere(sMutex));
    }
}

TEST(KilledProcess, WaitingForAnEventIsNotHandedIt)
{
    const std::string sName = ObjectName("waiter");
    for (int iRound = 0; iRound < Rounds() / 10 + 1; ++iRound)
    {
        const ObjectHandle event = CreateEventA(nullptr, FALSE, FALSE, sName.c_str());
        ASSERT_EQ(GetLastError(), DWORD(NO_ERROR));
        ObjectProcess first, second;
        first.Ask("open-event " + sName + " 1048576");
        second.Ask("open-event " + sName + " 1048576");
        first.Tell("wait " + sName + " 20000");
        LetThemSleep();
        second.Tell("wait " + sName + " 20000");
        LetThemSleep();
        first.Kill();
        SetEvent(event);
        ASSERT_EQ(second.NumberAnswer(), WAIT_OBJECT_0) << "round " << iRound;
        ASSERT_EQ(WaitForSingleObject(event, 0), DWORD(WAIT_TIMEOUT));
    }
}

TEST(KilledProcess, InTheMiddleOfItsWorkLeavesTheOthersTheirs)
{
    // One process sets and takes events as fast as it can until it is killed, anywhere; what it leaves can be used.
    const std::string sEvent = ObjectName("busy"), sMutex = ObjectName("busy-mutex");
    const ObjectHandle event = CreateEventA(nullptr, FALSE, FALSE, sEvent.c_str());
    const ObjectHandle mutex = CreateMutexA(nullptr, FALSE, sMutex.c_str());
    for (int iRound = 0; iRound < Rounds() / 4 + 1; ++iRound)
    {
        OtherProcess busy("busy");
        ASSERT_EQ(busy.Ask("arm " + sEvent + " " + sMutex), "armed");
        busy.Tell("work");
        std::thread partner([&] {
            for (int i = 0; i < 50; ++i)
            {
                WaitAny({event, mutex}, 1);
                ReleaseMutex(mutex);
                SetEvent(event);
            }
        });
        std::this_thread::sleep_for(std::chrono::microseconds(200 + 137 * (iRound % 29)));
        busy.Kill();
        partner.join();

        WaitForSingleObject(event, 0);
        ASSERT_EQ(WaitForSingleObject(event, 0), DWORD(WAIT_TIMEOUT)); // no more than one signal is in it
        SetEvent(event);
        ASSERT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
        ASSERT_NE(WaitForSingleObject(mutex, 20'000), DWORD(WAIT_TIMEOUT));
        ASSERT_TRUE(ReleaseMutex(mutex));
    }
}

namespace
{
std::string BeBusy(const std::string& sOrder)
{
    static ObjectHandle event, mutex;
    std::istringstream order(sOrder);
    std::string sVerb, sEvent, sMutex;
    order >> sVerb >> sEvent >> sMutex;
    if (sVerb == "arm")
    {
        event = ObjectHandle(OpenEventA(EVENT_ALL_ACCESS, FALSE, sEvent.c_str()));
        mutex = ObjectHandle(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, sMutex.c_str()));
        return event && mutex ? "armed" : "failed";
    }
    for (;;)
    {
        SetEvent(event);
        WaitForSingleObject(event, 1);
        if (WaitForSingleObject(mutex, 1) != WAIT_TIMEOUT) ReleaseMutex(mutex);
        WaitAny({event, mutex}, 1);
        ReleaseMutex(mutex);
    }
}
const OtherRole kBusy("busy", BeBusy);
} // namespace

TEST(KilledProcess, TakesItsObjectsWithIt)
{
    const std::string sEvent = ObjectName("event"), sMutex = ObjectName("mutex"), sMapping = ObjectName("mapping");
    for (int iRound = 0; iRound < Rounds() / 5; ++iRound)
    {
        ObjectProcess other;
        ASSERT_EQ(other.Ask("event " + sEvent + " 1 1"), "0");
        ASSERT_EQ(other.Ask("mutex " + sMutex + " 1"), "0");
        ASSERT_EQ(other.Ask("mapping " + sMapping + " 100000"), "0");
        other.Ask("write " + sMapping + " 1 7");
        other.Kill();
        const ObjectHandle event = CreateEventA(nullptr, TRUE, FALSE, sEvent.c_str());
        ASSERT_EQ(GetLastError(), DWORD(NO_ERROR));
        ASSERT_EQ(WaitForSingleObject(event, 0), DWORD(WAIT_TIMEOUT));
        const ObjectHandle mutex = OpenMutexA(SYNCHRONIZE, FALSE, sMutex.c_str());
        ASSERT_EQ(mutex, nullptr);
        const ObjectHandle mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, sMapping.c_str());
        ASSERT_EQ(GetLastError(), DWORD(NO_ERROR));
        auto* pView = static_cast<char*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
        ASSERT_NE(pView, nullptr);
        ASSERT_EQ(pView[1], 0);
        UnmapViewOfFile(pView);
    }
}
