// The raw buffer: its contents, its codes and what it logs.
#include "CException.h"
#include "NoLargeBlocks.h"
#include "LogRecorder.h"
#include "OBuffer.h"
#include "Raises.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

constexpr ULONG kulTooMuch = 0xFFFFFFFF;

// A buffer whose pointer and length can be made to contradict each other.
class OBrokenBuffer : public OBuffer
{
public:
    OBrokenBuffer(void* pBuffer, ULONG ulLength) { Break(pBuffer, ulLength); }
    ~OBrokenBuffer() override { Break(nullptr, 0); }

private:
    void Break(void* pBuffer, ULONG ulLength)
    {
        mpBuffer = pBuffer;
        mulLength = ulLength;
    }
};

namespace
{
class OBufferLog : public testing::Test
{
protected:
    using Lines = LogRecorder::Lines;
    LogRecorder log;
};
} // namespace

static std::string Contents(OBuffer& buffer)
{
    if (buffer.Length() == 0) return "";
    return std::string(static_cast<const char*>(buffer.AsPointer()), buffer.Length());
}

static std::string Hex(const void* pAddress)
{
    char acText[20];
    std::snprintf(acText, sizeof acText, "%x", static_cast<unsigned int>(reinterpret_cast<ULONG_PTR>(pAddress)));
    return acText;
}

// Contents -----------------------------------------------------------------------------------------------------------------

TEST(OBuffer, StartsEmptyAndValid)
{
    OBuffer buffer;
    EXPECT_EQ(buffer.Length(), 0u);
    EXPECT_EQ(OBuffer::IsValid(buffer), 1);
    EXPECT_EQ(buffer.GetErrorBase(), 10500u);
}

TEST(OBuffer, GivesZeroBytesWhenItGetsALengthAlone)
{
    OBuffer buffer(16, nullptr);
    EXPECT_EQ(Contents(buffer), std::string(16, '\0'));
}

TEST(OBuffer, CopiesTheBytesItGets)
{
    char acText[] = "lamp";
    OBuffer buffer(4, acText);
    acText[0] = 'd';
    EXPECT_EQ(Contents(buffer), "lamp");
}

TEST(OBuffer, CopiesAnotherBuffer)
{
    OBuffer buffer(4, "lamp");
    OBuffer copy(buffer);
    buffer.Delete();
    EXPECT_EQ(Contents(copy), "lamp");
    EXPECT_EQ(copy.GetErrorBase(), 10500u);
}

TEST(OBuffer, BecomesEmptyWhenSetToNothing)
{
    OBuffer buffer(4, nullptr);
    buffer.Set(0, nullptr);
    EXPECT_EQ(buffer.Length(), 0u);
    EXPECT_EQ(OBuffer::IsValid(buffer), 1);
}

TEST(OBuffer, MayBeSetFromItsOwnBytes)
{
    OBuffer buffer(6, "yellow");
    buffer.Set(3, static_cast<char*>(buffer.AsPointer()) + 3);
    EXPECT_EQ(Contents(buffer), "low");
}

TEST(OBuffer, AllocatesZeroBytesInPlaceOfTheOldOnes)
{
    OBuffer buffer(2, "ab");
    buffer.Alloc(3);
    EXPECT_EQ(Contents(buffer), std::string(3, '\0'));
    buffer.Alloc(0);
    EXPECT_EQ(buffer.Length(), 0u);
    EXPECT_EQ(OBuffer::IsValid(buffer), 1);
}

TEST(OBuffer, DeletesItsBytesAsOftenAsAsked)
{
    OBuffer buffer(2, "ab");
    buffer.Delete();
    buffer.Delete();
    EXPECT_EQ(buffer.Length(), 0u);
}

TEST(OBuffer, KnowsWhereItsBytesEnd)
{
    OBuffer buffer(5, "lamps");
    EXPECT_EQ(buffer.EndOfBufferPointer(), static_cast<char*>(buffer.AsPointer()) + 5);
}

TEST(OBuffer, TakesTheContentsOfAnother)
{
    OBuffer buffer(2, "ab");
    OBuffer other(4, "lamp");
    EXPECT_EQ(&(buffer = other), &buffer);
    EXPECT_EQ(Contents(buffer), "lamp");
    EXPECT_EQ(Contents(other), "lamp");
}

TEST(OBuffer, StaysAsItIsWhenAssignedToItself)
{
    OBuffer buffer(4, "lamp");
    OBuffer& same = buffer;
    buffer = same;
    EXPECT_EQ(Contents(buffer), "lamp");
}

TEST(OBuffer, AssignsThroughTheVirtualSet)
{
    struct OCountingBuffer : OBuffer
    {
        using OBuffer::operator=;
        void Set(ULONG ulSize, const void* pSource) override
        {
            ++iSets;
            OBuffer::Set(ulSize, pSource);
        }
        int iSets = 0;
    } buffer;
    OBuffer other(4, "lamp");
    static_cast<OBuffer&>(buffer) = other;
    EXPECT_EQ(buffer.iSets, 1);
    EXPECT_EQ(Contents(buffer), "lamp");
}

