// The numbered sectors of a compound file, in bytes. Internal to platform/linux.
//
//  * A place is a sector and bytes behind its start; what is transferred may go over many sectors.
//  * Bytes beyond the end read as zero: whoever asks knows that the sector exists.
#pragma once

#include "Layout.h"
#include "StorageBytes.h"

namespace lum
{
class SectorFile
{
public:
    SectorFile(StorageBytes& bytes, ULONG ulShift, ULONGLONG ullSize) : mBytes(bytes), mulShift(ulShift), mullSize(ullSize) {}

    ULONG Shift() const { return mulShift; }
    ULONG SectorBytes() const { return 1u << mulShift; }
    ULONGLONG SectorsOf(ULONGLONG ullBytes) const { return (ullBytes >> mulShift) + (ullBytes % SectorBytes() != 0); }

    // Count: the sectors that the file holds, a last one in part included.
    ULONG Count() const;
    // IsBeyond: whether the sector lies wholly behind the end.
    bool IsBeyond(ULONG ulSector) const { return Place(ulSector) >= mullSize; }

    HRESULT Read(ULONG ulSector, ULONGLONG ullBehind, void* pTo, std::size_t ulBytes) const;
    HRESULT Write(ULONG ulSector, ULONGLONG ullBehind, const void* pFrom, std::size_t ulBytes);

    // Cover: makes the file long enough for so many sectors.   Cut: makes it as long as it was.
    HRESULT Cover(ULONG ulSectors);
    HRESULT Cut(ULONGLONG ullSize);
    ULONGLONG Size() const { return mullSize; }

    StorageBytes& Bytes() const { return mBytes; }

private:
    ULONGLONG Place(ULONGLONG ullSector) const { return (ullSector + 1) << mulShift; }

    StorageBytes& mBytes;
    ULONG mulShift;
    ULONGLONG mullSize;
};
} // namespace lum
