// The transaction.
#include "CompoundFile.h"

#include <cstring>

namespace lum
{
bool CompoundFile::IsChanged() const
{
    return mpState->table.IsChanged() || mpState->directory.Entries().IsChanged() || mpState->pMini->IsChanged() || mbHeaderUnsure;
}

HRESULT CompoundFile::Commit(bool bFlush)
{
    HRESULT hr = CheckWritable();
    if (FAILED(hr)) return hr;
    if (!IsChanged()) return bFlush && (mbUnflushed || meAccess == StorageAccess::Direct) ? Flush() : S_OK;

    CfHeader header = mHeader;
    mpState->table.SetReserve(true);
    hr = WriteBeside(header, bFlush);
    mpState->table.SetReserve(false);
    if (SUCCEEDED(hr)) hr = WriteHeader(header, bFlush);
    // The disk may have either header. Nothing is written to sectors of the new state before the old one is back.
    if (FAILED(hr) && mbHeaderUnsure && meAccess == StorageAccess::Transacted) WriteHeader(mHeader);
    if (FAILED(hr)) return hr;
    mullSize = mpState->file.Size(); // also when the next runs out of memory
    mpState->table.Committed();
    return S_OK;
}

// Everything but the header.
HRESULT CompoundFile::WriteBeside(CfHeader& header, bool bFlush)
{
    HRESULT hr = FlushContents();
    if (SUCCEEDED(hr)) hr = mpState->table.Place();
    if (SUCCEEDED(hr)) hr = mpState->table.Write();
    if (SUCCEEDED(hr)) hr = mpState->file.Cover(mpState->table.Sectors());
    if (SUCCEEDED(hr)) hr = FillHeader(header);
    // Nothing of the new state may be missing when the header says that it is there.
    return SUCCEEDED(hr) && bFlush && meAccess == StorageAccess::Transacted ? Flush() : hr;
}

// The chains that are held in memory. Each may move, and where it begins is said by the next.
HRESULT CompoundFile::FlushContents()
{
    MiniStream& mini = *mpState->pMini;
    HRESULT hr = mini.Shrink();
    if (SUCCEEDED(hr)) hr = mini.Flush();
    const CfEntry* pRoot = nullptr;
    if (SUCCEEDED(hr)) hr = mpState->directory.Get(kulRootEntry, pRoot);
    if (FAILED(hr)) return hr;
    const bool bMoved = mini.Contents().First() != pRoot->ulStart || mini.Bytes() != SizeOf(*pRoot);
    if (bMoved) hr = SetExtent(kulRootEntry, mini.Contents().First(), mini.Bytes());
    return SUCCEEDED(hr) ? mpState->directory.Entries().Flush() : hr;
}

HRESULT CompoundFile::FillHeader(CfHeader& header)
{
    mpState->table.Fill(header);
    header.ulDirectory = mpState->directory.Entries().First();
    header.ulMiniFat = mpState->pMini->Fat().First();
    if (meAccess == StorageAccess::Transacted) ++header.ulCommits;
    // A length that nobody had to know has not changed.
    PagedChain& fat = mpState->pMini->Fat();
    PagedChain& entries = mpState->directory.Entries();
    const HRESULT hr = fat.IsWhole() ? fat.Length(header.ulMiniFatSectors) : S_OK;
    return FAILED(hr) || header.uwMajor == 3 || !entries.IsWhole() ? hr : entries.Length(header.ulDirectorySectors);
}

HRESULT CompoundFile::WriteHeader(const CfHeader& header, bool bFlush)
{
    mbHeaderUnsure = true;
    HRESULT hr = mBytes.Write(0, &header, sizeof header);
    if (FAILED(hr) && meAccess == StorageAccess::Transacted) mhrLost = hr;
    if (SUCCEEDED(hr) && bFlush) hr = Flush();
    if (FAILED(hr)) return hr;
    mbHeaderUnsure = false;
    mbUnflushed = !bFlush;
    mHeader = header;
    return S_OK;
}

// A failure is told once: pages that could not be written look clean afterwards, and the next flush would say that all is well.
HRESULT CompoundFile::Flush()
{
    mhrLost = mBytes.Flush();
    if (SUCCEEDED(mhrLost)) mbUnflushed = false;
    return mhrLost;
}

void CompoundFile::Abandon()
{
    if (meAccess == StorageAccess::Transacted && SUCCEEDED(mhrLost) && mpState->file.Size() > mullSize) mpState->file.Cut(mullSize);
}

HRESULT CompoundFile::Revert() { return RevertTo(Last()); }

HRESULT CompoundFile::RevertTo(const Committed& state)
{
    if (meAccess != StorageAccess::Transacted) return S_OK;
    std::unique_ptr<State> pState;
    HRESULT hr = Load(state.header, state.ullSize, pState);
    const bool bOther = std::memcmp(&state.header, &mHeader, sizeof mHeader) != 0;
    if (SUCCEEDED(hr) && (FAILED(mhrLost) || bOther)) hr = WriteHeader(state.header);
    if (SUCCEEDED(hr) && mpState->file.Size() > state.ullSize) hr = mpState->file.Cut(state.ullSize);
    if (FAILED(hr)) return hr;
    mullSize = state.ullSize;
    mpState = std::move(pState);
    return S_OK;
}
} // namespace lum