TEST(OBuffer, HasItsVirtualMembersInTheirOrder)
{
    // Calling through the table shows where each stands. Two entries are the destructor's, on both systems.
    struct OProbe : OBuffer
    {
        void Raise(ULONG) override { iCalled = 2; }
        void* AsPointer() override { return iCalled = 3, nullptr; }
        void Delete() override { iCalled = 4; }
        void Set(ULONG, const void*) override { iCalled = 5; }
        OBuffer& operator=(OBuffer& Source) override { return iCalled = 6, Source; }
        int iCalled = -1;
    } probe;
    void* const* pTable = nullptr;
    std::memcpy(&pTable, static_cast<void*>(&probe), sizeof pTable);
    for (int iSlot = 2; iSlot <= 6; ++iSlot)
    {
        using Member = void* (*)(OProbe*, void*, void*);
        reinterpret_cast<Member>(pTable[iSlot])(&probe, nullptr, nullptr);
        EXPECT_EQ(probe.iCalled, iSlot);
    }
}

TEST(OBuffer, JudgesTheBufferItIsGivenAndNotItself)
{
    char cByte = 0;
    OBrokenBuffer noPointer(nullptr, 4);
    OBrokenBuffer noLength(&cByte, 0);
    OBuffer whole(1, "a");
    EXPECT_EQ(whole.IsValid(noPointer), 0);
    EXPECT_EQ(whole.IsValid(noLength), 0);
    EXPECT_EQ(noPointer.IsValid(whole), 1);
}

// Appending ----------------------------------------------------------------------------------------------------------------

TEST(OBuffer, AppendsInOrder)
{
    OBuffer buffer(3, "abc");
    EXPECT_EQ(&(buffer += OBuffer(2, "de")), &buffer);
    EXPECT_EQ(Contents(buffer), "abcde");
    buffer += OBuffer();
    EXPECT_EQ(Contents(buffer), "abcde");

    OBuffer empty;
    empty += buffer;
    EXPECT_EQ(Contents(empty), "abcde");
}

TEST(OBuffer, IsEmptyAndValidAfterAppendingNothingToNothing)
{
    OBuffer buffer;
    buffer += OBuffer();
    EXPECT_EQ(buffer.Length(), 0u);
    EXPECT_EQ(OBuffer::IsValid(buffer), 1);
}

TEST(OBuffer, LeavesTheSecondHalfUnfilledWhenAppendedToItself)
{
    OBuffer buffer(4, "lamp");
    buffer += buffer;
    EXPECT_EQ(buffer.Length(), 8u);
    EXPECT_EQ(Contents(buffer).substr(0, 4), "lamp");
    EXPECT_NE(Contents(buffer).substr(4), "lamp");
}

// Failures -----------------------------------------------------------------------------------------------------------------

TEST_F(OBufferLog, GoesUnderUtilities)
{
    OBuffer().Log("here");
    EXPECT_EQ(log.Others(), Lines{"Utilities | OBuffer | Item | here"});
}

TEST_F(OBufferLog, APointerWithoutALengthIsRefused)
{
    EXPECT_RAISES(OBuffer(0, "a"), 10502);
    EXPECT_EQ(log.Places(), Lines{"Caught in OBuffer::Set"});
    EXPECT_EQ(log.Errors(), Lines{});
}

TEST_F(OBufferLog, ALengthWithoutAPointerIsRefusedBySet)
{
    OBuffer buffer(4, "lamp");
    EXPECT_RAISES(buffer.Set(3, nullptr), 10503);
    EXPECT_EQ(log.Places(), Lines{"Caught in OBuffer::Set"});
    EXPECT_EQ(buffer.Length(), 0u);
    EXPECT_EQ(OBuffer::IsValid(buffer), 1);

    OBuffer other(4, "lamp");
    EXPECT_RAISES(other.Set(0, "a"), 10502);
    EXPECT_EQ(other.Length(), 0u);
}

