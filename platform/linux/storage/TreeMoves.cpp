#include "TreeMoves.h"

#include "EntryName.h"

namespace lum
{
// A step is noted before it is made, so that there is no step without a note.
HRESULT TreeMoves::Link(ULONG ulStorage, ULONG ulEntry)
{
    mSteps.push_back({What::Link, ulStorage, ulEntry, {}});
    const HRESULT hr = mTree.Link(ulStorage, ulEntry);
    if (FAILED(hr)) mSteps.pop_back();
    return hr;
}

HRESULT TreeMoves::Unlink(ULONG ulStorage, ULONG ulEntry)
{
    mSteps.push_back({What::Unlink, ulStorage, ulEntry, {}});
    const HRESULT hr = mTree.Unlink(ulStorage, ulEntry);
    if (FAILED(hr)) mSteps.pop_back();
    return hr;
}

HRESULT TreeMoves::SetName(ULONG ulEntry, std::u16string_view sName)
{
    CfEntry before;
    HRESULT hr = mTree.Get(ulEntry, before);
    if (FAILED(hr)) return hr;
    mSteps.push_back({What::Name, 0, ulEntry, before});
    hr = mTree.SetName(ulEntry, sName);
    if (FAILED(hr)) mSteps.pop_back();
    return hr;
}

HRESULT TreeMoves::SetProperties(ULONG ulEntry, const CLSID& clsid, ULONG ulState, FILETIME created, FILETIME modified)
{
    CfEntry before;
    HRESULT hr = mTree.Get(ulEntry, before);
    if (FAILED(hr)) return hr;
    mSteps.push_back({What::Properties, 0, ulEntry, before});
    hr = mTree.SetProperties(ulEntry, clsid, ulState, created, modified);
    if (FAILED(hr)) mSteps.pop_back();
    return hr;
}

HRESULT TreeMoves::Take(const Step& step)
{
    std::u16string_view sName;
    switch (step.eWhat)
    {
    case What::Link: return mTree.Unlink(step.ulStorage, step.ulEntry);
    case What::Unlink: return mTree.Link(step.ulStorage, step.ulEntry);
    case What::Name: return NameOfEntry(step.before, sName) ? mTree.SetName(step.ulEntry, sName) : STG_E_DOCFILECORRUPT;
    default:
        return mTree.SetProperties(step.ulEntry, step.before.clsid, step.before.ulState, step.before.created,
                                   step.before.modified);
    }
}

std::vector<ULONG> TreeMoves::Unlinked() const
{
    std::vector<ULONG> entries;
    for (const Step& step : mSteps)
        if (step.eWhat == What::Unlink) entries.push_back(step.ulEntry);
    return entries;
}

bool TreeMoves::Undo()
{
    bool bDone = true;
    for (; !mSteps.empty(); mSteps.pop_back()) bDone = SUCCEEDED(Take(mSteps.back())) && bDone;
    return bDone;
}
} // namespace lum
