// Checked system calls on events, mutexes and file mappings.
#include "BaseAPI.h"

#include "LogRecorder.h"
#include "MessageRecorder.h"
#include "ObjectName.h"
#include "RaisedFields.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <thread>

namespace
{
class CApiWait : public testing::Test
{
protected:
    using Lines = LogRecorder::Lines;
    using Boxes = MessageRecorder::Boxes;

    // A mutex whose owner's thread has ended.
    void* Abandoned()
    {
        void* const hMutex = api.CreateMutexA(nullptr, FALSE, nullptr);
        std::thread([&] { EXPECT_EQ(CApi().WaitForMutex(hMutex, INFINITE), 0u); }).join();
        return hMutex;
    }

    LogRecorder log;
    MessageRecorder messages;
    CApi api;
};

// Closed at the end of a test.
class Handle
{
public:
    Handle(void* hObject) : mhObject(hObject) {}
    ~Handle() { ::CloseHandle(mhObject); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    operator void*() const { return mhObject; }

private:
    void* mhObject;
};
} // namespace

// Where they were caught -----------------------------------------------------------------------------------------------------

TEST_F(CApiWait, EveryMemberShowsItsNameAndLine)
{
    const std::string sEvent = ObjectName("event"), sMutex = ObjectName("mutex"), sNone = ObjectName("none");
    const Handle event(api.CreateEventA(nullptr, TRUE, FALSE, sEvent.c_str()));
    const Handle mutex(api.CreateMutexA(nullptr, FALSE, sMutex.c_str()));
    void* const hInvented = reinterpret_cast<void*>(ULONG_PTR(0x123454));
    char cByte = 0;

    struct Row
    {
        const char* pMember;
        int iLine;
        ULONG ulCode;
        DWORD ulSystemError;
        std::function<void()> call;
    };
    const Row kRows[] = {
        {"FlushFileBuffers", 52, 5, 0, [&] { api.FlushFileBuffers(nullptr); }},
        {"FlushFileBuffers", 52, 19, ERROR_INVALID_HANDLE, [&] { api.FlushFileBuffers(hInvented); }},
        {"CloseHandle", 67, 5, 0, [&] { api.CloseHandle(nullptr); }},
        {"CloseHandle", 67, 1, ERROR_INVALID_HANDLE, [&] { api.CloseHandle(hInvented); }},
        {"CreateEvent", 81, 2, ERROR_INVALID_HANDLE, [&] { api.CreateEventA(nullptr, TRUE, FALSE, sMutex.c_str()); }},
        {"OpenEvent", 95, 3, ERROR_FILE_NOT_FOUND, [&] { api.OpenEventA(EVENT_ALL_ACCESS, FALSE, sNone.c_str()); }},
        {"OpenEvent", 95, 3, ERROR_INVALID_HANDLE, [&] { api.OpenEventA(EVENT_ALL_ACCESS, FALSE, sMutex.c_str()); }},
        {"SetEvent", 110, 5, 0, [&] { api.SetEvent(nullptr); }},
        {"SetEvent", 110, 4, ERROR_INVALID_HANDLE, [&] { api.SetEvent(hInvented); }},
        {"SetEvent", 110, 4, ERROR_INVALID_HANDLE, [&] { api.SetEvent(mutex); }},
        {"ResetEvent", 125, 5, 0, [&] { api.ResetEvent(nullptr); }},
        {"ResetEvent", 125, 4, ERROR_INVALID_HANDLE, [&] { api.ResetEvent(hInvented); }},
        {"WaitOnEvents", 167, 18, 0, [&] { api.WaitOnEvents(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr); }},
        {"WaitOnEvents", 167, 18, 0, [&] { api.WaitOnEvents(event, hInvented, nullptr, nullptr, nullptr, nullptr); }},
        {"CreateMutex", 182, 6, ERROR_INVALID_HANDLE, [&] { api.CreateMutexA(nullptr, FALSE, sEvent.c_str()); }},
        {"WaitForMutex", 202, 18, 0, [&] { api.WaitForMutex(nullptr, 0); }},
        {"WaitForMutex", 202, 18, 0, [&] { api.WaitForMutex(hInvented, 0); }},
        {"ReleaseMutex", 217, 5, 0, [&] { api.ReleaseMutex(nullptr); }},
        {"ReleaseMutex", 217, 7, ERROR_NOT_OWNER, [&] { api.ReleaseMutex(mutex); }},
        {"ReleaseMutex", 217, 7, ERROR_INVALID_HANDLE, [&] { api.ReleaseMutex(event); }},
        {"CreateFileMapping", 231, 8, ERROR_INVALID_HANDLE,
         [&] { api.CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, sEvent.c_str()); }},
        {"CreateFileMapping", 231, 8, ERROR_INVALID_PARAMETER,
         [&] { api.CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 0, nullptr); }},
        {"MapViewOfFile", 245, 9, ERROR_INVALID_HANDLE, [&] { api.MapViewOfFile(hInvented, FILE_MAP_READ, 0, 0, 0); }},
        {"MapViewOfFile", 245, 9, ERROR_INVALID_HANDLE, [&] { api.MapViewOfFile(event, FILE_MAP_READ, 0, 0, 0); }},
        {"UnmapViewOfFile", 260, 5, 0, [&] { api.UnmapViewOfFile(nullptr); }},
        {"UnmapViewOfFile", 260, 10, ERROR_INVALID_ADDRESS, [&] { api.UnmapViewOfFile(&cByte); }},
    };
    messages.Shown();
    for (const Row& row : kRows)
    {
        const Raised expected{8500, row.ulCode, 8500 + row.ulCode, static_cast<LONG>(row.ulSystemError), false};
        EXPECT_EQ(RaisedBy(row.call), expected) << row.pMember;
        char acDetails[256];
        std::snprintf(acDetails, sizeof acDetails, "File=base/BaseAPI.cpp : Line=%d : Error=%d : ApiError=$%x", row.iLine,
                      static_cast<int>(8500 + row.ulCode), static_cast<unsigned int>(row.ulSystemError));
        EXPECT_EQ(messages.Shown(), (Boxes{std::string("EXCEPTION : OAppException | Caught in CApi::") + row.pMember,
                                           std::string("EXCEPTION - Details | ") + acDetails}));
    }
}

