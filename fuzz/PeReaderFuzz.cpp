// The reader of program files, given any bytes at all: whatever it hands out must lie inside them.
#include "linux/kernel/PeImage.h"

#include <cstdint>
#include <cstdlib>
#include <iterator>

namespace
{
using lum::PeFault;
using lum::PeImage;
using lum::PeName;

constexpr WCHAR kauwLampTable[] = {'L', 'A', 'M', 'P', 'T', 'A', 'B', 'L', 'E'};
constexpr WCHAR kauwCedar[] = {'C', 'E', 'D', 'A', 'R'};

// What the seeds hold and a mutated directory may come to hold.
constexpr PeName kTypes[] = {{6}, {16}, {10}, {300}, {0}, {0, kauwLampTable, std::size(kauwLampTable)}};
constexpr PeName kNames[] = {{0},   {1},   {7},   {8},    {19},   {32},   {101}, {344}, {469},
                             {532}, {657}, {751}, {1188}, {1751}, {2126}, {0, kauwCedar, std::size(kauwCedar)}};

// Reads every byte, under the eyes of the sanitizers.
void Consume(std::span<const BYTE> file, std::span<const BYTE> data)
{
    const auto ulStart = reinterpret_cast<ULONG_PTR>(data.data()) - reinterpret_cast<ULONG_PTR>(file.data());
    if (ulStart > file.size() || data.size() > file.size() - ulStart) std::abort();
    unsigned int ulSum = 0;
    for (BYTE ubByte : data) ulSum += ubByte;
    volatile unsigned int ulSink = ulSum;
    (void)ulSink;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pBytes, std::size_t ulBytes)
{
    const std::span<const BYTE> file(pBytes, ulBytes);
    PeImage image;
    if (image.Open(file) != PeFault::None) return 0;

    std::span<const BYTE> data;
    for (const PeName& type : kTypes)
    {
        for (const PeName& name : kNames)
        {
            std::size_t ulEntry = 0;
            if (image.Find(type, name, ulEntry) != PeFault::None) continue;
            if (image.Data(ulEntry, data) == PeFault::None) Consume(file, data);
        }
    }
    // A caller may hand back any place as the one that was found; a hundred of them, and those just at the end.
    for (std::size_t ulPlace = 0; ulPlace < ulBytes + 16; ulPlace += ulPlace + 32 < ulBytes ? 1 + ulBytes / 100 : 1)
    {
        if (image.Data(ulPlace, data) == PeFault::None) Consume(file, data);
    }
    return 0;
}
