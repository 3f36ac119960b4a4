// The red-black tree of what a storage holds.
#include "Directory.h"

namespace lum
{
// A way into a tree that is to be changed; S_FALSE when the tree is deeper than one of ours, which it then is made.
template <class Way>
HRESULT Directory::GoBalanced(ULONG ulStorage, Way way)
{
    HRESULT hr = way();
    if (hr != S_FALSE) return hr;
    hr = Rebuild(ulStorage);
    if (SUCCEEDED(hr)) hr = way();
    return hr == S_FALSE ? STG_E_DOCFILECORRUPT : hr;
}

HRESULT Directory::GetLink(const Link& link, ULONG& ulEntry)
{
    const CfEntry* pEntry = nullptr;
    const HRESULT hr = Get(link.ulEntry, pEntry);
    if (SUCCEEDED(hr)) ulEntry = pEntry->*link.pField;
    return hr;
}

HRESULT Directory::SetLink(const Link& link, ULONG ulEntry)
{
    CfEntry* pEntry = nullptr;
    const bool bChild = link.pField == &CfEntry::ulChild;
    const HRESULT hr = bChild ? Change(link.ulEntry, pEntry) : ChangeLinks(link.ulEntry, pEntry);
    if (FAILED(hr)) return hr;
    if (bChild) mOrders.Forget(link.ulEntry);
    pEntry->*link.pField = ulEntry;
    return S_OK;
}

// An entry whose links or name are about to change.
HRESULT Directory::ChangeLinks(ULONG ulEntry, CfEntry*& pEntry)
{
    const HRESULT hr = Change(ulEntry, pEntry);
    if (SUCCEEDED(hr)) mOrders.ForgetWith(ulEntry);
    return hr;
}

bool Directory::IsRed(ULONG ulEntry)
{
    const CfEntry* pEntry = nullptr;
    return ulEntry != kulNoEntry && SUCCEEDED(Get(ulEntry, pEntry)) && pEntry->eColour == EntryColour::Red;
}

HRESULT Directory::SetColour(ULONG ulEntry, EntryColour eColour)
{
    CfEntry* pEntry = nullptr;
    const HRESULT hr = Change(ulEntry, pEntry);
    if (SUCCEEDED(hr)) pEntry->eColour = eColour;
    return hr;
}

// Brings the child on that side up to where its parent hangs. One whose name does not belong there stays below: nothing that hangs
// on the other side would be found behind it.
HRESULT Directory::Rotate(const Link& link, Field pUp)
{
    ULONG ulDown = 0;
    HRESULT hr = GetLink(link, ulDown);
    CfEntry* pDown = nullptr;
    CfEntry* pTop = nullptr;
    const CfEntry* pSeen = nullptr;
    if (SUCCEEDED(hr)) hr = ChangeLinks(ulDown, pDown);
    if (FAILED(hr)) return hr;
    const ULONG ulTop = pDown->*pUp;
    if (ulTop == kulNoEntry || ulTop == link.ulEntry) return STG_E_DOCFILECORRUPT;
    hr = GetOrdered(*pDown, pUp, ulTop, pSeen);
    if (SUCCEEDED(hr)) hr = ChangeLinks(ulTop, pTop);
    if (SUCCEEDED(hr)) hr = SetLink(link, ulTop);
    if (FAILED(hr)) return hr;
    pDown->*pUp = pTop->*Other(pUp);
    pTop->*Other(pUp) = ulDown;
    return S_OK;
}

HRESULT Directory::Insert(ULONG ulStorage, ULONG ulEntry)
{
    CfEntry* pEntry = nullptr;
    std::u16string_view sName;
    Path path;
    ULONG ulFound = 0;
    HRESULT hr = ChangeLinks(ulEntry, pEntry);
    if (SUCCEEDED(hr) && !NameOfEntry(*pEntry, sName)) hr = STG_E_DOCFILECORRUPT;
    if (SUCCEEDED(hr)) hr = GoBalanced(ulStorage, [&] { return Descend(ulStorage, sName, path, ulFound); });
    if (FAILED(hr)) return hr;
    if (ulFound != kulNoEntry) return STG_E_FILEALREADYEXISTS;

    pEntry->ulLeft = pEntry->ulRight = kulNoEntry;
    pEntry->eColour = EntryColour::Red;
    hr = SetLink(path.back(), ulEntry);
    if (FAILED(hr)) return hr;
    // It can be found by now. What damaged neighbours leave undone of the balance makes paths longer, and no call fail.
    BalanceInserted(path);
    if (SUCCEEDED(GetLink(path.front(), ulFound)) && IsRed(ulFound)) SetColour(ulFound, EntryColour::Black);
    return S_OK;
}

HRESULT Directory::BalanceInserted(const Path& path)
{
    HRESULT hr = S_OK;
    for (std::size_t i = path.size() - 1; i >= 2 && SUCCEEDED(hr); i -= 2) // the link that a red entry hangs on
    {
        const ULONG ulParent = path[i].ulEntry, ulGrand = path[i - 1].ulEntry;
        if (!IsRed(ulParent)) break;
        ULONG ulUncle = 0, ulTop = ulParent;
        hr = GetLink({ulGrand, Other(path[i - 1].pField)}, ulUncle);
        if (SUCCEEDED(hr) && IsRed(ulUncle))
        {
            hr = SetColour(ulParent, EntryColour::Black);
            if (SUCCEEDED(hr)) hr = SetColour(ulUncle, EntryColour::Black);
            if (SUCCEEDED(hr)) hr = SetColour(ulGrand, EntryColour::Red);
            continue;
        }
        if (SUCCEEDED(hr) && path[i].pField != path[i - 1].pField) hr = Rotate(path[i - 1], path[i].pField);
        if (SUCCEEDED(hr)) hr = GetLink(path[i - 1], ulTop);
        if (SUCCEEDED(hr)) hr = Rotate(path[i - 2], path[i - 1].pField);
        if (SUCCEEDED(hr)) hr = SetColour(ulTop, EntryColour::Black);
        if (SUCCEEDED(hr)) hr = SetColour(ulGrand, EntryColour::Red);
        break;
    }
    return hr;
}

HRESULT Directory::Remove(ULONG ulStorage, ULONG ulEntry)
{
    CfEntry* pEntry = nullptr;
    Path path, onward;
    HRESULT hr = GoBalanced(ulStorage, [&] { return DescendTo(ulStorage, ulEntry, path, onward); });
    if (SUCCEEDED(hr)) hr = ChangeLinks(ulEntry, pEntry);
    if (SUCCEEDED(hr) && !onward.empty()) hr = MoveDown(path, onward);
    if (FAILED(hr)) return hr;
    const ULONG ulBelow = pEntry->ulLeft != kulNoEntry ? pEntry->ulLeft : pEntry->ulRight;
    const bool bBlack = pEntry->eColour == EntryColour::Black;
    hr = SetLink(path.back(), ulBelow);
    if (FAILED(hr)) return hr;
    pEntry->ulLeft = pEntry->ulRight = kulNoEntry;
    // It is out, whatever damaged neighbours leave undone of the balance.
    if (IsRed(ulBelow)) SetColour(ulBelow, EntryColour::Black);
    else if (bBlack) BalanceRemoved(path);
    return S_OK;
}

// Lets an entry with two children change places with its neighbour, which has at most one. All is at hand before the first link
// changes.
HRESULT Directory::MoveDown(Path& path, const Path& onward)
{
    const auto [ulEntry, pSide] = onward.front();
    const Link above = path.back();
    CfEntry *pEntry = nullptr, *pNext = nullptr, *pLast = nullptr;
    ULONG ulNext = 0;
    HRESULT hr = GetLink(onward.back(), ulNext);
    if (SUCCEEDED(hr)) hr = ChangeLinks(ulEntry, pEntry);
    if (SUCCEEDED(hr)) hr = ChangeLinks(ulNext, pNext);
    if (SUCCEEDED(hr)) hr = ChangeLinks(onward.back().ulEntry, pLast);
    if (FAILED(hr)) return hr;
    path.insert(path.end(), onward.begin(), onward.end());
    path[path.size() - onward.size()].ulEntry = ulNext;
    hr = SetLink(above, ulNext);
    if (FAILED(hr)) return hr;
    const ULONG ulBelow = pNext->*pSide;
    std::swap(pEntry->eColour, pNext->eColour);
    pNext->ulLeft = pEntry->ulLeft;
    pNext->ulRight = pEntry->ulRight;
    pEntry->*Other(pSide) = kulNoEntry;
    pEntry->*pSide = ulBelow;
    (onward.size() > 1 ? pLast : pNext)->*onward.back().pField = ulEntry;
    return S_OK;
}

// What hangs on the path's last link has one black entry too few above it.
HRESULT Directory::BalanceRemoved(Path& path)
{
    while (path.size() > 1)
    {
        const Link here = path.back();
        const Field pNear = here.pField, pFar = Other(here.pField);
        ULONG ulBrother = 0, ulNephew = 0, ulOuter = 0;
        HRESULT hr = GetLink({here.ulEntry, pFar}, ulBrother);
        if (FAILED(hr) || ulBrother == kulNoEntry) return hr; // not a tree of ours
        if (IsRed(ulBrother))
        {
            hr = Rotate(path[path.size() - 2], pFar);
            if (SUCCEEDED(hr)) hr = SetColour(ulBrother, EntryColour::Black);
            if (SUCCEEDED(hr)) hr = SetColour(here.ulEntry, EntryColour::Red);
            path.back() = {ulBrother, pNear};
            path.push_back(here);
            if (SUCCEEDED(hr)) hr = GetLink({here.ulEntry, pFar}, ulBrother);
            if (FAILED(hr) || ulBrother == kulNoEntry) return hr;
        }
        hr = GetLink({ulBrother, pNear}, ulNephew);
        if (SUCCEEDED(hr)) hr = GetLink({ulBrother, pFar}, ulOuter);
        if (FAILED(hr)) return hr;

        if (!IsRed(ulNephew) && !IsRed(ulOuter))
        {
            hr = SetColour(ulBrother, EntryColour::Red);
            if (FAILED(hr)) return hr;
            if (IsRed(here.ulEntry)) return SetColour(here.ulEntry, EntryColour::Black);
            path.pop_back();
            continue;
        }
        if (!IsRed(ulOuter))
        {
            hr = Rotate({here.ulEntry, pFar}, pNear);
            if (SUCCEEDED(hr)) hr = SetColour(ulBrother, EntryColour::Red);
            ulOuter = ulBrother;
            ulBrother = ulNephew;
        }
        const bool bRed = IsRed(here.ulEntry);
        if (SUCCEEDED(hr)) hr = Rotate(path[path.size() - 2], pFar);
        if (SUCCEEDED(hr)) hr = SetColour(ulBrother, bRed ? EntryColour::Red : EntryColour::Black);
        if (SUCCEEDED(hr)) hr = SetColour(ulOuter, EntryColour::Black);
        return SUCCEEDED(hr) ? SetColour(here.ulEntry, EntryColour::Black) : hr;
    }
    return S_OK;
}
} // namespace lum
