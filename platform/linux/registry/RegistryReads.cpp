// What a store answers when memory does not, and what is then remembered of it.
#include "RegistryStore.h"

namespace lum
{
namespace
{
constexpr ULONG kulMaxHeldBytes = 16 << 10;      // longer data is read from the store each time
constexpr std::size_t kulMaxRead = 256 << 10;    // a key with more in it than this is not remembered for the sake of one value
constexpr std::size_t kulMaxListed = 8 << 20;    // ... nor with more than this for an enumeration

std::string_view ParentPath(std::string_view sPath)
{
    const std::size_t ulSlash = sPath.rfind('\\');
    return ulSlash == std::string_view::npos ? std::string_view() : sPath.substr(0, ulSlash);
}

// Rows of the store, kept while a block is made of them.
struct HeldValue
{
    std::string sFold;
    std::u16string sName;
    std::string sData;
    DWORD ulType;
    ULONG ulBytes;
    bool bHeld;
};

std::unique_ptr<ValueBlock> MakeBlock(const std::vector<HeldValue>& rows)
{
    std::vector<ValueView> views;
    views.reserve(rows.size());
    for (const HeldValue& row : rows)
    {
        const auto* pData = reinterpret_cast<const BYTE*>(row.sData.data());
        views.push_back({row.sFold, row.sName, row.ulType, row.ulBytes, row.bHeld ? pData : nullptr});
    }
    return ValueBlock::Make(views);
}
} // namespace

RegistryStore::BaseState RegistryStore::CheckBase(const Node& base, std::int64_t llBase) const
{
    if (llBase == kllRootId) return BaseState::Open;
    const SharedHold hold(ShardOf(base.ullHash));
    if (!IsCurrent(base)) return BaseState::Unknown;
    return base.llId == llBase ? BaseState::Open : BaseState::Deleted;
}

LSTATUS RegistryStore::FindKey(const Node& base, std::int64_t llBase, FoldedText& path, NodeRef& found, std::int64_t& llId)
{
    const std::uint64_t ullHash = PathHash(path, mubIndex);
    if (Holds())
    {
        const BaseState eBase = CheckBase(base, llBase);
        if (eBase == BaseState::Deleted) return ERROR_KEY_DELETED;
        Shard& shard = ShardOf(ullHash);
        const SharedHold hold(shard);
        Node* pNode = eBase == BaseState::Open ? shard.Find(ullHash, mubIndex, path.View()) : nullptr;
        if (pNode && IsCurrent(*pNode))
        {
            pNode->MarkUsed();
            if (!pNode->llId) return ERROR_FILE_NOT_FOUND;
            __builtin_prefetch(pNode->pValues); // most keys are opened to be read
            pNode->AddRef();
            found = NodeRef(pNode);
            llId = pNode->llId;
            return ERROR_SUCCESS;
        }
    }
    return FindInStore(llBase, path, ullHash, found, llId);
}

LSTATUS RegistryStore::FindInStore(std::int64_t llBase, FoldedText& path, std::uint64_t ullHash, NodeRef& found, std::int64_t& llId)
{
    ReadScope scope(*this);
    std::int64_t llParent = 0;
    for (bool bFromMemory = true;; bFromMemory = false)
    {
        if (LSTATUS lStatus = scope.Begin()) return lStatus;
        RegistryDb* pDb = scope.Db();
        if (!pDb)
        {
            llId = path.View().empty() ? kllRootId : 0;
            break;
        }
        if (llBase != kllRootId)
            if (LSTATUS lStatus = pDb->CheckKey(llBase)) return lStatus;
        if (LSTATUS lStatus = Walk(*pDb, path.View(), bFromMemory, llId, llParent)) return lStatus;
        // A walk that began at a remembered key needs the store to be as it was when that was remembered.
        if (scope.End() || !bFromMemory) break;
    }
    if (scope.MayRemember())
    {
        KeepKey(path.View(), llId);
        if (llParent) KeepKey(ParentPath(path.View()), llParent);
    }
    if (!llId) return ERROR_FILE_NOT_FOUND;

    Shard& shard = ShardOf(ullHash);
    const ExclusiveHold hold(shard);
    Node* pNode = shard.FindOrAdd(ullHash, mubIndex, path.View());
    pNode->AddRef();
    found = NodeRef(pNode);
    return ERROR_SUCCESS;
}

// Level by level from the root, or from the lowest key on the way that is remembered. llId, llParent: 0 where there is none.
LSTATUS RegistryStore::Walk(RegistryDb& db, std::string_view sPath, bool bFromMemory, std::int64_t& llId, std::int64_t& llParent)
{
    llId = kllRootId;
    llParent = 0;
    std::string_view sRest = sPath;
    for (std::string_view sAbove = ParentPath(sPath); bFromMemory && !sAbove.empty(); sAbove = ParentPath(sAbove))
    {
        FoldedText above(sAbove);
        const std::uint64_t ullHash = PathHash(above, mubIndex);
        Shard& shard = ShardOf(ullHash);
        const SharedHold hold(shard);
        const Node* pNode = shard.Find(ullHash, mubIndex, sAbove);
        if (!pNode || !IsCurrent(*pNode)) continue;
        llId = pNode->llId;
        sRest = sPath.substr(sAbove.size() + 1);
        break;
    }
    while (!sRest.empty() && llId)
    {
        const std::string_view sLevel = sRest.substr(0, sRest.find('\\'));
        sRest.remove_prefix(std::min(sLevel.size() + 1, sRest.size()));
        llParent = sRest.empty() ? llId : 0;
        if (LSTATUS lStatus = db.FindChild(llId, sLevel, &llId)) return lStatus;
    }
    return ERROR_SUCCESS;
}

LSTATUS RegistryStore::LoadValues(ReadScope& scope, Node& node, std::int64_t llId, bool bAll, std::unique_ptr<ValueBlock>& pBlock)
{
    RegistryDb* pDb = scope.Db();
    if (!pDb)
    {
        pBlock = ValueBlock::Make({});
        return ERROR_SUCCESS;
    }
    if (LSTATUS lStatus = pDb->CheckKey(llId)) return lStatus;
    if (!bAll)
    {
        const SharedHold hold(ShardOf(node.ullHash));
        if (node.bManyValues) return ERROR_SUCCESS; // a hint: it may be out of date
    }

    std::vector<HeldValue> rows;
    std::size_t ulBytes = 0;
    const auto take = [&](const ValueRow& row)
    {
        HeldValue value{std::string(row.sFold), UnitsFromBytes(row.sName), {}, row.ulType, row.ulBytes, row.pData != nullptr};
        if (row.pData) value.sData.assign(reinterpret_cast<const char*>(row.pData), row.ulBytes);
        ulBytes += sizeof(HeldValue) + value.sFold.size() + 2 * value.sName.size() + value.sData.size();
        rows.push_back(std::move(value));
        return bAll || ulBytes <= kulMaxRead;
    };
    if (LSTATUS lStatus = pDb->ReadValues(llId, kulMaxHeldBytes, take)) return lStatus;
    if (bAll || ulBytes <= kulMaxRead)
    {
        pBlock = MakeBlock(rows);
        return ERROR_SUCCESS;
    }
    const ExclusiveHold hold(ShardOf(node.ullHash));
    node.bManyValues = true;
    return ERROR_SUCCESS;
}

LSTATUS RegistryStore::LoadChildren(ReadScope& scope, std::int64_t llId, std::unique_ptr<ChildList>& pChildren)
{
    pChildren = std::make_unique<ChildList>();
    RegistryDb* pDb = scope.Db();
    if (!pDb) return ERROR_SUCCESS;
    if (LSTATUS lStatus = pDb->CheckKey(llId)) return lStatus;
    const auto append = [&](const ChildRow& row)
    {
        const auto ulClassChars = static_cast<ULONG>(UnitsFromBytes(row.sClass).size());
        pChildren->Append({std::string(row.sFold), UnitsFromBytes(row.sName), ulClassChars});
    };
    return pDb->ReadChildren(llId, append);
}

LSTATUS RegistryStore::ReadRecord(std::int64_t llId, KeyRecord& record)
{
    ReadScope scope(*this);
    if (LSTATUS lStatus = scope.Begin()) return lStatus;
    return scope.Db() ? scope.Db()->ReadRecord(llId, record) : ERROR_SUCCESS;
}

LSTATUS RegistryStore::ReadChildRecord(std::int64_t llId, std::string_view sFold, KeyRecord& record)
{
    ReadScope scope(*this);
    if (LSTATUS lStatus = scope.Begin()) return lStatus;
    if (!scope.Db()) return ERROR_NO_MORE_ITEMS;
    std::int64_t llChild = 0;
    if (LSTATUS lStatus = scope.Db()->FindChild(llId, sFold, &llChild)) return lStatus;
    return llChild ? scope.Db()->ReadRecord(llChild, record) : ERROR_NO_MORE_ITEMS;
}

// Below, with the read mutex held: what is seen is still so.

void RegistryStore::MakeCurrent(Shard& shard, Node& node, std::int64_t llId)
{
    if (!IsCurrent(node) || node.llId != llId) shard.Forget(node);
    node.ullGeneration = mullGeneration.load(std::memory_order_relaxed);
    node.llId = llId;
    node.MarkUsed();
}

void RegistryStore::KeepKey(std::string_view sPath, std::int64_t llId)
{
    FoldedText path(sPath);
    const std::uint64_t ullHash = PathHash(path, mubIndex);
    Shard& shard = ShardOf(ullHash);
    const ExclusiveHold hold(shard);
    Node* pNode = shard.FindOrAdd(ullHash, mubIndex, sPath);
    MakeCurrent(shard, *pNode, llId);
    shard.Evict(pNode);
}

void RegistryStore::KeepValues(ReadScope& scope, Node& node, std::int64_t llId, std::unique_ptr<ValueBlock> pBlock)
{
    if (!scope.MayRemember() || pBlock->Bytes() > kulMaxListed) return;
    Shard& shard = ShardOf(node.ullHash);
    const ExclusiveHold hold(shard);
    MakeCurrent(shard, node, llId);
    shard.SetValues(node, std::move(pBlock));
    shard.Evict(&node);
}

void RegistryStore::KeepChildren(ReadScope& scope, Node& node, std::int64_t llId, std::unique_ptr<ChildList> pChildren)
{
    if (!scope.MayRemember()) return;
    Shard& shard = ShardOf(node.ullHash);
    const ExclusiveHold hold(shard);
    MakeCurrent(shard, node, llId);
    shard.SetChildren(node, std::move(pChildren));
    shard.Evict(&node);
}
} // namespace lum
