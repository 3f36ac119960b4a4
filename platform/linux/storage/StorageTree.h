// Entries by number, as one transaction sees them: those of a file, or of a transaction inside another. Internal to platform/linux.
//
//  * The topmost storage has the number kulRootEntry. An entry keeps its number until it is dropped or the transaction is reverted.
//  * Calls that change something fail as a whole, but for Write. Memory that runs out is std::bad_alloc; after that only a revert
//    helps.
//  * One thread at a time.   * Errors: those of CompoundFile.
#pragma once

#include "Layout.h"
#include "StorageCodes.h"

#include <string_view>
#include <vector>

namespace lum
{
class StorageTree
{
public:
    virtual ~StorageTree() = default;

    virtual HRESULT Get(ULONG ulEntry, CfEntry& entry) = 0;   // a copy
    virtual ULONGLONG SizeOf(const CfEntry& entry) const = 0; // of a stream
    virtual HRESULT Find(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry) = 0; // STG_E_FILENOTFOUND
    virtual HRESULT Children(ULONG ulStorage, std::vector<ULONG>& entries) = 0;           // appended in the order of names
    // After: the first one whose name comes after that one, which need not exist; kulNoEntry when there is none.
    virtual HRESULT After(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry) = 0;
    virtual HRESULT Count(ULONGLONG& ullEntries) = 0; // no more than so many
    virtual HRESULT SetProperties(ULONG ulEntry, const CLSID& clsid, ULONG ulState, FILETIME created, FILETIME modified) = 0;

    // Entries that no storage holds: a new one, one that is taken out, and back in by its name. Drop: with all that it holds, as
    //   far as it is not damaged. Whether a name may be given is for the caller to check (CheckEntryName).
    virtual HRESULT NewEntry(EntryKind eKind, std::u16string_view sName, ULONG& ulEntry) = 0;
    virtual HRESULT Link(ULONG ulStorage, ULONG ulEntry) = 0; // STG_E_FILEALREADYEXISTS
    virtual HRESULT Unlink(ULONG ulStorage, ULONG ulEntry) = 0;
    virtual HRESULT SetName(ULONG ulEntry, std::u16string_view sName) = 0;
    //   CheckDrop: reads all that a Drop needs, so that it does not fail for want of it.
    virtual HRESULT CheckDrop(ULONG ulEntry) = 0;
    virtual HRESULT Drop(ULONG ulEntry) = 0;

    // Contents. Reading stops at the end; what a stream gains by Resize, or before the place of a Write, is zero.
    //   A Write that fails leaves the size as it was, and every byte as it was or as it was to be; so many, from the first on, are
    //   the latter.
    virtual HRESULT Read(ULONG ulEntry, ULONGLONG ullAt, void* pTo, std::size_t ulBytes, std::size_t& ulRead) = 0;
    virtual HRESULT Write(ULONG ulEntry, ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes,
                          std::size_t* pulWritten = nullptr) = 0;
    virtual HRESULT Resize(ULONG ulEntry, ULONGLONG ullBytes) = 0;
    // Forget: drops what is remembered of where the contents lie. They are found again.
    virtual void Forget(ULONG ulEntry) = 0;
};

// CopyBytes: so many from the start of a stream to the start of a stream of another tree.
HRESULT CopyBytes(StorageTree& from, ULONG ulFrom, StorageTree& to, ULONG ulTo, ULONGLONG ullBytes);
} // namespace lum
