#include "OCRC.h"

#include "AfxMemory.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>

namespace
{
constexpr unsigned int kuPolynomial = 0x1021;
constexpr int kiBlock = 16; // bytes that go through the register at once, each by a table of its own
constexpr LONGLONG kllTrailer = 2;

// Table n has the register after a byte and n bytes of zero behind it. XOR does not care for order, so the register after a block
// is the sum of what each of its bytes alone would leave.
struct OSlicingTables
{
    OCRC::OCRCTable aaus[kiBlock];
};

consteval OSlicingTables MakeTables()
{
    OSlicingTables tables{};
    for (unsigned int uByte = 0; uByte < 256; ++uByte)
    {
        unsigned int uCRC = uByte << 8;
        for (int iBit = 0; iBit < 8; ++iBit) uCRC = (uCRC << 1) ^ (uCRC & 0x8000 ? kuPolynomial : 0);
        tables.aaus[0][uByte] = static_cast<unsigned short>(uCRC);
    }
    for (int iTable = 1; iTable < kiBlock; ++iTable)
    {
        for (int iByte = 0; iByte < 256; ++iByte)
        {
            const unsigned short usBefore = tables.aaus[iTable - 1][iByte];
            tables.aaus[iTable][iByte] = static_cast<unsigned short>(tables.aaus[0][usBefore >> 8] ^ (usBefore << 8));
        }
    }
    return tables;
}

alignas(64) constexpr OSlicingTables kTables = MakeTables();
static_assert(kTables.aaus[0][1] == kuPolynomial);

// What the byte at iPlace of a block leaves.
template <int iPlace>
inline unsigned short Left(unsigned int uByte) { return kTables.aaus[kiBlock - 1 - iPlace][uByte & 0xFF]; }

// Has the value in a register, here. Left alone, the compiler fetches all sixteen bytes before it uses the first, and puts them by
// in memory because it has no registers for them.
template <class T>
inline void Settle(T& value) { asm("" : "+r"(value)); }

template <int iPlace>
inline void Add(unsigned short& usSum, unsigned int uByte)
{
    usSum ^= Left<iPlace>(uByte);
    Settle(usSum);
}

// Some bytes are taken one by one, the last four out of a word: memory and the arithmetic units then have equally much to do.
inline unsigned short ShiftBlock(const unsigned char* p, unsigned short usCRC)
{
    static_assert(std::endian::native == std::endian::little);
    std::uint32_t uLast;
    std::memcpy(&uLast, p + 12, sizeof uLast);
    unsigned short usSum = Left<2>(p[2]);
    Settle(usSum);
    Add<3>(usSum, p[3]);
    Add<4>(usSum, p[4]);
    Add<5>(usSum, p[5]);
    Add<6>(usSum, p[6]);
    Add<7>(usSum, p[7]);
    Add<12>(usSum, uLast);
    Add<13>(usSum, uLast >> 8);
    Add<8>(usSum, p[8]);
    Add<9>(usSum, p[9]);
    uLast >>= 16;
    Settle(uLast);
    Add<10>(usSum, p[10]);
    Add<11>(usSum, p[11]);
    Add<14>(usSum, uLast);
    Add<15>(usSum, uLast >> 8);
    // Last, because these two wait for the block before.
    Add<0>(usSum, p[0] ^ usCRC >> 8);
    Add<1>(usSum, p[1] ^ usCRC);
    return usSum;
}

class OWorkingBuffer
{
public:
    static constexpr DWORD kulBytes = 1'024'000;

    OWorkingBuffer() : mpBlock(AfxAllocate(kulBytes + kulAlignment)) {}

    // At the start of a cache line: there the system copies more than twice as fast as to where the heap's blocks begin.
    unsigned char* Bytes() const
    {
        const auto ulBlock = reinterpret_cast<std::uintptr_t>(mpBlock.get());
        return reinterpret_cast<unsigned char*>((ulBlock + kulAlignment - 1) / kulAlignment * kulAlignment);
    }

private:
    struct OFree
    {
        void operator()(void* pBlock) const { AfxFree(pBlock); }
    };
    static constexpr std::size_t kulAlignment = 64;

    std::unique_ptr<void, OFree> mpBlock;
};
} // namespace

constinit const OCRC::OCRCTable& OCRC::ausCRC_CCITT_Table = kTables.aaus[0];

OCRC::OCRC()
{
    SetGroup("CRC");
    SetErrorBase(9000);
}

unsigned short OCRC::ShiftBytes(const unsigned char* pBytes, std::size_t ulBytes, unsigned short usCRC)
{
    const unsigned char* const pEnd = pBytes + ulBytes;
    for (; pEnd - pBytes >= kiBlock; pBytes += kiBlock) usCRC = ShiftBlock(pBytes, usCRC);
    for (; pBytes != pEnd; ++pBytes) usCRC = DetermineCRC(*pBytes, usCRC);
    return usCRC;
}

unsigned short OCRC::GetCRC(void* hFile, int bExcludeTrailer) { return GetCRC(hFile, bExcludeTrailer, nullptr, nullptr); }

unsigned short OCRC::GetCRC(void* hFile, int bExcludeTrailer, OCRCProgress pProgress, void* pContext)
try
{
    const OWorkingBuffer buffer;
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(hFile, &size)) return 0;
    const LONGLONG llBytes = size.QuadPart - (bExcludeTrailer ? kllTrailer : 0);

    SetFilePointer(hFile, 0, nullptr, FILE_BEGIN);
    unsigned short usCRC = 0;
    for (LONGLONG llRemaining = llBytes; llRemaining > 0;)
    {
        DWORD ulRead = 0;
        ReadFile(hFile, buffer.Bytes(), static_cast<DWORD>(std::min<LONGLONG>(llRemaining, buffer.kulBytes)), &ulRead, nullptr);
        if (ulRead == 0) break; // the file is shorter by now, or cannot be read
        usCRC = ShiftBytes(buffer.Bytes(), ulRead, usCRC);
        llRemaining -= ulRead;
        if (pProgress) pProgress(pContext, static_cast<ULONGLONG>(llBytes - llRemaining), static_cast<ULONGLONG>(llBytes));
    }
    return usCRC;
}
catch (...) { LogCaught("OCRC::GetCRC"); throw; }
