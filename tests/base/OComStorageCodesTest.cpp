// What OComStorage makes of the answers that it gets, whatever system gives them.
#include "OComStorage.h"
#include "OComStream.h"

#include "FakeStorage.h"
#include "LogRecorder.h"
#include "PrivateMember.h"
#include "Raises.h"
#include "RecordingSecurity.h"

#include <gtest/gtest.h>

#include <array>

PRIVATE_MEMBER(StorageOf, OComStorage, mpStorage);

namespace
{
using Lines = LogRecorder::Lines;

const unsigned short* const kpName = AsUnits(u"Spectrum");

// A storage and a stream, each with a fake of the system's behind it.
class OComStorageCodes : public testing::Test
{
protected:
    OComStorageCodes()
    {
        root.pStream = &fake;
        root.pStorage = &child;
        storage.*StorageOf() = &root;
        root.AddRef();
        storage.CreateStream(kpName, stream, 0);
        root.Calls();
    }

    FakeStream fake;
    FakeStorage root, child;
    OComStorage storage;
    OComStream stream;
    LogRecorder log;
};

} // namespace

TEST_F(OComStorageCodes, EachMethodOfAStorageLogsOnceAndTheFramesFollow)
{
    OComStorage sub;
    OComStream other;
    unsigned short* apNone[] = {nullptr};
    root.hAnswer = STG_E_LOCKVIOLATION;
    EXPECT_RAISES(storage.CreateSubStorage(kpName, sub, 0x1012), 12014);
    EXPECT_RAISES(storage.OpenSubStorage(kpName, sub, 0x12, apNone), 12014);
    EXPECT_RAISES(storage.CreateStream(kpName, other, 0x1012), 12014);
    EXPECT_RAISES(storage.OpenStream(kpName, other, 0x12), 12014);
    EXPECT_RAISES(storage.CopyTo(2, nullptr, nullptr, sub), 12014);
    const std::string sResult = " | Error [STG_E_LOCKVIOLATION         ], hResult[80030021]";
    EXPECT_EQ(log.Errors(),
              (Lines{"OComStorage | CreateSubStorage" + sResult, "OComStorage | OpenSubStorage" + sResult,
                     "OComStorage | CreateStream" + sResult, "OComStorage | OpenStream" + sResult + ", Stream [Spectrum]",
                     "OComStorage | CopyTo" + sResult + ", File[]"}));
    EXPECT_EQ(log.Places(),
              (Lines{"Caught in OComStorage::CreateSubStorage", "Caught in OComStorage::OpenSubStorage",
                     "Caught in OComStorage::CreateStream", "Caught in OComStorage::OpenStream", "Caught in OComStorage::CopyTo"}));
    EXPECT_EQ(root.Calls(), (Lines{"CreateStorage 4114", "OpenStorage without some 18", "CreateStream 4114", "Stat 1",
                                   "OpenStream 16", "CopyTo 2"}));
    EXPECT_RAISES(sub.CopyTo(0, nullptr, nullptr, storage), 12001); // nothing was attached
    EXPECT_RAISES(other.Size(), 12001);
}

TEST_F(OComStorageCodes, AStreamIsOpenedWithTheAccessOfItsStorage)
{
    for (const auto& [ulStorage, ulAsked, ulOpened] :
         {std::array<DWORD, 3>{0x20, 0x12, 0x10}, {0x12, 0x10, 0x12}, {0x10012, 0x11, 0x12}})
    {
        OComStream other;
        root.ulMode = ulStorage;
        storage.OpenStream(kpName, other, ulAsked);
        EXPECT_EQ(root.Calls(), (Lines{"Stat 1", "OpenStream " + std::to_string(ulOpened)}));
        EXPECT_EQ(fake.Calls(), Lines{"Seek 0 0"});
    }
    OComStream other;
    root.hStat = STG_E_REVERTED; // no mode: the stream is not opened with a guess
    EXPECT_RAISES(storage.OpenStream(kpName, other, 0x12), 12011);
    EXPECT_EQ(log.Errors(),
              Lines{"OComStorage | OpenStream | Error [STG_E_REVERTED              ], hResult[80030102], Stream [Spectrum]"});
}

TEST_F(OComStorageCodes, AStreamThatCannotGoToItsStartIsOpenAllTheSame)
{
    OComStream other;
    fake.hAnswer = STG_E_SEEKERROR;
    EXPECT_RAISES(storage.OpenStream(kpName, other, 0x12), 12011);
    EXPECT_EQ(log.Errors(), Lines{"OComStream | Seek | Error [STG_E_SEEKERROR             ], hResult[80030019]"});
    EXPECT_EQ(log.Places(),
              (Lines{"Caught in OComStream::Seek", "Caught in OComStream::SeekToStart", "Caught in OComStorage::OpenStream"}));
    fake.hAnswer = S_OK;
    EXPECT_EQ(other.Size(), 0u);
}

TEST_F(OComStorageCodes, WhatAnOccupiedObjectCannotTakeIsReleased)
{
    OComStorage sub;
    storage.CreateSubStorage(kpName, sub, 0x12);
    EXPECT_EQ(child.Count(), 1);
    EXPECT_RAISES(storage.CreateSubStorage(kpName, sub, 0x12), 12002);
    EXPECT_RAISES(storage.OpenSubStorage(kpName, sub, 0x12, nullptr), 12002);
    EXPECT_RAISES(storage.CreateStream(kpName, stream, 0x12), 12002);
    EXPECT_RAISES(storage.OpenStream(kpName, stream, 0x12), 12002);
    EXPECT_EQ(child.Count(), 1);
    EXPECT_EQ(fake.Count(), 1);
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(root.Calls(),
              (Lines{"CreateStorage 18", "CreateStorage 18", "OpenStorage 18", "CreateStream 18", "Stat 1", "OpenStream 16"}));
}

