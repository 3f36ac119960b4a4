#include "OpenElement.h"

#include "../com/TaskMemory.h"

#include <cstring>

namespace lum
{
void OpenTable::Reserve()
{
    if (mulElements < mBuckets.size()) return;
    std::vector<OpenElement*> old(mBuckets.empty() ? 4 : mBuckets.size() * 2, nullptr);
    old.swap(mBuckets);
    mulElements = 0;
    for (OpenElement* pElement : old)
    {
        while (pElement)
        {
            OpenElement* const pNext = pElement->mpInBucket;
            Insert(*pElement);
            pElement = pNext;
        }
    }
}

void OpenTable::Insert(OpenElement& element)
{
    OpenElement*& pFirst = mBuckets[BucketOf(element.mulKey)];
    element.mpInBucket = pFirst;
    pFirst = &element;
    ++mulElements;
}

void OpenTable::Remove(OpenElement& element)
{
    OpenElement** ppElement = &mBuckets[BucketOf(element.mulKey)];
    while (*ppElement != &element) ppElement = &(*ppElement)->mpInBucket;
    *ppElement = element.mpInBucket;
    --mulElements;
}

OpenElement* OpenTable::Find(ULONG ulEntry) const
{
    if (mulElements == 0) return nullptr;
    OpenElement* pElement = mBuckets[BucketOf(ulEntry)];
    while (pElement && pElement->mulKey != ulEntry) pElement = pElement->mpInBucket;
    return pElement;
}

void OpenElement::Attach(OpenElement& parent, StorageLevel& level, ULONG ulEntry)
{
    mpLevel = &level;
    mpParent = &parent;
    mulKey = ulEntry;
    if (ulEntry != kulNoKey)
    {
        mpTable = &level.open;
        mpTable->Insert(*this);
    }
    mpNextChild = parent.mpFirstChild;
    mppThisChild = &parent.mpFirstChild;
    if (mpNextChild) mpNextChild->mppThisChild = &mpNextChild;
    parent.mpFirstChild = this;
}

bool OpenElement::LiesIn(const StorageLevel& level, ULONG ulEntry) const
{
    const OpenElement* pHere = this;
    while (pHere && pHere->mpTable == &level.open && pHere->mulKey != ulEntry) pHere = pHere->mpParent;
    return pHere && pHere->mpTable == &level.open;
}

void OpenElement::Revoke()
{
    if (mpTable) mpTable->Remove(*this);
    if (mppThisChild)
    {
        *mppThisChild = mpNextChild;
        if (mpNextChild) mpNextChild->mppThisChild = mppThisChild;
    }
    mpTable = nullptr;
    mppThisChild = nullptr;
    mpLevel = nullptr;
    mpParent = nullptr;
}

ULONG OpenElement::CountDown()
{
    const ULONG ulLeft = --mulReferences;
    if (ulLeft > 0) return ulLeft;
    {
        const std::lock_guard lock(mpHost->mutex);
        End();
    }
    delete this;
    return 0;
}

HRESULT OpenElement::Query(REFIID iid, void** ppObject, std::initializer_list<Offer> offers)
{
    if (!ppObject) return STG_E_INVALIDPOINTER;
    *ppObject = nullptr;
    for (const Offer& offer : offers)
    {
        if (iid != offer.iid) continue;
        *ppObject = offer.pInterface;
        CountUp();
        return S_OK;
    }
    return E_NOINTERFACE;
}

// The lowest first, and no call inside another for each level: there may be very many.
void OpenElement::RevokeChildren()
{
    for (OpenElement* pHere = this; pHere != this || mpFirstChild;)
    {
        OpenElement* const pAbove = pHere->mpParent;
        if (pHere->mpFirstChild)
        {
            pHere = pHere->mpFirstChild;
            continue;
        }
        pHere->Revoke();
        pHere = pAbove;
    }
}

LPOLESTR CopyName(std::u16string_view sName)
{
    const std::size_t ulBytes = sName.size() * sizeof(OLECHAR);
    auto* pCopy = static_cast<LPOLESTR>(CoTaskMemAlloc(ulBytes + sizeof(OLECHAR)));
    if (!pCopy) return nullptr;
    std::memcpy(pCopy, sName.data(), ulBytes);
    pCopy[sName.size()] = 0;
    return pCopy;
}
} // namespace lum
