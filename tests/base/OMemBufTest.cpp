// The stream in memory: what is in it after each operation, and where its position stands.
#include "MessageRecorder.h"
#include "OMemBuf.h"
#include "OSubBuf.h"
#include "Streams.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

using Boxes = MessageRecorder::Boxes;

TEST(OMemBuf, HasItsVirtualMembersInTheirOrder)
{
    OMemStreamProbe<OMemBuf> probe;
    ExpectSlots(probe, kiMemStreamSlots);
    OMemStreamProbe<OCustomMemBuf> custom;
    ExpectSlots(custom, kiMemStreamSlots);
}

TEST(OMemBuf, KeepsItsBlockAndThenItsPosition)
{
    OMemBuf buf("lamp", 4);
    buf.SetPosition(3);
    struct OFields
    {
        void* pTable;
        const unsigned char* pBytes;
        ULONG ulPosition;
    } fields;
    static_assert(sizeof(OMemBuf) == sizeof(OFields));
    static_assert(sizeof(ORefBuf) == sizeof(void*));
    std::memcpy(&fields, static_cast<void*>(&buf), sizeof fields);
    EXPECT_EQ(fields.pBytes, buf.GetBuffer());
    EXPECT_EQ(fields.ulPosition, 3u);
}

// Making one ----------------------------------------------------------------------------------------------------------------

TEST(OMemBuf, StartsEmpty)
{
    OMemBuf buf;
    EXPECT_EQ(buf.GetSize(), 0u);
    EXPECT_EQ(buf.GetPosition(), 0u);
    EXPECT_EQ(buf.GetCapacity(), 0u);
    EXPECT_NE(buf.GetBuffer(), nullptr);
}

TEST(OMemBuf, TakesBytesAndStandsAtTheirStart)
{
    const unsigned char aubBytes[] = {1, 0, 2};
    OMemBuf text("lamp", 4), bytes(aubBytes, 3);
    EXPECT_EQ(BytesOf(text), "lamp");
    EXPECT_EQ(BytesOf(bytes), std::string("\1\0\2", 3));
    EXPECT_EQ(text.GetPosition(), 0u);
    EXPECT_EQ(text.GetCapacity(), 32u);
}

TEST(OMemBuf, RefusesANegativeNumberOfBytesAndBytesThatAreNull)
{
    MessageRecorder messages;
    OMemBuf negative("lamp", -1), null(static_cast<const void*>(nullptr), 4), least("lamp", -0x7FFFFFFF - 1);
    EXPECT_EQ(messages.Shown(), Boxes(3, kpWriteError));
    for (OMemBuf* pBuf : {&negative, &null, &least}) EXPECT_EQ(pBuf->GetSize(), 0u);
    OMemBuf none(static_cast<const unsigned char*>(nullptr), 0);
    EXPECT_EQ(messages.Shown(), Boxes{});
}

TEST(OMemBuf, AppendsWhatADerivedClassConstructsItFrom)
{
    struct ODerived : OMemBuf
    {
        ODerived()
        {
            ConstructFromPVoid("la", 2);
            ConstructFromPVoid("mp", 2);
        }
    } buf;
    EXPECT_EQ(BytesOf(buf), "lamp");
    EXPECT_EQ(buf.GetPosition(), 0u);
}

TEST(OMemBuf, CopyingOneStartsAtPositionZero)
{
    FilledBuf buf("lamp");
    buf.SetPosition(3);
    OMemBuf copy(buf);
    OMemBuf ofAny(static_cast<OBuf&>(buf));
    EXPECT_EQ(BytesOf(copy), "lamp");
    EXPECT_EQ(BytesOf(ofAny), "lamp");
    EXPECT_EQ(copy.GetPosition(), 0u);
    EXPECT_EQ(ofAny.GetPosition(), 0u);
    EXPECT_EQ(ofAny.GetBuffer(), buf.GetBuffer());
    EXPECT_EQ(buf.GetPosition(), 3u);
}

TEST(OMemBuf, CopiesTheWholeOfAnyOtherStream)
{
    RecordingBuf source("lamp");
    source.mulPosition = 2;
    OMemBuf buf(source);
    EXPECT_EQ(BytesOf(buf), "lamp");
    EXPECT_EQ(buf.GetPosition(), 4u);
    EXPECT_EQ(source.mulPosition, 4u);
}

