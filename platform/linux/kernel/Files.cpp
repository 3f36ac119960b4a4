// Transfers and positions of open files.
#include "Files.h"

#include "Errno.h"
#include "FileObject.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

namespace
{
constexpr DWORD kulStatusEndOfFile = 0xC0000011; // what OVERLAPPED::Internal holds at the end of the file
constexpr ULONGLONG kullAtEnd = 0xFFFFFFFFFFFFFFFF;

ULONGLONG OffsetOf(const OVERLAPPED& overlapped)
{
    return static_cast<ULONGLONG>(overlapped.OffsetHigh) << 32 | overlapped.Offset;
}

bool IsRegular(int fd)
{
    struct stat status{};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

// Repeats a transfer until everything is done, nothing more comes, or it fails (errno). A pipe or terminal gives what it has.
// bOnce: what did not come along is not sent after, where another's bytes may stand between.
template <class Step>
bool Transfer(int fd, DWORD ulBytes, DWORD& ulDone, bool bOnce, Step step)
{
    while (ulDone < ulBytes)
    {
        const ssize_t lStep = step(ulDone, ulBytes - ulDone);
        if (lStep < 0 && errno == EINTR) continue;
        if (lStep < 0) return false;
        if (lStep == 0) return true;
        ulDone += static_cast<DWORD>(lStep);
        if (ulDone < ulBytes && (bOnce || !IsRegular(fd))) return true;
    }
    return true;
}

// Writes at the end, wherever that is by now, in one step, so that no other write comes between; where the system cannot do it in
// one, the end is looked up first. For a descriptor whose every write does so, write() is enough, and costs less.
ssize_t AppendInOneStep(int fd, const BYTE* pBytes, DWORD ulBytes)
{
    const iovec piece{const_cast<BYTE*>(pBytes), ulBytes};
    const ssize_t lDone = pwritev2(fd, &piece, 1, -1, RWF_APPEND);
    if (lDone >= 0 || (errno != ENOSYS && errno != EOPNOTSUPP)) return lDone;
    lseek(fd, 0, SEEK_END);
    return write(fd, pBytes, ulBytes);
}

void Complete(LPOVERLAPPED pOverlapped, DWORD ulStatus, DWORD ulDone)
{
    if (!pOverlapped) return;
    pOverlapped->Internal = ulStatus;
    pOverlapped->InternalHigh = ulDone;
}

// Moves a position; -1 with the last error set.
LONGLONG Seek(HANDLE hFile, LONGLONG llDistance, DWORD ulMethod)
{
    constexpr int kWhence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    lum::FileUse file(hFile, 0);
    if (!file) return -1;
    if (ulMethod > FILE_END)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return -1;
    }
    const LONGLONG llPosition = lseek(file->Fd(), llDistance, kWhence[ulMethod]);
    if (llPosition >= 0) return llPosition;
    if (errno == EINVAL && llDistance < 0) SetLastError(ERROR_NEGATIVE_SEEK);
    else if (errno == EOVERFLOW) SetLastError(ERROR_INVALID_PARAMETER);
    else lum::FailErrno();
    return -1;
}

ULONGLONG Join(DWORD ulLow, DWORD ulHigh) { return static_cast<ULONGLONG>(ulHigh) << 32 | ulLow; }
} // namespace

