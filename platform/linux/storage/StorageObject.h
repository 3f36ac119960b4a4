// An open storage. Internal to platform/linux.
//
//  * One that was opened STGM_TRANSACTED has a view of its own, which Commit puts into its parent's; a root's goes to the file.
//    Any other works in its parent's view.
//  * An element is open once. Creating it anew, or destroying it, revokes who has it open; renaming and moving are refused.
//    A commit revokes who has what it takes out below: a number leads to the same element as long as somebody has it open.
#pragma once

#include "ElementMode.h"
#include "OpenElement.h"
#include "Overlay.h"

namespace lum
{
class StreamObject;

class StorageObject final : public IStorage, public OpenElement
{
public:
    StorageObject(std::shared_ptr<StorageHost> pHost, DWORD ulMode) : OpenElement(std::move(pHost), ulMode) {}
    void OpenRoot();
    // Prepare, then Open: in a storage whose view that is. The latter cannot fail.
    void Prepare(StorageLevel& level);
    void Open(StorageObject& parent, StorageLevel& level, ULONG ulEntry);

    HRESULT QueryInterface(REFIID iid, void** ppObject) override;
    ULONG AddRef() override { return CountUp(); }
    ULONG Release() override { return CountDown(); }

    HRESULT CreateStream(const OLECHAR* pName, DWORD ulMode, DWORD ulReserved1, DWORD ulReserved2, IStream** ppStream) override;
    HRESULT OpenStream(const OLECHAR* pName, void* pReserved1, DWORD ulMode, DWORD ulReserved2, IStream** ppStream) override;
    HRESULT CreateStorage(const OLECHAR* pName, DWORD ulMode, DWORD ulReserved1, DWORD ulReserved2,
                          IStorage** ppStorage) override;
    HRESULT OpenStorage(const OLECHAR* pName, IStorage* pPriority, DWORD ulMode, SNB ppExclude, DWORD ulReserved,
                        IStorage** ppStorage) override;
    HRESULT CopyTo(DWORD ulExcluded, const IID* pExcluded, SNB ppExclude, IStorage* pTo) override;
    HRESULT MoveElementTo(const OLECHAR* pName, IStorage* pTo, const OLECHAR* pNewName, DWORD ulFlags) override;
    HRESULT Commit(DWORD ulFlags) override;
    HRESULT Revert() override;
    HRESULT EnumElements(DWORD ulReserved1, void* pReserved2, DWORD ulReserved3, IEnumSTATSTG** ppEnum) override;
    HRESULT DestroyElement(const OLECHAR* pName) override;
    HRESULT RenameElement(const OLECHAR* pName, const OLECHAR* pNewName) override;
    HRESULT SetElementTimes(const OLECHAR* pName, const FILETIME* pCreated, const FILETIME* pAccessed,
                            const FILETIME* pModified) override;
    HRESULT SetClass(REFCLSID clsid) override;
    HRESULT SetStateBits(DWORD ulBits, DWORD ulMask) override;
    HRESULT Stat(STATSTG* pStat, DWORD ulFlags) override;

    void Revoke() override;

private:
    class Copy;
    struct Transaction // of a storage that is no root
    {
        explicit Transaction(StorageLevel& below) : below(below), overlay(below.tree), level(overlay) {}
        StorageLevel& below;
        Overlay overlay;
        StorageLevel level;
    };

    bool IsRoot() const { return mbRoot; }
    HRESULT CommitBelow();
    void EndRoot();
    static void RevokeOpen(StorageLevel& level, ULONG ulEntry);

    void End() override;
    static HRESULT CheckNewName(const OLECHAR* pName);
    HRESULT CheckNew(ElementCall eCall, const OLECHAR* pName, DWORD ulMode) const;
    HRESULT CheckOpen(ElementCall eCall, const OLECHAR* pName, DWORD ulMode) const;
    HRESULT Make(EntryKind eKind, const OLECHAR* pName, DWORD ulMode, ULONG& ulEntry);
    HRESULT Destroy(std::u16string_view sName);
    HRESULT Replace(EntryKind eKind, std::u16string_view sName, ULONG ulOld, ULONG& ulEntry);
    HRESULT Convert(std::u16string_view sName, ULONG ulStream, ULONG& ulEntry);
    HRESULT Locate(EntryKind eKind, const OLECHAR* pName, ULONG& ulEntry);
    // By the class of the element, StreamObject or StorageObject, and its interface.
    template <class Object, class Interface>
    HRESULT Create(ElementCall eCall, const OLECHAR* pName, DWORD ulMode, Interface** ppElement);
    template <class Object, class Interface>
    HRESULT Open(ElementCall eCall, const OLECHAR* pName, DWORD ulMode, Interface** ppElement);
    template <class Object>
    Object* OpenEntry(ULONG ulEntry, DWORD ulMode);

    template <class Set>
    HRESULT ChangeProperties(ULONG ulEntry, Set set);

    static StorageObject* OfOurs(IStorage* pStorage);
    HRESULT CheckTarget(IStorage* pTo);
    struct Source;
    void OpenSource(ULONG ulEntry, Source& source);
    HRESULT HoldSource(std::u16string_view sName, Source& source);
    HRESULT CopyAs(const Source& source, IStorage* pTo, const OLECHAR* pNewName);
    HRESULT DestroySource(std::u16string_view sName, const Source& source);
    HRESULT MoveInside(std::u16string_view sName, StorageObject& to, std::u16string_view sNewName, bool& bInside);
    HRESULT Relink(std::u16string_view sName, StorageObject& to, std::u16string_view sNewName);

    bool mbRoot = false;
    ULONG mulStorage = kulRootEntry; // its number in its own view
    std::unique_ptr<StorageLevel> mpRootLevel;
    std::unique_ptr<Transaction> mpTransaction;
};

// With the lock.
template <class Object>
Object* StorageObject::OpenEntry(ULONG ulEntry, DWORD ulMode)
{
    auto pElement = std::make_unique<Object>(mpHost, ulMode);
    pElement->Prepare(*mpLevel);
    pElement->Open(*this, *mpLevel, ulEntry);
    return pElement.release();
}

// MakeRootStorage: the root of an open file, counted. Direct changes are committed when it is released, others dropped.
//   Errors: STG_E_INSUFFICIENTMEMORY.
HRESULT MakeRootStorage(std::unique_ptr<RootFile> pFile, IStorage** ppStorage);
} // namespace lum
