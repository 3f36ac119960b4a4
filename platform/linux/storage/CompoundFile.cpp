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

HRESULT CompoundFile::After(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry)
{
    return mpState->directory.After(ulStorage, sName, ulEntry);
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
} // namespace lum
