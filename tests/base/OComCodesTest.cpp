// What OComStream makes of the answers that it gets, whatever system gives them.
#include "OComStream.h"

#include "FakeStorage.h"
#include "LogRecorder.h"
#include "PrivateMember.h"
#include "Raises.h"

#include <gtest/gtest.h>

#include <cstdio>

PRIVATE_MEMBER(StreamOf, OComStream, mpStream);

namespace
{
using Lines = LogRecorder::Lines;

class OComCodes : public testing::Test
{
protected:
    OComCodes() { Attach(stream, fake); }

    static void Attach(OComStream& stream, FakeStream& fake)
    {
        fake.AddRef();
        stream.*StreamOf() = &fake;
    }

    FakeStream fake;
    OComStream stream;
    LogRecorder log;
};

std::string Number(HRESULT hResult)
{
    char acNumber[9];
    std::snprintf(acNumber, sizeof acNumber, "%08X", static_cast<unsigned>(hResult));
    return acNumber;
}

constexpr struct
{
    unsigned uResult;
    const char* pName;
    ULONG ulCode;
} kResults[] = {
    {0x80030001, "STG_E_INVALIDFUNCTION", 11},
    {0x80030002, "STG_E_FILENOTFOUND", 21},
    {0x80030003, "STG_E_PATHNOTFOUND", 22},
    {0x80030004, "STG_E_TOOMANYOPENFILES", 11},
    {0x80030005, "STG_E_ACCESSDENIED", 20},
    {0x80030006, "STG_E_INVALIDHANDLE", 19},
    {0x80030008, "STG_E_INSUFFICIENTMEMORY", 17},
    {0x80030009, "STG_E_INVALIDPOINTER", 18},
    {0x80030012, "STG_E_NOMOREFILES", 11},
    {0x80030013, "STG_E_DISKISWRITEPROTECTED", 11},
    {0x80030019, "STG_E_SEEKERROR", 11},
    {0x8003001D, "STG_E_WRITEFAULT", 16},
    {0x8003001E, "STG_E_READFAULT", 15},
    {0x80030020, "STG_E_SHAREVIOLATION", 11},
    {0x80030021, "STG_E_LOCKVIOLATION", 14},
    {0x80030050, "STG_E_FILEALREADYEXISTS", 11},
    {0x80030057, "STG_E_INVALIDPARAMETER", 11},
    {0x80030070, "STG_E_MEDIUMFULL", 3},
    {0x800300F0, "STG_E_PROPSETMISMATCHED", 11},
    {0x800300FA, "STG_E_ABNORMALAPIEXIT", 11},
    {0x800300FB, "STG_E_INVALIDHEADER", 11},
    {0x800300FC, "STG_E_INVALIDNAME", 11},
    {0x800300FD, "STG_E_UNKNOWN", 11},
    {0x800300FE, "STG_E_UNIMPLEMENTEDFUNCTION", 11},
    {0x800300FF, "STG_E_INVALIDFLAG", 11},
    {0x80030100, "STG_E_INUSE", 11},
    {0x80030101, "STG_E_NOTCURRENT", 11},
    {0x80030102, "STG_E_REVERTED", 11},
    {0x80030103, "STG_E_CANTSAVE", 11},
    {0x80030104, "STG_E_OLDFORMAT", 11},
    {0x80030105, "STG_E_OLDDLL", 11},
    {0x80030106, "STG_E_SHAREREQUIRED", 11},
    {0x80030107, "STG_E_NOTFILEBASEDSTORAGE", 11},
    {0x80030108, "STG_E_EXTANTMARSHALLINGS", 11},
    {0x80030109, "STG_E_DOCFILECORRUPT", 11},
    {0x80030110, "STG_E_BADBASEADDRESS", 11},
    {0x80030201, "STG_E_INCOMPLETE", 11},
    {0x80030202, "STG_E_TERMINATED", 11},
    {0x00030200, "STG_S_CONVERTED", 11},
    {0x00030201, "STG_S_BLOCK", 11},
    {0x00030202, "STG_S_RETRYNOW", 11},
    {0x00030203, "STG_S_MONITORING", 11},
};
} // namespace

TEST_F(OComCodes, EveryResultHasItsNameInAColumnAndItsCode)
{
    for (const auto& row : kResults)
    {
        std::string sName = row.pName;
        sName.resize(28, ' ');
        fake.hAnswer = static_cast<HRESULT>(row.uResult);
        EXPECT_RAISES(stream.Write("", 1), 12000 + row.ulCode) << row.pName;
        EXPECT_RAISES(stream.SeekToStart(), 12000 + row.ulCode) << row.pName;
        EXPECT_EQ(log.Errors(), (Lines{"OComStream | Write | Error [" + sName + "]",
                                       "OComStream | Seek | Error [" + sName + "], hResult[" + Number(fake.hAnswer) + "]"}));
    }
}

TEST_F(OComCodes, AnyOtherResultIsUnknownAndAFailureEvenWhenItIsASuccess)
{
    for (const HRESULT hOther :
         {E_FAIL, E_OUTOFMEMORY, S_FALSE, static_cast<HRESULT>(0x8003006F), static_cast<HRESULT>(0x00030204)})
    {
        fake.hAnswer = hOther;
        EXPECT_RAISES(stream.Size(), 12011);
        EXPECT_EQ(log.Errors(), Lines{"OComStream | Size | Error [UKNOWN], hResult[" + Number(hOther) + "]"});
    }
}

