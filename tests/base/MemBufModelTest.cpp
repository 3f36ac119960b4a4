// Memory streams beside a plain model of theirs, step by step as their rules are written down, through random operations.
#include "MessageRecorder.h"
#include "OMemBuf.h"
#include "OSubMemBuf.h"
#include "Streams.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace
{
using Boxes = MessageRecorder::Boxes;

// Shared by as many as point at it; the empty block is none at all.
struct OModelBlock
{
    std::string sBytes;
    std::uint64_t ullCapacity = 0;
};

class OModel
{
public:
    explicit OModel(Boxes* pBoxes) : mpBoxes(pBoxes) {}

    std::uint64_t Size() const { return mpBlock ? mpBlock->sBytes.size() : 0; }
    std::uint64_t Capacity() const { return mpBlock ? mpBlock->ullCapacity : 0; }
    std::string Bytes() const { return mpBlock ? mpBlock->sBytes : ""; }
    long Sharers() const { return mpBlock ? mpBlock.use_count() : -1; }

    void ReadBuffer(std::string& sChunk, std::uint64_t ullBytes)
    {
        if (ullBytes == 0) return; // none were asked for, none come: no error
        if (ullPosition + ullBytes > Size()) return mpBoxes->push_back("BaseTests | OBuf::Read error");
        sChunk.replace(0, ullBytes, Bytes(), ullPosition, ullBytes);
        ullPosition += ullBytes;
    }
    void WriteBuffer(const std::string& sSource, std::uint64_t ullBytes)
    {
        if (ullBytes == 0) return;
        if (ullPosition > Size()) return mpBoxes->push_back("BaseTests | OBuf::Write error");
        const std::uint64_t ullInside = std::min(ullBytes, Size() - ullPosition);
        if (ullInside) mpBlock->sBytes.replace(ullPosition, ullInside, sSource, 0, ullInside);
        if (ullBytes > ullInside) Append(sSource.substr(ullInside, ullBytes - ullInside));
        ullPosition += ullBytes;
    }
    void CopyFrom(OModel& source, std::uint64_t ullBytes)
    {
        if (ullBytes == 0)
        {
            source.ullPosition = 0;
            ullBytes = source.Size();
        }
        const std::uint64_t ullChunk = std::min<std::uint64_t>(ullBytes, 61440);
        std::string sChunk(ullChunk, '\0');
        while (ullBytes > 0)
        {
            const std::uint64_t ullNow = std::min(ullBytes, ullChunk);
            source.ReadBuffer(sChunk, ullNow);
            WriteBuffer(sChunk, ullNow);
            ullBytes -= ullNow;
        }
    }
    void Share(const OModel& source)
    {
        if (source.mpBlock) mpBlock = source.mpBlock;
        else if (Sharers() > 1) mpBlock.reset();
        else if (mpBlock) mpBlock->sBytes.clear(); // the empty block is copied, into the room that is there
    }
    void MakeUnique()
    {
        if (Sharers() > 1) Reallocate(Size());
    }
    void SetCapacity(std::uint64_t ullCapacity)
    {
        MakeUnique();
        Reallocate(std::max(ullCapacity, Size()));
    }
    void SetSize(std::uint64_t ullSize)
    {
        if (ullSize > Capacity()) SetCapacity(ullSize);
        if (mpBlock) mpBlock->sBytes.resize(ullSize);
        ullPosition = std::min(ullPosition, ullSize);
    }
    void Clear()
    {
        MakeUnique();
        if (mpBlock) mpBlock->sBytes.clear();
        ullPosition = 0;
    }

    std::uint64_t ullPosition = 0;

private:
    static std::uint64_t CapacityFor(std::uint64_t ullBytes)
    {
        for (std::uint64_t ullCapacity = 32; ullCapacity <= 4096; ullCapacity *= 2)
            if (ullBytes < ullCapacity) return ullCapacity;
        return ullBytes % 4096 == 0 ? ullBytes : (ullBytes + 4096) / 4096 * 4096 + 4096;
    }
    void Reallocate(std::uint64_t ullCapacity)
    {
        mpBlock = ullCapacity ? std::make_shared<OModelBlock>(OModelBlock{Bytes(), ullCapacity}) : nullptr;
    }
    void Append(const std::string& sBytes)
    {
        MakeUnique();
        if (Size() + sBytes.size() > Capacity()) Reallocate(CapacityFor(Size() + sBytes.size()));
        mpBlock->sBytes += sBytes;
    }

    Boxes* mpBoxes;
    std::shared_ptr<OModelBlock> mpBlock;
};

// Some streams and their models, and what is done to both.
class OPairs
{
public:
    explicit OPairs(unsigned uSeed) : mRandom(uSeed)
    {
        for (int i = 0; i < 5; ++i) mPairs.push_back({std::make_unique<OMemBuf>(), OModel(&mBoxes)});
    }

    void Step()
    {
        using Operation = void (OPairs::*)();
        static constexpr Operation aOperations[] = {
            &OPairs::Write,  &OPairs::Write,    &OPairs::WriteAtEnd, &OPairs::WriteAtEnd, &OPairs::Seek,        &OPairs::Seek,
            &OPairs::Copy,   &OPairs::Copy,     &OPairs::CopyAtEnd,  &OPairs::Append,     &OPairs::Assign,      &OPairs::AssignAny,
            &OPairs::Anew,   &OPairs::FromCopy, &OPairs::Unique,     &OPairs::Clear,      &OPairs::SetCapacity, &OPairs::SetSize,
            &OPairs::Window, &OPairs::Read,
        };
        (this->*aOperations[Below(std::size(aOperations))])();
    }

    void Compare()
    {
        for (Pair& pair : mPairs)
        {
            ASSERT_EQ(pair.pBuf->GetPosition(), pair.model.ullPosition);
            ASSERT_EQ(pair.pBuf->GetSize(), pair.model.Size());
            ASSERT_EQ(pair.pBuf->GetCapacity(), pair.model.Capacity());
            ASSERT_EQ(HeaderOf(*pair.pBuf).lRefs, pair.model.Sharers());
            ASSERT_TRUE(BytesOf(*pair.pBuf) == pair.model.Bytes());
        }
        ASSERT_EQ(mMessages.Shown(), mBoxes);
        mBoxes.clear();
    }

private:
    struct Pair
    {
        std::unique_ptr<OMemBuf> pBuf;
        OModel model;
    };

    std::size_t Below(std::size_t ulEnd) { return std::uniform_int_distribution<std::size_t>(0, ulEnd - 1)(mRandom); }
    ULONG Count() // mostly small, at times more than a page, or than a chunk of a copy
    {
        static constexpr std::size_t aulMost[] = {4, 40, 40, 300, 300, 5000, 9000, 140000};
        return static_cast<ULONG>(Below(aulMost[Below(std::size(aulMost))]));
    }
    std::string SomeBytes(ULONG ulBytes)
    {
        std::string sBytes(ulBytes, '\0');
        for (char& c : sBytes) c = static_cast<char>(mRandom());
        return sBytes;
    }
    Pair& Any() { return mPairs[Below(mPairs.size())]; }

    void Put(Pair& pair, const std::string& sBytes)
    {
        pair.pBuf->WriteBuffer(sBytes.data(), static_cast<ULONG>(sBytes.size()));
        pair.model.WriteBuffer(sBytes, sBytes.size());
    }
    void PutAt(Pair& pair, std::uint64_t ullPosition)
    {
        pair.pBuf->SetPosition(static_cast<ULONG>(ullPosition));
        pair.model.ullPosition = ullPosition;
    }

    void Write() { Put(Any(), SomeBytes(Count())); }
    void WriteAtEnd()
    {
        Pair& pair = Any();
        PutAt(pair, pair.model.Size());
        Put(pair, SomeBytes(Count()));
    }
    void Seek()
    {
        Pair& pair = Any();
        PutAt(pair, Below(pair.model.Size() + 1 + (Below(8) == 0 ? 50 : 0)));
    }
    void Read()
    {
        Pair& pair = Any();
        const ULONG ulBytes = Count();
        std::string sRead(ulBytes, '?'), sExpected(ulBytes, '?');
        pair.pBuf->ReadBuffer(sRead.data(), ulBytes);
        pair.model.ReadBuffer(sExpected, ulBytes);
        EXPECT_TRUE(sRead == sExpected);
    }
    void CopyTo(Pair& to)
    {
        Pair& from = Any();
        ULONG ulBytes = Count();
        if (Below(3) != 0) ulBytes = static_cast<ULONG>(std::min<std::uint64_t>(ulBytes, from.model.Size()));
        if (to.model.Size() > 1000000) ulBytes = 1;
        if (&to != &from && Below(2) == 0) PutAt(from, 0);
        EXPECT_EQ(to.pBuf->CopyFrom(*from.pBuf, ulBytes), ulBytes ? ulBytes : from.model.Size());
        to.model.CopyFrom(from.model, ulBytes);
    }
    void Copy() { CopyTo(Any()); }
    void CopyAtEnd()
    {
        Pair& pair = Any();
        PutAt(pair, pair.model.Size());
        CopyTo(pair);
    }
    void Append()
    {
        Pair& to = Any();
        Pair& from = Any();
        if (to.model.Size() > 1000000) return;
        *to.pBuf += *from.pBuf;
        to.model.CopyFrom(from.model, from.model.Size());
    }
    void Assign()
    {
        Pair& to = Any();
        Pair& from = Any();
        *to.pBuf = *from.pBuf;
        to.model.Share(from.model);
        to.model.ullPosition = from.model.ullPosition;
    }
    void AssignAny()
    {
        Pair& to = Any();
        Pair& from = Any();
        *to.pBuf = static_cast<OBuf&>(*from.pBuf);
        to.model.Share(from.model);
        to.model.ullPosition = 0;
    }
    void Anew()
    {
        Pair& pair = Any();
        const std::string sBytes = SomeBytes(Count());
        pair.pBuf = std::make_unique<OMemBuf>(sBytes.data(), static_cast<int>(sBytes.size()));
        pair.model = OModel(&mBoxes);
        pair.model.WriteBuffer(sBytes, sBytes.size());
        pair.model.ullPosition = 0;
    }
    void FromCopy()
    {
        Pair& to = Any();
        Pair& from = Any();
        if (Below(2) == 0) to.pBuf = std::make_unique<OMemBuf>(*from.pBuf);
        else to.pBuf.reset(static_cast<OMemBuf*>(from.pBuf->CreateClone()));
        to.model = from.model;
        to.model.ullPosition = 0;
    }
    void Unique()
    {
        Pair& pair = Any();
        pair.pBuf->MakeUnique();
        pair.model.MakeUnique();
    }
    void Clear()
    {
        Pair& pair = Any();
        pair.pBuf->Clear();
        pair.model.Clear();
    }
    void SetCapacity()
    {
        Pair& pair = Any();
        const ULONG ulCapacity = Count();
        pair.pBuf->SetCapacity(ulCapacity);
        pair.model.SetCapacity(ulCapacity);
    }
    void SetSize()
    {
        Pair& pair = Any();
        const ULONG ulSize = Count();
        const std::uint64_t ullBefore = pair.model.Size();
        pair.pBuf->SetSize(ulSize);
        pair.model.SetSize(ulSize);
        if (ulSize <= ullBefore) return;
        PutAt(pair, ullBefore); // what came in is not cleared, so it is filled here
        Put(pair, SomeBytes(ulSize - static_cast<ULONG>(ullBefore)));
    }
    // A stretch of one, read, and copied into another.
    void Window()
    {
        Pair& from = Any();
        Pair& to = Any();
        const std::string sBytes = from.model.Bytes();
        const std::size_t ulOffset = Below(sBytes.size() + 1);
        const std::size_t ulLength = Below(sBytes.size() - ulOffset + 1);
        OSubMemBuf window(*from.pBuf, static_cast<ULONG>(ulOffset), static_cast<ULONG>(ulLength));
        const ULONG ulRead = Count();
        ASSERT_TRUE(ReadFrom(window, ulRead) == sBytes.substr(ulOffset, std::min<std::size_t>(ulRead, ulLength)));
        if (ulLength == 0 || to.model.Size() > 1000000) return;

        const std::size_t ulStart = Below(ulLength);
        window.SetPosition(static_cast<ULONG>(ulStart));
        to.pBuf->CopyFromMem(window, static_cast<ULONG>(ulLength - ulStart));
        EXPECT_EQ(window.GetPosition(), ulLength);
        OModel clone = from.model;
        clone.ullPosition = ulOffset + ulStart;
        to.model.CopyFrom(clone, ulLength - ulStart);
    }

    std::mt19937 mRandom;
    MessageRecorder mMessages;
    Boxes mBoxes;
    std::vector<Pair> mPairs;
};
} // namespace

TEST(OMemBuf, DoesWhatAPlainModelDoes)
{
    for (unsigned uSeed = 1; uSeed <= 60; ++uSeed)
    {
        OPairs pairs(uSeed);
        for (int iStep = 0; iStep < 250; ++iStep)
        {
            pairs.Step();
            pairs.Compare();
            ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << uSeed << ", step " << iStep;
        }
    }
}
