// What every stream does: positions, transfers with their notices, copies in chunks, appending.
#include "MessageRecorder.h"
#include "OBuf.h"
#include "Streams.h"

#include <gtest/gtest.h>

#include <string>

using Boxes = MessageRecorder::Boxes;
using Calls = RecordingBuf::Calls;

TEST(OBuf, HasItsVirtualMembersInTheirOrder)
{
    OStreamProbe<OBuf> probe;
    ExpectSlots(probe, kiStreamSlots);
}

TEST(OBuf, HasAVirtualTableAndNothingElse) { EXPECT_EQ(sizeof(OBuf), sizeof(void*)); }

TEST(OBuf, IsDestroyedThroughItsBase)
{
    struct OEnding : RecordingBuf
    {
        explicit OEnding(bool* pbEnded) : mpbEnded(pbEnded) {}
        ~OEnding() override { *mpbEnded = true; }
        bool* mpbEnded;
    };
    bool bEnded = false;
    OBuf* pBuf = new OEnding(&bEnded);
    delete pBuf;
    EXPECT_TRUE(bEnded);
}

TEST(OBuf, NumbersTheWaysToSeek)
{
    EXPECT_EQ(OBuf::SeekFromBegin, 0);
    EXPECT_EQ(OBuf::SeekFromCurrent, 1);
    EXPECT_EQ(OBuf::SeekFromEnd, 2);
}

TEST(OBuf, CopiesNoContentWhileItIsOnlyAnOBuf)
{
    RecordingBuf source("lamp");
    RecordingBuf copy(source); // what this copy holds, its own members say
    EXPECT_EQ(copy.msBytes, "lamp");
    EXPECT_EQ(source.Asked(), Calls{});
}

// Positions -----------------------------------------------------------------------------------------------------------------

TEST(OBuf, SetsAndAsksThePositionBySeeking)
{
    RecordingBuf buf("lamp");
    EXPECT_EQ(buf.SetPosition(3), 3u);
    EXPECT_EQ(buf.GetPosition(), 3u);
    EXPECT_EQ(buf.SetPosition(0xFFFFFFFF), 0xFFFFFFFFu);
    EXPECT_EQ(buf.Asked(), (Calls{"Seek 3 0", "Seek 0 1", "Seek -1 0"}));
}

TEST(OBuf, MeasuresTheSizeAndGoesBack)
{
    RecordingBuf buf("lamp");
    buf.mulPosition = 2;
    EXPECT_EQ(buf.GetSize(), 4u);
    EXPECT_EQ(buf.Asked(), (Calls{"Seek 0 1", "Seek 0 2", "Seek 2 0"}));
}

TEST(OBuf, DoesNothingToItsSize)
{
    RecordingBuf buf("lamp");
    buf.SetSize(2);
    EXPECT_EQ(buf.msBytes, "lamp");
    EXPECT_EQ(buf.Asked(), Calls{});
}

// Transfers -----------------------------------------------------------------------------------------------------------------

TEST(OBuf, ShowsAShortReadAndGoesOn)
{
    MessageRecorder messages;
    RecordingBuf buf("lamp");
    char acBytes[8] = {};
    buf.ReadBuffer(acBytes, 4);
    EXPECT_EQ(messages.Shown(), Boxes{});
    buf.SetPosition(1);
    buf.ReadBuffer(acBytes, 4);
    EXPECT_EQ(messages.Shown(), Boxes{kpReadError});
    EXPECT_STREQ(acBytes, "ampp");
    EXPECT_EQ(buf.GetPosition(), 4u);
}

TEST(OBuf, ShowsAShortWriteAndGoesOn)
{
    MessageRecorder messages;
    RecordingBuf buf;
    buf.WriteBuffer("lamp", 4);
    EXPECT_EQ(messages.Shown(), Boxes{});
    buf.mulMost = 1;
    buf.WriteBuffer("damp", 4);
    EXPECT_EQ(messages.Shown(), Boxes{kpWriteError});
    EXPECT_EQ(buf.msBytes, "lampd");
}

TEST(OBuf, ShowsATransferThatIsTooLong)
{
    struct OBoasting : RecordingBuf
    {
        ULONG Read(void*, ULONG ulBytes) override { return ulBytes + 1; }
        ULONG Write(const void*, ULONG ulBytes) override { return ulBytes + 1; }
    } buf;
    MessageRecorder messages;
    char cByte = 0;
    buf.ReadBuffer(&cByte, 1);
    buf.WriteBuffer(&cByte, 1);
    EXPECT_EQ(messages.Shown(), (Boxes{kpReadError, kpWriteError}));
}

// Copies --------------------------------------------------------------------------------------------------------------------

TEST(OBuf, CopiesInChunksFromTheSourcesPosition)
{
    RecordingBuf source(Sample(200000));
    RecordingBuf target("xy");
    source.mulPosition = 5;
    target.mulPosition = 1;
    EXPECT_EQ(target.CopyFrom(source, 130000), 130000u);
    EXPECT_EQ(source.Asked(), (Calls{"Read 61440", "Read 61440", "Read 7120"}));
    EXPECT_EQ(target.Asked(), (Calls{"Write 61440", "Write 61440", "Write 7120"}));
    EXPECT_EQ(target.msBytes, "x" + source.msBytes.substr(5, 130000));
}

