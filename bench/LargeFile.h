// What the benchmarks of large files share: a file in the page cache, and passes over it in processor time.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

inline double ProcessorSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

[[noreturn]] inline void Give(const char* pWhat)
{
    std::perror(pWhat);
    std::exit(3);
}

inline std::string InState(const char* pName) { return std::getenv("LUMBASE_HOME") + std::string("/") + pName; }

// Makes a file of whole MiB in the state directory: just written, and therefore in the page cache.
inline std::string MakeLargeFile(const char* pName, std::size_t ulBytes)
{
    const std::string sPath = InState(pName);
    std::FILE* pFile = std::fopen(sPath.c_str(), "wb");
    if (!pFile) Give(sPath.c_str());
    std::vector<unsigned char> piece(1 << 20);
    unsigned long long ullNoise = 1;
    for (std::size_t ulDone = 0; ulDone < ulBytes; ulDone += piece.size())
    {
        for (unsigned char& ubByte : piece)
        {
            ullNoise = ullNoise * 6364136223846793005u + 1;
            ubByte = static_cast<unsigned char>(ullNoise >> 56);
        }
        if (std::fwrite(piece.data(), 1, piece.size(), pFile) != piece.size()) Give(sPath.c_str());
    }
    if (std::fclose(pFile) != 0) Give(sPath.c_str());
    return sPath;
}

// Measures one pass over a file of so many bytes a time. The first is not counted: it makes what there is to be made, and touches
// what memory there is.
template <class Pass>
void MeasurePasses(benchmark::State& state, std::size_t ulBytes, Pass pass)
{
    pass();
    for (auto _ : state)
    {
        const double fStart = ProcessorSeconds();
        pass();
        state.SetIterationTime(ProcessorSeconds() - fStart);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ulBytes));
}