TEST(OMemBuf, ItsCloneIsAMemoryStreamWithTheSameBytes)
{
    FilledBuf buf("lamp");
    buf.SetPosition(2);
    const std::unique_ptr<OCustomMemBuf> pClone(buf.CreateClone());
    EXPECT_NE(dynamic_cast<OMemBuf*>(pClone.get()), nullptr);
    EXPECT_EQ(pClone->GetBuffer(), buf.GetBuffer());
    EXPECT_EQ(pClone->GetPosition(), 0u);
    EXPECT_EQ(ReadFrom(*pClone, 4), "lamp");
    EXPECT_EQ(buf.GetPosition(), 2u);
}

// Assigning -----------------------------------------------------------------------------------------------------------------

TEST(OMemBuf, TakesTheBlockAndThePositionOfAnother)
{
    FilledBuf buf("lamp");
    buf.SetPosition(3);
    OMemBuf other("something", 9);
    other.SetPosition(8);
    EXPECT_EQ(&(other = static_cast<OMemBuf&>(buf)), &other);
    EXPECT_EQ(BytesOf(other), "lamp");
    EXPECT_EQ(other.GetPosition(), 3u);
}

TEST(OMemBuf, TakesTheBlockAloneOfAStreamThatTurnsOutToBeOne)
{
    FilledBuf buf("lamp");
    buf.SetPosition(3);
    OMemBuf other("something", 9), third;
    other.SetPosition(8);
    EXPECT_EQ(&(other = static_cast<OBuf&>(buf)), &other);
    EXPECT_EQ(other.GetBuffer(), buf.GetBuffer());
    EXPECT_EQ(other.GetPosition(), 0u);
    EXPECT_EQ(buf.GetPosition(), 3u);

    OCustomMemBuf& asMemory = third;
    asMemory = static_cast<OCustomMemBuf&>(buf); // by what it really is
    EXPECT_EQ(third.GetBuffer(), buf.GetBuffer());
}

TEST(OMemBuf, IsWrittenOverFromItsStartByAnyOtherStream)
{
    RecordingBuf source("LA");
    OMemBuf buf("lamp", 4);
    OMemBuf share(buf);
    buf.SetPosition(3);
    buf = source;
    EXPECT_EQ(BytesOf(buf), "LAmp");
    EXPECT_EQ(buf.GetPosition(), 2u);
    EXPECT_EQ(BytesOf(share), "LAmp");
}

TEST(OMemBuf, StaysAsItIsWhenAssignedToItself)
{
    OMemBuf buf("lamp", 4);
    OMemBuf& same = buf;
    buf.SetPosition(3);
    buf = same;
    EXPECT_EQ(BytesOf(buf), "lamp");
    EXPECT_EQ(buf.GetPosition(), 3u);
    buf = static_cast<OBuf&>(same);
    EXPECT_EQ(BytesOf(buf), "lamp");
    EXPECT_EQ(buf.GetPosition(), 0u);
    EXPECT_EQ(HeaderOf(buf).lRefs, 1);
}

// Positions -----------------------------------------------------------------------------------------------------------------

TEST(OMemBuf, SeeksWhereverItIsTold)
{
    OMemBuf buf("lamp", 4);
    EXPECT_EQ(buf.Seek(3, OBuf::SeekFromBegin), 3u);
    EXPECT_EQ(buf.Seek(4, OBuf::SeekFromCurrent), 7u);
    EXPECT_EQ(buf.Seek(-1, OBuf::SeekFromCurrent), 6u);
    EXPECT_EQ(buf.Seek(2, OBuf::SeekFromEnd), 6u);
    EXPECT_EQ(buf.Seek(-1, OBuf::SeekFromEnd), 3u);
    EXPECT_EQ(buf.Seek(9, static_cast<OBuf::SEEKOPT>(3)), 3u);
    EXPECT_EQ(buf.Seek(9, static_cast<OBuf::SEEKOPT>(-1)), 3u);
    EXPECT_EQ(buf.Seek(-5, OBuf::SeekFromEnd), 0xFFFFFFFFu);
    EXPECT_EQ(buf.GetSize(), 4u);
    EXPECT_EQ(buf.GetPosition(), 0xFFFFFFFFu);
}

