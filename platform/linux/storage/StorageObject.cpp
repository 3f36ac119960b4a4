#include "StorageObject.h"

#include "ElementStat.h"
#include "StorageEnum.h"

namespace lum
{
namespace
{
// By this a storage of ours finds out whether another one is too.
constexpr IID kiidStorageObject{0x6B2F41C7, 0x93D5, 0x4E0A, {0x8C, 0x1E, 0x57, 0xA2, 0x09, 0xF4, 0x3B, 0xD6}};
} // namespace

HRESULT MakeRootStorage(std::unique_ptr<RootFile> pFile, IStorage** ppStorage)
try
{
    // Who reads in a transaction may change what he sees; what he may not do is commit it.
    const DWORD ulMode = pFile->IsTransacted() && (pFile->Mode() & 3) == STGM_READ ? pFile->Mode() | STGM_READWRITE : pFile->Mode();
    auto pHost = std::make_shared<StorageHost>();
    pHost->pFile = std::move(pFile);
    auto pStorage = std::make_unique<StorageObject>(std::move(pHost), ulMode);
    pStorage->OpenRoot();
    *ppStorage = pStorage.release();
    return S_OK;
}
catch (const std::bad_alloc&)
{
    *ppStorage = nullptr;
    return STG_E_INSUFFICIENTMEMORY;
}

void StorageObject::OpenRoot()
{
    mpRootLevel = std::make_unique<StorageLevel>(mpHost->pFile->Compound());
    mpLevel = mpRootLevel.get();
    mbRoot = true;
}

void StorageObject::Prepare(StorageLevel& level)
{
    level.open.Reserve();
    if (Mode() & STGM_TRANSACTED) mpTransaction = std::make_unique<Transaction>(level);
}

void StorageObject::Open(StorageObject& parent, StorageLevel& level, ULONG ulEntry)
{
    Attach(parent, level, ulEntry);
    mulStorage = ulEntry;
    if (!mpTransaction) return;
    mpTransaction->overlay.Begin(ulEntry);
    mpLevel = &mpTransaction->level;
    mulStorage = kulRootEntry;
}

HRESULT StorageObject::QueryInterface(REFIID iid, void** ppObject)
{
    IStorage* const pStorage = this;
    return Query(iid, ppObject, {{IID_IUnknown, pStorage}, {IID_IStorage, pStorage}, {kiidStorageObject, this}});
}

// The object behind an interface, counted; null when it is somebody else's.
StorageObject* StorageObject::OfOurs(IStorage* pStorage)
{
    void* pObject = nullptr;
    return SUCCEEDED(pStorage->QueryInterface(kiidStorageObject, &pObject)) ? static_cast<StorageObject*>(pObject) : nullptr;
}

void StorageObject::End()
{
    if (IsRoot() && mpLevel) EndRoot();
    Revoke();
}

// Direct changes are in their places already; what leads to them follows now. Nobody can be told when that fails.
void StorageObject::EndRoot()
{
    RootFile& file = *mpHost->pFile;
    if (file.IsTransacted() || !CanWrite() || mpLevel->bBroken) return;
    try
    {
        // Readers of a single writer are promised either state. Nobody was promised anything of a direct change: as with any
        // other file, the system writes it when it likes.
        file.Commit((file.Mode() & STGM_DIRECT_SWMR) ? STGC_DEFAULT : STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE);
    }
    catch (const std::bad_alloc&)
    {
    }
}

void StorageObject::Revoke()
{
    RevokeChildren();
    const bool bRoot = IsRoot() && mpLevel;
    OpenElement::Revoke();
    mpTransaction.reset();
    mpRootLevel.reset();
    if (bRoot) mpHost->pFile.reset();
}

void StorageObject::RevokeOpen(StorageLevel& level, ULONG ulEntry)
{
    while (OpenElement* pOpen = level.open.Find(ulEntry)) pOpen->Revoke();
}

HRESULT StorageObject::Commit(DWORD ulFlags)
{
    return Enter(
        [&]
        {
            if (ulFlags & ~kulCommitFlags) return STG_E_INVALIDFLAG;
            if (mpTransaction) return Change([&] { return CommitBelow(); });
            if (!IsRoot() || (!CanWrite() && !mpHost->pFile->IsTransacted())) return S_OK;
            return Change([&] { return mpHost->pFile->Commit(ulFlags); });
        });
}

HRESULT StorageObject::CommitBelow()
{
    StorageLevel& below = mpTransaction->below;
    if (below.bBroken) return STG_E_INSUFFICIENTMEMORY;
    // Who copies what is below may have it open too. Only in a damaged file may it hold this storage itself.
    const Overlay::Revoke revoke = [this, &below](const std::vector<ULONG>& entries)
    {
        for (const ULONG ulEntry : entries)
            if (LiesIn(below, ulEntry)) return STG_E_DOCFILECORRUPT;
        for (const ULONG ulEntry : entries) RevokeOpen(below, ulEntry);
        return S_OK;
    };
    bool bWhole = false;
    below.bBroken = true;
    const HRESULT hr = mpTransaction->overlay.Commit(revoke, bWhole);
    below.bBroken = !bWhole;
    return hr;
}

HRESULT StorageObject::Revert()
{
    return Enter(
        [&]
        {
            if (!mpTransaction && !(IsRoot() && mpHost->pFile->IsTransacted())) return S_OK;
            RevokeChildren();
            mpLevel->bBroken = true;
            HRESULT hr = S_OK;
            if (mpTransaction) mpTransaction->overlay.Revert();
            else hr = mpHost->pFile->Revert();
            if (SUCCEEDED(hr)) mpLevel->bBroken = false;
            else Revoke(); // there is no state left to go on from
            return hr;
        });
}

HRESULT StorageObject::EnumElements(DWORD ulReserved1, void* pReserved2, DWORD ulReserved3, IEnumSTATSTG** ppEnum)
{
    if (!ppEnum) return STG_E_INVALIDPOINTER;
    *ppEnum = nullptr;
    if (ulReserved1 != 0 || pReserved2 || ulReserved3 != 0) return STG_E_INVALIDPARAMETER;
    return Enter(
        [&]
        {
            if (!CanRead()) return STG_E_ACCESSDENIED;
            auto pEnum = std::make_unique<StorageEnum>(mpHost, mulStorage);
            pEnum->Open(*this, *mpLevel);
            *ppEnum = pEnum.release();
            return S_OK;
        });
}

HRESULT StorageObject::Stat(STATSTG* pStat, DWORD ulFlags)
{
    if (!pStat) return STG_E_INVALIDPOINTER;
    if (ulFlags > STATFLAG_NOOPEN) return STG_E_INVALIDFLAG;
    return Enter(
        [&]
        {
            CfEntry entry;
            const HRESULT hr = mpLevel->tree.Get(mulStorage, entry);
            if (FAILED(hr)) return hr;
            return IsRoot() ? FillRootStat(*mpHost->pFile, entry, ulFlags, *pStat)
                            : FillStat(*mpLevel, entry, Mode(), ulFlags, *pStat);
        });
}
} // namespace lum
