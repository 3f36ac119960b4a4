// The block behind a memory stream: its header and growth, who shares it, who writes to it.
#include "CException.h"
#include "NoLargeBlocks.h"
#include "OMemBuf.h"
#include "Streams.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

static bool IsEmptyBlock(OMemBuf& buf)
{
    OMemBuf empty;
    return buf.GetBuffer() == empty.GetBuffer();
}

// A stream whose block has a negative count while this lives, as if somebody kept it for himself.
class OKeptBlock
{
public:
    explicit OKeptBlock(OMemBuf& buf) : mHeader(HeaderOf(buf)) { mHeader.lRefs = -1; }
    ~OKeptBlock() { mHeader.lRefs = 1; }

private:
    OBlockHeader& mHeader;
};

TEST(OMemBuf, HasCountSizeAndCapacityInFrontOfItsBytes)
{
    OMemBuf buf("lamp", 4);
    OMemBuf share(buf);
    EXPECT_EQ(HeaderOf(buf).lRefs, 2);
    EXPECT_EQ(HeaderOf(buf).ulSize, 4u);
    EXPECT_EQ(HeaderOf(buf).ulCapacity, 32u);
    EXPECT_EQ(sizeof(OBlockHeader), 12u);
    EXPECT_EQ(reinterpret_cast<ULONG_PTR>(buf.GetBuffer()) % 16, 0u);
}

// The empty block -----------------------------------------------------------------------------------------------------------

TEST(OMemBuf, WithoutBytesPointsAtTheOneEmptyBlock)
{
    OMemBuf empty, other;
    EXPECT_EQ(empty.GetBuffer(), other.GetBuffer());
    OMemBuf copy(empty), fromNothing("", 0), trimmed("lamp", 4), unique("lamp", 4);
    trimmed.SetSize(0);
    trimmed.SetCapacity(0);
    unique.SetSize(0);
    OMemBuf share(unique);
    unique.MakeUnique();
    for (OMemBuf* pBuf : {&copy, &fromNothing, &trimmed, &unique}) EXPECT_TRUE(IsEmptyBlock(*pBuf));
    EXPECT_FALSE(IsEmptyBlock(share));
}

TEST(OMemBuf, NeverWritesToTheEmptyBlock)
{
    {
        OMemBuf buf, other;
        buf.Clear();
        buf.SetSize(0);
        buf.SetCapacity(0);
        buf.MakeUnique();
        buf.Write("", 0);
        buf = other;
        buf.CopyFrom(other, 0);
        OMemBuf copy(buf);
        copy = buf;
        EXPECT_TRUE(IsEmptyBlock(buf));
        buf += "lamp";
        buf = other;
        const OKeptBlock kept(buf);
        buf = other;
    }
    OMemBuf empty;
    EXPECT_EQ(HeaderOf(empty).lRefs, -1);
    EXPECT_EQ(HeaderOf(empty).ulSize, 0u);
    EXPECT_EQ(HeaderOf(empty).ulCapacity, 0u);
}

// Growth --------------------------------------------------------------------------------------------------------------------

TEST(OMemBuf, GrowsByItsRule)
{
    struct ORow
    {
        ULONG ulSize, ulCapacity;
    };
    const ORow aRows[] = {{1, 32},          {31, 32},        {32, 64},        {63, 64},        {64, 128},       {127, 128},
                          {128, 256},       {255, 256},      {256, 512},      {512, 1024},     {1023, 1024},    {1024, 2048},
                          {2048, 4096},     {4095, 4096},    {4096, 4096},    {4097, 12288},   {5000, 12288},   {8191, 12288},
                          {8192, 8192},     {8193, 16384},   {61440, 61440},  {61441, 69632},  {65536, 65536},  {100000, 106496}};
    for (const ORow& row : aRows)
    {
        FilledBuf buf(Sample(row.ulSize));
        EXPECT_EQ(buf.GetCapacity(), row.ulCapacity) << row.ulSize;
    }
}

