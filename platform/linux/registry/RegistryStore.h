// One root of the registry: its store, the counter beside it, and what this process remembers of it. Internal to platform/linux.
//
//  * Reads look at memory first and ask the store when that may be out of date. Writes go to the store and adjust the memory.
//  * Any thread. Lock order: write mutexes by store, read mutexes by store, shards. docs/registry.md tells who waits for whom.
//  * Calls that take a node and an id mean the key of that id; ERROR_KEY_DELETED when it is gone.
#pragma once

#include "ChangeCounter.h"
#include "RegistryCache.h"
#include "RegistryDb.h"

#include <mutex>

namespace lum
{
// In the order in which changes of several are committed.
enum StoreIndex : unsigned char { kLocalMachine, kClassesRoot, kUsers, kCurrentUser, kStores };

std::int64_t TimeNow(); // in 100-nanosecond steps since 1601

class RegistryStore
{
public:
    static RegistryStore& At(unsigned int uIndex); // made on first use, never destroyed

    Node& Root() { return *mRoot.Get(); }
    unsigned char Index() const { return mubIndex; }

    // The key at a path, looked for from a key that is open: the path begins with that key's own.
    LSTATUS FindKey(const Node& base, std::int64_t llBase, FoldedText& path, NodeRef& found, std::int64_t& llId);

    // use(const ValueView&) with the value; its status is returned. ERROR_FILE_NOT_FOUND: there is none.
    template <class F> LSTATUS WithValue(Node& node, std::int64_t llId, FoldedText& name, F use);
    // use(const ValueBlock&) with all values, use(const ChildList&) with all subkeys.
    template <class F> LSTATUS WithValues(Node& node, std::int64_t llId, F use);
    template <class F> LSTATUS WithChildren(Node& node, std::int64_t llId, F use);
    LSTATUS ReadRecord(std::int64_t llId, KeyRecord& record);
    LSTATUS ReadChildRecord(std::int64_t llId, std::string_view sFold, KeyRecord& record);

    // path is the whole folded path of the key, levels are those of it below the base key.
    LSTATUS CreateKey(std::int64_t llBase, FoldedText& path, const std::vector<KeyLevel>& levels,
                      std::string_view sClass, bool bVolatile, NodeRef& made, std::int64_t& llId, bool& bCreated);
    LSTATUS SetValue(Node& node, std::int64_t llId, std::string_view sFold, std::u16string_view sName, DWORD ulType, const void* pData,
                     std::size_t ulBytes);
    LSTATUS DeleteValue(Node& node, std::int64_t llId, std::string_view sFold);
    LSTATUS DeleteKey(std::int64_t llBase, FoldedText& path, const std::vector<KeyLevel>& levels);
    LSTATUS DeleteTree(std::int64_t llBase, const std::vector<KeyLevel>& levels); // no levels: empties the key
    LSTATUS Flush();

    class ReadScope;
    class WriteScope;

private:
    friend class RegistryExits;
    explicit RegistryStore(unsigned char ubIndex);

    // Whether what is remembered under the present generation is what the store holds.
    bool Holds() const
    {
        const std::uint64_t ullValue = mCounter.Value();
        return ullValue % 2 == 0 && ullValue == mullSeen.load(std::memory_order_acquire);
    }
    // After Holds(), with the node's shard locked.
    bool IsCurrent(const Node& node) const { return node.ullGeneration == mullGeneration.load(std::memory_order_relaxed); }

