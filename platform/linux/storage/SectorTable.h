// The sector table (FAT) of a compound file, and the list of where it lies (DIFAT). Internal to platform/linux.
//
//  * A sector is fresh when the committed state does not use it; only fresh ones may be written. Without transactions all are.
//  * What is freed while it is not fresh is not allocated before the commit. While others read older states, nothing is that
//    was there when the transaction began.
//  * Parts of the table are loaded as they are needed, and stay. Who changes a link touches it first: then Set cannot fail.
//  * Errors: STG_E_DOCFILECORRUPT for what cannot be true, STG_E_MEDIUMFULL at the limit, and those of StorageBytes.
#pragma once

#include "FreePages.h"
#include "SectorFile.h"

#include <memory>

namespace lum
{
class SectorTable
{
public:
    SectorTable(SectorFile& file, bool bWritable, bool bTransacted);

    // Open: reads the list of places. A header of a new file has none.
    HRESULT Open(const CfHeader& header);

    // Sectors: those of the file, and those allocated behind its end.
    ULONG Sectors() const { return mulSectors; }
    ULONG Limit() const { return mulUsable; } // nobody is given one with this number or a higher one

    // Follow: how many sectors, from one on, are each followed by their neighbour, and what the last one is followed by.
    HRESULT Follow(ULONG ulSector, ULONG ulMost, ULONG& ulCount, ULONG& ulNext);

    HRESULT Touch(ULONG ulSector);
    void Set(ULONG ulSector, ULONG ulNext);

    // Allocate: some sectors in a row, at most so many, linked and ended; those at the hint when they are to be had.
    HRESULT Allocate(ULONG ulMost, ULONG ulHint, ULONG& ulFirst, ULONG& ulCount);
    // Align: the sector at which a chain of that length, which that one follows, should go on by some more. A long one at the
    //   file's end goes on where its pieces of 64 KiB are such pieces of the file: to write them costs the system a third less.
    ULONG Align(ULONG ulLength, ULONG ulNext, ULONG ulMore);
    // CheckTaken: touches them, and whether none is free already.
    HRESULT CheckTaken(ULONG ulFirst, ULONG ulCount);
    void Free(ULONG ulFirst, ULONG ulCount);

    // Alike: how many sectors from one on, at most so many, are fresh, or not fresh, as that one is.
    ULONG Alike(ULONG ulFirst, ULONG ulMost, bool& bFresh) const;
    bool IsFresh(ULONG ulSector) const;

    // StartTransaction: asks the bytes whether what is free may be used again.
    void StartTransaction();

    // SetReserve: whether the last sectors of a file of version 3 may be allocated. They are kept for commits, so that what found
    //   room can be committed too.
    void SetReserve(bool bUse);

    // Place: gives every changed part of the table a place that is fresh.   Write: writes them there.
    // Fill: what the header says of the table.   Committed: the state written is the committed one.
    HRESULT Place();
    HRESULT Write();
    void Fill(CfHeader& header) const;
    void Committed();
    bool IsChanged() const { return !mDirty.empty(); }

    // For those who check: the sector of the locks, the places of the table's sectors, and the sectors of the list.
    ULONG LockSector() const { return mulLockSector; }
    const std::vector<ULONG>& Places() const { return mPlaces; }
    const std::vector<ULONG>& Difat() const { return mDifat; }
    HRESULT Get(ULONG ulSector, ULONG& ulNext); // also behind the end of the file
    ULONG Entries() const { return static_cast<ULONG>(mPlaces.size()) << mulPageShift; }

private:
    static constexpr ULONG kulGroupEntries = 16384;
    static constexpr std::size_t kulReadBytes = 16384;
    // Two tables of the largest file, the old and the new one, and what is held in memory of directory and mini stream.
    static constexpr ULONG kulReserve = 0x20000;
    static constexpr BYTE kubLoaded = 1, kubDirty = 2;

    struct Group // not initialised: parts that nobody looks at cost nothing
    {
        ULONG aulNext[kulGroupEntries];
        std::uint64_t aullUsed[kulGroupEntries / 64]; // by the committed state; of dirty pages alone
    };

    ULONG PageEntries() const { return 1u << mulPageShift; }
    ULONG PageOf(ULONG ulSector) const { return ulSector >> mulPageShift; }
    ULONG& Entry(ULONG ulSector) const { return mGroups[ulSector / kulGroupEntries]->aulNext[ulSector % kulGroupEntries]; }
    bool IsUsed(ULONG ulSector) const;
    bool IsAvailable(ULONG ulSector) const;
    HRESULT Load(ULONG ulPage);
    HRESULT ReadDifat(const CfHeader& header);
    ULONG FirstFree(ULONG ulPage) const;
    void NoteFree(ULONG ulPage);
    void MarkOwn(ULONG ulFirst, ULONG ulCount);
    void MakeDirty(ULONG ulPage);

    HRESULT Grow(ULONG ulEntries);
    HRESULT FindFree(ULONG ulWanted, ULONG& ulSector);
    HRESULT Take(ULONG ulSector, ULONG ulMost, ULONG& ulFirst, ULONG& ulCount);
    HRESULT KeepLockSector();

    HRESULT PlaceOne(ULONG& ulPlace, ULONG ulMark, ULONG& ulHint);
    HRESULT PlaceDifat(ULONG& ulHint);
    HRESULT WriteDifat();

    SectorFile& mFile;
    const bool mbWritable, mbTransacted;
    const ULONG mulPageShift;
    const ULONG mulLockSector;
    const ULONG mulLimit; // no sector has this number or a higher one; entries of whole pages still fit 32 bits
    ULONG mulUsable; // the same for an allocation now
    ULONG mulSectors = 0;
    ULONG mulKept = 0; // no sector below this one is allocated in this transaction: an older state may need it
    bool mbLockKept = false;
    std::vector<std::unique_ptr<Group>> mGroups;
    std::vector<ULONG> mPlaces; // of the pages, kulFree for one that has none yet
    std::vector<BYTE> mState;
    std::vector<ULONG> mDirty;
    std::vector<ULONG> mDifat;
    ULONG mulDifatDirty = 0; // that many of them, from the first on
    FreePages mFree;
};
} // namespace lum
