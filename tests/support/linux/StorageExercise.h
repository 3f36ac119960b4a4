// Everything that can be done to a compound file, done to one that may be damaged.
#pragma once

#include "StorageContent.h"

// Only these may come back, whatever the bytes are.
inline bool IsStorageAnswer(HRESULT hr)
{
    for (HRESULT hrKnown : {S_OK, STG_E_DOCFILECORRUPT, STG_E_INVALIDHEADER, STG_E_OLDFORMAT, STG_E_OLDDLL, STG_E_FILENOTFOUND,
                            STG_E_FILEALREADYEXISTS, STG_E_INVALIDNAME, STG_E_ACCESSDENIED, STG_E_MEDIUMFULL})
        if (hr == hrKnown) return true;
    return false;
}

// Entries from the root on, a few hundred at most, and not deeper than a few levels.
inline void ListEntries(lum::CompoundFile& file, ULONG ulStorage, std::vector<std::pair<ULONG, ULONG>>& entries, int iDepth = 0)
{
    std::vector<ULONG> children;
    if (FAILED(file.Children(ulStorage, children)) || iDepth > 4) return;
    for (ULONG ulChild : children)
    {
        lum::CfEntry entry;
        if (entries.size() > 300 || FAILED(file.Get(ulChild, entry))) return;
        entries.emplace_back(ulStorage, ulChild);
        if (entry.eKind != lum::EntryKind::Stream) ListEntries(file, ulChild, entries, iDepth + 1);
    }
}

// Writes, resizes, moves and removes in turn what there is, and commits; the first answer that is none.
inline HRESULT ChangeEverything(lum::CompoundFile& file)
{
    std::vector<std::pair<ULONG, ULONG>> entries;
    ListEntries(file, 0, entries);
    const StorageBlob bytes = StoragePattern(10000, 5);
    HRESULT hr = S_OK;
    const auto keep = [&](HRESULT hrStep)
    {
        if (!IsStorageAnswer(hrStep) && hrStep != STG_E_INVALIDFUNCTION) hr = hrStep;
    };
    for (std::size_t i = 0; i < entries.size(); ++i)
    {
        const auto [ulStorage, ulEntry] = entries[i];
        lum::CfEntry entry;
        std::u16string_view sName;
        if (FAILED(file.Get(ulEntry, entry)) || !lum::NameOfEntry(entry, sName)) continue;
        switch (i % 6)
        {
        case 0: keep(file.Write(ulEntry, 10, bytes.data(), bytes.size())); break;
        case 1: keep(file.Resize(ulEntry, 100)); break;
        case 2: keep(file.Remove(ulStorage, sName)); break;
        case 3: keep(file.Move(ulStorage, sName, 0, u"moved")); break;
        case 4: keep(file.Write(ulEntry, 4090, bytes.data(), 20)); break;
        default: keep(file.Resize(ulEntry, 70000)); break;
        }
    }
    ULONG ulNew = 0;
    const HRESULT hrNew = file.Insert(0, u"new", lum::EntryKind::Stream, ulNew);
    keep(hrNew);
    if (SUCCEEDED(hrNew)) keep(file.Write(ulNew, 0, bytes.data(), 5000));
    keep(file.Commit());
    return hr;
}

// Reads, checks and changes the file; false when an answer was none, or reading wrote.
inline bool ExerciseStorage(const std::vector<BYTE>& file)
{
    StorageMemory bytes(file);
    StorageContent content;
    std::vector<lum::StorageFinding> findings;
    if (!IsStorageAnswer(ContentOf(bytes, content)) || !IsStorageAnswer(lum::CheckStorage(bytes, findings))) return false;
    if (bytes.mulChanges + bytes.mulFlushes != 0) return false;
    for (lum::StorageAccess eAccess : {lum::StorageAccess::Transacted, lum::StorageAccess::Direct})
    {
        StorageMemory copy(file);
        lum::CompoundFile changed(copy);
        const HRESULT hr = changed.Open(eAccess);
        if (!IsStorageAnswer(hr)) return false;
        if (FAILED(hr)) continue;
        if (!IsStorageAnswer(ChangeEverything(changed))) return false;
        if (!IsStorageAnswer(ContentOf(copy, content))) return false;
    }
    return true;
}