TEST(OMemBuf, PointsAtItsStartAndAtItsPosition)
{
    OMemBuf buf("lamp", 4);
    buf.SetPosition(2);
    EXPECT_EQ(static_cast<const unsigned char*>(buf), buf.GetBuffer());
    EXPECT_EQ(buf.GetCurrentBuffer(), buf.GetBuffer() + 2);
    EXPECT_EQ(buf.GetCurrentBuffer()[0], 'm');
}

// Reading -------------------------------------------------------------------------------------------------------------------

static void ExpectAllOrNothing(OMemBuf& buf)
{
    MessageRecorder messages;
    buf.SetPosition(1);
    char acBytes[16] = "...............";
    EXPECT_EQ(buf.Read(acBytes, 10), 0u);
    EXPECT_EQ(buf.GetPosition(), 1u);
    EXPECT_STREQ(acBytes, "...............");
    buf.ReadBuffer(acBytes, 10);
    EXPECT_EQ(messages.Shown(), Boxes{kpReadError});
    buf.ReadBuffer(acBytes, 9);
    EXPECT_EQ(messages.Shown(), Boxes{});
    EXPECT_STREQ(acBytes, "123456789......");
    EXPECT_EQ(buf.GetPosition(), 10u);
    EXPECT_EQ(buf.Read(acBytes, 1), 0u);
    EXPECT_EQ(buf.Read(acBytes, 0), 0u);
}

TEST(OMemBuf, ReadsAllOrNothing)
{
    FilledBuf derived("0123456789");
    OMemBuf plain("0123456789", 10);
    ExpectAllOrNothing(derived);
    ExpectAllOrNothing(plain);
}

static void ExpectNothingBeyondTheSize(OMemBuf& buf)
{
    char acBytes[16] = {};
    for (ULONG ulPosition : {11u, 0x7FFFFFFFu, 0xFFFFFFF0u, 0xFFFFFFFFu})
    {
        buf.SetPosition(ulPosition);
        for (ULONG ulBytes : {0u, 1u, 16u, 0xFFFFFFFFu}) EXPECT_EQ(buf.Read(acBytes, ulBytes), 0u);
        EXPECT_EQ(buf.GetPosition(), ulPosition);
    }
    buf.SetPosition(0);
    EXPECT_EQ(buf.Read(nullptr, 4), 0u);
    EXPECT_EQ(buf.GetPosition(), 0u);
}

TEST(OMemBuf, ReadsNothingFromBeyondItsSize)
{
    FilledBuf derived("0123456789");
    OMemBuf plain("0123456789", 10);
    ExpectNothingBeyondTheSize(derived);
    ExpectNothingBeyondTheSize(plain);
}

// Writing -------------------------------------------------------------------------------------------------------------------

TEST(OMemBuf, WritesOverItsBytesAndAppendsTheRest)
{
    OMemBuf buf;
    EXPECT_EQ(buf.Write("lamp", 4), 4u);
    buf.SetPosition(1);
    EXPECT_EQ(buf.Write("im", 2), 2u);
    EXPECT_EQ(BytesOf(buf), "limp");
    EXPECT_EQ(buf.Write("its of it", 9), 9u);
    EXPECT_EQ(BytesOf(buf), "limits of it");
    EXPECT_EQ(buf.GetPosition(), 12u);
    EXPECT_EQ(buf.Write("", 0), 0u);
    EXPECT_EQ(BytesOf(buf), "limits of it");
}

TEST(OMemBuf, WritesNothingFromNull)
{
    MessageRecorder messages;
    OMemBuf buf("lamp", 4);
    EXPECT_EQ(buf.Write(nullptr, 3), 0u);
    buf.WriteBuffer(nullptr, 3);
    EXPECT_EQ(messages.Shown(), Boxes{kpWriteError});
    EXPECT_EQ(BytesOf(buf), "lamp");
    EXPECT_EQ(buf.GetPosition(), 0u);
}

