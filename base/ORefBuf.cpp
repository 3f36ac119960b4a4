#include "ORefBuf.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <utility>

constinit const ORefBuf::OHeader ORefBuf::smEmpty[2]{{0, -1, 0, 0}, {}};

// The room for so many bytes: powers of two up to a page, then whole pages, one more than needed unless they fit exactly.
static ULONG CapacityFor(ULONG ulBytes)
{
    constexpr ULONG kulLeast = 32;
    constexpr ULONG kulPage = 4096;
    if (ulBytes < kulPage) return std::max(kulLeast, std::bit_ceil(ulBytes + 1));
    if (ulBytes % kulPage == 0) return ulBytes;
    const std::uint64_t ullPages = (std::uint64_t{ulBytes} + kulPage) / kulPage * kulPage + kulPage;
    return static_cast<ULONG>(std::min<std::uint64_t>(ullPages, 0xFFFFFFFF));
}

ORefBuf& ORefBuf::operator=(const ORefBuf& Source)
{
    if (mpData == Source.mpData) return *this;
    const bool bKeepsItsBlock = Refs() < 0 && !IsEmptyBlock();
    if (bKeepsItsBlock || Source.Refs() < 0)
    {
        CopyBytes(Source);
        return *this;
    }
    InterlockedIncrement(&Of(Source.mpData)->lRefs);
    Release();
    mpData = Source.mpData;
    return *this;
}

void ORefBuf::MakeUnique()
{
    if (IsShared()) SetCapacity(Size());
}

void ORefBuf::SetCapacity(ULONG ulCapacity)
{
    const ULONG ulSize = Size();
    ulCapacity = std::max(ulCapacity, ulSize);
    if (!IsShared())
    {
        if (ulCapacity != Capacity()) Reallocate(ulCapacity);
        return;
    }
    ORefBuf own;
    own.Allocate(ulCapacity);
    std::memcpy(own.mpData, mpData, ulSize);
    own.SetSize(ulSize);
    std::swap(mpData, own.mpData);
}

void ORefBuf::SetSize(ULONG ulSize)
{
    if (!IsEmptyBlock()) std::atomic_ref<ULONG>(Of(mpData)->ulSize).store(ulSize, std::memory_order_relaxed);
}

// A block of size 0 for the one that has none.
void ORefBuf::Allocate(ULONG ulCapacity)
{
    if (ulCapacity == 0) return;
    auto* pHeader = static_cast<OHeader*>(AfxAllocate(sizeof(OHeader) + std::size_t{ulCapacity}));
    *pHeader = {0, 1, 0, ulCapacity};
    mpData = reinterpret_cast<unsigned char*>(pHeader + 1);
}

// For a block that nobody shares. In place where the system can: large blocks move without being copied.
void ORefBuf::Reallocate(ULONG ulCapacity)
{
    if (IsEmptyBlock()) return Allocate(ulCapacity);
    if (ulCapacity == 0) return Release();
    auto* pHeader = static_cast<OHeader*>(std::realloc(Of(mpData), sizeof(OHeader) + std::size_t{ulCapacity}));
    if (!pHeader) AfxThrowMemoryException();
    pHeader->lRefs = 1;
    pHeader->ulCapacity = ulCapacity;
    mpData = reinterpret_cast<unsigned char*>(pHeader + 1);
}

void ORefBuf::CopyBytes(const ORefBuf& Source)
{
    const ULONG ulBytes = Source.Size();
    if (IsShared() || ulBytes > Capacity())
    {
        ORefBuf own;
        own.Allocate(ulBytes);
        std::swap(mpData, own.mpData);
    }
    std::memcpy(mpData, Source.mpData, ulBytes);
    SetSize(ulBytes);
}

// The capacity after a block of ulCapacity bytes was written to, up to ulAt + ulBytes, so many bytes at a time.
static ULONG CapacityAfter(ULONG ulCapacity, ULONG ulAt, ULONG ulBytes, ULONG ulStep)
{
    for (ULONG ulDone = 0; ulDone < ulBytes;)
    {
        ulDone += std::min(ulStep, ulBytes - ulDone);
        if (ulAt + ulDone > ulCapacity) ulCapacity = CapacityFor(ulAt + ulDone);
    }
    return ulCapacity;
}

bool ORefBuf::WriteFurther(ULONG ulAt, const void* pSource, ULONG ulBytes, ULONG ulStep)
{
    const ULONG ulSize = Size(); // once: who shares the block may change it
    if (ulAt > ulSize || ulBytes > 0xFFFFFFFF - ulAt) return false;
    if (ulBytes <= ulSize - ulAt)
    {
        std::memmove(mpData + ulAt, pSource, ulBytes);
        return true;
    }
    const auto* pBytes = static_cast<const unsigned char*>(pSource);
    const ULONG ulEnd = ulAt + ulBytes;
    const ULONG ulOver = ulSize - ulAt;
    const bool bShared = IsShared();
    const ULONG ulRoom = bShared ? ulSize : Capacity(); // spare room of a shared block stays there
    const ULONG ulCapacity = CapacityAfter(ulRoom, ulAt, ulBytes, ulStep);
    if (bShared)
    {
        ORefBuf own;
        own.Allocate(ulCapacity); // before the others see anything of it
        std::memcpy(own.mpData + ulSize, pBytes + ulOver, ulBytes - ulOver); // before it is written over, which it may be
        std::memmove(mpData + ulAt, pBytes, ulOver);
        std::memcpy(own.mpData, mpData, ulSize);
        own.SetSize(ulEnd);
        std::swap(mpData, own.mpData);
        return true;
    }
    if (ulCapacity != Capacity())
    {
        const auto ulInBlock = reinterpret_cast<std::uintptr_t>(pBytes) - reinterpret_cast<std::uintptr_t>(mpData);
        const bool bOwnBytes = ulInBlock < Capacity();
        Reallocate(ulCapacity);
        if (bOwnBytes) pBytes = mpData + ulInBlock;
    }
    std::memmove(mpData + ulAt, pBytes, ulBytes);
    SetSize(ulEnd);
    return true;
}
