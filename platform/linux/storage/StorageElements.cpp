// What a storage does with its elements.
#include "../kernel/System.h"
#include "EntryName.h"
#include "StorageObject.h"
#include "StreamObject.h"
#include "TreeMoves.h"

#include <type_traits>

namespace lum
{
namespace
{
template <class Object>
constexpr EntryKind kKindOf = std::is_same_v<Object, StreamObject> ? EntryKind::Stream : EntryKind::Storage;

FILETIME Now()
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return now;
}
} // namespace

HRESULT StorageObject::CheckNewName(const OLECHAR* pName)
{
    return pName ? CheckEntryName(NameView(pName).substr(0, kulMaxNameUnits + 1)) : STG_E_INVALIDNAME;
}

HRESULT StorageObject::CheckNew(ElementCall eCall, const OLECHAR* pName, DWORD ulMode) const
{
    HRESULT hr = CheckNewName(pName);
    if (SUCCEEDED(hr)) hr = CheckElementMode(eCall, ulMode);
    if (SUCCEEDED(hr) && !CanWrite()) hr = STG_E_ACCESSDENIED;
    return SUCCEEDED(hr) ? CheckElementAccess(Mode(), ulMode) : hr;
}

HRESULT StorageObject::CheckOpen(ElementCall eCall, const OLECHAR* pName, DWORD ulMode) const
{
    if (!pName) return STG_E_INVALIDNAME;
    const HRESULT hr = CheckElementMode(eCall, ulMode);
    return SUCCEEDED(hr) ? CheckElementAccess(Mode(), ulMode) : hr;
}

template <class Object, class Interface>
HRESULT StorageObject::Create(ElementCall eCall, const OLECHAR* pName, DWORD ulMode, Interface** ppElement)
{
    return Enter(
        [&]
        {
            HRESULT hr = CheckNew(eCall, pName, ulMode);
            if (FAILED(hr)) return hr;
            auto pElement = std::make_unique<Object>(mpHost, ulMode);
            pElement->Prepare(*mpLevel);
            ULONG ulEntry = 0;
            hr = Change([&] { return Make(kKindOf<Object>, pName, ulMode, ulEntry); });
            if (FAILED(hr)) return hr;
            pElement->Open(*this, *mpLevel, ulEntry);
            *ppElement = pElement.release();
            return hr;
        });
}

HRESULT StorageObject::CreateStream(const OLECHAR* pName, DWORD ulMode, DWORD ulReserved1, DWORD ulReserved2, IStream** ppStream)
{
    if (!ppStream) return STG_E_INVALIDPOINTER;
    *ppStream = nullptr;
    if (ulReserved1 != 0 || ulReserved2 != 0) return STG_E_INVALIDPARAMETER;
    return Create<StreamObject>(kCreateStream, pName, ulMode, ppStream);
}

HRESULT StorageObject::CreateStorage(const OLECHAR* pName, DWORD ulMode, DWORD ulReserved1, DWORD ulReserved2,
                                     IStorage** ppStorage)
{
    if (!ppStorage) return STG_E_INVALIDPOINTER;
    *ppStorage = nullptr;
    if (ulReserved1 != 0 || ulReserved2 != 0) return STG_E_INVALIDPARAMETER;
    return Create<StorageObject>(kCreateStorage, pName, ulMode, ppStorage);
}

HRESULT StorageObject::Make(EntryKind eKind, const OLECHAR* pName, DWORD ulMode, ULONG& ulEntry)
{
    const std::u16string_view sName = NameView(pName);
    ULONG ulFound = kulNoEntry;
    HRESULT hr = mpLevel->tree.Find(mulStorage, sName, ulFound);
    if (hr == STG_E_FILENOTFOUND) return Replace(eKind, sName, kulNoEntry, ulEntry);
    if (FAILED(hr)) return hr;
    if (ulMode & STGM_CREATE) return Replace(eKind, sName, ulFound, ulEntry);

    CfEntry found;
    hr = mpLevel->tree.Get(ulFound, found);
    if (FAILED(hr)) return hr;
    const bool bConvert = (ulMode & STGM_CONVERT) && eKind == EntryKind::Storage && found.eKind == EntryKind::Stream;
    return bConvert ? Convert(sName, ulFound, ulEntry) : STG_E_FILEALREADYEXISTS;
}

