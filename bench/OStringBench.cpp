// OString beside QString, std::u16string and a bare atomic counter: what a program that passes texts about does most.
#include "OString.h"

#include <QString>
#include <benchmark/benchmark.h>

#include <atomic>
#include <string>

namespace
{
std::u16string Sample(int iUnits)
{
    std::u16string sText;
    for (int i = 0; i < iUnits; ++i) sText += static_cast<char16_t>(u'a' + i * 7 % 23);
    return sText;
}

// One maker for each kind of text, so that a case is written once for all of them.
struct LumText
{
    using Text = OString;
    static Text Make(const std::u16string& s) { return OString(s.c_str()); }
    static void Append(Text& sText, const Text& sTail) { sText += sTail; }
    static bool Equal(const Text& a, const Text& b) { return a == b; }
    static int Compare(const Text& a, const Text& b) { return a.Compare(b); }
    static long Find(const Text& a, const Text& b) { return a.Find(static_cast<const unsigned short*>(b)); }
    static void Reserve(Text& sText, int iUnits) { sText.GetBuffer(iUnits); }
};

struct QtText
{
    using Text = QString;
    static Text Make(const std::u16string& s) { return QString::fromStdU16String(s); }
    static void Append(Text& sText, const Text& sTail) { sText.append(sTail); }
    static bool Equal(const Text& a, const Text& b) { return a == b; }
    static int Compare(const Text& a, const Text& b) { return a.compare(b); }
    static long Find(const Text& a, const Text& b) { return a.indexOf(b); }
    static void Reserve(Text& sText, int iUnits) { sText.reserve(iUnits); }
};

struct StdText
{
    using Text = std::u16string;
    static Text Make(const std::u16string& s) { return s; }
    static void Append(Text& sText, const Text& sTail) { sText.append(sTail); }
    static bool Equal(const Text& a, const Text& b) { return a == b; }
    static int Compare(const Text& a, const Text& b) { return a.compare(b); }
    static long Find(const Text& a, const Text& b) { return static_cast<long>(a.find(b)); }
    static void Reserve(Text& sText, int iUnits) { sText.reserve(static_cast<std::size_t>(iUnits)); }
};

template <class Kind>
void Copy(benchmark::State& state)
{
    const auto sText = Kind::Make(Sample(static_cast<int>(state.range(0))));
    for (auto _ : state)
    {
        auto sCopy = sText;
        benchmark::DoNotOptimize(sCopy);
    }
}

// What a shared copy cannot do without.
void AtomicIncrementAndDecrement(benchmark::State& state)
{
    std::atomic<int> iCount{1};
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(iCount.fetch_add(1));
        benchmark::DoNotOptimize(iCount.fetch_sub(1));
    }
}

// 20 units behind a text that has no room for them.
template <class Kind>
void AppendToACopy(benchmark::State& state)
{
    const auto sText = Kind::Make(Sample(static_cast<int>(state.range(0))));
    const auto sTail = Kind::Make(Sample(20));
    for (auto _ : state)
    {
        auto sCopy = sText;
        Kind::Append(sCopy, sTail);
        benchmark::DoNotOptimize(sCopy);
    }
}

// 500 times 20 units behind a text with room for all of them.
template <class Kind>
void AppendWithinRoom(benchmark::State& state)
{
    const auto sTail = Kind::Make(Sample(20));
    for (auto _ : state)
    {
        typename Kind::Text sText;
        Kind::Reserve(sText, 10000);
        for (int i = 0; i < 500; ++i) Kind::Append(sText, sTail);
        benchmark::DoNotOptimize(sText);
    }
}

template <class Kind>
void CompareEqualTexts(benchmark::State& state)
{
    const auto sLeft = Kind::Make(Sample(static_cast<int>(state.range(0))));
    const auto sRight = Kind::Make(Sample(static_cast<int>(state.range(0))));
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(sLeft);
        benchmark::DoNotOptimize(Kind::Compare(sLeft, sRight));
    }
}

template <class Kind>
void AskForEquality(benchmark::State& state)
{
    const auto sLeft = Kind::Make(Sample(static_cast<int>(state.range(0))));
    const auto sRight = Kind::Make(Sample(static_cast<int>(state.range(0))));
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(sLeft);
        benchmark::DoNotOptimize(Kind::Equal(sLeft, sRight));
    }
}

// 10 units at the end of 10,000 whose first units are met all the way.
template <class Kind>
void FindTenInTenThousand(benchmark::State& state)
{
    const auto sText = Kind::Make(Sample(9990) + u"aaTARGETzz");
    const auto sTarget = Kind::Make(u"aaTARGETzz");
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(sText);
        benchmark::DoNotOptimize(Kind::Find(sText, sTarget));
    }
}
} // namespace

BENCHMARK(AtomicIncrementAndDecrement);
BENCHMARK(Copy<LumText>)->Arg(20)->Arg(10000);
BENCHMARK(Copy<QtText>)->Arg(20)->Arg(10000);
BENCHMARK(Copy<StdText>)->Arg(20)->Arg(10000);
BENCHMARK(AppendToACopy<LumText>)->Arg(20)->Arg(10000);
BENCHMARK(AppendToACopy<QtText>)->Arg(20)->Arg(10000);
BENCHMARK(AppendToACopy<StdText>)->Arg(20)->Arg(10000);
BENCHMARK(AppendWithinRoom<LumText>);
BENCHMARK(AppendWithinRoom<QtText>);
BENCHMARK(AppendWithinRoom<StdText>);
BENCHMARK(CompareEqualTexts<LumText>)->Arg(20)->Arg(10000);
BENCHMARK(CompareEqualTexts<QtText>)->Arg(20)->Arg(10000);
BENCHMARK(CompareEqualTexts<StdText>)->Arg(20)->Arg(10000);
BENCHMARK(AskForEquality<LumText>)->Arg(20)->Arg(10000);
BENCHMARK(AskForEquality<QtText>)->Arg(20)->Arg(10000);
BENCHMARK(AskForEquality<StdText>)->Arg(20)->Arg(10000);
BENCHMARK(FindTenInTenThousand<LumText>);
BENCHMARK(FindTenInTenThousand<QtText>);
BENCHMARK(FindTenInTenThousand<StdText>);
