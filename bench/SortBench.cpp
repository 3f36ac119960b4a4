// The sort of indexes beside std::sort over an array of them, both through the same pointer to a comparison.
#include "OSort.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

namespace
{
enum Kind
{
    InNoOrder,
    InOrder,
    InReverse
};

// Numbers, as measured values are. Each state of a benchmark gets the same ones.
class Values : public OBase
{
public:
    Values(std::size_t ulCount, Kind kind) : mValues(ulCount)
    {
        std::iota(mValues.begin(), mValues.end(), 0.5);
        if (kind == InReverse) std::reverse(mValues.begin(), mValues.end());
        if (kind == InNoOrder) std::shuffle(mValues.begin(), mValues.end(), std::mt19937(7));
    }
    int Compare(ULONG i, ULONG j, void*, void*, ULONG)
    {
        const double dI = mValues[i];
        const double dJ = mValues[j];
        return dI > dJ ? 1 : dI < dJ ? -1 : 0;
    }
    // The same, and how often.
    int CompareAndCount(ULONG i, ULONG j, void* pFirst, void* pSecond, ULONG ulThird)
    {
        ++mulComparisons;
        return Compare(i, j, pFirst, pSecond, ulThird);
    }
    std::uint64_t mulComparisons = 0;

private:
    std::vector<double> mValues;
};
const OSortComparison kCompare = static_cast<OSortComparison>(&Values::Compare);

void PerItem(benchmark::State& state, ULONG ulCount)
{
    state.counters["PerItem"] =
        benchmark::Counter(ulCount, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void Sort(benchmark::State& state, Kind kind)
{
    const ULONG ulCount = static_cast<ULONG>(state.range(0));
    Values values(ulCount, kind);
    for (auto _ : state)
    {
        CDWordArray list;
        OSort(&values, kCompare, &list, ulCount, 1, nullptr, nullptr, 0).Sort(0, nullptr);
        benchmark::DoNotOptimize(list.GetData());
    }
    PerItem(state, ulCount);
    CDWordArray list;
    OSort(&values, static_cast<OSortComparison>(&Values::CompareAndCount), &list, ulCount, 1, nullptr, nullptr, 0).Sort(0, nullptr);
    state.counters["Comparisons"] = static_cast<double>(values.mulComparisons) / ulCount;
}

void StdSort(benchmark::State& state, Kind kind)
{
    const ULONG ulCount = static_cast<ULONG>(state.range(0));
    Values values(ulCount, kind);
    OBase* pBase = &values;
    OSortComparison pFn = kCompare;
    benchmark::DoNotOptimize(pFn); // known at run time only, as it is to OSort
    for (auto _ : state)
    {
        std::vector<ULONG> list(ulCount);
        std::iota(list.begin(), list.end(), 0u);
        std::sort(list.begin(), list.end(),
                  [pBase, pFn](ULONG i, ULONG j) { return (pBase->*pFn)(i, j, nullptr, nullptr, 0) < 0; });
        benchmark::DoNotOptimize(list.data());
    }
    PerItem(state, ulCount);
}

// The comparisons alone: as many bisections in a flat row that is there from the start, as long as the growing one is on average.
// About the least that a sort takes which asks for these comparisons one after another.
void BisectAlone(benchmark::State& state)
{
    const ULONG ulCount = static_cast<ULONG>(state.range(0));
    Values values(ulCount, InNoOrder);
    CDWordArray list;
    OSort(&values, kCompare, &list, ulCount / 2, 0, nullptr, nullptr, 0).Sort(0, nullptr);
    OBase* pBase = &values;
    OSortComparison pFn = kCompare;
    benchmark::DoNotOptimize(pFn);
    for (auto _ : state)
    {
        for (ULONG k = 0; k < ulCount; ++k)
        {
            ULONG ulLow = 1;
            ULONG ulHigh = ulCount / 2 - 1;
            while (ulLow < ulHigh)
            {
                const ULONG ulMid = (ulLow + ulHigh) / 2;
                if ((pBase->*pFn)(list[static_cast<int>(ulMid - 1)], k, nullptr, nullptr, 0) > 0)
                {
                    asm volatile(""); // a branch, as in the sort
                    ulLow = ulMid + (ulHigh - ulLow == 1);
                }
                else
                {
                    asm volatile("");
                    ulHigh = ulMid - 1;
                }
            }
            benchmark::DoNotOptimize(ulLow);
        }
    }
    PerItem(state, ulCount);
}

#define SORT_BENCHMARK(kind) BENCHMARK_CAPTURE(Sort, kind, kind)->Arg(1'000'000)->Unit(benchmark::kMillisecond)
#define STD_SORT_BENCHMARK(kind) BENCHMARK_CAPTURE(StdSort, kind, kind)->Arg(1'000'000)->Unit(benchmark::kMillisecond)
SORT_BENCHMARK(InNoOrder)->Arg(100)->Arg(10'000);
STD_SORT_BENCHMARK(InNoOrder)->Arg(100)->Arg(10'000);
BENCHMARK(BisectAlone)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
SORT_BENCHMARK(InOrder);
STD_SORT_BENCHMARK(InOrder);
SORT_BENCHMARK(InReverse);
STD_SORT_BENCHMARK(InReverse);
} // namespace