// Puts a new element where there was none, or another. What can fail comes before the old one goes.
HRESULT StorageObject::Replace(EntryKind eKind, std::u16string_view sName, ULONG ulOld, ULONG& ulEntry)
{
    if (ulOld != kulNoEntry && LiesIn(*mpLevel, ulOld)) return STG_E_DOCFILECORRUPT; // a damaged storage may hold itself
    StorageTree& tree = mpLevel->tree;
    TreeMoves moves(tree);
    const FILETIME now = eKind == EntryKind::Storage ? Now() : FILETIME();
    HRESULT hr = ulOld != kulNoEntry ? tree.CheckDrop(ulOld) : S_OK;
    if (SUCCEEDED(hr)) hr = tree.NewEntry(eKind, sName, ulEntry);
    if (FAILED(hr)) return hr;
    if (eKind == EntryKind::Storage) hr = tree.SetProperties(ulEntry, CLSID(), 0, now, now);
    if (SUCCEEDED(hr) && ulOld != kulNoEntry) hr = moves.Unlink(mulStorage, ulOld);
    if (SUCCEEDED(hr)) hr = moves.Link(mulStorage, ulEntry);
    if (FAILED(hr))
    {
        moves.Undo();
        tree.Drop(ulEntry);
        return hr;
    }
    if (ulOld == kulNoEntry) return S_OK;
    RevokeOpen(*mpLevel, ulOld);
    return tree.Drop(ulOld);
}

// Puts a storage where there was a stream, which becomes the one stream in it.
HRESULT StorageObject::Convert(std::u16string_view sName, ULONG ulStream, ULONG& ulEntry)
{
    if (mpLevel->open.Find(ulStream)) return STG_E_ACCESSDENIED;
    StorageTree& tree = mpLevel->tree;
    TreeMoves moves(tree);
    const FILETIME now = Now();
    HRESULT hr = tree.NewEntry(EntryKind::Storage, sName, ulEntry);
    if (FAILED(hr)) return hr;
    hr = tree.SetProperties(ulEntry, CLSID(), 0, now, now);
    if (SUCCEEDED(hr)) hr = moves.Unlink(mulStorage, ulStream);
    if (SUCCEEDED(hr)) hr = moves.SetName(ulStream, u"CONTENTS");
    if (SUCCEEDED(hr)) hr = moves.Link(ulEntry, ulStream);
    if (SUCCEEDED(hr)) hr = moves.Link(mulStorage, ulEntry);
    if (SUCCEEDED(hr)) return STG_S_CONVERTED;
    moves.Undo();
    tree.Drop(ulEntry);
    return hr;
}

// An element of that kind that nobody has open.
HRESULT StorageObject::Locate(EntryKind eKind, const OLECHAR* pName, ULONG& ulEntry)
{
    HRESULT hr = mpLevel->tree.Find(mulStorage, NameView(pName), ulEntry);
    if (FAILED(hr)) return hr;
    CfEntry entry;
    hr = mpLevel->tree.Get(ulEntry, entry);
    if (FAILED(hr)) return hr;
    if (entry.eKind != eKind) return STG_E_FILENOTFOUND;
    return mpLevel->open.Find(ulEntry) ? STG_E_ACCESSDENIED : S_OK;
}

template <class Object, class Interface>
HRESULT StorageObject::Open(ElementCall eCall, const OLECHAR* pName, DWORD ulMode, Interface** ppElement)
{
    return Enter(
        [&]
        {
            ULONG ulEntry = 0;
            HRESULT hr = CheckOpen(eCall, pName, ulMode);
            if (SUCCEEDED(hr)) hr = Locate(kKindOf<Object>, pName, ulEntry);
            if (SUCCEEDED(hr)) *ppElement = OpenEntry<Object>(ulEntry, ulMode);
            return hr;
        });
}