TEST_F(OBufferLog, AnEmptyBufferHasNoPointers)
{
    OBuffer buffer;
    EXPECT_RAISES(buffer.AsPointer(), 10503);
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(log.Places(), Lines{"Caught in OBuffer::AsPointer"});

    EXPECT_RAISES(buffer.EndOfBufferPointer(), 10503);
    EXPECT_EQ(log.Errors(), Lines{"OBuffer | EndOfBufferPointer | mpBuffer==NULL"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OBuffer::EndOfBufferPointer"});
}

TEST_F(OBufferLog, AnInvalidBufferIsRefusedByItsOwnMembers)
{
    OBrokenBuffer broken(nullptr, 7);
    const std::string sThis = Hex(static_cast<OBuffer*>(&broken));

    EXPECT_RAISES(broken.AsPointer(), 10502);
    EXPECT_EQ(log.Errors(), Lines{});
    EXPECT_EQ(log.Places(), Lines{"Caught in OBuffer::AsPointer"});

    EXPECT_RAISES(broken.Delete(), 10502);
    EXPECT_EQ(log.Errors(), Lines{"OBrokenBuffer | AsPointer | Invalid OBuffer:  mpBuffer=0 ; mulLength=7 ; "
                                  "this=" + sThis});
    EXPECT_EQ(log.Places(), Lines{"Caught in OBuffer::Delete"});

    EXPECT_RAISES(broken.EndOfBufferPointer(), 10502);
    EXPECT_EQ(log.Errors(), Lines{"OBrokenBuffer | EndOfBufferPointer | Invalid OBuffer :  this=" + sThis +
                                  " : ulLength=7"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OBuffer::EndOfBufferPointer"});

    EXPECT_RAISES(broken.Set(1, "a"), 10502);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OBuffer::Delete", "Caught in OBuffer::Set"}));
    EXPECT_RAISES(broken.Alloc(1), 10502);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OBuffer::Delete", "Caught in OBuffer::Alloc"}));
    OBuffer one(1, "a");
    EXPECT_RAISES(broken += one, 10502);
    EXPECT_EQ(log.Places(), (Lines{"Caught in OBuffer::Delete", "Caught in OBuffer::operator=+"}));
}

TEST_F(OBufferLog, AnInvalidSourceIsRefused)
{
    OBrokenBuffer broken(nullptr, 7);
    const std::string sBroken = Hex(static_cast<OBuffer*>(&broken));

    EXPECT_RAISES(OBuffer(static_cast<const OBuffer&>(broken)), 10502);
    EXPECT_EQ(log.Errors(), Lines{"OBuffer | OBuffer(const OBuffer& BufferSrc) | Invalid OBuffer given: BufferSrc.mulLength==7"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OBuffer::OBuffer - Copy"});

    OBuffer buffer(4, "lamp");
    EXPECT_RAISES(buffer = broken, 10502);
    EXPECT_EQ(log.Errors(), Lines{"OBuffer | operator = | Invalid sourve OBuffer:   Source=" + sBroken + " : Source.ulLength=7"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OBuffer::operator="});

    EXPECT_RAISES(buffer += broken, 10502);
    EXPECT_EQ(log.Errors(), Lines{"OBuffer | operator += | Invalid OBuffer :  BufferSrc=" + sBroken + " : BufferSrc.ulLength=7"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OBuffer::operator=+"});
    EXPECT_EQ(Contents(buffer), "lamp");
}

TEST_F(OBufferLog, TheEndOfAnInvalidBufferIsLoggedAndNotThrown)
{
    struct OLeftBroken : OBuffer
    {
        OLeftBroken() { mulLength = 7; }
    };
    { OLeftBroken broken; }
    EXPECT_EQ(log.Places(), (Lines{"Caught in OBuffer::Delete", "Caught in OBuffer::~OBuffer"}));
}

// Exhausted memory -----------------------------------------------------------------------------------------------------------

TEST_F(OBufferLog, ExhaustedMemoryIsCodeOne)
{
    OBuffer set(4, "lamp");
    OBuffer alloc(4, "lamp");
    const NoLargeBlocks none;

    EXPECT_RAISES(OBuffer(kulTooMuch, nullptr), 10501);
    EXPECT_EQ(log.Errors(), Lines{"OBuffer | OBuffer(ULONG ulLength, void* pBuffer) | Insufficient memory available"});

    EXPECT_RAISES(set.Set(kulTooMuch, "never read"), 10501);
    EXPECT_EQ(log.Errors(), Lines{"OBuffer | Set | Insufficient memory available"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OBuffer::Set"});

    EXPECT_RAISES(alloc.Alloc(kulTooMuch), 10501);
    EXPECT_EQ(log.Errors(), Lines{"OBuffer | Alloc | Insufficient memory available"});
    EXPECT_EQ(log.Places(), Lines{"Caught in OBuffer::Alloc"});

    for (OBuffer* pBuffer : {&set, &alloc})
    {
        EXPECT_EQ(pBuffer->Length(), 0u);
        EXPECT_EQ(OBuffer::IsValid(*pBuffer), 1);
    }
}

TEST_F(OBufferLog, AnAppendThatFindsNoMemoryChangesNothing)
{
    char cByte = 0; // nothing of these is read
    OBrokenBuffer buffer(&cByte, 0x80000000);
    OBrokenBuffer fits(&cByte, 0x7FFFFFFF);
    OBrokenBuffer isTooLong(&cByte, 0x80000000);
    const NoLargeBlocks none;
    for (const OBuffer* pMore : {&fits, &isTooLong})
    {
        bool bCaught = false;
        try
        {
            buffer += *pMore;
        }
        catch (CMemoryException* pEx)
        {
            pEx->Delete();
            bCaught = true;
        }
        EXPECT_TRUE(bCaught);
        EXPECT_EQ(buffer.Length(), 0x80000000u);
        EXPECT_EQ(log.Places(), Lines{"Caught in OBuffer::operator=+"});
    }
    EXPECT_EQ(log.Errors(), Lines{});
}
