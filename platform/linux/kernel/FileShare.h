// Share modes and locked ranges, by locks of the system on the file itself. Internal to platform/linux.
//
//  * A lock belongs to one open of the file: it holds against every other open, in this process or another, and it ends with
//    the last descriptor of that open, however the process ends.
//  * Byte offsets from kllShareBase on, where no data can be, stand for what an open does and what it denies the others.
//    An open locks the bytes of its own, then looks for others that are in its way.
#pragma once

#include "Types.h"

#include <atomic>
#include <mutex>
#include <vector>

namespace lum
{
// What an open does and what it lets others do; bits as in FILE_SHARE_READ, _WRITE and _DELETE.
struct ShareMode
{
    DWORD ulAccess = 0;
    DWORD ulShare = 0;

    bool TakesPart() const { return ulAccess != 0; }
    bool IsAlone() const { return TakesPart() && (ulShare & 3) == 0; } // nobody else can read or write
};

// ShareAccess: the access bits of that kind in specific rights.
DWORD ShareAccess(DWORD ulRights);

// ClaimShare: enters an open into the file's share modes; false when another one is in the way. bCanRead: whether the
//   descriptor is one for reading. The claim ends with DropShare, or with the last descriptor of the open.
bool ClaimShare(int fd, bool bCanRead, const ShareMode& mode);
void DropShare(int fd);

// ClaimAlone: nobody else may open the file until this open ends; false when somebody else has it open. For its last moment,
//   when it is to be deleted: whoever opens it by name meanwhile finds it in use, or gone.
bool ClaimAlone(int fd);

// The locked ranges of one open.
class RangeLocks
{
public:
    RangeLocks(int fd, const ShareMode& share) : mFd(fd), mbAlone(share.IsAlone()) {}
    ~RangeLocks();
    RangeLocks(const RangeLocks&) = delete;
    RangeLocks& operator=(const RangeLocks&) = delete;

    bool Lock(ULONGLONG ullOffset, ULONGLONG ullBytes);   // false: locked already
    bool Unlock(ULONGLONG ullOffset, ULONGLONG ullBytes); // false: no such range

    // Whether another open has locked any of these bytes, for reading or only for writing.
    static constexpr LONGLONG kllAtPosition = -1, kllAtEnd = -2;
    bool IsInTheWay(LONGLONG llOffset, DWORD ulBytes, bool bWrite) const;

private:
    struct Range
    {
        ULONGLONG ullOffset, ullBytes;
    };

    bool IsAnythingLocked() const;
    int LockFd() const
    {
        const int fd = mLockFd.load(std::memory_order_acquire);
        return fd >= 0 ? fd : mFd;
    }

    const int mFd;
    const bool mbAlone;
    std::mutex mMutex;
    std::atomic<int> mLockFd = -1; // an open for reading and writing, when mFd is for reading only and a lock was asked for
    std::vector<Range> mRanges;
    mutable std::atomic<LONGLONG> mllFreeUntil = 0; // the monotonic time up to which no other open's lock counts
};
} // namespace lum
