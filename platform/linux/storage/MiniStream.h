// Streams below 4096 bytes: pieces of 64 bytes in the mini stream, chained by the mini FAT. Internal to platform/linux.
//
//  * A stream is given by its first piece and as many bytes as its entry says.
//  * Errors: STG_E_DOCFILECORRUPT for chains that end early, come back or lead outside, and those of SectorTable.
#pragma once

#include "PagedChain.h"

namespace lum
{
class MiniStream
{
public:
    // Where its two chains begin, and how long the mini stream is.
    MiniStream(SectorFile& file, SectorTable& table, ULONG ulFat, ULONG ulContents, ULONGLONG ullBytes, ULONG ulCommits)
        : mFat(file, table, ulFat), mContents(file, table, ulContents), mFile(file), mullBytes(ullBytes), mulSeed(ulCommits)
    {
    }

    static ULONG PiecesOf(ULONG ulBytes) { return (ulBytes + kulMiniBytes - 1) >> kulMiniShift; }

    HRESULT Read(ULONG ulFirst, ULONG ulAt, void* pTo, ULONG ulBytes);
    HRESULT Write(ULONG ulFirst, ULONG ulAt, const void* pFrom, ULONG ulBytes, std::size_t& ulDone); // so many, also on failure

    // Follow: reads where its pieces are.
    HRESULT Follow(ULONG ulFirst, ULONG ulPieces)
    {
        ULONG aulPieces[kulMostPieces];
        return Walk(ulFirst, ulPieces, aulPieces);
    }
    // Resize: from so many pieces to so many others.  The first one changes with the first and the last.
    HRESULT Resize(ULONG& ulFirst, ULONG ulPieces, ULONG ulNewPieces);

    // Shrink: gives back sectors behind the last piece in use.
    HRESULT Shrink();
    HRESULT Flush();
    bool IsChanged() const { return mFat.IsChanged() || mContents.IsChanged(); }

    HRESULT Next(ULONG ulPiece, ULONG& ulNext); // what the mini FAT says of a piece
    PagedChain& Fat() { return mFat; }
    PagedChain& Contents() { return mContents; }
    ULONGLONG Bytes() const { return mullBytes; }

private:
    static constexpr ULONG kulMostPieces = kulCutoff / kulMiniBytes;
    static constexpr ULONG kulPageEntries = PagedChain::kulPageBytes / sizeof(ULONG);

    HRESULT Walk(ULONG ulFirst, ULONG ulPieces, ULONG* pulPieces);
    HRESULT Transfer(ULONG ulFirst, ULONG ulAt, void* pBytes, ULONG ulBytes, bool bWrite, std::size_t& ulDone);
    HRESULT SetNext(ULONG ulPiece, ULONG ulNext);
    HRESULT Allocate(ULONG ulMost, ULONG ulHint, ULONG& ulFirst, ULONG& ulCount);
    HRESULT FindFree(ULONG& ulPiece);
    HRESULT Take(ULONG ulPiece, ULONG ulMost, ULONG& ulCount);
    HRESULT MakeRoom(ULONG ulPieces);
    HRESULT StartSearch();
    HRESULT Entries(ULONG& ulEntries);
    HRESULT FreePieces(const ULONG* pulPieces, ULONG ulCount);

    PagedChain mFat;
    PagedChain mContents;
    SectorFile& mFile;
    ULONGLONG mullBytes;
    const ULONG mulSeed;
    FreePages mFree;
    bool mbSearched = false;
    bool mbFreed = false;
};
} // namespace lum
