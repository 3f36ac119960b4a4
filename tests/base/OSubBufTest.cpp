// A window on another stream.
#include "CException.h"
#include "MessageRecorder.h"
#include "OSubBuf.h"
#include "Streams.h"

#include <gtest/gtest.h>

#include <string>

using Boxes = MessageRecorder::Boxes;
using Calls = RecordingBuf::Calls;

TEST(OSubBuf, HasItsVirtualMembersInTheirOrder)
{
    RecordingBuf source;
    OStreamProbe<OSubBuf> probe(source, 0, 1);
    ExpectSlots(probe, kiStreamSlots);
}

TEST(OSubBuf, KeepsSourceOffsetLengthAndPositionInThatOrder)
{
    RecordingBuf source(Sample(100));
    OSubBuf window(source, 10, 20);
    window.SetPosition(7);
    struct OFields
    {
        void* pTable;
        OBuf* pSource;
        ULONG ulOffset, ulLength, ulPosition;
    } fields;
    static_assert(sizeof(OSubBuf) == sizeof(OFields));
    std::memcpy(&fields, static_cast<void*>(&window), sizeof fields);
    EXPECT_EQ(fields.pSource, &source);
    EXPECT_EQ(fields.ulOffset, 10u);
    EXPECT_EQ(fields.ulLength, 20u);
    EXPECT_EQ(fields.ulPosition, 7u);
}

TEST(OSubBuf, WithoutALengthGoesOnToTheEndOfTheSource)
{
    RecordingBuf source(Sample(100));
    OSubBuf window(source, 10, 0);
    EXPECT_EQ(window.GetPosition(), 0u);
    EXPECT_EQ(window.GetSize(), 90u);
    EXPECT_EQ(window.Seek(5, OBuf::SeekFromEnd), 85u);
}

TEST(OSubBuf, IsEmptyBehindTheEndOfTheSource)
{
    RecordingBuf source("lamp");
    for (ULONG ulOffset : {4u, 5u, 0xFFFFFFFFu})
    {
        OSubBuf window(source, ulOffset, 0);
        EXPECT_EQ(window.GetSize(), 0u);
        EXPECT_EQ(ReadFrom(window, 3), "");
    }
}

TEST(OSubBuf, SeeksFromTheEndBackwards)
{
    RecordingBuf source;
    OSubBuf window(source, 0, 50);
    EXPECT_EQ(window.Seek(7, OBuf::SeekFromBegin), 7u);
    EXPECT_EQ(window.Seek(3, OBuf::SeekFromCurrent), 10u);
    EXPECT_EQ(window.Seek(-2, OBuf::SeekFromCurrent), 8u);
    EXPECT_EQ(window.Seek(20, OBuf::SeekFromEnd), 30u);
    EXPECT_EQ(window.Seek(-20, OBuf::SeekFromEnd), 70u);
    EXPECT_EQ(window.Seek(99, static_cast<OBuf::SEEKOPT>(3)), 70u);
    EXPECT_EQ(window.Seek(60, OBuf::SeekFromEnd), 0xFFFFFFF6u);
    EXPECT_EQ(source.Asked(), Calls{});
}

TEST(OSubBuf, ReadsAtItsPlaceAndPutsTheSourceBack)
{
    RecordingBuf source("0123456789");
    OSubBuf window(source, 3, 5);
    source.mulPosition = 1;
    EXPECT_EQ(ReadFrom(window, 2), "34");
    EXPECT_EQ(source.Asked(), (Calls{"Seek 0 1", "Seek 3 0", "Read 2", "Seek 1 0"}));
    EXPECT_EQ(ReadFrom(window, 2), "56");
    EXPECT_EQ(window.GetPosition(), 4u);
    EXPECT_EQ(source.mulPosition, 1u);
}

TEST(OSubBuf, CutsAReadToWhatIsLeftOfTheWindow)
{
    MessageRecorder messages;
    RecordingBuf source("0123456789");
    OSubBuf window(source, 3, 5);
    window.SetPosition(3);
    char acBytes[8] = {};
    window.ReadBuffer(acBytes, 4);
    EXPECT_STREQ(acBytes, "67");
    EXPECT_EQ(messages.Shown(), Boxes{"BaseTests | OBuf::Read error"});
    EXPECT_EQ(ReadFrom(window, 4), "");
    EXPECT_EQ(window.GetPosition(), 5u);
}

