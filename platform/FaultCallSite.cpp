#include "FaultCallSite.h"

#include <cstring>

namespace lum
{
namespace
{
// How a number is written: in the low half of an encoding byte.
enum Encoding : std::uint8_t
{
    kAddress = 0x00,
    kUleb128 = 0x01,
    kData2 = 0x02,
    kData4 = 0x03,
    kData8 = 0x04,
    kOmitted = 0xFF
};

class TableReader
{
public:
    explicit TableReader(const std::uint8_t* pTable) : mp(pTable) {}

    const std::uint8_t* Position() const { return mp; }
    std::uint8_t Byte() { return *mp++; }

    std::uint64_t Uleb128()
    {
        std::uint64_t ulValue = 0;
        for (unsigned uShift = 0;; uShift += 7)
        {
            const std::uint8_t ub = Byte();
            ulValue |= std::uint64_t{ub & 0x7Fu} << uShift;
            if (!(ub & 0x80)) return ulValue;
        }
    }

    // Number: the value, for signed kinds without its sign; *pbKnown becomes false for a kind that is not known.
    std::uint64_t Number(std::uint8_t ubEncoding, bool* pbKnown)
    {
        constexpr std::uint8_t kubSigned = 0x08;
        switch (ubEncoding & 0x0F & ~kubSigned)
        {
        case kUleb128: return Uleb128();
        case kData2: return Fixed(2);
        case kData4: return Fixed(4);
        case kAddress:
        case kData8: return Fixed(8);
        default: *pbKnown = false; return 0;
        }
    }

private:
    std::uint64_t Fixed(unsigned uBytes)
    {
        std::uint64_t ulValue = 0;
        std::memcpy(&ulValue, mp, uBytes);
        mp += uBytes;
        return ulValue;
    }

    const std::uint8_t* mp;
};
} // namespace

bool ExpectsException(const std::uint8_t* pTable, std::uint64_t ulOffset)
{
    TableReader reader(pTable);
    bool bKnown = true;
    const std::uint8_t ubLandingBase = reader.Byte();
    if (ubLandingBase != kOmitted) reader.Number(ubLandingBase, &bKnown);
    if (reader.Byte() != kOmitted) reader.Uleb128(); // where the types stand
    const std::uint8_t ubEncoding = reader.Byte();
    const std::uint64_t ulBytes = reader.Uleb128();

    // Rows of: beginning, length, landing pad, action; by ascending beginnings.
    const std::uint8_t* const pEnd = reader.Position() + ulBytes;
    while (bKnown && reader.Position() < pEnd)
    {
        const std::uint64_t ulBegin = reader.Number(ubEncoding, &bKnown);
        const std::uint64_t ulLength = reader.Number(ubEncoding, &bKnown);
        reader.Number(ubEncoding, &bKnown);
        reader.Uleb128();
        if (ulOffset - ulBegin < ulLength) return true;
    }
    return !bKnown;
}
} // namespace lum
