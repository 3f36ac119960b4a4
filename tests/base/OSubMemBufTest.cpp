// A window on a memory stream, for reading only.
#include "MessageRecorder.h"
#include "OSubMemBuf.h"
#include "Streams.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>

using Boxes = MessageRecorder::Boxes;

static const char* const kpWriteNotAllowed = "BaseTests | OSubMemBuf::Write not allowed";

static constexpr ULONG kulToTheEnd = 0xFFFFFFFF;

namespace
{
// Counts the clones that live.
struct OCountedBuf : FilledBuf
{
    explicit OCountedBuf(int* piClones) : FilledBuf("0123456789"), mpiClones(piClones) {}
    OCountedBuf(OCountedBuf& Source) : FilledBuf(Source), mpiClones(Source.mpiClones), mbClone(true) { ++*mpiClones; }
    ~OCountedBuf() override
    {
        if (mbClone) --*mpiClones;
    }
    OCustomMemBuf* CreateClone() override { return new OCountedBuf(*this); }
    int* mpiClones;
    bool mbClone = false;
};
} // namespace

TEST(OSubMemBuf, HasItsVirtualMembersInTheirOrder)
{
    FilledBuf source("lamp");
    OMemStreamProbe<OSubMemBuf> probe(source, 0, 1);
    ExpectSlots(probe, kiMemStreamSlots);
}

TEST(OSubMemBuf, KeepsCloneOffsetPositionAndLengthInThatOrder)
{
    FilledBuf source("0123456789");
    OSubMemBuf window(source, 3, 5);
    window.SetPosition(2);
    struct OFields
    {
        void* pTable;
        std::shared_ptr<OCustomMemBuf> pClone;
        ULONG ulOffset, ulPosition, ulLength;
    };
    static_assert(sizeof(OSubMemBuf) == sizeof(OFields));
    ULONG aulNumbers[3];
    std::memcpy(aulNumbers, reinterpret_cast<const char*>(&window) + offsetof(OFields, ulOffset), sizeof aulNumbers);
    EXPECT_EQ(aulNumbers[0], 3u);
    EXPECT_EQ(aulNumbers[1], 2u);
    EXPECT_EQ(aulNumbers[2], 5u);
}

TEST(OSubMemBuf, GoesOnToTheEndOfTheSource)
{
    FilledBuf source(Sample(100));
    OSubMemBuf window(source, 10, kulToTheEnd);
    EXPECT_EQ(window.GetSize(), 90u);
    EXPECT_EQ(window.GetPosition(), 0u);
    EXPECT_EQ(ReadFrom(window, 200), Sample(100).substr(10));
}

TEST(OSubMemBuf, IsEmptyBehindTheEndOfTheSourceAndWithALengthOfZero)
{
    FilledBuf source("lamp");
    for (ULONG ulOffset : {4u, 5u, 0xFFFFFFF0u})
    {
        OSubMemBuf window(source, ulOffset, kulToTheEnd);
        EXPECT_EQ(window.GetSize(), 0u);
        EXPECT_EQ(ReadFrom(window, 3), "");
    }
    OSubMemBuf none(source, 1, 0);
    EXPECT_EQ(none.GetSize(), 0u);
    EXPECT_EQ(ReadFrom(none, 3), "");
}

TEST(OSubMemBuf, StandsOnACloneOfTheSource)
{
    FilledBuf source("0123456789");
    source.SetPosition(9);
    OSubMemBuf window(source, 2, kulToTheEnd);
    EXPECT_EQ(HeaderOf(source).lRefs, 2);
    source.WriteBuffer("9, and more", 11);
    EXPECT_EQ(ReadFrom(window, 99), "23456789");
    EXPECT_EQ(HeaderOf(source).lRefs, 1);
}

TEST(OSubMemBuf, SeesWhatIsWrittenOverTheSharedBytes)
{
    FilledBuf source("0123456789");
    OSubMemBuf window(source, 2, 3);
    source.SetPosition(3);
    source.Write("x", 1);
    EXPECT_EQ(ReadFrom(window, 3), "2x4");
}

TEST(OSubMemBuf, ReadsWhatIsLeftOfTheWindow)
{
    MessageRecorder messages;
    FilledBuf source("0123456789");
    OSubMemBuf window(source, 3, 5);
    EXPECT_EQ(ReadFrom(window, 2), "34");
    char acBytes[8] = {};
    window.ReadBuffer(acBytes, 7);
    EXPECT_STREQ(acBytes, "567");
    EXPECT_EQ(messages.Shown(), Boxes{kpReadError});
    EXPECT_EQ(window.GetPosition(), 5u);
}

