// Entries that come, go and change places.
#include "CompoundFile.h"

namespace lum
{
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
    const CfEntry* pEntry = nullptr;
    std::u16string_view sName;
    HRESULT hr = CheckWritable();
    if (SUCCEEDED(hr)) hr = mpState->directory.Get(ulEntry, pEntry);
    if (SUCCEEDED(hr) && !NameOfEntry(*pEntry, sName)) hr = STG_E_DOCFILECORRUPT;
    return SUCCEEDED(hr) ? mpState->directory.Remove(ulStorage, sName) : hr;
}

HRESULT CompoundFile::SetName(ULONG ulEntry, std::u16string_view sName)
{
    CfEntry* pEntry = nullptr;
    HRESULT hr = CheckWritable();
    if (SUCCEEDED(hr)) hr = mpState->directory.Change(ulEntry, pEntry);
    if (SUCCEEDED(hr)) SetNameOfEntry(*pEntry, sName);
    return hr;
}

// What is damaged cannot be followed: its sectors stay, and belong to nobody.
HRESULT CompoundFile::Drop(ULONG ulEntry)
{
    HRESULT hr = CheckWritable();
    std::vector<ULONG> entries;
    if (SUCCEEDED(hr)) hr = Gather(ulEntry, entries);
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

HRESULT CompoundFile::Insert(ULONG ulStorage, std::u16string_view sName, EntryKind eKind, ULONG& ulEntry)
{
    HRESULT hr = CheckWritable();
    if (SUCCEEDED(hr)) hr = CheckEntryName(sName);
    ULONG ulFound = 0;
    if (SUCCEEDED(hr)) hr = mpState->directory.Find(ulStorage, sName, ulFound);
    if (SUCCEEDED(hr) && ulFound != kulNoEntry) hr = STG_E_FILEALREADYEXISTS;
    if (SUCCEEDED(hr)) hr = mpState->directory.Create(eKind, sName, ulEntry);
    return SUCCEEDED(hr) ? mpState->directory.Insert(ulStorage, ulEntry) : hr;
}

HRESULT CompoundFile::Remove(ULONG ulStorage, std::u16string_view sName)
{
    ULONG ulEntry = 0;
    HRESULT hr = CheckWritable();
    if (SUCCEEDED(hr)) hr = Find(ulStorage, sName, ulEntry);
    if (SUCCEEDED(hr)) hr = mpState->directory.Remove(ulStorage, sName);
    return SUCCEEDED(hr) ? Drop(ulEntry) : hr;
}

HRESULT CompoundFile::Move(ULONG ulFrom, std::u16string_view sName, ULONG ulTo, std::u16string_view sNewName)
{
    HRESULT hr = CheckWritable();
    ULONG ulEntry = 0, ulFound = 0;
    std::vector<ULONG> inside;
    if (SUCCEEDED(hr)) hr = CheckEntryName(sNewName);
    if (SUCCEEDED(hr)) hr = Find(ulFrom, sName, ulEntry);
    if (SUCCEEDED(hr)) hr = mpState->directory.Find(ulTo, sNewName, ulFound);
    if (SUCCEEDED(hr) && ulFound != kulNoEntry && ulFound != ulEntry) hr = STG_E_FILEALREADYEXISTS;
    if (SUCCEEDED(hr) && ulFrom != ulTo) hr = Gather(ulEntry, inside);
    if (FAILED(hr)) return hr;
    for (ULONG ulInside : inside)
        if (ulInside == ulTo) return STG_E_ACCESSDENIED;

    hr = mpState->directory.Remove(ulFrom, sName);
    if (SUCCEEDED(hr)) hr = SetName(ulEntry, sNewName);
    return SUCCEEDED(hr) ? mpState->directory.Insert(ulTo, ulEntry) : hr;
}
} // namespace lum
