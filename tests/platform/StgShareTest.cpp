// Several opens of one compound file, in one process and in two.
#include "StgCalls.h"

#include "FileHandle.h"
#include "OtherProcess.h"
#include "TempFolder.h"
#include "Wine.h"

#include <algorithm>
#include <sstream>
#include <vector>

// Puts a stream in, again and again until nobody else has committed meanwhile.
static HRESULT Add(const std::string& sName, const std::string& sFile)
{
    for (int i = 0; i < 1000; ++i)
    {
        Root root;
        HRESULT hr = root.Open(sFile, kulBeside);
        if (SUCCEEDED(hr)) hr = root.Put(sName, sName);
        if (SUCCEEDED(hr)) hr = root->Commit(STGC_ONLYIFCURRENT);
        if (hr != STG_E_NOTCURRENT) return hr;
    }
    return STG_E_NOTCURRENT;
}

// Takes orders: open MODE PATH, create MODE PATH, add NAME PATH, put NAME TEXT, fill NAME LETTER COUNT, get NAME, commit FLAGS,
// revert, close.
// Answers with the code, or what get got.
static std::string AnswerHolder(const std::string& sOrder)
{
    static Root root;
    std::istringstream order(sOrder);
    std::string sVerb, sName, sText;
    DWORD ulNumber = 0;
    order >> sVerb;
    HRESULT hr = S_OK;
    if (sVerb == "open" || sVerb == "create")
    {
        order >> ulNumber >> std::ws;
        std::getline(order, sName);
        hr = sVerb == "open" ? root.Open(sName, ulNumber) : root.Create(sName, ulNumber);
    }
    if (sVerb == "add")
    {
        order >> sName >> std::ws;
        std::getline(order, sText);
        hr = Add(sName, sText);
    }
    if (sVerb == "put")
    {
        order >> sName >> sText;
        hr = root.Put(sName, sText);
    }
    if (sVerb == "fill")
    {
        order >> sName >> sText >> ulNumber;
        hr = root.Put(sName, std::string(ulNumber, sText[0]));
    }
    if (sVerb == "commit")
    {
        order >> ulNumber;
        hr = root->Commit(ulNumber);
    }
    if (sVerb == "revert") hr = root->Revert();
    if (sVerb == "close") root.Close();
    order >> sName;
    return sVerb == "get" ? root.Get(sName) : Root::Code(hr);
}
static const OtherRole kHolder("storage-holder", AnswerHolder);

namespace
{
struct Sharing { DWORD ulAccess, ulShare; };

// Whoever writes reads too. An open that would be alone beside one that only reads is told of a lock.
std::string Expected(const Sharing& first, const Sharing& second)
{
    const auto denies = [](const Sharing& one, const Sharing& other)
    {
        if (one.ulShare == STGM_SHARE_EXCLUSIVE || one.ulShare == STGM_SHARE_DENY_READ) return true;
        return one.ulShare == STGM_SHARE_DENY_WRITE && other.ulAccess != STGM_READ;
    };
    if (denies(first, second)) return Root::Code(STG_E_SHAREVIOLATION);
    if (!denies(second, first)) return ksDone;
    return Root::Code(second.ulShare == STGM_SHARE_EXCLUSIVE && first.ulAccess == STGM_READ ? STG_E_LOCKVIOLATION
                                                                                            : STG_E_SHAREVIOLATION);
}

class StgShare : public testing::Test
{
protected:
    void SetUp() override { MakeTwo(msFile); }

    TempFolder mFolder;
    const std::string msFile = mFolder / "file";
};
} // namespace

TEST_F(StgShare, EveryPairOfSharesAnswersInOneProcessAndInTwo)
{
    OtherProcess other("storage-holder");
    std::vector<Sharing> all;
    for (DWORD ulShare : {STGM_SHARE_EXCLUSIVE, STGM_SHARE_DENY_WRITE, STGM_SHARE_DENY_READ, STGM_SHARE_DENY_NONE})
        for (DWORD ulAccess : {STGM_READ, STGM_WRITE, STGM_READWRITE}) all.push_back({ulAccess, ulShare});
    for (const Sharing& first : all)
    {
        Root held;
        ASSERT_EQ(held.Open(msFile, STGM_TRANSACTED | first.ulAccess | first.ulShare), S_OK);
        for (const Sharing& second : all)
        {
            const DWORD ulMode = STGM_TRANSACTED | second.ulAccess | second.ulShare;
            Root here;
            const std::string sHere = Root::Code(here.Open(msFile, ulMode));
            here.Close();
            EXPECT_EQ(sHere, Expected(first, second)) << std::hex << first.ulAccess + first.ulShare << ' ' << ulMode;
            EXPECT_EQ(other.Ask(Order("open", ulMode, msFile)), sHere);
            other.Ask("close");
        }
    }
}

