#include "MiniStream.h"

#include <algorithm>
#include <cstring>

namespace lum
{
HRESULT MiniStream::Next(ULONG ulPiece, ULONG& ulNext)
{
    const BYTE* pByte = nullptr;
    const HRESULT hr = mFat.Look(ULONGLONG{ulPiece} * sizeof ulNext, sizeof ulNext, pByte);
    if (SUCCEEDED(hr)) std::memcpy(&ulNext, pByte, sizeof ulNext);
    return hr;
}

HRESULT MiniStream::SetNext(ULONG ulPiece, ULONG ulNext)
{
    BYTE* pByte = nullptr;
    const HRESULT hr = mFat.Change(ULONGLONG{ulPiece} * sizeof ulNext, sizeof ulNext, pByte);
    if (SUCCEEDED(hr)) std::memcpy(pByte, &ulNext, sizeof ulNext);
    return hr;
}

// The numbers of so many pieces, in order. There are never more than 64.
HRESULT MiniStream::Walk(ULONG ulFirst, ULONG ulPieces, ULONG* pulPieces)
{
    ULONG ulPiece = ulFirst, ulViewed = 0, ulViewFirst = 0; // pieces whose entries are in view
    const BYTE* pView = nullptr;
    bool bInRow = true;
    for (ULONG i = 0; i < ulPieces; ++i)
    {
        pulPieces[i] = ulPiece;
        if (ulPiece - ulViewFirst >= ulViewed)
        {
            const HRESULT hr = mFat.View(ULONGLONG{ulPiece} * sizeof ulPiece, pView, ulViewed);
            if (FAILED(hr)) return hr;
            ulViewFirst = ulPiece;
            ulViewed /= sizeof ulPiece;
        }
        std::memcpy(&ulPiece, pView + (ulPiece - ulViewFirst) * sizeof ulPiece, sizeof ulPiece);
        if (ulPiece == kulFree || (ulPiece == kulEndOfChain && i + 1 < ulPieces)) return STG_E_DOCFILECORRUPT;
        bInRow &= ulPiece == pulPieces[i] + 1;
        if (!bInRow && std::find(pulPieces, pulPieces + i + 1, ulPiece) != pulPieces + i + 1) return STG_E_DOCFILECORRUPT;
    }
    return S_OK;
}

HRESULT MiniStream::Transfer(ULONG ulFirst, ULONG ulAt, void* pBytes, ULONG ulBytes, bool bWrite, std::size_t& ulDone)
{
    ulDone = 0;
    if (ulBytes == 0) return S_OK;
    ULONG aulPieces[kulMostPieces];
    const ULONG ulEnd = PiecesOf(ulAt + ulBytes);
    HRESULT hr = ulEnd <= kulMostPieces ? Walk(ulFirst, ulEnd, aulPieces) : STG_E_DOCFILECORRUPT;
    if (SUCCEEDED(hr)) hr = mContents.Trim();

    BYTE* pHere = static_cast<BYTE*>(pBytes);
    for (ULONG i = ulAt >> kulMiniShift, ulInside = ulAt % kulMiniBytes; SUCCEEDED(hr) && ulBytes > 0; ulInside = 0)
    {
        // Neighbours that lie in one page are copied at once.
        const ULONGLONG ullPlace = (ULONGLONG{aulPieces[i]} << kulMiniShift) + ulInside;
        ULONG ulHere = kulMiniBytes - ulInside;
        for (++i; i < ulEnd && aulPieces[i] == aulPieces[i - 1] + 1; ++i) ulHere += kulMiniBytes;
        ulHere = std::min(ulHere, ulBytes);
        for (ULONGLONG ullAt = ullPlace; SUCCEEDED(hr) && ullAt < ullPlace + ulHere;)
        {
            const ULONG ulInPage = static_cast<ULONG>(PagedChain::kulPageBytes - ullAt % PagedChain::kulPageBytes);
            const ULONG ulCopy = std::min<ULONG>(ulInPage, static_cast<ULONG>(ullPlace + ulHere - ullAt));
            BYTE* pTo = nullptr;
            const BYTE* pFrom = nullptr;
            hr = bWrite ? mContents.Change(ullAt, ulCopy, pTo) : mContents.Look(ullAt, ulCopy, pFrom);
            if (FAILED(hr)) break;
            if (bWrite) std::memcpy(pTo, pHere, ulCopy);
            else std::memcpy(pHere, pFrom, ulCopy);
            pHere += ulCopy;
            ulDone += ulCopy;
            ullAt += ulCopy;
        }
        ulBytes -= ulHere;
    }
    return hr;
}

HRESULT MiniStream::Read(ULONG ulFirst, ULONG ulAt, void* pTo, ULONG ulBytes)
{
    std::size_t ulDone = 0;
    return Transfer(ulFirst, ulAt, pTo, ulBytes, false, ulDone);
}

HRESULT MiniStream::Write(ULONG ulFirst, ULONG ulAt, const void* pFrom, ULONG ulBytes, std::size_t& ulDone)
{
    return Transfer(ulFirst, ulAt, const_cast<void*>(pFrom), ulBytes, true, ulDone);
}

HRESULT MiniStream::Resize(ULONG& ulFirst, ULONG ulPieces, ULONG ulNewPieces)
{
    if (ulPieces == ulNewPieces) return S_OK;
    ULONG aulPieces[kulMostPieces];
    if (ulPieces > kulMostPieces || ulNewPieces > kulMostPieces) return STG_E_DOCFILECORRUPT;
    HRESULT hr = Walk(ulFirst, ulPieces, aulPieces);
    if (FAILED(hr)) return hr;

    if (ulNewPieces < ulPieces)
    {
        hr = FreePieces(aulPieces + ulNewPieces, ulPieces - ulNewPieces);
        if (FAILED(hr)) return hr;
        if (ulNewPieces > 0) return SetNext(aulPieces[ulNewPieces - 1], kulEndOfChain);
        ulFirst = kulEndOfChain;
        return S_OK;
    }

    ULONG ulHave = ulPieces;
    while (SUCCEEDED(hr) && ulHave < ulNewPieces)
    {
        const ULONG ulBefore = ulHave, ulHint = ulHave > 0 ? aulPieces[ulHave - 1] + 1 : kulFree;
        ULONG ulNew = 0, ulCount = 0;
        hr = Allocate(ulNewPieces - ulHave, ulHint, ulNew, ulCount);
        for (ULONG i = 0; SUCCEEDED(hr) && i < ulCount; ++i) aulPieces[ulHave++] = ulNew + i;
        if (SUCCEEDED(hr) && ulBefore > ulPieces) hr = SetNext(aulPieces[ulBefore - 1], ulNew);
    }
    // Only then do the old ones go on with them.
    if (SUCCEEDED(hr) && ulPieces > 0) hr = SetNext(aulPieces[ulPieces - 1], aulPieces[ulPieces]);
    if (FAILED(hr)) FreePieces(aulPieces + ulPieces, ulHave - ulPieces);
    else if (ulPieces == 0) ulFirst = aulPieces[0];
    return hr;
}

HRESULT MiniStream::FreePieces(const ULONG* pulPieces, ULONG ulCount)
{
    HRESULT hr = StartSearch();
    for (ULONG i = 0; i < ulCount && SUCCEEDED(hr); ++i)
    {
        hr = SetNext(pulPieces[i], kulFree);
        mFree.Add(pulPieces[i] / kulPageEntries, pulPieces[i] % kulPageEntries);
    }
    mbFreed = true;
    return hr;
}
} // namespace lum
