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
    return mpState->file.SectorsOf(SizeOf(*pEntry)) <= mpState->table.Sectors() ? S_OK : STG_E_DOCFILECORRUPT;
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

HRESULT CompoundFile::Write(ULONG ulEntry, ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes, std::size_t* pulWritten)
{
    if (pulWritten) *pulWritten = 0;
    const CfEntry* pEntry = nullptr;
    HRESULT hr = CheckWritable();
    if (SUCCEEDED(hr)) hr = GetStream(ulEntry, pEntry);
    if (FAILED(hr) || ulBytes == 0) return hr;
    const ULONGLONG ullEnd = ullAt + ulBytes;
    if (ullEnd < ullAt) return STG_E_MEDIUMFULL;

    const CfEntry entry = *pEntry;
    NewBytes bytes{ullAt, pFrom, ulBytes};
    hr = ullEnd > SizeOf(entry) ? Grow(ulEntry, entry, ullEnd, bytes) : WriteInside(ulEntry, entry, bytes);
    // What would have made the stream longer is not there.
    const ULONGLONG ullBefore = SizeOf(entry) > ullAt ? SizeOf(entry) - ullAt : 0;
    if (pulWritten) *pulWritten = SUCCEEDED(hr) ? ulBytes : static_cast<std::size_t>(std::min<ULONGLONG>(bytes.ulDone, ullBefore));
    return hr;
}

HRESULT CompoundFile::WriteInside(ULONG ulEntry, const CfEntry& entry, NewBytes& bytes)
{
    if (SizeOf(entry) < kulCutoff)
        return mpState->pMini->Write(entry.ulStart, static_cast<ULONG>(bytes.ullAt), bytes.pFrom,
                                     static_cast<ULONG>(bytes.ulBytes), bytes.ulDone);
    Chain& chain = ChainOf(ulEntry, entry.ulStart);
    const HRESULT hr =
        ChainData(mpState->file, mpState->table, chain).Write(bytes.ullAt, bytes.pFrom, bytes.ulBytes, bytes.ulDone);
    const HRESULT hrExtent = chain.First() != entry.ulStart ? SetExtent(ulEntry, chain.First(), SizeOf(entry)) : S_OK;
    return FAILED(hr) ? hr : hrExtent;
}

HRESULT CompoundFile::Resize(ULONG ulEntry, ULONGLONG ullBytes)
{
    const CfEntry* pEntry = nullptr;
    HRESULT hr = CheckWritable();
    if (SUCCEEDED(hr)) hr = GetStream(ulEntry, pEntry);
    if (FAILED(hr) || SizeOf(*pEntry) == ullBytes) return hr;
    if (ullBytes < SizeOf(*pEntry)) return Shrink(ulEntry, ullBytes);
    NewBytes none{ullBytes, nullptr, 0};
    return Grow(ulEntry, CfEntry(*pEntry), ullBytes, none);
}

HRESULT CompoundFile::SetExtent(ULONG ulEntry, ULONG ulStart, ULONGLONG ullBytes)
{
    CfEntry* pEntry = nullptr;
    const HRESULT hr = mpState->directory.Change(ulEntry, pEntry);
    if (FAILED(hr)) return hr;
    pEntry->ulStart = ulStart;
    SetEntrySize(*pEntry, ullBytes);
    return S_OK;
}

// Makes a stream longer, with new bytes at its new end. What lies between the old end and them is zero.
HRESULT CompoundFile::Grow(ULONG ulEntry, const CfEntry& entry, ULONGLONG ullBytes, NewBytes& bytes)
{
    if (ullBytes < kulCutoff) return GrowMini(ulEntry, entry, static_cast<ULONG>(ullBytes), bytes);

    const ULONGLONG ullSectors = mpState->file.SectorsOf(ullBytes);
    if (ullSectors > mpState->table.Limit()) return STG_E_MEDIUMFULL;
    const ULONG ulSectors = static_cast<ULONG>(ullSectors);
    const ULONGLONG ullOld = SizeOf(entry);
    if (ullOld < kulCutoff) return LeaveMini(ulEntry, entry, ulSectors, ullBytes, bytes);

    Chain& chain = ChainOf(ulEntry, entry.ulStart);
    ChainData data(mpState->file, mpState->table, chain);
    ULONG ulHave = 0;
    HRESULT hr = chain.Length(ulHave);
    if (SUCCEEDED(hr) && (ULONGLONG{ulHave} << mpState->file.Shift()) < ullOld) hr = STG_E_DOCFILECORRUPT;
    if (SUCCEEDED(hr) && ulSectors > ulHave) hr = chain.Append(ulSectors - ulHave);
    if (FAILED(hr)) return hr;
    hr = data.Clear(ullOld, bytes.ullAt);
    if (SUCCEEDED(hr)) hr = data.Write(bytes.ullAt, bytes.pFrom, bytes.ulBytes, bytes.ulDone);
    if (FAILED(hr)) chain.Cut(ulHave);
    const HRESULT hrExtent = SetExtent(ulEntry, chain.First(), SUCCEEDED(hr) ? ullBytes : ullOld);
    return FAILED(hr) ? hr : hrExtent;
}

