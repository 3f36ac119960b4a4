// One check of a compound file under way. Internal to platform/linux.
#pragma once

#include "Directory.h"
#include "HeaderCheck.h"
#include "MiniStream.h"
#include "StorageCheck.h"

#include <unordered_map>

namespace lum
{
class StorageWalk
{
public:
    StorageWalk(StorageBytes& bytes, const CfHeader& header, ULONGLONG ullSize, std::vector<StorageFinding>& findings)
        : mHeader(header), mFile(bytes, header.uwSectorShift, ullSize), mTable(mFile, false, false),
          mDirectory(mFile, mTable, header.ulDirectory, 0), mFindings(findings)
    {
    }
    HRESULT Run();

private:
    // Who has a sector or a piece: the entry with that number, or one of these.
    static constexpr ULONG kulNobody = 0xFFFFFFFF, kulTable = 0xFFFFFFFE, kulList = 0xFFFFFFFD, kulDirectory = 0xFFFFFFFC,
                           kulMiniFat = 0xFFFFFFFB, kulMini = 0xFFFFFFFA, kulLocks = 0xFFFFFFF9;

    // A file made to hurt must not fill the memory with what is wrong with it: neither with findings nor with the paths in them.
    static constexpr std::size_t kulMostFindings = 1000, kulMostPathBytes = 1 << 20, kulMostLevels = 1000;
    bool IsFull() const { return mFindings.size() >= kulMostFindings; }
    void Find(std::string sWhere, std::string sWhat)
    {
        if (!IsFull()) mFindings.push_back({std::move(sWhere), std::move(sWhat)});
    }
    std::string NameOf(ULONG ulOwner);  // for a finding; nothing when there is no room for one
    std::string PathOf(ULONG ulEntry);  // "" when there is none, or no room for it

    void WalkTable();
    void CheckMarks(const std::vector<ULONG>& sectors, ULONG ulOwner, ULONG ulMark);
    void CheckCounts();
    bool Claim(ULONG ulSector, ULONG ulOwner);
    ULONG WalkChain(ULONG ulFirst, ULONG ulOwner);
    ULONG WalkPieces(ULONG ulFirst, ULONG ulOwner, ULONG ulMost);

    void WalkDirectory();
    void WalkTree(ULONG ulStorage);
    void CheckNode(ULONG ulEntry, const CfEntry& entry, std::u16string_view sLast);
    void WalkStream(ULONG ulEntry, const CfEntry& entry);
    ULONGLONG SizeOf(const CfEntry& entry) const { return EntrySize(entry, mHeader.uwMajor); }
    void FindLost();
    void FindTaken(const std::string& sWhat, ULONG ulNumber, ULONG ulSuch, const std::string& sWhy);

    const CfHeader& mHeader;
    SectorFile mFile;
    SectorTable mTable;
    Directory mDirectory;
    std::unique_ptr<MiniStream> mpMini;
    std::vector<StorageFinding>& mFindings;
    std::size_t mulPathBytes = 0;    // given out
    std::vector<ULONG> mOwners;      // of sectors
    std::vector<ULONG> mPieceOwners; // of mini sectors
    std::vector<bool> mSeen;         // entries
    std::unordered_map<ULONG, ULONG> mParents;
    std::vector<ULONG> mStorages;    // still to be walked
};
} // namespace lum