    enum class BaseState { Open, Deleted, Unknown };
    BaseState CheckBase(const Node& base, std::int64_t llBase) const;
    LSTATUS FindInStore(std::int64_t llBase, FoldedText& path, std::uint64_t ullHash, NodeRef& found, std::int64_t& llId);
    LSTATUS Walk(RegistryDb& db, std::string_view sPath, bool bFromMemory, std::int64_t& llId, std::int64_t& llParent);
    LSTATUS LoadValues(ReadScope& scope, Node& node, std::int64_t llId, bool bAll, std::unique_ptr<ValueBlock>& pBlock);
    LSTATUS LoadChildren(ReadScope& scope, std::int64_t llId, std::unique_ptr<ChildList>& pChildren);
    void KeepValues(ReadScope& scope, Node& node, std::int64_t llId, std::unique_ptr<ValueBlock> pBlock);
    void KeepChildren(ReadScope& scope, Node& node, std::int64_t llId, std::unique_ptr<ChildList> pChildren);
    void KeepKey(std::string_view sPath, std::int64_t llId);
    void MakeCurrent(Shard& shard, Node& node, std::int64_t llId);
    template <class F> void ChangeNode(std::string_view sPath, F change); // of a node that is remembered and current
    template <class F> LSTATUS ReadOneValue(ReadScope& scope, std::int64_t llId, std::string_view sFold, F use);
    void ForgetAll() { mullGeneration.fetch_add(1, std::memory_order_relaxed); }
    LSTATUS WalkLevels(RegistryDb& db, std::int64_t llBase, const std::vector<KeyLevel>& levels, std::int64_t& llId,
                       std::int64_t& llParent);

    LSTATUS OpenForReading(bool& bPresent);
    LSTATUS OpenForWriting();
    bool WasEmptied();
    void DropOldVolatile();
    void CloseAll(bool bKeepLog);

    std::string msDirectory, msDbPath, msCounterPath;
    const unsigned char mubIndex;
    ChangeCounter mCounter;
    std::atomic<std::uint64_t> mullSeen{1};       // the counter's value under which the generation holds; odd: none
    std::atomic<std::uint64_t> mullGeneration{1};
    std::atomic<bool> mbBootChecked{false};
    std::mutex mWriteMutex; // mWriter, and the counter's lock
    std::mutex mReadMutex;  // mReader, opening the counter, and every change of what is remembered
    RegistryDb mWriter;
    RegistryDb mReader;
    NodeRef mRoot;
};

// One consistent look at the store. Holds the read mutex.
class RegistryStore::ReadScope
{
public:
    explicit ReadScope(RegistryStore& store);
    ReadScope(const ReadScope&) = delete;
    ReadScope& operator=(const ReadScope&) = delete;
    ~ReadScope() { End(); }

    LSTATUS Begin();
    RegistryDb* Db() { return mpDb; } // null: the registry has never been written
    // Ends the look. true: nothing changed meanwhile, so what was seen may be remembered until the scope ends.
    bool End();
    bool MayRemember() const { return mbRemember; }

private:
    RegistryStore& mStore;
    std::unique_lock<std::mutex> mLock;
    RegistryDb* mpDb = nullptr;
    std::uint64_t mullBefore = 1;
    bool mbBegun = false;
    bool mbRemember = false;
};

// One change of the store: all of it or, unless committed, nothing. Holds the write mutex and, once begun, the change lock.
class RegistryStore::WriteScope
{
public:
    explicit WriteScope(RegistryStore& store) : mStore(store), mLock(store.mWriteMutex) {}
    WriteScope(const WriteScope&) = delete;
    WriteScope& operator=(const WriteScope&) = delete;
    ~WriteScope() { Cancel(); }

    LSTATUS Begin();
    RegistryDb& Db() { return mStore.mWriter; }
    // remember() brings what is remembered up to date; it runs after the commit, and only if all of it was current before.
    template <class F> LSTATUS Commit(F remember);
    LSTATUS CommitAndForget(); // for changes of too many keys to follow
    void Cancel();

private:
    LSTATUS CommitStore();
    void EndChange();

