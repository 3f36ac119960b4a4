// Looking for names in what a storage holds, and the ways to them in its tree.
#include "Directory.h"

namespace lum
{
HRESULT Directory::Find(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry)
{
    return Search(ulStorage, sName, Sought::Same, ulEntry);
}

HRESULT Directory::After(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry)
{
    return Search(ulStorage, sName, Sought::Next, ulEntry);
}

HRESULT Directory::GetStorage(ULONG ulStorage, const CfEntry*& pEntry)
{
    const HRESULT hr = Get(ulStorage, pEntry);
    return SUCCEEDED(hr) && pEntry->eKind == EntryKind::Stream ? STG_E_INVALIDFUNCTION : hr;
}

// How a name stands to that of an entry in a tree.
HRESULT Directory::Compare(std::u16string_view sName, ULONG ulEntry, const CfEntry*& pEntry, int& iOrder)
{
    std::u16string_view sHere;
    const HRESULT hr = ulEntry == kulRootEntry ? STG_E_DOCFILECORRUPT : Get(ulEntry, pEntry);
    if (FAILED(hr)) return hr;
    if (!NameOfEntry(*pEntry, sHere)) return STG_E_DOCFILECORRUPT;
    iOrder = CompareEntryNames(sName, sHere);
    return S_OK;
}

// The number of entries is the bound of every path.
HRESULT Directory::CheckSteps(ULONG ulSteps)
{
    if (ulSteps < kulMostLevels) return S_OK;
    ULONG ulEntries = 0;
    const HRESULT hr = Count(ulEntries);
    if (FAILED(hr)) return hr;
    return ulSteps < ulEntries ? S_OK : STG_E_DOCFILECORRUPT;
}

HRESULT Directory::Search(ULONG ulStorage, std::u16string_view sName, Sought eSought, ULONG& ulEntry)
{
    ulEntry = kulNoEntry;
    const CfEntry* pEntry = nullptr;
    HRESULT hr = GetStorage(ulStorage, pEntry);
    if (FAILED(hr)) return hr;
    ULONG ulLevels = mOrders.Find(ulStorage) ? kulMostLevels : 0;
    for (ULONG ulNext = pEntry->ulChild; ulNext != kulNoEntry; ++ulLevels)
    {
        int iOrder = 0;
        if (ulLevels >= kulMostLevels) return SearchOrder(ulStorage, sName, eSought, ulEntry);
        hr = Compare(sName, ulNext, pEntry, iOrder);
        if (FAILED(hr)) return hr;
        if (iOrder < 0 ? eSought == Sought::Next : iOrder == 0 && eSought == Sought::Same) ulEntry = ulNext;
        if (iOrder == 0 && eSought == Sought::Same) break;
        ulNext = iOrder < 0 ? pEntry->ulLeft : pEntry->ulRight;
    }
    return S_OK;
}

HRESULT Directory::SearchOrder(ULONG ulStorage, std::u16string_view sName, Sought eSought, ULONG& ulEntry)
{
    ulEntry = kulNoEntry;
    NameOrder* pOrder = nullptr;
    HRESULT hr = GetOrder(ulStorage, pOrder);
    std::size_t ulFirst = 0, ulEnd = SUCCEEDED(hr) ? pOrder->entries.size() : 0;
    while (SUCCEEDED(hr) && ulFirst < ulEnd)
    {
        const std::size_t ulMiddle = (ulFirst + ulEnd) / 2;
        const ULONG ulHere = pOrder->entries[ulMiddle];
        const CfEntry* pEntry = nullptr;
        int iOrder = 0;
        hr = Compare(sName, ulHere, pEntry, iOrder);
        if (iOrder < 0 ? eSought == Sought::Next : iOrder == 0 && eSought == Sought::Same) ulEntry = ulHere;
        if (iOrder == 0 && eSought == Sought::Same) break;
        if (iOrder < 0) ulEnd = ulMiddle;
        else ulFirst = ulMiddle + 1;
    }
    return SUCCEEDED(hr) && ulEntry == kulNoEntry ? pOrder->hrRest : hr;
}

// The way to a name, or to where it would hang.
HRESULT Directory::Descend(ULONG ulStorage, std::u16string_view sName, Path& path, ULONG& ulFound)
{
    const CfEntry* pEntry = nullptr;
    HRESULT hr = GetStorage(ulStorage, pEntry);
    if (FAILED(hr)) return hr;
    path.assign(1, {ulStorage, &CfEntry::ulChild});
    ulFound = pEntry->ulChild;
    while (ulFound != kulNoEntry)
    {
        int iOrder = 0;
        if (path.size() > kulMostLevels) return S_FALSE;
        hr = Compare(sName, ulFound, pEntry, iOrder);
        if (FAILED(hr)) return hr;
        if (iOrder == 0) break;
        const Field pField = iOrder < 0 ? kpLeft : kpRight;
        path.push_back({ulFound, pField});
        ulFound = pEntry->*pField;
    }
    return S_OK;
}

// What hangs below an entry on that side, if by its name it belongs there.
HRESULT Directory::GetOrdered(const CfEntry& above, Field pField, ULONG ulBelow, const CfEntry*& pBelow)
{
    std::u16string_view sAbove;
    int iOrder = 0;
    if (!NameOfEntry(above, sAbove)) return STG_E_DOCFILECORRUPT;
    const HRESULT hr = Compare(sAbove, ulBelow, pBelow, iOrder);
    if (FAILED(hr)) return hr;
    return (pField == kpLeft ? iOrder > 0 : iOrder < 0) ? S_OK : STG_E_DOCFILECORRUPT;
}

// The way to an entry, and if it has two children, onward to the link that its neighbour hangs on: the next one, or the one before
// if the way to the next one is damaged.
HRESULT Directory::DescendTo(ULONG ulStorage, ULONG ulEntry, Path& path, Path& onward)
{
    const CfEntry* pEntry = nullptr;
    std::u16string_view sName;
    ULONG ulFound = 0;
    HRESULT hr = Get(ulEntry, pEntry);
    if (SUCCEEDED(hr) && !NameOfEntry(*pEntry, sName)) hr = STG_E_DOCFILECORRUPT;
    if (SUCCEEDED(hr)) hr = Descend(ulStorage, sName, path, ulFound);
    if (hr != S_OK) return hr;
    if (ulFound == kulNoEntry) return STG_E_FILENOTFOUND;
    if (ulFound != ulEntry) return STG_E_DOCFILECORRUPT;

    onward.clear();
    if (pEntry->ulLeft == kulNoEntry || pEntry->ulRight == kulNoEntry) return S_OK;
    hr = DescendOn({ulEntry, kpRight}, path.size(), onward);
    return hr == STG_E_DOCFILECORRUPT ? DescendOn({ulEntry, kpLeft}, path.size(), onward) : hr;
}

// The way from an entry to its neighbour on that side, which is to take its place: their names must be in order, and all on the
// way.
HRESULT Directory::DescendOn(const Link& from, std::size_t ulAbove, Path& onward)
{
    const CfEntry *pFrom = nullptr, *pEntry = nullptr;
    HRESULT hr = Get(from.ulEntry, pFrom);
    pEntry = pFrom;
    onward.assign(1, from);
    while (SUCCEEDED(hr))
    {
        if (ulAbove + onward.size() > kulMostLevels) return S_FALSE;
        const Field pField = onward.back().pField;
        const ULONG ulNext = pEntry->*pField;
        hr = GetOrdered(*pEntry, pField, ulNext, pEntry);
        if (FAILED(hr)) break;
        if (pEntry->*Other(from.pField) == kulNoEntry) return GetOrdered(*pFrom, from.pField, ulNext, pEntry);
        onward.push_back({ulNext, Other(from.pField)});
    }
    return hr;
}

HRESULT Directory::Children(ULONG ulStorage, std::vector<ULONG>& entries)
{
    const CfEntry* pEntry = nullptr;
    HRESULT hr = GetStorage(ulStorage, pEntry);
    if (FAILED(hr)) return hr;

    std::vector<ULONG> above;
    ULONG ulNext = pEntry->ulChild;
    for (ULONG ulSteps = 0; ulNext != kulNoEntry || !above.empty(); ++ulSteps)
    {
        // Each entry is met twice: on the way down, and when its turn comes.
        const HRESULT hrSteps = CheckSteps(ulSteps / 2);
        if (FAILED(hrSteps)) return hrSteps;
        if (ulNext != kulNoEntry)
        {
            const HRESULT hrNext = ulNext == kulRootEntry ? STG_E_DOCFILECORRUPT : Get(ulNext, pEntry);
            if (FAILED(hrNext)) hr = hrNext;
            else above.push_back(ulNext);
            ulNext = FAILED(hrNext) ? kulNoEntry : pEntry->ulLeft;
            continue;
        }
        entries.push_back(above.back());
        const HRESULT hrHere = Get(above.back(), pEntry);
        if (FAILED(hrHere)) return hrHere;
        above.pop_back();
        ulNext = pEntry->ulRight;
    }
    return hr;
}
} // namespace lum
