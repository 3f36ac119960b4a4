// The directory of a compound file: entries by number, and for each storage the tree of what it holds. Internal to platform/linux.
//
//  * An entry keeps its number while it exists. What is pointed at stays in place until the directory is flushed.
//  * Trees are red-black ones after every change of ours. Those of others need only be ordered: a change does what it can for them.
//  * A tree deeper than one of ours can be is listed once, so that looking for all its names costs no more than in a sound one,
//    and built anew before its first change. If it is damaged, what its storage holds does not change: STG_E_DOCFILECORRUPT.
//  * Errors: STG_E_DOCFILECORRUPT for numbers that lead nowhere and paths without end, and those of SectorTable.
#pragma once

#include "EntryName.h"
#include "NameOrders.h"
#include "PagedChain.h"

#include <optional>

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
    // Children: what a storage holds, in the order of names; on failure, what can be reached of it.
    HRESULT Children(ULONG ulStorage, std::vector<ULONG>& entries);

    // Create: an entry that is in no storage yet.   Release: takes it back.
    HRESULT Create(EntryKind eKind, std::u16string_view sName, ULONG& ulEntry);
    HRESULT Release(ULONG ulEntry);
    HRESULT CreateRoot(); // in a directory without entries
    HRESULT SetName(ULONG ulEntry, std::u16string_view sName); // of one that is in no storage

    // Insert: puts an entry into a storage by its name.  Errors: STG_E_FILEALREADYEXISTS.
    HRESULT Insert(ULONG ulStorage, ULONG ulEntry);
    // Remove: takes it out.  Errors: STG_E_FILENOTFOUND; STG_E_DOCFILECORRUPT when another one has its name there.
    HRESULT Remove(ULONG ulStorage, ULONG ulEntry);
    HRESULT RemoveAll(ULONG ulStorage) { return SetLink({ulStorage, &CfEntry::ulChild}, kulNoEntry); }

    PagedChain& Entries() { return mEntries; }
    ULONGLONG Looked() const { return mullLooked; } // at so many entries until now: what walks cost

private:
    using Field = ULONG CfEntry::*;
    static constexpr Field kpLeft = &CfEntry::ulLeft, kpRight = &CfEntry::ulRight;
    static constexpr Field Other(Field pField) { return pField == kpLeft ? kpRight : kpLeft; }
    struct Link // where an entry hangs
    {
        ULONG ulEntry;
        Field pField;
    };
    using Path = std::vector<Link>;

    enum class Sought { Same, Next }; // a name, or the first one behind it

    HRESULT GetStorage(ULONG ulStorage, const CfEntry*& pEntry);
    HRESULT Compare(std::u16string_view sName, ULONG ulEntry, const CfEntry*& pEntry, int& iOrder);
    HRESULT CheckSteps(ULONG ulSteps);
    HRESULT Search(ULONG ulStorage, std::u16string_view sName, Sought eSought, ULONG& ulEntry);
    HRESULT SearchOrder(ULONG ulStorage, std::u16string_view sName, Sought eSought, ULONG& ulEntry);
    HRESULT GetOrder(ULONG ulStorage, NameOrder*& pOrder);
    HRESULT Rebuild(ULONG ulStorage);
    HRESULT CheckOwn(NameOrder& order);
    HRESULT FindShared();

    template <class Way>
    HRESULT GoBalanced(ULONG ulStorage, Way way);
    HRESULT Descend(ULONG ulStorage, std::u16string_view sName, Path& path, ULONG& ulFound);
    HRESULT DescendTo(ULONG ulStorage, ULONG ulEntry, Path& path, Path& onward);
    HRESULT DescendOn(const Link& from, std::size_t ulAbove, Path& onward);
    HRESULT GetOrdered(const CfEntry& above, Field pField, ULONG ulBelow, const CfEntry*& pBelow);
    HRESULT ChangeLinks(ULONG ulEntry, CfEntry*& pEntry);
    HRESULT GetLink(const Link& link, ULONG& ulEntry);
    HRESULT SetLink(const Link& link, ULONG ulEntry);
    bool IsRed(ULONG ulEntry);
    HRESULT SetColour(ULONG ulEntry, EntryColour eColour);
    HRESULT Rotate(const Link& link, Field pUp);
    HRESULT BalanceInserted(const Path& path);
    HRESULT BalanceRemoved(Path& path);
    HRESULT MoveDown(Path& path, const Path& onward);

    HRESULT Begin(ULONG ulEntry, EntryKind eKind, std::u16string_view sName);
    HRESULT StartSearch();
    HRESULT FindFree(ULONG& ulEntry);
    HRESULT AppendSector();

    static constexpr ULONG kulMostLevels = 64; // of a sound tree
    static constexpr ULONG kulPageEntries = PagedChain::kulPageBytes / sizeof(CfEntry);

    PagedChain mEntries;
    const ULONG mulPerSector;
    const ULONG mulSeed;
    FreePages mFree;
    bool mbSearched = false;
    ULONGLONG mullLooked = 0;
    NameOrders mOrders;                       // of storages whose trees are deeper
    std::optional<std::vector<bool>> mShared; // whether more than one link leads to an entry, once that is known
};
} // namespace lum
