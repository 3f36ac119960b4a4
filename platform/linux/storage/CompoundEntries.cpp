// Entries that come, go and change places.
#include "CompoundFile.h"

namespace lum
{
HRESULT CompoundFile::Count(ULONGLONG& ullEntries)
{
    ULONG ulEntries = 0;
    const HRESULT hr = mpState->directory.Count(ulEntries);
    ullEntries = ulEntries;
    return hr;
}

HRESULT CompoundFile::NewEntry(EntryKind eKind, std::u16string_view sName, ULONG& ulEntry)
{
    const HRESULT hr = CheckWritable();
    return SUCCEEDED(hr) ? mpState->directory.Create(eKind, sName, ulEntry) : hr;
}

HRESULT CompoundFile::Link(ULONG ulStorage, ULONG ulEntry)
{
    const HRESULT hr = CheckWritable();
    return SUCCEEDED(hr) ? mpState->directory.Insert(ulStorage, ulEntry) : hr;
}

HRESULT CompoundFile::Unlink(ULONG ulStorage, ULONG ulEntry)
{
    const HRESULT hr = CheckWritable();
    return SUCCEEDED(hr) ? mpState->directory.Remove(ulStorage, ulEntry) : hr;
}

HRESULT CompoundFile::SetName(ULONG ulEntry, std::u16string_view sName)
{
    const HRESULT hr = CheckWritable();
    return SUCCEEDED(hr) ? mpState->directory.SetName(ulEntry, sName) : hr;
}

HRESULT CompoundFile::CheckDrop(ULONG ulEntry)
{
    HRESULT hr = CheckWritable();
    std::vector<ULONG> entries;
    if (SUCCEEDED(hr)) hr = Gather(ulEntry, entries);
    for (std::size_t i = 0; i < entries.size() && SUCCEEDED(hr); ++i)
    {
        const CfEntry* pEntry = nullptr;
        hr = mpState->directory.Get(entries[i], pEntry);
        if (SUCCEEDED(hr) && pEntry->eKind == EntryKind::Stream) hr = Follow(entries[i]);
        if (hr == STG_E_DOCFILECORRUPT) hr = S_OK;
    }
    return hr;
}

// Reads of the tables what tells where the contents of a stream are.
HRESULT CompoundFile::Follow(ULONG ulEntry)
{
    const CfEntry* pEntry = nullptr;
    const HRESULT hr = GetStream(ulEntry, pEntry);
    if (FAILED(hr)) return hr;
    ULONG ulSectors = 0;
    if (SizeOf(*pEntry) >= kulCutoff) return ChainOf(ulEntry, pEntry->ulStart).Length(ulSectors);
    return mpState->pMini->Follow(pEntry->ulStart, MiniStream::PiecesOf(pEntry->ulSizeLow));
}

// What is damaged cannot be followed: its sectors stay, and belong to nobody.
HRESULT CompoundFile::Drop(ULONG ulEntry)
{
    HRESULT hr = CheckWritable();
    std::vector<ULONG> entries;
    if (SUCCEEDED(hr)) hr = Gather(ulEntry, entries);
    return SUCCEEDED(hr) ? DropEach(entries) : hr;
}

HRESULT CompoundFile::DropEach(const std::vector<ULONG>& entries)
{
    HRESULT hr = S_OK;
    for (std::size_t i = 0; i < entries.size() && SUCCEEDED(hr); ++i)
    {
        const CfEntry* pEntry = nullptr;
        hr = mpState->directory.Get(entries[i], pEntry);
        if (SUCCEEDED(hr) && pEntry->eKind == EntryKind::Stream) hr = Resize(entries[i], 0);
        if (hr == STG_E_DOCFILECORRUPT) hr = S_OK;
        if (SUCCEEDED(hr)) hr = mpState->directory.Release(entries[i]);
        Forget(entries[i]);
    }
    return hr;
}

// The tree goes at once, without looking for each name in it.
HRESULT CompoundFile::Empty(ULONG ulStorage)
{
    HRESULT hr = CheckWritable();
    std::vector<ULONG> children, entries;
    if (SUCCEEDED(hr)) hr = mpState->directory.Children(ulStorage, children);
    if (SUCCEEDED(hr)) hr = Gather(ulStorage, entries);
    if (SUCCEEDED(hr)) hr = mpState->directory.RemoveAll(ulStorage);
    if (FAILED(hr)) return hr;
    entries.erase(entries.begin());
    return DropEach(entries);
}

// An entry and all that it holds, each once, as far as it can be reached.
HRESULT CompoundFile::Gather(ULONG ulEntry, std::vector<ULONG>& entries)
{
    entries.assign(1, ulEntry);
    const CfEntry* pTop = nullptr;
    ULONG ulCount = 0;
    HRESULT hr = mpState->directory.Get(ulEntry, pTop);
    if (FAILED(hr) || pTop->eKind == EntryKind::Stream) return hr;
    hr = mpState->directory.Count(ulCount);
    if (FAILED(hr)) return hr;
    std::vector<bool> seen(ulCount, false);
    seen[ulEntry] = true;
    for (std::size_t i = 0; i < entries.size(); ++i)
    {
        std::vector<ULONG> inside;
        hr = mpState->directory.Children(entries[i], inside);
        if (FAILED(hr) && hr != STG_E_DOCFILECORRUPT && hr != STG_E_INVALIDFUNCTION) return hr;
        for (ULONG ulInside : inside)
        {
            if (ulInside == kulRootEntry || ulInside >= ulCount || seen[ulInside]) continue;
            seen[ulInside] = true;
            entries.push_back(ulInside);
        }
    }
    return S_OK;
}
} // namespace lum
