// The contents of streams.
#include "ChainData.h"
#include "CompoundFile.h"

#include <algorithm>

namespace lum
{
HRESULT CompoundFile::GetStream(ULONG ulEntry, const CfEntry*& pEntry)
{
    const HRESULT hr = mpState->directory.Get(ulEntry, pEntry);
    if (FAILED(hr)) return hr;
    if (pEntry->eKind != EntryKind::Stream) return STG_E_INVALIDFUNCTION;
    if (SizeOf(*pEntry) < kulCutoff) return S_OK;
    const ULONGLONG ullSectors = (SizeOf(*pEntry) + mpState->file.SectorBytes() - 1) >> mpState->file.Shift();
    return ullSectors <= mpState->table.Sectors() ? S_OK : STG_E_DOCFILECORRUPT;
}

Chain& CompoundFile::ChainOf(ULONG ulEntry, ULONG ulFirst)
{
    return mpState->streams.try_emplace(ulEntry, mpState->table, ulFirst).first->second;
}

HRESULT CompoundFile::Read(ULONG ulEntry, ULONGLONG ullAt, void* pTo, std::size_t ulBytes, std::size_t& ulRead)
{
    ulRead = 0;
    const CfEntry* pEntry = nullptr;
    HRESULT hr = GetStream(ulEntry, pEntry);
    if (FAILED(hr)) return hr;
    const ULONGLONG ullSize = SizeOf(*pEntry);
    if (ullAt >= ullSize) return S_OK;

    ulBytes = static_cast<std::size_t>(std::min<ULONGLONG>(ulBytes, ullSize - ullAt));
    if (ullSize < kulCutoff)
        hr = mpState->pMini->Read(pEntry->ulStart, static_cast<ULONG>(ullAt), pTo, static_cast<ULONG>(ulBytes));
    else
        hr = ChainData(mpState->file, mpState->table, ChainOf(ulEntry, pEntry->ulStart)).Read(ullAt, pTo, ulBytes);
    if (SUCCEEDED(hr)) ulRead = ulBytes;
    return hr;
}

HRESULT CompoundFile::Write(ULONG ulEntry, ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes)
{
    const CfEntry* pEntry = nullptr;
    HRESULT hr = CheckWritable();
    if (SUCCEEDED(hr)) hr = GetStream(ulEntry, pEntry);
    if (FAILED(hr) || ulBytes == 0) return hr;
    const ULONGLONG ullEnd = ullAt + ulBytes;
    if (ullEnd < ullAt) return STG_E_MEDIUMFULL;

    if (ullEnd > SizeOf(*pEntry)) hr = Grow(ulEntry, ullEnd, ullAt);
    if (FAILED(hr)) return hr;
    if (SizeOf(*pEntry) < kulCutoff)
        return mpState->pMini->Write(pEntry->ulStart, static_cast<ULONG>(ullAt), pFrom, static_cast<ULONG>(ulBytes));

    Chain& chain = ChainOf(ulEntry, pEntry->ulStart);
    hr = ChainData(mpState->file, mpState->table, chain).Write(ullAt, pFrom, ulBytes);
    const HRESULT hrExtent = chain.First() != pEntry->ulStart ? SetExtent(ulEntry, chain.First(), SizeOf(*pEntry)) : S_OK;
    return FAILED(hr) ? hr : hrExtent;
}

HRESULT CompoundFile::Resize(ULONG ulEntry, ULONGLONG ullBytes)
{
    const CfEntry* pEntry = nullptr;
    HRESULT hr = CheckWritable();
    if (SUCCEEDED(hr)) hr = GetStream(ulEntry, pEntry);
    if (FAILED(hr) || SizeOf(*pEntry) == ullBytes) return hr;
    return ullBytes > SizeOf(*pEntry) ? Grow(ulEntry, ullBytes, ullBytes) : Shrink(ulEntry, ullBytes);
}

HRESULT CompoundFile::SetExtent(ULONG ulEntry, ULONG ulStart, ULONGLONG ullBytes)
{
    CfEntry* pEntry = nullptr;
    const HRESULT hr = mpState->directory.Change(ulEntry, pEntry);
    if (FAILED(hr)) return hr;
    pEntry->ulStart = ulStart;
    pEntry->ulSizeLow = static_cast<ULONG>(ullBytes);
    pEntry->ulSizeHigh = static_cast<ULONG>(ullBytes >> 32);
    return S_OK;
}

// Makes a stream longer. What it gains up to that place is zero, what lies behind is for the caller to write.
HRESULT CompoundFile::Grow(ULONG ulEntry, ULONGLONG ullBytes, ULONGLONG ullZeroTo)
{
    const CfEntry* pEntry = nullptr;
    HRESULT hr = GetStream(ulEntry, pEntry);
    if (FAILED(hr)) return hr;
    const CfEntry entry = *pEntry;
    if (ullBytes < kulCutoff) return GrowMini(ulEntry, entry, static_cast<ULONG>(ullBytes), static_cast<ULONG>(ullZeroTo));

    const ULONGLONG ullSectors = (ullBytes + mpState->file.SectorBytes() - 1) >> mpState->file.Shift();
    if (ullSectors > mpState->table.Limit()) return STG_E_MEDIUMFULL;
    const ULONG ulSectors = static_cast<ULONG>(ullSectors);
    const ULONGLONG ullOld = SizeOf(entry);
    if (ullOld < kulCutoff) return LeaveMini(ulEntry, entry, ulSectors, ullBytes, ullZeroTo);

    Chain& chain = ChainOf(ulEntry, entry.ulStart);
    ULONG ulHave = 0;
    hr = chain.Length(ulHave);
    const ULONGLONG ullHave = ULONGLONG{ulHave} << mpState->file.Shift();
    if (SUCCEEDED(hr) && ullHave < ullOld) hr = STG_E_DOCFILECORRUPT;
    if (SUCCEEDED(hr) && ulSectors > ulHave) hr = chain.Append(ulSectors - ulHave);
    if (SUCCEEDED(hr)) hr = ChainData(mpState->file, mpState->table, chain).Clear(ullOld, ullZeroTo);
    if (FAILED(hr))
    {
        if (ulSectors > ulHave) chain.Cut(ulHave);
        return hr;
    }
    return SetExtent(ulEntry, chain.First(), ullBytes);
}

HRESULT CompoundFile::GrowMini(ULONG ulEntry, const CfEntry& entry, ULONG ulBytes, ULONG ulZeroTo)
{
    static const BYTE kaubZeros[kulCutoff] = {};
    const ULONG ulOld = static_cast<ULONG>(SizeOf(entry));
    ULONG ulStart = entry.ulStart;
    HRESULT hr = mpState->pMini->Resize(ulStart, MiniStream::PiecesOf(ulOld), MiniStream::PiecesOf(ulBytes));
    if (SUCCEEDED(hr)) hr = SetExtent(ulEntry, ulStart, ulBytes);
    if (FAILED(hr) || ulZeroTo <= ulOld) return hr;
    return mpState->pMini->Write(ulStart, ulOld, kaubZeros, ulZeroTo - ulOld);
}

// From the mini stream into sectors, as many as the new size needs.
HRESULT CompoundFile::LeaveMini(ULONG ulEntry, const CfEntry& entry, ULONG ulSectors, ULONGLONG ullBytes, ULONGLONG ullZeroTo)
{
    BYTE aubBytes[kulCutoff] = {};
    const ULONG ulOld = static_cast<ULONG>(SizeOf(entry));
    mpState->streams.erase(ulEntry);
    HRESULT hr = mpState->pMini->Read(entry.ulStart, 0, aubBytes, ulOld);
    if (FAILED(hr)) return hr;

    Chain& chain = ChainOf(ulEntry, kulEndOfChain);
    ChainData data(mpState->file, mpState->table, chain);
    ULONG ulStart = entry.ulStart;
    hr = chain.Append(ulSectors);
    if (SUCCEEDED(hr)) hr = data.Write(0, aubBytes, ulOld);
    if (SUCCEEDED(hr)) hr = data.Clear(ulOld, ullZeroTo);
    if (SUCCEEDED(hr)) hr = mpState->pMini->Resize(ulStart, MiniStream::PiecesOf(ulOld), 0);
    if (SUCCEEDED(hr)) return SetExtent(ulEntry, chain.First(), ullBytes);
    chain.Cut(0);
    mpState->streams.erase(ulEntry);
    return hr;
}

HRESULT CompoundFile::Shrink(ULONG ulEntry, ULONGLONG ullBytes)
{
    const CfEntry* pEntry = nullptr;
    HRESULT hr = GetStream(ulEntry, pEntry);
    if (FAILED(hr)) return hr;
    const CfEntry entry = *pEntry;
    ULONG ulStart = entry.ulStart;
    if (SizeOf(entry) < kulCutoff)
    {
        hr = mpState->pMini->Resize(ulStart, MiniStream::PiecesOf(entry.ulSizeLow),
                                    MiniStream::PiecesOf(static_cast<ULONG>(ullBytes)));
        return SUCCEEDED(hr) ? SetExtent(ulEntry, ulStart, ullBytes) : hr;
    }
    if (ullBytes < kulCutoff) return EnterMini(ulEntry, entry, static_cast<ULONG>(ullBytes));

    Chain& chain = ChainOf(ulEntry, ulStart);
    hr = chain.Cut(static_cast<ULONG>((ullBytes + mpState->file.SectorBytes() - 1) >> mpState->file.Shift()));
    return SUCCEEDED(hr) ? SetExtent(ulEntry, chain.First(), ullBytes) : hr;
}

// From sectors into the mini stream: the first bytes, as many as are wanted.
HRESULT CompoundFile::EnterMini(ULONG ulEntry, const CfEntry& entry, ULONG ulBytes)
{
    BYTE aubBytes[kulCutoff];
    Chain& chain = ChainOf(ulEntry, entry.ulStart);
    ULONG ulStart = kulEndOfChain;
    HRESULT hr = ChainData(mpState->file, mpState->table, chain).Read(0, aubBytes, ulBytes);
    if (SUCCEEDED(hr)) hr = mpState->pMini->Resize(ulStart, 0, MiniStream::PiecesOf(ulBytes));
    if (SUCCEEDED(hr)) hr = mpState->pMini->Write(ulStart, 0, aubBytes, ulBytes);
    if (SUCCEEDED(hr)) hr = chain.Cut(0);
    if (FAILED(hr))
    {
        if (ulStart != kulEndOfChain) mpState->pMini->Resize(ulStart, MiniStream::PiecesOf(ulBytes), 0);
        return hr;
    }
    mpState->streams.erase(ulEntry);
    return SetExtent(ulEntry, ulStart, ulBytes);
}
} // namespace lum
