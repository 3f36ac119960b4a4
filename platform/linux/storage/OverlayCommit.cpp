// How a transaction inside another comes into what is below.
#include "Overlay.h"

namespace lum
{
HRESULT Overlay::Commit(const Revoke& revoke, bool& bWhole)
{
    bWhole = false; // until the end: an exception leaves it so
    std::vector<Prepared> prepared;
    TreeMoves moves(mBase);
    HRESULT hr = Prepare(prepared);
    if (SUCCEEDED(hr)) hr = MoveLinks(prepared, moves);
    if (SUCCEEDED(hr)) hr = CheckSettle(prepared);
    if (SUCCEEDED(hr)) hr = revoke(moves.Unlinked());
    if (SUCCEEDED(hr))
    {
        Settle(prepared);
        bWhole = true;
        return S_OK;
    }
    bWhole = moves.Undo();
    mFinal.clear();
    for (const Prepared& one : prepared)
    {
        mLoaded.erase(one.ulBase);
        mBase.Drop(one.ulBase);
    }
    return hr;
}

// Entries below for everything that is new there, streams with new contents included, in no storage yet.
HRESULT Overlay::Prepare(std::vector<Prepared>& prepared)
{
    HRESULT hr = S_OK;
    for (ULONG i = 0; i < mNodes.size() && SUCCEEDED(hr); ++i)
    {
        if (!mNodes[i]) continue;
        Node& node = *mNodes[i];
        if (node.ulBase != kulNoEntry && node.ulScratch == kulNoEntry) continue;
        std::u16string_view sName;
        ULONG ulBase = kulNoEntry;
        NameOfEntry(node.entry, sName);
        hr = mBase.NewEntry(node.entry.eKind, sName, ulBase);
        if (FAILED(hr)) break;
        prepared.push_back({i, ulBase});
        mLoaded.insert(ulBase);
        mFinal.emplace(i, ulBase);
        hr = PrepareOne(node, ulBase);
    }
    return hr;
}

HRESULT Overlay::PrepareOne(Node& node, ULONG ulBase)
{
    const CfEntry& entry = node.entry;
    const HRESULT hr = mBase.SetProperties(ulBase, entry.clsid, entry.ulState, entry.created, entry.modified);
    if (FAILED(hr) || node.ulScratch == kulNoEntry) return hr;
    const HRESULT hrSize = mBase.Resize(ulBase, SizeOf(entry));
    return SUCCEEDED(hrSize) ? CopyBytes(mScratch->File(), node.ulScratch, mBase, ulBase, SizeOf(entry)) : hrSize;
}

ULONG Overlay::FinalBase(ULONG ulEntry) const
{
    const auto found = mFinal.find(ulEntry);
    return found != mFinal.end() ? found->second : mNodes[ulEntry]->ulBase;
}

bool Overlay::HasMoved(const Node& node) const
{
    return node.ulParent != kulNoEntry && (node.bNamed || mNodes[node.ulParent]->ulBase != node.ulBaseParent);
}

// All are taken out before any is put in, so that names are free and no storage is put into itself.
HRESULT Overlay::MoveLinks(const std::vector<Prepared>& prepared, TreeMoves& moves)
{
    HRESULT hr = UnlinkBelow(prepared, moves);
    for (ULONG i = 0; i < mNodes.size() && SUCCEEDED(hr); ++i)
    {
        if (!mNodes[i] || mNodes[i]->ulBase == kulNoEntry || mFinal.contains(i)) continue;
        const CfEntry& entry = mNodes[i]->entry;
        std::u16string_view sName;
        if (mNodes[i]->bNamed && NameOfEntry(entry, sName)) hr = moves.SetName(mNodes[i]->ulBase, sName);
        if (SUCCEEDED(hr) && mNodes[i]->bProperties)
            hr = moves.SetProperties(mNodes[i]->ulBase, entry.clsid, entry.ulState, entry.created, entry.modified);
    }
    return SUCCEEDED(hr) ? LinkBelow(moves) : hr;
}

HRESULT Overlay::UnlinkBelow(const std::vector<Prepared>& prepared, TreeMoves& moves)
{
    HRESULT hr = S_OK;
    for (std::size_t i = 0; i < mGone.size() && SUCCEEDED(hr); ++i) hr = moves.Unlink(mGone[i].ulBaseParent, mGone[i].ulBase);
    for (std::size_t i = 0; i < prepared.size() && SUCCEEDED(hr); ++i)
    {
        const Node& node = *mNodes[prepared[i].ulNode];
        if (node.ulBase != kulNoEntry) hr = moves.Unlink(node.ulBaseParent, node.ulBase);
    }
    for (ULONG i = 0; i < mNodes.size() && SUCCEEDED(hr); ++i)
    {
        const Node* const pNode = mNodes[i].get();
        if (pNode && pNode->ulBase != kulNoEntry && !mFinal.contains(i) && HasMoved(*pNode))
            hr = moves.Unlink(pNode->ulBaseParent, pNode->ulBase);
    }
    return hr;
}

HRESULT Overlay::LinkBelow(TreeMoves& moves)
{
    HRESULT hr = S_OK;
    for (ULONG i = 0; i < mNodes.size() && SUCCEEDED(hr); ++i)
    {
        const Node* const pNode = mNodes[i].get();
        if (!pNode || pNode->ulParent == kulNoEntry) continue;
        if (mFinal.contains(i) || HasMoved(*pNode)) hr = moves.Link(FinalBase(pNode->ulParent), FinalBase(i));
    }
    return hr;
}

HRESULT Overlay::CheckSettle(const std::vector<Prepared>& prepared)
{
    HRESULT hr = S_OK;
    for (std::size_t i = 0; i < mGone.size() && SUCCEEDED(hr); ++i) hr = mBase.CheckDrop(mGone[i].ulBase);
    for (std::size_t i = 0; i < prepared.size() && SUCCEEDED(hr); ++i)
    {
        const Node& node = *mNodes[prepared[i].ulNode];
        if (node.ulBase != kulNoEntry) hr = mBase.CheckDrop(node.ulBase);
    }
    return hr;
}

// The links are changed. What is left cannot undo that: what nothing leads to any more goes.
void Overlay::Settle(const std::vector<Prepared>& prepared)
{
    for (const Gone& gone : mGone)
    {
        mBase.Drop(gone.ulBase);
        mLoaded.erase(gone.ulBase);
    }
    mGone.clear();
    for (const Prepared& one : prepared)
    {
        Node& node = *mNodes[one.ulNode];
        if (node.ulBase != kulNoEntry)
        {
            mBase.Drop(node.ulBase);
            mLoaded.erase(node.ulBase);
        }
        node.ulBase = one.ulBase;
        node.bAll = true; // a new storage below holds what this one holds
        node.ulScratch = kulNoEntry;
    }
    mFinal.clear();
    for (const auto& pNode : mNodes)
    {
        if (!pNode) continue;
        pNode->bNamed = pNode->bProperties = false;
        if (pNode->ulParent != kulNoEntry) pNode->ulBaseParent = mNodes[pNode->ulParent]->ulBase;
    }
    mScratch.reset();
}
} // namespace lum
