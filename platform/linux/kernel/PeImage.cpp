#include "PeImage.h"

#include <cstring>

namespace lum
{
namespace
{
constexpr WORD kuwDosMagic = 0x5A4D;          // "MZ"
constexpr ULONG kulPeMagic = 0x00004550;      // "PE", two zeros
constexpr WORD kuwPe32 = 0x010B;
constexpr WORD kuwPe32Plus = 0x020B;
constexpr WORD kuwExecutable = 0x0002;        // in PeHeader::uwCharacteristics: the linker finished the file
constexpr ULONG kulResourceDirectory = 2;     // its index among the data directories
constexpr ULONG kulBranch = 0x80000000u;      // in a PeResourceEntry: a name, or a directory one level down
constexpr WORD kauwLanguages[] = {0x0000, 0x0409}; // tried in this order, then whichever comes first

struct PeDosHeader
{
    WORD uwMagic;       // 0x00
    BYTE aubUnused[58]; // 0x02
    ULONG ulPeHeader;   // 0x3C  where PeHeader starts
};
static_assert(sizeof(PeDosHeader) == 0x40 && offsetof(PeDosHeader, ulPeHeader) == 0x3C);

struct PeHeader
{
    ULONG ulMagic;          // 0x00
    WORD uwMachine;         // 0x04
    WORD uwSections;        // 0x06
    ULONG ulTime;           // 0x08
    ULONG ulSymbols;        // 0x0C
    ULONG ulSymbolCount;    // 0x10
    WORD uwOptionalBytes;   // 0x14  size of the optional header, which follows; then the section table
    WORD uwCharacteristics; // 0x16
};
static_assert(sizeof(PeHeader) == 0x18 && offsetof(PeHeader, uwOptionalBytes) == 0x14);

struct PeDirectory // where something lies once the file is loaded
{
    ULONG ulRva;
    ULONG ulBytes;
};

struct PeSection
{
    BYTE aubName[8];           // 0x00
    ULONG ulVirtualBytes;      // 0x08  0: as many as in the file
    ULONG ulRva;               // 0x0C
    ULONG ulRawBytes;          // 0x10
    ULONG ulRawOffset;         // 0x14
    BYTE aubUnused[12];        // 0x18
    ULONG ulCharacteristics;   // 0x24
};
static_assert(sizeof(PeSection) == 0x28 && offsetof(PeSection, ulRawOffset) == 0x14);

struct PeResourceDirectory // followed by its entries, those with names first
{
    ULONG ulCharacteristics; // 0x00
    ULONG ulTime;            // 0x04
    WORD uwMajor;            // 0x08
    WORD uwMinor;            // 0x0A
    WORD uwNamed;            // 0x0C
    WORD uwIds;              // 0x0E
};
static_assert(sizeof(PeResourceDirectory) == 0x10);

struct PeResourceEntry
{
    ULONG ulName;   // 0x00  id, or kulBranch and the offset of a counted text
    ULONG ulTarget; // 0x04  offset of a PeResourceData, or kulBranch and the offset of a directory
};
static_assert(sizeof(PeResourceEntry) == 8);

struct PeResourceData
{
    ULONG ulRva;      // 0x00
    ULONG ulBytes;    // 0x04
    ULONG ulCodePage; // 0x08
    ULONG ulReserved; // 0x0C
};
static_assert(sizeof(PeResourceData) == 0x10);

bool Holds(std::span<const BYTE> bytes, std::size_t ulOffset, std::size_t ulBytes)
{
    return ulOffset <= bytes.size() && ulBytes <= bytes.size() - ulOffset;
}

// Copies a record out of the bytes, which need not be aligned; false when it does not lie wholly inside them.
template <class T>
bool Fetch(std::span<const BYTE> bytes, std::size_t ulOffset, T& record)
{
    if (!Holds(bytes, ulOffset, sizeof record)) return false;
    std::memcpy(&record, bytes.data() + ulOffset, sizeof record);
    return true;
}

// One directory of the tree, with all its entries known to lie inside it.
struct Directory
{
    std::size_t ulEntries = 0;
    ULONG ulNamed = 0;
    ULONG ulIds = 0;
};

bool OpenDirectory(std::span<const BYTE> tree, std::size_t ulOffset, Directory& directory)
{
    PeResourceDirectory head;
    if (!Fetch(tree, ulOffset, head)) return false;
    directory = {ulOffset + sizeof head, head.uwNamed, head.uwIds};
    return Holds(tree, directory.ulEntries, (directory.ulNamed + directory.ulIds) * sizeof(PeResourceEntry));
}

PeResourceEntry EntryAt(std::span<const BYTE> tree, const Directory& directory, ULONG ulIndex)
{
    PeResourceEntry entry{};
    Fetch(tree, directory.ulEntries + ulIndex * sizeof entry, entry);
    return entry;
}

// Whether the counted text at that offset is the wanted one; false in bGood when it does not lie inside the tree.
bool SameName(std::span<const BYTE> tree, std::size_t ulOffset, const PeName& wanted, bool& bGood)
{
    WORD uwChars = 0;
    bGood = Fetch(tree, ulOffset, uwChars) && Holds(tree, ulOffset + sizeof uwChars, uwChars * sizeof(WCHAR));
    if (!bGood || uwChars != wanted.ulChars) return false;
    return std::memcmp(tree.data() + ulOffset + sizeof uwChars, wanted.pText, uwChars * sizeof(WCHAR)) == 0;
}

PeFault FindByName(std::span<const BYTE> tree, const Directory& directory, const PeName& wanted, PeFault eMissing, ULONG& ulTarget)
{
    for (ULONG i = 0; i < directory.ulNamed; ++i)
    {
        const PeResourceEntry entry = EntryAt(tree, directory, i);
        bool bGood = (entry.ulName & kulBranch) != 0;
        const bool bSame = bGood && SameName(tree, entry.ulName & ~kulBranch, wanted, bGood);
        if (!bGood) return PeFault::BadImage;
        if (!bSame) continue;
        ulTarget = entry.ulTarget;
        return PeFault::None;
    }
    return eMissing;
}

PeFault FindById(std::span<const BYTE> tree, const Directory& directory, WORD uwId, PeFault eMissing, ULONG& ulTarget)
{
    for (ULONG i = 0; i < directory.ulIds; ++i)
    {
        const PeResourceEntry entry = EntryAt(tree, directory, directory.ulNamed + i);
        if (entry.ulName != uwId) continue;
        ulTarget = entry.ulTarget;
        return PeFault::None;
    }
    return eMissing;
}

// One level down: from the directory at ulOffset to the one below its entry of that name.
PeFault Descend(std::span<const BYTE> tree, const PeName& wanted, PeFault eMissing, std::size_t& ulOffset)
{
    Directory directory;
    if (!OpenDirectory(tree, ulOffset, directory)) return PeFault::BadImage;

    ULONG ulTarget = 0;
    const PeFault eFault = wanted.pText ? FindByName(tree, directory, wanted, eMissing, ulTarget)
                                        : FindById(tree, directory, wanted.uwId, eMissing, ulTarget);
    if (eFault != PeFault::None) return eFault;
    if (!(ulTarget & kulBranch)) return PeFault::BadImage;
    ulOffset = ulTarget & ~kulBranch;
    return PeFault::None;
}

// The last level: the data entry of the language that suits best.
PeFault ChooseLanguage(std::span<const BYTE> tree, std::size_t ulOffset, ULONG& ulTarget)
{
    Directory directory;
    if (!OpenDirectory(tree, ulOffset, directory)) return PeFault::BadImage;
    if (directory.ulIds == 0) return PeFault::NoLanguage;

    ulTarget = EntryAt(tree, directory, directory.ulNamed).ulTarget;
    for (WORD uwLanguage : kauwLanguages)
    {
        if (FindById(tree, directory, uwLanguage, PeFault::NoLanguage, ulTarget) == PeFault::None) break;
    }
    const bool bLeaf = !(ulTarget & kulBranch) && Holds(tree, ulTarget, sizeof(PeResourceData));
    return bLeaf ? PeFault::None : PeFault::BadImage;
}
} // namespace

PeFault PeImage::Open(std::span<const BYTE> bytes)
{
    *this = PeImage();
    PeDosHeader dos;
    PeHeader header;
    if (!Fetch(bytes, 0, dos) || dos.uwMagic != kuwDosMagic) return PeFault::BadImage;
    if (!Fetch(bytes, dos.ulPeHeader, header) || header.ulMagic != kulPeMagic) return PeFault::BadImage;
    if (!(header.uwCharacteristics & kuwExecutable)) return PeFault::BadImage;

    const std::size_t ulOptional = dos.ulPeHeader + sizeof header;
    const std::size_t ulSections = ulOptional + header.uwOptionalBytes;
    if (!Holds(bytes, ulSections, header.uwSections * sizeof(PeSection))) return PeFault::BadImage;

    mFile = bytes;
    mulSections = ulSections;
    muwSectionCount = header.uwSections;
    const PeFault eFault = FindResources(ulOptional, header.uwOptionalBytes);
    if (eFault != PeFault::None) *this = PeImage();
    return eFault;
}

PeFault PeImage::FindResources(std::size_t ulOptional, std::size_t ulOptionalBytes)
{
    // A file that has lost its end is refused as a whole, as the Windows loader does.
    for (WORD i = 0; i < muwSectionCount; ++i)
    {
        PeSection section;
        if (!Fetch(mFile, mulSections + i * sizeof section, section)) return PeFault::BadImage;
        if (section.ulRawBytes && !Holds(mFile, section.ulRawOffset, section.ulRawBytes)) return PeFault::BadImage;
    }

    const std::span<const BYTE> optional = mFile.subspan(ulOptional, ulOptionalBytes);
    WORD uwMagic = 0;
    if (!Fetch(optional, 0, uwMagic) || (uwMagic != kuwPe32 && uwMagic != kuwPe32Plus)) return PeFault::BadImage;

    // The two kinds differ before this point in the width of some addresses.
    const std::size_t ulDirectories = uwMagic == kuwPe32 ? 0x60 : 0x70;
    ULONG ulCount = 0;
    if (!Fetch(optional, ulDirectories - sizeof ulCount, ulCount)) return PeFault::BadImage;
    if (ulCount <= kulResourceDirectory) return PeFault::None;

    PeDirectory where;
    if (!Fetch(optional, ulDirectories + kulResourceDirectory * sizeof where, where)) return PeFault::BadImage;
    if (where.ulRva == 0 || where.ulBytes == 0) return PeFault::None;

    std::size_t ulOffset = 0;
    if (!MapRva(where.ulRva, where.ulBytes, ulOffset)) return PeFault::BadImage;
    mResources = mFile.subspan(ulOffset, where.ulBytes);
    return PeFault::None;
}

// From an address in the loaded image to a place in the file, for a stretch that lies in one section and is all in the file.
bool PeImage::MapRva(ULONG ulRva, ULONG ulBytes, std::size_t& ulOffset) const
{
    for (WORD i = 0; i < muwSectionCount; ++i)
    {
        PeSection section;
        if (!Fetch(mFile, mulSections + i * sizeof section, section)) return false;
        ULONG ulLength = section.ulRawBytes; // what is longer in memory is filled with zeros there
        if (section.ulVirtualBytes && section.ulVirtualBytes < ulLength) ulLength = section.ulVirtualBytes;
        if (ulLength == 0 || ulRva < section.ulRva) continue; // one without bytes may say it lies anywhere

        const ULONG ulInside = ulRva - section.ulRva;
        if (ulInside > ulLength || ulBytes > ulLength - ulInside) continue;
        ulOffset = std::size_t{section.ulRawOffset} + ulInside;
        return true;
    }
    return false;
}

PeFault PeImage::Find(const PeName& type, const PeName& name, std::size_t& ulEntry) const
{
    if (mResources.empty()) return PeFault::NoResources;

    // Three levels, each visited once: whatever a damaged tree points at, there is no way round in circles.
    std::size_t ulOffset = 0;
    ULONG ulData = 0;
    PeFault eFault = Descend(mResources, type, PeFault::NoType, ulOffset);
    if (eFault == PeFault::None) eFault = Descend(mResources, name, PeFault::NoName, ulOffset);
    if (eFault == PeFault::None) eFault = ChooseLanguage(mResources, ulOffset, ulData);
    if (eFault == PeFault::None) ulEntry = static_cast<std::size_t>(mResources.data() - mFile.data()) + ulData;
    return eFault;
}

PeFault PeImage::Data(std::size_t ulEntry, std::span<const BYTE>& data) const
{
    PeResourceData entry;
    std::size_t ulOffset = 0;
    if (!Fetch(mFile, ulEntry, entry) || !MapRva(entry.ulRva, entry.ulBytes, ulOffset)) return PeFault::BadImage;
    data = mFile.subspan(ulOffset, entry.ulBytes);
    return PeFault::None;
}
} // namespace lum