TEST(OMemBuf, RefusesToWriteBeyondItsSize)
{
    MessageRecorder messages;
    OMemBuf buf("lamp", 4);
    for (ULONG ulPosition : {5u, 40u, 0x80000000u, 0xFFFFFFFFu})
    {
        buf.SetPosition(ulPosition);
        EXPECT_EQ(buf.Write("!", 1), 0u);
        buf.WriteBuffer("!", 1);
        buf += static_cast<unsigned char>('!');
        EXPECT_EQ(messages.Shown(), Boxes(2, kpWriteError));
        EXPECT_EQ(buf.GetPosition(), ulPosition);
    }
    EXPECT_EQ(BytesOf(buf), "lamp");
    EXPECT_EQ(buf.GetCapacity(), 32u);
}

TEST(OMemBuf, RefusesAnEndThatNoSizeCanSay)
{
    MessageRecorder messages;
    OMemBuf buf("lamp", 4);
    OBlockHeader& header = HeaderOf(buf);
    const OBlockHeader before = header;
    header.ulSize = header.ulCapacity = 0xFFFFFFF0; // nothing that follows reads or writes so far
    buf.SetPosition(0xFFFFFFF0);
    EXPECT_EQ(buf.Write("0123456789abcdef", 16), 0u);
    const volatile ULONG ulMost = 0xFFFFFFFF; // so that no compiler sees through this and complains
    EXPECT_EQ(buf.Write("", ulMost), 0u);
    buf.WriteBuffer("0123456789abcdef", 16);
    EXPECT_EQ(messages.Shown(), Boxes{kpWriteError});
    EXPECT_EQ(buf.GetPosition(), 0xFFFFFFF0u);
    EXPECT_EQ(buf.GetSize(), 0xFFFFFFF0u);
    header = before;
}

TEST(OMemBuf, TakesBytesOfItsOwn)
{
    for (std::size_t ulSize : {20u, 31u, 200u, 5000u, 200000u})
    {
        const std::string sBytes = Sample(ulSize);
        FilledBuf buf(sBytes);
        buf.SetPosition(static_cast<ULONG>(ulSize));
        buf.WriteBuffer(buf.GetBuffer(), static_cast<ULONG>(ulSize)); // its block moves meanwhile
        EXPECT_EQ(BytesOf(buf), sBytes + sBytes);
        buf.SetPosition(1);
        buf.WriteBuffer(buf.GetBuffer(), static_cast<ULONG>(ulSize));
        EXPECT_EQ(BytesOf(buf), sBytes.substr(0, 1) + sBytes + sBytes.substr(1));
        OMemBuf share(buf);
        buf.SetPosition(static_cast<ULONG>(2 * ulSize));
        buf.WriteBuffer(buf.GetBuffer() + 1, static_cast<ULONG>(ulSize));
        EXPECT_EQ(BytesOf(buf), BytesOf(share) + sBytes);
        OMemBuf own(sBytes.data(), static_cast<int>(ulSize)), other(own);
        own.SetPosition(1);
        own.WriteBuffer(own.GetBuffer(), static_cast<ULONG>(ulSize)); // some over shared bytes, the rest behind them
        EXPECT_EQ(BytesOf(own), sBytes.substr(0, 1) + sBytes);
    }
}

TEST(OMemBuf, AppendsThroughItsOperators)
{
    OMemBuf buf, other("lamp", 4);
    buf += "ab";
    EXPECT_EQ(buf.GetSize(), 3u);
    buf += u"ab";
    EXPECT_EQ(buf.GetSize(), 9u);
    buf += static_cast<unsigned char>(7);
    buf += other;
    EXPECT_EQ(BytesOf(buf), std::string("ab\0a\0b\0\0\0\7lamp", 14));
    EXPECT_EQ(other.GetPosition(), 4u);
    buf.SetPosition(0);
    buf += "LA"; // at the position, not at the end
    EXPECT_EQ(BytesOf(buf), std::string("LA\0a\0b\0\0\0\7lamp", 14));

    OMemBuf same;
    OBuf& any = same; // by what every stream has
    any += "ab";
    any += u"ab";
    any += static_cast<unsigned char>(7);
    other.SetPosition(0);
    any += other;
    EXPECT_EQ(BytesOf(same), std::string("ab\0a\0b\0\0\0\7lamp", 14));
}