BOOL ReadFile(HANDLE hFile, LPVOID pBuffer, DWORD ulBytes, LPDWORD pulDone, LPOVERLAPPED pOverlapped)
{
    if (pulDone) *pulDone = 0;
    lum::FileUse file(hFile, FILE_READ_DATA);
    if (!file) return FALSE;
    const int fd = file->Fd();
    const LONGLONG llOffset =
        pOverlapped ? static_cast<LONGLONG>(OffsetOf(*pOverlapped)) : lum::RangeLocks::kllAtPosition;
    if (pOverlapped && llOffset < 0) return lum::Fail(ERROR_INVALID_PARAMETER);
    if (file->Locks().IsInTheWay(llOffset, ulBytes, false)) return lum::Fail(ERROR_LOCK_VIOLATION);

    DWORD ulDone = 0;
    auto* pBytes = static_cast<BYTE*>(pBuffer);
    const bool bDone = Transfer(fd, ulBytes, ulDone, false, [&](DWORD ulFrom, DWORD ulRest) {
        return pOverlapped ? pread(fd, pBytes + ulFrom, ulRest, llOffset + ulFrom) : read(fd, pBytes + ulFrom, ulRest);
    });
    if (pulDone) *pulDone = ulDone;
    if (!bDone) return lum::FailErrno();
    if (!pOverlapped) return TRUE;

    lseek(fd, llOffset + ulDone, SEEK_SET);
    const bool bAtEnd = ulDone == 0 && ulBytes != 0;
    Complete(pOverlapped, bAtEnd ? kulStatusEndOfFile : 0, ulDone);
    return bAtEnd ? lum::Fail(ERROR_HANDLE_EOF) : TRUE;
}

BOOL WriteFile(HANDLE hFile, LPCVOID pBuffer, DWORD ulBytes, LPDWORD pulDone, LPOVERLAPPED pOverlapped)
{
    if (pulDone) *pulDone = 0;
    lum::FileUse file(hFile, FILE_WRITE_DATA | FILE_APPEND_DATA);
    if (!file) return FALSE;
    const bool bAtEnd = pOverlapped && OffsetOf(*pOverlapped) == kullAtEnd;
    const bool bAtOffset = pOverlapped && !bAtEnd;
    const LONGLONG llOffset = bAtOffset ? static_cast<LONGLONG>(OffsetOf(*pOverlapped))
                              : bAtEnd  ? lum::RangeLocks::kllAtEnd
                                        : lum::RangeLocks::kllAtPosition;
    if (bAtOffset && llOffset < 0) return lum::Fail(ERROR_INVALID_PARAMETER);
    const int iAppendFd = bAtEnd ? file->AppendFd() : -1;
    const int fd = iAppendFd >= 0 ? iAppendFd : file->Fd();
    if (file->Locks().IsInTheWay(llOffset, ulBytes, true)) return lum::Fail(ERROR_LOCK_VIOLATION);

    DWORD ulDone = 0;
    auto* pBytes = static_cast<const BYTE*>(pBuffer);
    const bool bDone = Transfer(fd, ulBytes, ulDone, bAtEnd, [&](DWORD ulFrom, DWORD ulRest) {
        if (bAtEnd && iAppendFd < 0) return AppendInOneStep(fd, pBytes + ulFrom, ulRest);
        return bAtOffset ? pwrite(fd, pBytes + ulFrom, ulRest, llOffset + ulFrom) : write(fd, pBytes + ulFrom, ulRest);
    });
    const int iErrno = errno;
    if (pulDone) *pulDone = ulDone;
    if (iAppendFd >= 0 && ulDone > 0) file->SetAppended();
    if (bAtOffset) lseek(fd, llOffset + ulDone, SEEK_SET);
    Complete(pOverlapped, 0, ulDone);
    if (bDone) return ulDone == ulBytes ? TRUE : lum::Fail(ERROR_DISK_FULL);
    return lum::Fail(iErrno == EFAULT ? ERROR_INVALID_USER_BUFFER : lum::ErrorFromErrno(iErrno));
}

DWORD SetFilePointer(HANDLE hFile, LONG lDistance, PLONG plHigh, DWORD ulMethod)
{
    const LONGLONG llDistance = plHigh ? static_cast<LONGLONG>(Join(static_cast<DWORD>(lDistance), static_cast<DWORD>(*plHigh)))
                                       : lDistance;
    // Without room for the upper half a position that needs it is refused, and the old one kept.
    const LONGLONG llBefore = plHigh || ulMethod == FILE_BEGIN ? 0 : Seek(hFile, 0, FILE_CURRENT);
    if (llBefore < 0) return INVALID_SET_FILE_POINTER;
    const LONGLONG llPosition = Seek(hFile, llDistance, ulMethod);
    if (llPosition < 0) return INVALID_SET_FILE_POINTER;
    if (!plHigh && llPosition > std::numeric_limits<DWORD>::max())
    {
        Seek(hFile, llBefore, FILE_BEGIN);
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_SET_FILE_POINTER;
    }
    if (plHigh) *plHigh = static_cast<LONG>(llPosition >> 32);
    const auto ulLow = static_cast<DWORD>(llPosition);
    if (ulLow == INVALID_SET_FILE_POINTER) SetLastError(NO_ERROR);
    return ulLow;
}

