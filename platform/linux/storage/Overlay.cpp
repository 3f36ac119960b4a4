#include "Overlay.h"

#include <algorithm>

namespace lum
{
namespace
{
std::u16string NameOf(const CfEntry& entry)
{
    std::u16string_view sName;
    return NameOfEntry(entry, sName) ? std::u16string(sName) : std::u16string();
}
} // namespace

// The topmost storage is loaded with the first look at anything.
HRESULT Overlay::Look(ULONG ulEntry, Node*& pNode)
{
    if (mNodes.empty())
    {
        ULONG ulTop = 0;
        const HRESULT hr = Load(mulStorage, kulNoEntry, ulTop);
        if (FAILED(hr)) return hr;
    }
    pNode = ulEntry < mNodes.size() ? mNodes[ulEntry].get() : nullptr;
    return pNode ? S_OK : STG_E_DOCFILECORRUPT;
}

HRESULT Overlay::LookStorage(ULONG ulEntry, Node*& pNode)
{
    const HRESULT hr = Look(ulEntry, pNode);
    return SUCCEEDED(hr) && pNode->entry.eKind == EntryKind::Stream ? STG_E_INVALIDFUNCTION : hr;
}

HRESULT Overlay::LookStream(ULONG ulEntry, Node*& pNode)
{
    const HRESULT hr = Look(ulEntry, pNode);
    return SUCCEEDED(hr) && pNode->entry.eKind != EntryKind::Stream ? STG_E_INVALIDFUNCTION : hr;
}

// A number that is free, with room for its node and for giving it back: what needs memory is done then.
ULONG Overlay::FreePlace()
{
    if (!mFree.empty()) return mFree.back();
    if (mNodes.size() == mNodes.capacity()) mNodes.reserve(std::max<std::size_t>(16, mNodes.size() * 2));
    mFree.reserve(mNodes.capacity());
    return static_cast<ULONG>(mNodes.size());
}

void Overlay::Place(ULONG ulEntry, std::unique_ptr<Node> pNode)
{
    if (ulEntry == mNodes.size()) mNodes.emplace_back();
    else mFree.pop_back();
    mNodes[ulEntry] = std::move(pNode);
}

// Makes a node for an entry below, in a storage of this tree. An exception leaves nothing of it: what counts as loaded and has no
// node is taken for gone.
HRESULT Overlay::Load(ULONG ulBase, ULONG ulParent, ULONG& ulEntry)
{
    auto pNode = std::make_unique<Node>();
    HRESULT hr = mBase.Get(ulBase, pNode->entry);
    std::u16string_view sName;
    if (SUCCEEDED(hr) && ulParent != kulNoEntry && !NameOfEntry(pNode->entry, sName)) hr = STG_E_DOCFILECORRUPT;
    if (FAILED(hr)) return hr;
    SetEntrySize(pNode->entry, pNode->entry.eKind == EntryKind::Stream ? mBase.SizeOf(pNode->entry) : 0);
    pNode->ulBase = ulBase;
    const ULONG ulPlace = FreePlace();
    const auto loaded = mLoaded.insert(ulBase).first;
    try
    {
        if (ulParent != kulNoEntry) mNodes[ulParent]->children.emplace(sName, ulPlace);
    }
    catch (const std::bad_alloc&)
    {
        mLoaded.erase(loaded);
        throw;
    }
    if (ulParent != kulNoEntry)
    {
        pNode->ulParent = ulParent;
        pNode->ulBaseParent = mNodes[ulParent]->ulBase;
    }
    Place(ulPlace, std::move(pNode));
    ulEntry = ulPlace;
    return S_OK;
}

HRESULT Overlay::LoadAll(ULONG ulStorage, Node& storage)
{
    if (storage.bAll || storage.ulBase == kulNoEntry) return S_OK;
    std::vector<ULONG> below;
    HRESULT hr = mBase.Children(storage.ulBase, below);
    for (std::size_t i = 0; i < below.size() && SUCCEEDED(hr); ++i)
    {
        ULONG ulEntry = 0;
        if (!mLoaded.contains(below[i])) hr = Load(below[i], ulStorage, ulEntry);
    }
    storage.bAll = SUCCEEDED(hr);
    return hr;
}

HRESULT Overlay::Get(ULONG ulEntry, CfEntry& entry)
{
    Node* pNode = nullptr;
    const HRESULT hr = Look(ulEntry, pNode);
    if (SUCCEEDED(hr)) entry = pNode->entry;
    return hr;
}

HRESULT Overlay::Find(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry)
{
    Node* pStorage = nullptr;
    HRESULT hr = LookStorage(ulStorage, pStorage);
    if (FAILED(hr)) return hr;
    const auto found = pStorage->children.find(std::u16string(sName));
    if (found != pStorage->children.end())
    {
        ulEntry = found->second;
        return S_OK;
    }
    ULONG ulBase = kulNoEntry;
    if (pStorage->bAll || pStorage->ulBase == kulNoEntry) return STG_E_FILENOTFOUND;
    hr = mBase.Find(pStorage->ulBase, sName, ulBase);
    if (FAILED(hr)) return hr;
    // What was loaded and is not here any more went elsewhere.
    return mLoaded.contains(ulBase) ? STG_E_FILENOTFOUND : Load(ulBase, ulStorage, ulEntry);
}

HRESULT Overlay::Children(ULONG ulStorage, std::vector<ULONG>& entries)
{
    Node* pStorage = nullptr;
    HRESULT hr = LookStorage(ulStorage, pStorage);
    if (SUCCEEDED(hr)) hr = LoadAll(ulStorage, *pStorage);
    if (FAILED(hr)) return hr;
    for (const auto& [sName, ulEntry] : pStorage->children) entries.push_back(ulEntry);
    return S_OK;
}

HRESULT Overlay::After(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry)
{
    Node* pStorage = nullptr;
    HRESULT hr = LookStorage(ulStorage, pStorage);
    if (SUCCEEDED(hr)) hr = LoadAll(ulStorage, *pStorage);
    if (FAILED(hr)) return hr;
    const auto next = pStorage->children.upper_bound(std::u16string(sName));
    ulEntry = next != pStorage->children.end() ? next->second : kulNoEntry;
    return S_OK;
}

HRESULT Overlay::Count(ULONGLONG& ullEntries)
{
    const HRESULT hr = mBase.Count(ullEntries);
    ullEntries += mNodes.size();
    return hr;
}

HRESULT Overlay::SetProperties(ULONG ulEntry, const CLSID& clsid, ULONG ulState, FILETIME created, FILETIME modified)
{
    Node* pNode = nullptr;
    const HRESULT hr = Look(ulEntry, pNode);
    if (FAILED(hr)) return hr;
    pNode->entry.clsid = clsid;
    pNode->entry.ulState = ulState;
    pNode->entry.created = created;
    pNode->entry.modified = modified;
    pNode->bProperties = true;
    return S_OK;
}

HRESULT Overlay::NewEntry(EntryKind eKind, std::u16string_view sName, ULONG& ulEntry)
{
    Node* pTop = nullptr;
    const HRESULT hr = Look(kulRootEntry, pTop);
    if (FAILED(hr)) return hr;
    auto pNode = std::make_unique<Node>();
    pNode->entry.eKind = eKind;
    SetNameOfEntry(pNode->entry, sName);
    ulEntry = FreePlace();
    Place(ulEntry, std::move(pNode));
    return S_OK;
}

HRESULT Overlay::Link(ULONG ulStorage, ULONG ulEntry)
{
    Node* pStorage = nullptr;
    Node* pNode = nullptr;
    ULONG ulOther = 0;
    HRESULT hr = LookStorage(ulStorage, pStorage);
    if (SUCCEEDED(hr)) hr = Look(ulEntry, pNode);
    if (FAILED(hr)) return hr;
    std::u16string sName = NameOf(pNode->entry);
    hr = Find(ulStorage, sName, ulOther);
    if (hr != STG_E_FILENOTFOUND) return SUCCEEDED(hr) ? STG_E_FILEALREADYEXISTS : hr;
    pStorage->children.emplace(std::move(sName), ulEntry);
    pNode->ulParent = ulStorage;
    return S_OK;
}

HRESULT Overlay::Unlink(ULONG ulStorage, ULONG ulEntry)
{
    Node* pStorage = nullptr;
    Node* pNode = nullptr;
    HRESULT hr = LookStorage(ulStorage, pStorage);
    if (SUCCEEDED(hr)) hr = Look(ulEntry, pNode);
    if (FAILED(hr)) return hr;
    const auto found = pStorage->children.find(NameOf(pNode->entry));
    if (found == pStorage->children.end() || found->second != ulEntry) return STG_E_FILENOTFOUND;
    pStorage->children.erase(found);
    pNode->ulParent = kulNoEntry;
    return S_OK;
}

HRESULT Overlay::SetName(ULONG ulEntry, std::u16string_view sName)
{
    Node* pNode = nullptr;
    const HRESULT hr = Look(ulEntry, pNode);
    if (FAILED(hr)) return hr;
    SetNameOfEntry(pNode->entry, sName);
    pNode->bNamed = true;
    return S_OK;
}

HRESULT Overlay::CheckDrop(ULONG ulEntry)
{
    Node* pNode = nullptr;
    return Look(ulEntry, pNode);
}

// The entries below stay until the commit; their nodes go, and what was loaded of them is known to be gone.
HRESULT Overlay::Drop(ULONG ulEntry)
{
    std::vector<ULONG> entries(1, ulEntry);
    for (std::size_t i = 0; i < entries.size(); ++i)
    {
        Node* pNode = nullptr;
        const HRESULT hr = Look(entries[i], pNode);
        if (FAILED(hr)) return hr;
        for (const auto& [sName, ulChild] : pNode->children) entries.push_back(ulChild);
    }
    const std::size_t ulGone = mGone.size() + entries.size();
    if (ulGone > mGone.capacity()) mGone.reserve(std::max(ulGone, 2 * mGone.capacity()));
    for (const ULONG ulDropped : entries)
    {
        const Node& node = *mNodes[ulDropped];
        if (node.ulBase != kulNoEntry) mGone.push_back({node.ulBase, node.ulBaseParent});
        if (node.ulScratch != kulNoEntry) mScratch->File().Drop(node.ulScratch);
        mNodes[ulDropped].reset();
        mFree.push_back(ulDropped);
    }
    return S_OK;
}

void Overlay::Revert()
{
    mNodes.clear();
    mFree.clear();
    mLoaded.clear();
    mGone.clear();
    mScratch.reset();
}
} // namespace lum