TEST_F(StgShare, AKilledProcessGivesItsSharesBackAndLeavesTheCommittedState)
{
    OtherProcess other("storage-holder");
    ASSERT_EQ(other.Ask(Order("open", STGM_TRANSACTED | kulAlone, msFile)), ksDone);
    ASSERT_EQ(other.Ask("put One changed"), ksDone);
    ASSERT_EQ(other.Ask("fill Large x 300000"), ksDone);
    Root here;
    EXPECT_EQ(here.Open(msFile, kulAlone), STG_E_SHAREVIOLATION);
    other.Kill();
    ASSERT_EQ(here.Open(msFile, kulAlone), S_OK);
    EXPECT_EQ(here.Get("One"), "first");
    EXPECT_EQ(here.Get("Large"), Root::Code(STG_E_FILENOTFOUND));
}

TEST_F(StgShare, AReaderSeesTheStateAtItsOpeningWhileAnotherProcessCommits)
{
    const std::string sOld(100000, 'a');
    MakeTwo(msFile, sOld, sOld);
    for (DWORD ulWriter : {kulOneWriter, kulBeside})
    {
        Root before, between, after;
        ASSERT_EQ(before.Open(msFile, kulLooking), S_OK);
        OtherProcess other("storage-holder");
        ASSERT_EQ(other.Ask(Order("open", ulWriter, msFile)), ksDone);
        for (const char* pLetter : {"b", "c", "d", "e"})
        {
            ASSERT_EQ(other.Ask(std::string("fill One ") + pLetter + " 100000"), ksDone);
            ASSERT_EQ(other.Ask("commit 0"), ksDone);
            if (*pLetter == 'c') between.Open(msFile, kulLooking);
        }
        ASSERT_TRUE(between);
        ASSERT_EQ(after.Open(msFile, kulLooking), S_OK);
        EXPECT_EQ(before.Get("One") == sOld, true);
        EXPECT_EQ(before.Get("Two") == sOld, true);
        EXPECT_EQ(between.Get("One") == std::string(100000, 'c'), true);
        EXPECT_EQ(after.Get("One") == std::string(100000, 'e'), true);
        EXPECT_EQ(after.Get("Two") == sOld, true);
        before.Close();
        between.Close();
        after.Close();
        ASSERT_EQ(other.Ask("fill One a 100000"), ksDone);
        ASSERT_EQ(other.Ask("commit 0"), ksDone);
    }
}

TEST_F(StgShare, OpensWithAndWithoutSnapshotsKeepEachOtherOut)
{
    constexpr DWORD kulNoSnapshot = kulBeside | STGM_NOSNAPSHOT;
    OtherProcess other("storage-holder");
    Root here;
    // To Wine, no snapshot is a share: writers are kept out, readers are not.
    ASSERT_EQ(other.Ask(Order("open", kulNoSnapshot, msFile)), ksDone);
    EXPECT_EQ(here.Open(msFile, kulBeside), WineSays(STG_E_SHAREVIOLATION, STG_E_LOCKVIOLATION));
    EXPECT_EQ(here.Open(msFile, kulLooking), WineSays(S_OK, STG_E_LOCKVIOLATION));
    EXPECT_EQ(here.Open(msFile, kulNoSnapshot), WineSays(STG_E_SHAREVIOLATION, S_OK));
    here.Close();
    ASSERT_EQ(other.Ask(Order("open", kulLooking, msFile)), ksDone);
    EXPECT_EQ(here.Open(msFile, kulNoSnapshot), WineSays(S_OK, STG_E_LOCKVIOLATION));
    here.Close();
    other.Kill();
    EXPECT_EQ(here.Open(msFile, kulNoSnapshot), S_OK);
}

