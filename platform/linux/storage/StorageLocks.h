// What the opens of one compound file must know of each other, by locks of the system on the file itself.
// Internal to platform/linux.
//
//  * A lock belongs to one open of the file: it holds against every other open, in this process or another, and ends with it,
//    however the process ends. They lie where no data can be, beside those of FileShare.h.
//  * A file system without locks has none: there nobody is in anybody's way. Where there are locks and the system has none left,
//    or cannot get at them, nothing goes on without: STG_E_LOCKVIOLATION.
#pragma once

#include "StorageBytes.h"

namespace lum
{
class StorageLocks
{
public:
    explicit StorageLocks(int fd) : mFd(fd) {}

    // Enter: opens without snapshots keep out those with them, and the other way round.  Errors: STG_E_LOCKVIOLATION.
    HRESULT Enter(bool bNoSnapshot);

    // SetPriority: nobody commits while this is open.
    HRESULT SetPriority();
    bool IsPriority() const; // another open's

    // Pin: whoever has pinned a committed state, by its count of commits, goes on reading it: its sectors must stay. When it fails,
    //   the pin before it stays.
    HRESULT Pin(ULONG ulCommits);
    bool IsOtherPinned(ULONG ulCommits) const; // a state that is not that one, by another open

    // The committed state as it is seen by all: looked at by many, or changed by one.
    class Turn
    {
    public:
        Turn(const StorageLocks& locks, bool bAlone);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
        HRESULT Result() const { return mhr; } // whether it has come

    private:
        const int mFd;
        const HRESULT mhr;
    };

private:
    const int mFd;
    bool mbPinned = false;
    ULONG mulPinned = 0;
};

// ReadCommits: the count of commits in a header, or what else stands in that place; 0 when nothing does.
HRESULT ReadCommits(StorageBytes& bytes, ULONG& ulCommits);
// MayReuseIn: StorageBytes::MayReuse of those bytes. Without locks, this open is alone.
bool MayReuseIn(StorageBytes& bytes, const StorageLocks* pLocks);
} // namespace lum
