// Writes and reads compound files and prints how long it takes. Plain on purpose: the same program is built for Linux and for
// Windows, so that the two can be set side by side.
#include "StorageWork.h"
#include "TestEnvironment.h"

#include <algorithm>
#include <filesystem>

static double Seconds()
{
    LARGE_INTEGER now, frequency;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) / static_cast<double>(frequency.QuadPart);
}

// Prints the best of some.
template <class Work>
static void Measure(const char* pWhat, int iTimes, Work work)
{
    double fBest = 1e9;
    for (int i = 0; i < iTimes; ++i)
    {
        const double fStart = Seconds();
        work();
        fBest = std::min(fBest, Seconds() - fStart);
    }
    std::printf("%-60s %10.3f ms\n", pWhat, fBest * 1e3);
    std::fflush(stdout);
}

int main(int argc, char** argv)
{
    UseThrowAwayState(argv);
    const ULONG ulMegabytes = argc > 1 ? static_cast<ULONG>(std::atol(argv[1])) : 256;
    const int iTimes = argc > 2 ? std::atoi(argv[2]) : 5;
    const std::string sName = "lum-times-" + std::to_string(GetCurrentProcessId());
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / sName;
    std::filesystem::create_directory(folder);
    const std::string sLarge = (folder / "large").string(), sMany = (folder / "many").string();

    std::vector<BYTE> piece(kulPiece, 'x');
    const std::string sStream = "one stream of " + std::to_string(ulMegabytes) + " MiB, pieces of 64 KiB";
    Measure((sStream + ", written").c_str(), iTimes, [&] { WriteLarge(sLarge, piece, ulMegabytes * 16); });
    Measure((sStream + ", read").c_str(), iTimes, [&] { ReadLarge(sLarge, piece, ulMegabytes * 16); });
    std::filesystem::remove(sLarge);
    Measure("10,000 streams, transacted: created and committed", iTimes, [&] { CreateMany(sMany, STGM_TRANSACTED, piece); });
    Measure("10,000 streams, direct: created and committed", iTimes, [&] { CreateMany(sMany, STGM_DIRECT, piece); });
    Measure("10,000 streams: opened and read", iTimes, [&] { ReadMany(sMany, piece); });
    Measure("100 bytes appended to one of them, transacted", iTimes,
            [&] { AppendToOne(sMany, STGM_TRANSACTED, piece, STGC_DEFAULT); });
    std::filesystem::remove_all(folder);
    return 0;
}
