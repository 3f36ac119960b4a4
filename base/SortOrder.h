// A row of numbers that grows in its middle: the order in which a sort has placed what it has seen so far.
//
//  * Entries are found by their position, and put in before any position, without the rest of the row being moved.
//  * All memory is taken at the start, CMemoryException* when there is none. From then on nothing fails.
//
// Entries lie in blocks with room on both sides. An insertion moves the shorter side of one block, and moves the places of the
// blocks on the shorter side of the row: a position is a place less that of the first entry. So nothing is moved at either end.
#pragma once

#include "CDWordArray.h"

#include <memory>

class OSortOrder
{
public:
    // Begins with the entries of list; ulMore can be added.
    OSortOrder(const CDWordArray& list, ULONG ulMore);
    OSortOrder(const OSortOrder&) = delete;
    OSortOrder& operator=(const OSortOrder&) = delete;

    DWORD GetFirst() const { return *mpEntries[0]; }
    DWORD GetAt(ULONG ulPosition) const;
    void AddFirst(DWORD ulEntry);
    void AddLast(DWORD ulEntry);
    void Insert(ULONG ulPosition, DWORD ulEntry); // fastest where the last search ended

    // Search: the bisection from ulLow to ulHigh that asks isBefore for the entry at one less than the middle: whether it stands
    //   before the place that is sought. Nothing is added meanwhile. ulLow is 1 or more, ulHigh less than the number of entries.
    template <class IsBefore>
    ULONG Search(ULONG ulLow, ULONG ulHigh, IsBefore isBefore);

    // MoveTo: the entries become those of list, and the row is not used any more. Takes no memory.
    void MoveTo(CDWordArray& list) noexcept;

private:
    struct OFree
    {
        void operator()(void* pBlock) const { AfxFree(pBlock); }
    };
    template <class Element>
    using ORow = std::unique_ptr<Element[], OFree>;

    ULONG BlockOf(ULONG ulPlace, ULONG ulGuess) const;
    ULONG CountOf(ULONG ulBlock) const { return mpPlaces[ulBlock + 1] - mpPlaces[ulBlock]; }
    DWORD* RoomOf(ULONG ulBlock) const;
    void MakeBlock(ULONG ulBlock);
    void Slide(ULONG ulBlock, DWORD* pTo);
    void Split(ULONG ulBlock);
    void Renumber(ULONG ulBlock);

    CDWordArray mResult;    // empty, with room for all
    std::size_t mulRoom;    // of a block, in entries; a power of two
    ORow<DWORD> mpRooms;    // of all blocks, in the order in which they were made
    ORow<DWORD*> mpEntries; // the blocks in order: the first entry of each
    ORow<ULONG> mpPlaceRow; // with some to spare on both sides of what is used
    ULONG* mpPlaces;        // the place of each block's first entry, and the one behind the last entry
    ULONG mulBlocks = 0, mulMade = 0;
    ULONG mulNear = 0; // the block in which the last search ended
};

inline ULONG OSortOrder::BlockOf(ULONG ulPlace, ULONG ulGuess) const
{
    while (ulPlace < mpPlaces[ulGuess]) --ulGuess;
    while (ulPlace >= mpPlaces[ulGuess + 1]) ++ulGuess;
    return ulGuess;
}

inline DWORD OSortOrder::GetAt(ULONG ulPosition) const
{
    const ULONG ulPlace = mpPlaces[0] + ulPosition;
    ULONG ulBlock = mulBlocks - 1; // where the end is, which is asked for most
    if (ulPlace < mpPlaces[ulBlock]) ulBlock = BlockOf(ulPlace, mulNear);
    return mpEntries[ulBlock][ulPlace - mpPlaces[ulBlock]];
}

// A sort spends most of its time waiting for the caller's items. So the way on is a branch, which the processor takes before it
// knows, and not a value selected by the answer, for which it would wait: the statements that do nothing keep the compiler from
// that. And what may be asked for next is read before the answer is there.
template <class IsBefore>
ULONG OSortOrder::Search(ULONG ulLow, ULONG ulHigh, IsBefore isBefore)
{
    // While the place may be in several blocks: the middle of the positions is near the middle of the blocks.
    ULONG ulFirst = 0, ulLast = mulBlocks - 1;
    while (ulFirst != ulLast && ulHigh - ulLow > 1)
    {
        const ULONG ulMid = (ulLow + ulHigh) / 2;
        const ULONG ulPlace = mpPlaces[0] + ulMid - 1;
        const ULONG ulBlock = BlockOf(ulPlace, (ulFirst + ulLast) / 2);
        if (isBefore(mpEntries[ulBlock][ulPlace - mpPlaces[ulBlock]]))
        {
            asm volatile("");
            ulLow = ulMid;
            ulFirst = ulBlock;
        }
        else
        {
            asm volatile("");
            ulHigh = ulMid - 1;
            ulLast = ulBlock;
        }
    }
    mulNear = ulFirst;
    if (ulLow >= ulHigh) return ulLow;
    if (ulFirst == ulLast)
    {
        const DWORD* pEntries = mpEntries[ulFirst] - static_cast<std::ptrdiff_t>(mpPlaces[ulFirst] - mpPlaces[0]);
        DWORD ulEntry = pEntries[(ulLow + ulHigh) / 2 - 1];
        while (ulHigh - ulLow > 1)
        {
            const ULONG ulMid = (ulLow + ulHigh) / 2;
            const DWORD ulBehind = pEntries[(ulMid + ulHigh) / 2 - 1];
            const DWORD ulBefore = pEntries[(ulLow + ulMid - 1) / 2 - 1]; // that at ulLow - 1 lies in this block, too
            if (isBefore(ulEntry))
            {
                asm volatile("");
                ulLow = ulMid;
                ulEntry = ulBehind;
            }
            else
            {
                asm volatile("");
                ulHigh = ulMid - 1;
                ulEntry = ulBefore;
            }
        }
        if (ulLow >= ulHigh) return ulLow;
    }
    return isBefore(GetAt(ulLow)) ? ulHigh : ulLow;
}
