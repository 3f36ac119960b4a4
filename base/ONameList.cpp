// The tree in memory: finding and adding. The registry is ONameListRegistry.cpp.
#include "ONameList.h"

#include "NameListCodes.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <new>

// The entries of a list by the hash of their names, open-addressed, at most half full. Threads read it without a lock: an
// entry that they see is complete, and a table that has been outgrown stays until the list goes.
struct ONameList::Slots
{
    Slots* mpOlder;
    ULONG mulMask;
    std::atomic<ONameEntry*> mapEntries[1]; // mulMask + 1 of them

    static Slots* Create(ULONG ulSlots, Slots* pOlder)
    {
        auto* pSlots = static_cast<Slots*>(AfxAllocate(sizeof(Slots) + (ulSlots - 1) * sizeof(std::atomic<ONameEntry*>)));
        pSlots->mpOlder = pOlder;
        pSlots->mulMask = ulSlots - 1;
        for (ULONG i = 0; i < ulSlots; ++i) new (&pSlots->mapEntries[i]) std::atomic<ONameEntry*>(nullptr);
        return pSlots;
    }

    void Insert(ONameEntry* pEntry)
    {
        ULONG ulSlot = pEntry->mulHash & mulMask;
        while (mapEntries[ulSlot].load(std::memory_order_relaxed)) ulSlot = (ulSlot + 1) & mulMask;
        mapEntries[ulSlot].store(pEntry, std::memory_order_release);
    }
};

namespace
{
constexpr ULONG kulFirstSlots = 8;

// Held while any tree grows, and while its rows are read by index. Nothing that logs or waits is called under it.
std::mutex gGrowth;

ULONG HashOf(const char* pName)
{
    constexpr ULONGLONG kullFactor = 0x9E3779B97F4A7C15;
    std::size_t ulRest = std::strlen(pName);
    ULONGLONG ullHash = ulRest * kullFactor;
    const auto mix = [&](ULONGLONG ullPart)
    {
        ullHash = (ullHash ^ ullPart) * kullFactor;
        ullHash ^= ullHash >> 32;
    };
    for (; ulRest >= 8; ulRest -= 8, pName += 8)
    {
        ULONGLONG ullPart;
        std::memcpy(&ullPart, pName, 8);
        mix(ullPart);
    }
    ULONGLONG ullLast = 0;
    if (ulRest >= 4)
    {
        ULONG ulHead, ulTail; // which overlap
        std::memcpy(&ulHead, pName, 4);
        std::memcpy(&ulTail, pName + ulRest - 4, 4);
        ullLast = static_cast<ULONGLONG>(ulHead) << 32 | ulTail;
    }
    else
    {
        for (; ulRest > 0; --ulRest) ullLast = ullLast << 8 | static_cast<unsigned char>(*pName++);
    }
    mix(ullLast);
    return static_cast<ULONG>(ullHash);
}
} // namespace

ONameList::ONameList(HKEY hRoot, const char* pKeyPath) : mhRootKey(hRoot), mKeyPath(pKeyPath)
{
    SetGroup("Dbg");
    SetErrorBase(17500);
}

// Finding -----------------------------------------------------------------------------------------------------------------

ONameEntry* ONameList::Find(const char* pName) const
{
    const Slots* pSlots = mpSlots.load(std::memory_order_acquire);
    if (!pSlots || !pName) return nullptr;
    const ULONG ulHash = HashOf(pName);
    for (ULONG ulSlot = ulHash;; ++ulSlot)
    {
        ONameEntry* pEntry = pSlots->mapEntries[ulSlot & pSlots->mulMask].load(std::memory_order_acquire);
        if (!pEntry) return nullptr;
        if (pEntry->mulHash == ulHash && std::strcmp(pEntry->mpName, pName) == 0) return pEntry;
    }
}

ONameList& ONameList::ChildOf(const ONameEntry& entry)
{
    if (!entry.mpChild) Raise(kulMissingLevel);
    return *entry.mpChild;
}

