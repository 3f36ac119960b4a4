// Copying what a storage holds.
#include "ElementSource.h"
#include "EntryName.h"

#include <deque>
#include <string>
#include <unordered_set>

namespace lum
{
namespace
{
constexpr DWORD kulReading = STGM_READ | STGM_SHARE_EXCLUSIVE;

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

// One CopyTo under way: what it leaves out, and the storages it is in, one inside the other. They stand in a list: a file may have
// as many of them as it has entries, which is more than calls can lie in one another.
class StorageObject::Copy
{
public:
    Copy(DWORD ulExcluded, const IID* pExcluded, SNB ppExclude) : mppNames(ppExclude)
    {
        for (DWORD i = 0; i < ulExcluded; ++i)
        {
            if (pExcluded[i] == IID_IStream) mbNoStreams = true;
            if (pExcluded[i] == IID_IStorage) mbNoStorages = true;
        }
    }
    HRESULT Run(StorageObject& from, IStorage* pTo);

private:
    struct Level
    {
        Held<StorageObject> from;
        Held<IStorage> to;
        FILETIME created{}, modified{};
        char16_t auwLast[kulMaxNameUnits]; // of its elements the one that was copied last
        std::size_t ulLast = 0;
    };
    struct Element
    {
        bool bFound = false;
        Source source; // not open if it is left out
    };
    HRESULT Begin(Level& level);
    HRESULT Next(Level& level, Element& element);
    HRESULT Take(Level& level, Source& source);
    HRESULT GoInto(Level& level, Source& source);
    HRESULT Leave();
    HRESULT CheckCount();
    bool Excludes(const CfEntry& entry) const;

