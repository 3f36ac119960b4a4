// The block behind a shared text: a header, the characters, and a closing zero, in one allocation.
//
//  * lRefs: the texts that share the block; -1 means locked, or the shared empty block, which is known by its address.
//  * Lengths are characters without the closing zero.
//  * Any thread may share or release; writing is for the one owner of a block with lRefs 1 or -1.
#pragma once

#include "AfxMemory.h"

#include <atomic>
#include <limits>

// TextLength: a number of characters as the header holds it; throws CMemoryException* when that is too many for it.
inline LONG TextLength(std::size_t ulChars)
{
    if (ulChars > static_cast<std::size_t>(std::numeric_limits<LONG>::max())) AfxThrowMemoryException();
    return static_cast<LONG>(ulChars);
}

template <class Char>
struct TTextData
{
    LONG lRefs;
    LONG lLength;
    LONG lAllocated;

    Char* Text() { return reinterpret_cast<Char*>(this + 1); }
    static TTextData* Of(const Char* pText) { return reinterpret_cast<TTextData*>(const_cast<Char*>(pText)) - 1; }
    static TTextData* Empty() { return reinterpret_cast<TTextData*>(smEmpty); }

    // Create: room for exactly lChars, one reference, terminated; throws CMemoryException*, for a negative number too.
    static TTextData* Create(LONG lChars)
    {
        if (lChars < 0) AfxThrowMemoryException();
        const std::size_t ulBytes = sizeof(TTextData) + (static_cast<std::size_t>(lChars) + 1) * sizeof(Char);
        auto* pData = static_cast<TTextData*>(AfxAllocate(ulBytes));
        pData->lRefs = 1;
        pData->lLength = lChars;
        pData->lAllocated = lChars;
        pData->Text()[lChars] = 0;
        return pData;
    }

    LONG Refs() { return std::atomic_ref<LONG>(lRefs).load(std::memory_order_acquire); }
    bool IsEmptyBlock() { return this == Empty(); }

    void Share() { InterlockedIncrement(&lRefs); }
    [[gnu::always_inline]] void Release()
    {
        if (IsEmptyBlock()) return;
        // A count of one, or of a locked block, can only be ours: nobody else is left who could share or release.
        if (Refs() <= 1 || std::atomic_ref<LONG>(lRefs).fetch_sub(1) == 1) AfxFree(this);
    }

private:
    // The three fields and a zero character. One in the process, whichever module asks: defined in TextData.cpp alone.
    static LONG smEmpty[4];
};

static_assert(sizeof(TTextData<char>) == 12);

extern template struct TTextData<char>;
extern template struct TTextData<unsigned short>;
