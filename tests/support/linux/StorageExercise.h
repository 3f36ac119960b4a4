// Everything that can be done to a compound file, done to one that may be damaged. Beside one that was sound at first stands a
// model of it: every answer and all contents must be those of the model, then and after opening the file again.
#pragma once

#include "StorageNamed.h"
#include "StorageNode.h"

#include <optional>

// Only these may come back, whatever the bytes are.
inline bool IsStorageAnswer(HRESULT hr)
{
    for (HRESULT hrKnown : {S_OK, STG_E_DOCFILECORRUPT, STG_E_INVALIDHEADER, STG_E_OLDFORMAT, STG_E_OLDDLL, STG_E_FILENOTFOUND,
                            STG_E_FILEALREADYEXISTS, STG_E_INVALIDNAME, STG_E_ACCESSDENIED, STG_E_MEDIUMFULL})
        if (hr == hrKnown) return true;
    return false;
}

struct ListedEntry
{
    ULONG ulStorage, ulEntry;
    StorageNode* pStorage; // null without a model
    StorageNode* pNode;
};

// Entries from the root on, a few hundred at most, and not deeper than a few levels.
inline void ListEntries(lum::CompoundFile& file, ULONG ulStorage, std::vector<ListedEntry>& entries,
                        StorageNode* pStorage = nullptr, int iDepth = 0)
{
    std::vector<ULONG> children;
    if (FAILED(file.Children(ulStorage, children)) || iDepth > 4) return;
    for (ULONG ulChild : children)
    {
        lum::CfEntry entry;
        std::u16string_view sName;
        if (entries.size() > 300 || FAILED(file.Get(ulChild, entry))) return;
        StorageNode* const pNode = pStorage && lum::NameOfEntry(entry, sName) ? pStorage->Find(StorageText(sName)) : nullptr;
        entries.push_back({ulStorage, ulChild, pStorage, pNode});
        if (entry.eKind != lum::EntryKind::Stream) ListEntries(file, ulChild, entries, pNode, iDepth + 1);
    }
}

// One file under way, opened to be changed.
class StorageExercise
{
public:
    StorageExercise(const std::vector<BYTE>& file, lum::StorageAccess eAccess, const StorageContent* pContent)
        : mBytes(file), mFile(mBytes), meAccess(eAccess), mpContent(pContent)
    {
    }

    // Run: whether all went as it should.
    bool Run()
    {
        const HRESULT hr = mFile.Open(meAccess);
        if (FAILED(hr)) return IsStorageAnswer(hr) && !mpContent;
        if (meAccess == lum::StorageAccess::Transacted)
        {
            ChangeEverything();
            if (mpContent) Compare(*mpContent);
            Keep(mFile.Revert(), S_OK);
            mbRight = mbRight && (!mpContent || Holds(mFile, *mpContent));
        }
        ChangeEverything();
        Keep(mFile.Commit(), S_OK);
        Compare(mModel.Content());
        return mbRight && (!mpContent || DamageOf(mBytes) == "");
    }

private:
    void Keep(HRESULT hr, HRESULT hrExpected)
    {
        const bool bAnswer = IsStorageAnswer(hr) || hr == STG_E_INVALIDFUNCTION;
        mbRight = mbRight && (mpContent ? hr == hrExpected : bAnswer);
    }
    static bool Holds(lum::CompoundFile& file, const StorageContent& expected)
    {
        StorageContent content;
        return ReadContent(file, content) == S_OK && content == expected;
    }

    // What is seen here, and what by one who opens the file now: in a transaction the old contents until the commit.
    void Compare(const StorageContent& inFile)
    {
        StorageContent content;
        const HRESULT hr = ContentOf(mBytes, content);
        Keep(hr, S_OK);
        mbRight = mbRight && (!mpContent || (Holds(mFile, mModel.Content()) && content == inFile));
    }