TEST(OBuf, CopiesTheWholeSourceFromItsStartWhenNoNumberIsGiven)
{
    RecordingBuf source("lamp");
    RecordingBuf target;
    source.mulPosition = 3;
    EXPECT_EQ(target.CopyFrom(source, 0), 4u);
    EXPECT_EQ(source.Asked(), (Calls{"Seek 0 0", "Seek 0 1", "Seek 0 2", "Seek 0 0", "Read 4"}));
    EXPECT_EQ(target.Asked(), Calls{"Write 4"});
    EXPECT_EQ(target.msBytes, "lamp");
}

TEST(OBuf, WritesNothingFromAnEmptySource)
{
    MessageRecorder messages;
    RecordingBuf source, target("lamp");
    source.mulPosition = 7;
    EXPECT_EQ(target.CopyFrom(source, 0), 0u);
    EXPECT_EQ(source.mulPosition, 0u);
    EXPECT_EQ(target.Asked(), Calls{});
    EXPECT_EQ(target.msBytes, "lamp");
    EXPECT_EQ(messages.Shown(), Boxes{});
}

TEST(OBuf, ReadsAndWritesChunkByChunkInTurn)
{
    struct OWatching : RecordingBuf
    {
        ULONG Write(const void* pSource, ULONG ulBytes) override
        {
            mPositions.push_back(mpSource->mulPosition);
            return RecordingBuf::Write(pSource, ulBytes);
        }
        RecordingBuf* mpSource = nullptr;
        std::vector<ULONG> mPositions;
    } target;
    RecordingBuf source(Sample(122881));
    target.mpSource = &source;
    target.CopyFrom(source, 0);
    EXPECT_EQ(target.mPositions, (std::vector<ULONG>{61440, 122880, 122881}));
}

TEST(OBuf, GoesOnCopyingAfterShortTransfers)
{
    MessageRecorder messages;
    RecordingBuf source("lamp");
    RecordingBuf target;
    EXPECT_EQ(target.CopyFrom(source, 6), 6u);
    EXPECT_EQ(messages.Shown(), Boxes{kpReadError});
    EXPECT_EQ(target.msBytes, std::string("lamp\0\0", 6)); // nothing of what lay on the stack

    RecordingBuf narrow;
    narrow.mulMost = 1;
    source.mulPosition = 0;
    EXPECT_EQ(narrow.CopyFrom(source, 4), 4u);
    EXPECT_EQ(messages.Shown(), Boxes{kpWriteError});
    EXPECT_EQ(narrow.msBytes, "l");
}

TEST(OBuf, FillsWhatALaterChunkLacksFromTheOneBefore)
{
    MessageRecorder messages;
    RecordingBuf source(Sample(61440) + "lamp");
    RecordingBuf target;
    target.CopyFrom(source, 122880);
    EXPECT_EQ(messages.Shown(), Boxes{kpReadError});
    EXPECT_EQ(target.msBytes, Sample(61440) + "lamp" + Sample(61440).substr(4));
}

TEST(OBuf, AssignsByCopyingTheWholeSourceToItsPosition)
{
    RecordingBuf source("lamp");
    RecordingBuf target("xyz......");
    source.mulPosition = 2;
    target.mulPosition = 3;
    EXPECT_EQ(&(static_cast<OBuf&>(target) = source), &target);
    EXPECT_EQ(target.msBytes, "xyzlamp..");
}

// Appending -----------------------------------------------------------------------------------------------------------------

TEST(OBuf, AppendsAsManyBytesOfAStreamAsItHasFromItsPosition)
{
    MessageRecorder messages;
    RecordingBuf source("lamp"), target;
    OBuf& result = target += static_cast<OBuf&>(source);
    EXPECT_EQ(&result, &target);
    EXPECT_EQ(target.msBytes, "lamp");
    EXPECT_EQ(messages.Shown(), Boxes{});

    source.SetPosition(1);
    source.Asked();
    target += static_cast<OBuf&>(source);
    EXPECT_EQ(source.Asked(), (Calls{"Seek 0 1", "Seek 0 2", "Seek 1 0", "Read 4"}));
    EXPECT_EQ(target.msBytes, std::string("lampamp\0", 8));
    EXPECT_EQ(messages.Shown(), Boxes{kpReadError});
}

TEST(OBuf, AppendsTextsWithTheirClosingZero)
{
    RecordingBuf narrow, wide, literal;
    narrow += "ab";
    EXPECT_EQ(narrow.msBytes, std::string("ab\0", 3));
    const unsigned short auwText[] = {'a', 0x20AC, 0};
    wide += auwText;
    EXPECT_EQ(wide.msBytes, std::string("a\0\xAC\x20\0\0", 6));
    literal += u"ab";
    EXPECT_EQ(literal.msBytes, std::string("a\0b\0\0\0", 6));
    EXPECT_EQ(literal.Asked(), Calls{"Write 6"});
    narrow += "";
    EXPECT_EQ(narrow.msBytes, std::string("ab\0\0", 4));
}

TEST(OBuf, AppendsAByte)
{
    RecordingBuf buf;
    (buf += static_cast<unsigned char>(0xE9)) += static_cast<unsigned char>('!');
    EXPECT_EQ(buf.msBytes, "\xE9!");
}

TEST(OBuf, RefusesATextThatIsNull)
{
    MessageRecorder messages;
    RecordingBuf buf;
    buf += static_cast<const char*>(nullptr);
    buf += static_cast<const unsigned short*>(nullptr);
    EXPECT_EQ(messages.Shown(), (Boxes{kpWriteError, kpWriteError}));
    EXPECT_EQ(buf.Asked(), Calls{});
}
