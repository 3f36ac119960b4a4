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
    if (!ppObject) return STG_E_INVALIDPOINTER;
    *ppObject = nullptr;
    if (iid == IID_IUnknown || iid == IID_IStorage) *ppObject = static_cast<IStorage*>(this);
    if (iid == kiidStorageObject) *ppObject = this;
    if (!*ppObject) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

ULONG StorageObject::Release()
{
    const ULONG ulLeft = CountDown();
    if (ulLeft > 0) return ulLeft;
    {
        const std::lock_guard lock(mpHost->mutex);
        if (IsRoot() && mpLevel) EndRoot();
        Revoke();
    }
    delete this;
    return 0;
}

// The object behind an interface, counted; null when it is somebody else's.
StorageObject* StorageObject::OfOurs(IStorage* pStorage)
{
    void* pObject = nullptr;
    return SUCCEEDED(pStorage->QueryInterface(kiidStorageObject, &pObject)) ? static_cast<StorageObject*>(pObject) : nullptr;
}

// Direct changes are in their places already; what leads to them follows now. Nobody can be told when that fails.
void StorageObject::EndRoot()
{
    RootFile& file = *mpHost->pFile;
    if (file.IsTransacted() || !CanWrite() || mpLevel->bBroken) return;
    try
    {
        file.Commit(STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE);
    }
    catch (const std::bad_alloc&)
    {
    }
}

void StorageObject::Revoke()
{
    while (mpFirstChild) mpFirstChild->Revoke();
    const bool bRoot = IsRoot() && mpLevel;
    OpenElement::Revoke();
    mpTransaction.reset();
    mpRootLevel.reset();
    if (bRoot) mpHost->pFile.reset();
}

void StorageObject::RevokeOpen(ULONG ulEntry)
{
    while (OpenElement* pOpen = mpLevel->open.Find(ulEntry)) pOpen->Revoke();
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
    bool bWhole = false;
    below.bBroken = true;
    const HRESULT hr = mpTransaction->overlay.Commit(bWhole);
    below.bBroken = !bWhole;
    return hr;
}

HRESULT StorageObject::Revert()
{
    return Enter(
        [&]
        {
            if (!mpTransaction && !(IsRoot() && mpHost->pFile->IsTransacted())) return S_OK;
            while (mpFirstChild) mpFirstChild->Revoke();
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

HRESULT StorageObject::SetClass(REFCLSID clsid)
{
    return Enter(
        [&]
        {
            return Change(
                [&]
                {
                    CfEntry entry;
                    const HRESULT hr = mpLevel->tree.Get(mulStorage, entry);
                    if (FAILED(hr)) return hr;
                    return mpLevel->tree.SetProperties(mulStorage, clsid, entry.ulState, entry.created, entry.modified);
                });
        });
}

HRESULT StorageObject::SetStateBits(DWORD ulBits, DWORD ulMask)
{
    return Enter(
        [&]
        {
            return Change(
                [&]
                {
                    CfEntry entry;
                    const HRESULT hr = mpLevel->tree.Get(mulStorage, entry);
                    if (FAILED(hr)) return hr;
                    const DWORD ulState = (entry.ulState & ~ulMask) | (ulBits & ulMask);
                    return mpLevel->tree.SetProperties(mulStorage, entry.clsid, ulState, entry.created, entry.modified);
                });
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
