// A chain of sectors, found by position through an index in runs. Internal to platform/linux.
//
//  * Reading builds the index as far as it is asked for; changing needs all of it, so no change starts on a damaged chain.
//  * A chain that comes back to one of its sectors, or leads to a free one, is STG_E_DOCFILECORRUPT.
//  * A change that fails leaves the chain as it was.
#pragma once

#include "SectorTable.h"

#include <functional>

namespace lum
{
class Chain
{
public:
    Chain(SectorTable& table, ULONG ulFirst) : mTable(table), mulNext(ulFirst), mulFirst(ulFirst) {}
    Chain(const Chain&) = delete;
    Chain& operator=(const Chain&) = delete;

    ULONG First() const { return mulFirst; } // kulEndOfChain when there is none

    struct Run
    {
        ULONG ulSector = 0;
        ULONG ulCount = 0;
    };
    // Find: the sector at that position, and how many positions on it goes on in the file.
    HRESULT Find(ULONG ulAt, Run& run);
    HRESULT Length(ULONG& ulSectors);
    bool IsWhole() const { return mulNext == kulEndOfChain; } // its length is known

    HRESULT Append(ULONG ulSectors); // their contents are anything
    HRESULT Cut(ULONG ulKeep);

    // MakeFresh: gives all of these positions fresh sectors. Where they are others, fill writes them, a run at a time with its
    //   position, before they take the place; without it, the contents are lost.
    using Fill = std::function<HRESULT(ULONG ulAt, const Run& run)>;
    HRESULT MakeFresh(ULONG ulAt, ULONG ulCount, const Fill& fill = {});

private:
    using Runs = std::map<ULONG, Run>;

    HRESULT Extend(ULONG ulUpTo);
    HRESULT AddRun(ULONG ulSector, ULONG ulCount);
    HRESULT Gather(ULONG ulSectors, ULONG ulHint, std::vector<Run>& runs);
    void GiveBack(const std::vector<Run>& runs);
    HRESULT Replace(ULONG ulAt, ULONG ulCount, const Fill& fill);
    Runs::iterator Split(ULONG ulAt);
    ULONG LastSector() const;

    SectorTable& mTable;
    Runs mRuns;                      // by position, without gaps from 0 on
    std::map<ULONG, ULONG> mVisited; // sectors of the runs, with how many; until the whole chain is known
    ULONG mulKnown = 0;              // positions in the index
    ULONG mulNext;                   // what follows them
    ULONG mulFirst;
    Runs::iterator mLast = mRuns.end(); // found last
};
} // namespace lum
