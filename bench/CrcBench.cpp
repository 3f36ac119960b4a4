// The CRC of a file in the page cache, beside Python's and beside reading alone. A file of 1 GiB, processor time.
#include "OCRC.h"

#include "LargeFile.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace
{
constexpr std::size_t kulFile = 1 << 30;
constexpr std::size_t kulChunk = 1'024'000; // as GetCRC has it

const std::string& TheFile()
{
    static const std::string sFile = MakeLargeFile("crc-bench", kulFile);
    return sFile;
}

template <class Pass>
void Measure(benchmark::State& state, Pass pass)
{
    TheFile();
    MeasurePasses(state, kulFile, pass);
}

unsigned short CrcOfTheFile()
{
    const HANDLE hFile =
        CreateFileA(TheFile().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    const unsigned short usCRC = OCRC().GetCRC(hFile, 0);
    CloseHandle(hFile);
    return usCRC;
}

void GetCRC(benchmark::State& state)
{
    Measure(state, [] { benchmark::DoNotOptimize(CrcOfTheFile()); });
}
BENCHMARK(GetCRC)->UseManualTime()->Unit(benchmark::kMillisecond);

// Python on the same file in the same chunks, into one buffer, without its start; it tells its time and its CRC.
void PythonCrcHqx(benchmark::State& state)
{
    const std::string sCommand = "python3 - '" + TheFile() + R"(' <<'END'
import binascii, sys, time
buffer = bytearray(1024000)
view = memoryview(buffer)
crc = 0
with open(sys.argv[1], "rb", buffering=0) as file:
    start = time.process_time()
    while count := file.readinto(buffer):
        crc = binascii.crc_hqx(view[:count], crc)
    print(time.process_time() - start, crc)
END)";
    const unsigned short usOurs = CrcOfTheFile();
    for (auto _ : state)
    {
        std::FILE* pPython = popen(sCommand.c_str(), "r");
        double fSeconds = 0;
        unsigned int uCRC = 0;
        const bool bTold = pPython && std::fscanf(pPython, "%lf %u", &fSeconds, &uCRC) == 2;
        if (!pPython || pclose(pPython) != 0 || !bTold) return state.SkipWithError("python3 did not run");
        if (uCRC != usOurs) return state.SkipWithError("Python has another CRC");
        state.SetIterationTime(fSeconds);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kulFile));
}
BENCHMARK(PythonCrcHqx)->UseManualTime()->Unit(benchmark::kMillisecond);

// A plain read loop. Where the buffer begins counts: the system copies to the start of a cache line more than twice as fast.
void ReadAll(benchmark::State& state, std::size_t ulOffset)
{
    constexpr std::size_t kulPage = 4096;
    constexpr std::size_t kulPages = kulChunk / kulPage + 2;
    const std::unique_ptr<void, decltype(&std::free)> pBlock(std::aligned_alloc(kulPage, kulPages * kulPage), std::free);
    unsigned char* const pBuffer = static_cast<unsigned char*>(pBlock.get()) + ulOffset;
    Measure(state, [&] {
        const int iFile = open(TheFile().c_str(), O_RDONLY | O_CLOEXEC);
        if (iFile < 0) Give("open");
        while (read(iFile, pBuffer, kulChunk) > 0) benchmark::DoNotOptimize(*pBuffer);
        close(iFile);
    });
}

void ReadingAlone(benchmark::State& state) { ReadAll(state, 16); } // where malloc puts a block of this size
BENCHMARK(ReadingAlone)->UseManualTime()->Unit(benchmark::kMillisecond);

void ReadingAloneToACacheLine(benchmark::State& state) { ReadAll(state, 0); }
BENCHMARK(ReadingAloneToACacheLine)->UseManualTime()->Unit(benchmark::kMillisecond);
} // namespace