TEST_F(OComStorageCodes, AndSoIsWhatCameWithASuccessThatIsNotPlain)
{
    OComStorage sub;
    OComStream other;
    root.hAnswer = STG_S_CONVERTED;
    EXPECT_RAISES(storage.CreateSubStorage(kpName, sub, 0x12), 12011);
    EXPECT_RAISES(storage.OpenStream(kpName, other, 0x12), 12011);
    EXPECT_EQ(child.Count(), 0);
    EXPECT_EQ(fake.Count(), 1);
}

TEST_F(OComStorageCodes, CopiesHoldTheStorageToo)
{
    {
        OComStorage copy(storage), assigned, sub;
        assigned = copy;
        storage.OpenSubStorage(kpName, sub, 0x12, nullptr);
        sub = assigned; // closes what it had
        EXPECT_EQ(child.Count(), 0);
        EXPECT_EQ(root.Count(), 4);
        EXPECT_EQ(assigned.GetErrorBase(), 12000u);
    }
    EXPECT_EQ(root.Count(), 1);
    storage = OComStorage();
    EXPECT_EQ(root.Count(), 0);
}

TEST_F(OComStorageCodes, StoragesAreOpenedAsTheUserAndStreamsAreNot)
{
    RecordingSecurity security;
    OComStorage one, two;
    OComStream other;
    storage.CreateSubStorage(kpName, one, 0x12);
    storage.OpenSubStorage(kpName, two, 0x12, nullptr);
    EXPECT_EQ(security.Calls(), (Lines{"impersonate", "revert", "impersonate", "revert"}));
    EXPECT_RAISES(storage.CreateSubStorage(kpName, one, 0x12), 12002);
    EXPECT_EQ(security.Calls(), (Lines{"impersonate", "revert"}));
    root.hAnswer = E_FAIL;
    EXPECT_RAISES(storage.CreateSubStorage(kpName, one, 0x12), 12011);
    EXPECT_EQ(security.Calls(), (Lines{"impersonate", "revert"}));
    root.pBefore = [] { throw 7; };
    EXPECT_THROW(storage.OpenSubStorage(kpName, two, 0x12, nullptr), int);
    EXPECT_EQ(security.Calls(), (Lines{"impersonate", "revert"}));
    root.pBefore = nullptr;
    root.hAnswer = S_OK;
    storage.CreateStream(kpName, other, 0x12);
    EXPECT_RAISES(storage.OpenStream(kpName, other, 0x12), 12002);
    storage.Commit();
    storage.DeleteStream(kpName);
    EXPECT_EQ(security.Calls(), Lines{});
}

TEST_F(OComStorageCodes, TheCallItselfComesBetweenTheTwoSteps)
{
    RecordingSecurity security;
    security.onImpersonate = [this] { root.calls.push_back("impersonate"); };
    security.onRevert = [this] { root.calls.push_back("revert"); };
    OComStorage one, two;
    storage.CreateSubStorage(kpName, one, 0x12);
    storage.OpenSubStorage(kpName, two, 0x12, nullptr);
    EXPECT_EQ(root.Calls(), (Lines{"impersonate", "CreateStorage 18", "revert", "impersonate", "OpenStorage 18", "revert"}));
}

TEST_F(OComStorageCodes, TheCommitAndTheRemovalOfAStorageAreNotLookedAt)
{
    root.hAnswer = STG_E_ACCESSDENIED;
    storage.Commit();
    storage.DeleteStream(kpName);
    EXPECT_EQ(root.Calls(), (Lines{"Commit 0", "DestroyElement"}));
    EXPECT_EQ(log.Errors(), Lines{});
    root.pBefore = [] { throw 7; };
    EXPECT_THROW(storage.Commit(), int);
    EXPECT_THROW(storage.DeleteStream(kpName), int);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OComStorage::Commit", "Caught in OComStorage::DeleteStream"}));
}

TEST(OComStorage, WithoutAStorageEveryCallButTwoRaises)
{
    LogRecorder log;
    OComStorage storage, other;
    OComStream stream;
    EXPECT_RAISES(storage.CreateSubStorage(kpName, other, 0), 12001);
    EXPECT_RAISES(storage.OpenSubStorage(kpName, other, 0, nullptr), 12001);
    EXPECT_RAISES(storage.CreateStream(kpName, stream, 0), 12001);
    EXPECT_RAISES(storage.OpenStream(kpName, stream, 0), 12001);
    EXPECT_EQ(log.Others(), Lines{});
    EXPECT_RAISES(storage.CopyTo(0, nullptr, nullptr, other), 12001);
    EXPECT_EQ(log.Others(), Lines{"Warning | OComStorage | CopyTo | Source Storage is empty"});
    storage.Commit();
    storage.DeleteStream(kpName);
    OComStorage copy(storage);
    storage.Log("here");
    copy.Log("there");
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(log.Others(), (Lines{"FileStorage | OComStorage | Item | here", "FileStorage | OComStorage | Item | there"}));
    static_assert(sizeof(OComStorage) == sizeof(OBase) + sizeof(IStorage*));
}