TEST(OSubBuf, CountsWhatAShortSourceTransfers)
{
    RecordingBuf source("0123456789");
    OSubBuf window(source, 3, 100);
    source.mulMost = 2;
    EXPECT_EQ(ReadFrom(window, 5), "34");
    EXPECT_EQ(window.Write("ab", 2), 2u);
    EXPECT_EQ(window.Write("abc", 3), 2u);
    EXPECT_EQ(window.GetPosition(), 6u);
    EXPECT_EQ(source.msBytes, "01234abab9");
}

TEST(OSubBuf, ReadsNothingFromBeyondTheWindow)
{
    RecordingBuf source("0123456789");
    OSubBuf window(source, 3, 5);
    char acBytes[4] = "...";
    for (ULONG ulPosition : {5u, 6u, 0x80000000u, 0xFFFFFFFBu, 0xFFFFFFFFu})
    {
        window.SetPosition(ulPosition);
        EXPECT_EQ(window.Read(acBytes, 2), 0u);
        EXPECT_EQ(window.Read(acBytes, 0xFFFFFFFF), 0u);
        EXPECT_EQ(window.GetPosition(), ulPosition);
    }
    EXPECT_STREQ(acBytes, "...");
    EXPECT_EQ(source.mulPosition, 0u);
}

TEST(OSubBuf, DoesNotComeRoundToTheSourcesStart)
{
    RecordingBuf source("0123456789");
    OSubBuf window(source, 0xFFFFFFF0, 0x100);
    window.SetPosition(0x12); // the sum is 2
    source.Asked();
    char acBytes[4] = "...";
    EXPECT_EQ(window.Read(acBytes, 2), 0u);
    EXPECT_EQ(window.Write("ab", 2), 0u);
    EXPECT_EQ(source.Asked(), Calls{});
    EXPECT_EQ(source.msBytes, "0123456789");
}

TEST(OSubBuf, WritesAtItsPlaceAndPutsTheSourceBack)
{
    RecordingBuf source("0123456789");
    OSubBuf window(source, 3, 5);
    source.mulPosition = 1;
    EXPECT_EQ(window.Write("ab", 2), 2u);
    EXPECT_EQ(source.Asked(), (Calls{"Seek 0 1", "Seek 3 0", "Write 2", "Seek 1 0"}));
    EXPECT_EQ(window.Write("cde", 3), 3u);
    EXPECT_EQ(source.msBytes, "012abcde89");
    EXPECT_EQ(source.mulPosition, 1u);
    EXPECT_EQ(window.Write(nullptr, 1), 0u);
    EXPECT_EQ(window.GetPosition(), 5u);
}

TEST(OSubBuf, WritesPositionAndLengthTogetherWhenTheEndWouldBePassed)
{
    MessageRecorder messages;
    const char acBytes[] = "abcdefghijklmnop";
    RecordingBuf source;
    OSubBuf window(source, 2, 5);
    window.WriteBuffer(acBytes, 9); // at 0: 0 + 5
    EXPECT_EQ(source.msBytes, std::string("\0\0abcde", 7));
    EXPECT_EQ(messages.Shown(), Boxes{"BaseTests | OBuf::Write error"});
    window.SetPosition(3);
    window.WriteBuffer(acBytes, 3); // 3 + 5, more than asked for
    EXPECT_EQ(source.msBytes, std::string("\0\0abcabcdefgh", 13));
    EXPECT_EQ(window.GetPosition(), 11u);
    EXPECT_EQ(messages.Shown(), Boxes{"BaseTests | OBuf::Write error"});
}

TEST(OSubBuf, RefusesAWriteOfMoreThanACountCanSay)
{
    MessageRecorder messages;
    RecordingBuf source("0123456789");
    OSubBuf window(source, 0, 0x20);
    window.SetPosition(0xFFFFFFF0);
    window.WriteBuffer("ab", 2);
    EXPECT_EQ(messages.Shown(), Boxes{"BaseTests | OBuf::Write error"});
    window += "ab";
    EXPECT_EQ(messages.Shown(), Boxes{"BaseTests | OBuf::Write error"});
    EXPECT_EQ(source.msBytes, "0123456789");
}

