// Trees that are deeper than one of ours can be: listed to be read, built anew to be changed.
#include "Directory.h"

#include <bit>

namespace lum
{
namespace
{
// Hangs entries so that each is where looking by halves meets it. The levels that are full are black.
ULONG Hang(const std::vector<ULONG>& numbers, const std::vector<CfEntry*>& entries, std::size_t ulFirst, std::size_t ulEnd,
           int iBlack)
{
    if (ulFirst == ulEnd) return kulNoEntry;
    const std::size_t ulMiddle = (ulFirst + ulEnd) / 2;
    CfEntry& entry = *entries[ulMiddle];
    entry.eColour = iBlack > 0 ? EntryColour::Black : EntryColour::Red;
    entry.ulLeft = Hang(numbers, entries, ulFirst, ulMiddle, iBlack - 1);
    entry.ulRight = Hang(numbers, entries, ulMiddle + 1, ulEnd, iBlack - 1);
    return numbers[ulMiddle];
}
} // namespace

// Made when it is first asked for.
HRESULT Directory::GetOrder(ULONG ulStorage, NameOrder*& pOrder)
{
    pOrder = mOrders.Find(ulStorage);
    if (pOrder) return S_OK;
    ULONG ulEntries = 0;
    const HRESULT hr = Count(ulEntries);
    if (FAILED(hr)) return hr;
    NameOrder order;
    order.hrRest = Children(ulStorage, order.entries);
    if (FAILED(order.hrRest) && order.hrRest != STG_E_DOCFILECORRUPT) return order.hrRest; // another time it may be read
    pOrder = &mOrders.Keep(ulStorage, std::move(order), ulEntries);
    return S_OK;
}

// Builds a tree anew. All is read before the first link changes. One that is damaged, or in which something hangs that hangs
// elsewhere too, stays as it is, and what the storage holds cannot change.
HRESULT Directory::Rebuild(ULONG ulStorage)
{
    NameOrder* pOrder = nullptr;
    HRESULT hr = GetOrder(ulStorage, pOrder);
    if (SUCCEEDED(hr)) hr = CheckOwn(*pOrder);
    CfEntry* pStorage = nullptr;
    if (SUCCEEDED(hr)) hr = Change(ulStorage, pStorage);
    std::vector<CfEntry*> entries;
    for (std::size_t i = 0; SUCCEEDED(hr) && i < pOrder->entries.size(); ++i)
    {
        CfEntry* pEntry = nullptr;
        hr = Change(pOrder->entries[i], pEntry);
        entries.push_back(pEntry);
    }
    if (FAILED(hr)) return hr;
    pStorage->ulChild = Hang(pOrder->entries, entries, 0, entries.size(), std::bit_width(entries.size() + 1) - 1);
    mOrders.Forget(ulStorage);
    return S_OK;
}

// Whether each entry of an order hangs in one place.
HRESULT Directory::CheckOwn(NameOrder& order)
{
    if (order.hrOwn != S_FALSE) return order.hrOwn;
    HRESULT hr = order.hrRest;
    if (SUCCEEDED(hr)) hr = FindShared();
    for (std::size_t i = 0; SUCCEEDED(hr) && i < order.entries.size(); ++i)
        if (order.entries[i] < mShared->size() && (*mShared)[order.entries[i]]) hr = STG_E_DOCFILECORRUPT;
    if (SUCCEEDED(hr) || hr == STG_E_DOCFILECORRUPT) order.hrOwn = hr;
    return hr;
}

// Which entries more than one link leads to. Changes of ours make no more of them.
HRESULT Directory::FindShared()
{
    if (mShared) return S_OK;
    ULONG ulEntries = 0;
    HRESULT hr = Count(ulEntries);
    std::vector<bool> named(SUCCEEDED(hr) ? ulEntries : 0, false), shared = named;
    for (ULONG i = 0; SUCCEEDED(hr) && i < ulEntries; ++i)
    {
        const CfEntry* pEntry = nullptr;
        hr = Peek(i, pEntry);
        if (FAILED(hr) || pEntry->eKind == EntryKind::Free) continue;
        const bool bRoot = i == kulRootEntry, bStream = pEntry->eKind == EntryKind::Stream;
        for (const ULONG ulTo : {bRoot ? kulNoEntry : pEntry->ulLeft, bRoot ? kulNoEntry : pEntry->ulRight,
                                 bStream ? kulNoEntry : pEntry->ulChild})
        {
            if (ulTo >= ulEntries) continue;
            if (named[ulTo]) shared[ulTo] = true;
            named[ulTo] = true;
        }
    }
    if (FAILED(hr)) return hr;
    mShared = std::move(shared);
    return S_OK;
}
} // namespace lum
