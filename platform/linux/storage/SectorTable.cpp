#include "SectorTable.h"

#include <algorithm>
#include <cstring>

namespace lum
{
SectorTable::SectorTable(SectorFile& file, bool bWritable, bool bTransacted)
    : mFile(file),
      mbWritable(bWritable),
      mbTransacted(bTransacted),
      mulPageShift(file.Shift() - 2),
      mulLockSector(static_cast<ULONG>(kullLockBytes >> file.Shift()) - 1),
      mulLimit(file.Shift() == 9 ? mulLockSector : kulMaxSector + 1 - 1024), mulUsable(mulLimit)
{
    SetReserve(false);
}

HRESULT SectorTable::Open(const CfHeader& header)
{
    mulSectors = std::min(mFile.Count(), mulLimit);
    if (header.ulFatSectors > mulSectors || (mulSectors > 0 && header.ulFatSectors == 0)) return STG_E_DOCFILECORRUPT;
    if (header.ulFatSectors > ((mulLimit - 1) >> mulPageShift) + 1) return STG_E_DOCFILECORRUPT;

    mPlaces.assign(header.aulFat, header.aulFat + std::min(header.ulFatSectors, kulHeaderFats));
    if (header.ulFatSectors > kulHeaderFats)
    {
        const HRESULT hr = ReadDifat(header);
        if (FAILED(hr)) return hr;
    }
    mState.assign(mPlaces.size(), 0);
    mGroups.resize((mPlaces.size() * PageEntries() + kulGroupEntries - 1) / kulGroupEntries);
    mFree.Start(static_cast<ULONG>(mPlaces.size()), header.ulCommits);
    StartTransaction();
    return S_OK;
}

void SectorTable::StartTransaction()
{
    const bool bWasKept = mulKept > 0;
    mulKept = mbTransacted && !mFile.Bytes().MayReuse() ? mulSectors : 0;
    for (ULONG i = 0; bWasKept && mulKept == 0 && i < mPlaces.size(); ++i)
        if (mState[i] & kubLoaded) mFree.Add(i, 0);
}

HRESULT SectorTable::ReadDifat(const CfHeader& header)
{
    const ULONG ulInOne = PageEntries() - 1;
    const ULONG ulSectors = (header.ulFatSectors - kulHeaderFats + ulInOne - 1) / ulInOne;
    std::vector<ULONG> lists(kulReadBytes / sizeof(ULONG));
    ULONG ulNext = header.ulDifat, ulHeld = 0, ulHolds = 0; // sectors that are in memory
    for (ULONG i = 0; i < ulSectors; ++i)
    {
        if (ulNext >= mulSectors) return STG_E_DOCFILECORRUPT;
        if (ulNext - ulHeld >= ulHolds)
        {
            // Two in a row are likely to be followed by more.
            const bool bInRow = !mDifat.empty() && mDifat.back() + 1 == ulNext;
            ulHolds =
                bInRow ? std::min({static_cast<ULONG>(kulReadBytes >> mFile.Shift()), mulSectors - ulNext, ulSectors - i}) : 1;
            ulHeld = ulNext;
            const HRESULT hr = mFile.Read(ulHeld, 0, lists.data(), std::size_t{ulHolds} << mFile.Shift());
            if (FAILED(hr)) return hr;
        }
        const auto list = lists.begin() + static_cast<std::ptrdiff_t>(ulNext - ulHeld) * PageEntries();
        mDifat.push_back(ulNext);
        const std::size_t ulHere = std::min<std::size_t>(ulInOne, header.ulFatSectors - mPlaces.size());
        mPlaces.insert(mPlaces.end(), list, list + static_cast<std::ptrdiff_t>(ulHere));
        ulNext = list[ulInOne];
    }
    return S_OK;
}

// Reads a page of the table, and what follows it in table and file alike.
HRESULT SectorTable::Load(ULONG ulPage)
{
    if (mState[ulPage] & kubLoaded) return S_OK;
    if (mPlaces[ulPage] >= mulSectors) return STG_E_DOCFILECORRUPT;

    const ULONG ulInGroup = kulGroupEntries >> mulPageShift;
    const ULONG ulMost = std::min<ULONG>({static_cast<ULONG>(kulReadBytes >> mFile.Shift()), ulInGroup - ulPage % ulInGroup,
                                          static_cast<ULONG>(mPlaces.size()) - ulPage});
    ULONG ulPages = 1;
    while (ulPages < ulMost && mPlaces[ulPage + ulPages] == mPlaces[ulPage] + ulPages && mPlaces[ulPage] + ulPages < mulSectors &&
           !(mState[ulPage + ulPages] & kubLoaded))
        ++ulPages;

    auto& pGroup = mGroups[ulPage / ulInGroup];
    if (!pGroup) pGroup.reset(new Group);
    const HRESULT hr = mFile.Read(mPlaces[ulPage], 0, &Entry(ulPage << mulPageShift), std::size_t{ulPages} << mFile.Shift());
    if (FAILED(hr)) return hr;
    // A page counts as loaded when all that is to be known of it is noted: memory may end in between, and it is loaded again then.
    bool bAnyFree = false;
    for (ULONG i = ulPage; i < ulPage + ulPages && mbWritable; ++i) bAnyFree |= FirstFree(i) < PageEntries();
    if (bAnyFree) MarkOwn(ulPage << mulPageShift, ulPages << mulPageShift);
    for (ULONG i = ulPage; i < ulPage + ulPages; ++i)
    {
        if (bAnyFree) NoteFree(i);
        mFree.SetSeen(i);
        mState[i] |= kubLoaded;
    }
    return S_OK;
}

// Sectors of the table, and of the list, that their writer did not mark as taken.
void SectorTable::MarkOwn(ULONG ulFirst, ULONG ulCount)
{
    for (const ULONG ulPlace : mPlaces)
        if (ulPlace - ulFirst < ulCount && Entry(ulPlace) == kulFree) Entry(ulPlace) = kulFatSector;
    for (const ULONG ulPlace : mDifat)
        if (ulPlace - ulFirst < ulCount && Entry(ulPlace) == kulFree) Entry(ulPlace) = kulDifatSector;
}

// The first entry, to eight, of a page that may be free; behind the page when there is none.
ULONG SectorTable::FirstFree(ULONG ulPage) const
{
    const ULONG* pNext = &Entry(ulPage << mulPageShift);
    for (ULONG i = 0; i < PageEntries(); i += 8)
    {
        bool bFree = false;
        for (ULONG j = i; j < i + 8; ++j) bFree |= pNext[j] == kulFree;
        if (bFree) return i;
    }
    return PageEntries();
}

void SectorTable::NoteFree(ULONG ulPage)
{
    const ULONG ulFrom = FirstFree(ulPage);
    if (ulFrom < PageEntries()) mFree.Add(ulPage, ulFrom);
}

HRESULT SectorTable::Touch(ULONG ulSector)
{
    if (ulSector >= mulSectors || ulSector >= Entries()) return STG_E_DOCFILECORRUPT;
    return Load(PageOf(ulSector));
}

HRESULT SectorTable::Get(ULONG ulSector, ULONG& ulNext)
{
    if (ulSector >= Entries()) return STG_E_DOCFILECORRUPT;
    const HRESULT hr = Load(PageOf(ulSector));
    if (SUCCEEDED(hr)) ulNext = Entry(ulSector);
    return hr;
}

HRESULT SectorTable::Follow(ULONG ulSector, ULONG ulMost, ULONG& ulCount, ULONG& ulNext)
{
    ulCount = 0;
    const ULONG ulEnd = std::min(mulSectors, Entries());
    if (ulSector >= ulEnd) return STG_E_DOCFILECORRUPT;
    ulMost = std::min(ulMost, ulEnd - ulSector);

    for (;;)
    {
        const ULONG ulFrom = ulSector + ulCount;
        const HRESULT hr = Load(PageOf(ulFrom));
        if (FAILED(hr)) return hr;
        const ULONG ulHere = std::min(ulMost - ulCount, PageEntries() - ulFrom % PageEntries());
        const ULONG* pNext = &Entry(ulFrom);
        ULONG i = 0;
        for (; i + 8 < ulHere; i += 8)
        {
            ULONG ulOther = 0;
            for (ULONG j = i; j < i + 8; ++j) ulOther |= pNext[j] ^ (ulFrom + j + 1);
            if (ulOther != 0) break;
        }
        while (i + 1 < ulHere && pNext[i] == ulFrom + i + 1) ++i;
        ulCount += i + 1;
        ulNext = pNext[i];
        if (i + 1 < ulHere || ulCount == ulMost || ulNext != ulSector + ulCount) return S_OK;
    }
}

bool SectorTable::IsUsed(ULONG ulSector) const
{
    const std::uint64_t* pUsed = mGroups[ulSector / kulGroupEntries]->aullUsed;
    return (pUsed[ulSector % kulGroupEntries / 64] >> (ulSector % 64)) & 1;
}

bool SectorTable::IsFresh(ULONG ulSector) const
{
    if (!mbTransacted) return true;
    return (mState[PageOf(ulSector)] & kubDirty) && !IsUsed(ulSector);
}

ULONG SectorTable::Alike(ULONG ulFirst, ULONG ulMost, bool& bFresh) const
{
    bFresh = IsFresh(ulFirst);
    if (!mbTransacted) return ulMost;
    ULONG ulCount = 1;
    while (ulCount < ulMost && IsFresh(ulFirst + ulCount) == bFresh) ++ulCount;
    return ulCount;
}

bool SectorTable::IsAvailable(ULONG ulSector) const
{
    if (Entry(ulSector) != kulFree || ulSector == mulLockSector || ulSector < mulKept || ulSector >= mulUsable) return false;
    return !mbTransacted || !(mState[PageOf(ulSector)] & kubDirty) || !IsUsed(ulSector);
}

void SectorTable::MakeDirty(ULONG ulPage)
{
    if (mState[ulPage] & kubDirty) return;
    mDirty.push_back(ulPage);
    mState[ulPage] |= kubDirty;
    const ULONG ulFirst = ulPage << mulPageShift;
    std::uint64_t* pUsed = mGroups[ulFirst / kulGroupEntries]->aullUsed + ulFirst % kulGroupEntries / 64;
    const ULONG* pNext = &Entry(ulFirst);
    for (ULONG i = 0; i < PageEntries(); i += 64)
    {
        std::uint64_t ullBits = 0;
        for (ULONG j = 0; j < 64; ++j) ullBits |= std::uint64_t{pNext[i + j] != kulFree} << j;
        pUsed[i / 64] = ullBits;
    }
}

void SectorTable::Set(ULONG ulSector, ULONG ulNext)
{
    MakeDirty(PageOf(ulSector));
    Entry(ulSector) = ulNext;
}

HRESULT SectorTable::CheckTaken(ULONG ulFirst, ULONG ulCount)
{
    for (ULONG i = ulFirst; i < ulFirst + ulCount; ++i)
    {
        const HRESULT hr = Touch(i);
        if (FAILED(hr)) return hr;
        if (Entry(i) == kulFree) return STG_E_DOCFILECORRUPT;
    }
    return S_OK;
}

void SectorTable::Free(ULONG ulFirst, ULONG ulCount)
{
    ULONG ulNoted = kulFree; // the page: its first one tells where to look
    for (ULONG i = ulFirst; i < ulFirst + ulCount; ++i)
    {
        Set(i, kulFree);
        if (PageOf(i) == ulNoted || !IsAvailable(i)) continue;
        ulNoted = PageOf(i);
        mFree.Add(ulNoted, i % PageEntries());
    }
}
} // namespace lum
