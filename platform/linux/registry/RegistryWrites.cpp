// Changes of one store, and of what is remembered of it.
#include "RegistryStore.h"

#include <algorithm>

#include <fcntl.h>
#include <unistd.h>

namespace lum
{
namespace
{
constexpr std::size_t kulMaxRebuilt = 64 << 10; // a block longer than this is read anew rather than copied for one value

// The path of each level of a path that ends in ulLevels levels, the highest of those first.
std::vector<std::string_view> LevelPaths(std::string_view sPath, std::size_t ulLevels)
{
    std::vector<std::string_view> paths(ulLevels);
    for (std::size_t i = ulLevels; i-- > 0;)
    {
        paths[i] = sPath;
        const std::size_t ulSlash = sPath.rfind('\\');
        sPath = ulSlash == std::string_view::npos ? std::string_view() : sPath.substr(0, ulSlash);
    }
    return paths;
}

std::string_view Above(std::string_view sPath)
{
    const std::size_t ulSlash = sPath.rfind('\\');
    return ulSlash == std::string_view::npos ? std::string_view() : sPath.substr(0, ulSlash);
}

// The block with one value put in, taken out (pNew null), or exchanged; a value that is there keeps the name it was given first.
std::unique_ptr<ValueBlock> Exchange(const ValueBlock& block, std::string_view sFold, const ValueView* pNew)
{
    std::vector<ValueView> values = block.Views();
    const auto place = std::lower_bound(values.begin(), values.end(), sFold,
                                        [](const ValueView& a, std::string_view b) { return a.sFold < b; });
    const bool bThere = place != values.end() && place->sFold == sFold;
    if (bThere && pNew)
    {
        const std::u16string_view sName = place->sName;
        *place = *pNew;
        place->sName = sName;
    }
    else if (bThere) values.erase(place);
    else if (pNew) values.insert(place, *pNew);
    return ValueBlock::Make(values);
}

void SyncFile(const std::string& sPath)
{
    const int iFile = open(sPath.c_str(), O_RDONLY | O_CLOEXEC);
    if (iFile < 0) return;
    fsync(iFile);
    close(iFile);
}
} // namespace

// With the read mutex held, after a commit.
template <class F>
void RegistryStore::ChangeNode(std::string_view sPath, F change)
{
    FoldedText path(sPath);
    const std::uint64_t ullHash = PathHash(path, mubIndex);
    Shard& shard = ShardOf(ullHash);
    const ExclusiveHold hold(shard);
    Node* pNode = shard.Find(ullHash, mubIndex, sPath);
    if (pNode && IsCurrent(*pNode)) change(shard, *pNode);
}

// llParent: the key above the one found. llId is 0 when there is none.
LSTATUS RegistryStore::WalkLevels(RegistryDb& db, std::int64_t llBase, const std::vector<KeyLevel>& levels, std::int64_t& llId,
                                  std::int64_t& llParent)
{
    if (LSTATUS lStatus = db.CheckKey(llBase)) return lStatus;
    llId = llBase;
    llParent = 0;
    for (const KeyLevel& level : levels)
    {
        llParent = llId;
        if (LSTATUS lStatus = db.FindChild(llParent, level.sFold, &llId)) return lStatus;
        if (!llId) return ERROR_SUCCESS;
    }
    return ERROR_SUCCESS;
}

LSTATUS RegistryStore::CreateKey(std::int64_t llBase, FoldedText& path, const std::vector<KeyLevel>& levels, std::string_view sClass,
                                 bool bVolatile, NodeRef& made, std::int64_t& llId, bool& bCreated)
{
    bCreated = false;
    WriteScope scope(*this);
    LSTATUS lStatus = scope.Begin();
    if (lStatus != ERROR_SUCCESS) return lStatus;
    RegistryDb& db = scope.Db();
    bool bParentVolatile = false;
    if ((lStatus = db.CheckKey(llBase, &bParentVolatile)) != ERROR_SUCCESS) return lStatus;

    const std::int64_t llNow = TimeNow();
    std::vector<std::int64_t> ids; // of the levels that are made, which are the last ones
    llId = llBase;
    for (const KeyLevel& level : levels)
    {
        const std::int64_t llParent = llId;
        if (ids.empty())
        {
            bool bThisVolatile = false;
            if ((lStatus = db.FindChild(llParent, level.sFold, &llId, &bThisVolatile)) != ERROR_SUCCESS) return lStatus;
            if (llId)
            {
                bParentVolatile = bThisVolatile;
                continue;
            }
            if (bParentVolatile && !bVolatile) return ERROR_CHILD_MUST_BE_VOLATILE;
            if ((lStatus = db.TouchKey(llParent, llNow)) != ERROR_SUCCESS) return lStatus;
        }
        if ((lStatus = db.InsertKey(llParent, level, sClass, bVolatile, llNow, &llId)) != ERROR_SUCCESS) return lStatus;
        ids.push_back(llId);
    }
    const auto remember = [&]
    {
        const std::size_t ulFirst = levels.size() - ids.size();
        const std::vector<std::string_view> paths = LevelPaths(path.View(), ids.size());
        const auto insert = [&](Shard& shard, Node& node)
        {
            if (!node.pChildren) return;
            const auto ulClassChars = static_cast<ULONG>(UnitsFromBytes(sClass).size());
            shard.ChangeChildren(node, [&](ChildList& list) {
                list.Insert({levels[ulFirst].sFold, UnitsFromBytes(levels[ulFirst].sName), ulClassChars});
            });
        };
        if (ids.empty()) return;
        ChangeNode(Above(paths[0]), insert);
        for (std::size_t i = 0; i < ids.size(); ++i) KeepKey(paths[i], ids[i]);
    };
    bCreated = !ids.empty(); // else another process was quicker
    if (bCreated)
        if ((lStatus = scope.Commit(remember)) != ERROR_SUCCESS) return lStatus;

    const std::uint64_t ullHash = PathHash(path, mubIndex);
    Shard& shard = ShardOf(ullHash);
    const ExclusiveHold hold(shard);
    Node* pNode = shard.FindOrAdd(ullHash, mubIndex, path.View());
    pNode->AddRef();
    made = NodeRef(pNode);
    return ERROR_SUCCESS;
}

LSTATUS RegistryStore::SetValue(Node& node, std::int64_t llId, std::string_view sFold, std::u16string_view sName, DWORD ulType,
                                const void* pData, std::size_t ulBytes)
{
    std::string sNameBytes;
    AppendBytes(sNameBytes, sName);

    WriteScope scope(*this);
    if (LSTATUS lStatus = scope.Begin()) return lStatus;
    if (LSTATUS lStatus = scope.Db().CheckKey(llId)) return lStatus;
    bool bChanged = false;
    if (LSTATUS lStatus = scope.Db().PutValue(llId, sFold, sNameBytes, ulType, pData, ulBytes, TimeNow(), &bChanged)) return lStatus;
    if (!bChanged) return ERROR_SUCCESS;

    const auto exchange = [&](Shard& shard, Node& found)
    {
        if (found.llId != llId || !found.pValues) return;
        const bool bHeld = found.pValues->Bytes() + ulBytes <= kulMaxRebuilt;
        const auto* pBytes = static_cast<const BYTE*>(ulBytes ? pData : "");
        const ValueView value{sFold, sName, ulType, static_cast<ULONG>(ulBytes), pBytes};
        shard.SetValues(found, bHeld ? Exchange(*found.pValues, sFold, &value) : nullptr);
        shard.Evict(&found);
    };
    return scope.Commit([&] { ChangeNode(node.Path(), exchange); });
}

LSTATUS RegistryStore::DeleteValue(Node& node, std::int64_t llId, std::string_view sFold)
{
    WriteScope scope(*this);
    if (LSTATUS lStatus = scope.Begin()) return lStatus;
    if (LSTATUS lStatus = scope.Db().CheckKey(llId)) return lStatus;
    if (LSTATUS lStatus = scope.Db().DeleteValue(llId, sFold)) return lStatus;
    if (LSTATUS lStatus = scope.Db().TouchKey(llId, TimeNow())) return lStatus;

    const auto exchange = [&](Shard& shard, Node& found)
    {
        if (found.llId != llId || !found.pValues) return;
        const bool bSmall = found.pValues->Bytes() <= kulMaxRebuilt;
        shard.SetValues(found, bSmall ? Exchange(*found.pValues, sFold, nullptr) : nullptr);
    };
    return scope.Commit([&] { ChangeNode(node.Path(), exchange); });
}

LSTATUS RegistryStore::DeleteKey(std::int64_t llBase, FoldedText& path, const std::vector<KeyLevel>& levels)
{
    WriteScope scope(*this);
    if (LSTATUS lStatus = scope.Begin()) return lStatus;
    RegistryDb& db = scope.Db();
    std::int64_t llId = 0, llParent = 0;
    if (LSTATUS lStatus = WalkLevels(db, llBase, levels, llId, llParent)) return lStatus;
    if (!llId) return ERROR_FILE_NOT_FOUND;
    if (llId == kllRootId) return ERROR_ACCESS_DENIED;

    bool bHasChildren = false;
    if (LSTATUS lStatus = db.FindParent(llId, &llParent, &bHasChildren)) return lStatus;
    if (bHasChildren) return ERROR_ACCESS_DENIED;
    if (LSTATUS lStatus = db.DeleteKey(llId)) return lStatus;
    if (LSTATUS lStatus = db.TouchKey(llParent, TimeNow())) return lStatus;

    const std::string_view sPath = path.View(), sParent = Above(sPath);
    const std::string_view sLevel = sParent.empty() ? sPath : sPath.substr(sParent.size() + 1);
    const auto remove = [&](Shard& shard, Node& node)
    {
        if (node.pChildren) shard.ChangeChildren(node, [&](ChildList& list) { list.Remove(sLevel); });
    };
    return scope.Commit(
        [&]
        {
            ChangeNode(sParent, remove);
            ChangeNode(sPath, [&](Shard& shard, Node& node) { MakeCurrent(shard, node, 0); });
        });
}

LSTATUS RegistryStore::DeleteTree(std::int64_t llBase, const std::vector<KeyLevel>& levels)
{
    WriteScope scope(*this);
    if (LSTATUS lStatus = scope.Begin()) return lStatus;
    RegistryDb& db = scope.Db();
    std::int64_t llId = 0, llParent = 0;
    if (LSTATUS lStatus = WalkLevels(db, llBase, levels, llId, llParent)) return lStatus;
    if (!llId) return ERROR_FILE_NOT_FOUND;

    if (LSTATUS lStatus = db.DeleteBelow(llId)) return lStatus;
    const LSTATUS lStatus = levels.empty() ? db.DeleteValues(llId) : db.DeleteKey(llId);
    if (lStatus != ERROR_SUCCESS) return lStatus;
    if (LSTATUS lTouched = db.TouchKey(levels.empty() ? llId : llParent, TimeNow())) return lTouched;
    return scope.CommitAndForget();
}

LSTATUS RegistryStore::Flush()
{
    // By their names: the log's descriptors are SQLite's. The store's own must not be opened here, for closing it would
    // release this process's locks on it; what reaches it is flushed before the log is begun anew.
    SyncFile(msDbPath + "-wal");
    SyncFile(msDirectory);
    return ERROR_SUCCESS;
}
} // namespace lum
