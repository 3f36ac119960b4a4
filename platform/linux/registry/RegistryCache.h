// What this process remembers of the stores: keys by their folded paths, with values and subkeys once somebody asked for them.
// Internal to platform/linux.
//
//  * A node is one path of one store, whether the key exists or not. What it says holds while its generation is its store's.
//  * Nodes lie in shards with a lock each: shared to look, exclusive to change. Nothing in a node is touched without it.
//  * Filled on demand and bounded: what was not looked at lately goes first, a node that a handle holds only loses its contents.
#pragma once

#include "RegistryNames.h"

#include <atomic>
#include <deque>

namespace lum
{
// Many readers or one writer, for the few instructions that a look takes.
class ShardLock
{
public:
    void LockShared()
    {
        while (mulState.fetch_add(1, std::memory_order_acquire) & kulWriter)
        {
            mulState.fetch_sub(1, std::memory_order_relaxed);
            WaitForWriter();
        }
    }
    void UnlockShared() { mulState.fetch_sub(1, std::memory_order_release); }
    void Lock();
    void Unlock() { mulState.fetch_and(~kulWriter, std::memory_order_release); }

private:
    void WaitForWriter();
    static constexpr ULONG kulWriter = 0x80000000;
    std::atomic<ULONG> mulState{0};
};

// One value as it is remembered. The views last as long as the block that they come from.
struct ValueView
{
    std::string_view sFold;
    std::u16string_view sName;
    DWORD ulType;
    ULONG ulBytes;
    const BYTE* pData; // null: too long to be remembered
};

// All values of a key in one piece of memory, in the order of their folds; never changed once it is made.
class ValueBlock
{
public:
    static std::unique_ptr<ValueBlock> Make(const std::vector<ValueView>& values);
    static void operator delete(void* pBlock) { ::operator delete(pBlock); }

    ULONG Count() const { return mulCount; }
    std::size_t Bytes() const { return mulBytes; }
    ValueView At(ULONG ulIndex) const;
    ULONG Find(std::string_view sFold, std::uint32_t ulHash) const; // Count() when there is none
    std::vector<ValueView> Views() const;
    static std::uint32_t NameHash(FoldedText& name) { return static_cast<std::uint32_t>(name.Hash(0)); }

private:
    struct Entry
    {
        std::uint32_t ulHash;
        DWORD ulType;
        ULONG ulBytes;
        ULONG ulData; // offsets into the block; 0: data is not remembered
        ULONG ulFold;
        ULONG ulName;
        std::uint16_t uwFoldBytes;
        std::uint16_t uwNameChars;
    };
    ValueBlock() = default;
    const Entry* Entries() const { return reinterpret_cast<const Entry*>(this + 1); }
    const char* Base() const { return reinterpret_cast<const char*>(this); }

    std::uint64_t mulBytes = 0;
    ULONG mulCount = 0;
};

// The subkeys of a key, in the order of their folds.
class ChildList
{
public:
    struct Child
    {
        std::string sFold;
        std::u16string sName;
        ULONG ulClassChars;
    };
    ULONG Count() const { return static_cast<ULONG>(mChildren.size()); }
    const Child& At(ULONG ulIndex) const { return mChildren[ulIndex]; }
    ULONG MaxNameChars() const { return mulMaxChars; }
    ULONG MaxClassChars() const;
    std::size_t Bytes() const { return mulBytes; }

    void Append(Child child); // in order
    void Insert(Child child);
    void Remove(std::string_view sFold);

private:
    void Count(const Child& child);
    std::deque<Child> mChildren; // a tree is deleted from the front
    std::size_t mulBytes = 0;
    ULONG mulMaxChars = 0;
    ULONG mulLongest = 0; // how many have the greatest length
};

struct Node
{
    Node* pNext;
    std::uint64_t ullHash;
    std::uint64_t ullGeneration;      // of the store, when this was learnt; 0 never holds
    std::int64_t llId;                // 0: there is no such key
    ValueBlock* pValues;              // null: nobody asked yet
    ChildList* pChildren;             // the same
    bool bManyValues;                 // more than are remembered: ask the store for each
    unsigned char ubStore;
    std::atomic<bool> bUsed;          // since eviction last came by
    std::atomic<ULONG> ulRefs;        // handles
    ULONG ulPathBytes;

