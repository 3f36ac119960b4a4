// The records of a compound file; docs/format_storage.md draws them. Internal to platform/linux.
#pragma once

#include "../com/Guids.h"

namespace lum
{
constexpr BYTE kaubCfMagic[8] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
constexpr BYTE kaubCfOldMagic[8] = {0x0E, 0x11, 0xFC, 0x0D, 0xD0, 0xCF, 0x11, 0xE0};

constexpr ULONG kulMaxSector = 0xFFFFFFFA; // the largest number that is a sector
constexpr ULONG kulDifatSector = 0xFFFFFFFC;
constexpr ULONG kulFatSector = 0xFFFFFFFD;
constexpr ULONG kulEndOfChain = 0xFFFFFFFE;
constexpr ULONG kulFree = 0xFFFFFFFF;
constexpr ULONG kulNoEntry = 0xFFFFFFFF;
constexpr ULONG kulRootEntry = 0;

constexpr ULONG kulMiniShift = 6, kulMiniBytes = 64;
constexpr ULONG kulCutoff = 4096; // streams from this size on have sectors of their own
constexpr ULONG kulHeaderFats = 109;
constexpr ULONGLONG kullLockBytes = 0x7FFFFF00; // of the file; the sector they lie in is nobody's
constexpr ULONG kulMaxNameUnits = 31;

struct CfHeader
{
    BYTE aubMagic[8];          // 0x00
    CLSID clsid;               // 0x08  zero
    WORD uwMinor;              // 0x18
    WORD uwMajor;              // 0x1A  3 or 4
    WORD uwByteOrder;          // 0x1C
    WORD uwSectorShift;        // 0x1E  9 or 12
    WORD uwMiniShift;          // 0x20
    BYTE aubReserved[6];       // 0x22
    ULONG ulDirectorySectors;  // 0x28  0 in version 3
    ULONG ulFatSectors;        // 0x2C
    ULONG ulDirectory;         // 0x30  first sector
    ULONG ulCommits;           // 0x34
    ULONG ulCutoff;            // 0x38
    ULONG ulMiniFat;           // 0x3C  first sector
    ULONG ulMiniFatSectors;    // 0x40
    ULONG ulDifat;             // 0x44  first sector
    ULONG ulDifatSectors;      // 0x48
    ULONG aulFat[kulHeaderFats]; // 0x4C
};
static_assert(sizeof(CfHeader) == 512 && offsetof(CfHeader, uwMajor) == 0x1A && offsetof(CfHeader, ulDirectorySectors) == 0x28);
static_assert(offsetof(CfHeader, ulMiniFat) == 0x3C && offsetof(CfHeader, aulFat) == 0x4C);

enum class EntryKind : BYTE { Free = 0, Storage = 1, Stream = 2, Root = 5 };
enum class EntryColour : BYTE { Red = 0, Black = 1 };

struct CfEntry
{
    char16_t auwName[32]; // 0x00
    WORD uwNameBytes;     // 0x40  with the terminator
    EntryKind eKind;      // 0x42
    EntryColour eColour;  // 0x43
    ULONG ulLeft;         // 0x44
    ULONG ulRight;        // 0x48
    ULONG ulChild;        // 0x4C
    CLSID clsid;          // 0x50
    ULONG ulState;        // 0x60
    FILETIME created;     // 0x64
    FILETIME modified;    // 0x6C
    ULONG ulStart;        // 0x74
    ULONG ulSizeLow;      // 0x78
    ULONG ulSizeHigh;     // 0x7C  anything in version 3
};
static_assert(sizeof(CfEntry) == 128 && offsetof(CfEntry, ulLeft) == 0x44 && offsetof(CfEntry, created) == 0x64);
static_assert(offsetof(CfEntry, ulStart) == 0x74);

inline ULONGLONG EntrySize(const CfEntry& entry, WORD uwMajor)
{
    return uwMajor == 3 ? entry.ulSizeLow : (ULONGLONG{entry.ulSizeHigh} << 32) | entry.ulSizeLow;
}
inline void SetEntrySize(CfEntry& entry, ULONGLONG ullBytes)
{
    entry.ulSizeLow = static_cast<ULONG>(ullBytes);
    entry.ulSizeHigh = static_cast<ULONG>(ullBytes >> 32);
}
} // namespace lum