int ONameList::Contains(const char* pGroup, const char* pClassName, const char* pItem)
try
{
    const ONameEntry* pEntry = Find(pGroup);
    if (!pEntry) return 0;
    if (!pClassName && !pItem) return 1;
    return ChildOf(*pEntry).Contains(pClassName, pItem, nullptr);
}
catch (...) { LogCaught("ONameList::Contains"); throw; }

int ONameList::IsEnabled(const char* pGroup, const char* pClassName, const char* pItem)
try
{
    const ONameEntry* pEntry = Find(pGroup);
    if (!pEntry) Raise(kulMissingLevel);
    if (pEntry->mulEnabled) return 1;
    pEntry = ChildOf(*pEntry).Find(pClassName);
    if (!pEntry) Raise(kulMissingLevel);
    if (pEntry->mulEnabled) return 1;
    pEntry = ChildOf(*pEntry).Find(pItem);
    if (!pEntry) Raise(kulMissingLevel);
    return static_cast<int>(pEntry->mulEnabled);
}
catch (...) { LogCaught("ONameList::IsEnabled"); throw; }

// Contains and IsEnabled in one descent.
ONameList::State ONameList::StateOf(const char* pGroup, const char* pClassName, const char* pItem)
{
    const ONameEntry* pGroupEntry = Find(pGroup);
    if (!pGroupEntry) return Missing;
    if (!pGroupEntry->mpChild) return CutShort;
    const ONameEntry* pClassEntry = pGroupEntry->mpChild->Find(pClassName);
    if (!pClassEntry) return Missing;
    if (!pClassEntry->mpChild) return CutShort;
    const ONameEntry* pItemEntry = pClassEntry->mpChild->Find(pItem);
    if (!pItemEntry) return Missing;
    return pGroupEntry->mulEnabled || pClassEntry->mulEnabled || pItemEntry->mulEnabled ? On : Off;
}

int ONameList::Learn(int iEnabled, const char* pGroup, const char* pClassName, const char* pItem)
{
    State eState = StateOf(pGroup, pClassName, pItem);
    if (eState == Missing) eState = AddUnlessThere(static_cast<ULONG>(iEnabled), pGroup, pClassName, pItem);
    if (eState == Missing) return iEnabled;
    if (eState == CutShort) Contains(pGroup, pClassName, pItem); // which raises
    return eState == On;
}

// Adding ------------------------------------------------------------------------------------------------------------------

// Raising loads a text, which waits for the system's loader: not while other threads wait for the lock.
template <class Change>
void ONameList::Grow(Change change)
{
    ULONG ulCode = 0;
    {
        const std::lock_guard lock(gGrowth);
        ulCode = change();
    }
    if (ulCode) Raise(ulCode);
}

void ONameList::Add(int iEnabled, const char* pGroup, const char* pClassName, const char* pItem)
try
{
    Grow([&] { return AddPath(static_cast<ULONG>(iEnabled), pGroup, pClassName, pItem); });
}
catch (...) { LogCaught("ONameList::Add"); throw; }

// Missing: it was, and has been added. Else what another thread has made of it in the meantime.
ONameList::State ONameList::AddUnlessThere(ULONG ulEnabled, const char* pGroup, const char* pClassName, const char* pItem)
try
{
    State eState = Missing;
    Grow([&]() -> ULONG
    {
        eState = StateOf(pGroup, pClassName, pItem);
        return eState == Missing ? AddPath(ulEnabled, pGroup, pClassName, pItem) : 0;
    });
    return eState;
}
catch (...) { LogCaught("ONameList::Add"); throw; }