    void Write(const ListedEntry& entry, std::size_t ulAt, std::size_t ulBytes)
    {
        const StorageBlob bytes = StoragePattern(ulBytes, entry.ulEntry);
        Keep(mFile.Write(entry.ulEntry, ulAt, bytes.data(), bytes.size()), ForStreams(entry));
        if (!entry.pNode || !entry.pNode->bStream) return;
        StorageBlob& model = entry.pNode->bytes;
        model.resize(std::max(model.size(), ulAt + ulBytes));
        std::copy(bytes.begin(), bytes.end(), model.begin() + static_cast<std::ptrdiff_t>(ulAt));
    }
    void Resize(const ListedEntry& entry, std::size_t ulBytes)
    {
        Keep(mFile.Resize(entry.ulEntry, ulBytes), ForStreams(entry));
        if (entry.pNode && entry.pNode->bStream) entry.pNode->bytes.resize(ulBytes);
    }
    static HRESULT ForStreams(const ListedEntry& entry)
    {
        return entry.pNode && !entry.pNode->bStream ? STG_E_INVALIDFUNCTION : S_OK;
    }
    void Remove(const ListedEntry& entry, const StorageText& sName)
    {
        Keep(RemoveNamed(mFile, entry.ulStorage, sName), S_OK);
        if (entry.pStorage) entry.pStorage->children.erase(sName);
    }
    void Move(const ListedEntry& entry, const StorageText& sName)
    {
        const StorageNode* const pTaken = mModel.Find(u"moved");
        const bool bFree = !pTaken || pTaken == entry.pNode;
        Keep(MoveNamed(mFile, entry.ulStorage, sName, lum::kulRootEntry, u"moved"), bFree ? S_OK : STG_E_FILEALREADYEXISTS);
        if (bFree && entry.pStorage) entry.pStorage->MoveTo(sName, mModel, u"moved");
    }
    void Insert()
    {
        ListedEntry entry{lum::kulRootEntry, 0, nullptr, nullptr};
        const bool bTaken = mModel.Find(u"new") != nullptr;
        const HRESULT hr = InsertNamed(mFile, lum::kulRootEntry, u"new", lum::EntryKind::Stream, entry.ulEntry);
        Keep(hr, bTaken ? STG_E_FILEALREADYEXISTS : S_OK);
        if (FAILED(hr)) return;
        if (mpContent) entry.pNode = &mModel.Put(u"new", true);
        Write(entry, 0, 5000);
    }

    // Writes, resizes, moves and removes in turn what there is.
    void ChangeEverything()
    {
        if (mpContent) mModel = NodeOf(*mpContent);
        std::vector<ListedEntry> entries;
        ListEntries(mFile, lum::kulRootEntry, entries, mpContent ? &mModel : nullptr);
        for (std::size_t i = 0; i < entries.size(); ++i)
        {
            lum::CfEntry entry;
            std::u16string_view sView;
            if (FAILED(mFile.Get(entries[i].ulEntry, entry)) || !lum::NameOfEntry(entry, sView)) continue; // went with its storage
            const StorageText sName(sView);
            switch (i % 6)
            {
            case 0: Write(entries[i], 10, 10000); break;
            case 1: Resize(entries[i], 100); break;
            case 2: Remove(entries[i], sName); break;
            case 3: Move(entries[i], sName); break;
            case 4: Write(entries[i], 4090, 20); break;
            default: Resize(entries[i], 70000); break;
            }
        }
        Insert();
    }

    StorageMemory mBytes;
    lum::CompoundFile mFile;
    const lum::StorageAccess meAccess;
    const StorageContent* const mpContent; // at first; null for a file that was not sound
    StorageNode mModel;
    bool mbRight = true;
};

// Reads, checks and changes the file; false when an answer was none, reading wrote, or something that was written is not there.
inline bool ExerciseStorage(const std::vector<BYTE>& file)
{
    StorageMemory bytes(file);
    StorageContent content;
    std::vector<lum::StorageFinding> findings;
    if (!IsStorageAnswer(ContentOf(bytes, content)) || !IsStorageAnswer(lum::CheckStorage(bytes, findings))) return false;
    if (bytes.mulChanges + bytes.mulFlushes != 0) return false;
    StorageContent sound;
    const StorageContent* const pSound = SoundContent(file, sound) ? &sound : nullptr;
    for (lum::StorageAccess eAccess : {lum::StorageAccess::Transacted, lum::StorageAccess::Direct})
        if (!StorageExercise(file, eAccess, pSound).Run()) return false;
    return true;
}