// Events ---------------------------------------------------------------------------------------------------------------------

TEST_F(CApiWait, MakesSetsAndResetsEvents)
{
    const Handle event(api.CreateEventA(nullptr, TRUE, FALSE, nullptr));
    EXPECT_EQ(::WaitForSingleObject(event, 0), DWORD(WAIT_TIMEOUT));
    EXPECT_EQ(api.SetEvent(event), TRUE);
    EXPECT_EQ(::WaitForSingleObject(event, 0), DWORD(WAIT_OBJECT_0));
    EXPECT_EQ(api.ResetEvent(event), TRUE);
    EXPECT_EQ(::WaitForSingleObject(event, 0), DWORD(WAIT_TIMEOUT));
    EXPECT_EQ(messages.Shown(), Boxes{});
}

TEST_F(CApiWait, OpensAnEventByItsName)
{
    const std::string sName = ObjectName("open");
    const Handle made(api.CreateEventA(nullptr, TRUE, FALSE, sName.c_str()));
    EXPECT_EQ(GetLastError(), DWORD(NO_ERROR));
    const Handle again(api.CreateEventA(nullptr, TRUE, FALSE, sName.c_str()));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ALREADY_EXISTS));
    const Handle opened(api.OpenEventA(EVENT_ALL_ACCESS, FALSE, sName.c_str()));
    api.SetEvent(opened);
    EXPECT_EQ(::WaitForSingleObject(made, 0), DWORD(WAIT_OBJECT_0));
    EXPECT_EQ(::WaitForSingleObject(again, 0), DWORD(WAIT_OBJECT_0));
}

TEST_F(CApiWait, NamesTheEventThatFiredByItsPlaceAmongThoseGiven)
{
    const Handle set(api.CreateEventA(nullptr, TRUE, TRUE, nullptr)), quiet(api.CreateEventA(nullptr, TRUE, FALSE, nullptr));
    EXPECT_EQ(api.WaitOnEvents(nullptr, set, nullptr, nullptr, nullptr, nullptr), 11u);
    EXPECT_EQ(api.WaitOnEvents(nullptr, quiet, nullptr, set, nullptr, nullptr), 12u);
    EXPECT_EQ(api.WaitOnEvents(set, quiet, nullptr, nullptr, nullptr, nullptr), 11u);
    EXPECT_EQ(log.Others(), Lines{});
}

TEST_F(CApiWait, NamesEachOfSixEvents)
{
    void* ahEvent[6];
    for (void*& hEvent : ahEvent) hEvent = api.CreateEventA(nullptr, FALSE, FALSE, nullptr);
    for (ULONG i = 0; i < 6; ++i)
    {
        api.SetEvent(ahEvent[i]);
        EXPECT_EQ(api.WaitOnEvents(ahEvent[0], ahEvent[1], ahEvent[2], ahEvent[3], ahEvent[4], ahEvent[5]), 11 + i);
    }
    for (void* hEvent : ahEvent) EXPECT_EQ(api.CloseHandle(hEvent), TRUE);
}

