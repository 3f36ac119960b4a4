// A stream in memory that grows as it is written to. Copies share one block until one of them appends.
//
//  * A copy costs an atomic increment. Appending, Clear, MakeUnique and SetCapacity give a sharer bytes of its own first.
//  * Writing over bytes that are there, and SetSize within the capacity, do not: every sharer sees the change.
//  * Positions beyond the size are taken, but nothing can be read or written there.
//  * An operation that finds no memory throws CMemoryException* and leaves the stream as it was.
//  * One thread at a time for a stream; streams that share a block may be used on different threads.
#pragma once

#include "OCustomMemBuf.h"
#include "ORefBuf.h"

#include <typeinfo>

class OMemBuf : public OCustomMemBuf
{
public:
    OMemBuf() = default;
    OMemBuf(OMemBuf& Source) : OCustomMemBuf(Source), mBlock(Source.mBlock) {} // at position 0, as all new ones
    // A memory stream is shared, at position 0. Any other is copied as a whole; the position is at its end then.
    OMemBuf(OBuf& Source);
    // A copy of iBytes bytes, at position 0. Empty, after "OBuf::Write error", for a negative number or bytes that are null.
    OMemBuf(const void* pSource, int iBytes);
    OMemBuf(const unsigned char* pSource, int iBytes);

    // Write: over what stands at the position; what goes beyond the size is appended. 0, and nothing is written, for a null source,
    //   from a position beyond the size, or when the end would be beyond what a size can say.
    ULONG Write(const void* pSource, ULONG ulBytes) override
    {
        if (!pSource || !mBlock.Write(mulPosition, pSource, ulBytes, ulBytes)) return 0;
        mulPosition += ulBytes;
        return ulBytes;
    }
    ULONG Seek(int iOffset, SEEKOPT eFrom) override // an offset from the end is added to the size
    {
        const ULONG ulOffset = static_cast<ULONG>(iOffset);
        if (eFrom == SeekFromBegin) mulPosition = ulOffset;
        if (eFrom == SeekFromCurrent) mulPosition += ulOffset;
        if (eFrom == SeekFromEnd) mulPosition = mBlock.Size() + ulOffset;
        return mulPosition;
    }
    void SetSize(ULONG ulSize) override; // bytes that come in are not cleared
    // A memory stream is shared, any other written over what stands here, from position 0 on. The position is 0, or behind what
    // was written.
    OBuf& operator=(OBuf& Source) override;
    OMemBuf& operator=(OMemBuf& Source); // with its position

    // What every stream appends, here for the compiler to see through.
    using OBuf::operator+=;
    OBuf& operator+=(OBuf& Source)
    {
        OMemBuf* pSource = Plain(Source);
        const bool bDone = pSource && Plain(*this) && AppendWhole(*pSource);
        return bDone ? *this : OBuf::operator+=(Source);
    }
    OBuf& operator+=(const char* pText)
    {
        const std::size_t ulBytes = pText ? std::strlen(pText) + 1 : 0;
        if (ulBytes - 1 >= 0xFFFFFFFF) return OBuf::operator+=(pText); // null, or longer than a size can say
        WriteBuffer(pText, static_cast<ULONG>(ulBytes));
        return *this;
    }
    OBuf& operator+=(unsigned char ubByte)
    {
        WriteBuffer(&ubByte, 1);
        return *this;
    }

    OCustomMemBuf* CreateClone() override;
    void MakeUnique() override;
    ULONG GetCapacity() override;
    const unsigned char* GetBuffer() override;
    void SetCapacity(ULONG ulCapacity) override; // exactly that, but never less than the size

    // Clear: size and position 0. Bytes of its own keep their room.
    void Clear();

protected:
    void ConstructFromPVoid(const void* pSource, int iBytes);

private:
    friend class OBuf;
    friend class OCustomMemBuf;
    friend class OSubMemBuf;

    static constexpr ULONG kulChunk = 61440; // of CopyFrom

    // Plain: the stream as one of this very class, so that no derived class could tell a short cut from the steps; else null.
    static OMemBuf* Plain(OBuf& Stream) { return typeid(Stream) == typeid(OMemBuf) ? static_cast<OMemBuf*>(&Stream) : nullptr; }

    // What follows is for plain streams. False or null: nothing is done, and the steps are to be taken.
    // BytesAt: where so many bytes stand at a place.
    const unsigned char* BytesAt(ULONG ulPlace, ULONG ulBytes) const
    {
        const ULONG ulSize = mBlock.Size();
        return ulPlace <= ulSize && ulBytes <= ulSize - ulPlace ? mBlock.Data() + ulPlace : nullptr;
    }
    // AppendWhole: the usual append: a whole stream of one chunk at most, from its start, into room that is there.
    bool AppendWhole(OMemBuf& Source)
    {
        const ULONG ulBytes = Source.mBlock.Size();
        if (ulBytes > kulChunk || Source.mulPosition != 0) return false;
        if (!mBlock.AppendWithinRoom(mulPosition, Source.mBlock.Data(), ulBytes)) return false;
        mulPosition += ulBytes;
        Source.mulPosition += ulBytes;
        return true;
    }
    // CopyAtOnce: what the steps of CopyFrom come to.
    bool CopyAtOnce(OBuf& Source, ULONG ulBytes);

    ORefBuf mBlock;
    ULONG mulPosition = 0;
};
