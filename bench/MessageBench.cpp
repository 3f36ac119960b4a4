// A text out of the resource library, which is opened and closed for each, beside a message catalog of the C library with the
// same texts that is opened and closed for each too. Below both: what opening, mapping and closing a file costs by itself.
#include "OString.h"


#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <nl_types.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace
{
constexpr unsigned int kulText = 19004; // among the later ones

[[noreturn]] void Stop(const char* pWhy)
{
    std::fprintf(stderr, "the benchmark cannot go on: %s\n", pWhy);
    std::exit(3);
}

// Every text of the resource library, as a catalog.
std::string MakeCatalog()
{
    constexpr unsigned int kulFirst = 5500, kulLast = 34999;
    const std::string sCatalog = std::getenv("LUMBASE_HOME") + std::string("/texts.cat");
    const std::string sSource = sCatalog + ".msg";
    std::ofstream source(sSource);
    source << "$set 1\n$quote \"\n";
    OString sText;
    for (unsigned int ulId = kulFirst; ulId <= kulLast; ++ulId)
    {
        if (!sText.LoadStringA(ulId)) continue;
        source << ulId << " \"";
        const CString sNarrow = sText.ConvertToMultiByte();
        for (const char* p = sNarrow; *p; ++p)
        {
            if (*p == '"' || *p == '\\') source << '\\';
            if (*p == '\n') source << "\\n";
            else source << *p;
        }
        source << "\"\n";
    }
    source.close();
    if (std::system(("gencat '" + sCatalog + "' '" + sSource + "'").c_str()) != 0) Stop("gencat made no catalog");
    return sCatalog;
}

void LoadText(benchmark::State& state)
{
    OString sText;
    for (auto _ : state)
        if (!sText.LoadStringA(kulText)) state.SkipWithError("the text was not found");
}
BENCHMARK(LoadText);

void LoadTextFromCatalog(benchmark::State& state)
{
    static const std::string sCatalog = MakeCatalog();
    OString sText;
    for (auto _ : state)
    {
        const nl_catd catalog = catopen(sCatalog.c_str(), 0);
        const char* pText = catgets(catalog, 1, kulText, "");
        if (!*pText) state.SkipWithError("the text was not found");
        sText = pText; // to 16-bit units, as a caller of LoadStringA gets it
        catclose(catalog);
    }
}
BENCHMARK(LoadTextFromCatalog);

void OpenMapAndClose(benchmark::State& state)
{
    const std::string sLibrary = LUM_BENCH_BIN "/LumRes.dll";
    for (auto _ : state)
    {
        const int iFile = open(sLibrary.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat status{};
        if (iFile < 0 || fstat(iFile, &status) != 0) Stop("there is no LumRes.dll");
        const auto ulBytes = static_cast<std::size_t>(status.st_size);
        void* pMapped = mmap(nullptr, ulBytes, PROT_READ, MAP_PRIVATE, iFile, 0);
        benchmark::DoNotOptimize(*static_cast<const volatile char*>(pMapped));
        munmap(pMapped, ulBytes);
        close(iFile);
    }
}
BENCHMARK(OpenMapAndClose);
} // namespace