TEST_F(CApiWait, WaitsUntilAnEventFires)
{
    const Handle first(api.CreateEventA(nullptr, FALSE, FALSE, nullptr)), second(api.CreateEventA(nullptr, FALSE, FALSE, nullptr));
    std::thread setter([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        CApi().SetEvent(second);
    });
    EXPECT_EQ(api.WaitOnEvents(first, nullptr, second, nullptr, nullptr, nullptr), 12u);
    setter.join();
}

TEST_F(CApiWait, SixNullHandlesAreAFailedWait)
{
    EXPECT_EQ(RaisedBy([&] { api.WaitOnEvents(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr); }),
              (Raised{8500, 18, 8518, 0, false}));
    EXPECT_EQ(log.Others(), (Lines{"Api | CApi | WaitOnEvents | WAIT_FAILED : dwResult=4294967295",
                                   "Api | CApi | WaitOnEvents | catch : dwResult=4294967295"}));
}

TEST_F(CApiWait, AnAbandonedMutexAmongTheEventsIsSeventeen)
{
    const Handle event(api.CreateEventA(nullptr, TRUE, FALSE, nullptr)), abandoned(Abandoned());
    EXPECT_EQ(api.WaitOnEvents(event, abandoned, nullptr, nullptr, nullptr, nullptr), 17u);
    EXPECT_EQ(log.Others(), Lines{"Api | CApi | WaitOnEvents | WAIT_ABANDONED : dwResult=129"});
    EXPECT_EQ(api.ReleaseMutex(abandoned), TRUE);
    EXPECT_EQ(messages.Shown(), Boxes{});
}

// Mutexes --------------------------------------------------------------------------------------------------------------------

TEST_F(CApiWait, TakesAndReleasesAMutex)
{
    const Handle mutex(api.CreateMutexA(nullptr, TRUE, nullptr));
    EXPECT_EQ(api.WaitForMutex(mutex, 0), 0u);
    ULONG ulElsewhere = 0;
    const auto tryElsewhere = [&] { ulElsewhere = CApi().WaitForMutex(mutex, 1); };
    std::thread(tryElsewhere).join();
    EXPECT_EQ(ulElsewhere, 20u);
    EXPECT_EQ(log.Others(), Lines{"Mutex | CApi | WaitForMutex | WAIT_TIMEOUT : dwTimeout=1"});
    EXPECT_EQ(api.ReleaseMutex(mutex), TRUE);
    EXPECT_EQ(api.ReleaseMutex(mutex), TRUE);
    EXPECT_EQ(RaisedBy([&] { api.ReleaseMutex(mutex); }).ulOffset, 7u);
}

TEST_F(CApiWait, AMutexWhoseOwnerEndedIsSeventeenAndOwned)
{
    const Handle abandoned(Abandoned());
    EXPECT_EQ(api.WaitForMutex(abandoned, INFINITE), 17u);
    EXPECT_EQ(log.Others(), Lines{"Mutex | CApi | WaitForMutex | API_ABANDONED : dwTimeout=4294967295"});
    EXPECT_EQ(api.ReleaseMutex(abandoned), TRUE);
    EXPECT_EQ(api.WaitForMutex(abandoned, 0), 0u); // told once
    EXPECT_EQ(api.ReleaseMutex(abandoned), TRUE);
}

TEST_F(CApiWait, AFailedWaitForAMutexLogsItsTime)
{
    EXPECT_EQ(RaisedBy([&] { api.WaitForMutex(nullptr, 5); }), (Raised{8500, 18, 8518, 0, false}));
    EXPECT_EQ(log.Others(), Lines{"Mutex | CApi | WaitForMutex | WAIT_FAILED : dwTimeout=5"});
}

// Mappings -------------------------------------------------------------------------------------------------------------------

TEST_F(CApiWait, MapsMemoryThatHasAName)
{
    const std::string sName = ObjectName("mapping");
    const Handle mapping(api.CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, sName.c_str()));
    const Handle again(api.CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, sName.c_str()));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_ALREADY_EXISTS));
    auto* pFirst = static_cast<char*>(api.MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0));
    auto* pSecond = static_cast<char*>(api.MapViewOfFile(again, FILE_MAP_READ, 0, 0, 4096));
    std::strcpy(pFirst, "lamp");
    EXPECT_STREQ(pSecond, "lamp");
    EXPECT_EQ(api.UnmapViewOfFile(pFirst), TRUE);
    EXPECT_EQ(api.UnmapViewOfFile(pSecond), TRUE);
    EXPECT_EQ(messages.Shown(), Boxes{});
}
