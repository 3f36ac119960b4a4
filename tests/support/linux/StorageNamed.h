// Entries of the engine's trees by their names: a new one, one that goes, one that changes its place.
#pragma once

#include "Platform.h"

#include "linux/storage/EntryName.h"
#include "linux/storage/StorageTree.h"

#include <set>

// STG_E_INVALIDNAME, STG_E_FILEALREADYEXISTS
inline HRESULT InsertNamed(lum::StorageTree& tree, ULONG ulStorage, std::u16string_view sName, lum::EntryKind eKind, ULONG& ulEntry)
{
    ULONG ulOther = 0;
    HRESULT hr = lum::CheckEntryName(sName);
    if (FAILED(hr)) return hr;
    hr = tree.Find(ulStorage, sName, ulOther);
    if (hr != STG_E_FILENOTFOUND) return SUCCEEDED(hr) ? STG_E_FILEALREADYEXISTS : hr;
    hr = tree.NewEntry(eKind, sName, ulEntry);
    if (FAILED(hr)) return hr;
    hr = tree.Link(ulStorage, ulEntry);
    if (FAILED(hr)) tree.Drop(ulEntry);
    return hr;
}

// With all that it holds; STG_E_FILENOTFOUND.
inline HRESULT RemoveNamed(lum::StorageTree& tree, ULONG ulStorage, std::u16string_view sName)
{
    ULONG ulEntry = 0;
    HRESULT hr = tree.Find(ulStorage, sName, ulEntry);
    if (SUCCEEDED(hr)) hr = tree.Unlink(ulStorage, ulEntry);
    return SUCCEEDED(hr) ? tree.Drop(ulEntry) : hr;
}

// Each storage once: a damaged directory may lead in circles.
inline bool IsInside(lum::StorageTree& tree, ULONG ulEntry, ULONG ulStorage)
{
    std::set<ULONG> seen{ulStorage};
    std::vector<ULONG> entries(1, ulStorage);
    while (!entries.empty() && !seen.contains(ulEntry))
    {
        const ULONG ulNext = entries.back();
        std::vector<ULONG> inside;
        entries.pop_back();
        tree.Children(ulNext, inside);
        for (const ULONG ulInside : inside)
            if (seen.insert(ulInside).second) entries.push_back(ulInside);
    }
    return seen.contains(ulEntry);
}

// Into the same storage or another, under the same name or another; also STG_E_ACCESSDENIED for a storage into itself.
inline HRESULT MoveNamed(lum::StorageTree& tree, ULONG ulFrom, std::u16string_view sName, ULONG ulTo, std::u16string_view sNewName)
{
    ULONG ulEntry = 0, ulOther = 0;
    HRESULT hr = lum::CheckEntryName(sNewName);
    if (SUCCEEDED(hr)) hr = tree.Find(ulFrom, sName, ulEntry);
    if (FAILED(hr)) return hr;
    hr = tree.Find(ulTo, sNewName, ulOther);
    if (SUCCEEDED(hr) && ulOther != ulEntry) return STG_E_FILEALREADYEXISTS;
    if (FAILED(hr) && hr != STG_E_FILENOTFOUND) return hr;
    if (ulFrom != ulTo && IsInside(tree, ulTo, ulEntry)) return STG_E_ACCESSDENIED;

    hr = tree.Unlink(ulFrom, ulEntry);
    if (SUCCEEDED(hr)) hr = tree.SetName(ulEntry, sNewName);
    if (FAILED(hr)) return hr;
    hr = tree.Link(ulTo, ulEntry);
    if (SUCCEEDED(hr)) return hr;
    tree.SetName(ulEntry, sName);
    tree.Link(ulFrom, ulEntry);
    return hr;
}
