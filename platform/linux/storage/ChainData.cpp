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

HRESULT ChainData::Write(ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes, std::size_t& ulDone)
{
    const BYTE* pBytes = static_cast<const BYTE*>(pFrom);
    for (ulDone = 0; ulDone < ulBytes;)
    {
        const ULONGLONG ullHere = ullAt + ulDone;
        const ULONG ulAt = static_cast<ULONG>(ullHere >> mFile.Shift());
        const ULONG ulInside = static_cast<ULONG>(ullHere & (mFile.SectorBytes() - 1));
        const ULONGLONG ullSectors = (ulInside + ulBytes - ulDone + mFile.SectorBytes() - 1) >> mFile.Shift();
        Chain::Run run;
        HRESULT hr = mChain.Find(ulAt, run);
        if (FAILED(hr)) return hr;
        bool bFresh = false;
        const ULONG ulAlike = mTable.Alike(run.ulSector, static_cast<ULONG>(std::min<ULONGLONG>(run.ulCount, ullSectors)), bFresh);
        std::size_t ulHere = std::min<std::size_t>(ulBytes - ulDone, (std::size_t{ulAlike} << mFile.Shift()) - ulInside);
        hr = bFresh ? mFile.Write(run.ulSector, ulInside, pBytes + ulDone, ulHere)
                    : WriteStale(ulAt, ulAlike, ulInside, pBytes + ulDone, ulHere);
        if (FAILED(hr)) return hr;
        ulDone += ulHere;
    }
    return S_OK;
}

// Into sectors that are not fresh: the part of one together with what it held before, or whole ones. As many bytes as that are.
HRESULT ChainData::WriteStale(ULONG ulAt, ULONG ulSectors, ULONG ulInside, const BYTE* pFrom, std::size_t& ulBytes)
{
    if (ulInside == 0 && ulBytes >= mFile.SectorBytes())
    {
        ulSectors = std::min(ulSectors, static_cast<ULONG>(ulBytes >> mFile.Shift()));
        ulBytes = std::size_t{ulSectors} << mFile.Shift();
        return mChain.MakeFresh(ulAt, ulSectors,
                                [&](ULONG ulHere, const Chain::Run& run)
                                {
                                    const BYTE* pHere = pFrom + (std::size_t{ulHere - ulAt} << mFile.Shift());
                                    return mFile.Write(run.ulSector, 0, pHere, std::size_t{run.ulCount} << mFile.Shift());
                                });
    }

    BYTE aubSector[4096];
    Chain::Run run;
    ulBytes = std::min<std::size_t>(ulBytes, mFile.SectorBytes() - ulInside);
    HRESULT hr = mChain.Find(ulAt, run);
    if (SUCCEEDED(hr)) hr = mFile.Read(run.ulSector, 0, aubSector, mFile.SectorBytes());
    if (FAILED(hr)) return hr;
    std::memcpy(aubSector + ulInside, pFrom, ulBytes);
    return mChain.MakeFresh(ulAt, 1,
                            [&](ULONG, const Chain::Run& fresh)
                            { return mFile.Write(fresh.ulSector, 0, aubSector, mFile.SectorBytes()); });
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
            std::size_t ulDone = 0;
            hr = Write(ullAt, kaubZeros, static_cast<std::size_t>(ullHere), ulDone);
            if (FAILED(hr)) return hr;
        }
        ullAt += ullHere;
    }
    return S_OK;
}
} // namespace lum
