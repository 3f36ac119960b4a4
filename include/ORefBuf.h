// A block of bytes that is shared between copies, and counted.
//
//  * One pointer wide, to the first byte; count, size and capacity stand right in front of it. Never null: without a block it
//    points at the one empty block of the process, which is never written.
//  * A block with a negative count is never shared: a copy of it gets bytes of its own.
//  * An operation that finds no memory throws CMemoryException* and leaves the block as it was.
//  * One thread at a time for an object; objects that share a block may be used on different threads. (What one writes over the
//    shared bytes reaches the others in no order.)
#pragma once

#include "AfxMemory.h"

#include <atomic>
#include <cstring>

class ORefBuf
{
public:
    ORefBuf() noexcept : mpData(Empty()) {}
    ORefBuf(const ORefBuf& Source);
    ~ORefBuf() { Release(); }

    // Shares the other's block, unless one of both has a negative count: then copies the bytes.
    ORefBuf& operator=(const ORefBuf& Source);

    unsigned char* Data() const { return mpData; }
    ULONG Size() const { return std::atomic_ref<ULONG>(Of(mpData)->ulSize).load(std::memory_order_relaxed); }
    ULONG Capacity() const { return Of(mpData)->ulCapacity; }
    bool IsShared() const { return Refs() > 1; }

    // MakeUnique: a shared block is left to the others, for one of this one's own without spare room.
    void MakeUnique();
    // SetCapacity: exactly that, but never less than the size; the block is its own then.
    void SetCapacity(ULONG ulCapacity);
    // SetSize: at most the capacity; whoever shares the block sees it. Bytes that come in are not cleared.
    void SetSize(ULONG ulSize);

    // Write: up to the size, over the block as it stands, so that whoever shares it sees that; the rest is appended, to a block of
    //   this one's own. False, and nothing is written, when ulAt lies beyond the size or the end beyond what a size can say. The
    //   bytes may lie in this very block. The capacity becomes what it would be if they came ulStep at a time.
    bool Write(ULONG ulAt, const void* pSource, ULONG ulBytes, ULONG ulStep)
    {
        return AppendWithinRoom(ulAt, pSource, ulBytes) || WriteFurther(ulAt, pSource, ulBytes, ulStep);
    }
    // AppendWithinRoom: false, and nothing is written, when ulAt is not the size, there is no room, or the block is shared.
    bool AppendWithinRoom(ULONG ulAt, const void* pSource, ULONG ulBytes)
    {
        const ULONG ulSize = Size();
        const bool bHasRoom = ulBytes - 1 < Capacity() - ulSize; // - 1: no bytes, nothing to append
        if (ulAt != ulSize || !bHasRoom || IsShared()) return false;
        std::memcpy(mpData + ulSize, pSource, ulBytes);
        Of(mpData)->ulSize = ulSize + ulBytes;
        return true;
    }

private:
    struct alignas(16) OHeader // so that the bytes behind it suit every type
    {
        LONG lUnused;
        LONG lRefs;
        ULONG ulSize;
        ULONG ulCapacity;
    };
    static_assert(sizeof(OHeader) == 16);

    static OHeader* Of(unsigned char* pData) { return reinterpret_cast<OHeader*>(pData) - 1; }
    static unsigned char* Empty() { return reinterpret_cast<unsigned char*>(const_cast<OHeader*>(smEmpty + 1)); }
    LONG Refs() const { return std::atomic_ref<LONG>(Of(mpData)->lRefs).load(std::memory_order_acquire); }
    bool IsEmptyBlock() const { return mpData == Empty(); }

    void Release()
    {
        if (IsEmptyBlock()) return;
        // A count of one or less can only be ours: nobody else is left who could share or release.
        if (Refs() <= 1 || InterlockedDecrement(&Of(mpData)->lRefs) < 1) AfxFree(Of(mpData));
        mpData = Empty();
    }
    void Allocate(ULONG ulCapacity);
    void Reallocate(ULONG ulCapacity);
    void CopyBytes(const ORefBuf& Source);
    bool WriteFurther(ULONG ulAt, const void* pSource, ULONG ulBytes, ULONG ulStep);

    // Header and first byte, in memory that is only read. One in the process, whichever module asks: defined in ORefBuf.cpp alone.
    static const OHeader smEmpty[2];

    unsigned char* mpData;
};

inline ORefBuf::ORefBuf(const ORefBuf& Source) : mpData(Source.mpData)
{
    if (Source.Refs() >= 0)
    {
        InterlockedIncrement(&Of(mpData)->lRefs);
        return;
    }
    mpData = Empty();
    CopyBytes(Source);
}