    RegistryStore& mStore;
    std::unique_lock<std::mutex> mLock;
    std::uint64_t mullBefore = 0;
    bool mbBegun = false;
    bool mbNewBoot = false;
};

template <class F>
LSTATUS RegistryStore::WriteScope::Commit(F remember)
{
    if (mbNewBoot) return CommitAndForget();
    const LSTATUS lStatus = CommitStore();
    {
        const std::lock_guard<std::mutex> lock(mStore.mReadMutex);
        bool bKept = false;
        if (lStatus == ERROR_SUCCESS && mStore.mullSeen.load(std::memory_order_relaxed) == mullBefore)
        {
            try
            {
                remember();
                bKept = true;
            }
            catch (const std::bad_alloc&) // the change is made; what is remembered goes instead
            {
            }
        }
        if (!bKept) mStore.ForgetAll();
        EndChange();
    }
    Cancel();
    mStore.mWriter.Tidy();
    return lStatus;
}

template <class F>
LSTATUS RegistryStore::WithValue(Node& node, std::int64_t llId, FoldedText& name, F use)
{
    const std::uint32_t ulHash = ValueBlock::NameHash(name);
    if (Holds())
    {
        const SharedHold hold(ShardOf(node.ullHash));
        if (IsCurrent(node))
        {
            if (node.llId != llId) return ERROR_KEY_DELETED;
            if (node.pValues)
            {
                const ULONG ulFound = node.pValues->Find(name.View(), ulHash);
                if (ulFound == node.pValues->Count()) return ERROR_FILE_NOT_FOUND;
                const ValueView value = node.pValues->At(ulFound);
                node.MarkUsed();
                if (value.pData) return use(value);
            }
        }
    }
    ReadScope scope(*this);
    if (LSTATUS lStatus = scope.Begin()) return lStatus;
    std::unique_ptr<ValueBlock> pBlock;
    if (LSTATUS lStatus = LoadValues(scope, node, llId, false, pBlock)) return lStatus;
    if (!pBlock) return ReadOneValue(scope, llId, name.View(), use);

    // The look ends before the caller's memory is touched.
    LSTATUS lStatus = ERROR_FILE_NOT_FOUND;
    const ULONG ulFound = pBlock->Find(name.View(), ulHash);
    if (ulFound == pBlock->Count()) scope.End();
    else if (const ValueView value = pBlock->At(ulFound); !value.pData) lStatus = ReadOneValue(scope, llId, name.View(), use);
    else
    {
        scope.End();
        lStatus = use(value);
    }
    KeepValues(scope, node, llId, std::move(pBlock));
    return lStatus;
}

template <class F>
LSTATUS RegistryStore::ReadOneValue(ReadScope& scope, std::int64_t llId, std::string_view sFold, F use)
{
    std::string sData; // a copy, for the same reason
    std::u16string sName;
    ValueView view{sFold, {}, 0, 0, nullptr};
    const auto copy = [&](const ValueRow& row)
    {
        sData.assign(reinterpret_cast<const char*>(row.pData), row.ulBytes);
        view = {sFold, sName = UnitsFromBytes(row.sName), row.ulType, row.ulBytes, reinterpret_cast<const BYTE*>(sData.data())};
    };
    const LSTATUS lStatus = scope.Db()->ReadValue(llId, sFold, copy);
    scope.End();
    return lStatus == ERROR_SUCCESS ? use(view) : lStatus;
}

template <class F>
LSTATUS RegistryStore::WithValues(Node& node, std::int64_t llId, F use)
{
    if (Holds())
    {
        const SharedHold hold(ShardOf(node.ullHash));
        if (IsCurrent(node) && node.llId != llId) return ERROR_KEY_DELETED;
        if (IsCurrent(node) && node.pValues)
        {
            node.MarkUsed();
            return use(*node.pValues);
        }
    }
    ReadScope scope(*this);
    if (LSTATUS lStatus = scope.Begin()) return lStatus;
    std::unique_ptr<ValueBlock> pBlock;
    if (LSTATUS lStatus = LoadValues(scope, node, llId, true, pBlock)) return lStatus;
    scope.End();
    const LSTATUS lStatus = use(*pBlock);
    KeepValues(scope, node, llId, std::move(pBlock));
    return lStatus;
}

template <class F>
LSTATUS RegistryStore::WithChildren(Node& node, std::int64_t llId, F use)
{
    if (Holds())
    {
        const SharedHold hold(ShardOf(node.ullHash));
        if (IsCurrent(node) && node.llId != llId) return ERROR_KEY_DELETED;
        if (IsCurrent(node) && node.pChildren)
        {
            node.MarkUsed();
            return use(*node.pChildren);
        }
    }
    ReadScope scope(*this);
    if (LSTATUS lStatus = scope.Begin()) return lStatus;
    std::unique_ptr<ChildList> pChildren;
    if (LSTATUS lStatus = LoadChildren(scope, llId, pChildren)) return lStatus;
    scope.End();
    const LSTATUS lStatus = use(*pChildren);
    KeepChildren(scope, node, llId, std::move(pChildren));
    return lStatus;
}
} // namespace lum
