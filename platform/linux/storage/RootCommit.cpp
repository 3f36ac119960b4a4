// Commits beside those of other opens.
#include "RootContents.h"
#include "RootFile.h"

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
    if (FAILED(hr)) return hr;
    hr = theirs.Empty(kulRootEntry);
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
    if (FAILED(turn.Result())) return turn.Result();
    if (mLocks.IsPriority()) return STG_E_LOCKVIOLATION;
    ULONG ulCommits = 0;
    HRESULT hr = mScratch ? mScratch->Settle() : S_OK;
    if (SUCCEEDED(hr)) hr = ReadCommits(mDisk, ulCommits);
    const bool bCurrent = ulCommits == mulCommits;
    if (SUCCEEDED(hr) && !bCurrent && (ulFlags & STGC_ONLYIFCURRENT)) hr = STG_E_NOTCURRENT;
    if (FAILED(hr)) return hr;
    if (mScratch && !mPublished && meBeginning == Beginning::Found && !mpCompound->IsChanged()) return S_OK;
    if (mScratch && !mPublished) mPublished = mpCompound->Last();
    hr = mpCompound->Commit((ulFlags & STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE) == 0);
    if (FAILED(hr)) return hr;
    if (mScratch)
    {
        const bool bApart = mbApart || !bCurrent;
        hr = bApart ? Overwrite(mFd, *mpCompound) : Publish();
        if (FAILED(hr)) return hr;
        mbApart = bApart;
        mPublished.reset();
    }
    meBeginning = Beginning::Found;
    mulCommits = mbApart ? ulCommits + 1 : mpCompound->Last().header.ulCommits;
    if (mScratch && !mbApart)
    {
        mLocks.Pin(mulCommits);
        mpCompound->Renew();
    }
    return S_OK;
}

HRESULT RootFile::Publish()
{
    static constexpr BYTE kaubZeros[4096 - sizeof(CfHeader)] = {};
    const HRESULT hr = mScratch->Publish();
    // Behind a header that was put before other bytes lie the first of them, until it counts. They disturb nobody.
    if (SUCCEEDED(hr) && meBeginning != Beginning::Found && muwWrapped == 4)
        mDisk.Write(sizeof(CfHeader), kaubZeros, sizeof kaubZeros);
    return hr;
}

HRESULT RootFile::Revert()
{
    const HRESULT hr = mPublished ? mpCompound->RevertTo(*mPublished) : mpCompound->Revert();
    if (FAILED(hr)) return hr;
    mPublished.reset();
    return StartOver();
}
} // namespace lum
