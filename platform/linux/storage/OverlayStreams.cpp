// The contents of streams in a transaction inside another.
#include "Overlay.h"

#include <algorithm>

namespace lum
{
// From now on its contents are in the scratch, as many bytes of them as are kept.
HRESULT Overlay::MoveToScratch(Node& node, ULONGLONG ullKeep)
{
    if (node.ulScratch != kulNoEntry) return S_OK;
    HRESULT hr = S_OK;
    if (!mScratch)
    {
        mScratch.emplace();
        hr = mScratch->Begin();
        if (FAILED(hr))
        {
            mScratch.reset();
            return hr;
        }
    }
    CompoundFile& scratch = mScratch->File();
    ULONG ulScratch = kulNoEntry;
    hr = scratch.NewEntry(EntryKind::Stream, u"Changed", ulScratch);
    if (FAILED(hr)) return hr;
    if (node.ulBase != kulNoEntry) hr = CopyBytes(mBase, node.ulBase, scratch, ulScratch, std::min(ullKeep, SizeOf(node.entry)));
    if (SUCCEEDED(hr)) node.ulScratch = ulScratch;
    else scratch.Drop(ulScratch);
    return hr;
}

HRESULT Overlay::Read(ULONG ulEntry, ULONGLONG ullAt, void* pTo, std::size_t ulBytes, std::size_t& ulRead)
{
    ulRead = 0;
    Node* pNode = nullptr;
    const HRESULT hr = LookStream(ulEntry, pNode);
    if (FAILED(hr)) return hr;
    if (pNode->ulScratch != kulNoEntry) return mScratch->File().Read(pNode->ulScratch, ullAt, pTo, ulBytes, ulRead);
    return pNode->ulBase != kulNoEntry ? mBase.Read(pNode->ulBase, ullAt, pTo, ulBytes, ulRead) : S_OK;
}

HRESULT Overlay::Write(ULONG ulEntry, ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes, std::size_t* pulWritten)
{
    if (pulWritten) *pulWritten = 0;
    Node* pNode = nullptr;
    HRESULT hr = LookStream(ulEntry, pNode);
    if (FAILED(hr) || ulBytes == 0) return hr;
    if (ullAt + ulBytes < ullAt) return STG_E_MEDIUMFULL;
    hr = MoveToScratch(*pNode, ~0ull);
    if (SUCCEEDED(hr)) hr = mScratch->File().Write(pNode->ulScratch, ullAt, pFrom, ulBytes, pulWritten);
    if (SUCCEEDED(hr)) SetEntrySize(pNode->entry, std::max(SizeOf(pNode->entry), ullAt + ulBytes));
    return hr;
}

HRESULT Overlay::Resize(ULONG ulEntry, ULONGLONG ullBytes)
{
    Node* pNode = nullptr;
    HRESULT hr = LookStream(ulEntry, pNode);
    if (FAILED(hr) || SizeOf(pNode->entry) == ullBytes) return hr;
    hr = MoveToScratch(*pNode, ullBytes);
    if (FAILED(hr)) return hr;
    hr = mScratch->File().Resize(pNode->ulScratch, ullBytes);
    if (SUCCEEDED(hr)) SetEntrySize(pNode->entry, ullBytes);
    return hr;
}

void Overlay::Forget(ULONG ulEntry)
{
    if (ulEntry >= mNodes.size() || !mNodes[ulEntry]) return;
    const Node& node = *mNodes[ulEntry];
    if (node.ulScratch != kulNoEntry) mScratch->File().Forget(node.ulScratch);
    if (node.ulBase != kulNoEntry) mBase.Forget(node.ulBase);
}
} // namespace lum