HRESULT CompoundFile::GrowMini(ULONG ulEntry, const CfEntry& entry, ULONG ulBytes, NewBytes& bytes)
{
    static const BYTE kaubZeros[kulCutoff] = {};
    MiniStream& mini = *mpState->pMini;
    const ULONG ulOld = static_cast<ULONG>(SizeOf(entry)), ulAt = static_cast<ULONG>(bytes.ullAt);
    ULONG ulStart = entry.ulStart;
    HRESULT hr = mini.Resize(ulStart, MiniStream::PiecesOf(ulOld), MiniStream::PiecesOf(ulBytes));
    if (FAILED(hr)) return hr;
    std::size_t ulCleared = 0;
    if (ulAt > ulOld) hr = mini.Write(ulStart, ulOld, kaubZeros, ulAt - ulOld, ulCleared);
    if (SUCCEEDED(hr)) hr = mini.Write(ulStart, ulAt, bytes.pFrom, static_cast<ULONG>(bytes.ulBytes), bytes.ulDone);
    if (SUCCEEDED(hr)) return SetExtent(ulEntry, ulStart, ulBytes);
    mini.Resize(ulStart, MiniStream::PiecesOf(ulBytes), MiniStream::PiecesOf(ulOld));
    return hr;
}

// From the mini stream into sectors, as many as the new size needs.
HRESULT CompoundFile::LeaveMini(ULONG ulEntry, const CfEntry& entry, ULONG ulSectors, ULONGLONG ullBytes, NewBytes& bytes)
{
    BYTE aubBytes[kulCutoff] = {};
    const ULONG ulOld = static_cast<ULONG>(SizeOf(entry));
    mpState->streams.erase(ulEntry);
    HRESULT hr = mpState->pMini->Read(entry.ulStart, 0, aubBytes, ulOld);
    if (FAILED(hr)) return hr;

    Chain& chain = ChainOf(ulEntry, kulEndOfChain);
    ChainData data(mpState->file, mpState->table, chain);
    ULONG ulStart = entry.ulStart;
    std::size_t ulDone = 0;
    hr = chain.Append(ulSectors);
    if (SUCCEEDED(hr)) hr = data.Write(0, aubBytes, ulOld, ulDone);
    if (SUCCEEDED(hr)) hr = data.Clear(ulOld, bytes.ullAt);
    if (SUCCEEDED(hr)) hr = data.Write(bytes.ullAt, bytes.pFrom, bytes.ulBytes, ulDone);
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
    hr = chain.Cut(static_cast<ULONG>(mpState->file.SectorsOf(ullBytes)));
    return SUCCEEDED(hr) ? SetExtent(ulEntry, chain.First(), ullBytes) : hr;
}

// From sectors into the mini stream: the first bytes, as many as are wanted.
HRESULT CompoundFile::EnterMini(ULONG ulEntry, const CfEntry& entry, ULONG ulBytes)
{
    BYTE aubBytes[kulCutoff];
    Chain& chain = ChainOf(ulEntry, entry.ulStart);
    ULONG ulStart = kulEndOfChain;
    std::size_t ulDone = 0;
    HRESULT hr = ChainData(mpState->file, mpState->table, chain).Read(0, aubBytes, ulBytes);
    if (SUCCEEDED(hr)) hr = mpState->pMini->Resize(ulStart, 0, MiniStream::PiecesOf(ulBytes));
    if (SUCCEEDED(hr)) hr = mpState->pMini->Write(ulStart, 0, aubBytes, ulBytes, ulDone);
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
