#include "FileShare.h"

#include "ByteLocks.h"
#include "DescriptorPath.h"
#include "Files.h"

#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>

namespace lum
{
namespace
{
constexpr off_t kllShareBase = 0x7FFFFFFF00000000; // data ends below

// Asking the system for locks costs as much as half a small write. So a transfer that finds none does not ask again for a
// moment, and whoever locks a range waits until every such moment is over before it takes the range for locked. The clock that
// costs least moves in ticks, of up to a hundredth of a second.
constexpr LONGLONG kllTrustNanoseconds = 1'000'000;

LONGLONG CoarseNanoseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now.tv_sec * 1'000'000'000ll + now.tv_nsec;
}

void WaitForTrustToEnd()
{
    timespec tick{};
    clock_getres(CLOCK_MONOTONIC_COARSE, &tick);
    timespec rest{0, tick.tv_nsec + 2 * kllTrustNanoseconds};
    while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {}
}

// Each thing that an open can do or deny is a class, in an order that makes neighbours of what is asked about together.
enum ShareClass : unsigned { DenyRead, DoWrite, DoDelete, DoRead, DenyWrite, DenyDelete, kClasses };

struct ShareRow
{
    DWORD ulBit;
    ShareClass eDo, eDeny;
};
constexpr ShareRow kRows[] = {
    {FILE_SHARE_READ, DoRead, DenyRead}, {FILE_SHARE_WRITE, DoWrite, DenyWrite}, {FILE_SHARE_DELETE, DoDelete, DenyDelete}};

// A class has one byte that all opens share which can read, and a stretch of bytes for those which can only write: they cannot
// hold a shared lock, so each takes one of its own.
constexpr off_t kllOwnBase = kllShareBase + kClasses;
constexpr off_t kllOwnBytes = 0x01000000;
constexpr off_t kllAllBytes = kClasses + kClasses * kllOwnBytes;

// 1 taken, 0 another open holds it, -1 the file cannot be locked in this way.
int TryLock(int fd, int iType, off_t llStart, off_t llBytes)
{
    struct flock lock = ByteLock(iType, llStart, llBytes);
    if (fcntl(fd, F_OFD_SETLK, &lock) == 0) return 1;
    return errno == EAGAIN || errno == EACCES ? 0 : -1;
}

// The opens of a file take turns at claiming, so that of two that exclude each other exactly one comes through. A program
// that holds this lock for reasons of its own delays us for a moment only: without the turn both may be refused, never both let in.
class Turn
{
public:
    explicit Turn(int fd) : mFd(fd)
    {
        for (int i = 0; i < kiTries; ++i)
        {
            if (flock(fd, LOCK_EX | LOCK_NB) == 0)
            {
                mbMine = true;
                return;
            }
            if (errno != EWOULDBLOCK && errno != EINTR) return;
            const timespec pause{0, i < 10 ? 20'000 : 500'000};
            nanosleep(&pause, nullptr);
        }
    }
    ~Turn() { if (mbMine) flock(mFd, LOCK_UN); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    static constexpr int kiTries = 400;
    const int mFd;
    bool mbMine = false;
};

// Calls step(first, count) for every run of neighbours in a set of classes, until one answers false.
template <class Step>
bool ForEachRun(unsigned uClasses, Step step)
{
    for (unsigned uFirst = 0; uFirst < kClasses; ++uFirst)
    {
        unsigned uEnd = uFirst;
        while (uEnd < kClasses && uClasses & 1u << uEnd) ++uEnd;
        if (uEnd == uFirst) continue;
        if (!step(uFirst, uEnd - uFirst)) return false;
        uFirst = uEnd;
    }
    return true;
}

bool TakeSharedPlaces(int fd, unsigned uClasses)
{
    return ForEachRun(uClasses, [fd](unsigned uFirst, unsigned uCount) {
        return TryLock(fd, F_RDLCK, kllShareBase + uFirst, uCount) != 0;
    });
}

bool TakeOwnPlaces(int fd, unsigned uClasses)
{
    static std::atomic<std::uint64_t> gullNext{0};
    const auto ullSeed = static_cast<std::uint64_t>(getpid()) << 32;
    return ForEachRun(uClasses, [=](unsigned uFirst, unsigned uCount) {
        for (unsigned uClass = uFirst; uClass < uFirst + uCount; ++uClass)
        {
            int iTaken = 0;
            for (int i = 0; i < 64 && iTaken == 0; ++i)
            {
                const std::uint64_t ullMixed = (gullNext.fetch_add(1) + ullSeed) * 0x9E3779B97F4A7C15u;
                const off_t llPlace = static_cast<off_t>((ullMixed >> 32) % static_cast<std::uint64_t>(kllOwnBytes));
                iTaken = TryLock(fd, F_WRLCK, kllOwnBase + uClass * kllOwnBytes + llPlace, 1);
            }
            if (iTaken == 0) return false; // somebody past the library has locked the whole file
        }
        return true;
    });
}

bool IsAnyHeld(int fd, unsigned uClasses)
{
    if (!IsHeld(fd, F_WRLCK, kllShareBase, kllAllBytes)) return false; // nobody else has the file open
    return !ForEachRun(uClasses, [fd](unsigned uFirst, unsigned uCount) {
        return !IsHeld(fd, F_WRLCK, kllShareBase + uFirst, uCount) &&
               !IsHeld(fd, F_WRLCK, kllOwnBase + uFirst * kllOwnBytes, uCount * kllOwnBytes);
    });
}

// The part of a range that can hold data; what lies beyond is nobody else's business.
off_t RealBytes(ULONGLONG ullOffset, ULONGLONG ullBytes)
{
    constexpr auto kullEnd = static_cast<ULONGLONG>(kllShareBase);
    if (ullOffset >= kullEnd) return 0;
    return static_cast<off_t>(ullBytes < kullEnd - ullOffset ? ullBytes : kullEnd - ullOffset);
}
} // namespace

DWORD ShareAccess(DWORD ulRights)
{
    DWORD ulAccess = 0;
    if (ulRights & (FILE_READ_DATA | FILE_EXECUTE)) ulAccess |= FILE_SHARE_READ;
    if (ulRights & (FILE_WRITE_DATA | FILE_APPEND_DATA)) ulAccess |= FILE_SHARE_WRITE;
    if (ulRights & DELETE) ulAccess |= FILE_SHARE_DELETE;
    return ulAccess;
}

bool ClaimShare(int fd, bool bCanRead, const ShareMode& mode)
{
    if (!mode.TakesPart()) return true;

    unsigned uOurs = 0, uInTheWay = 0;
    for (const ShareRow& row : kRows)
    {
        if (mode.ulAccess & row.ulBit) uOurs |= 1u << row.eDo, uInTheWay |= 1u << row.eDeny;
        if (!(mode.ulShare & row.ulBit)) uOurs |= 1u << row.eDeny, uInTheWay |= 1u << row.eDo;
    }
    Turn turn(fd);
    if ((bCanRead ? TakeSharedPlaces(fd, uOurs) : TakeOwnPlaces(fd, uOurs)) && !IsAnyHeld(fd, uInTheWay)) return true;
    DropShare(fd); // a child forked meanwhile has the descriptor too, and may keep it open
    return false;
}

bool ClaimAlone(int fd)
{
    constexpr unsigned kuAll = (1u << kClasses) - 1;
    const bool bCanRead = (fcntl(fd, F_GETFL) & O_ACCMODE) != O_WRONLY;
    Turn turn(fd);
    return (bCanRead ? TakeSharedPlaces(fd, kuAll) : TakeOwnPlaces(fd, kuAll)) && !IsAnyHeld(fd, kuAll);
}

void DropShare(int fd) { TryLock(fd, F_UNLCK, kllShareBase, kllAllBytes); }

RangeLocks::~RangeLocks()
{
    if (mLockFd >= 0) close(mLockFd);
}

bool RangeLocks::Lock(ULONGLONG ullOffset, ULONGLONG ullBytes)
{
    std::lock_guard guard(mMutex);
    for (const Range& range : mRanges)
    {
        const bool bBefore = ullBytes <= range.ullOffset && ullOffset <= range.ullOffset - ullBytes;
        const bool bBehind = range.ullBytes <= ullOffset && range.ullOffset <= ullOffset - range.ullBytes;
        if (!bBefore && !bBehind) return false;
    }
    mRanges.reserve(mRanges.size() + 1);

    if (const off_t llReal = RealBytes(ullOffset, ullBytes))
    {
        const bool bReadOnly = (fcntl(mFd, F_GETFL) & O_ACCMODE) == O_RDONLY;
        if (bReadOnly && mLockFd < 0)
            mLockFd = open(DescriptorPath(mFd), O_RDWR | O_CLOEXEC | O_NOCTTY);
        const int iType = bReadOnly && mLockFd < 0 ? F_RDLCK : F_WRLCK;
        if (TryLock(LockFd(), iType, static_cast<off_t>(ullOffset), llReal) == 0) return false;
        if (IsHeld(LockFd(), F_WRLCK, kllShareBase, kllAllBytes)) WaitForTrustToEnd(); // others have the file open
    }
    mRanges.push_back({ullOffset, ullBytes});
    return true;
}

bool RangeLocks::Unlock(ULONGLONG ullOffset, ULONGLONG ullBytes)
{
    std::lock_guard guard(mMutex);
    for (std::size_t i = 0; i < mRanges.size(); ++i)
    {
        if (mRanges[i].ullOffset != ullOffset || mRanges[i].ullBytes != ullBytes) continue;

        if (const off_t llReal = RealBytes(ullOffset, ullBytes))
            TryLock(LockFd(), F_UNLCK, static_cast<off_t>(ullOffset), llReal);
        mRanges.erase(mRanges.begin() + static_cast<std::ptrdiff_t>(i));
        return true;
    }
    return false;
}

bool RangeLocks::IsAnythingLocked() const
{
    const LONGLONG llNow = CoarseNanoseconds(); // before asking: a lock that comes later waits for longer
    if (llNow < mllFreeUntil.load(std::memory_order_relaxed)) return false;
    if (IsHeld(LockFd(), F_WRLCK, 0, kllShareBase)) return true;
    mllFreeUntil.store(llNow + kllTrustNanoseconds, std::memory_order_relaxed);
    return false;
}

bool RangeLocks::IsInTheWay(LONGLONG llOffset, DWORD ulBytes, bool bWrite) const
{
    if (mbAlone || ulBytes == 0) return false;
    if (!IsAnythingLocked()) return false; // nearly always

    if (llOffset < 0) llOffset = lseek(mFd, 0, llOffset == kllAtEnd ? SEEK_END : SEEK_CUR);
    if (llOffset < 0) return false;
    return IsHeld(LockFd(), bWrite ? F_WRLCK : F_RDLCK, llOffset, ulBytes);
}
} // namespace lum
