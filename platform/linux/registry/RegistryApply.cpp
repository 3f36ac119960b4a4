// Many changes as one.
#include "Platform.h"

#include "RegistryHandles.h"

#include <optional>

namespace lum
{
namespace
{
constexpr std::size_t kulNone = static_cast<std::size_t>(-1);

// The transactions of the stores that the changes touch, begun in one order by everybody so that nobody waits in a circle.
class Changes
{
public:
    LSTATUS Begin(const LumRegistryChange* pChanges, std::size_t ulChanges, std::size_t& ulFailed);
    LSTATUS Make(const LumRegistryChange& change);
    LSTATUS Commit();

private:
    LSTATUS FindOrMakeKey(RegistryDb& db, unsigned int uStore, const LumRegistryChange& change, bool bMake, std::int64_t& llId);
    LSTATUS DeleteKey(RegistryDb& db, unsigned int uStore, const LumRegistryChange& change);
    LSTATUS SetValue(RegistryDb& db, std::int64_t llId, const LumRegistryChange& change);

    std::optional<RegistryStore::WriteScope> mScopes[kStores];
    const std::int64_t mllNow = TimeNow();
    // The key that was found last: one after another, changes mostly concern one key.
    unsigned int muLastStore = kStores;
    std::u16string msLastKey;
    std::int64_t mllLastId = 0;
};

LSTATUS StoreOf(HKEY hRoot, unsigned int& uStore)
{
    KeyUse use;
    if (LSTATUS lStatus = UseKey(hRoot, use)) return lStatus;
    if (!use.bPredefined) return ERROR_INVALID_HANDLE;
    uStore = use.pStore->Index();
    return ERROR_SUCCESS;
}

LSTATUS Changes::Begin(const LumRegistryChange* pChanges, std::size_t ulChanges, std::size_t& ulFailed)
{
    bool abTouched[kStores] = {};
    for (std::size_t i = 0; i < ulChanges; ++i)
    {
        unsigned int uStore = 0;
        ulFailed = i;
        if (LSTATUS lStatus = StoreOf(pChanges[i].hRoot, uStore)) return lStatus;
        abTouched[uStore] = true;
    }
    ulFailed = kulNone;
    for (unsigned int i = 0; i < kStores; ++i)
    {
        if (!abTouched[i]) continue;
        mScopes[i].emplace(RegistryStore::At(i));
        if (LSTATUS lStatus = mScopes[i]->Begin()) return lStatus;
    }
    return ERROR_SUCCESS;
}

LSTATUS Changes::FindOrMakeKey(RegistryDb& db, unsigned int uStore, const LumRegistryChange& change, bool bMake, std::int64_t& llId)
{
    std::u16string sKey = UnitsOf(change.pKey);
    if (uStore == muLastStore && sKey == msLastKey)
    {
        llId = mllLastId;
        return ERROR_SUCCESS;
    }
    FoldedText path; // checks what the path may be
    if (LSTATUS lStatus = path.AddPath(change.pKey, false)) return lStatus;

    llId = kllRootId;
    bool bVolatile = false, bMade = false;
    for (const KeyLevel& level : SplitLevels(sKey))
    {
        const std::int64_t llParent = llId;
        if (LSTATUS lStatus = db.FindChild(llParent, level.sFold, &llId, &bVolatile)) return lStatus;
        if (llId) continue;
        if (!bMake) return ERROR_SUCCESS;
        if (bVolatile) return ERROR_CHILD_MUST_BE_VOLATILE;
        if (!bMade)
            if (LSTATUS lStatus = db.TouchKey(llParent, mllNow)) return lStatus;
        bMade = true;
        if (LSTATUS lStatus = db.InsertKey(llParent, level, {}, false, mllNow, &llId)) return lStatus;
    }
    muLastStore = uStore;
    msLastKey = std::move(sKey);
    mllLastId = llId;
    return ERROR_SUCCESS;
}

LSTATUS Changes::DeleteKey(RegistryDb& db, unsigned int uStore, const LumRegistryChange& change)
{
    std::int64_t llId = 0, llParent = 0;
    bool bHasChildren = false;
    if (LSTATUS lStatus = FindOrMakeKey(db, uStore, change, false, llId)) return lStatus;
    muLastStore = kStores;
    if (!llId) return ERROR_SUCCESS;
    if (llId == kllRootId) return ERROR_ACCESS_DENIED;
    if (LSTATUS lStatus = db.FindParent(llId, &llParent, &bHasChildren)) return lStatus;
    if (LSTATUS lStatus = db.DeleteBelow(llId)) return lStatus;
    if (LSTATUS lStatus = db.DeleteKey(llId)) return lStatus;
    return db.TouchKey(llParent, mllNow);
}

LSTATUS Changes::SetValue(RegistryDb& db, std::int64_t llId, const LumRegistryChange& change)
{
    if (!change.pData && change.ulBytes != 0) return ERROR_NOACCESS;
    const std::u16string sName = UnitsOf(change.pName);
    if (sName.size() > kulMaxValueNameChars) return ERROR_INVALID_PARAMETER;
    std::string sNameBytes;
    AppendBytes(sNameBytes, sName);
    bool bChanged = false;
    return db.PutValue(llId, FoldUnits(sName), sNameBytes, change.ulType, change.pData, change.ulBytes, mllNow, &bChanged);
}

LSTATUS Changes::Make(const LumRegistryChange& change)
{
    unsigned int uStore = 0;
    if (LSTATUS lStatus = StoreOf(change.hRoot, uStore)) return lStatus;
    RegistryDb& db = mScopes[uStore]->Db();
    if (change.eKind == LumRegistryChange::DeleteKey) return DeleteKey(db, uStore, change);

    std::int64_t llId = 0;
    const bool bDelete = change.eKind == LumRegistryChange::DeleteValue;
    if (LSTATUS lStatus = FindOrMakeKey(db, uStore, change, !bDelete, llId)) return lStatus;
    if (change.eKind == LumRegistryChange::SetValue) return SetValue(db, llId, change);
    if (!bDelete || !llId) return ERROR_SUCCESS;

    const LSTATUS lStatus = db.DeleteValue(llId, FoldUnits(UnitsOf(change.pName)));
    if (lStatus == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
    return lStatus == ERROR_SUCCESS ? db.TouchKey(llId, mllNow) : lStatus;
}

LSTATUS Changes::Commit()
{
    for (auto& scope : mScopes)
        if (scope)
            if (LSTATUS lStatus = scope->Db().Prepare()) return lStatus;
    for (auto& scope : mScopes)
        if (scope)
            if (LSTATUS lStatus = scope->CommitAndForget()) return lStatus;
    return ERROR_SUCCESS;
}

LSTATUS Apply(const LumRegistryChange* pChanges, std::size_t ulChanges, std::size_t& ulFailed, LumRegistryProgress pProgress,
              void* pContext)
{
    constexpr std::size_t kulTellEvery = 1024;
    Changes changes;
    if (LSTATUS lStatus = changes.Begin(pChanges, ulChanges, ulFailed)) return lStatus;
    for (std::size_t i = 0; i < ulChanges; ++i)
    {
        ulFailed = i;
        if (LSTATUS lStatus = changes.Make(pChanges[i])) return lStatus;
        if (pProgress && (i + 1) % kulTellEvery == 0) pProgress(pContext, i + 1);
    }
    ulFailed = kulNone;
    if (LSTATUS lStatus = changes.Commit()) return lStatus;
    if (pProgress) pProgress(pContext, ulChanges);
    return ERROR_SUCCESS;
}
} // namespace
} // namespace lum

LSTATUS LumRegistryApply(const LumRegistryChange* pChanges, size_t ulChanges, size_t* pulFailed, LumRegistryProgress pProgress,
                         void* pContext)
{
    std::size_t ulFailed = lum::kulNone;
    const LSTATUS lStatus = lum::Answer([&] { return lum::Apply(pChanges, ulChanges, ulFailed, pProgress, pContext); });
    if (lStatus != ERROR_SUCCESS && pulFailed) *pulFailed = ulFailed == lum::kulNone ? ulChanges : ulFailed;
    return lStatus;
}
