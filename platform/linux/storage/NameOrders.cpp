#include "NameOrders.h"

namespace lum
{
static constexpr ULONG kulMany = kulNoEntry - 1; // not one storage: several

NameOrder* NameOrders::Find(ULONG ulStorage)
{
    const auto known = mOrders.find(ulStorage);
    return known != mOrders.end() ? &known->second : nullptr;
}

NameOrder& NameOrders::Keep(ULONG ulStorage, NameOrder order, ULONG ulEntries)
{
    if (mulListed + order.entries.size() > ulEntries) ForgetAll();
    mOrderOf.resize(ulEntries, kulNoEntry);
    NameOrder& kept = mOrders.emplace(ulStorage, std::move(order)).first->second;
    mulListed += kept.entries.size();
    for (const ULONG ulEntry : kept.entries)
    {
        ULONG& ulOf = mOrderOf[ulEntry];
        ulOf = ulOf == kulNoEntry || ulOf == ulStorage ? ulStorage : kulMany;
    }
    return kept;
}

void NameOrders::Forget(ULONG ulStorage)
{
    const auto known = mOrders.find(ulStorage);
    if (known == mOrders.end()) return;
    for (const ULONG ulEntry : known->second.entries)
        if (mOrderOf[ulEntry] == ulStorage) mOrderOf[ulEntry] = kulNoEntry;
    mulListed -= known->second.entries.size();
    mOrders.erase(known);
}

void NameOrders::ForgetWith(ULONG ulEntry)
{
    const ULONG ulStorage = ulEntry < mOrderOf.size() ? mOrderOf[ulEntry] : kulNoEntry;
    if (ulStorage == kulMany) ForgetAll();
    else if (ulStorage != kulNoEntry) Forget(ulStorage);
}

void NameOrders::ForgetAll()
{
    mOrders.clear();
    mOrderOf.clear();
    mulListed = 0;
}
} // namespace lum
