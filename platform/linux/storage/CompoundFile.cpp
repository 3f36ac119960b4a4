#include "CompoundFile.h"

namespace lum
{
CompoundFile::State::State(StorageBytes& bytes, const CfHeader& header, ULONGLONG ullSize, StorageAccess eAccess)
    : file(bytes, header.uwSectorShift, ullSize), table(file, eAccess != StorageAccess::Read, eAccess == StorageAccess::Transacted),
      directory(file, table, header.ulDirectory, header.ulCommits)
{
}

void CompoundFile::Begin(StorageAccess eAccess)
{
    meAccess = eAccess;
    mhrLost = S_OK;
    mbHeaderUnsure = mbUnflushed = false;
}

HRESULT CompoundFile::Create(WORD uwVersion, StorageAccess eAccess)
{
    Begin(eAccess);
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
    Begin(eAccess);
    ULONGLONG ullSize = 0;
    HRESULT hr = mBytes.Size(ullSize);
    if (SUCCEEDED(hr)) hr = ReadHeader(mBytes, mHeader);
    if (SUCCEEDED(hr)) hr = CheckHeader(mHeader);
    mullSize = ullSize;
    return SUCCEEDED(hr) ? Load(mHeader, ullSize, mpState) : hr;
}

// What there is to know at once of the file with that header. What failed, or ran out of memory, changes nothing.
HRESULT CompoundFile::Load(const CfHeader& header, ULONGLONG ullSize, std::unique_ptr<State>& pState) const
{
    auto pNew = std::make_unique<State>(mBytes, header, ullSize, meAccess);
    const CfEntry* pRoot = nullptr;
    HRESULT hr = pNew->table.Open(header);
    if (SUCCEEDED(hr)) hr = pNew->directory.Get(kulRootEntry, pRoot);
    if (FAILED(hr)) return hr;
    const ULONGLONG ullMini = SizeOf(*pRoot);
    const ULONG ulMiniFat = header.ulMiniFatSectors == 0 ? kulEndOfChain : header.ulMiniFat;
    pNew->pMini = std::make_unique<MiniStream>(pNew->file, pNew->table, ulMiniFat, ullMini == 0 ? kulEndOfChain : pRoot->ulStart,
                                               ullMini, header.ulCommits);
    pState = std::move(pNew);
    return S_OK;
}

HRESULT CompoundFile::Get(ULONG ulEntry, CfEntry& entry)
{
    const CfEntry* pEntry = nullptr;
    const HRESULT hr = mpState->directory.Get(ulEntry, pEntry);
    if (SUCCEEDED(hr)) entry = *pEntry;
    return hr;
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
