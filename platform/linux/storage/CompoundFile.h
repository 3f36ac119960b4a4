// A compound file: entries by number, their contents, and the transaction. docs/storage.md tells how. Internal to platform/linux.
//
//  * Opened for transactions, nothing that the committed state uses is written before Commit, and Revert gives it back.
//    Without, contents go to their place at once, tables and directory with Commit.
//  * After a Create, Open or Revert that failed, nothing but Create and Open may be called. When memory runs out in a
//    Revert, all is still there, and it may be tried again.
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
    ULONGLONG SizeOf(const CfEntry& entry) const override { return EntrySize(entry, mHeader.uwMajor); }
    HRESULT Find(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry) override;
    HRESULT Children(ULONG ulStorage, std::vector<ULONG>& entries) override;
    HRESULT After(ULONG ulStorage, std::u16string_view sName, ULONG& ulEntry) override;
    HRESULT Count(ULONGLONG& ullEntries) override;
    HRESULT SetProperties(ULONG ulEntry, const CLSID& clsid, ULONG ulState, FILETIME created, FILETIME modified) override;
    HRESULT NewEntry(EntryKind eKind, std::u16string_view sName, ULONG& ulEntry) override;
    HRESULT Link(ULONG ulStorage, ULONG ulEntry) override;
    HRESULT Unlink(ULONG ulStorage, ULONG ulEntry) override;
    HRESULT SetName(ULONG ulEntry, std::u16string_view sName) override;
    HRESULT CheckDrop(ULONG ulEntry) override;
    HRESULT Drop(ULONG ulEntry) override;

    // Empty: drops all that a storage holds. When it cannot list it, it leaves it as it is.
    HRESULT Empty(ULONG ulStorage);

    HRESULT Read(ULONG ulEntry, ULONGLONG ullAt, void* pTo, std::size_t ulBytes, std::size_t& ulRead) override;
    HRESULT Write(ULONG ulEntry, ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes,
                  std::size_t* pulWritten = nullptr) override;
    HRESULT Resize(ULONG ulEntry, ULONGLONG ullBytes) override;
    void Forget(ULONG ulEntry) override { mpState->streams.erase(ulEntry); }

    // Commit: when it fails, the file has the old state, and the transaction goes on. When nobody can know any more what is on the
    //   disk, all that would write says why, by the same code, until Revert (without transactions: for good).
    //   Without a flush that outlives the process, but a machine that fails soon afterwards may leave neither state whole.
    HRESULT Commit(bool bFlush = true);
    HRESULT Revert();
    // RevertTo: to a state that was the last one committed before. Of what it uses, nothing may have been used again.
    struct Committed
    {
        CfHeader header;
        ULONGLONG ullSize;
    };
    Committed Last() const { return {mHeader, mullSize}; }
    HRESULT RevertTo(const Committed& state);
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

    void Begin(StorageAccess eAccess);
    HRESULT Load(const CfHeader& header, ULONGLONG ullSize, std::unique_ptr<State>& pState) const;
    HRESULT CheckWritable() const { return meAccess == StorageAccess::Read ? STG_E_ACCESSDENIED : mhrLost; }
    HRESULT GetStream(ULONG ulEntry, const CfEntry*& pEntry);
    HRESULT Follow(ULONG ulEntry);
    Chain& ChainOf(ULONG ulEntry, ULONG ulFirst);
    HRESULT SetExtent(ULONG ulEntry, ULONG ulStart, ULONGLONG ullBytes);
    struct NewBytes // of a stream, from a place on; none when it only gets longer
    {
        ULONGLONG ullAt;
        const void* pFrom;
        std::size_t ulBytes;
        std::size_t ulDone = 0; // so many are there already
    };
    HRESULT WriteInside(ULONG ulEntry, const CfEntry& entry, NewBytes& bytes);
    HRESULT Grow(ULONG ulEntry, const CfEntry& entry, ULONGLONG ullBytes, NewBytes& bytes);
    HRESULT GrowMini(ULONG ulEntry, const CfEntry& entry, ULONG ulBytes, NewBytes& bytes);
    HRESULT LeaveMini(ULONG ulEntry, const CfEntry& entry, ULONG ulSectors, ULONGLONG ullBytes, NewBytes& bytes);
    HRESULT Shrink(ULONG ulEntry, ULONGLONG ullBytes);
    HRESULT EnterMini(ULONG ulEntry, const CfEntry& entry, ULONG ulBytes);
    HRESULT Gather(ULONG ulEntry, std::vector<ULONG>& entries);
    HRESULT DropEach(const std::vector<ULONG>& entries);

    HRESULT WriteBeside(CfHeader& header, bool bFlush);
    HRESULT FlushContents();
    HRESULT FillHeader(CfHeader& header);
    HRESULT WriteHeader(const CfHeader& header, bool bFlush = true);
    HRESULT Flush();

    StorageBytes& mBytes;
    StorageAccess meAccess = StorageAccess::Read;
    CfHeader mHeader{};       // the committed one
    ULONGLONG mullSize = 0;   // of the file, with the last commit
    bool mbHeaderUnsure = false; // a write of it failed: there may be another one in the file
    bool mbUnflushed = false;    // the last commit was not to wait for the disk
    HRESULT mhrLost = S_OK;      // why nobody knows what is on the disk
    std::unique_ptr<State> mpState;
};
} // namespace lum
