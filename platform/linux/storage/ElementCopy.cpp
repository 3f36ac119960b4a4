// Copying and moving what a storage holds.
#include "EntryName.h"
#include "StorageObject.h"
#include "StreamObject.h"
#include "TreeMoves.h"

#include <string>
#include <utility>

namespace lum
{
namespace
{
constexpr DWORD kulReading = STGM_READ | STGM_SHARE_EXCLUSIVE;

// Interfaces that are held for a while.
template <class Interface>
class Held
{
public:
    Held() = default;
    explicit Held(Interface* p) : mp(p) {}
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held()
    {
        if (mp) mp->Release();
    }
    Interface* operator->() const { return mp; }
    Interface& operator*() const { return *mp; }
    operator Interface*() const { return mp; }
    Interface** Out() { return &mp; }

private:
    Interface* mp = nullptr;
};

const OLECHAR* Wide(const std::u16string& sName) { return reinterpret_cast<const OLECHAR*>(sName.c_str()); }

HRESULT CreateOrReuse(IStorage* pTo, const OLECHAR* pName, IStream** ppStream)
{
    constexpr DWORD kulWriting = STGM_WRITE | STGM_SHARE_EXCLUSIVE;
    HRESULT hr = pTo->CreateStream(pName, kulWriting, 0, 0, ppStream);
    if (hr != STG_E_FILEALREADYEXISTS) return hr;
    hr = pTo->OpenStream(pName, nullptr, kulWriting, 0, ppStream);
    if (FAILED(hr)) return hr == STG_E_FILENOTFOUND ? STG_E_FILEALREADYEXISTS : hr; // a storage has the name
    return (*ppStream)->SetSize(ULARGE_INTEGER{});
}

HRESULT CreateOrReuse(IStorage* pTo, const OLECHAR* pName, IStorage** ppStorage)
{
    constexpr DWORD kulChanging = STGM_READWRITE | STGM_SHARE_EXCLUSIVE;
    HRESULT hr = pTo->CreateStorage(pName, kulChanging, 0, 0, ppStorage);
    if (hr != STG_E_FILEALREADYEXISTS) return hr;
    hr = pTo->OpenStorage(pName, nullptr, kulChanging, nullptr, 0, ppStorage);
    return hr == STG_E_FILENOTFOUND ? STG_E_FILEALREADYEXISTS : hr;
}

HRESULT CopyStream(StreamObject& from, ULONGLONG ullBytes, const OLECHAR* pName, IStorage* pTo)
{
    Held<IStream> stream;
    HRESULT hr = CreateOrReuse(pTo, pName, stream.Out());
    if (FAILED(hr) || ullBytes == 0) return hr;
    ULARGE_INTEGER bytes;
    bytes.QuadPart = ullBytes;
    return from.CopyTo(stream, bytes, nullptr, nullptr);
}
} // namespace

bool StorageObject::Copy::Excludes(const CfEntry& entry) const
{
    if (entry.eKind == EntryKind::Stream ? bNoStreams : bNoStorages) return true;
    std::u16string_view sName;
    if (!ppNames || !NameOfEntry(entry, sName)) return false;
    for (SNB ppName = ppNames; *ppName; ++ppName)
        if (CompareEntryNames(NameView(*ppName), sName) == 0) return true;
    return false;
}

// For reading, with the lock, whoever else has it open.
StreamObject* StorageObject::ReadStream(ULONG ulEntry)
{
    auto pStream = std::make_unique<StreamObject>(mpHost, kulReading);
    mpLevel->open.Reserve();
    pStream->Open(*this, *mpLevel, ulEntry);
    return pStream.release();
}

StorageObject* StorageObject::ReadStorage(ULONG ulEntry)
{
    auto pStorage = std::make_unique<StorageObject>(mpHost, kulReading);
    pStorage->Prepare(*mpLevel);
    pStorage->Open(*this, *mpLevel, ulEntry);
    return pStorage.release();
}

HRESULT StorageObject::CopyTo(DWORD ulExcluded, const IID* pExcluded, SNB ppExclude, IStorage* pTo)
{
    if (!pTo || (ulExcluded > 0 && !pExcluded)) return STG_E_INVALIDPOINTER;
    Copy copy;
    copy.ppNames = ppExclude;
    for (DWORD i = 0; i < ulExcluded; ++i)
    {
        if (pExcluded[i] == IID_IStream) copy.bNoStreams = true;
        if (pExcluded[i] == IID_IStorage) copy.bNoStorages = true;
    }
    const HRESULT hr = CheckTarget(pTo);
    return SUCCEEDED(hr) ? CopyContents(copy, pTo) : hr;
}

// A storage is copied neither into itself nor into what it holds: that would have no end.
HRESULT StorageObject::CheckTarget(IStorage* pTo)
{
    Held<StorageObject> to(OfOurs(pTo));
    return Enter(
        [&]
        {
            if (!CanRead()) return STG_E_ACCESSDENIED;
            if (!to || to->mpHost != mpHost) return S_OK;
            for (const StorageObject* pAbove = to; pAbove; pAbove = pAbove->mpParent)
                if (pAbove == this) return STG_E_ACCESSDENIED;
            return S_OK;
        });
}

// The target may be anything, this file included, so the lock is held only while something is looked up.
HRESULT StorageObject::CopyContents(Copy& copy, IStorage* pTo)
{
    CfEntry entry;
    HRESULT hr = Enter([&] { return mpLevel->tree.Get(mulStorage, entry); });
    if (SUCCEEDED(hr)) hr = pTo->SetClass(entry.clsid);
    if (SUCCEEDED(hr)) hr = pTo->SetStateBits(entry.ulState, ~DWORD{0});
    char16_t auwLast[kulMaxNameUnits];
    std::size_t ulLast = 0;
    while (SUCCEEDED(hr))
    {
        ULONG ulEntry = kulNoEntry;
        std::u16string_view sName;
        hr = Enter(
            [&]
            {
                HRESULT hrNext = mpLevel->tree.After(mulStorage, {auwLast, ulLast}, ulEntry);
                if (SUCCEEDED(hrNext) && ulEntry != kulNoEntry) hrNext = mpLevel->tree.Get(ulEntry, entry);
                return hrNext;
            });
        if (FAILED(hr) || ulEntry == kulNoEntry) break;
        if (!NameOfEntry(entry, sName)) return STG_E_DOCFILECORRUPT;
        ulLast = sName.copy(auwLast, kulMaxNameUnits);
        if (!copy.Excludes(entry)) hr = CopyElement(ulEntry, entry, copy, pTo);
    }
    return hr;
}

HRESULT StorageObject::CopyElement(ULONG ulEntry, const CfEntry& entry, Copy& copy, IStorage* pTo)
try
{
    std::u16string_view sName;
    if (!NameOfEntry(entry, sName) || !copy.seen.insert(ulEntry).second) return STG_E_DOCFILECORRUPT;
    const std::u16string sTerminated(sName);
    Held<StreamObject> stream;
    Held<StorageObject> storage;
    ULONGLONG ullBytes = 0;
    const HRESULT hr = Enter(
        [&]
        {
            if (entry.eKind != EntryKind::Stream)
            {
                *storage.Out() = ReadStorage(ulEntry);
                return S_OK;
            }
            *stream.Out() = ReadStream(ulEntry);
            ullBytes = mpLevel->tree.SizeOf(entry);
            return S_OK;
        });
    if (FAILED(hr)) return hr;
    if (stream) return CopyStream(*stream, ullBytes, Wide(sTerminated), pTo);
    return CopyStorage(*storage, entry, copy, Wide(sTerminated), pTo);
}
catch (const std::bad_alloc&)
{
    return STG_E_INSUFFICIENTMEMORY;
}

HRESULT StorageObject::CopyStorage(StorageObject& from, const CfEntry& entry, Copy& copy, const OLECHAR* pName, IStorage* pTo)
{
    Held<IStorage> storage;
    HRESULT hr = CreateOrReuse(pTo, pName, storage.Out());
    if (FAILED(hr)) return hr;
    const SNB ppNames = std::exchange(copy.ppNames, nullptr);
    hr = from.CopyContents(copy, storage);
    copy.ppNames = ppNames;
    return SUCCEEDED(hr) ? storage->SetElementTimes(nullptr, &entry.created, nullptr, &entry.modified) : hr;
}

HRESULT StorageObject::MoveElementTo(const OLECHAR* pName, IStorage* pTo, const OLECHAR* pNewName, DWORD ulFlags)
{
    if (!pTo) return STG_E_INVALIDPOINTER;
    if (!pName || !pNewName) return STG_E_INVALIDNAME;
    if (ulFlags > STGMOVE_COPY) return STG_E_INVALIDFLAG;
    HRESULT hr = CheckEntryName(NameView(pNewName).substr(0, kulMaxNameUnits + 1));
    if (FAILED(hr)) return hr;
    bool bInside = false;
    if (ulFlags == STGMOVE_MOVE)
    {
        Held<StorageObject> to(OfOurs(pTo));
        hr = Enter([&] { return CanWrite() ? S_OK : STG_E_ACCESSDENIED; });
        if (SUCCEEDED(hr) && to && to->mpHost == mpHost) hr = MoveInside(NameView(pName), *to, NameView(pNewName), bInside);
    }
    if (FAILED(hr) || bInside) return hr;

    hr = CopyAs(pName, pTo, pNewName);
    return SUCCEEDED(hr) && ulFlags == STGMOVE_MOVE ? DestroyElement(pName) : hr;
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
            return Change(
                [&]
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
                });
        });
}

