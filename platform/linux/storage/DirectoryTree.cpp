// The red-black tree of what a storage holds.
#include "Directory.h"

namespace lum
{
namespace
{
using Field = ULONG CfEntry::*;
constexpr Field kpLeft = &CfEntry::ulLeft, kpRight = &CfEntry::ulRight;

Field Other(Field pField) { return pField == kpLeft ? kpRight : kpLeft; }
} // namespace

HRESULT Directory::Descend(ULONG ulStorage, std::u16string_view sName, Path* pPath, ULONG& ulFound)
{
    const CfEntry* pEntry = nullptr;
    HRESULT hr = Get(ulStorage, pEntry);
    if (FAILED(hr)) return hr;
    if (pEntry->eKind == EntryKind::Stream) return STG_E_INVALIDFUNCTION;

    if (pPath) pPath->push_back({ulStorage, &CfEntry::ulChild});
    ulFound = pEntry->ulChild;
    for (ULONG ulSteps = 0; ulFound != kulNoEntry; ++ulSteps)
    {
        hr = CheckSteps(ulSteps);
        if (SUCCEEDED(hr)) hr = ulFound == kulRootEntry ? STG_E_DOCFILECORRUPT : Get(ulFound, pEntry);
        std::u16string_view sHere;
        if (SUCCEEDED(hr) && !NameOfEntry(*pEntry, sHere)) hr = STG_E_DOCFILECORRUPT;
        if (FAILED(hr)) return hr;
        const int iOrder = CompareEntryNames(sName, sHere);
        if (iOrder == 0) break;
        const Field pField = iOrder < 0 ? kpLeft : kpRight;
        if (pPath) pPath->push_back({ulFound, pField});
        ulFound = pEntry->*pField;
    }
    return S_OK;
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
    const HRESULT hr = Change(link.ulEntry, pEntry);
    if (SUCCEEDED(hr)) pEntry->*link.pField = ulEntry;
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

// Brings the child on that side up to where its parent hangs.
HRESULT Directory::Rotate(const Link& link, Field pUp)
{
    ULONG ulDown = 0;
    HRESULT hr = GetLink(link, ulDown);
    CfEntry* pDown = nullptr;
    CfEntry* pTop = nullptr;
    if (SUCCEEDED(hr)) hr = Change(ulDown, pDown);
    if (FAILED(hr)) return hr;
    const ULONG ulTop = pDown->*pUp;
    if (ulTop == kulNoEntry || ulTop == ulDown) return STG_E_DOCFILECORRUPT;
    hr = Change(ulTop, pTop);
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
    HRESULT hr = Change(ulEntry, pEntry);
    if (SUCCEEDED(hr) && !NameOfEntry(*pEntry, sName)) hr = STG_E_DOCFILECORRUPT;
    if (SUCCEEDED(hr)) hr = Descend(ulStorage, sName, &path, ulFound);
    if (FAILED(hr)) return hr;
    if (ulFound != kulNoEntry) return STG_E_FILEALREADYEXISTS;

    pEntry->ulLeft = pEntry->ulRight = kulNoEntry;
    pEntry->eColour = EntryColour::Red;
    hr = SetLink(path.back(), ulEntry);
    if (SUCCEEDED(hr)) hr = BalanceInserted(path);
    if (SUCCEEDED(hr)) hr = GetLink(path.front(), ulFound);
    return SUCCEEDED(hr) && IsRed(ulFound) ? SetColour(ulFound, EntryColour::Black) : hr;
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

HRESULT Directory::Remove(ULONG ulStorage, std::u16string_view sName)
{
    Path path;
    ULONG ulEntry = 0;
    HRESULT hr = Descend(ulStorage, sName, &path, ulEntry);
    if (FAILED(hr)) return hr;
    if (ulEntry == kulNoEntry) return STG_E_FILENOTFOUND;

    CfEntry* pEntry = nullptr;
    hr = Change(ulEntry, pEntry);
    if (SUCCEEDED(hr) && pEntry->ulLeft != kulNoEntry && pEntry->ulRight != kulNoEntry) hr = MoveDown(path, ulEntry);
    if (FAILED(hr)) return hr;

    const ULONG ulBelow = pEntry->ulLeft != kulNoEntry ? pEntry->ulLeft : pEntry->ulRight;
    const bool bBlack = pEntry->eColour == EntryColour::Black;
    hr = SetLink(path.back(), ulBelow);
    if (FAILED(hr)) return hr;
    pEntry->ulLeft = pEntry->ulRight = kulNoEntry;
    if (IsRed(ulBelow)) return SetColour(ulBelow, EntryColour::Black);
    return bBlack ? BalanceRemoved(path) : S_OK;
}

// Lets an entry with two children change places with the next one, which has at most one.
HRESULT Directory::MoveDown(Path& path, ULONG ulEntry)
{
    const std::size_t ulDepth = path.size();
    CfEntry* pEntry = nullptr;
    CfEntry* pNext = nullptr;
    HRESULT hr = Change(ulEntry, pEntry);
    if (FAILED(hr)) return hr;
    path.push_back({ulEntry, kpRight});
    ULONG ulNext = pEntry->ulRight;
    for (ULONG ulSteps = 0;; ++ulSteps)
    {
        const CfEntry* pSeen = nullptr;
        hr = CheckSteps(ulSteps);
        if (SUCCEEDED(hr)) hr = Get(ulNext, pSeen);
        if (SUCCEEDED(hr) && (ulNext == ulEntry || ulNext == kulRootEntry)) hr = STG_E_DOCFILECORRUPT;
        if (FAILED(hr)) return hr;
        if (pSeen->ulLeft == kulNoEntry) break;
        path.push_back({ulNext, kpLeft});
        ulNext = pSeen->ulLeft;
    }

    hr = Change(ulNext, pNext);
    if (SUCCEEDED(hr)) hr = SetLink(path[ulDepth - 1], ulNext);
    if (FAILED(hr)) return hr;
    const ULONG ulBelow = pNext->ulRight;
    std::swap(pEntry->eColour, pNext->eColour);
    pNext->ulLeft = pEntry->ulLeft;
    pNext->ulRight = pEntry->ulRight;
    pEntry->ulLeft = kulNoEntry;
    pEntry->ulRight = ulBelow;
    path[ulDepth].ulEntry = ulNext;
    return SetLink(path.back(), ulEntry);
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
