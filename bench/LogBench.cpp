// Log lines, written and dropped, beside spdlog; and the switches.
#include "ODbgManagerCore.h"
#include "ONameList.h"
#include "ORegistry.h"


#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace
{
const std::string& Text() // what a line says: 100 characters
{
    static const std::string sText(100, 't');
    return sText;
}

std::string StatePath(const char* pName) { return std::getenv("LUMBASE_HOME") + std::string("/") + pName; }

// Files are emptied now and then, so that none fills the disk.
constexpr int kiLinesToKeep = 1'000'000;
void KeepSmall(benchmark::State& state, int& iLines, const std::string& sPath)
{
    if (++iLines % kiLinesToKeep != 0) return;
    state.PauseTiming();
    if (truncate(sPath.c_str(), 0) != 0) state.SkipWithError("the log cannot be emptied");
    state.ResumeTiming();
}

// A manager that is installed, with so many combinations of which all or none are on.
class Manager
{
public:
    Manager(int iCombinations, bool bOn)
    {
        mManager.Init(0, StatePath("App.log").c_str());
        mManager.mulErrorsOnly = 0;
        mManager.mulDefaultEnable = bOn;
        for (int i = 0; i < iCombinations; ++i)
        {
            mManager.IsEnabled(("Group" + std::to_string(i / 100)).c_str(), ("OClassName" + std::to_string(i / 10 % 10)).c_str(),
                               ("MemberName" + std::to_string(i % 10)).c_str());
        }
        mManager.SetDbgManager(&mManager);
    }
    ~Manager() { mManager.SetDbgManager(nullptr); }

private:
    ODbgManagerCore mManager;
};

void LineWritten(benchmark::State& state)
{
    const Manager manager(1000, true);
    const std::string sPath = StatePath("App.log");
    OBase object;
    int iLines = 0;
    for (auto _ : state)
    {
        object.LogGroup("Group5", "OClassName5", "MemberName5", "%s", Text().c_str());
        KeepSmall(state, iLines, sPath);
    }
}
BENCHMARK(LineWritten);

void LineWrittenWithTheClassAskedFor(benchmark::State& state)
{
    const Manager manager(1000, true);
    const std::string sPath = StatePath("App.log");
    OBase object;
    int iLines = 0;
    for (auto _ : state)
    {
        object.LogGroup("Group5", nullptr, "MemberName5", "%s", Text().c_str());
        KeepSmall(state, iLines, sPath);
    }
}
BENCHMARK(LineWrittenWithTheClassAskedFor);

// The sink that flushes every line, as a log that survives its program must. Its lines say the same: a time, three names, the text.
void LineWrittenBySpdlog(benchmark::State& state)
{
    const std::string sPath = StatePath("spdlog.log");
    const auto pLogger = spdlog::basic_logger_mt("Group5", sPath, true);
    pLogger->flush_on(spdlog::level::trace);
    pLogger->set_pattern("%H:%M:%S.%e : %n : %v");
    int iLines = 0;
    for (auto _ : state)
    {
        pLogger->info("OClassName5 : MemberName5 : {}", Text());
        KeepSmall(state, iLines, sPath);
    }
    spdlog::drop("Group5");
}
BENCHMARK(LineWrittenBySpdlog);

// The same as it comes, with the text alone.
void ShorterLineWrittenBySpdlog(benchmark::State& state)
{
    const std::string sPath = StatePath("spdlog.log");
    const auto pLogger = spdlog::basic_logger_mt("Group5", sPath, true);
    pLogger->flush_on(spdlog::level::trace);
    int iLines = 0;
    for (auto _ : state)
    {
        pLogger->info("{}", Text());
        KeepSmall(state, iLines, sPath);
    }
    spdlog::drop("Group5");
}
BENCHMARK(ShorterLineWrittenBySpdlog);

void LineDropped(benchmark::State& state)
{
    const Manager manager(static_cast<int>(state.range(0)), false);
    OBase object;
    object.LogGroup("Group5", "OClassName5", "MemberName5", "%s", Text().c_str());
    for (auto _ : state) object.LogGroup("Group5", "OClassName5", "MemberName5", "%s", Text().c_str());
}
BENCHMARK(LineDropped)->Arg(10)->Arg(1000)->Arg(10'000);

// As above, each time another of all the combinations.
void LineDroppedInNoOrder(benchmark::State& state)
{
    const Manager manager(1000, false);
    struct Names
    {
        std::string sGroup, sClassName, sItem;
    };
    std::vector<Names> names;
    for (int i = 0; i < 1000; ++i)
    {
        const int iName = i * 619 % 1000;
        names.push_back({"Group" + std::to_string(iName / 100), "OClassName" + std::to_string(iName / 10 % 10),
                         "MemberName" + std::to_string(iName % 10)});
    }
    OBase object;
    std::size_t i = 0;
    for (auto _ : state)
    {
        const Names& name = names[i++ % names.size()];
        object.LogGroup(name.sGroup.c_str(), name.sClassName.c_str(), name.sItem.c_str(), "%s", Text().c_str());
    }
}
BENCHMARK(LineDroppedInNoOrder);

void LineDroppedWithTheClassAskedFor(benchmark::State& state)
{
    const Manager manager(1000, false);
    OBase object;
    object.LogGroup("Group5", nullptr, "MemberName5", "%s", Text().c_str());
    for (auto _ : state) object.LogGroup("Group5", nullptr, "MemberName5", "%s", Text().c_str());
}
BENCHMARK(LineDroppedWithTheClassAskedFor);

void LineDroppedBySpdlog(benchmark::State& state)
{
    const auto pLogger = spdlog::basic_logger_mt("Group5", StatePath("spdlog.log"), true);
    pLogger->set_level(spdlog::level::err);
    for (auto _ : state) pLogger->info("{}", Text());
    spdlog::drop("Group5");
}
BENCHMARK(LineDroppedBySpdlog);

void LineWithoutAManager(benchmark::State& state)
{
    OBase object;
    for (auto _ : state) object.LogGroup("Group5", "OClassName5", "MemberName5", "%s", Text().c_str());
}
BENCHMARK(LineWithoutAManager);

// The switches, by the number of entries -------------------------------------------------------------------------------------

class Switches
{
public:
    explicit Switches(int iEntries)
    {
        for (int i = 0; i < iEntries; ++i)
        {
            mNames.push_back("Name" + std::to_string(i));
            mList.Add(0, mNames.back().c_str(), "OClassName", "MemberName");
        }
    }
    const char* Next() { return mNames[++miNext % mNames.size()].c_str(); }
    ONameList& List() { return mList; }

private:
    ONameList mList{HKEY_LOCAL_MACHINE, "Debug"};
    std::vector<std::string> mNames;
    std::size_t miNext = 0;
};

void Find(benchmark::State& state)
{
    Switches switches(static_cast<int>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(switches.List().Find(switches.Next()));
}
BENCHMARK(Find)->Arg(10)->Arg(10'000);

void FindTheSame(benchmark::State& state)
{
    Switches switches(static_cast<int>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(switches.List().Find("Name7"));
}
BENCHMARK(FindTheSame)->Arg(10)->Arg(10'000);

void Contains(benchmark::State& state)
{
    Switches switches(static_cast<int>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(switches.List().Contains(switches.Next(), "OClassName", "MemberName"));
}
BENCHMARK(Contains)->Arg(10)->Arg(10'000);

void IsEnabled(benchmark::State& state)
{
    Switches switches(static_cast<int>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(switches.List().IsEnabled(switches.Next(), "OClassName", "MemberName"));
}
BENCHMARK(IsEnabled)->Arg(10)->Arg(10'000);
} // namespace

[[maybe_unused]] static const bool kbPrepared = (ORegistry::SetBasePath("Software\\LumBaseBench\\"), true);