HRESULT StorageObject::CopyAs(const OLECHAR* pName, IStorage* pTo, const OLECHAR* pNewName)
{
    Held<StreamObject> stream;
    Held<StorageObject> storage;
    CfEntry entry;
    ULONGLONG ullBytes = 0;
    HRESULT hr = Enter(
        [&]
        {
            if (!CanRead()) return STG_E_ACCESSDENIED;
            ULONG ulEntry = 0;
            HRESULT hrFound = mpLevel->tree.Find(mulStorage, NameView(pName), ulEntry);
            if (SUCCEEDED(hrFound)) hrFound = mpLevel->tree.Get(ulEntry, entry);
            if (FAILED(hrFound)) return hrFound;
            if (mpLevel->open.Find(ulEntry)) return STG_E_ACCESSDENIED;
            if (entry.eKind == EntryKind::Stream) *stream.Out() = ReadStream(ulEntry);
            else *storage.Out() = ReadStorage(ulEntry);
            ullBytes = mpLevel->tree.SizeOf(entry);
            return S_OK;
        });
    if (FAILED(hr)) return hr;

    Held<IStream> newStream;
    Held<IStorage> newStorage;
    constexpr DWORD kulChanging = STGM_READWRITE | STGM_SHARE_EXCLUSIVE;
    if (stream) hr = pTo->CreateStream(pNewName, STGM_WRITE | STGM_SHARE_EXCLUSIVE, 0, 0, newStream.Out());
    else hr = pTo->CreateStorage(pNewName, kulChanging, 0, 0, newStorage.Out());
    if (FAILED(hr)) return hr;
    ULARGE_INTEGER bytes;
    bytes.QuadPart = ullBytes;
    if (stream) hr = stream->CopyTo(newStream, bytes, nullptr, nullptr);
    else hr = storage->CopyTo(0, nullptr, nullptr, newStorage);
    if (SUCCEEDED(hr) && storage) hr = newStorage->SetElementTimes(nullptr, &entry.created, nullptr, &entry.modified);
    if (FAILED(hr)) pTo->DestroyElement(pNewName);
    return hr;
}
} // namespace lum
