// Copies between streams in memory, which need not go by chunks and must look as if they did.
#include "MessageRecorder.h"
#include "OMemBuf.h"
#include "OSubBuf.h"
#include "OSubMemBuf.h"
#include "Streams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using Boxes = MessageRecorder::Boxes;

TEST(OMemBuf, CopiesFromTheOthersPositionToItsOwn)
{
    FilledBuf source("0123456789");
    OMemBuf plain("abcdef", 6), from("0123456789", 10);
    for (OMemBuf* pSource : {static_cast<OMemBuf*>(&source), &from})
    {
        OMemBuf target(plain);
        target.MakeUnique();
        pSource->SetPosition(3);
        target.SetPosition(4);
        EXPECT_EQ(target.CopyFrom(*pSource, 5), 5u);
        EXPECT_EQ(BytesOf(target), "abcd34567");
        EXPECT_EQ(target.GetPosition(), 9u);
        EXPECT_EQ(pSource->GetPosition(), 8u);
        EXPECT_EQ(target.CopyFromMem(*pSource, 0), 10u);
        EXPECT_EQ(BytesOf(target), "abcd345670123456789");
        EXPECT_EQ(pSource->GetPosition(), 10u);
    }
}

TEST(OMemBuf, CopiesNothingFromAnEmptyOne)
{
    OMemBuf buf("lamp", 4), empty;
    empty.SetPosition(9);
    EXPECT_EQ(buf.CopyFrom(empty, 0), 0u);
    EXPECT_EQ(empty.GetPosition(), 0u);
    buf += empty;
    EXPECT_EQ(BytesOf(buf), "lamp");
}

TEST(OMemBuf, GrowsWhileItCopiesAsByChunks)
{
    for (std::size_t ulSize : {1u, 61439u, 61440u, 61441u, 70000u, 122880u, 122881u, 1000000u})
    {
        const std::string sBytes = Sample(ulSize);
        OMemBuf source(sBytes.data(), static_cast<int>(ulSize)), target("lamp", 4), share(target);
        RecordingBuf plain(sBytes);
        FilledBuf watched("lamp");
        watched.SetPosition(2);
        watched.CopyFrom(plain, 0); // the long way
        target.SetPosition(2);
        EXPECT_EQ(target.CopyFrom(source, 0), ulSize);
        EXPECT_EQ(BytesOf(target), "la" + sBytes.substr(0, ulSize) + (ulSize == 1 ? "p" : ""));
        EXPECT_EQ(target.GetCapacity(), watched.GetCapacity()) << ulSize;
        EXPECT_EQ(BytesOf(share).substr(0, 3), "la" + sBytes.substr(0, 1)); // the part within the size was written over
    }
}

TEST(OMemBuf, ShowsWhatItCannotCopy)
{
    MessageRecorder messages;
    OMemBuf source("lamp", 4), target("xyz", 3);
    target.SetPosition(3);
    EXPECT_EQ(target.CopyFrom(source, 5), 5u); // all or nothing: five zero bytes
    EXPECT_EQ(messages.Shown(), Boxes{kpReadError});
    EXPECT_EQ(BytesOf(target), std::string("xyz\0\0\0\0\0", 8));
    EXPECT_EQ(source.GetPosition(), 0u);

    target.SetPosition(100);
    EXPECT_EQ(target.CopyFrom(source, 4), 4u);
    EXPECT_EQ(messages.Shown(), Boxes{kpWriteError});
    EXPECT_EQ(target.GetSize(), 8u);
    EXPECT_EQ(source.GetPosition(), 4u);

    source.SetPosition(5);
    EXPECT_EQ(target.CopyFrom(source, 4), 4u);
    EXPECT_EQ(messages.Shown(), (Boxes{kpReadError, kpWriteError}));
}

TEST(OMemBuf, CopiesFromItselfWithItsOnePosition)
{
    MessageRecorder messages;
    OMemBuf buf("0123456789", 10);
    EXPECT_EQ(buf.CopyFrom(buf, 3), 3u);
    EXPECT_EQ(BytesOf(buf), "0120126789");
    EXPECT_EQ(buf.GetPosition(), 6u);
    EXPECT_EQ(buf.CopyFrom(buf, 0), 10u);
    EXPECT_EQ(BytesOf(buf), "01201267890120126789");
    EXPECT_EQ(messages.Shown(), Boxes{});
    buf += buf; // from its end, where there is nothing to read
    EXPECT_EQ(messages.Shown(), Boxes{kpReadError});
    EXPECT_EQ(BytesOf(buf), "01201267890120126789" + std::string(20, '\0'));
}