TEST(OMemBuf, GrowsWhenAnAppendDoesNotFitAndNotBefore)
{
    OMemBuf buf;
    for (ULONG ulSize = 1; ulSize <= 20000; ++ulSize)
    {
        const ULONG ulBefore = buf.GetCapacity();
        buf += static_cast<unsigned char>(ulSize);
        if (ulSize <= ulBefore) ASSERT_EQ(buf.GetCapacity(), ulBefore);
        else ASSERT_EQ(buf.GetCapacity(), FilledBuf(Sample(ulSize)).GetCapacity());
    }
    for (ULONG ulSize = 1; ulSize <= 20000; ++ulSize) ASSERT_EQ(buf.GetBuffer()[ulSize - 1], static_cast<unsigned char>(ulSize));
}

// Sharing -------------------------------------------------------------------------------------------------------------------

TEST(OMemBuf, CopiesClonesAndAssignmentsShareOneBlock)
{
    OMemBuf buf("lamp", 4);
    {
        OMemBuf copy(buf), any(static_cast<OBuf&>(buf)), assigned("else", 4), assignedAny;
        const std::unique_ptr<OCustomMemBuf> pClone(buf.CreateClone());
        assigned = buf;
        assignedAny = static_cast<OBuf&>(buf);
        assigned = buf;
        OCustomMemBuf* aBufs[] = {&copy, &any, &assigned, &assignedAny, pClone.get()};
        for (OCustomMemBuf* pBuf : aBufs)
            EXPECT_EQ(pBuf->GetBuffer(), buf.GetBuffer());
        EXPECT_EQ(HeaderOf(buf).lRefs, 6);
    }
    EXPECT_EQ(HeaderOf(buf).lRefs, 1);
}

TEST(OMemBuf, AnOverwriteIsSeenByAllSharersAndAnAppendByNone)
{
    OMemBuf buf("lamp", 4), share(buf);
    share.Write("d", 1);
    EXPECT_EQ(BytesOf(buf), "damp");
    EXPECT_EQ(buf.GetBuffer(), share.GetBuffer());
    share.SetPosition(4);
    share.Write("er", 2);
    EXPECT_EQ(BytesOf(buf), "damp");
    EXPECT_EQ(BytesOf(share), "damper");
    EXPECT_EQ(HeaderOf(buf).lRefs, 1);
    EXPECT_EQ(HeaderOf(share).lRefs, 1);
}

TEST(OMemBuf, OneWriteMayDoBoth)
{
    OMemBuf buf("lamp", 4), share(buf);
    share.SetPosition(2);
    share.Write("ST, not least", 13);
    EXPECT_EQ(BytesOf(buf), "laST");
    EXPECT_EQ(BytesOf(share), "laST, not least");
}

TEST(OMemBuf, AnAppendByASharerStartsFromTheSizeNotFromTheSpareRoom)
{
    OMemBuf buf("lamp", 4);
    buf.SetCapacity(5000);
    OMemBuf share(buf);
    share.SetPosition(4);
    share.Write("!", 1);
    EXPECT_EQ(share.GetCapacity(), 32u);
    EXPECT_EQ(buf.GetCapacity(), 5000u);
}

TEST(OMemBuf, MakeUniqueLeavesTheSpareRoomToTheOthers)
{
    OMemBuf buf("lamp", 4);
    buf.MakeUnique();
    EXPECT_EQ(buf.GetCapacity(), 32u); // nobody shares it: nothing happens
    OMemBuf share(buf);
    share.MakeUnique();
    EXPECT_NE(share.GetBuffer(), buf.GetBuffer());
    EXPECT_EQ(share.GetCapacity(), 4u);
    EXPECT_EQ(BytesOf(share), "lamp");
    EXPECT_EQ(HeaderOf(buf).lRefs, 1);
    EXPECT_EQ(HeaderOf(share).lRefs, 1);
}

TEST(OMemBuf, ClearAndSetCapacityOfASharerLeaveTheOthersAlone)
{
    OMemBuf buf("lamp", 4), cleared(buf), larger(buf), smaller(buf), grown(buf);
    cleared.Clear();
    EXPECT_EQ(cleared.GetSize(), 0u);
    EXPECT_EQ(cleared.GetCapacity(), 4u);
    larger.SetCapacity(100);
    EXPECT_EQ(larger.GetCapacity(), 100u);
    smaller.SetCapacity(1);
    EXPECT_EQ(smaller.GetCapacity(), 4u);
    grown.SetSize(100);
    EXPECT_EQ(grown.GetCapacity(), 100u);
    for (OMemBuf* pBuf : {&buf, &larger, &smaller, &grown}) EXPECT_EQ(BytesOf(*pBuf).substr(0, 4), "lamp");
    EXPECT_EQ(buf.GetSize(), 4u);
    EXPECT_EQ(HeaderOf(buf).lRefs, 1);
}

