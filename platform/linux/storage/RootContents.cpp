#include "RootContents.h"

#include <string_view>
#include <vector>

namespace lum
{
namespace
{
HRESULT CopyStream(CompoundFile& from, ULONG ulFrom, CompoundFile& to, ULONG ulTo)
{
    CfEntry entry;
    HRESULT hr = from.Get(ulFrom, entry);
    if (FAILED(hr)) return hr;
    hr = to.Resize(ulTo, from.SizeOf(entry));
    return SUCCEEDED(hr) ? CopyBytes(from, ulFrom, to, ulTo, from.SizeOf(entry)) : hr;
}

HRESULT CopyProperties(CompoundFile& from, ULONG ulFrom, CompoundFile& to, ULONG ulTo)
{
    CfEntry entry;
    const HRESULT hr = from.Get(ulFrom, entry);
    return SUCCEEDED(hr) ? to.SetProperties(ulTo, entry.clsid, entry.ulState, entry.created, entry.modified) : hr;
}

struct Pair { ULONG ulFrom, ulTo; };

HRESULT CopyChildren(CompoundFile& from, CompoundFile& to, Pair parent, std::vector<Pair>& storages)
{
    std::vector<ULONG> children;
    HRESULT hr = from.Children(parent.ulFrom, children);
    for (std::size_t i = 0; i < children.size() && SUCCEEDED(hr); ++i)
    {
        CfEntry entry;
        std::u16string_view sName;
        ULONG ulNew = 0;
        hr = from.Get(children[i], entry);
        if (SUCCEEDED(hr) && !NameOfEntry(entry, sName)) hr = STG_E_DOCFILECORRUPT;
        if (SUCCEEDED(hr)) hr = to.NewEntry(entry.eKind, sName, ulNew);
        if (SUCCEEDED(hr)) hr = to.Link(parent.ulTo, ulNew);
        if (SUCCEEDED(hr)) hr = CopyProperties(from, children[i], to, ulNew);
        if (FAILED(hr)) return hr;
        if (entry.eKind == EntryKind::Stream)
            hr = CopyStream(from, children[i], to, ulNew);
        else
            storages.push_back({children[i], ulNew});
    }
    return hr;
}
} // namespace

HRESULT CopyContents(CompoundFile& from, CompoundFile& to)
{
    HRESULT hr = CopyProperties(from, kulRootEntry, to, kulRootEntry);
    // Each storage once: a damaged directory may lead in circles.
    std::vector<Pair> storages{{kulRootEntry, kulRootEntry}};
    std::vector<bool> seen;
    while (!storages.empty() && SUCCEEDED(hr))
    {
        const Pair next = storages.back();
        storages.pop_back();
        if (next.ulFrom >= seen.size()) seen.resize(std::size_t{next.ulFrom} + 1, false);
        hr = seen[next.ulFrom] ? STG_E_DOCFILECORRUPT : S_OK;
        seen[next.ulFrom] = true;
        if (SUCCEEDED(hr)) hr = CopyChildren(from, to, next, storages);
    }
    return hr;
}
} // namespace lum
