// A chain whose contents are held in memory, by pages, as far as they were looked at. Internal to platform/linux.
//
//  * What is pointed at stays where it is until Flush, Cut or Trim. It must not go over the end of a page.
//  * Changes are written by Flush, to fresh sectors. What was appended gets its sectors only then, and so lies in one piece.
#pragma once

#include "Chain.h"

#include <array>

namespace lum
{
class PagedChain
{
public:
    static constexpr ULONG kulPageBytes = 16384;

    PagedChain(SectorFile& file, SectorTable& table, ULONG ulFirst) : mFile(file), mChain(table, ulFirst), mTable(table) {}

    ULONG First() const { return mChain.First(); }
    bool IsWhole() const { return mChain.IsWhole(); } // Length costs nothing
    HRESULT Length(ULONG& ulSectors);

    // Look: the bytes at that place, to be read.   Change: to be written.   View: as Look, all that there are up to the page's end.
    HRESULT Look(ULONGLONG ullAt, ULONG ulBytes, const BYTE*& pByte);
    HRESULT View(ULONGLONG ullAt, const BYTE*& pByte, ULONG& ulBytes);
    HRESULT Change(ULONGLONG ullAt, ULONG ulBytes, BYTE*& pByte);

    HRESULT Append(ULONG ulSectors, BYTE ubFill);
    HRESULT Cut(ULONG ulKeep);
    HRESULT Flush();
    bool IsChanged() const { return !mDirty.empty(); }

    // Trim: forgets the pages when there are too many, which it may have to write first.
    HRESULT Trim();

private:
    static constexpr ULONG kulInBlock = 256, kulMostPages = 2048;

    struct Page
    {
        std::unique_ptr<BYTE[]> pBytes;
        ULONG ulSectors = 0;       // as many of them belong to the chain
        std::uint32_t ulDirty = 0; // a bit for each
    };
    using Block = std::array<Page, kulInBlock>;

    ULONG PageSectors() const { return kulPageBytes >> mFile.Shift(); }
    Page& PageAt(ULONG ulPage);
    Page* Loaded(ULONG ulPage) const;
    HRESULT Load(ULONG ulPage, Page*& pPage);
    HRESULT Reach(ULONGLONG ullAt, Page*& pPage);
    void MarkDirty(ULONG ulPage, Page& page, ULONG ulFirst, ULONG ulCount);
    HRESULT WritePage(ULONG ulPage, Page& page);

    SectorFile& mFile;
    Chain mChain;
    SectorTable& mTable;
    std::vector<std::unique_ptr<Block>> mBlocks;
    std::vector<ULONG> mDirty;
    ULONG mulPages = 0;   // that are in memory
    ULONG mulPending = 0; // sectors at the end that are in memory alone
};
} // namespace lum
