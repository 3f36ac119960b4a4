// OComStream on streams of real compound files.
#include "ComFile.h"
#include "LogRecorder.h"
#include "Raises.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

namespace
{
using Lines = LogRecorder::Lines;

class OComStreamOfFile : public testing::Test
{
protected:
    OComStreamOfFile()
    {
        storage.CreateRootStorage(file.Name(), kulNewFile);
        storage.CreateStream(AsUnits(u"Spectrum"), stream, kulElement);
    }
    ULONGLONG Position()
    {
        ULARGE_INTEGER position{};
        stream.Seek(Move(0), STREAM_SEEK_CUR, &position);
        return position.QuadPart;
    }

    ComFile file;
    OComStorage storage;
    OComStream stream;
    LogRecorder log;
};
} // namespace

TEST_F(OComStreamOfFile, WhatIsWrittenIsReadAgain)
{
    std::vector<unsigned short> values(10'000);
    std::iota(values.begin(), values.end(), static_cast<unsigned short>(1));
    const ULONG ulBytes = static_cast<ULONG>(values.size() * sizeof values[0]);
    stream.Write(values.data(), 3);
    stream.Write(reinterpret_cast<const BYTE*>(values.data()) + 3, ulBytes - 3);
    EXPECT_EQ(stream.Size(), ulBytes);
    EXPECT_EQ(Position(), ulBytes);

    std::vector<unsigned short> back(values.size());
    stream.SeekToStart();
    stream.Read(back.data(), ulBytes);
    EXPECT_TRUE(back == values);
    EXPECT_EQ(log.Errors(), Lines{});
}

TEST_F(OComStreamOfFile, ReadsUpToTheEndForWhoAsksHowMuchAndRaisesForWhoDoesNot)
{
    stream.Write("0123456789", 10);
    stream.Seek(Move(-4), STREAM_SEEK_END, nullptr);
    char acTen[10] = "---------";
    ULONG ulRead = 99;
    stream.Read(acTen, 10, &ulRead);
    EXPECT_EQ(ulRead, 4u);
    EXPECT_STREQ(acTen, "6789-----");
    stream.Read(acTen, 10, &ulRead);
    EXPECT_EQ(ulRead, 0u);

    stream.Seek(Move(6), STREAM_SEEK_SET, nullptr);
    EXPECT_RAISES(stream.Read(acTen, 10), 12013);
    stream.Seek(Move(6), STREAM_SEEK_SET, nullptr);
    stream.Read(acTen, 4);
    EXPECT_EQ(log.Errors(), Lines{});
}

TEST_F(OComStreamOfFile, MovesFromTheStartThePositionAndTheEnd)
{
    ULARGE_INTEGER position{};
    ULONG ulEnd = 0;
    stream.Write("0123456789", 10);
    stream.Seek(Move(2), 0, &position);
    EXPECT_EQ(position.QuadPart, 2u);
    stream.Seek(Move(3), 1, &position);
    EXPECT_EQ(position.QuadPart, 5u);
    stream.Seek(Move(-1), 2, &position);
    EXPECT_EQ(position.QuadPart, 9u);
    stream.SeekToStart();
    EXPECT_EQ(Position(), 0u);
    stream.SeekToEnd(&ulEnd);
    EXPECT_EQ(ulEnd, 10u);
    stream.Seek(Move(20), 0, &position); // beyond the end, which stays where it is
    EXPECT_EQ(position.QuadPart, 20u);
    EXPECT_EQ(stream.Size(), 10u);
}

TEST_F(OComStreamOfFile, AMoveToNowhereIsLoggedAndRaised)
{
    EXPECT_RAISES(stream.Seek(Move(0), 3, nullptr), 12011);
    EXPECT_EQ(log.Errors(), Lines{"OComStream | Seek | Error [STG_E_INVALIDFUNCTION       ], hResult[80030001]"});
    EXPECT_EQ(Position(), 0u);
}

TEST_F(OComStreamOfFile, ItsSizeIsSet)
{
    ULARGE_INTEGER size{};
    size.QuadPart = 5000;
    stream.Write("0123456789", 10);
    stream.SetSize(size);
    EXPECT_EQ(stream.Size(), 5000u);
    EXPECT_EQ(Position(), 10u);
    size.QuadPart = 4;
    stream.SetSize(size);
    EXPECT_EQ(stream.Size(), 4u);
    char acFour[5] = "";
    stream.SeekToStart();
    stream.Read(acFour, 4);
    EXPECT_STREQ(acFour, "0123");
}

TEST_F(OComStreamOfFile, CopiesHaveOnePosition)
{
    OComStream copy(stream);
    stream.Write("01234", 5);
    copy.Write("56789", 5);
    EXPECT_EQ(stream.Size(), 10u);
    stream = OComStream();
    char acAll[11] = "";
    copy.SeekToStart();
    copy.Read(acAll, 10);
    EXPECT_STREQ(acAll, "0123456789");
}

TEST_F(OComStreamOfFile, AStreamThatMayOnlyBeReadRefusesToBeWritten)
{
    stream.Write("0123456789", 10);
    stream.Commit();
    stream = OComStream();
    storage = OComStorage();
    storage.OpenRootStorage(file.Name(), kulReadFile, nullptr);
    storage.OpenStream(AsUnits(u"Spectrum"), stream, kulElement);
    EXPECT_RAISES(stream.Write("x", 1), 12020);
    EXPECT_EQ(log.Errors(), Lines{"OComStream | Write | Error [STG_E_ACCESSDENIED          ]"});
    ULARGE_INTEGER none{};
    stream.SetSize(none); // refused as well, which nobody looks at
    EXPECT_EQ(stream.Size(), 10u);
}

TEST_F(OComStreamOfFile, AfterItsStorageHasGoneItsCallsFail)
{
    char acOne[1];
    storage = OComStorage();
    EXPECT_RAISES(stream.Read(acOne, 1), 12011);
    EXPECT_RAISES(stream.Size(), 12011);
    const std::string sReverted = "Error [STG_E_REVERTED              ], hResult[80030102]";
    EXPECT_EQ(log.Errors(), (Lines{"OComStream | Read | " + sReverted, "OComStream | Size | " + sReverted}));
}
