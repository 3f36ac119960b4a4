#include "Chain.h"

#include <algorithm>
#include <iterator>

namespace lum
{
HRESULT Chain::Find(ULONG ulAt, Run& run)
{
    if (ulAt >= mulKnown)
    {
        const HRESULT hr = Extend(ulAt);
        if (FAILED(hr)) return hr;
    }
    if (mLast == mRuns.end() || ulAt < mLast->first || ulAt - mLast->first >= mLast->second.ulCount)
        mLast = std::prev(mRuns.upper_bound(ulAt));
    const ULONG ulInside = ulAt - mLast->first;
    run = {mLast->second.ulSector + ulInside, mLast->second.ulCount - ulInside};
    return S_OK;
}

HRESULT Chain::Length(ULONG& ulSectors)
{
    const HRESULT hr = IsWhole() ? S_OK : Extend(kulFree);
    ulSectors = mulKnown;
    return hr;
}

// Walks on to the position, or to the end for kulFree.
HRESULT Chain::Extend(ULONG ulUpTo)
{
    constexpr ULONG kulStep = 1u << 16; // walked at once
    while (mulNext != kulEndOfChain && mulKnown <= ulUpTo)
    {
        ULONG ulCount = 0, ulNext = 0;
        const ULONG ulSector = mulNext;
        HRESULT hr = mTable.Follow(ulSector, kulStep, ulCount, ulNext);
        if (FAILED(hr)) return hr;
        if (ulNext == kulFree) return STG_E_DOCFILECORRUPT;
        hr = AddRun(ulSector, ulCount);
        if (FAILED(hr)) return hr;
        mulNext = ulNext;
    }
    if (mulNext == kulEndOfChain) mVisited.clear();
    return mulKnown > ulUpTo || ulUpTo == kulFree ? S_OK : STG_E_DOCFILECORRUPT;
}

HRESULT Chain::AddRun(ULONG ulSector, ULONG ulCount)
{
    const auto after = mVisited.lower_bound(ulSector);
    if (after != mVisited.end() && after->first - ulSector < ulCount) return STG_E_DOCFILECORRUPT;
    if (after != mVisited.begin())
    {
        const auto before = std::prev(after);
        if (ulSector - before->first < before->second) return STG_E_DOCFILECORRUPT;
    }

    const auto last = mRuns.empty() ? mRuns.end() : std::prev(mRuns.end());
    if (last != mRuns.end() && last->second.ulSector + last->second.ulCount == ulSector)
    {
        mVisited[last->second.ulSector] += ulCount;
        last->second.ulCount += ulCount;
    }
    else
    {
        // In this order: when memory ends in between, the next try finds what the last one left.
        mRuns.emplace_hint(mRuns.end(), mulKnown, Run{ulSector, ulCount});
        mVisited.emplace_hint(after, ulSector, ulCount);
    }
    mulKnown += ulCount;
    return S_OK;
}

ULONG Chain::LastSector() const
{
    const Run& run = std::prev(mRuns.end())->second;
    return run.ulSector + run.ulCount - 1;
}

// Allocates so many sectors in as few pieces as may be; all or none.
HRESULT Chain::Gather(ULONG ulSectors, ULONG ulHint, std::vector<Run>& runs)
{
    while (ulSectors > 0)
    {
        Run run;
        const HRESULT hr = mTable.Allocate(ulSectors, ulHint, run.ulSector, run.ulCount);
        if (FAILED(hr))
        {
            GiveBack(runs);
            return hr;
        }
        if (!runs.empty()) mTable.Set(runs.back().ulSector + runs.back().ulCount - 1, run.ulSector);
        runs.push_back(run);
        ulSectors -= run.ulCount;
        ulHint = run.ulSector + run.ulCount;
    }
    return S_OK;
}

void Chain::GiveBack(const std::vector<Run>& runs)
{
    for (const Run& run : runs) mTable.Free(run.ulSector, run.ulCount);
}

HRESULT Chain::Append(ULONG ulSectors)
{
    ULONG ulLength = 0;
    HRESULT hr = Length(ulLength);
    if (FAILED(hr) || ulSectors == 0) return hr;
    if (ulLength > 0) hr = mTable.Touch(LastSector());
    if (FAILED(hr)) return hr;

    std::vector<Run> runs;
    hr = Gather(ulSectors, ulLength > 0 ? mTable.Align(ulLength, LastSector() + 1, ulSectors) : kulFree, runs);
    if (FAILED(hr)) return hr;
    if (ulLength > 0) mTable.Set(LastSector(), runs[0].ulSector);
    else mulFirst = runs[0].ulSector;
    for (const Run& run : runs) AddRun(run.ulSector, run.ulCount);
    mVisited.clear();
    mLast = mRuns.end();
    return S_OK;
}

HRESULT Chain::Cut(ULONG ulKeep)
{
    ULONG ulLength = 0;
    HRESULT hr = Length(ulLength);
    if (FAILED(hr) || ulKeep >= ulLength) return hr;

    const auto first = Split(ulKeep);
    for (auto i = first; i != mRuns.end(); ++i)
    {
        hr = mTable.CheckTaken(i->second.ulSector, i->second.ulCount);
        if (FAILED(hr)) return hr;
    }
    if (ulKeep > 0) hr = mTable.Touch(std::prev(first)->second.ulSector + std::prev(first)->second.ulCount - 1);
    if (FAILED(hr)) return hr;

    mLast = mRuns.end();
    for (auto i = first; i != mRuns.end(); ++i) mTable.Free(i->second.ulSector, i->second.ulCount);
    mRuns.erase(first, mRuns.end());
    mulKnown = ulKeep;
    if (ulKeep > 0) mTable.Set(LastSector(), kulEndOfChain);
    else mulFirst = kulEndOfChain;
    return S_OK;
}

// Makes a run begin at the position, which lies in one or at the end.
Chain::Runs::iterator Chain::Split(ULONG ulAt)
{
    const auto next = mRuns.upper_bound(ulAt);
    const auto run = std::prev(next);
    const ULONG ulInside = ulAt - run->first;
    if (ulInside == 0) return run;
    if (ulInside >= run->second.ulCount) return next;
    const auto second = mRuns.emplace_hint(next, ulAt, Run{run->second.ulSector + ulInside, run->second.ulCount - ulInside});
    run->second.ulCount = ulInside;
    return second;
}

HRESULT Chain::MakeFresh(ULONG ulAt, ULONG ulCount, const Fill& fill)
{
    ULONG ulLength = 0;
    HRESULT hr = Length(ulLength);
    while (SUCCEEDED(hr) && ulCount > 0)
    {
        Run run;
        hr = Find(ulAt, run);
        if (FAILED(hr)) break;
        bool bFresh = false;
        const ULONG ulHere = mTable.Alike(run.ulSector, std::min(run.ulCount, ulCount), bFresh);
        if (!bFresh) hr = Replace(ulAt, ulHere, fill);
        ulAt += ulHere;
        ulCount -= ulHere;
    }
    return hr;
}

// Puts other sectors in the place of neighbours of one run.
HRESULT Chain::Replace(ULONG ulAt, ULONG ulCount, const Fill& fill)
{
    Run before, old, after;
    HRESULT hr = Find(ulAt, old);
    if (SUCCEEDED(hr) && ulAt > 0) hr = Find(ulAt - 1, before);
    if (SUCCEEDED(hr) && ulAt + ulCount < mulKnown) hr = Find(ulAt + ulCount, after);
    if (SUCCEEDED(hr) && ulAt > 0) hr = mTable.Touch(before.ulSector);
    if (SUCCEEDED(hr)) hr = mTable.CheckTaken(old.ulSector, ulCount);
    if (FAILED(hr)) return hr;
    const ULONG ulNext = ulAt + ulCount < mulKnown ? after.ulSector : kulEndOfChain;

    std::vector<Run> runs;
    hr = Gather(ulCount, ulAt > 0 ? before.ulSector + 1 : kulFree, runs);
    if (FAILED(hr)) return hr;
    // All that can fail, or needs memory, comes before anything changes.
    Runs fresh;
    for (ULONG ulHere = ulAt; const Run& run : runs)
    {
        if (SUCCEEDED(hr) && fill) hr = fill(ulHere, run);
        fresh.emplace_hint(fresh.end(), ulHere, run);
        ulHere += run.ulCount;
    }
    if (FAILED(hr))
    {
        GiveBack(runs);
        return hr;
    }
    Split(ulAt + ulCount);
    const auto gone = Split(ulAt);
    mTable.Free(old.ulSector, ulCount);
    if (ulAt > 0) mTable.Set(before.ulSector, runs[0].ulSector);
    else mulFirst = runs[0].ulSector;
    mTable.Set(runs.back().ulSector + runs.back().ulCount - 1, ulNext);
    mRuns.erase(gone);
    mRuns.merge(fresh);
    mLast = mRuns.end();
    return S_OK;
}
} // namespace lum
