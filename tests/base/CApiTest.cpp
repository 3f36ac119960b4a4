// Checked system calls: what they raise, and what they show on the way. Here those on files; waits are in CApiWaitTest.cpp.
#include "BaseAPI.h"

#include "ApiFrame.h"
#include "CException.h"
#include "FileHandle.h"
#include "LogRecorder.h"
#include "MessageRecorder.h"
#include "RaisedFields.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

namespace
{
class CApiTest : public testing::Test
{
protected:
    using Lines = LogRecorder::Lines;
    using Boxes = MessageRecorder::Boxes;
    LogRecorder log;
    MessageRecorder messages;
    TempFolder folder;
};
} // namespace

TEST_F(CApiTest, AFailureCarriesTheSystemsErrorAndNoText)
{
    CApi api;
    api.SetErrorBase(40); // of no influence
    SetLastError(1234);
    EXPECT_EQ(RaisedBy([&] { api.ThrowApiException(2); }), (Raised{8500, 2, 8502, 1234, false}));
    EXPECT_EQ(RaisedBy([&] { api.ThrowAppException(2); }), (Raised{8500, 2, 8502, 0, false}));
    EXPECT_EQ(messages.Shown(), Boxes{}); // the members show, not these two
}

TEST_F(CApiTest, ANullHandleIsCodeFiveAndNeverReachesTheSystem)
{
    CApi api;
    SetLastError(1234);
    EXPECT_EQ(RaisedBy([&] { api.CloseHandle(nullptr); }), (Raised{8500, 5, 8505, 0, false}));
    EXPECT_EQ(GetLastError(), 1234u);
    EXPECT_EQ(messages.Shown(),
              (Boxes{"EXCEPTION : OAppException | Caught in CApi::CloseHandle",
                     "EXCEPTION - Details | File=base/BaseAPI.cpp : Line=67 : Error=8505 : ApiError=$0"}));
    EXPECT_EQ(RaisedBy([&] { api.FlushFileBuffers(nullptr); }), (Raised{8500, 5, 8505, 0, false}));
    EXPECT_EQ(GetLastError(), 1234u);
    EXPECT_EQ(messages.Shown(),
              (Boxes{"EXCEPTION : OAppException | Caught in CApi::FlushFileBuffers",
                     "EXCEPTION - Details | File=base/BaseAPI.cpp : Line=52 : Error=8505 : ApiError=$0"}));
    EXPECT_EQ(log.Places(), Lines{}); // boxes take the place of log lines
}

TEST_F(CApiTest, ClosesAHandleOnceAndThenRaisesOne)
{
    const HANDLE hFile = CreateFileA((folder / "file").c_str(), kulReadWrite, 0, nullptr, CREATE_NEW, 0, nullptr);
    CApi api;
    EXPECT_EQ(api.CloseHandle(hFile), TRUE);
    EXPECT_EQ(messages.Shown(), Boxes{});
    EXPECT_EQ(RaisedBy([&] { api.CloseHandle(hFile); }), (Raised{8500, 1, 8501, ERROR_INVALID_HANDLE, false}));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(messages.Shown(),
              (Boxes{"EXCEPTION : OAppException | Caught in CApi::CloseHandle",
                     "EXCEPTION - Details | File=base/BaseAPI.cpp : Line=67 : Error=8501 : ApiError=$6"}));
}

TEST_F(CApiTest, ClosingTheInvalidHandleValueSucceeds)
{
    CApi api;
    EXPECT_EQ(api.CloseHandle(INVALID_HANDLE_VALUE), TRUE); // it stands for the process
}

TEST_F(CApiTest, FlushesAFileAndRaisesNineteenForOneThatMayOnlyBeRead)
{
    const std::string sPath = folder / "file";
    ASSERT_TRUE(WriteText(sPath, "lamp"));
    CApi api;
    EXPECT_EQ(api.FlushFileBuffers(FileHandle(sPath, kulReadWrite)), TRUE);
    const FileHandle reading(sPath, kulRead);
    EXPECT_EQ(RaisedBy([&] { api.FlushFileBuffers(reading); }), (Raised{8500, 19, 8519, ERROR_ACCESS_DENIED, false}));
    EXPECT_EQ(messages.Shown(),
              (Boxes{"EXCEPTION : OAppException | Caught in CApi::FlushFileBuffers",
                     "EXCEPTION - Details | File=base/BaseAPI.cpp : Line=52 : Error=8519 : ApiError=$5"}));
}

TEST_F(CApiTest, RefusesHandlesThatWereNeverGiven)
{
    CApi api;
    for (const ULONG_PTR ulInvented : {ULONG_PTR(0x7654), ULONG_PTR(0x12345678)})
    {
        void* const hInvented = reinterpret_cast<void*>(ulInvented);
        EXPECT_EQ(RaisedBy([&] { api.CloseHandle(hInvented); }), (Raised{8500, 1, 8501, ERROR_INVALID_HANDLE, false}));
        EXPECT_EQ(RaisedBy([&] { api.FlushFileBuffers(hInvented); }), (Raised{8500, 19, 8519, ERROR_INVALID_HANDLE, false}));
    }
}

TEST_F(CApiTest, CopiesWhatItIsAsABase)
{
    CApi api;
    api.SetGroup("Copied");
    api.SetErrorBase(77);
    CApi copy(api), assigned;
    assigned = api;
    EXPECT_EQ(copy.GetErrorBase(), 77u);
    EXPECT_EQ(assigned.GetErrorBase(), 77u);
    copy.Log("here");
    EXPECT_EQ(log.Others(), Lines{"Copied | CApi | Item | here"});
    EXPECT_EQ(sizeof(CApi), sizeof(OBase));
}

// The frame itself ------------------------------------------------------------------------------------------------------------

template <class Thrown>
static void ShowThrown(Thrown thrown)
{
    try
    {
        throw thrown;
    }
    catch (...)
    {
        ShowApiCaught("WaitForMutex", 202);
    }
}

TEST_F(CApiTest, ShowsOtherExceptionsWithoutNumbers)
{
    CMemoryException memory;
    SetLastError(1234);
    ShowThrown(&memory);
    EXPECT_EQ(messages.Shown(), (Boxes{"EXCEPTION : CException | Caught in CApi::WaitForMutex",
                                       "EXCEPTION - Details | File=base/BaseAPI.cpp : Line=202"}));
    ShowThrown(7);
    EXPECT_EQ(messages.Shown(), (Boxes{"EXCEPTION : ... | Caught in CApi::WaitForMutex",
                                       "EXCEPTION - Details | File=base/BaseAPI.cpp : Line=202"}));
    OStopException stop(5);
    stop.mulErrorCode = 99;
    stop.miApiErrorCode = -1;
    ShowThrown(&stop);
    EXPECT_EQ(messages.Shown(),
              (Boxes{"EXCEPTION : OAppException | Caught in CApi::WaitForMutex",
                     "EXCEPTION - Details | File=base/BaseAPI.cpp : Line=202 : Error=99 : ApiError=$ffffffff"}));
    EXPECT_EQ(GetLastError(), 1234u);
}
