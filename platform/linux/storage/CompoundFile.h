// A compound file: entries by number, their contents, and the transaction. docs/storage.md tells how. Internal to platform/linux.
//
//  * Opened for transactions, nothing that the committed state uses is written before Commit, and Revert gives it back.
//    Without, contents go to their place at once, tables and directory with Commit.
//  * After a Create, Open or Revert that failed, nothing but Create and Open may be called.
//  * What is only read is never written to.   * One thread at a time.   * Memory that runs out is std::bad_alloc.
//  * Errors: STG_E_DOCFILECORRUPT, STG_E_MEDIUMFULL, STG_E_READFAULT, STG_E_WRITEFAULT, STG_E_ACCESSDENIED (opened for reading),
//    STG_E_INVALIDFUNCTION (a stream where a storage is needed, or the other way), and those named below.
#pragma once

#include "Directory.h"
#include "HeaderCheck.h"
#include "MiniStream.h"
#include "StorageTree.h"

#include <unordered_map>

namespace lum
{
enum class StorageAccess { Read, Direct, Transacted };

class CompoundFile final : public StorageTree
{
public:
    explicit CompoundFile(StorageBytes& bytes) : mBytes(bytes) {}

    // Create: an empty file of version 3 (sectors of 512 bytes) or 4 (4096), committed, whatever was there before.
    HRESULT Create(WORD uwVersion, StorageAccess eAccess);
    // Open: also STG_E_INVALIDHEADER, STG_E_OLDFORMAT, STG_E_OLDDLL.
    HRESULT Open(StorageAccess eAccess);

    HRESULT Get(ULONG ulEntry, CfEntry& entry) override;
    ULONGLONG SizeOf(const CfEntry& entry) const override;
    HRESULT Find(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry) override;
    HRESULT Children(ULONG ulStorage, std::vector<ULONG>& entries) override;
    HRESULT After(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry) override;
    HRESULT SetProperties(ULONG ulEntry, const CLSID& clsid, ULONG ulState, FILETIME created, FILETIME modified) override;
    HRESULT NewEntry(EntryKind eKind, std::u16string_view sName, ULONG& ulEntry) override;
    HRESULT Link(ULONG ulStorage, ULONG ulEntry) override;
    HRESULT Unlink(ULONG ulStorage, ULONG ulEntry) override;
    HRESULT SetName(ULONG ulEntry, std::u16string_view sName) override;
    HRESULT Drop(ULONG ulEntry) override;

    // Insert: STG_E_INVALIDNAME, STG_E_FILEALREADYEXISTS.   Remove: with all that it holds; STG_E_FILENOTFOUND.
    // Move: into the same storage or another, under the same name or another; also STG_E_ACCESSDENIED for a storage into itself.
    HRESULT Insert(ULONG ulStorage, std::u16string_view sName, EntryKind eKind, ULONG& ulEntry);
    HRESULT Remove(ULONG ulStorage, std::u16string_view sName);
    HRESULT Move(ULONG ulFrom, std::u16string_view sName, ULONG ulTo, std::u16string_view sNewName);

    HRESULT Read(ULONG ulEntry, ULONGLONG ullAt, void* pTo, std::size_t ulBytes, std::size_t& ulRead) override;
    HRESULT Write(ULONG ulEntry, ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes) override;
    HRESULT Resize(ULONG ulEntry, ULONGLONG ullBytes) override;
    void Forget(ULONG ulEntry) override { mpState->streams.erase(ulEntry); }

    // Commit: when it fails, the old state is whole and the transaction goes on. Without a flush that outlives the process, but a
    //   machine that fails soon afterwards may leave neither state whole.
    HRESULT Commit(bool bFlush = true);
    HRESULT Revert();
    bool IsChanged() const; // since the last commit
    // Abandon: at the end of a transaction that is not committed. Gives back the room behind the end.
    void Abandon();
    // Renew: what was committed into the bytes is where it belongs. They are asked again what may be used of them.
    void Renew() { mpState->table.StartTransaction(); }

private:
    struct State // what is known of the file, apart from the header
    {
        State(StorageBytes& bytes, const CfHeader& header, ULONGLONG ullSize, StorageAccess eAccess);

        SectorFile file;
        SectorTable table;
        Directory directory;
        std::unique_ptr<MiniStream> pMini; // once the root's entry is known
        std::unordered_map<ULONG, Chain> streams;
    };

    HRESULT Load(ULONGLONG ullSize);
    HRESULT CheckWritable() const { return meAccess == StorageAccess::Read ? STG_E_ACCESSDENIED : S_OK; }
    HRESULT GetStream(ULONG ulEntry, const CfEntry*& pEntry);
    Chain& ChainOf(ULONG ulEntry, ULONG ulFirst);
    HRESULT SetExtent(ULONG ulEntry, ULONG ulStart, ULONGLONG ullBytes);
    HRESULT Grow(ULONG ulEntry, ULONGLONG ullBytes, ULONGLONG ullZeroTo);
    HRESULT GrowMini(ULONG ulEntry, const CfEntry& entry, ULONG ulBytes, ULONG ulZeroTo);
    HRESULT LeaveMini(ULONG ulEntry, const CfEntry& entry, ULONG ulSectors, ULONGLONG ullBytes, ULONGLONG ullZeroTo);
    HRESULT Shrink(ULONG ulEntry, ULONGLONG ullBytes);
    HRESULT EnterMini(ULONG ulEntry, const CfEntry& entry, ULONG ulBytes);
    HRESULT Gather(ULONG ulEntry, std::vector<ULONG>& entries);

    HRESULT WriteBeside(CfHeader& header, bool bFlush);
    HRESULT FlushContents();
    HRESULT FillHeader(CfHeader& header);
    HRESULT WriteHeader(const CfHeader& header, bool bFlush = true);

    StorageBytes& mBytes;
    StorageAccess meAccess = StorageAccess::Read;
    CfHeader mHeader{};       // the committed one
    ULONGLONG mullSize = 0;   // of the file, with the last commit
    bool mbHeaderUnsure = false; // a write of it failed: there may be another one in the file
    std::unique_ptr<State> mpState;
};
} // namespace lum
