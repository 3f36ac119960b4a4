// Memory streams beside std::string, memcpy and a bare atomic counter.
#include "OMemBuf.h"
#include "OSubMemBuf.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <string>

namespace
{
constexpr ULONG kulPiece = 16;
constexpr int kiPieces = 1'000'000;
constexpr char kacPiece[kulPiece + 1] = "0123456789abcde"; // fifteen characters and the closing zero

void SayBytes(benchmark::State& state, std::int64_t llBytes) { state.SetBytesProcessed(state.iterations() * llBytes); }

// A million pieces ----------------------------------------------------------------------------------------------------------

void AppendsByWrite(benchmark::State& state)
{
    for (auto _ : state)
    {
        OMemBuf buf;
        for (int i = 0; i < kiPieces; ++i) buf.Write(kacPiece, kulPiece);
        benchmark::DoNotOptimize(buf.GetBuffer());
    }
    SayBytes(state, std::int64_t{kiPieces} * kulPiece);
}
BENCHMARK(AppendsByWrite)->Unit(benchmark::kMillisecond);

void AppendsByWriteBuffer(benchmark::State& state)
{
    for (auto _ : state)
    {
        OMemBuf buf;
        for (int i = 0; i < kiPieces; ++i) buf.WriteBuffer(kacPiece, kulPiece);
        benchmark::DoNotOptimize(buf.GetBuffer());
    }
    SayBytes(state, std::int64_t{kiPieces} * kulPiece);
}
BENCHMARK(AppendsByWriteBuffer)->Unit(benchmark::kMillisecond);

void AppendsOfAText(benchmark::State& state)
{
    for (auto _ : state)
    {
        OMemBuf buf;
        for (int i = 0; i < kiPieces; ++i) buf += kacPiece;
        benchmark::DoNotOptimize(buf.GetBuffer());
    }
    SayBytes(state, std::int64_t{kiPieces} * kulPiece);
}
BENCHMARK(AppendsOfAText)->Unit(benchmark::kMillisecond);

void AppendsOfAStream(benchmark::State& state)
{
    OMemBuf piece(kacPiece, kulPiece);
    for (auto _ : state)
    {
        OMemBuf buf;
        for (int i = 0; i < kiPieces; ++i)
        {
            piece.SetPosition(0);
            buf += piece;
        }
        benchmark::DoNotOptimize(buf.GetBuffer());
    }
    SayBytes(state, std::int64_t{kiPieces} * kulPiece);
}
BENCHMARK(AppendsOfAStream)->Unit(benchmark::kMillisecond);

// The room that the stream makes for so many bytes.
std::size_t RoomFor(std::size_t ulBytes)
{
    std::size_t ulRoom = 32;
    while (ulRoom <= ulBytes && ulRoom < 4096) ulRoom *= 2;
    if (ulBytes < 4096) return ulRoom;
    return ulBytes % 4096 == 0 ? ulBytes : (ulBytes + 4096) / 4096 * 4096 + 4096;
}

// std::string's own reserve doubles: exactly so much room is a new string's.
void AppendsOfStdStringWithTheSameSteps(benchmark::State& state)
{
    for (auto _ : state)
    {
        std::string sBytes;
        for (int i = 0; i < kiPieces; ++i)
        {
            if (sBytes.size() + kulPiece > sBytes.capacity())
            {
                std::string sWider;
                sWider.reserve(RoomFor(sBytes.size() + kulPiece));
                sWider.append(sBytes);
                sBytes.swap(sWider);
            }
            sBytes.append(kacPiece, kulPiece);
        }
        benchmark::DoNotOptimize(sBytes.data());
    }
    SayBytes(state, std::int64_t{kiPieces} * kulPiece);
}
BENCHMARK(AppendsOfStdStringWithTheSameSteps)->Unit(benchmark::kMillisecond);

// Its room doubles.
void AppendsOfStdString(benchmark::State& state)
{
    for (auto _ : state)
    {
        std::string sBytes;
        for (int i = 0; i < kiPieces; ++i) sBytes.append(kacPiece, kulPiece);
        benchmark::DoNotOptimize(sBytes.data());
    }
    SayBytes(state, std::int64_t{kiPieces} * kulPiece);
}
BENCHMARK(AppendsOfStdString)->Unit(benchmark::kMillisecond);

// The same within room that is there: no growth on either side.
void AppendsWithinRoom(benchmark::State& state)
{
    OMemBuf buf;
    buf.SetCapacity(kulPiece * 1000);
    for (auto _ : state)
    {
        buf.Clear();
        for (int i = 0; i < 1000; ++i) buf.Write(kacPiece, kulPiece);
        benchmark::DoNotOptimize(buf.GetBuffer());
    }
}
BENCHMARK(AppendsWithinRoom);

void AppendsOfAStreamWithinRoom(benchmark::State& state)
{
    OMemBuf piece(kacPiece, kulPiece);
    OMemBuf buf;
    buf.SetCapacity(kulPiece * 1000);
    for (auto _ : state)
    {
        buf.Clear();
        for (int i = 0; i < 1000; ++i)
        {
            piece.SetPosition(0);
            buf += piece;
        }
        benchmark::DoNotOptimize(buf.GetBuffer());
    }
}
BENCHMARK(AppendsOfAStreamWithinRoom);

void AppendsOfStdStringWithinRoom(benchmark::State& state)
{
    std::string sBytes;
    sBytes.reserve(kulPiece * 1000);
    for (auto _ : state)
    {
        sBytes.clear();
        for (int i = 0; i < 1000; ++i) sBytes.append(kacPiece, kulPiece);
        benchmark::DoNotOptimize(sBytes.data());
    }
}
BENCHMARK(AppendsOfStdStringWithinRoom);

// Reads ---------------------------------------------------------------------------------------------------------------------

void ReadsOfAPiece(benchmark::State& state)
{
    OMemBuf buf;
    for (int i = 0; i < 1000; ++i) buf.Write(kacPiece, kulPiece);
    char acPiece[kulPiece];
    for (auto _ : state)
    {
        buf.SetPosition(0);
        for (int i = 0; i < 1000; ++i) buf.ReadBuffer(acPiece, kulPiece);
        benchmark::DoNotOptimize(acPiece);
    }
}
BENCHMARK(ReadsOfAPiece);

// Copies that share ---------------------------------------------------------------------------------------------------------

void CopyWithoutAnAppend(benchmark::State& state)
{
    const std::string sBytes(static_cast<std::size_t>(state.range(0)), 'b');
    OMemBuf buf(sBytes.data(), static_cast<int>(sBytes.size()));
    for (auto _ : state)
    {
        OMemBuf copy(buf);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(CopyWithoutAnAppend)->Arg(1 << 20);

void AtomicIncrementAndDecrement(benchmark::State& state)
{
    std::atomic<int> iCount{1};
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(iCount.fetch_add(1));
        benchmark::DoNotOptimize(iCount.fetch_sub(1));
    }
}
BENCHMARK(AtomicIncrementAndDecrement);

// CopyFrom ------------------------------------------------------------------------------------------------------------------

std::string Bytes(benchmark::State& state) { return std::string(static_cast<std::size_t>(state.range(0)), 'b'); }

template <class Source>
void CopyOver(benchmark::State& state, OMemBuf& target, Source& source)
{
    for (auto _ : state)
    {
        target.SetPosition(0);
        target.CopyFrom(source, 0);
        benchmark::DoNotOptimize(target.GetBuffer());
        benchmark::ClobberMemory();
    }
    SayBytes(state, state.range(0));
}

void CopyFromAStream(benchmark::State& state)
{
    const std::string sBytes = Bytes(state);
    OMemBuf source(sBytes.data(), static_cast<int>(sBytes.size())), target(sBytes.data(), static_cast<int>(sBytes.size()));
    CopyOver(state, target, source);
}

void CopyFromAWindow(benchmark::State& state)
{
    const std::string sBytes = Bytes(state);
    OMemBuf source(sBytes.data(), static_cast<int>(sBytes.size())), target(sBytes.data(), static_cast<int>(sBytes.size()));
    OSubMemBuf window(source, 0, 0xFFFFFFFF);
    CopyOver(state, target, window);
}

// What no short cut is taken for: a class that a program derived.
void CopyFromADerivedStream(benchmark::State& state)
{
    struct ODerived : OMemBuf
    {
        using OMemBuf::OMemBuf;
    };
    const std::string sBytes = Bytes(state);
    ODerived source(sBytes.data(), static_cast<int>(sBytes.size()));
    OMemBuf target(sBytes.data(), static_cast<int>(sBytes.size()));
    CopyOver(state, target, source);
}

void Memcpy(benchmark::State& state)
{
    const std::string sSource = Bytes(state);
    std::string sTarget = sSource;
    for (auto _ : state)
    {
        std::memcpy(sTarget.data(), sSource.data(), sSource.size());
        benchmark::DoNotOptimize(sTarget.data());
        benchmark::ClobberMemory();
    }
    SayBytes(state, state.range(0));
}

// Into an empty stream, beside a new block.
void CopyIntoAnEmptyStream(benchmark::State& state)
{
    const std::string sBytes = Bytes(state);
    OMemBuf source(sBytes.data(), static_cast<int>(sBytes.size()));
    for (auto _ : state)
    {
        OMemBuf target;
        target.CopyFrom(source, 0);
        benchmark::DoNotOptimize(target.GetBuffer());
    }
    SayBytes(state, state.range(0));
}

void CopyOfAWindowIntoAnEmptyStream(benchmark::State& state)
{
    const std::string sBytes = Bytes(state);
    OMemBuf source(sBytes.data(), static_cast<int>(sBytes.size()));
    OSubMemBuf window(source, 0, 0xFFFFFFFF);
    for (auto _ : state)
    {
        OMemBuf target;
        target.CopyFrom(window, 0);
        benchmark::DoNotOptimize(target.GetBuffer());
    }
    SayBytes(state, state.range(0));
}

void MemcpyIntoANewBlock(benchmark::State& state)
{
    const std::string sSource = Bytes(state);
    for (auto _ : state)
    {
        const std::unique_ptr<void, void (*)(void*)> pBlock(std::malloc(sSource.size()), &std::free);
        std::memcpy(pBlock.get(), sSource.data(), sSource.size());
        benchmark::DoNotOptimize(pBlock.get());
    }
    SayBytes(state, state.range(0));
}

void Sizes(benchmark::internal::Benchmark* pBenchmark)
{
    for (int iBytes : {1 << 10, 1 << 16, 1 << 20, 1 << 26}) pBenchmark->Arg(iBytes);
}
BENCHMARK(CopyFromAStream)->Apply(Sizes);
BENCHMARK(CopyFromAWindow)->Apply(Sizes);
BENCHMARK(CopyFromADerivedStream)->Apply(Sizes);
BENCHMARK(Memcpy)->Apply(Sizes);
BENCHMARK(CopyIntoAnEmptyStream)->Apply(Sizes);
BENCHMARK(CopyOfAWindowIntoAnEmptyStream)->Apply(Sizes);
BENCHMARK(MemcpyIntoANewBlock)->Apply(Sizes);
} // namespace