TEST(OMemBuf, ASizeWithinTheCapacityIsSeenByAllSharers)
{
    OMemBuf buf("lamp", 4), share(buf);
    buf.SetPosition(4);
    share.SetSize(2);
    EXPECT_EQ(BytesOf(buf), "la");
    EXPECT_EQ(buf.GetPosition(), 4u); // beyond the size now
    EXPECT_EQ(buf.Write("!", 1), 0u);
    char cByte = 0;
    EXPECT_EQ(buf.Read(&cByte, 1), 0u);
}

TEST(OMemBuf, TakingAnEmptyOneKeepsTheRoomOfAnUnsharedBlock)
{
    OMemBuf buf("lamp", 4), empty;
    buf = empty;
    EXPECT_EQ(buf.GetSize(), 0u);
    EXPECT_EQ(buf.GetCapacity(), 32u);

    OMemBuf other("lamp", 4), share(other);
    share = empty;
    EXPECT_TRUE(IsEmptyBlock(share));
    EXPECT_EQ(BytesOf(other), "lamp");
    EXPECT_EQ(HeaderOf(other).lRefs, 1);
}

TEST(OMemBuf, ABlockWithANegativeCountIsCopied)
{
    OMemBuf buf("lamp", 4), target("abcdefghi", 9), shared("abc", 3), sharer(shared);
    const OKeptBlock kept(buf);
    const unsigned char* pTarget = target.GetBuffer();
    OMemBuf copy(buf);
    EXPECT_NE(copy.GetBuffer(), buf.GetBuffer());
    EXPECT_EQ(BytesOf(copy), "lamp");
    EXPECT_EQ(copy.GetCapacity(), 4u);
    target = buf; // into the room that is there
    EXPECT_EQ(target.GetBuffer(), pTarget);
    EXPECT_EQ(BytesOf(target), "lamp");
    EXPECT_EQ(target.GetCapacity(), 32u);
    sharer = buf;
    EXPECT_EQ(BytesOf(sharer), "lamp");
    EXPECT_EQ(sharer.GetCapacity(), 4u);
    EXPECT_EQ(BytesOf(shared), "abc");
    EXPECT_EQ(HeaderOf(shared).lRefs, 1);
    EXPECT_EQ(HeaderOf(buf).lRefs, -1);
}

TEST(OMemBuf, ABlockWithANegativeCountTakesBytesAndNoOtherBlock)
{
    OMemBuf buf("lamp", 4), source("damper", 6);
    const OKeptBlock kept(buf);
    const unsigned char* pBytes = buf.GetBuffer();
    buf = source;
    EXPECT_EQ(buf.GetBuffer(), pBytes);
    EXPECT_EQ(BytesOf(buf), "damper");
    EXPECT_EQ(HeaderOf(source).lRefs, 1);
    buf.SetPosition(6);
    buf += static_cast<unsigned char>('!');
    EXPECT_EQ(buf.GetBuffer(), pBytes);
    EXPECT_EQ(HeaderOf(buf).lRefs, -1);
}

TEST(OMemBuf, ABlockWithANegativeCountIsReplacedWhenItIsTooSmall)
{
    OMemBuf grown("lamp", 4), assigned("lamp", 4), source(Sample(100).data(), 100);
    HeaderOf(grown).lRefs = HeaderOf(assigned).lRefs = -1;
    grown.SetPosition(4);
    grown.WriteBuffer(Sample(100).data(), 100);
    EXPECT_EQ(BytesOf(grown), "lamp" + Sample(100));
    EXPECT_EQ(HeaderOf(grown).lRefs, 1);
    assigned = source;
    EXPECT_EQ(BytesOf(assigned), Sample(100));
    EXPECT_EQ(assigned.GetCapacity(), 100u);
    EXPECT_EQ(HeaderOf(assigned).lRefs, 1);
}