TEST(OMemBuf, CopiesWithinASharedBlockChunkByChunk)
{
    const std::string sBytes = Sample(200000);
    FilledBuf filled(sBytes);
    OMemBuf from(filled), to(filled);
    to.SetPosition(1000);
    EXPECT_EQ(to.CopyFrom(from, 150000), 150000u);
    std::string sExpected = sBytes; // each chunk reads what the one before wrote
    for (std::size_t ulAt = 0; ulAt < 150000; ulAt += 61440)
    {
        const std::string sChunk = sExpected.substr(ulAt, std::min<std::size_t>(61440, 150000 - ulAt));
        sExpected.replace(1000 + ulAt, sChunk.size(), sChunk);
    }
    EXPECT_TRUE(BytesOf(to) == sExpected);
    EXPECT_EQ(from.GetBuffer(), to.GetBuffer());
}

TEST(OMemBuf, CopiesBehindABlockThatBothShare)
{
    const std::string sBytes = Sample(100000);
    FilledBuf filled(sBytes);
    OMemBuf from(filled), to(filled);
    to.SetPosition(100000);
    to += from;
    EXPECT_TRUE(BytesOf(to) == sBytes + sBytes);
    EXPECT_TRUE(BytesOf(from) == sBytes);
}

TEST(OMemBuf, CopiesThroughWhatADerivedClassOverrides)
{
    struct OWatched : OMemBuf
    {
        using OMemBuf::operator=;
        ULONG Read(void* pTo, ULONG ulBytes) override
        {
            mRead.push_back(ulBytes);
            return OMemBuf::Read(pTo, ulBytes);
        }
        ULONG Write(const void* pSource, ULONG ulBytes) override
        {
            mWritten.push_back(ulBytes);
            return OMemBuf::Write(pSource, ulBytes);
        }
        std::vector<ULONG> mRead, mWritten;
    } watched;
    const std::string sBytes = Sample(100000);
    OMemBuf source(sBytes.data(), 100000), target;
    watched.CopyFrom(source, 0);
    target.CopyFrom(watched, 0);
    EXPECT_EQ(watched.mWritten, (std::vector<ULONG>{61440, 38560}));
    EXPECT_EQ(watched.mRead, watched.mWritten);
    EXPECT_TRUE(BytesOf(target) == sBytes);

    OMemBuf piece("lamp", 4);
    OMemBuf& asPlain = watched;
    watched.mRead.clear();
    watched.mWritten.clear();
    asPlain += piece;
    asPlain += "ab";
    asPlain += u"ab";
    asPlain += static_cast<unsigned char>('!');
    EXPECT_EQ(watched.mWritten, (std::vector<ULONG>{4, 3, 6, 1}));
    OSubMemBuf window(watched, 100000, 4);
    OMemBuf fromWindow(static_cast<OBuf&>(window)); // on a clone, which is a plain one
    EXPECT_EQ(BytesOf(fromWindow), "lamp");
    watched.SetPosition(0);
    target.Clear();
    target += watched;
    EXPECT_EQ(watched.mRead, (std::vector<ULONG>{61440, 38574}));
}

TEST(OMemBuf, CopiesFromAWindowOnItself)
{
    MessageRecorder messages;
    OMemBuf buf("0123456789", 10);
    OSubBuf window(buf, 2, 4);
    buf.SetPosition(8);
    EXPECT_EQ(buf.CopyFrom(window, 0), 4u);
    EXPECT_EQ(BytesOf(buf), "012345672345");
    EXPECT_EQ(buf.GetPosition(), 12u);

    OSubMemBuf memory(buf, 1, 3);
    buf.SetPosition(0);
    EXPECT_EQ(buf.CopyFrom(memory, 0), 3u);
    EXPECT_EQ(BytesOf(buf), "123345672345");
    memory.SetPosition(1);
    buf += memory; // as much as the whole window from where it stands, over what the window shows
    EXPECT_EQ(messages.Shown(), Boxes{kpReadError});
    EXPECT_EQ(BytesOf(buf), std::string("12333\0", 6) + "672345");
    memory.SetPosition(0);
    EXPECT_EQ(ReadFrom(memory, 3), "233");
}
