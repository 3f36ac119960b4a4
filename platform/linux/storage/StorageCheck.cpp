// The sectors of the walk: table, chains, and what belongs to nobody.
#include "StorageWalk.h"

#include <algorithm>

namespace lum
{
HRESULT CheckStorage(StorageBytes& bytes, std::vector<StorageFinding>& findings)
{
    CfHeader header;
    ULONGLONG ullSize = 0;
    HRESULT hr = bytes.Size(ullSize);
    if (SUCCEEDED(hr)) hr = ReadHeader(bytes, header);
    if (SUCCEEDED(hr)) hr = CheckHeader(header);
    return SUCCEEDED(hr) ? StorageWalk(bytes, header, ullSize, findings).Run() : hr;
}

HRESULT StorageWalk::Run()
{
    const HRESULT hr = mTable.Open(mHeader);
    if (FAILED(hr)) return hr;
    mOwners.assign(mTable.Sectors(), kulNobody);
    WalkTable();
    WalkDirectory();
    CheckCounts();
    FindLost();
    return S_OK;
}

void StorageWalk::WalkTable()
{
    CheckMarks(mTable.Places(), kulTable, kulFatSector);
    CheckMarks(mTable.Difat(), kulList, kulDifatSector);
    if (mHeader.ulDifatSectors != mTable.Difat().size())
        Find("header", "counts " + std::to_string(mHeader.ulDifatSectors) + " sectors of the DIFAT, the FAT needs " +
                           std::to_string(mTable.Difat().size()));
    if (mTable.LockSector() < mOwners.size()) Claim(mTable.LockSector(), kulLocks);
}

void StorageWalk::CheckMarks(const std::vector<ULONG>& sectors, ULONG ulOwner, ULONG ulMark)
{
    for (ULONG ulSector : sectors)
    {
        ULONG ulNext = 0;
        if (!Claim(ulSector, ulOwner)) continue;
        if (SUCCEEDED(mTable.Get(ulSector, ulNext)) && ulNext != ulMark)
            Find("sector " + std::to_string(ulSector), "is part of the " + NameOf(ulOwner) + " and not marked so");
    }
}

bool StorageWalk::Claim(ULONG ulSector, ULONG ulOwner)
{
    if (ulSector >= mOwners.size())
    {
        Find(NameOf(ulOwner), "leads to sector " + std::to_string(ulSector) + ", the file has " + std::to_string(mOwners.size()));
        return false;
    }
    if (mOwners[ulSector] == ulOwner)
        Find(NameOf(ulOwner), "comes back to sector " + std::to_string(ulSector));
    else if (mOwners[ulSector] != kulNobody)
        Find(NameOf(ulOwner), "shares sector " + std::to_string(ulSector) + " with the " + NameOf(mOwners[ulSector]));
    else
    {
        mOwners[ulSector] = ulOwner;
        return true;
    }
    return false;
}

// The length of a chain, as far as it is one.
ULONG StorageWalk::WalkChain(ULONG ulFirst, ULONG ulOwner)
{
    ULONG ulLength = 0;
    for (ULONG ulSector = ulFirst; ulSector != kulEndOfChain; ++ulLength)
    {
        ULONG ulNext = 0;
        if (!Claim(ulSector, ulOwner)) break;
        if (FAILED(mTable.Get(ulSector, ulNext)))
        {
            Find(NameOf(ulOwner), "cannot be followed from sector " + std::to_string(ulSector));
            break;
        }
        if (ulNext == kulFree) Find(NameOf(ulOwner), "has sector " + std::to_string(ulSector) + ", which is free");
        if (ulNext == kulFree) break;
        ulSector = ulNext;
    }
    return ulLength;
}

ULONG StorageWalk::WalkPieces(ULONG ulFirst, ULONG ulOwner, ULONG ulMost)
{
    ULONG ulLength = 0;
    for (ULONG ulPiece = ulFirst; ulPiece != kulEndOfChain; ++ulLength)
    {
        ULONG ulNext = 0;
        if (ulPiece >= mPieceOwners.size() || FAILED(mpMini->Next(ulPiece, ulNext)) || ulNext == kulFree)
            Find(NameOf(ulOwner), "leads to mini sector " + std::to_string(ulPiece) + ", which is none or free");
        else if (mPieceOwners[ulPiece] == ulOwner)
            Find(NameOf(ulOwner), "comes back to mini sector " + std::to_string(ulPiece));
        else if (mPieceOwners[ulPiece] != kulNobody)
            Find(NameOf(ulOwner), "shares mini sector " + std::to_string(ulPiece) + " with the " + NameOf(mPieceOwners[ulPiece]));
        else if (ulLength == ulMost)
            Find(NameOf(ulOwner), "has more mini sectors than it needs");
        else
        {
            mPieceOwners[ulPiece] = ulOwner;
            ulPiece = ulNext;
            continue;
        }
        break;
    }
    return ulLength;
}

void StorageWalk::CheckCounts()
{
    ULONG ulDirectory = 0, ulMiniFat = 0;
    for (ULONG ulOwner : mOwners)
    {
        ulDirectory += ulOwner == kulDirectory;
        ulMiniFat += ulOwner == kulMiniFat;
    }
    if (mHeader.ulDirectorySectors != (mHeader.uwMajor == 3 ? 0 : ulDirectory))
        Find("header", "counts " + std::to_string(mHeader.ulDirectorySectors) + " sectors of the directory, there are " +
                           std::to_string(ulDirectory));
    if (mHeader.ulMiniFatSectors != ulMiniFat)
        Find("header", "counts " + std::to_string(mHeader.ulMiniFatSectors) + " sectors of the mini FAT, there are " +
                           std::to_string(ulMiniFat));
}

// Tells of what is taken and should not be: of so many, the last one that was looked at.
void StorageWalk::FindTaken(const std::string& sWhat, ULONG ulNumber, ULONG ulSuch, const std::string& sWhy)
{
    if (ulSuch > 0)
        Find(sWhat + " " + std::to_string(ulNumber), "is taken and " + sWhy + "; there are " + std::to_string(ulSuch) + " such");
}

void StorageWalk::FindLost()
{
    const ULONG ulSectors = std::min(mTable.Sectors(), mTable.Entries());
    ULONG ulLost = 0, ulFirst = 0, ulNext = 0;
    for (ULONG i = mTable.Entries(); i-- > ulSectors;)
    {
        if (i == mTable.LockSector() || FAILED(mTable.Get(i, ulNext)) || ulNext == kulFree) continue;
        ++ulLost;
        ulFirst = i;
    }
    FindTaken("sector", ulFirst, ulLost, "lies behind the end of the file");

    ulLost = 0;
    for (ULONG i = ulSectors; i-- > 0;)
    {
        if (mOwners[i] != kulNobody || FAILED(mTable.Get(i, ulNext)) || ulNext == kulFree) continue;
        ++ulLost;
        ulFirst = i;
    }
    FindTaken("sector", ulFirst, ulLost, "belongs to nobody");

    ulLost = 0;
    for (ULONG i = static_cast<ULONG>(mPieceOwners.size()); i-- > 0;)
    {
        if (mPieceOwners[i] != kulNobody || FAILED(mpMini->Next(i, ulNext)) || ulNext == kulFree) continue;
        ++ulLost;
        ulFirst = i;
    }
    FindTaken("mini sector", ulFirst, ulLost, "belongs to nobody");
}
} // namespace lum