BOOL SetFilePointerEx(HANDLE hFile, LARGE_INTEGER distance, LARGE_INTEGER* pNewPosition, DWORD ulMethod)
{
    const LONGLONG llPosition = Seek(hFile, distance.QuadPart, ulMethod);
    if (llPosition < 0) return FALSE;
    if (pNewPosition) pNewPosition->QuadPart = llPosition;
    return TRUE;
}

BOOL GetFileSizeEx(HANDLE hFile, LARGE_INTEGER* pSize)
{
    lum::FileUse file(hFile, 0);
    if (!file) return FALSE;
    struct stat status{};
    if (fstat(file->Fd(), &status) != 0) return lum::FailErrno();
    pSize->QuadPart = status.st_size;
    return TRUE;
}

DWORD GetFileSize(HANDLE hFile, LPDWORD pulHigh)
{
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(hFile, &size)) return INVALID_FILE_SIZE;
    if (pulHigh) *pulHigh = static_cast<DWORD>(size.HighPart);
    if (size.LowPart == INVALID_FILE_SIZE) SetLastError(NO_ERROR);
    return size.LowPart;
}

BOOL SetEndOfFile(HANDLE hFile)
{
    lum::FileUse file(hFile, FILE_WRITE_DATA | FILE_APPEND_DATA);
    if (!file) return FALSE;
    const off_t llPosition = lseek(file->Fd(), 0, SEEK_CUR);
    if (llPosition < 0) return lum::FailErrno();
    int iResult;
    do iResult = ftruncate(file->Fd(), llPosition);
    while (iResult != 0 && errno == EINTR);
    return iResult == 0 ? TRUE : lum::FailErrno();
}

BOOL FlushFileBuffers(HANDLE hFile)
{
    lum::FileUse file(hFile, FILE_WRITE_DATA | FILE_APPEND_DATA);
    if (!file) return FALSE;
    int iResult;
    do iResult = fsync(file->Fd());
    while (iResult != 0 && errno == EINTR);
    if (iResult == 0 || errno == EINVAL || errno == EROFS) return TRUE; // a pipe or device has nothing to flush
    return lum::FailErrno();
}

BOOL LockFile(HANDLE hFile, DWORD ulOffset, DWORD ulOffsetHigh, DWORD ulBytes, DWORD ulBytesHigh)
{
    lum::FileUse file(hFile, FILE_READ_DATA | FILE_WRITE_DATA | FILE_APPEND_DATA);
    if (!file) return FALSE;
    const bool bLocked = file->Locks().Lock(Join(ulOffset, ulOffsetHigh), Join(ulBytes, ulBytesHigh));
    return bLocked ? TRUE : lum::Fail(ERROR_LOCK_VIOLATION);
}

BOOL UnlockFile(HANDLE hFile, DWORD ulOffset, DWORD ulOffsetHigh, DWORD ulBytes, DWORD ulBytesHigh)
{
    lum::FileUse file(hFile, 0);
    if (!file) return FALSE;
    const bool bUnlocked = file->Locks().Unlock(Join(ulOffset, ulOffsetHigh), Join(ulBytes, ulBytesHigh));
    return bUnlocked ? TRUE : lum::Fail(ERROR_NOT_LOCKED);
}

DWORD GetFileType(HANDLE hFile)
{
    lum::FileUse file(hFile, 0);
    if (!file) return FILE_TYPE_UNKNOWN;
    struct stat status{};
    if (fstat(file->Fd(), &status) != 0) return lum::FailErrno(), FILE_TYPE_UNKNOWN;
    if (S_ISCHR(status.st_mode)) return FILE_TYPE_CHAR;
    return S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) ? FILE_TYPE_PIPE : FILE_TYPE_DISK;
}