TEST(OSubBuf, PutsTheSourceBackWhenATransferThrows)
{
    struct OThrowing : RecordingBuf
    {
        ULONG Write(const void*, ULONG) override { AfxThrowMemoryException(); }
    } source;
    source.mulPosition = 1;
    OSubBuf window(source, 3, 5);
    EXPECT_THROW(window.Write("ab", 2), CMemoryException*);
    EXPECT_EQ(source.mulPosition, 1u);
    EXPECT_EQ(window.GetPosition(), 0u);
}

TEST(OSubBuf, CopiesItsFields)
{
    RecordingBuf source("0123456789");
    OSubBuf window(source, 3, 5);
    window.SetPosition(2);
    source.Asked();
    OSubBuf copy(window);
    EXPECT_EQ(source.Asked(), Calls{});
    EXPECT_EQ(copy.GetPosition(), 2u);
    EXPECT_EQ(copy.GetSize(), 5u);
    EXPECT_EQ(ReadFrom(copy, 9), "567");
    EXPECT_EQ(window.GetPosition(), 2u);
}

TEST(OSubBuf, AssignsBytesAndNotTheWindow)
{
    RecordingBuf source("0123456789");
    OSubBuf window(source, 0, 4), other(source, 6, 4);
    window = other;
    EXPECT_EQ(source.msBytes, "6789456789");
    EXPECT_EQ(window.GetPosition(), 4u);
    other.SetPosition(1);
    window.SetPosition(0);
    static_cast<OBuf&>(window) = other;
    EXPECT_EQ(source.msBytes, "6789456789");
    EXPECT_EQ(other.GetPosition(), 4u);
}

// The sum may pass the end of the chunk, the text or the byte that these write from.
TEST(OSubBuf, GetsZerosBehindWhatACopyOrAnAppendWritesPastItsEnd)
{
    MessageRecorder messages;
    RecordingBuf source, target;
    OSubBuf window(target, 1, 4);
    window.SetPosition(4);
    window += static_cast<unsigned char>('x'); // 4 + 4
    EXPECT_EQ(target.msBytes, std::string("\0\0\0\0\0x\0\0\0\0\0\0\0", 13));
    window.SetPosition(3);
    window += "y"; // 3 + 4
    EXPECT_EQ(target.msBytes, std::string("\0\0\0\0y\0\0\0\0\0\0\0\0", 13));
    EXPECT_EQ(messages.Shown(), (Boxes(2, "BaseTests | OBuf::Write error")));

    RecordingBuf large(Sample(122880)), file;
    OSubBuf most(file, 0, 100000), within(most, 0, 100000);
    EXPECT_EQ(most.CopyFrom(large, 0), 122880u);
    EXPECT_EQ(file.Asked(), (Calls{"Seek 0 1", "Seek 0 0", "Write 61440", "Seek 0 0", //
                                   "Seek 0 1", "Seek 61440 0", "Write 161440", "Seek 0 0"}));
    EXPECT_TRUE(file.msBytes == Sample(122880) + std::string(100000, '\0'));
    file.msBytes.clear();
    within.CopyFrom(large, 0);
    EXPECT_TRUE(file.msBytes == Sample(122880) + std::string(100000, '\0'));
    EXPECT_EQ(messages.Shown(), (Boxes(2, "BaseTests | OBuf::Write error")));
}

TEST(OSubBuf, LeavesTheSizesToTheSource)
{
    RecordingBuf source("0123456789");
    OSubBuf window(source, 3, 5);
    window.SetSize(2);
    EXPECT_EQ(window.GetSize(), 5u);
    EXPECT_EQ(source.msBytes, "0123456789");
}

TEST(OSubBuf, MayStandOnAnotherWindow)
{
    RecordingBuf source(Sample(1000));
    OSubBuf outer(source, 100, 500), inner(outer, 50, 0);
    EXPECT_EQ(inner.GetSize(), 450u);
    EXPECT_EQ(ReadFrom(inner, 1000), Sample(1000).substr(150, 450));
    EXPECT_EQ(outer.GetPosition(), 0u);
}
