#include "SortOrder.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

// Places to spare on both sides: they are moved that many at a time, and the last time goes beyond.
static constexpr ULONG kulStep = 16;

// A block holds a few times as many entries as there are blocks. Measured: smaller ones move less and are looked up more.
static std::size_t BlockRoom(std::size_t ulEntries)
{
    return std::bit_ceil(std::max<std::size_t>(1024, 2 * static_cast<std::size_t>(std::sqrt(ulEntries))));
}

template <class Element>
static Element* Allocate(std::size_t ulCount)
{
    return static_cast<Element*>(AfxAllocate(ulCount * sizeof(Element)));
}

OSortOrder::OSortOrder(const CDWordArray& list, ULONG ulMore)
{
    const std::size_t ulGiven = static_cast<std::size_t>(list.GetSize());
    const std::size_t ulEntries = ulGiven + ulMore;
    mResult.Reserve(ulEntries); // refuses more than can be counted, so that places stay below 2^32
    mulRoom = BlockRoom(ulEntries);

    // One is made when a full one is split, or when one at an end is full. After the split of one, half a block must be added for
    // the next; before the next at an end, a whole one. Those of the list are full from the start.
    const std::size_t ulMost = 2 * ulEntries / mulRoom + 6;
    mpRooms.reset(Allocate<DWORD>(ulMost * mulRoom));
    mpEntries.reset(Allocate<DWORD*>(ulMost));
    mpPlaceRow.reset(Allocate<ULONG>(ulMost + 1 + 2 * kulStep));
    std::memset(mpPlaceRow.get(), 0, (ulMost + 1 + 2 * kulStep) * sizeof(ULONG));
    mpPlaces = mpPlaceRow.get() + kulStep;

    mpPlaces[0] = ulMore; // as many may be added at the front
    MakeBlock(0);
    mpEntries[0] = RoomOf(0) + mulRoom / 2;
    for (std::size_t ul = 0; ul < ulGiven; ++ul) AddLast(list[static_cast<int>(ul)]);
}

// Where the room of a block begins. Its first entry is never behind it, but in one that has just been made.
DWORD* OSortOrder::RoomOf(ULONG ulBlock) const
{
    const std::size_t ulAt = static_cast<std::size_t>(mpEntries[ulBlock] - mpRooms.get());
    return mpRooms.get() + (ulAt & ~(mulRoom - 1));
}

// An empty block before ulBlock, or behind the last.
void OSortOrder::MakeBlock(ULONG ulBlock)
{
    const std::size_t ulBehind = mulBlocks - ulBlock;
    std::memmove(&mpPlaces[ulBlock + 1], &mpPlaces[ulBlock], (ulBehind + 1) * sizeof(ULONG));
    std::memmove(&mpEntries[ulBlock + 1], &mpEntries[ulBlock], ulBehind * sizeof(DWORD*));
    mpEntries[ulBlock] = mpRooms.get() + mulMade++ * mulRoom;
    ++mulBlocks;
}

void OSortOrder::Slide(ULONG ulBlock, DWORD* pTo)
{
    std::memmove(pTo, mpEntries[ulBlock], CountOf(ulBlock) * sizeof(DWORD));
    mpEntries[ulBlock] = pTo;
}

void OSortOrder::AddFirst(DWORD ulEntry)
{
    DWORD* pRoom = RoomOf(0);
    if (mpEntries[0] == pRoom)
    {
        const std::size_t ulFree = mulRoom - CountOf(0);
        if (ulFree) { Slide(0, pRoom + ulFree); }
        else
        {
            MakeBlock(0);
            mpEntries[0] += mulRoom;
        }
    }
    *--mpEntries[0] = ulEntry;
    --mpPlaces[0];
}

void OSortOrder::AddLast(DWORD ulEntry)
{
    ULONG ulBlock = mulBlocks - 1;
    DWORD* pRoom = RoomOf(ulBlock);
    if (mpEntries[ulBlock] + CountOf(ulBlock) == pRoom + mulRoom)
    {
        if (mpEntries[ulBlock] == pRoom)
            MakeBlock(++ulBlock);
        else
            Slide(ulBlock, pRoom);
    }
    mpEntries[ulBlock][CountOf(ulBlock)] = ulEntry;
    ++mpPlaces[ulBlock + 1];
}

// Two half full blocks of a full one, each with its entries in the middle.
void OSortOrder::Split(ULONG ulBlock)
{
    const std::size_t ulHalf = mulRoom / 2;
    MakeBlock(ulBlock + 1);
    mpEntries[ulBlock + 1] += ulHalf / 2;
    std::memcpy(mpEntries[ulBlock + 1], mpEntries[ulBlock] + ulHalf, ulHalf * sizeof(DWORD));
    mpPlaces[ulBlock + 1] = mpPlaces[ulBlock] + static_cast<ULONG>(ulHalf);
    Slide(ulBlock, mpEntries[ulBlock] + ulHalf / 2);
}

// Counts one more entry in ulBlock. The compiler turns the inner loops into steps of whole vectors.
void OSortOrder::Renumber(ULONG ulBlock)
{
    if (ulBlock < mulBlocks / 2)
    {
        for (ULONG* pEnd = mpPlaces + ulBlock + 1; pEnd > mpPlaces; pEnd -= kulStep)
            for (ULONG ul = 0; ul < kulStep; ++ul) --(pEnd - kulStep)[ul];
        return;
    }
    const ULONG* pEnd = mpPlaces + mulBlocks + 1;
    for (ULONG* pFrom = mpPlaces + ulBlock + 1; pFrom < pEnd; pFrom += kulStep)
        for (ULONG ul = 0; ul < kulStep; ++ul) ++pFrom[ul];
}

void OSortOrder::Insert(ULONG ulPosition, DWORD ulEntry)
{
    const ULONG ulPlace = mpPlaces[0] + ulPosition;
    ULONG ulBlock = BlockOf(ulPlace, mulNear);
    std::size_t ulCount = CountOf(ulBlock);
    if (ulCount == mulRoom)
    {
        Split(ulBlock);
        ulBlock = BlockOf(ulPlace, ulBlock);
        ulCount = CountOf(ulBlock);
    }

    // The shorter side is moved, unless there is no room beside it. Without branches, which nobody could foretell.
    DWORD* pEntries = mpEntries[ulBlock];
    const std::size_t ulBefore = ulPlace - mpPlaces[ulBlock];
    const DWORD* pRoom = RoomOf(ulBlock);
    bool bFront = ulBefore < ulCount / 2;
    if (bFront ? pEntries == pRoom : pEntries + ulCount == pRoom + mulRoom) bFront = !bFront;
    DWORD* pFrom = bFront ? pEntries : pEntries + ulBefore;
    const std::size_t ulMoved = bFront ? ulBefore : ulCount - ulBefore;
    std::memmove(bFront ? pFrom - 1 : pFrom + 1, pFrom, ulMoved * sizeof(DWORD));
    pEntries -= bFront;
    pEntries[ulBefore] = ulEntry;
    mpEntries[ulBlock] = pEntries;
    Renumber(ulBlock);
}

void OSortOrder::MoveTo(CDWordArray& list) noexcept
{
    for (ULONG ul = 0; ul < mulBlocks; ++ul) mResult.Append(mpEntries[ul], CountOf(ul));
    list.Swap(mResult);
}
