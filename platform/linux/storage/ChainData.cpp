#include "ChainData.h"

#include <algorithm>
#include <cstring>

namespace lum
{
HRESULT ChainData::Read(ULONGLONG ullAt, void* pTo, std::size_t ulBytes)
{
    BYTE* pHere = static_cast<BYTE*>(pTo);
    while (ulBytes > 0)
    {
        Chain::Run run;
        HRESULT hr = mChain.Find(static_cast<ULONG>(ullAt >> mFile.Shift()), run);
        if (FAILED(hr)) return hr;
        const ULONG ulInside = static_cast<ULONG>(ullAt & (mFile.SectorBytes() - 1));
        // The index may not have come to the end of what lies in one piece.
        while ((ULONGLONG{run.ulCount} << mFile.Shift()) - ulInside < ulBytes)
        {
            Chain::Run more;
            if (FAILED(mChain.Find(static_cast<ULONG>(ullAt >> mFile.Shift()) + run.ulCount, more))) break;
            if (more.ulSector != run.ulSector + run.ulCount) break;
            run.ulCount += more.ulCount;
        }
        const std::size_t ulHere =
            static_cast<std::size_t>(std::min<ULONGLONG>(ulBytes, (ULONGLONG{run.ulCount} << mFile.Shift()) - ulInside));
        hr = mFile.Read(run.ulSector, ulInside, pHere, ulHere);
        if (FAILED(hr)) return hr;
        pHere += ulHere;
        ullAt += ulHere;
        ulBytes -= ulHere;
    }
    return S_OK;
}

HRESULT ChainData::Write(ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes)
{
    const BYTE* pHere = static_cast<const BYTE*>(pFrom);
    while (ulBytes > 0)
    {
        const ULONG ulAt = static_cast<ULONG>(ullAt >> mFile.Shift());
        const ULONG ulInside = static_cast<ULONG>(ullAt & (mFile.SectorBytes() - 1));
        const ULONGLONG ullSectors = (ulInside + ulBytes + mFile.SectorBytes() - 1) >> mFile.Shift();
        Chain::Run run;
        HRESULT hr = mChain.Find(ulAt, run);
        if (FAILED(hr)) return hr;
        bool bFresh = false;
        const ULONG ulAlike = mTable.Alike(run.ulSector, static_cast<ULONG>(std::min<ULONGLONG>(run.ulCount, ullSectors)), bFresh);
        std::size_t ulHere = std::min<std::size_t>(ulBytes, (std::size_t{ulAlike} << mFile.Shift()) - ulInside);
        hr = bFresh ? mFile.Write(run.ulSector, ulInside, pHere, ulHere)
                    : WriteStale(ulAt, ulAlike, ulInside, pHere, ulHere, ulHere);
        if (FAILED(hr)) return hr;
        pHere += ulHere;
        ullAt += ulHere;
        ulBytes -= ulHere;
    }
    return S_OK;
}

// Into sectors that are not fresh: the part of one together with what it held before, or whole ones.
HRESULT ChainData::WriteStale(ULONG ulAt, ULONG ulSectors, ULONG ulInside, const BYTE* pFrom, std::size_t ulBytes,
                              std::size_t& ulDone)
{
    Chain::Run run;
    if (ulInside == 0 && ulBytes >= mFile.SectorBytes())
    {
        ulSectors = std::min(ulSectors, static_cast<ULONG>(ulBytes >> mFile.Shift()));
        HRESULT hr = mChain.MakeFresh(ulAt, ulSectors);
        ulDone = 0;
        while (SUCCEEDED(hr) && ulSectors > 0)
        {
            hr = mChain.Find(ulAt, run);
            if (FAILED(hr)) break;
            const ULONG ulHere = std::min(ulSectors, run.ulCount);
            hr = mFile.Write(run.ulSector, 0, pFrom + ulDone, std::size_t{ulHere} << mFile.Shift());
            ulDone += std::size_t{ulHere} << mFile.Shift();
            ulAt += ulHere;
            ulSectors -= ulHere;
        }
        return hr;
    }

    BYTE aubSector[4096];
    ulDone = std::min<std::size_t>(ulBytes, mFile.SectorBytes() - ulInside);
    HRESULT hr = mChain.Find(ulAt, run);
    if (SUCCEEDED(hr)) hr = mFile.Read(run.ulSector, 0, aubSector, mFile.SectorBytes());
    if (SUCCEEDED(hr)) hr = mChain.MakeFresh(ulAt, 1);
    if (SUCCEEDED(hr)) hr = mChain.Find(ulAt, run);
    if (FAILED(hr)) return hr;
    std::memcpy(aubSector + ulInside, pFrom, ulDone);
    return mFile.Write(run.ulSector, 0, aubSector, mFile.SectorBytes());
}

HRESULT ChainData::Clear(ULONGLONG ullAt, ULONGLONG ullEnd)
{
    static const BYTE kaubZeros[65536] = {};
    while (ullAt < ullEnd)
    {
        Chain::Run run;
        HRESULT hr = mChain.Find(static_cast<ULONG>(ullAt >> mFile.Shift()), run);
        if (FAILED(hr)) return hr;
        const ULONG ulInside = static_cast<ULONG>(ullAt & (mFile.SectorBytes() - 1));
        ULONGLONG ullHere = std::min((ULONGLONG{run.ulCount} << mFile.Shift()) - ulInside, ullEnd - ullAt);
        if (!mFile.IsBeyond(run.ulSector))
        {
            ullHere = std::min<ULONGLONG>(ullHere, sizeof kaubZeros);
            hr = Write(ullAt, kaubZeros, static_cast<std::size_t>(ullHere));
            if (FAILED(hr)) return hr;
        }
        ullAt += ullHere;
    }
    return S_OK;
}
} // namespace lum
