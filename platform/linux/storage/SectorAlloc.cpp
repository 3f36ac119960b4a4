// Finding free sectors.
#include "SectorTable.h"

#include <algorithm>

namespace lum
{
HRESULT SectorTable::Allocate(ULONG ulMost, ULONG ulHint, ULONG& ulFirst, ULONG& ulCount)
{
    if (ulHint < std::min(Entries(), mulUsable))
    {
        const HRESULT hr = Load(PageOf(ulHint));
        if (FAILED(hr)) return hr;
        if (IsAvailable(ulHint)) return Take(ulHint, ulMost, ulFirst, ulCount);
    }
    ULONG ulSector = 0;
    const HRESULT hr = FindFree(ulMost, ulSector);
    return FAILED(hr) ? hr : Take(ulSector, ulMost, ulFirst, ulCount);
}

ULONG SectorTable::Align(ULONG ulLength, ULONG ulNext, ULONG ulMore)
{
    constexpr ULONGLONG kullPiece = 65536, kullLong = 16 * kullPiece;
    const ULONGLONG ullLength = ULONGLONG{ulLength} << mFile.Shift();
    if (ullLength < kullLong || ullLength % kullPiece != 0 || ulNext < mulSectors) return ulNext;
    const ULONG ulPiece = static_cast<ULONG>(kullPiece >> mFile.Shift());
    const ULONG ulAligned = (ulNext + ulPiece) / ulPiece * ulPiece - 1; // the header lies before sector 0
    if (ulAligned >= mulUsable) return ulNext;
    const ULONGLONG ullEnd = ULONGLONG{ulAligned} + std::min(ulMore, kulGroupEntries);
    if (ullEnd > Entries()) Grow(static_cast<ULONG>(ullEnd - Entries()));
    return ulAligned;
}

void SectorTable::SetReserve(bool bUse)
{
    mulUsable = bUse || mFile.Shift() != 9 ? mulLimit : mulLimit - kulReserve;
    // Pages of the reserve were of no use to who looked at them before.
    for (ULONG i = PageOf(mulLimit - kulReserve); bUse && i < mPlaces.size(); ++i)
        if (mState[i] & kubLoaded) mFree.Add(i, 0);
}

HRESULT SectorTable::FindFree(ULONG ulWanted, ULONG& ulSector)
{
    for (;;)
    {
        ULONG ulPage = 0, ulFrom = 0;
        while (mFree.Lowest(ulPage, ulFrom))
        {
            const ULONG ulFirst = ulPage << mulPageShift;
            while (ulFrom < PageEntries() && !IsAvailable(ulFirst + ulFrom)) ++ulFrom;
            if (ulFrom < PageEntries())
            {
                ulSector = ulFirst + ulFrom;
                mFree.MoveOn(ulPage, ulFrom);
                return S_OK;
            }
            mFree.Remove(ulPage);
        }

        const bool bFull = Entries() >= mulUsable;
        if (bFull ? mFree.AnyUnseen(ulPage) : mFree.NextUnseen(ulPage))
        {
            const HRESULT hr = Load(ulPage);
            if (FAILED(hr)) return hr;
            if (mFree.Lowest(ulPage, ulFrom)) mFree.GiveCredit(FreePages::kulCreditOfPage);
            continue;
        }
        if (bFull) return STG_E_MEDIUMFULL;
        const HRESULT hr = Grow(ulWanted);
        if (FAILED(hr)) return hr;
    }
}

// Adds pages for so many sectors more. They have no place yet; the commit finds one.
HRESULT SectorTable::Grow(ULONG ulEntries)
{
    const ULONG ulMost = ((mulUsable - 1) >> mulPageShift) + 1, ulOld = static_cast<ULONG>(mPlaces.size());
    const ULONG ulPages = std::min(ulMost, ulOld + ((std::min(ulEntries, kulGroupEntries) - 1) >> mulPageShift) + 1);
    mState.resize(ulPages, 0);
    mGroups.resize((std::size_t{ulPages} * PageEntries() + kulGroupEntries - 1) / kulGroupEntries);
    mPlaces.resize(ulPages, kulFree); // says how many there are: the last of these three to need memory
    mFree.Resize(ulPages);
    for (ULONG i = ulOld; i < ulPages; ++i)
    {
        auto& pGroup = mGroups[(i << mulPageShift) / kulGroupEntries];
        if (!pGroup) pGroup.reset(new Group);
        std::fill_n(&Entry(i << mulPageShift), PageEntries(), kulFree);
        mState[i] |= kubLoaded;
    }
    MarkOwn(ulOld << mulPageShift, (ulPages - ulOld) << mulPageShift);
    for (ULONG i = ulOld; i < ulPages; ++i)
    {
        MakeDirty(i);
        mFree.Add(i, 0);
    }
    return S_OK;
}

HRESULT SectorTable::Take(ULONG ulSector, ULONG ulMost, ULONG& ulFirst, ULONG& ulCount)
{
    const ULONG ulEnd = std::min(Entries(), mulUsable);
    ULONG ulTaken = 1;
    while (ulTaken < ulMost && ulSector + ulTaken < ulEnd && (mState[PageOf(ulSector + ulTaken)] & kubLoaded) &&
           IsAvailable(ulSector + ulTaken))
        ++ulTaken;

    const ULONG ulSectors = std::max(mulSectors, ulSector + ulTaken);
    const HRESULT hr = ulSectors > mulLockSector && !mbLockKept ? KeepLockSector() : S_OK;
    if (FAILED(hr)) return hr;
    for (ULONG i = ulSector; i + 1 < ulSector + ulTaken; ++i) Set(i, i + 1);
    Set(ulSector + ulTaken - 1, kulEndOfChain);
    mulSectors = ulSectors;
    mFree.GiveCredit(ulTaken);
    ulFirst = ulSector;
    ulCount = ulTaken;
    return S_OK;
}

// The sector whose bytes are locks belongs to nobody. The table may not reach so far yet, though the file does.
HRESULT SectorTable::KeepLockSector()
{
    if (mulLockSector >= Entries()) return S_OK;
    const HRESULT hr = Load(PageOf(mulLockSector));
    if (FAILED(hr)) return hr;
    if (Entry(mulLockSector) == kulFree) Set(mulLockSector, kulEndOfChain);
    mbLockKept = true;
    return S_OK;
}
} // namespace lum
