#include "RegistryCache.h"

#include <sched.h>
#include <time.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace lum
{
namespace
{
constexpr std::size_t kulShardBytes = kulCacheBytes / kulShards;

// Waits longer and longer. In the end it sleeps: a real-time thread that only spun would keep the holder from going on.
class Patience
{
public:
    void Wait()
    {
        ++mulRounds;
        if (mulRounds < 64) return __builtin_ia32_pause();
        if (mulRounds < 96)
        {
            sched_yield();
            return;
        }
        const timespec pause{0, 50000};
        nanosleep(&pause, nullptr);
    }

private:
    ULONG mulRounds = 0;
};

constinit Shard gaShards[kulShards]; // never destroyed: handles may be closed while statics are torn down

std::size_t BytesOf(const Node& node)
{
    return sizeof(Node) + node.ulPathBytes + 16 + (node.pValues ? node.pValues->Bytes() : 0) +
           (node.pChildren ? node.pChildren->Bytes() : 0);
}
} // namespace

void ShardLock::WaitForWriter()
{
    Patience patience;
    while (mulState.load(std::memory_order_relaxed) & kulWriter) patience.Wait();
}

void ShardLock::Lock()
{
    Patience patience;
    while (mulState.fetch_or(kulWriter, std::memory_order_acquire) & kulWriter) patience.Wait();
    while (mulState.load(std::memory_order_acquire) != kulWriter) patience.Wait();
}

std::unique_ptr<ValueBlock> ValueBlock::Make(const std::vector<ValueView>& values)
{
    // Data first behind the entries, each at a multiple of 8; then names, which need 2; then folds.
    std::size_t ulData = sizeof(ValueBlock) + values.size() * sizeof(Entry), ulNames = ulData, ulFolds;
    for (const ValueView& value : values)
        if (value.pData) ulNames = ((ulNames + 7) & ~std::size_t{7}) + value.ulBytes;
    ulFolds = ulNames = (ulNames + 1) & ~std::size_t{1};
    for (const ValueView& value : values) ulFolds += 2 * value.sName.size();
    std::size_t ulEnd = ulFolds;
    for (const ValueView& value : values) ulEnd += value.sFold.size();

    auto* pBlock = new (::operator new(ulEnd)) ValueBlock;
    auto* pBase = reinterpret_cast<char*>(pBlock);
    auto* pEntry = reinterpret_cast<Entry*>(pBlock + 1);
    pBlock->mulBytes = ulEnd;
    pBlock->mulCount = static_cast<ULONG>(values.size());
    for (const ValueView& value : values)
    {
        Entry entry{};
        entry.ulHash = static_cast<std::uint32_t>(FoldedText(value.sFold).Hash(0));
        entry.ulType = value.ulType;
        entry.ulBytes = value.ulBytes;
        if (value.pData)
        {
            ulData = (ulData + 7) & ~std::size_t{7};
            entry.ulData = static_cast<ULONG>(ulData);
            std::memcpy(pBase + ulData, value.pData, value.ulBytes);
            ulData += value.ulBytes;
        }
        entry.ulName = static_cast<ULONG>(ulNames);
        entry.uwNameChars = static_cast<std::uint16_t>(value.sName.size());
        std::memcpy(pBase + ulNames, value.sName.data(), 2 * value.sName.size());
        ulNames += 2 * value.sName.size();
        entry.ulFold = static_cast<ULONG>(ulFolds);
        entry.uwFoldBytes = static_cast<std::uint16_t>(value.sFold.size());
        std::memcpy(pBase + ulFolds, value.sFold.data(), value.sFold.size());
        ulFolds += value.sFold.size();
        new (pEntry++) Entry(entry);
    }
    return std::unique_ptr<ValueBlock>(pBlock);
}

ValueView ValueBlock::At(ULONG ulIndex) const
{
    const Entry& entry = Entries()[ulIndex];
    return {{Base() + entry.ulFold, entry.uwFoldBytes},
            {reinterpret_cast<const char16_t*>(Base() + entry.ulName), entry.uwNameChars},
            entry.ulType,
            entry.ulBytes,
            entry.ulData ? reinterpret_cast<const BYTE*>(Base() + entry.ulData) : nullptr};
}

ULONG ValueBlock::Find(std::string_view sFold, std::uint32_t ulHash) const
{
    const Entry* const pEntries = Entries();
    const auto foldOf = [this](const Entry& entry) { return std::string_view(Base() + entry.ulFold, entry.uwFoldBytes); };

    constexpr ULONG kulFew = 64;
    if (mulCount <= kulFew)
    {
        for (ULONG i = 0; i < mulCount; ++i)
            if (pEntries[i].ulHash == ulHash && foldOf(pEntries[i]) == sFold) return i;
        return mulCount;
    }
    const Entry* pFound = std::lower_bound(pEntries, pEntries + mulCount, sFold,
                                           [&](const Entry& entry, std::string_view sFind) { return foldOf(entry) < sFind; });
    const bool bFound = pFound != pEntries + mulCount && foldOf(*pFound) == sFold;
    return bFound ? static_cast<ULONG>(pFound - pEntries) : mulCount;
}

std::vector<ValueView> ValueBlock::Views() const
{
    std::vector<ValueView> views(mulCount);
    for (ULONG i = 0; i < mulCount; ++i) views[i] = At(i);
    return views;
}

void ChildList::Count(const Child& child)
{
    const auto ulChars = static_cast<ULONG>(child.sName.size());
    mulBytes += sizeof(Child) + 2 * ulChars + child.sFold.size();
    if (ulChars > mulMaxChars) mulMaxChars = ulChars, mulLongest = 0;
    if (ulChars == mulMaxChars) ++mulLongest;
}

void ChildList::Append(Child child)
{
    Count(child);
    mChildren.push_back(std::move(child));
}

void ChildList::Insert(Child child)
{
    const auto place = std::lower_bound(mChildren.begin(), mChildren.end(), child.sFold,
                                        [](const Child& a, const std::string& b) { return a.sFold < b; });
    Count(child);
    mChildren.insert(place, std::move(child));
}

void ChildList::Remove(std::string_view sFold)
{
    const auto found = std::lower_bound(mChildren.begin(), mChildren.end(), sFold,
                                        [](const Child& a, std::string_view b) { return a.sFold < b; });
    if (found == mChildren.end() || found->sFold != sFold) return;

    const auto ulChars = static_cast<ULONG>(found->sName.size());
    mulBytes -= sizeof(Child) + 2 * ulChars + found->sFold.size();
    mChildren.erase(found);
    if (ulChars < mulMaxChars || --mulLongest != 0) return;

    mulMaxChars = 0; // the last of the longest has gone
    for (const Child& child : mChildren)
    {
        const auto ulLength = static_cast<ULONG>(child.sName.size());
        if (ulLength > mulMaxChars) mulMaxChars = ulLength, mulLongest = 0;
        if (ulLength == mulMaxChars) ++mulLongest;
    }
}

ULONG ChildList::MaxClassChars() const
{
    ULONG ulMax = 0;
    for (const Child& child : mChildren) ulMax = std::max(ulMax, child.ulClassChars);
    return ulMax;
}

void Shard::Grow()
{
    const std::size_t ulNew = mulBuckets ? 2 * mulBuckets : 16;
    auto** ppNew = new Node*[ulNew]();
    for (std::size_t i = 0; i < mulBuckets; ++i)
        for (Node* pNode = mppBuckets[i]; pNode;)
        {
            Node* pNext = pNode->pNext;
            Node** ppBucket = &ppNew[pNode->ullHash & (ulNew - 1)];
            pNode->pNext = *ppBucket;
            *ppBucket = pNode;
            pNode = pNext;
        }
    delete[] mppBuckets;
    mppBuckets = ppNew;
    mulBytes += (ulNew - mulBuckets) * sizeof(Node*);
    mulBuckets = ulNew;
}

Node* Shard::FindOrAdd(std::uint64_t ullHash, unsigned char ubStore, std::string_view sPath)
{
    if (Node* pFound = Find(ullHash, ubStore, sPath)) return pFound;
    if (2 * mulNodes >= mulBuckets) Grow(); // half empty: a look seldom meets another path's node

    void* pMemory = ::operator new(sizeof(Node) + sPath.size());
    sPath.copy(static_cast<char*>(pMemory) + sizeof(Node), sPath.size());
    Node** ppBucket = &mppBuckets[ullHash & (mulBuckets - 1)];
    Node* pNode = new (pMemory) Node{*ppBucket, ullHash, 0, 0, nullptr, nullptr, false, ubStore, {true}, {0},
                                     static_cast<ULONG>(sPath.size())};
    *ppBucket = pNode;
    ++mulNodes;
    mulBytes += BytesOf(*pNode);
    return pNode;
}

void Shard::SetValues(Node& node, std::unique_ptr<ValueBlock> pValues)
{
    mulBytes -= BytesOf(node);
    delete node.pValues;
    node.pValues = pValues.release();
    mulBytes += BytesOf(node);
}

void Shard::SetChildren(Node& node, std::unique_ptr<ChildList> pChildren)
{
    mulBytes -= BytesOf(node);
    delete node.pChildren;
    node.pChildren = pChildren.release();
    mulBytes += BytesOf(node);
}

void Shard::Forget(Node& node)
{
    SetValues(node, nullptr);
    SetChildren(node, nullptr);
    node.bManyValues = false;
    node.ullGeneration = 0;
}

void Shard::Drop(Node** ppLink)
{
    Node* pNode = *ppLink;
    Forget(*pNode);
    *ppLink = pNode->pNext;
    mulBytes -= BytesOf(*pNode);
    --mulNodes;
    pNode->~Node();
    ::operator delete(pNode);
}

void Shard::Evict(const Node* pKeep)
{
    // The hand goes round at most once: what it finds used now it takes the next time it comes by, unless it was used again.
    for (std::size_t ulSteps = mulBuckets; ulSteps > 0 && mulBytes > kulShardBytes; --ulSteps)
    {
        mulHand = (mulHand + 1) & (mulBuckets - 1);
        for (Node** ppLink = &mppBuckets[mulHand]; *ppLink;)
        {
            Node* pNode = *ppLink;
            if (pNode != pKeep && !pNode->bUsed.exchange(false, std::memory_order_relaxed))
            {
                // Only a holder of this lock makes the first reference.
                if (pNode->ulRefs.load(std::memory_order_acquire) == 0)
                {
                    Drop(ppLink);
                    continue;
                }
                Forget(*pNode);
            }
            ppLink = &pNode->pNext;
        }
    }
}

Shard& ShardOf(std::uint64_t ullHash)
{
    static_assert(kulShards == 64);
    return gaShards[ullHash >> 58];
}

Shard* AllShards()
{
    return gaShards;
}

std::size_t CacheBytes()
{
    std::size_t ulBytes = 0;
    for (Shard& shard : gaShards)
    {
        const SharedHold hold(shard);
        ulBytes += shard.Bytes();
    }
    return ulBytes;
}
} // namespace lum
