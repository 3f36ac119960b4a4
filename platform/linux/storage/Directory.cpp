#include "Directory.h"

#include <algorithm>

namespace lum
{
HRESULT Directory::Peek(ULONG ulEntry, const CfEntry*& pEntry)
{
    const BYTE* pByte = nullptr;
    ++mullLooked;
    const HRESULT hr = mEntries.Look(ULONGLONG{ulEntry} * sizeof(CfEntry), sizeof(CfEntry), pByte);
    pEntry = reinterpret_cast<const CfEntry*>(pByte);
    return hr;
}

HRESULT Directory::Get(ULONG ulEntry, const CfEntry*& pEntry)
{
    const HRESULT hr = Peek(ulEntry, pEntry);
    if (FAILED(hr)) return hr;
    switch (pEntry->eKind)
    {
    case EntryKind::Root: return ulEntry == kulRootEntry ? S_OK : STG_E_DOCFILECORRUPT;
    case EntryKind::Storage:
    case EntryKind::Stream: return ulEntry != kulRootEntry ? S_OK : STG_E_DOCFILECORRUPT;
    default: return STG_E_DOCFILECORRUPT;
    }
}

HRESULT Directory::Change(ULONG ulEntry, CfEntry*& pEntry)
{
    BYTE* pByte = nullptr;
    ++mullLooked;
    const HRESULT hr = mEntries.Change(ULONGLONG{ulEntry} * sizeof(CfEntry), sizeof(CfEntry), pByte);
    pEntry = reinterpret_cast<CfEntry*>(pByte);
    return hr;
}

HRESULT Directory::Count(ULONG& ulEntries)
{
    const HRESULT hr = mEntries.Length(ulEntries);
    if (FAILED(hr)) return hr;
    if (ulEntries > kulNoEntry / mulPerSector) return STG_E_DOCFILECORRUPT; // entries without numbers
    ulEntries *= mulPerSector;
    return S_OK;
}

HRESULT Directory::Create(EntryKind eKind, std::u16string_view sName, ULONG& ulEntry)
{
    const HRESULT hr = FindFree(ulEntry);
    return SUCCEEDED(hr) ? Begin(ulEntry, eKind, sName) : hr;
}

HRESULT Directory::CreateRoot()
{
    HRESULT hr = StartSearch();
    if (SUCCEEDED(hr)) hr = AppendSector();
    return SUCCEEDED(hr) ? Begin(kulRootEntry, EntryKind::Root, u"Root Entry") : hr;
}

HRESULT Directory::Begin(ULONG ulEntry, EntryKind eKind, std::u16string_view sName)
{
    CfEntry* pEntry = nullptr;
    const HRESULT hr = Change(ulEntry, pEntry);
    if (FAILED(hr)) return hr;
    *pEntry = CfEntry();
    SetNameOfEntry(*pEntry, sName);
    pEntry->eKind = eKind;
    pEntry->eColour = EntryColour::Black;
    pEntry->ulLeft = pEntry->ulRight = pEntry->ulChild = kulNoEntry;
    if (eKind != EntryKind::Storage) pEntry->ulStart = kulEndOfChain;
    return S_OK;
}

HRESULT Directory::SetName(ULONG ulEntry, std::u16string_view sName)
{
    CfEntry* pEntry = nullptr;
    const HRESULT hr = ChangeLinks(ulEntry, pEntry);
    if (SUCCEEDED(hr)) SetNameOfEntry(*pEntry, sName);
    return hr;
}

HRESULT Directory::Release(ULONG ulEntry)
{
    CfEntry* pEntry = nullptr;
    HRESULT hr = StartSearch();
    if (SUCCEEDED(hr)) hr = ChangeLinks(ulEntry, pEntry);
    if (FAILED(hr)) return hr;
    mOrders.Forget(ulEntry);
    *pEntry = CfEntry();
    pEntry->ulLeft = pEntry->ulRight = pEntry->ulChild = kulNoEntry;
    mFree.Add(ulEntry / kulPageEntries, ulEntry % kulPageEntries);
    return S_OK;
}

// The number of pages is known when the whole chain is; nobody but who changes the directory has to pay for that.
HRESULT Directory::StartSearch()
{
    ULONG ulEntries = 0;
    const HRESULT hr = Count(ulEntries);
    if (FAILED(hr) || mbSearched) return hr;
    mFree.Start((ulEntries + kulPageEntries - 1) / kulPageEntries, mulSeed);
    mbSearched = true;
    return S_OK;
}

HRESULT Directory::FindFree(ULONG& ulEntry)
{
    HRESULT hr = StartSearch();
    ULONG ulEntries = 0, ulPage = 0, ulFrom = 0;
    if (SUCCEEDED(hr)) hr = Count(ulEntries);
    while (SUCCEEDED(hr))
    {
        if (mFree.Lowest(ulPage, ulFrom))
        {
            ulEntry = ulPage * kulPageEntries + ulFrom;
            const CfEntry* pEntry = nullptr;
            while (ulFrom < kulPageEntries && ulEntry < ulEntries && SUCCEEDED(hr = Peek(ulEntry, pEntry)))
            {
                if (pEntry->eKind == EntryKind::Free && ulEntry != kulRootEntry)
                {
                    mFree.MoveOn(ulPage, ulFrom + 1);
                    mFree.GiveCredit(1);
                    return S_OK;
                }
                ++ulFrom, ++ulEntry;
            }
            mFree.Remove(ulPage);
        }
        else if (mFree.NextUnseen(ulPage))
        {
            mFree.SetSeen(ulPage);
            mFree.Add(ulPage, 0);
        }
        else
        {
            hr = AppendSector();
            if (SUCCEEDED(hr)) hr = Count(ulEntries);
        }
    }
    return hr;
}

HRESULT Directory::AppendSector()
{
    ULONG ulFirst = 0;
    HRESULT hr = Count(ulFirst);
    if (SUCCEEDED(hr)) hr = mEntries.Append(1, 0);
    if (FAILED(hr)) return hr;
    mFree.Resize((ulFirst + mulPerSector + kulPageEntries - 1) / kulPageEntries);
    for (ULONG i = ulFirst; i < ulFirst + mulPerSector; ++i)
    {
        CfEntry* pEntry = nullptr;
        hr = Change(i, pEntry);
        if (FAILED(hr)) return hr;
        pEntry->ulLeft = pEntry->ulRight = pEntry->ulChild = kulNoEntry;
    }
    mFree.Add(ulFirst / kulPageEntries, ulFirst % kulPageEntries);
    return S_OK;
}
} // namespace lum
