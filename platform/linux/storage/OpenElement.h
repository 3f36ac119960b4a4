// What the open storages, streams and enumerations of one file have in common. Internal to platform/linux.
//
//  * A root and all that was opened from it share one host: its lock lets one thread in at a time.
//  * Who is revoked answers STG_E_REVERTED from then on: when its parent ends or is reverted, and when its entry is removed.
#pragma once

#include "Interfaces.h"
#include "OpenTable.h"
#include "RootFile.h"
#include "StorageTree.h"

#include <atomic>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <new>

namespace lum
{
// What one transaction sees, and who has its entries open.
struct StorageLevel
{
    explicit StorageLevel(StorageTree& tree) : tree(tree) {}

    StorageTree& tree;
    OpenTable open;
    bool bBroken = false; // memory ran out in the middle of a change: nothing more is changed or committed before a revert
};

struct StorageHost
{
    std::mutex mutex;
    std::unique_ptr<RootFile> pFile; // while the root is there
};

class OpenElement
{
public:
    OpenElement(const OpenElement&) = delete;
    OpenElement& operator=(const OpenElement&) = delete;

    DWORD Mode() const { return mulMode; }
    ULONG Key() const { return mulKey; }
    const OpenElement* Parent() const { return mpParent; }
    // LiesIn: it is that entry, or was opened from it.
    bool LiesIn(const StorageLevel& level, ULONG ulEntry) const;
    bool IsRevoked() const { return !mpLevel; } // with the lock
    bool CanRead() const { return (mulMode & 3) != STGM_WRITE; }
    bool CanWrite() const { return (mulMode & 3) != STGM_READ; }

    // With the lock. Revoke: takes it off its parent and out of the table.
    virtual void Revoke();

protected:
    OpenElement(std::shared_ptr<StorageHost> pHost, DWORD ulMode) : mpHost(std::move(pHost)), mulMode(ulMode) {}
    virtual ~OpenElement() = default;

    // Attach: below a parent; into its table, in which there is room, with the number of an entry.
    void Attach(OpenElement& parent, StorageLevel& level, ULONG ulEntry);
    static constexpr ULONG kulNoKey = kulNoEntry; // for what is in no table

    // RevokeChildren: all that was opened from it, and from that.
    void RevokeChildren();

    ULONG CountUp() { return ++mulReferences; }
    ULONG CountDown(); // which ends it with the last
    virtual void End() { Revoke(); } // with the lock

    struct Offer
    {
        const IID& iid;
        void* pInterface;
    };
    // Query: the answer of QueryInterface for one who has these.
    HRESULT Query(REFIID iid, void** ppObject, std::initializer_list<Offer> offers);

    // Enter: work with the lock, on something that is not revoked.
    template <class Work>
    HRESULT Enter(Work work)
    try
    {
        const std::lock_guard lock(mpHost->mutex);
        return mpLevel ? work() : STG_E_REVERTED;
    }
    catch (const std::bad_alloc&)
    {
        return STG_E_INSUFFICIENTMEMORY;
    }

    // Change: work that changes the level's tree, from inside Enter.
    template <class Work>
    HRESULT Change(Work work)
    {
        if (!CanWrite()) return STG_E_ACCESSDENIED;
        if (mpLevel->bBroken) return STG_E_INSUFFICIENTMEMORY;
        mpLevel->bBroken = true;
        const HRESULT hr = work();
        mpLevel->bBroken = false;
        return hr;
    }

    template <class Work>
    HRESULT EnterToChange(Work work)
    {
        return Enter([&] { return Change(work); });
    }

    const std::shared_ptr<StorageHost> mpHost;
    const DWORD mulMode;
    StorageLevel* mpLevel = nullptr; // that its own calls work on; null when it is revoked
    OpenElement* mpParent = nullptr;

private:
    friend class OpenTable;

    std::atomic<ULONG> mulReferences{1};
    ULONG mulKey = kulNoKey;
    OpenTable* mpTable = nullptr;
    OpenElement* mpInBucket = nullptr;
    OpenElement* mpFirstChild = nullptr;
    OpenElement* mpNextChild = nullptr;
    OpenElement** mppThisChild = nullptr;
};

// CopyName: for one who gives it back with CoTaskMemFree; null when there is no memory.
LPOLESTR CopyName(std::u16string_view sName);

inline std::u16string_view NameView(const OLECHAR* pName) { return reinterpret_cast<const char16_t*>(pName); }
} // namespace lum
