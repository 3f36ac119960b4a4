// A parameter block's reads and writes, and the registry's calls below them, beside what a program would otherwise keep its
// settings in. All read the same eight levels; the rivals hand out the text, and only the parameter block makes a number of it.
//
// "100 keys" and "100,000 keys" are registries of that size; "one key" reads the same parameter over and over, "all keys" each
// in turn in no order, so that what is measured there is the machine's memory as much as anything.
#include "ORegistry.h"
#include "OTorchParams.h"

#include "RegistryRivals.h"
#include "linux/registry/RegistryCache.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace
{
constexpr char kacBasePath[] = "Software\\Tarvek\\Lum\\ES\\Cedar\\";
constexpr char kacPath[] = "Software\\Tarvek\\Lum\\ES\\Cedar\\Ignition\\Current\\RunPhase";
constexpr char kacText[] = "14.50";
constexpr int kiMany = 100000;

std::string KeyName(int i)
{
    char acName[100];
    std::snprintf(acName, sizeof acName, "Software\\Tarvek\\Lum\\ES\\Cedar\\Unit%03d\\Block%02d\\Phase%d", i / 100 % 1000, i % 100, i);
    return acName;
}

const std::vector<std::string>& Keys(int iCount)
{
    static std::vector<std::string> few, many;
    std::vector<std::string>& keys = iCount == kiMany ? many : few;
    if (!keys.empty()) return keys;
    keys.push_back(kacPath);
    for (int i = 1; i < iCount; ++i) keys.push_back(KeyName(i));
    return keys;
}

// The order in which all keys are read: neighbours in it are far apart.
std::size_t Jump(std::size_t ulAt, std::size_t ulCount) { return (ulAt + 7919) % ulCount; }

// Two registries of different sizes: two roots, each with its own store.
HKEY RootWith(int iKeys) { return iKeys == kiMany ? HKEY_USERS : HKEY_LOCAL_MACHINE; }

void FillRegistry(int iKeys)
{
    const std::vector<std::string>& keys = Keys(iKeys);
    std::vector<std::u16string> names;
    for (const std::string& sKey : keys) names.emplace_back(sKey.begin(), sKey.end());
    const std::u16string sValue(kacValueName, kacValueName + sizeof kacValueName - 1);
    const std::u16string sText(kacText, kacText + sizeof kacText); // with its terminator
    std::vector<LumRegistryChange> changes;
    for (const std::u16string& sName : names)
        changes.push_back({LumRegistryChange::SetValue, RootWith(iKeys), AsWide(AsUnits(sName.c_str())), AsWide(AsUnits(sValue.c_str())),
                           REG_SZ, reinterpret_cast<const BYTE*>(sText.data()), static_cast<DWORD>(2 * sText.size())});
    Must(LumRegistryApply(changes.data(), changes.size()) == ERROR_SUCCESS, "filling the registry");
}

std::size_t ReadParameter(HKEY hRoot, const char* pPath, char* pTo)
{
    HKEY hKey = nullptr;
    if (RegOpenKeyExA(hRoot, pPath, 0, 15, &hKey) != ERROR_SUCCESS) return 0;
    DWORD ulType = 0, ulBytes = 512;
    const LSTATUS lStatus = RegQueryValueExA(hKey, kacValueName, nullptr, &ulType, reinterpret_cast<BYTE*>(pTo), &ulBytes);
    RegCloseKey(hKey);
    return lStatus == ERROR_SUCCESS ? ulBytes : 0;
}

struct Everything
{
    std::string sFolder = std::getenv("LUMBASE_HOME");
    SqliteRival sqliteFew{sFolder + "/few.sqlite", Keys(100), kacText}, sqliteMany{sFolder + "/many.sqlite", Keys(kiMany), kacText};
    LmdbRival lmdbFew{sFolder + "/few.lmdb", Keys(100), kacText}, lmdbMany{sFolder + "/many.lmdb", Keys(kiMany), kacText};
    MapRival mapFew{Keys(100), kacText}, mapMany{Keys(kiMany), kacText};
    Everything()
    {
        FillRegistry(100);
        FillRegistry(kiMany);
    }
};
Everything& All()
{
    static Everything& all = *new Everything;
    return all;
}

// read(iKeys, path, buffer) over one key, or over all.
template <class F>
void MeasureReads(benchmark::State& state, F read)
{
    All();
    const int iKeys = static_cast<int>(state.range(0));
    const bool bAll = state.range(1) != 0;
    const std::vector<std::string>& keys = Keys(iKeys);
    char acText[512];
    std::size_t ulAt = 0;
    for (std::size_t i = 0; bAll && i < keys.size(); ++i) read(iKeys, keys[i], acText); // everything has been read once
    for (auto _ : state)
    {
        if (read(iKeys, keys[ulAt], acText) == 0) state.SkipWithError("a key was not found");
        benchmark::DoNotOptimize(acText);
        if (bAll) ulAt = Jump(ulAt, keys.size());
    }
    state.SetLabel((iKeys == kiMany ? "100,000 keys, " : "100 keys, ") + std::string(bAll ? "all keys" : "one key"));
}

// What a client does: open, read, close, and the text as a number.
void ReadTorchParameter(benchmark::State& state)
{
    All();
    const int iKeys = static_cast<int>(state.range(0));
    OTorchParams torch(1, RootWith(iKeys));
    torch.SetRunPlasmaFlow(14.5); // another benchmark may have written a number of its own
    for (auto _ : state)
        if (torch.GetRunPlasmaFlow() != 14.5) state.SkipWithError("a wrong number was read");
    state.SetLabel(iKeys == kiMany ? "100,000 keys, one key" : "100 keys, one key");
}
BENCHMARK(ReadTorchParameter)->Arg(100)->Arg(kiMany);

// The calls that such a read makes.
void ReadRegistry(benchmark::State& state)
{
    MeasureReads(state, [](int iKeys, const std::string& sKey, char* pTo) { return ReadParameter(RootWith(iKeys), sKey.c_str(), pTo); });
    state.counters["cache_MB"] = static_cast<double>(lum::CacheBytes()) / 1048576;
}
void ReadSqlite(benchmark::State& state)
{
    MeasureReads(state, [](int iKeys, const std::string& sKey, char* pTo)
                 { return (iKeys == kiMany ? All().sqliteMany : All().sqliteFew).Read(sKey, pTo); });
}
void ReadSqliteByPath(benchmark::State& state)
{
    MeasureReads(state, [](int iKeys, const std::string& sKey, char* pTo)
                 { return (iKeys == kiMany ? All().sqliteMany : All().sqliteFew).ReadByPath(sKey, pTo); });
}
void ReadLmdbByLevels(benchmark::State& state)
{
    MeasureReads(state, [](int iKeys, const std::string& sKey, char* pTo)
                 { return (iKeys == kiMany ? All().lmdbMany : All().lmdbFew).ReadByLevels(sKey, pTo); });
}
void ReadLmdbByPath(benchmark::State& state)
{
    MeasureReads(state, [](int iKeys, const std::string& sKey, char* pTo)
                 { return (iKeys == kiMany ? All().lmdbMany : All().lmdbFew).ReadByPath(sKey, pTo); });
}
void ReadMap(benchmark::State& state)
{
    MeasureReads(state, [](int iKeys, const std::string& sKey, char* pTo)
                 { return (iKeys == kiMany ? All().mapMany : All().mapFew).Read(sKey, pTo); });
}
#define READS(f) BENCHMARK(f)->Args({100, 0})->Args({kiMany, 0})->Args({100, 1})->Args({kiMany, 1})
READS(ReadRegistry);
READS(ReadLmdbByLevels);
READS(ReadLmdbByPath);
READS(ReadSqlite);
READS(ReadSqliteByPath);
READS(ReadMap);
#undef READS

// A process that reads a key for the first time: the store is asked.
void ReadRegistryFirstTime(benchmark::State& state)
{
    All();
    const std::vector<std::string>& keys = Keys(kiMany);
    char acText[512];
    std::size_t ulAt = 0;
    for (auto _ : state)
    {
        if (ulAt % 1000 == 0)
        {
            state.PauseTiming();
            const LumRegistryChange nothing{LumRegistryChange::CreateKey, HKEY_USERS, AsWide(AsUnits(u"Software")), nullptr, 0, nullptr, 0};
            Must(LumRegistryApply(&nothing, 1) == ERROR_SUCCESS, "forgetting"); // whatever changes many keys makes all be read anew
            state.ResumeTiming();
        }
        if (ReadParameter(HKEY_USERS, keys[ulAt].c_str(), acText) == 0) state.SkipWithError("a key was not found");
        ulAt = Jump(ulAt, keys.size());
    }
}
BENCHMARK(ReadRegistryFirstTime);

template <class F>
void MeasureWrites(benchmark::State& state, F write)
{
    All();
    char acText[20];
    int iNumber = 0;
    for (auto _ : state)
    {
        const int iBytes = std::snprintf(acText, sizeof acText, "%d", ++iNumber) + 1;
        write(acText, static_cast<std::size_t>(iBytes));
    }
}

// What a client does: open, write the number as text, close. The number is another one each time.
void WriteTorchParameter(benchmark::State& state)
{
    All();
    OTorchParams torch(1);
    double fValue = 0;
    for (auto _ : state) torch.SetRunPlasmaFlow(fValue = fValue < 1000 ? fValue + 0.25 : 0);
    if (torch.GetRunPlasmaFlow() != fValue) state.SkipWithError("a write was lost");
}
BENCHMARK(WriteTorchParameter);

// The call that such a write makes; the key is open already.
void WriteRegistry(benchmark::State& state)
{
    All();
    HKEY hKey = nullptr;
    Must(RegOpenKeyExA(HKEY_LOCAL_MACHINE, kacPath, 0, KEY_ALL_ACCESS, &hKey) == ERROR_SUCCESS, "opening");
    MeasureWrites(state,
                  [&](const char* pText, std::size_t ulBytes)
                  {
                      if (RegSetValueExA(hKey, kacValueName, 0, REG_SZ, reinterpret_cast<const BYTE*>(pText), static_cast<DWORD>(ulBytes)))
                          state.SkipWithError("a write failed");
                  });
    RegCloseKey(hKey);
}
void WriteSqlite(benchmark::State& state)
{
    const std::int64_t llKey = All().sqliteFew.Find(kacPath, false);
    MeasureWrites(state, [&](const char* pText, std::size_t ulBytes) { All().sqliteFew.Put(llKey, {pText, ulBytes}); });
}
void WriteLmdb(benchmark::State& state)
{
    MeasureWrites(state, [&](const char* pText, std::size_t ulBytes) { All().lmdbFew.Write(kacPath, {pText, ulBytes}); });
}
BENCHMARK(WriteRegistry);
BENCHMARK(WriteSqlite);
BENCHMARK(WriteLmdb);
} // namespace

[[maybe_unused]] static const bool kbPrepared = (ORegistry::SetBasePath(kacBasePath), true);
