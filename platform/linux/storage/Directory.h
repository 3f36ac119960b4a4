// The directory of a compound file: entries by number, and for each storage the tree of what it holds. Internal to platform/linux.
//
//  * An entry keeps its number while it exists. What is pointed at stays in place until the directory is flushed.
//  * Trees are red-black ones after every change of ours. Those of others need only be ordered: a change does what it can for them.
//  * Errors: STG_E_DOCFILECORRUPT for numbers that lead nowhere and paths without end, and those of SectorTable.
#pragma once

#include "EntryName.h"
#include "PagedChain.h"

namespace lum
{
class Directory
{
public:
    Directory(SectorFile& file, SectorTable& table, ULONG ulFirst, ULONG ulCommits)
        : mEntries(file, table, ulFirst), mulPerSector(file.SectorBytes() / sizeof(CfEntry)), mulSeed(ulCommits)
    {
    }

    // Get: an entry in use.   Peek: any one, free ones too.
    HRESULT Get(ULONG ulEntry, const CfEntry*& pEntry);
    HRESULT Peek(ULONG ulEntry, const CfEntry*& pEntry);
    HRESULT Change(ULONG ulEntry, CfEntry*& pEntry);
    HRESULT Count(ULONG& ulEntries);

    // Find: kulNoEntry when the storage holds nothing of that name.  Errors: STG_E_INVALIDFUNCTION for what is not a storage.
    HRESULT Find(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry);
    // After: the first one with a name behind that one; kulNoEntry when there is none.
    HRESULT After(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry);
    // Children: what a storage holds, in the order of names.
    HRESULT Children(ULONG ulStorage, std::vector<ULONG>& entries);

    // Create: an entry that is in no storage yet.   Release: takes it back.
    HRESULT Create(EntryKind eKind, std::u16string_view sName, ULONG& ulEntry);
    HRESULT Release(ULONG ulEntry);
    HRESULT CreateRoot(); // in a directory without entries

    // Insert: puts an entry into a storage by its name.  Errors: STG_E_FILEALREADYEXISTS.
    HRESULT Insert(ULONG ulStorage, ULONG ulEntry);
    // Remove: takes it out.  Errors: STG_E_FILENOTFOUND.
    HRESULT Remove(ULONG ulStorage, std::u16string_view sName);

    PagedChain& Entries() { return mEntries; }

private:
    using Field = ULONG CfEntry::*;
    struct Link // where an entry hangs
    {
        ULONG ulEntry;
        Field pField;
    };
    using Path = std::vector<Link>;

    HRESULT Descend(ULONG ulStorage, std::u16string_view sName, Path* pPath, ULONG& ulFound);
    HRESULT CheckSteps(ULONG ulSteps);
    HRESULT GetLink(const Link& link, ULONG& ulEntry);
    HRESULT SetLink(const Link& link, ULONG ulEntry);
    bool IsRed(ULONG ulEntry);
    HRESULT SetColour(ULONG ulEntry, EntryColour eColour);
    HRESULT Rotate(const Link& link, Field pUp);
    HRESULT BalanceInserted(const Path& path);
    HRESULT BalanceRemoved(Path& path);
    HRESULT MoveDown(Path& path, ULONG ulEntry);

    HRESULT Begin(ULONG ulEntry, EntryKind eKind, std::u16string_view sName);
    HRESULT StartSearch();
    HRESULT FindFree(ULONG& ulEntry);
    HRESULT AppendSector();

    static constexpr ULONG kulPageEntries = PagedChain::kulPageBytes / sizeof(CfEntry);

    PagedChain mEntries;
    const ULONG mulPerSector;
    const ULONG mulSeed;
    FreePages mFree;
    bool mbSearched = false;
};
} // namespace lum