TEST(OMemBuf, StreamsThatShareABlockMayLiveOnDifferentThreads)
{
    const std::string sBytes = Sample(100);
    OMemBuf shared(sBytes.data(), 100);
    std::vector<std::thread> threads;
    for (int iThread = 0; iThread < 4; ++iThread)
    {
        threads.emplace_back([&sBytes, iThread, own = std::make_unique<OMemBuf>(shared)]
        {
            for (int i = 0; i < 20000; ++i)
            {
                OMemBuf copy(*own), assigned;
                assigned = copy;
                if (i % 3 == 0)
                {
                    copy.SetPosition(100);
                    copy += static_cast<unsigned char>(iThread);
                }
                ASSERT_EQ(ReadFrom(assigned, 100), sBytes);
                if (i % 3 != 0) continue;
                ASSERT_EQ(copy.GetBuffer()[100], iThread);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    threads.clear();
    EXPECT_EQ(HeaderOf(shared).lRefs, 1);
}

TEST(OMemBuf, TheLastSharerOnAnyThreadFreesTheBlock)
{
    for (int i = 0; i < 300; ++i)
    {
        auto pFirst = std::make_unique<OMemBuf>("lamp", 4);
        auto pSecond = std::make_unique<OMemBuf>(*pFirst);
        std::thread thread([&pSecond]
        {
            pSecond->SetPosition(4);
            *pSecond += static_cast<unsigned char>('!');
            EXPECT_EQ(BytesOf(*pSecond), "lamp!");
            pSecond.reset();
        });
        pFirst.reset();
        thread.join();
    }
}

// Exhausted memory -----------------------------------------------------------------------------------------------------------

TEST(OMemBuf, StaysWholeWhenMemoryIsExhausted)
{
    OMemBuf empty, own("lamp", 4), shared("damp", 4), sharer(shared);
    const NoLargeBlocks none;
    for (OMemBuf* pBuf : {&empty, &own, &sharer})
    {
        const std::string sBefore = BytesOf(*pBuf);
        const ULONG ulCapacity = pBuf->GetCapacity();
        const unsigned char* pBytes = pBuf->GetBuffer();
        pBuf->SetPosition(1);
        EXPECT_THROW(pBuf->SetSize(0xFFFFFFFF), CMemoryException*);
        EXPECT_THROW(pBuf->SetCapacity(0x80000000), CMemoryException*);
        EXPECT_EQ(pBuf->GetBuffer(), pBytes);
        EXPECT_EQ(pBuf->GetCapacity(), ulCapacity);
        EXPECT_EQ(pBuf->GetPosition(), 1u);
        EXPECT_EQ(BytesOf(*pBuf), sBefore);
    }
    EXPECT_EQ(HeaderOf(shared).lRefs, 2);
}

// Headers that claim more than there is: what follows finds no memory before it reads any of that.
TEST(OMemBuf, AnAppendThatFindsNoMemoryWritesNothing)
{
    OMemBuf own("lamp", 4), shared("lamp", 4), sharer(shared);
    const NoLargeBlocks none;
    for (OMemBuf* pBuf : {&own, &sharer})
    {
        OBlockHeader& header = HeaderOf(*pBuf);
        const OBlockHeader before = header;
        header.ulSize = header.ulCapacity = 0xFFFFFFF0;
        for (ULONG ulOver : {0u, 2u})
        {
            pBuf->SetPosition(0xFFFFFFF0 - ulOver);
            EXPECT_THROW(pBuf->Write("abcdef", ulOver + 4), CMemoryException*);
            EXPECT_EQ(pBuf->GetPosition(), 0xFFFFFFF0 - ulOver);
            EXPECT_EQ(pBuf->GetSize(), 0xFFFFFFF0u);
        }
        EXPECT_EQ(header.lRefs, before.lRefs);
        header = before;
        EXPECT_EQ(BytesOf(*pBuf), "lamp");
    }
    OMemBuf source("lamp", 4), target;
    const OBlockHeader before = HeaderOf(source);
    HeaderOf(source).ulSize = 0xFFFFFFF0;
    EXPECT_THROW(target.CopyFrom(source, 0), CMemoryException*);
    EXPECT_EQ(source.GetPosition(), 0u);
    EXPECT_EQ(target.GetSize(), 0u);
    HeaderOf(source) = before;
}
