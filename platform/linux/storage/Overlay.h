// A transaction inside another: a storage as its user sees it, over the one that is there. Internal to platform/linux.
//
//  * Nothing of what is below changes before Commit. Entries are loaded as they are looked at, and have numbers of this tree's own.
//  * Contents that are not changed are read through; changed ones lie in a scratch until the commit.
//  * While it lives, nobody else changes the storage below.
#pragma once

#include "EntryName.h"
#include "OverlayScratch.h"
#include "TreeMoves.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>

namespace lum
{
class Overlay final : public StorageTree
{
public:
    explicit Overlay(StorageTree& base) : mBase(base) {}
    void Begin(ULONG ulStorage) { mulStorage = ulStorage; } // below

    HRESULT Get(ULONG ulEntry, CfEntry& entry) override;
    ULONGLONG SizeOf(const CfEntry& entry) const override { return EntrySize(entry, 4); }
    HRESULT Find(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry) override;
    HRESULT Children(ULONG ulStorage, std::vector<ULONG>& entries) override;
    HRESULT After(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry) override;
    HRESULT Count(ULONGLONG& ullEntries) override;
    HRESULT SetProperties(ULONG ulEntry, const CLSID& clsid, ULONG ulState, FILETIME created, FILETIME modified) override;
    HRESULT NewEntry(EntryKind eKind, std::u16string_view sName, ULONG& ulEntry) override;
    HRESULT Link(ULONG ulStorage, ULONG ulEntry) override;
    HRESULT Unlink(ULONG ulStorage, ULONG ulEntry) override;
    HRESULT SetName(ULONG ulEntry, std::u16string_view sName) override;
    HRESULT CheckDrop(ULONG ulEntry) override;
    HRESULT Drop(ULONG ulEntry) override;

    HRESULT Read(ULONG ulEntry, ULONGLONG ullAt, void* pTo, std::size_t ulBytes, std::size_t& ulRead) override;
    HRESULT Write(ULONG ulEntry, ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes,
                  std::size_t* pulWritten = nullptr) override;
    HRESULT Resize(ULONG ulEntry, ULONGLONG ullBytes) override;
    void Forget(ULONG ulEntry) override;

    // Commit: puts it into what is below. New contents are written first, to entries that nothing leads to; then the links change,
    //   each so that it can be taken back. When it fails, what is below is as it was, and the transaction goes on.
    //   revoke: told of the entries below that went elsewhere or will go for good; it may refuse.
    //   bWhole: cleared when that did not succeed, since memory ran out in the middle.
    using Revoke = std::function<HRESULT(const std::vector<ULONG>& entries)>;
    HRESULT Commit(const Revoke& revoke, bool& bWhole);
    void Revert();

private:
    struct Order
    {
        bool operator()(const std::u16string& sOne, const std::u16string& sOther) const
        {
            return CompareEntryNames(sOne, sOther) < 0;
        }
    };
    struct Node
    {
        CfEntry entry{};             // no links; of a stream the size
        ULONG ulParent = kulNoEntry; // the storage that holds it
        ULONG ulBase = kulNoEntry;   // its number below, and that of the storage that holds it there
        ULONG ulBaseParent = kulNoEntry;
        ULONG ulScratch = kulNoEntry; // where its contents are when they have changed
        bool bNamed = false;          // has another name than below
        bool bProperties = false;     // or other properties
        bool bAll = false;            // all that it holds below has been loaded
        std::map<std::u16string, ULONG, Order> children;
    };
    struct Gone // below
    {
        ULONG ulBase;
        ULONG ulBaseParent;
    };
    struct Prepared // a new entry below, for a node
    {
        ULONG ulNode;
        ULONG ulBase;
    };

    HRESULT Look(ULONG ulEntry, Node*& pNode);
    HRESULT LookStorage(ULONG ulEntry, Node*& pNode);
    HRESULT LookStream(ULONG ulEntry, Node*& pNode);
    HRESULT Load(ULONG ulBase, ULONG ulParent, ULONG& ulEntry);
    HRESULT LoadAll(ULONG ulStorage, Node& storage);
    ULONG FreePlace();
    void Place(ULONG ulEntry, std::unique_ptr<Node> pNode);

    HRESULT MoveToScratch(Node& node, ULONGLONG ullKeep);

    bool HasMoved(const Node& node) const;
    HRESULT Prepare(std::vector<Prepared>& prepared);
    HRESULT PrepareOne(Node& node, ULONG ulBase);
    HRESULT MoveLinks(const std::vector<Prepared>& prepared, TreeMoves& moves);
    HRESULT UnlinkBelow(const std::vector<Prepared>& prepared, TreeMoves& moves);
    HRESULT LinkBelow(TreeMoves& moves);
    HRESULT CheckSettle(const std::vector<Prepared>& prepared);
    void Settle(const std::vector<Prepared>& prepared);
    ULONG FinalBase(ULONG ulEntry) const;

    StorageTree& mBase;
    ULONG mulStorage = kulNoEntry; // below
    std::vector<std::unique_ptr<Node>> mNodes;
    std::vector<ULONG> mFree;                 // numbers of nodes
    std::unordered_set<ULONG> mLoaded;       // below: what was loaded, gone ones included
    std::unordered_map<ULONG, ULONG> mFinal;  // while a commit goes on: from nodes to their new entries below
    std::vector<Gone> mGone;
    std::optional<OverlayScratch> mScratch;
};
} // namespace lum
