#include "StorageLocks.h"

#include "Layout.h"

#include <fcntl.h>

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

struct flock MakeLock(int iType, off_t llStart, off_t llBytes)
{
    struct flock lock{};
    lock.l_type = static_cast<short>(iType);
    lock.l_whence = SEEK_SET;
    lock.l_start = llStart;
    lock.l_len = llBytes;
    return lock;
}

void SetLock(int fd, int iType, off_t llAt)
{
    struct flock lock = MakeLock(iType, llAt, 1);
    while (fcntl(fd, F_OFD_SETLKW, &lock) != 0 && errno == EINTR) {}
}

bool IsHeld(int fd, off_t llStart, off_t llBytes)
{
    struct flock lock = MakeLock(F_WRLCK, llStart, llBytes);
    return llBytes > 0 && fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}
} // namespace

HRESULT StorageLocks::Enter(bool bNoSnapshot)
{
    // Ours first: of two that exclude each other, both may be refused in the same moment, but never both let in.
    SetLock(mFd, F_RDLCK, bNoSnapshot ? kllNoSnapshots : kllSnapshots);
    return IsHeld(mFd, bNoSnapshot ? kllSnapshots : kllNoSnapshots, 1) ? STG_E_LOCKVIOLATION : S_OK;
}

void StorageLocks::SetPriority() { SetLock(mFd, F_RDLCK, kllPriority); }

bool StorageLocks::IsPriority() const { return IsHeld(mFd, kllPriority, 1); }

void StorageLocks::Pin(ULONG ulCommits)
{
    const ULONG ulPin = ulCommits & kulPinMask;
    if (mbPinned && mulPinned == ulPin) return;
    SetLock(mFd, F_RDLCK, kllPins + ulPin);
    if (mbPinned) SetLock(mFd, F_UNLCK, kllPins + mulPinned);
    mbPinned = true;
    mulPinned = ulPin;
}

bool StorageLocks::IsOtherPinned(ULONG ulCommits) const
{
    const off_t llPin = ulCommits & kulPinMask;
    return IsHeld(mFd, kllPins, llPin) || IsHeld(mFd, kllPins + llPin + 1, kllPinBytes - llPin - 1);
}

StorageLocks::Turn::Turn(const StorageLocks& locks, bool bAlone) : mFd(locks.mFd)
{
    SetLock(mFd, bAlone ? F_WRLCK : F_RDLCK, kllTurn);
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
