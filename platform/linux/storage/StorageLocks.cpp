#include "StorageLocks.h"

#include "../kernel/ByteLocks.h"
#include "Layout.h"

#include <cerrno>

namespace lum
{
namespace
{
// Behind the bytes of the share modes.
constexpr off_t kllBase = 0x7FFFFFFF10000000;
constexpr off_t kllTurn = kllBase, kllPriority = kllBase + 1, kllSnapshots = kllBase + 2, kllNoSnapshots = kllBase + 3;
constexpr off_t kllPins = kllBase + 0x100; // one for each count of commits, which comes round
constexpr off_t kllPinBytes = 0x10000000;
constexpr ULONG kulPinMask = 0x0FFFFFFF;

HRESULT SetLock(int fd, int iType, off_t llAt)
{
    struct flock lock = ByteLock(iType, llAt, 1);
    while (fcntl(fd, F_OFD_SETLKW, &lock) != 0)
        if (errno != EINTR) return errno == EOPNOTSUPP || errno == ENOSYS || errno == EINVAL ? S_OK : STG_E_LOCKVIOLATION;
    return S_OK;
}

bool IsByteHeld(int fd, off_t llAt) { return IsHeld(fd, F_WRLCK, llAt, 1); }
} // namespace

HRESULT StorageLocks::Enter(bool bNoSnapshot)
{
    // Ours first: of two that exclude each other, both may be refused in the same moment, but never both let in.
    const HRESULT hr = SetLock(mFd, F_RDLCK, bNoSnapshot ? kllNoSnapshots : kllSnapshots);
    if (FAILED(hr)) return hr;
    return IsByteHeld(mFd, bNoSnapshot ? kllSnapshots : kllNoSnapshots) ? STG_E_LOCKVIOLATION : S_OK;
}

HRESULT StorageLocks::SetPriority() { return SetLock(mFd, F_RDLCK, kllPriority); }

bool StorageLocks::IsPriority() const { return IsByteHeld(mFd, kllPriority); }

HRESULT StorageLocks::Pin(ULONG ulCommits)
{
    const ULONG ulPin = ulCommits & kulPinMask;
    if (mbPinned && mulPinned == ulPin) return S_OK;
    const HRESULT hr = SetLock(mFd, F_RDLCK, kllPins + ulPin);
    if (FAILED(hr)) return hr;
    if (mbPinned) SetLock(mFd, F_UNLCK, kllPins + mulPinned);
    mbPinned = true;
    mulPinned = ulPin;
    return S_OK;
}

bool StorageLocks::IsOtherPinned(ULONG ulCommits) const
{
    const off_t llPin = ulCommits & kulPinMask;
    const off_t llBehind = kllPinBytes - llPin - 1;
    if (llPin > 0 && IsHeld(mFd, F_WRLCK, kllPins, llPin)) return true; // no bytes would mean all that follow
    return llBehind > 0 && IsHeld(mFd, F_WRLCK, kllPins + llPin + 1, llBehind);
}

StorageLocks::Turn::Turn(const StorageLocks& locks, bool bAlone)
    : mFd(locks.mFd), mhr(SetLock(mFd, bAlone ? F_WRLCK : F_RDLCK, kllTurn))
{
}

StorageLocks::Turn::~Turn() { SetLock(mFd, F_UNLCK, kllTurn); }

HRESULT ReadCommits(StorageBytes& bytes, ULONG& ulCommits)
{
    ulCommits = 0;
    std::size_t ulRead = 0;
    return bytes.Read(offsetof(CfHeader, ulCommits), &ulCommits, sizeof ulCommits, ulRead);
}

bool MayReuseIn(StorageBytes& bytes, const StorageLocks* pLocks)
{
    ULONG ulCommits = 0;
    return !pLocks || (SUCCEEDED(ReadCommits(bytes, ulCommits)) && !pLocks->IsOtherPinned(ulCommits));
}
} // namespace lum