HRESULT StorageObject::OpenStream(const OLECHAR* pName, void* pReserved1, DWORD ulMode, DWORD ulReserved2, IStream** ppStream)
{
    if (!ppStream) return STG_E_INVALIDPOINTER;
    *ppStream = nullptr;
    if (pReserved1 || ulReserved2 != 0) return STG_E_INVALIDPARAMETER;
    return Open<StreamObject>(kOpenStream, pName, ulMode, ppStream);
}

HRESULT StorageObject::OpenStorage(const OLECHAR* pName, IStorage* pPriority, DWORD ulMode, SNB ppExclude, DWORD ulReserved,
                                   IStorage** ppStorage)
{
    if (!ppStorage) return STG_E_INVALIDPOINTER;
    *ppStorage = nullptr;
    if (pPriority || ppExclude || ulReserved != 0) return STG_E_INVALIDPARAMETER;
    return Open<StorageObject>(kOpenStorage, pName, ulMode, ppStorage);
}

HRESULT StorageObject::DestroyElement(const OLECHAR* pName)
{
    if (!pName) return STG_E_INVALIDPOINTER;
    return EnterToChange([&] { return Destroy(NameView(pName)); });
}

HRESULT StorageObject::Destroy(std::u16string_view sName)
{
    ULONG ulEntry = 0;
    HRESULT hr = mpLevel->tree.Find(mulStorage, sName, ulEntry);
    if (SUCCEEDED(hr) && LiesIn(*mpLevel, ulEntry)) hr = STG_E_DOCFILECORRUPT; // a damaged storage may hold itself
    if (SUCCEEDED(hr)) hr = mpLevel->tree.CheckDrop(ulEntry);
    if (SUCCEEDED(hr)) hr = mpLevel->tree.Unlink(mulStorage, ulEntry);
    if (FAILED(hr)) return hr;
    RevokeOpen(*mpLevel, ulEntry);
    return mpLevel->tree.Drop(ulEntry);
}

// Streams have no times, no storage has one of its last access, and the root none of its making.
HRESULT StorageObject::SetElementTimes(const OLECHAR* pName, const FILETIME* pCreated, const FILETIME*, const FILETIME* pModified)
{
    return EnterToChange(
        [&]
        {
            ULONG ulEntry = mulStorage;
            const HRESULT hr = pName ? mpLevel->tree.Find(mulStorage, NameView(pName), ulEntry) : S_OK;
            if (FAILED(hr)) return hr;
            if (pName && mpLevel->open.Find(ulEntry)) return STG_E_ACCESSDENIED;
            return ChangeProperties(ulEntry,
                                    [&](CfEntry& entry)
                                    {
                                        if (pCreated && entry.eKind == EntryKind::Storage) entry.created = *pCreated;
                                        if (pModified && entry.eKind != EntryKind::Stream) entry.modified = *pModified;
                                    });
        });
}

HRESULT StorageObject::SetClass(REFCLSID clsid)
{
    return EnterToChange([&] { return ChangeProperties(mulStorage, [&](CfEntry& entry) { entry.clsid = clsid; }); });
}

HRESULT StorageObject::SetStateBits(DWORD ulBits, DWORD ulMask)
{
    const auto set = [&](CfEntry& entry) { entry.ulState = (entry.ulState & ~ulMask) | (ulBits & ulMask); };
    return EnterToChange([&] { return ChangeProperties(mulStorage, set); });
}

template <class Set>
HRESULT StorageObject::ChangeProperties(ULONG ulEntry, Set set)
{
    CfEntry entry;
    const HRESULT hr = mpLevel->tree.Get(ulEntry, entry);
    if (FAILED(hr)) return hr;
    set(entry);
    return mpLevel->tree.SetProperties(ulEntry, entry.clsid, entry.ulState, entry.created, entry.modified);
}
} // namespace lum