TEST_F(OComCodes, EachMethodOfAStreamLogsOnceAndTheFramesFollow)
{
    fake.hAnswer = E_FAIL;
    BYTE ubByte = 0;
    ULONG ulRead = 0;
    EXPECT_RAISES(stream.Write(&ubByte, 1), 12011);
    EXPECT_EQ(log.Errors(), Lines{"OComStream | Write | Error [UKNOWN]"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OComStream::Write"});
    EXPECT_RAISES(stream.Read(&ubByte, 1), 12011);
    EXPECT_RAISES(stream.Read(&ubByte, 1, &ulRead), 12011);
    EXPECT_EQ(log.Errors(), Lines(2, "OComStream | Read | Error [UKNOWN], hResult[80004005]"));
    EXPECT_EQ(log.Places(), Lines(2, "Caught in OComStream::Read"));
    EXPECT_RAISES(stream.Seek({}, 0), 12011);
    EXPECT_EQ(log.Places(), Lines{"Caught in OComStream::Seek"});
    EXPECT_RAISES(stream.SeekToEnd(&ulRead), 12011);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OComStream::Seek", "Caught in OComStream::SeekToEnd"}));
    EXPECT_RAISES(stream.SeekToStart(), 12011);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OComStream::Seek", "Caught in OComStream::SeekToStart"}));
    EXPECT_EQ(log.Errors(), Lines(3, "OComStream | Seek | Error [UKNOWN], hResult[80004005]"));
}

TEST_F(OComCodes, TheSizeAndTheCommitOfAStreamAreNotLookedAt)
{
    fake.hAnswer = STG_E_MEDIUMFULL;
    ULARGE_INTEGER size{};
    size.QuadPart = 0x1'0000'0005;
    stream.SetSize(size);
    stream.Commit();
    EXPECT_EQ(fake.Calls(), (Lines{"SetSize 4294967301", "Commit 0"}));
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(log.Places(), Lines{});
}

TEST_F(OComCodes, WhatIsThrownFromBelowIsTracedThroughTheCallsThatLookAtNoAnswerToo)
{
    fake.pBefore = [] { throw 7; };
    EXPECT_THROW(stream.SetSize({}), int);
    EXPECT_THROW(stream.Commit(), int);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OComStream::SetSize", "Caught in OComStream::Commit"}));
}

TEST_F(OComCodes, FewerBytesThanAskedRaiseWithoutALine)
{
    BYTE aubTen[10];
    ULONG ulRead = 0;
    fake.ulShort = 6;
    EXPECT_RAISES(stream.Write(aubTen, 10), 12012);
    EXPECT_RAISES(stream.Read(aubTen, 10), 12013);
    stream.Read(aubTen, 10, &ulRead);
    EXPECT_EQ(ulRead, 4u);
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(log.Places(), (Lines{"Caught in OComStream::Write", "Caught in OComStream::Read"}));
    fake.hAnswer = STG_E_MEDIUMFULL; // which says more
    EXPECT_RAISES(stream.Write(aubTen, 10), 12003);
    EXPECT_RAISES(stream.Read(aubTen, 10), 12003);
    EXPECT_EQ(log.Errors().size(), 2u);
}

TEST_F(OComCodes, PositionsAndSizesAreTheirLowHalf)
{
    ULONG ulPosition = 0;
    ULARGE_INTEGER position{};
    LARGE_INTEGER back{};
    back.QuadPart = -7;
    fake.ullPlace = 0x7'8000'0001;
    stream.SeekToEnd(&ulPosition);
    stream.SeekToEnd(nullptr);
    stream.Seek(back, STREAM_SEEK_CUR, &position);
    stream.SeekToStart();
    EXPECT_EQ(ulPosition, 0x8000'0001u);
    EXPECT_EQ(position.QuadPart, 0x7'8000'0001u);
    EXPECT_EQ(stream.Size(), 0x8000'0001u);
    EXPECT_EQ(fake.Calls(), (Lines{"Seek 0 2", "Seek 0 2", "Seek -7 1", "Seek 0 0", "Stat 1"}));
}

TEST_F(OComCodes, CopiesHoldTheStreamToo)
{
    FakeStream other;
    {
        OComStream copy(stream), assigned;
        Attach(assigned, other);
        assigned.SetErrorBase(1);
        assigned = copy; // closes what it had
        EXPECT_EQ(other.Count(), 0);
        EXPECT_EQ(assigned.GetErrorBase(), 12000u);
        const OComStream& same = assigned;
        assigned = same;
        EXPECT_EQ(fake.Count(), 3);
    }
    EXPECT_EQ(fake.Count(), 1);
    stream = OComStream();
    EXPECT_EQ(fake.Count(), 0);
}

TEST(OComStream, WithoutAStreamEveryCallButTwoRaises)
{
    LogRecorder log;
    OComStream stream;
    BYTE ubByte = 0;
    ULONG ulNumber = 0;
    EXPECT_EQ(stream.GetErrorBase(), 12000u);
    EXPECT_RAISES(stream.Write(&ubByte, 1), 12001);
    EXPECT_RAISES(stream.Read(&ubByte, 1, &ulNumber), 12001);
    EXPECT_RAISES(stream.Seek({}, 0), 12001);
    EXPECT_RAISES(stream.SeekToStart(), 12001);
    EXPECT_RAISES(stream.SeekToEnd(&ulNumber), 12001);
    EXPECT_RAISES(stream.Size(), 12001);
    EXPECT_EQ(log.Places(),
              (Lines{"Caught in OComStream::Write", "Caught in OComStream::Read", "Caught in OComStream::Seek",
                     "Caught in OComStream::SeekToStart", "Caught in OComStream::SeekToEnd", "Caught in OComStream::Size"}));
    stream.SetSize({});
    stream.Commit();
    OComStream copy(stream);
    stream.Log("here");
    copy.Log("there");
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(log.Others(), (Lines{"FileStorage | OComStream | Item | here", "FileStorage | OComStream | Item | there"}));
    static_assert(sizeof(OComStream) == sizeof(OBase) + sizeof(IStream*));
}