    std::string_view Path() const { return {reinterpret_cast<const char*>(this + 1), ulPathBytes}; }
    void AddRef() { ulRefs.fetch_add(1, std::memory_order_relaxed); }
    void Release() { ulRefs.fetch_sub(1, std::memory_order_release); } // the shard keeps it or drops it
    void MarkUsed() { if (!bUsed.load(std::memory_order_relaxed)) bUsed.store(true, std::memory_order_relaxed); }
};

// A counted use of a node.
class NodeRef
{
public:
    NodeRef() = default;
    explicit NodeRef(Node* pCounted) : mpNode(pCounted) {}
    NodeRef(NodeRef&& other) noexcept : mpNode(other.Take()) {}
    NodeRef& operator=(NodeRef&& other) noexcept
    {
        std::swap(mpNode, other.mpNode);
        return *this;
    }
    ~NodeRef() { if (mpNode) mpNode->Release(); }
    Node* Get() const { return mpNode; }
    Node* operator->() const { return mpNode; }
    Node* Take()
    {
        Node* pNode = mpNode;
        mpNode = nullptr;
        return pNode;
    }

private:
    Node* mpNode = nullptr;
};

class alignas(64) Shard
{
public:
    Node* Find(std::uint64_t ullHash, unsigned char ubStore, std::string_view sPath) const
    {
        if (!mppBuckets) return nullptr;
        for (Node* pNode = mppBuckets[ullHash & (mulBuckets - 1)]; pNode; pNode = pNode->pNext)
            if (pNode->ullHash == ullHash && pNode->ubStore == ubStore && pNode->Path() == sPath) return pNode;
        return nullptr;
    }
    // With the lock held exclusively:
    Node* FindOrAdd(std::uint64_t ullHash, unsigned char ubStore, std::string_view sPath);
    void SetValues(Node& node, std::unique_ptr<ValueBlock> pValues);
    void SetChildren(Node& node, std::unique_ptr<ChildList> pChildren);
    void Forget(Node& node); // its contents
    template <class F> void ChangeChildren(Node& node, F change) // of a node that has them
    {
        mulBytes -= node.pChildren->Bytes();
        change(*node.pChildren);
        mulBytes += node.pChildren->Bytes();
    }
    std::size_t Bytes() const { return mulBytes; }
    void Evict(const Node* pKeep); // until the shard is within its bounds

    ShardLock mLock;

private:
    void Grow();
    void Drop(Node** ppLink);

    Node** mppBuckets = nullptr;
    std::size_t mulBuckets = 0; // a power of two
    std::size_t mulNodes = 0;
    std::size_t mulBytes = 0;
    std::size_t mulHand = 0; // the bucket at which eviction goes on
};

constexpr std::size_t kulShards = 64;
constexpr std::size_t kulCacheBytes = 64 << 20; // for a process, over all stores

Shard& ShardOf(std::uint64_t ullHash);
Shard* AllShards(); // kulShards of them
std::size_t CacheBytes(); // in use now, roughly

inline std::uint64_t PathHash(FoldedText& path, unsigned char ubStore) { return path.Hash(ubStore + 1u); }

class SharedHold
{
public:
    explicit SharedHold(Shard& shard) : mShard(shard) { mShard.mLock.LockShared(); }
    SharedHold(const SharedHold&) = delete;
    SharedHold& operator=(const SharedHold&) = delete;
    ~SharedHold() { mShard.mLock.UnlockShared(); }

private:
    Shard& mShard;
};

class ExclusiveHold
{
public:
    explicit ExclusiveHold(Shard& shard) : mShard(shard) { mShard.mLock.Lock(); }
    ExclusiveHold(const ExclusiveHold&) = delete;
    ExclusiveHold& operator=(const ExclusiveHold&) = delete;
    ~ExclusiveHold() { mShard.mLock.Unlock(); }

private:
    Shard& mShard;
};
} // namespace lum
