// Every program of Google Benchmark begins here. What one needs besides, it sets up before, as it is loaded.
#include "TestEnvironment.h"

#include <benchmark/benchmark.h>

int main(int argc, char** argv)
{
    UseThrowAwayState(argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
