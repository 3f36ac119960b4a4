// Comparisons whose every call is kept, and the sort's steps as they are told, to hold OSort against.
#pragma once

#include "OSort.h"

#include <algorithm>
#include <functional>
#include <random>
#include <utility>
#include <vector>

using Numbers = std::vector<ULONG>;

inline Numbers Contents(const CDWordArray& list) { return Numbers(list.GetData(), list.GetData() + list.GetSize()); }

inline void Fill(CDWordArray& list, const Numbers& numbers)
{
    for (ULONG ul : numbers) list.Add(ul);
}

using Answer = std::function<int(ULONG, ULONG)>;

struct Stop
{
};

// What was asked, and what came of it.
struct Outcome
{
    std::vector<std::pair<ULONG, ULONG>> comparisons;
    Numbers list;
    bool bStopped = false;
    bool operator==(const Outcome&) const = default;
};

// Asks an Answer, keeps what was asked, and throws at one of the comparisons.
class Asked : public OBase
{
public:
    explicit Asked(Answer answer, std::size_t ulStopAt = static_cast<std::size_t>(-1))
        : mAnswer(std::move(answer)), mulStopAt(ulStopAt)
    {
    }
    int Compare(ULONG i, ULONG j, void*, void*, ULONG)
    {
        mComparisons.emplace_back(i, j);
        if (mComparisons.size() - 1 == mulStopAt) throw Stop{};
        return mAnswer(i, j);
    }
    std::vector<std::pair<ULONG, ULONG>> mComparisons;

private:
    Answer mAnswer;
    std::size_t mulStopAt;
};
inline const OSortComparison kCompare = static_cast<OSortComparison>(&Asked::Compare);

// The sort's steps as they are told, on a row in which everything behind an insertion moves.
class PlainSort
{
public:
    PlainSort(Asked& asked, Numbers& list, ULONG ulCount) : mAsked(asked), mList(list), mulCount(ulCount) {}

    void Sort(bool bReverse)
    {
        if (mulCount == 1)
        {
            mList.push_back(0);
            return;
        }
        ShuffleSort();
        if (bReverse) Reverse();
    }

private:
    int Compare(ULONG i, ULONG j) { return mAsked.Compare(i, j, nullptr, nullptr, 0); }
    void InsertAt(ULONG ulPosition, ULONG k) { mList.insert(mList.begin() + static_cast<std::ptrdiff_t>(ulPosition), k); }

    void ShuffleSort()
    {
        mList.push_back(0);
        if (Compare(1, 0) > 0)
            InsertAt(0, 1);
        else
            mList.push_back(1);
        if (mulCount == 2) return;
        Place(2, mList[0], mList[1], [] { return 1u; });
        for (ULONG k = 3; k < mulCount; ++k) Place(k, mList[0], mList[k - 1], [this, k] { return Shuffle(k); });
    }
    template <class Position>
    void Place(ULONG k, ULONG ulFirst, ULONG ulLast, Position position)
    {
        if (Compare(k, ulFirst) > 0)
            InsertAt(0, k);
        else if (Compare(ulLast, k) > 0)
            mList.push_back(k);
        else
            InsertAt(position(), k);
    }
    ULONG Shuffle(ULONG k)
    {
        ULONG lo = 1;
        ULONG hi = k - 1;
        while (lo < hi)
        {
            if (hi - lo == 1) return Compare(mList[lo], k) > 0 ? hi : lo;
            const ULONG mid = (lo + hi) / 2;
            if (Compare(mList[mid - 1], k) > 0)
                lo = mid;
            else
                hi = mid - 1;
        }
        return lo;
    }
    void Reverse()
    {
        const Numbers turned(mList.rend() - static_cast<std::ptrdiff_t>(mulCount), mList.rend());
        std::copy(turned.begin(), turned.end(), mList.begin());
    }

    Asked& mAsked;
    Numbers& mList;
    const ULONG mulCount;
};

inline constexpr std::size_t kulNever = static_cast<std::size_t>(-1);

struct Case
{
    ULONG ulCount;
    std::function<Answer()> answers; // each run gets its own
    bool bReverse = true;
    Numbers given = {};
    std::size_t ulStopAt = kulNever;
};

inline Outcome Told(const Case& c)
{
    Asked asked(c.answers(), c.ulStopAt);
    Outcome outcome;
    outcome.list = c.given;
    try
    {
        PlainSort(asked, outcome.list, c.ulCount).Sort(c.bReverse);
    }
    catch (const Stop&)
    {
        outcome.bStopped = true;
    }
    outcome.comparisons = asked.mComparisons;
    return outcome;
}

inline Outcome Done(const Case& c)
{
    Asked asked(c.answers(), c.ulStopAt);
    Outcome outcome;
    CDWordArray list;
    Fill(list, c.given);
    try
    {
        OSort(&asked, kCompare, &list, c.ulCount, c.bReverse, nullptr, nullptr, 0).Sort(0, nullptr);
    }
    catch (const Stop&)
    {
        outcome.bStopped = true;
    }
    outcome.list = Contents(list);
    outcome.comparisons = asked.mComparisons;
    return outcome;
}

// Answers -----------------------------------------------------------------------------------------------------------------------

inline int Sign(ULONG i, ULONG j) { return i > j ? 1 : i < j ? -1 : 0; }

// By a value of each item.
inline std::function<Answer()> By(const std::function<ULONG(ULONG)>& value)
{
    return [value] { return [value](ULONG i, ULONG j) { return Sign(value(i), value(j)); }; };
}

inline ULONG Scattered(ULONG ul) // a permutation of all numbers
{
    ul = (ul ^ ul >> 16) * 0x7FEB352D;
    ul = (ul ^ ul >> 15) * 0x846CA68B;
    return ul ^ ul >> 16;
}
