// Finding free pieces in the mini stream, and giving its end back.
#include "MiniStream.h"

#include <algorithm>
#include <cstring>

namespace lum
{
HRESULT MiniStream::Entries(ULONG& ulEntries)
{
    const HRESULT hr = mFat.Length(ulEntries);
    if (FAILED(hr)) return hr;
    if (ulEntries > kulMaxSector >> (mFile.Shift() - 2)) return STG_E_DOCFILECORRUPT; // pieces without numbers
    ulEntries <<= mFile.Shift() - 2;
    return S_OK;
}

HRESULT MiniStream::StartSearch()
{
    ULONG ulEntries = 0;
    const HRESULT hr = mbSearched ? S_OK : Entries(ulEntries);
    if (FAILED(hr) || mbSearched) return hr;
    mFree.Start((ulEntries + kulPageEntries - 1) / kulPageEntries, mulSeed);
    mbSearched = true;
    return S_OK;
}

HRESULT MiniStream::Allocate(ULONG ulMost, ULONG ulHint, ULONG& ulFirst, ULONG& ulCount)
{
    ULONG ulEntries = 0, ulNext = 0;
    HRESULT hr = StartSearch();
    if (SUCCEEDED(hr)) hr = Entries(ulEntries);
    if (SUCCEEDED(hr) && ulHint < ulEntries) hr = Next(ulHint, ulNext);
    if (FAILED(hr)) return hr;

    ulFirst = ulHint;
    if (ulHint >= ulEntries || ulNext != kulFree) hr = FindFree(ulFirst);
    if (SUCCEEDED(hr)) hr = Take(ulFirst, ulMost, ulCount);
    if (FAILED(hr)) return hr;
    hr = MakeRoom(ulFirst + ulCount);
    for (ULONG i = ulFirst; FAILED(hr) && i < ulFirst + ulCount; ++i) FreePieces(&i, 1);
    return hr;
}

HRESULT MiniStream::FindFree(ULONG& ulPiece)
{
    ULONG ulEntries = 0, ulPage = 0, ulFrom = 0;
    HRESULT hr = Entries(ulEntries);
    while (SUCCEEDED(hr))
    {
        if (mFree.Lowest(ulPage, ulFrom))
        {
            ULONG ulNext = 0;
            ulPiece = ulPage * kulPageEntries + ulFrom;
            for (; ulFrom < kulPageEntries && ulPiece < ulEntries && SUCCEEDED(hr = Next(ulPiece, ulNext)); ++ulFrom, ++ulPiece)
            {
                if (ulNext != kulFree) continue;
                mFree.MoveOn(ulPage, ulFrom);
                return S_OK;
            }
            mFree.Remove(ulPage);
        }
        else if (mFree.NextUnseen(ulPage))
        {
            mFree.SetSeen(ulPage);
            mFree.Add(ulPage, 0);
        }
        else
        {
            hr = mFat.Append(1, 0xFF);
            mFree.Resize(ulEntries / kulPageEntries + 1);
            if (SUCCEEDED(hr)) mFree.Add(ulEntries / kulPageEntries, ulEntries % kulPageEntries);
            if (SUCCEEDED(hr)) hr = Entries(ulEntries);
        }
    }
    return hr;
}

// A piece that is free, and those behind it that are too, linked and ended.
HRESULT MiniStream::Take(ULONG ulPiece, ULONG ulMost, ULONG& ulCount)
{
    const BYTE* pView = nullptr;
    BYTE* pEntries = nullptr;
    ULONG ulViewed = 0;
    HRESULT hr = mFat.View(ULONGLONG{ulPiece} * sizeof(ULONG), pView, ulViewed);
    if (FAILED(hr)) return hr;

    ulMost = std::min<ULONG>(ulMost, ulViewed / sizeof(ULONG));
    for (ulCount = 1; ulCount < ulMost && std::memcmp(pView + ulCount * sizeof kulFree, &kulFree, sizeof kulFree) == 0;) ++ulCount;
    hr = mFat.Change(ULONGLONG{ulPiece} * sizeof(ULONG), ulCount * sizeof(ULONG), pEntries);
    if (FAILED(hr)) return hr;
    for (ULONG i = 0; i < ulCount; ++i)
    {
        const ULONG ulNext = i + 1 < ulCount ? ulPiece + i + 1 : kulEndOfChain;
        std::memcpy(pEntries + i * sizeof ulNext, &ulNext, sizeof ulNext);
    }
    mFree.GiveCredit(ulCount);
    return S_OK;
}

HRESULT MiniStream::MakeRoom(ULONG ulPieces)
{
    const ULONGLONG ullBytes = ULONGLONG{ulPieces} << kulMiniShift;
    const ULONG ulNeeded = static_cast<ULONG>(mFile.SectorsOf(ullBytes));
    ULONG ulHave = 0;
    HRESULT hr = mContents.Trim();
    if (SUCCEEDED(hr)) hr = mContents.Length(ulHave);
    if (SUCCEEDED(hr) && ulNeeded > ulHave) hr = mContents.Append(ulNeeded - ulHave, 0);
    if (SUCCEEDED(hr)) mullBytes = std::max(mullBytes, ullBytes);
    return hr;
}

HRESULT MiniStream::Shrink()
{
    if (!mbFreed) return S_OK;
    mbFreed = false;
    ULONG ulEntries = 0, ulNext = kulFree;
    HRESULT hr = Entries(ulEntries);
    ULONG ulPieces = static_cast<ULONG>(std::min<ULONGLONG>(ulEntries, (mullBytes + kulMiniBytes - 1) >> kulMiniShift));
    while (SUCCEEDED(hr) && ulPieces > 0 && SUCCEEDED(hr = Next(ulPieces - 1, ulNext)) && ulNext == kulFree) --ulPieces;

    const ULONGLONG ullBytes = ULONGLONG{ulPieces} << kulMiniShift;
    if (SUCCEEDED(hr)) hr = mContents.Cut(static_cast<ULONG>(mFile.SectorsOf(ullBytes)));
    if (SUCCEEDED(hr)) mullBytes = ullBytes;
    if (SUCCEEDED(hr)) hr = mFat.Cut(static_cast<ULONG>(mFile.SectorsOf(ulPieces * sizeof(ULONG))));
    if (SUCCEEDED(hr) && mbSearched) hr = Entries(ulEntries);
    if (SUCCEEDED(hr) && mbSearched) mFree.Resize((ulEntries + kulPageEntries - 1) / kulPageEntries);
    return hr;
}

HRESULT MiniStream::Flush()
{
    const HRESULT hr = mContents.Flush();
    return SUCCEEDED(hr) ? mFat.Flush() : hr;
}
} // namespace lum