    bool mbNoStreams = false, mbNoStorages = false;
    const SNB mppNames; // left out on the first level
    std::deque<Level> mLevels;
    std::unordered_set<ULONG> mInside; // the storages of the levels: in a damaged file one may lie in itself
    ULONGLONG mullMet = 0;             // elements
    ULONGLONG mullMost = 0;            // as many can be met
};

HRESULT StorageObject::Copy::Run(StorageObject& from, IStorage* pTo)
{
    Level& first = mLevels.emplace_back();
    from.AddRef();
    *first.from.Out() = &from;
    pTo->AddRef();
    *first.to.Out() = pTo;
    mInside.insert(from.mulStorage);
    HRESULT hr = Begin(first);
    while (SUCCEEDED(hr) && !mLevels.empty())
    {
        Level& level = mLevels.back();
        Element element;
        hr = Next(level, element);
        if (SUCCEEDED(hr)) hr = element.bFound ? Take(level, element.source) : Leave();
    }
    return hr;
}

bool StorageObject::Copy::Excludes(const CfEntry& entry) const
{
    if (entry.eKind == EntryKind::Stream ? mbNoStreams : mbNoStorages) return true;
    std::u16string_view sName;
    if (!mppNames || mLevels.size() > 1 || !NameOfEntry(entry, sName)) return false;
    for (SNB ppName = mppNames; *ppName; ++ppName)
        if (CompareEntryNames(NameView(*ppName), sName) == 0) return true;
    return false;
}

HRESULT StorageObject::Copy::Begin(Level& level)
{
    CfEntry entry;
    StorageObject& from = *level.from;
    HRESULT hr = from.Enter([&] { return from.mpLevel->tree.Get(from.mulStorage, entry); });
    if (SUCCEEDED(hr)) hr = level.to->SetClass(entry.clsid);
    return SUCCEEDED(hr) ? level.to->SetStateBits(entry.ulState, ~DWORD{0}) : hr;
}

// The target may be anything, this file included, so the lock is held only while something is looked up. What was found is opened
// before that ends: a number leads to the same element only as long as somebody has it open.
HRESULT StorageObject::Copy::Next(Level& level, Element& element)
{
    StorageObject& from = *level.from;
    return from.Enter(
        [&]
        {
            StorageTree& tree = from.mpLevel->tree;
            ULONG ulEntry = kulNoEntry;
            HRESULT hr = tree.After(from.mulStorage, {level.auwLast, level.ulLast}, ulEntry);
            if (FAILED(hr) || ulEntry == kulNoEntry) return hr;
            std::u16string_view sName;
            hr = tree.Get(ulEntry, element.source.entry);
            if (SUCCEEDED(hr) && !NameOfEntry(element.source.entry, sName)) hr = STG_E_DOCFILECORRUPT;
            if (FAILED(hr)) return hr;
            level.ulLast = sName.copy(level.auwLast, kulMaxNameUnits);
            element.bFound = true;
            if (!Excludes(element.source.entry)) from.OpenSource(ulEntry, element.source);
            return S_OK;
        });
}

HRESULT StorageObject::Copy::Take(Level& level, Source& source)
{
    if (!source.stream && !source.storage) return S_OK;
    const HRESULT hr = CheckCount();
    if (FAILED(hr)) return hr;
    if (source.storage) return GoInto(level, source);
    const std::u16string sName(level.auwLast, level.ulLast);
    return CopyStream(*source.stream, source.ullBytes, Wide(sName), level.to);
}

HRESULT StorageObject::Copy::GoInto(Level& level, Source& source)
{
    if (!mInside.insert(source.storage->mulStorage).second) return STG_E_DOCFILECORRUPT;
    const std::u16string sName(level.auwLast, level.ulLast);
    Level& inside = mLevels.emplace_back();
    inside.created = source.entry.created;
    inside.modified = source.entry.modified;
    inside.from = std::move(source.storage);
    const HRESULT hr = CreateOrReuse(level.to, Wide(sName), inside.to.Out());
    return SUCCEEDED(hr) ? Begin(inside) : hr;
}

// What is damaged may hold the target too, so that the copy goes on to be copied. So there is an end when more has been met than
// there was at first; of what others add meanwhile a little is let pass.
HRESULT StorageObject::Copy::CheckCount()
{
    constexpr ULONGLONG kullFew = 1000;
    ++mullMet;
    if (mullMet < kullFew) return S_OK;
    if (mullMet > kullFew) return mullMet <= mullMost ? S_OK : STG_E_DOCFILECORRUPT;
    StorageObject& from = *mLevels.front().from;
    const HRESULT hr = from.Enter([&] { return from.mpLevel->tree.Count(mullMost); });
    mullMost += kullFew;
    return hr;
}

HRESULT StorageObject::Copy::Leave()
{
    const Level& level = mLevels.back();
    const bool bInside = mLevels.size() > 1; // the first one keeps its times
    const HRESULT hr = bInside ? level.to->SetElementTimes(nullptr, &level.created, nullptr, &level.modified) : S_OK;
    mInside.erase(level.from->mulStorage);
    mLevels.pop_back();
    return hr;
}

// With the lock, whoever else has it open.
void StorageObject::OpenSource(ULONG ulEntry, Source& source)
{
    source.ullBytes = mpLevel->tree.SizeOf(source.entry);
    if (source.entry.eKind == EntryKind::Stream) *source.stream.Out() = OpenEntry<StreamObject>(ulEntry, kulReading);
    else *source.storage.Out() = OpenEntry<StorageObject>(ulEntry, kulReading);
}

HRESULT StorageObject::CopyTo(DWORD ulExcluded, const IID* pExcluded, SNB ppExclude, IStorage* pTo)
try
{
    if (!pTo || (ulExcluded > 0 && !pExcluded)) return STG_E_INVALIDPOINTER;
    const HRESULT hr = CheckTarget(pTo);
    return SUCCEEDED(hr) ? Copy(ulExcluded, pExcluded, ppExclude).Run(*this, pTo) : hr;
}
catch (const std::bad_alloc&)
{
    return STG_E_INSUFFICIENTMEMORY;
}

// A storage is copied neither into itself nor into what it holds: that would have no end.
HRESULT StorageObject::CheckTarget(IStorage* pTo)
{
    Held<StorageObject> to;
    *to.Out() = OfOurs(pTo);
    return Enter(
        [&]
        {
            if (!CanRead()) return STG_E_ACCESSDENIED;
            if (!to || to->mpHost != mpHost) return S_OK;
            for (const OpenElement* pAbove = to; pAbove; pAbove = pAbove->Parent())
                if (pAbove == this) return STG_E_ACCESSDENIED;
            return S_OK;
        });
}
} // namespace lum
