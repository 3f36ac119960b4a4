// The bytes of a chain, moved between the file and the caller without a copy in between. Internal to platform/linux.
//
//  * The places lie in the chain; the caller has seen to that.
//  * Writing takes fresh sectors for those that are not, and keeps what is not written of them. When it fails, every byte is as it
//    was or as it was to be, and the first ulDone are the latter.
#pragma once

#include "Chain.h"

namespace lum
{
class ChainData
{
public:
    ChainData(SectorFile& file, SectorTable& table, Chain& chain) : mFile(file), mTable(table), mChain(chain) {}

    HRESULT Read(ULONGLONG ullAt, void* pTo, std::size_t ulBytes);
    HRESULT Write(ULONGLONG ullAt, const void* pFrom, std::size_t ulBytes, std::size_t& ulDone);

    // Clear: writes zeros; not where the file has not come to yet, since it will read as zero there.
    HRESULT Clear(ULONGLONG ullAt, ULONGLONG ullEnd);

private:
    HRESULT WriteStale(ULONG ulAt, ULONG ulSectors, ULONG ulInside, const BYTE* pFrom, std::size_t& ulBytes);

    SectorFile& mFile;
    SectorTable& mTable;
    Chain& mChain;
};
} // namespace lum
