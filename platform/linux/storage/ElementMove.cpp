// Renaming and moving what a storage holds.
#include "ElementSource.h"
#include "EntryName.h"
#include "TreeMoves.h"

namespace lum
{
HRESULT StorageObject::RenameElement(const OLECHAR* pName, const OLECHAR* pNewName)
{
    const HRESULT hr = pName ? CheckNewName(pNewName) : STG_E_INVALIDNAME;
    return SUCCEEDED(hr) ? EnterToChange([&] { return Relink(NameView(pName), *this, NameView(pNewName)); }) : hr;
}

HRESULT StorageObject::MoveElementTo(const OLECHAR* pName, IStorage* pTo, const OLECHAR* pNewName, DWORD ulFlags)
{
    if (!pTo) return STG_E_INVALIDPOINTER;
    if (!pName) return STG_E_INVALIDNAME;
    if (ulFlags > STGMOVE_COPY) return STG_E_INVALIDFLAG;
    HRESULT hr = CheckNewName(pNewName);
    if (FAILED(hr)) return hr;
    bool bInside = false;
    if (ulFlags == STGMOVE_MOVE)
    {
        Held<StorageObject> to;
        *to.Out() = OfOurs(pTo);
        hr = Enter([&] { return CanWrite() ? S_OK : STG_E_ACCESSDENIED; });
        if (SUCCEEDED(hr) && to && to->mpHost == mpHost) hr = MoveInside(NameView(pName), *to, NameView(pNewName), bInside);
    }
    if (FAILED(hr) || bInside) return hr;

    Source source;
    hr = HoldSource(NameView(pName), source);
    if (SUCCEEDED(hr)) hr = CopyAs(source, pTo, pNewName);
    if (FAILED(hr) || ulFlags != STGMOVE_MOVE) return hr;
    hr = DestroySource(NameView(pName), source);
    if (FAILED(hr)) pTo->DestroyElement(pNewName);
    return hr;
}

// Within one view an element only changes its place.
HRESULT StorageObject::MoveInside(std::u16string_view sName, StorageObject& to, std::u16string_view sNewName, bool& bInside)
{
    return Enter(
        [&]
        {
            if (!to.mpLevel) return STG_E_REVERTED;
            if (to.mpLevel != mpLevel) return S_OK;
            bInside = true;
            if (!to.CanWrite()) return STG_E_ACCESSDENIED;
            return Change([&] { return Relink(sName, to, sNewName); });
        });
}

// Takes an element out, and puts it into a storage of the same view under that name.
HRESULT StorageObject::Relink(std::u16string_view sName, StorageObject& to, std::u16string_view sNewName)
{
    StorageTree& tree = mpLevel->tree;
    ULONG ulEntry = 0, ulOther = 0;
    HRESULT hr = tree.Find(mulStorage, sName, ulEntry);
    if (FAILED(hr)) return hr;
    if (mpLevel->open.Find(ulEntry)) return STG_E_ACCESSDENIED;
    hr = tree.Find(to.mulStorage, sNewName, ulOther);
    if (SUCCEEDED(hr)) return STG_E_FILEALREADYEXISTS;
    if (hr != STG_E_FILENOTFOUND) return hr;

    TreeMoves moves(tree);
    hr = moves.Unlink(mulStorage, ulEntry);
    if (SUCCEEDED(hr)) hr = moves.SetName(ulEntry, sNewName);
    if (SUCCEEDED(hr)) hr = moves.Link(to.mulStorage, ulEntry);
    if (FAILED(hr)) moves.Undo();
    return hr;
}

HRESULT StorageObject::HoldSource(std::u16string_view sName, Source& source)
{
    return Enter(
        [&]
        {
            if (!CanRead()) return STG_E_ACCESSDENIED;
            ULONG ulEntry = 0;
            HRESULT hr = mpLevel->tree.Find(mulStorage, sName, ulEntry);
            if (SUCCEEDED(hr)) hr = mpLevel->tree.Get(ulEntry, source.entry);
            if (FAILED(hr)) return hr;
            if (mpLevel->open.Find(ulEntry)) return STG_E_ACCESSDENIED;
            OpenSource(ulEntry, source);
            return S_OK;
        });
}

// Whoever destroyed it, or put another in its place, has revoked it.
HRESULT StorageObject::DestroySource(std::u16string_view sName, const Source& source)
{
    return EnterToChange(
        [&]
        {
            const bool bRevoked = source.stream ? source.stream->IsRevoked() : source.storage->IsRevoked();
            return bRevoked ? STG_E_REVERTED : Destroy(sName);
        });
}

HRESULT StorageObject::CopyAs(const Source& source, IStorage* pTo, const OLECHAR* pNewName)
{
    Held<IStream> newStream;
    Held<IStorage> newStorage;
    constexpr DWORD kulChanging = STGM_READWRITE | STGM_SHARE_EXCLUSIVE;
    HRESULT hr = S_OK;
    if (source.stream) hr = pTo->CreateStream(pNewName, STGM_WRITE | STGM_SHARE_EXCLUSIVE, 0, 0, newStream.Out());
    else hr = pTo->CreateStorage(pNewName, kulChanging, 0, 0, newStorage.Out());
    if (FAILED(hr)) return hr;
    ULARGE_INTEGER bytes;
    bytes.QuadPart = source.ullBytes;
    const CfEntry& entry = source.entry;
    if (source.stream) hr = source.stream->CopyTo(newStream, bytes, nullptr, nullptr);
    else hr = source.storage->CopyTo(0, nullptr, nullptr, newStorage);
    if (SUCCEEDED(hr) && newStorage) hr = newStorage->SetElementTimes(nullptr, &entry.created, nullptr, &entry.modified);
    if (FAILED(hr)) pTo->DestroyElement(pNewName);
    return hr;
}
} // namespace lum