TEST(OMemBuf, RefusesATextThatIsNull)
{
    MessageRecorder messages;
    OMemBuf buf;
    buf += static_cast<const char*>(nullptr);
    buf += static_cast<const unsigned short*>(nullptr);
    EXPECT_EQ(messages.Shown(), Boxes(2, kpWriteError));
    EXPECT_EQ(buf.GetSize(), 0u);
}

TEST(OMemBuf, AppendsAStreamFromItsPositionOn)
{
    MessageRecorder messages;
    OMemBuf buf, other("lamp", 4);
    buf.SetCapacity(100);
    other.SetPosition(1);
    buf += other; // as many bytes as it has, and three are left
    EXPECT_EQ(messages.Shown(), Boxes{kpReadError});
    EXPECT_EQ(BytesOf(buf), std::string(4, '\0'));
    EXPECT_EQ(other.GetPosition(), 1u);
}

// Sizes ---------------------------------------------------------------------------------------------------------------------

TEST(OMemBuf, PullsThePositionBackToItsNewSize)
{
    FilledBuf buf("0123456789");
    buf.SetPosition(8);
    buf.SetSize(9);
    EXPECT_EQ(buf.GetPosition(), 8u);
    buf.SetSize(5);
    EXPECT_EQ(buf.GetPosition(), 5u);
    EXPECT_EQ(BytesOf(buf), "01234");
    EXPECT_EQ(buf.GetCapacity(), 32u);
    buf.SetSize(0);
    EXPECT_EQ(buf.GetSize(), 0u);
    EXPECT_EQ(buf.GetPosition(), 0u);
}

TEST(OMemBuf, GrowsToExactlyTheSizeItIsGiven)
{
    FilledBuf buf("lamp");
    buf.SetSize(32);
    EXPECT_EQ(buf.GetCapacity(), 32u);
    buf.SetSize(5000);
    EXPECT_EQ(buf.GetCapacity(), 5000u);
    EXPECT_EQ(buf.GetSize(), 5000u);
    EXPECT_EQ(BytesOf(buf).substr(0, 4), "lamp");
}

TEST(OMemBuf, KeepsASizeThatADerivedClassMadeNoRoomFor)
{
    struct OFixed : OMemBuf
    {
        void SetCapacity(ULONG) override {}
    } buf;
    buf += "lamp";
    buf.SetSize(1000);
    EXPECT_EQ(buf.GetSize(), 5u);
    buf.SetSize(32);
    EXPECT_EQ(buf.GetSize(), 32u);
}

TEST(OMemBuf, HasTheCapacityItIsGivenButNeverLessThanItsSize)
{
    FilledBuf buf("0123456789");
    buf.SetPosition(10);
    for (ULONG ulCapacity : {100u, 5000u, 4096u, 33u, 10u})
    {
        buf.SetCapacity(ulCapacity);
        EXPECT_EQ(buf.GetCapacity(), ulCapacity);
        EXPECT_EQ(BytesOf(buf), "0123456789");
    }
    for (ULONG ulCapacity : {9u, 1u, 0u})
    {
        buf.SetCapacity(100);
        buf.SetCapacity(ulCapacity);
        EXPECT_EQ(buf.GetCapacity(), 10u);
        EXPECT_EQ(BytesOf(buf), "0123456789");
    }
    EXPECT_EQ(buf.GetPosition(), 10u);
}

TEST(OMemBuf, ClearKeepsTheRoom)
{
    OMemBuf buf;
    buf += "lamp";
    buf.Clear();
    EXPECT_EQ(buf.GetSize(), 0u);
    EXPECT_EQ(buf.GetPosition(), 0u);
    EXPECT_EQ(buf.GetCapacity(), 32u);
    OMemBuf().Clear();
}

TEST(OMemBuf, IsReadAndWrittenThroughWindows)
{
    OMemBuf buf("0123456789", 10);
    buf.SetPosition(9);
    OSubBuf window(buf, 2, 4);
    EXPECT_EQ(ReadFrom(window, 9), "2345");
    window.SetPosition(0);
    window.WriteBuffer("abcd", 4);
    EXPECT_EQ(BytesOf(buf), "01abcd6789");
    EXPECT_EQ(buf.GetPosition(), 9u);
}
