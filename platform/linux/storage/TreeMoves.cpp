#include "TreeMoves.h"

#include "EntryName.h"

namespace lum
{
// A step is noted before it is made, so that there is no step without a note.
template <class Make>
HRESULT TreeMoves::Step(const Note& note, Make make)
{
    mNotes.push_back(note);
    const HRESULT hr = make();
    if (FAILED(hr)) mNotes.pop_back();
    return hr;
}

HRESULT TreeMoves::Link(ULONG ulStorage, ULONG ulEntry)
{
    return Step({What::Link, ulStorage, ulEntry, {}}, [&] { return mTree.Link(ulStorage, ulEntry); });
}

HRESULT TreeMoves::Unlink(ULONG ulStorage, ULONG ulEntry)
{
    return Step({What::Unlink, ulStorage, ulEntry, {}}, [&] { return mTree.Unlink(ulStorage, ulEntry); });
}

HRESULT TreeMoves::SetName(ULONG ulEntry, std::u16string_view sName)
{
    CfEntry before;
    const HRESULT hr = mTree.Get(ulEntry, before);
    return FAILED(hr) ? hr : Step({What::Name, 0, ulEntry, before}, [&] { return mTree.SetName(ulEntry, sName); });
}

HRESULT TreeMoves::SetProperties(ULONG ulEntry, const CLSID& clsid, ULONG ulState, FILETIME created, FILETIME modified)
{
    CfEntry before;
    const HRESULT hr = mTree.Get(ulEntry, before);
    if (FAILED(hr)) return hr;
    return Step({What::Properties, 0, ulEntry, before},
                [&] { return mTree.SetProperties(ulEntry, clsid, ulState, created, modified); });
}

HRESULT TreeMoves::TakeBack(const Note& note)
{
    std::u16string_view sName;
    switch (note.eWhat)
    {
    case What::Link: return mTree.Unlink(note.ulStorage, note.ulEntry);
    case What::Unlink: return mTree.Link(note.ulStorage, note.ulEntry);
    case What::Name: return NameOfEntry(note.before, sName) ? mTree.SetName(note.ulEntry, sName) : STG_E_DOCFILECORRUPT;
    default:
        return mTree.SetProperties(note.ulEntry, note.before.clsid, note.before.ulState, note.before.created,
                                   note.before.modified);
    }
}

std::vector<ULONG> TreeMoves::Unlinked() const
{
    std::vector<ULONG> entries;
    for (const Note& note : mNotes)
        if (note.eWhat == What::Unlink) entries.push_back(note.ulEntry);
    return entries;
}

bool TreeMoves::Undo()
{
    bool bDone = true;
    for (; !mNotes.empty(); mNotes.pop_back()) bDone = SUCCEEDED(TakeBack(mNotes.back())) && bDone;
    return bDone;
}
} // namespace lum
