#include "CompoundFile.h"

namespace lum
{
CompoundFile::State::State(StorageBytes& bytes, const CfHeader& header, ULONGLONG ullSize, StorageAccess eAccess)
    : file(bytes, header.uwSectorShift, ullSize), table(file, eAccess != StorageAccess::Read, eAccess == StorageAccess::Transacted),
      directory(file, table, header.ulDirectory, header.ulCommits)
{
}

HRESULT CompoundFile::Create(WORD uwVersion, StorageAccess eAccess)
{
    meAccess = eAccess;
    HRESULT hr = CheckWritable();
    if (SUCCEEDED(hr)) hr = mBytes.SetSize(0);
    if (FAILED(hr)) return hr;

    mHeader = NewHeader(uwVersion);
    mpState = std::make_unique<State>(mBytes, mHeader, 0, meAccess);
    hr = mpState->table.Open(mHeader);
    if (SUCCEEDED(hr)) hr = mpState->directory.CreateRoot();
    mpState->pMini = std::make_unique<MiniStream>(mpState->file, mpState->table, kulEndOfChain, kulEndOfChain, 0, 0);
    return SUCCEEDED(hr) ? Commit() : hr;
}

HRESULT CompoundFile::Open(StorageAccess eAccess)
{
    meAccess = eAccess;
    ULONGLONG ullSize = 0;
    std::size_t ulRead = 0;
    HRESULT hr = mBytes.Size(ullSize);
    if (SUCCEEDED(hr)) hr = mBytes.Read(0, &mHeader, sizeof mHeader, ulRead);
    if (SUCCEEDED(hr) && ulRead < sizeof mHeader) hr = STG_E_INVALIDHEADER;
    if (SUCCEEDED(hr)) hr = CheckHeader(mHeader);
    return SUCCEEDED(hr) ? Load(ullSize) : hr;
}

HRESULT CompoundFile::Load(ULONGLONG ullSize)
{
    mullSize = ullSize;
    mpState = std::make_unique<State>(mBytes, mHeader, ullSize, meAccess);
    const CfEntry* pRoot = nullptr;
    HRESULT hr = mpState->table.Open(mHeader);
    if (SUCCEEDED(hr)) hr = mpState->directory.Get(kulRootEntry, pRoot);
    if (FAILED(hr)) return hr;
    const ULONGLONG ullMini = SizeOf(*pRoot);
    mpState->pMini = std::make_unique<MiniStream>(mpState->file, mpState->table,
                                                  mHeader.ulMiniFatSectors == 0 ? kulEndOfChain : mHeader.ulMiniFat,
                                                  ullMini == 0 ? kulEndOfChain : pRoot->ulStart, ullMini, mHeader.ulCommits);
    return S_OK;
}

HRESULT CompoundFile::Get(ULONG ulEntry, CfEntry& entry)
{
    const CfEntry* pEntry = nullptr;
    const HRESULT hr = mpState->directory.Get(ulEntry, pEntry);
    if (SUCCEEDED(hr)) entry = *pEntry;
    return hr;
}

ULONGLONG CompoundFile::SizeOf(const CfEntry& entry) const
{
    return mHeader.uwMajor == 3 ? entry.ulSizeLow : (ULONGLONG{entry.ulSizeHigh} << 32) | entry.ulSizeLow;
}

HRESULT CompoundFile::Find(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry)
{
    const HRESULT hr = mpState->directory.Find(ulStorage, sName, ulEntry);
    return SUCCEEDED(hr) && ulEntry == kulNoEntry ? STG_E_FILENOTFOUND : hr;
}

HRESULT CompoundFile::Children(ULONG ulStorage, std::vector<ULONG>& entries)
{
    return mpState->directory.Children(ulStorage, entries);
}

HRESULT CompoundFile::SetProperties(ULONG ulEntry, const CLSID& clsid, ULONG ulState, FILETIME created, FILETIME modified)
{
    const CfEntry* pSeen = nullptr;
    CfEntry* pEntry = nullptr;
    HRESULT hr = CheckWritable();
    if (SUCCEEDED(hr)) hr = mpState->directory.Get(ulEntry, pSeen);
    if (SUCCEEDED(hr)) hr = mpState->directory.Change(ulEntry, pEntry);
    if (FAILED(hr)) return hr;
    pEntry->clsid = clsid;
    pEntry->ulState = ulState;
    pEntry->created = created;
    pEntry->modified = modified;
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
    if (FAILED(hr)) return hr;
    return mpState->directory.Insert(ulStorage, ulEntry);
}

// An entry and all that it holds, each once.
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
    for (std::size_t i = 0; i < entries.size(); ++i)
    {
        const CfEntry* pEntry = nullptr;
        hr = entries[i] < ulCount && !seen[entries[i]] ? mpState->directory.Get(entries[i], pEntry) : STG_E_DOCFILECORRUPT;
        if (FAILED(hr)) return hr;
        seen[entries[i]] = true;
        if (pEntry->eKind != EntryKind::Stream) hr = mpState->directory.Children(entries[i], entries);
        if (FAILED(hr)) return hr;
    }
    return S_OK;
}

HRESULT CompoundFile::Remove(ULONG ulStorage, std::u16string_view sName)
{
    ULONG ulEntry = 0;
    std::vector<ULONG> entries;
    HRESULT hr = CheckWritable();
    if (SUCCEEDED(hr)) hr = Find(ulStorage, sName, ulEntry);
    if (SUCCEEDED(hr)) hr = Gather(ulEntry, entries);
    // The contents go first: what is damaged stays where it can be seen.
    for (std::size_t i = 0; i < entries.size() && SUCCEEDED(hr); ++i)
    {
        const CfEntry* pEntry = nullptr;
        hr = mpState->directory.Get(entries[i], pEntry);
        if (SUCCEEDED(hr) && pEntry->eKind == EntryKind::Stream) hr = Resize(entries[i], 0);
    }
    if (SUCCEEDED(hr)) hr = mpState->directory.Remove(ulStorage, sName);
    for (std::size_t i = 0; i < entries.size() && SUCCEEDED(hr); ++i) hr = mpState->directory.Release(entries[i]);
    return hr;
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

    CfEntry* pEntry = nullptr;
    hr = mpState->directory.Remove(ulFrom, sName);
    if (SUCCEEDED(hr)) hr = mpState->directory.Change(ulEntry, pEntry);
    if (FAILED(hr)) return hr;
    SetNameOfEntry(*pEntry, sNewName);
    return mpState->directory.Insert(ulTo, ulEntry);
}
} // namespace lum
