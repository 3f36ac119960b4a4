// Writing the sector table beside the old one.
#include "SectorTable.h"

#include <algorithm>

namespace lum
{
HRESULT SectorTable::Place()
{
    // Each place that is taken or given back may change another page, which then needs a place too. Every page gets one only once.
    std::sort(mDirty.begin(), mDirty.end());
    ULONG ulHint = kulFree;
    for (std::size_t i = 0; i < mDirty.size();)
    {
        for (; i < mDirty.size(); ++i)
        {
            const ULONG ulPage = mDirty[i], ulOld = mPlaces[ulPage];
            ULONG ulPlace = ulOld;
            const HRESULT hr = PlaceOne(ulPlace, kulFatSector, ulHint);
            if (FAILED(hr)) return hr;
            if (ulPlace == ulOld) continue;
            mPlaces[ulPage] = ulPlace;
            if (ulPage >= kulHeaderFats)
                mulDifatDirty = std::max(mulDifatDirty, (ulPage - kulHeaderFats) / (PageEntries() - 1) + 1);
        }
        const HRESULT hr = PlaceDifat(ulHint);
        if (FAILED(hr)) return hr;
    }
    return S_OK;
}

HRESULT SectorTable::PlaceDifat(ULONG& ulHint)
{
    // One more at the end is named by the one before, that one by the one before it, and so on.
    if (mulDifatDirty > mDifat.size()) mDifat.resize(mulDifatDirty, kulFree);
    for (ULONG i = 0; i < mulDifatDirty; ++i)
    {
        const HRESULT hr = PlaceOne(mDifat[i], kulDifatSector, ulHint);
        if (FAILED(hr)) return hr;
    }
    return S_OK;
}

// Moves what lies in a sector that is not fresh. A sector that was not marked as it should be is left as it is.
HRESULT SectorTable::PlaceOne(ULONG& ulPlace, ULONG ulMark, ULONG& ulHint)
{
    const ULONG ulOld = ulPlace;
    if (ulOld != kulFree && IsFresh(ulOld)) return S_OK;

    ULONG ulOldMark = kulFree, ulNew = 0, ulCount = 0;
    HRESULT hr = ulOld == kulFree ? S_OK : Get(ulOld, ulOldMark);
    if (FAILED(hr)) return hr;
    hr = Allocate(1, ulHint, ulNew, ulCount);
    if (FAILED(hr)) return hr;
    Set(ulNew, ulMark);
    ulPlace = ulNew;
    ulHint = ulNew + 1;
    if (ulOldMark == ulMark) Set(ulOld, kulFree);
    return S_OK;
}

HRESULT SectorTable::Write()
{
    std::sort(mDirty.begin(), mDirty.end());
    const ULONG ulInGroup = kulGroupEntries >> mulPageShift;
    for (std::size_t i = 0; i < mDirty.size();)
    {
        const ULONG ulPage = mDirty[i];
        ULONG ulPages = 1;
        while (i + ulPages < mDirty.size() && mDirty[i + ulPages] == ulPage + ulPages && (ulPage + ulPages) % ulInGroup != 0 &&
               mPlaces[ulPage + ulPages] == mPlaces[ulPage] + ulPages)
            ++ulPages;
        const HRESULT hr = mFile.Write(mPlaces[ulPage], 0, &Entry(ulPage << mulPageShift), std::size_t{ulPages} << mFile.Shift());
        if (FAILED(hr)) return hr;
        i += ulPages;
    }
    return WriteDifat();
}

HRESULT SectorTable::WriteDifat()
{
    const ULONG ulInOne = PageEntries() - 1;
    std::vector<ULONG> lists;
    for (ULONG i = 0; i < mulDifatDirty;)
    {
        const ULONG ulStart = i;
        lists.clear();
        do {
            const std::size_t ulFirst = kulHeaderFats + std::size_t{i} * ulInOne;
            const std::size_t ulHere = std::min<std::size_t>(ulInOne, mPlaces.size() - ulFirst);
            const auto first = mPlaces.begin() + static_cast<std::ptrdiff_t>(ulFirst);
            lists.insert(lists.end(), first, first + static_cast<std::ptrdiff_t>(ulHere));
            lists.resize(std::size_t{i - ulStart} * PageEntries() + ulInOne, kulFree);
            lists.push_back(i + 1 < mDifat.size() ? mDifat[i + 1] : kulEndOfChain);
            ++i;
        } while (i < mulDifatDirty && mDifat[i] == mDifat[i - 1] + 1);
        const HRESULT hr = mFile.Write(mDifat[ulStart], 0, lists.data(), lists.size() * sizeof(ULONG));
        if (FAILED(hr)) return hr;
    }
    return S_OK;
}

void SectorTable::Fill(CfHeader& header) const
{
    header.ulFatSectors = static_cast<ULONG>(mPlaces.size());
    std::fill_n(header.aulFat, kulHeaderFats, kulFree);
    std::copy_n(mPlaces.begin(), std::min<std::size_t>(mPlaces.size(), kulHeaderFats), header.aulFat);
    header.ulDifat = mDifat.empty() ? kulEndOfChain : mDifat[0];
    header.ulDifatSectors = static_cast<ULONG>(mDifat.size());
}

void SectorTable::Committed()
{
    for (ULONG ulPage : mDirty)
    {
        mState[ulPage] &= static_cast<BYTE>(~kubDirty);
        mFree.Add(ulPage, 0);
    }
    mDirty.clear();
    mulDifatDirty = 0;
    mFree.Renew();
    StartTransaction();
}
} // namespace lum