TEST(OSubMemBuf, ReadsNothingWhereTheCloneHasNothing)
{
    FilledBuf source("0123456789");
    OSubMemBuf tooLong(source, 8, 5), window(source, 3, 5);
    EXPECT_EQ(ReadFrom(tooLong, 2), "89");
    EXPECT_EQ(ReadFrom(tooLong, 3), ""); // within the window, but the clone reads all or nothing
    char acBytes[4] = "...";
    for (ULONG ulPosition : {5u, 6u, 0x80000000u, 0xFFFFFFFFu})
    {
        window.SetPosition(ulPosition);
        EXPECT_EQ(window.Read(acBytes, 0xFFFFFFFF), 0u);
    }
    OSubMemBuf around(source, 0xFFFFFFF0, 0x100);
    around.SetPosition(0x12); // the sum is 2
    EXPECT_EQ(around.Read(acBytes, 2), 0u);
    EXPECT_STREQ(acBytes, "...");
}

TEST(OSubMemBuf, SeeksFromTheEndBackwards)
{
    FilledBuf source(Sample(100));
    OSubMemBuf window(source, 10, 50);
    EXPECT_EQ(window.Seek(5, OBuf::SeekFromEnd), 45u);
    EXPECT_EQ(window.Seek(-5, OBuf::SeekFromCurrent), 40u);
    EXPECT_EQ(window.Seek(4, OBuf::SeekFromBegin), 4u);
    EXPECT_EQ(window.Seek(4, static_cast<OBuf::SEEKOPT>(7)), 4u);
}

TEST(OSubMemBuf, RefusesToWrite)
{
    MessageRecorder messages;
    FilledBuf source("lamp");
    OSubMemBuf window(source, 0, kulToTheEnd);
    EXPECT_EQ(window.Write("x", 1), 0u);
    EXPECT_EQ(messages.Shown(), Boxes{kpWriteNotAllowed});
    EXPECT_EQ(window.Write(nullptr, 0), 0u);
    EXPECT_EQ(messages.Shown(), Boxes{kpWriteNotAllowed});
    window += "x";
    EXPECT_EQ(messages.Shown(), (Boxes{kpWriteNotAllowed, kpWriteError}));
    static_cast<OBuf&>(window) = source;
    EXPECT_EQ(messages.Shown(), (Boxes{kpWriteNotAllowed, kpWriteError}));
    EXPECT_EQ(BytesOf(source), "lamp");
}

TEST(OSubMemBuf, RefusesACapacityAndIgnoresASize)
{
    MessageRecorder messages;
    FilledBuf source("0123456789");
    OSubMemBuf window(source, 3, 5);
    window.SetCapacity(100);
    EXPECT_EQ(messages.Shown(), Boxes{"BaseTests | OSubMemBuf::SetCapacity not allowed"});
    window.SetSize(2);
    EXPECT_EQ(messages.Shown(), Boxes{});
    EXPECT_EQ(window.GetCapacity(), 5u);
    EXPECT_EQ(window.GetSize(), 5u);
}

TEST(OSubMemBuf, CountsThePositionTwiceInItsCurrentBuffer)
{
    FilledBuf source("0123456789");
    OSubMemBuf window(source, 3, 5);
    EXPECT_EQ(window.GetBuffer(), source.GetBuffer() + 3);
    window.SetPosition(2);
    EXPECT_EQ(window.GetBuffer(), source.GetBuffer() + 5);
    EXPECT_EQ(static_cast<const unsigned char*>(window), source.GetBuffer() + 5);
    EXPECT_EQ(window.GetCurrentBuffer(), source.GetBuffer() + 7);
}

TEST(OSubMemBuf, MakesItsCloneUnique)
{
    FilledBuf source("0123456789");
    OSubMemBuf window(source, 3, 5);
    window.MakeUnique();
    EXPECT_EQ(HeaderOf(source).lRefs, 1);
    source.Write("xxxxxxxxxx", 10);
    EXPECT_EQ(ReadFrom(window, 5), "34567");
}

TEST(OSubMemBuf, ItsCloneIsTheSameWindowFromItsStart)
{
    FilledBuf source("0123456789");
    OSubMemBuf window(source, 3, 5);
    window.SetPosition(2);
    const std::unique_ptr<OCustomMemBuf> pClone(window.CreateClone());
    EXPECT_NE(dynamic_cast<OSubMemBuf*>(pClone.get()), nullptr);
    EXPECT_EQ(pClone->GetPosition(), 0u);
    EXPECT_EQ(pClone->GetSize(), 5u);
    EXPECT_EQ(ReadFrom(*pClone, 9), "34567");
    EXPECT_EQ(window.GetPosition(), 2u);
    EXPECT_EQ(HeaderOf(source).lRefs, 3);
}