ULONG ONameList::AddPath(ULONG ulEnabled, const char* pGroup, const char* pClassName, const char* pItem)
{
    if (!pGroup || (!pClassName && pItem)) return kulMissingLevel;
    ONameEntry* pEntry = Find(pGroup);
    const bool bLast = !pClassName && !pItem;
    if (pEntry && bLast) return kulNameExists;
    if (pEntry) return pEntry->mpChild ? pEntry->mpChild->AddPath(ulEnabled, pClassName, pItem, nullptr) : kulMissingLevel;
    if (bLast) return AppendEntry(pGroup, nullptr, ulEnabled);

    // What is below comes first: whoever sees the entry sees it whole.
    auto pChild = std::make_unique<ONameList>(mhRootKey, SubkeyPath(pGroup));
    ULONG ulCode = pChild->AddPath(ulEnabled, pClassName, pItem, nullptr);
    if (!ulCode) ulCode = AppendEntry(pGroup, pChild.get(), ulEnabled);
    if (!ulCode) pChild.release();
    return ulCode;
}

void ONameList::AddEntry(const char* pName, ONameList* pChild, ULONG ulEnabled)
try
{
    Grow([&] { return AppendEntry(pName, pChild, ulEnabled); });
}
catch (...) { LogCaught("ONameList::AddEntry"); throw; }

ULONG ONameList::AppendEntry(const char* pName, ONameList* pChild, ULONG ulEnabled)
{
    if (!pName) return kulMissingLevel;
    if (Find(pName)) return kulNameExists;
    MakeRoom();
    // The entry and its name are one block.
    const std::size_t ulName = std::strlen(pName) + 1;
    auto* pEntry = static_cast<ONameEntry*>(AfxAllocate(sizeof(ONameEntry) + ulName));
    char* pText = reinterpret_cast<char*>(pEntry + 1);
    std::memcpy(pText, pName, ulName);
    new (pEntry) ONameEntry{pText, pChild, ulEnabled, HashOf(pName)};
    try
    {
        mEntries.Add(pEntry);
    }
    catch (...)
    {
        AfxFree(pEntry);
        throw;
    }
    mpSlots.load(std::memory_order_relaxed)->Insert(pEntry);
    return 0;
}

// Room for one entry more among the slots.
void ONameList::MakeRoom()
{
    Slots* pSlots = mpSlots.load(std::memory_order_relaxed);
    const auto ulCount = static_cast<ULONG>(mEntries.GetSize());
    if (pSlots && (ulCount + 1) * 2 <= pSlots->mulMask + 1) return;
    Slots* pLarger = Slots::Create(pSlots ? (pSlots->mulMask + 1) * 2 : kulFirstSlots, pSlots);
    for (int i = 0; i < mEntries.GetSize(); ++i) pLarger->Insert(static_cast<ONameEntry*>(mEntries[i]));
    mpSlots.store(pLarger, std::memory_order_release);
}

// The row -----------------------------------------------------------------------------------------------------------------

int ONameList::GetCount()
{
    const std::lock_guard lock(gGrowth);
    return mEntries.GetSize();
}

ONameEntry* ONameList::EntryAt(int iIndex)
{
    const std::lock_guard lock(gGrowth);
    return iIndex >= 0 && iIndex < mEntries.GetSize() ? static_cast<ONameEntry*>(mEntries[iIndex]) : nullptr;
}

ONameEntry* ONameList::GetAt(int iIndex)
try
{
    ONameEntry* pEntry = EntryAt(iIndex);
    if (!pEntry) Raise(kulMissingLevel);
    return pEntry;
}
catch (...) { LogCaught("ONameList::GetAt"); throw; }

void ONameList::DeleteList()
{
    Slots* pSlots = mpSlots.exchange(nullptr);
    while (pSlots)
    {
        Slots* pOlder = pSlots->mpOlder;
        AfxFree(pSlots);
        pSlots = pOlder;
    }
    for (int i = 0; i < mEntries.GetSize(); ++i)
    {
        auto* pEntry = static_cast<ONameEntry*>(mEntries[i]);
        delete pEntry->mpChild;
        AfxFree(pEntry);
    }
    mEntries.RemoveAll();
}
