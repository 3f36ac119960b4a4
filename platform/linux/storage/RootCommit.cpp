// Commits beside those of other opens.
#include "RootContents.h"
#include "RootFile.h"
#include "WrapBytes.h"

namespace lum
{
namespace
{
// The file as another open left it, to be filled anew. What we still read of an older state stays, though nobody else pins it.
class KeepingBytes final : public DescriptorBytes
{
public:
    using DescriptorBytes::DescriptorBytes;
    bool MayReuse() override { return false; }
};

// Puts our contents in the place of those that others have committed since, in one transaction.
HRESULT Overwrite(int fd, CompoundFile& ours)
{
    KeepingBytes bytes(fd);
    CompoundFile theirs(bytes);
    HRESULT hr = theirs.Open(StorageAccess::Transacted);
    if (SUCCEEDED(hr)) hr = EmptyStorage(theirs, kulRootEntry);
    if (SUCCEEDED(hr)) hr = CopyContents(ours, theirs);
    if (SUCCEEDED(hr)) hr = theirs.Commit();
    // Nothing of a commit that failed may stay behind the end.
    if (FAILED(hr)) theirs.Revert();
    return hr;
}
} // namespace

HRESULT RootFile::Commit(DWORD ulFlags)
{
    if (!CanWrite()) return STG_E_ACCESSDENIED;
    const StorageLocks::Turn turn(mLocks, true);
    if (mLocks.IsPriority()) return STG_E_LOCKVIOLATION;
    ULONG ulCommits = 0;
    HRESULT hr = ReadCommits(mDisk, ulCommits);
    const bool bCurrent = ulCommits == mulCommits;
    if (SUCCEEDED(hr) && !bCurrent && (ulFlags & STGC_ONLYIFCURRENT)) hr = STG_E_NOTCURRENT;
    if (FAILED(hr)) return hr;
    if (mScratch && !mbUnpublished && meBeginning == Beginning::Found && !mpCompound->IsChanged()) return S_OK;
    hr = mpCompound->Commit((ulFlags & STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE) == 0);
    if (FAILED(hr)) return hr;
    if (mScratch)
    {
        mbUnpublished = true;
        mbApart = mbApart || !bCurrent;
        hr = mbApart ? Overwrite(mFd, *mpCompound) : mScratch->Publish();
        if (FAILED(hr)) return hr;
        mbUnpublished = false;
    }
    meBeginning = Beginning::Found;
    hr = ReadCommits(mDisk, mulCommits);
    if (mScratch && !mbApart)
    {
        mLocks.Pin(mulCommits);
        mpCompound->Renew();
    }
    return hr;
}

HRESULT RootFile::Revert()
{
    const bool bReopen = mbUnpublished && !mbApart;
    HRESULT hr = bReopen ? mScratch->Begin() : mpCompound->Revert();
    if (bReopen)
    {
        // What the scratch took for committed never came into the file.
        mbUnpublished = false;
        if (SUCCEEDED(hr) && meBeginning != Beginning::Found && muwWrapped != 0) hr = WrapBytes(*mScratch, muwWrapped);
        if (SUCCEEDED(hr)) hr = mpCompound->Open(StorageAccess::Transacted);
    }
    return SUCCEEDED(hr) ? StartOver() : hr;
}
} // namespace lum
