// Reads one torch parameter over and over and prints what a read costs. Plain on purpose: the same program is built for
// Linux and for Windows, so that the two can be set side by side.
#include "ORegistry.h"
#include "OTorchParams.h"

#include "TestEnvironment.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv)
{
    UseThrowAwayState(argv);
    const long lReads = argc > 1 ? std::atol(argv[1]) : 100000;
    ORegistry::SetBasePath("Software\\Tarvek\\Lum\\ES\\Cedar\\");
    ORegistry key;
    key.SetRoot(HKEY_LOCAL_MACHINE);
    if (!key.OpenKey("Ignition\\Current\\RunPhase", ORegistry::OPEN_OR_CREATE))
    {
        std::fprintf(stderr, "cannot make the key to read from\n");
        return 3;
    }
    key.WriteDouble("PlasmaFlow", 14.5, 2);
    key.CloseKey();

    OTorchParams torch(1);
    double fSum = 0;
    const auto readAll = [&](long lCount)
    {
        for (long i = 0; i < lCount; ++i) fSum += torch.GetRunPlasmaFlow();
    };
    readAll(lReads / 10);

    LARGE_INTEGER start, stop, frequency;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&start);
    fSum = 0;
    readAll(lReads);
    QueryPerformanceCounter(&stop);

    if (fSum != 14.5 * static_cast<double>(lReads))
    {
        std::fprintf(stderr, "a read came back wrong\n");
        return 3;
    }
    const double fSeconds = static_cast<double>(stop.QuadPart - start.QuadPart) / static_cast<double>(frequency.QuadPart);
    std::printf("OTorchParams::GetRunPlasmaFlow: %.0f ns a read, %ld reads\n", fSeconds / static_cast<double>(lReads) * 1e9, lReads);
    return 0;
}