TEST_F(StgShare, AnOpenRootIsAnOpenFileForOthers)
{
    Root root;
    ASSERT_EQ(root.Open(msFile, kulOneWriter), S_OK);
    EXPECT_EQ(OpenError(msFile, kulRead), NO_ERROR);
    EXPECT_EQ(OpenError(msFile, kulWrite), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(OpenError(msFile, kulRead, FILE_SHARE_READ), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(ErrorOf(DeleteFileA(msFile.c_str())), ERROR_SHARING_VIOLATION);
    root.Close();
    const FileHandle writer(msFile, kulWrite, FILE_SHARE_READ);
    ASSERT_TRUE(writer.IsOpen());
    EXPECT_EQ(root.Open(msFile, kulBeside), STG_E_SHAREVIOLATION);
    EXPECT_EQ(StgIsStorageFile(W(Widen(msFile).c_str())), S_OK);
}

TEST_F(StgShare, CreationOverAnOpenFileAsksItsShares)
{
    struct Row { DWORD ulHeld; HRESULT hrAlone, hrBeside; };
    // Wine gives E_FAIL where the file cannot be opened.
    const HRESULT hrDenied = WineSays(E_FAIL, STG_E_SHAREVIOLATION);
    const Row kRows[] = {{STGM_TRANSACTED | kulAlone, hrDenied, hrDenied},
                         {STGM_TRANSACTED | STGM_READ | STGM_SHARE_DENY_WRITE, hrDenied, hrDenied},
                         {kulBeside, hrDenied, S_OK},
                         {kulLooking, STG_E_LOCKVIOLATION, S_OK},
                         {STGM_READ | STGM_PRIORITY, STG_E_LOCKVIOLATION, S_OK}};
    for (const Row& row : kRows)
    {
        MakeTwo(msFile);
        Root held, made;
        ASSERT_EQ(held.Open(msFile, row.ulHeld), S_OK);
        EXPECT_EQ(made.Create(msFile, kulAlone), STG_E_FILEALREADYEXISTS);
        EXPECT_EQ(made.Create(msFile, kulAlone | STGM_CREATE), row.hrAlone) << std::hex << row.ulHeld;
        EXPECT_EQ(made.Create(msFile, kulBeside | STGM_CREATE), row.hrBeside) << std::hex << row.ulHeld;
        // Wine writes to where a priority open reads.
        const bool bSpoilt = RunsUnderWine() && row.ulHeld & STGM_PRIORITY;
        EXPECT_EQ(held.Get("One"), bSpoilt ? "" : "first") << std::hex << row.ulHeld;
        EXPECT_EQ(StgIsStorageFile(W(Widen(msFile).c_str())), S_OK);
    }
}

TEST_F(StgShare, BesideADirectWriterReadersSeeTheStateAtTheirOpening)
{
    constexpr DWORD kulWriter = STGM_DIRECT_SWMR | STGM_READWRITE | STGM_SHARE_DENY_WRITE;
    constexpr DWORD kulReader = STGM_DIRECT_SWMR | STGM_READ | STGM_SHARE_DENY_NONE;
    OtherProcess other("storage-holder");
    Root before, after;
    ASSERT_EQ(before.Open(msFile, kulReader), S_OK);
    ASSERT_EQ(other.Ask(Order("open", kulWriter, msFile)), ksDone);
    EXPECT_EQ(after.Open(msFile, kulWriter), STG_E_SHAREVIOLATION);
    ASSERT_EQ(other.Ask("put One changed"), ksDone);
    ASSERT_EQ(other.Ask("commit 0"), ksDone);
    ASSERT_EQ(after.Open(msFile, kulReader), S_OK);
    EXPECT_EQ(after.Get("One"), "changed");
    // Wine writes to where the reader reads.
    EXPECT_EQ(before.Get("One"), WineSays<std::string>("chang", "first"));
    // What was not committed is in the file with the writer's end.
    ASSERT_EQ(other.Ask("put Two more"), ksDone);
    ASSERT_EQ(other.Ask("close"), ksDone);
    ASSERT_EQ(after.Open(msFile, kulReader), S_OK);
    EXPECT_EQ(after.Get("Two"), "more");
}