TEST(OSubMemBuf, CopiesStandOnTheSameCloneWhichEndsWithTheLast)
{
    int iClones = 0;
    OCountedBuf source(&iClones);
    auto pWindow = std::make_unique<OSubMemBuf>(source, 3, 5);
    EXPECT_EQ(iClones, 1);
    pWindow->SetPosition(2);
    OSubMemBuf copy(*pWindow);
    EXPECT_EQ(iClones, 1);
    EXPECT_EQ(copy.GetPosition(), 2u);
    EXPECT_EQ(copy.GetBuffer(), pWindow->GetBuffer());
    pWindow.reset();
    EXPECT_EQ(iClones, 1);
    EXPECT_EQ(ReadFrom(copy, 9), "567");

    {
        OSubMemBuf other(source, 0, 2);
        EXPECT_EQ(iClones, 2);
        other = copy;
        EXPECT_EQ(iClones, 1);
        EXPECT_EQ(other.GetPosition(), 5u);
        EXPECT_EQ(other.GetSize(), 5u);
        OSubMemBuf& same = other;
        other = same;
        EXPECT_EQ(other.Seek(0, OBuf::SeekFromBegin), 0u);
        EXPECT_EQ(ReadFrom(other, 1), "3");
        EXPECT_EQ(copy.GetPosition(), 5u); // positions are each one's own
    }
    EXPECT_EQ(iClones, 1);
}

TEST(OSubMemBuf, LetsGoOfItsCloneWhenItEnds)
{
    int iClones = 0;
    OCountedBuf source(&iClones);
    OBuf* pWindow = new OSubMemBuf(source, 3, 5);
    EXPECT_EQ(iClones, 1);
    delete pWindow;
    EXPECT_EQ(iClones, 0);
}

TEST(OSubMemBuf, OutlivesItsSource)
{
    auto pSource = std::make_unique<FilledBuf>("0123456789");
    OSubMemBuf window(*pSource, 3, 5);
    OSubMemBuf inner(window, 1, kulToTheEnd);
    pSource.reset();
    EXPECT_EQ(ReadFrom(window, 5), "34567");
    EXPECT_EQ(ReadFrom(inner, 5), "4567");
}

TEST(OSubMemBuf, IsCopiedIntoAMemoryStream)
{
    const std::string sBytes = Sample(200000);
    FilledBuf source(sBytes);
    OSubMemBuf window(source, 1000, 150000);
    window.SetPosition(77);
    OMemBuf target;
    EXPECT_EQ(target.CopyFromMem(window, 0), 150000u);
    EXPECT_TRUE(BytesOf(target) == sBytes.substr(1000, 150000));
    EXPECT_EQ(window.GetPosition(), 150000u);
    OMemBuf copy(static_cast<OBuf&>(window));
    EXPECT_TRUE(BytesOf(copy) == BytesOf(target));
    EXPECT_EQ(copy.GetPosition(), 150000u);
    EXPECT_EQ(copy.GetCapacity(), target.GetCapacity());
}

TEST(OSubMemBuf, GivesACopyNothingFromBeyondTheWindow)
{
    MessageRecorder messages;
    FilledBuf source("0123456789");
    OSubMemBuf window(source, 3, 5), around(source, 0xFFFFFFF0, 0x100), tooLong(source, 8, 5);
    const std::string sNothing(2, '\0');
    for (ULONG ulPosition : {5u, 6u, 0xFFFFFFFFu})
    {
        OMemBuf target;
        window.SetPosition(ulPosition);
        EXPECT_EQ(target.CopyFrom(window, 2), 2u);
        EXPECT_EQ(BytesOf(target), sNothing);
        EXPECT_EQ(window.GetPosition(), ulPosition);
        EXPECT_EQ(messages.Shown(), Boxes{kpReadError});
    }
    OMemBuf target;
    window.SetPosition(4);
    target.CopyFrom(window, 2);
    EXPECT_EQ(BytesOf(target), std::string("7\0", 2));
    around.SetPosition(0x12); // the sum is 2
    target.CopyFrom(around, 2);
    tooLong.SetPosition(1);
    target.CopyFrom(tooLong, 2);
    EXPECT_EQ(BytesOf(target), std::string("7\0\0\0\0\0", 6));
    EXPECT_EQ(messages.Shown(), Boxes(3, kpReadError));
}
