#include "WrapBytes.h"

#include "EntryName.h"
#include "HeaderCheck.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace lum
{
namespace
{
// Which sectors the new file has: those of the bytes as they lie, a copy of what is in the header's place, zeros to fill the stream
// up, the directory, the table, and the list of the table's sectors.
struct Plan
{
    ULONG ulSectorBytes, ulOld, ulFill, ulCopy, ulDirectory, ulFat, ulFats, ulDifat, ulDifats;

    Plan(ULONGLONG ullBytes, ULONG ulShift) : ulSectorBytes(1u << ulShift)
    {
        const auto ulBlocks = static_cast<ULONG>((ullBytes + ulSectorBytes - 1) >> ulShift);
        ulOld = std::max(ulBlocks, 1u) - 1;
        ulCopy = ulOld;
        ulFill = std::max(ulOld + 1, kulCutoff >> ulShift) - (ulOld + 1);
        ulDirectory = ulCopy + 1 + ulFill;
        ulFat = ulDirectory + 1;
        const ULONG ulEntries = ulSectorBytes / sizeof(ULONG);
        ulFats = ulDifats = 0;
        for (ULONG ulNeeded = 0; ulNeeded != ulFats + ulDifats || ulFats == 0;)
        {
            ulNeeded = ulFats + ulDifats;
            ulFats = (ulFat + ulNeeded + ulEntries - 1) / ulEntries + (ulNeeded == 0 ? 1 : 0);
            ulDifats = ulFats <= kulHeaderFats ? 0 : (ulFats - kulHeaderFats + ulEntries - 2) / (ulEntries - 1);
        }
        ulDifat = ulFat + ulFats;
    }
    ULONG Sectors() const { return ulDifat + ulDifats; }
    ULONGLONG Place(ULONG ulSector) const { return (ULONGLONG{ulSector} + 1) * ulSectorBytes; }
};

std::vector<ULONG> TableOf(const Plan& plan)
{
    std::vector<ULONG> table(std::size_t{plan.ulFats} * (plan.ulSectorBytes / sizeof(ULONG)), kulFree);
    table[plan.ulCopy] = plan.ulOld > 0 ? 0 : plan.ulCopy + 1;
    for (ULONG i = 0; i < plan.ulOld; ++i) table[i] = i + 1 < plan.ulOld ? i + 1 : plan.ulCopy + 1;
    for (ULONG i = plan.ulCopy + 1; i < plan.ulDirectory; ++i) table[i] = i + 1;
    const ULONG ulLast = plan.ulFill > 0 ? plan.ulDirectory - 1 : plan.ulOld > 0 ? plan.ulOld - 1 : plan.ulCopy;
    table[ulLast] = kulEndOfChain;
    table[plan.ulDirectory] = kulEndOfChain;
    std::fill_n(table.begin() + plan.ulFat, plan.ulFats, kulFatSector);
    std::fill_n(table.begin() + plan.ulDifat, plan.ulDifats, kulDifatSector);
    return table;
}

std::vector<CfEntry> DirectoryOf(const Plan& plan, ULONGLONG ullStream)
{
    CfEntry none{};
    none.ulLeft = none.ulRight = none.ulChild = kulNoEntry;
    std::vector<CfEntry> entries(plan.ulSectorBytes / sizeof(CfEntry), none);
    SetNameOfEntry(entries[0], u"Root Entry");
    entries[0].eKind = EntryKind::Root;
    entries[0].eColour = EntryColour::Black;
    entries[0].ulChild = 1;
    entries[0].ulStart = kulEndOfChain;
    SetNameOfEntry(entries[1], u"CONTENTS");
    entries[1].eKind = EntryKind::Stream;
    entries[1].eColour = EntryColour::Black;
    entries[1].ulStart = plan.ulCopy;
    SetEntrySize(entries[1], ullStream);
    return entries;
}

// The list: the table's sectors from the 110th on, and at the end of each of its own the next.
std::vector<ULONG> ListOf(const Plan& plan)
{
    const ULONG ulInOne = plan.ulSectorBytes / 4 - 1;
    std::vector<ULONG> list;
    for (ULONG i = 0; i < plan.ulDifats; ++i)
    {
        for (ULONG j = 0; j < ulInOne; ++j)
        {
            const ULONG ulTable = kulHeaderFats + i * ulInOne + j;
            list.push_back(ulTable < plan.ulFats ? plan.ulFat + ulTable : kulFree);
        }
        list.push_back(i + 1 < plan.ulDifats ? plan.ulDifat + i + 1 : kulEndOfChain);
    }
    return list;
}

// The header that makes it count. Its count of commits is not what stood in that place.
CfHeader HeaderOf(const Plan& plan, WORD uwVersion, const std::vector<BYTE>& first)
{
    CfHeader header = NewHeader(uwVersion), old;
    std::memcpy(&old, first.data(), sizeof old);
    header.ulCommits = old.ulCommits + 1;
    header.ulDirectory = plan.ulDirectory;
    header.ulDirectorySectors = uwVersion == 3 ? 0 : 1;
    header.ulFatSectors = plan.ulFats;
    for (ULONG i = 0; i < std::min(plan.ulFats, kulHeaderFats); ++i) header.aulFat[i] = plan.ulFat + i;
    header.ulDifat = plan.ulDifats > 0 ? plan.ulDifat : kulEndOfChain;
    header.ulDifatSectors = plan.ulDifats;
    return header;
}
} // namespace

HRESULT WrapBytes(StorageBytes& bytes, WORD uwVersion)
{
    const ULONG ulShift = NewHeader(uwVersion).uwSectorShift;
    ULONGLONG ullBytes = 0;
    HRESULT hr = bytes.Size(ullBytes);
    if (FAILED(hr)) return hr;
    if (ullBytes >= kullLockBytes) return STG_E_MEDIUMFULL;
    const Plan plan(ullBytes, ulShift);
    if (plan.Place(plan.Sectors()) >= kullLockBytes) return STG_E_MEDIUMFULL;

    std::vector<BYTE> first(plan.ulSectorBytes);
    std::size_t ulRead = 0;
    hr = bytes.Read(0, first.data(), first.size(), ulRead);
    if (FAILED(hr)) return hr;
    const std::vector<BYTE> zeros(std::size_t{plan.ulFill} * plan.ulSectorBytes);
    const std::vector<CfEntry> directory = DirectoryOf(plan, std::max<ULONGLONG>(ullBytes, kulCutoff));
    const std::vector<ULONG> table = TableOf(plan), list = ListOf(plan);

    struct Piece { ULONG ulSector; const void* pFrom; std::size_t ulBytes; };
    const Piece kPieces[] = {{plan.ulCopy, first.data(), first.size()},
                             {plan.ulCopy + 1, zeros.data(), zeros.size()},
                             {plan.ulDirectory, directory.data(), directory.size() * sizeof(CfEntry)},
                             {plan.ulFat, table.data(), table.size() * sizeof(ULONG)},
                             {plan.ulDifat, list.data(), list.size() * sizeof(ULONG)}};
    for (const Piece& piece : kPieces)
        if (SUCCEEDED(hr) && piece.ulBytes > 0) hr = bytes.Write(plan.Place(piece.ulSector), piece.pFrom, piece.ulBytes);
    if (SUCCEEDED(hr)) hr = bytes.Flush();
    const CfHeader header = HeaderOf(plan, uwVersion, first);
    if (SUCCEEDED(hr)) hr = bytes.Write(0, &header, sizeof header);
    return SUCCEEDED(hr) ? bytes.Flush() : hr;
}
} // namespace lum
