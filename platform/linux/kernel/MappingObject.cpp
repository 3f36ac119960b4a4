#include "MappingObject.h"

#include "DescriptorPath.h"
#include "Errno.h"
#include "FileObject.h"
#include "Files.h"
#include "Mappings.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <new>

namespace lum
{
namespace
{
constexpr ULONGLONG kullPage = 4096;
constexpr auto kullLongest = static_cast<ULONGLONG>(std::numeric_limits<off_t>::max());

DWORD MemoryError(int iErrno)
{
    return iErrno == EMFILE || iErrno == ENFILE ? ERROR_TOO_MANY_OPEN_FILES : ERROR_NOT_ENOUGH_MEMORY;
}

// The length of a mapping of a file, which is lengthened if need be; false with the last error set.
bool SettleLength(int fd, const MappingRequest& request, ULONGLONG& ullBytes)
{
    struct stat status{};
    if (fstat(fd, &status) != 0) return FailErrno();
    if (!S_ISREG(status.st_mode)) return Fail(ERROR_INVALID_HANDLE);
    const auto ullLength = static_cast<ULONGLONG>(status.st_size);
    ullBytes = request.ullBytes ? request.ullBytes : ullLength;
    if (ullBytes == 0) return Fail(ERROR_FILE_INVALID);
    if (ullBytes <= ullLength) return true;
    if (!request.MayWrite()) return Fail(ERROR_NOT_ENOUGH_MEMORY);
    if (ullBytes > kullLongest) return Fail(ERROR_INVALID_PARAMETER);
    // Room is taken at once: a view of a file that the disk has no room for would fault when it is written to.
    const int iResult = posix_fallocate(fd, static_cast<off_t>(ullLength), static_cast<off_t>(ullBytes - ullLength));
    if (iResult == 0) return true;
    if (ftruncate(fd, status.st_size) != 0) return FailErrno();
    return Fail(ErrorFromErrno(iResult));
}

// The file of a request, by an open of its own, since the share mode ends with the file's handles; and the length of the
// mapping. -1 with the last error set.
int TakeFile(const MappingRequest& request, ULONGLONG& ullBytes)
{
    DWORD ulAccess = 0;
    const FileUse file(request.hFile, 0, &ulAccess);
    if (!file) return -1;
    const DWORD ulNeeded = FILE_READ_DATA | (request.MayWrite() ? FILE_WRITE_DATA : 0);
    if ((ulAccess & ulNeeded) != ulNeeded) return Fail(ERROR_ACCESS_DENIED), -1;
    if (!SettleLength(file->Fd(), request, ullBytes)) return -1;
    int fd = open(DescriptorPath(file->Fd()), (request.MayWrite() ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) fd = fcntl(file->Fd(), F_DUPFD_CLOEXEC, 0); // the file's rights were changed since
    if (fd < 0) FailErrno();
    return fd;
}

// The file of a mapping that another process made.
int OpenMapped(const MappingState& state)
{
    if (state.ulPathBytes >= sizeof state.acPath || state.acPath[state.ulPathBytes] != 0) return Fail(ERROR_FILE_CORRUPT), -1;
    const MappingRequest request{nullptr, state.ulProtect, 0};
    const int fd = open(state.acPath, (request.MayWrite() ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NOCTTY);
    struct stat status{};
    if (fd >= 0 && fstat(fd, &status) == 0 && status.st_dev == state.ullDevice && status.st_ino == state.ullInode) return fd;
    if (fd >= 0) close(fd);
    return Fail(fd < 0 && errno == EACCES ? ERROR_ACCESS_DENIED : ERROR_FILE_INVALID), -1;
}

bool NoteFile(int fd, MappingState& state)
{
    struct stat status{};
    const ssize_t lLength = readlink(DescriptorPath(fd), state.acPath, sizeof state.acPath);
    if (lLength < 0 || fstat(fd, &status) != 0) return FailErrno();
    if (lLength >= static_cast<ssize_t>(sizeof state.acPath)) return Fail(ERROR_FILENAME_EXCED_RANGE);
    state.acPath[lLength] = 0;
    state.ulPathBytes = static_cast<ULONG>(lLength);
    state.ullDevice = status.st_dev;
    state.ullInode = status.st_ino;
    return true;
}

// Room for the data behind the state of a new mapping of memory. Taken at once, for a full memory file system would make
// touching it a fault.
bool MakeRoom(const NamedFile& file, MappingState& state)
{
    const auto ullHead = static_cast<ULONGLONG>(file.StateBytes() + file.StateOffset());
    state.ullDataAt = (ullHead + kullPage - 1) / kullPage * kullPage;
    if (state.ullBytes > kullLongest - state.ullDataAt) return Fail(ERROR_INVALID_PARAMETER);
    const ULONGLONG ullEnd = state.ullDataAt + (state.ullBytes + kullPage - 1) / kullPage * kullPage;
    const int iResult = posix_fallocate(file.Fd(), 0, static_cast<off_t>(ullEnd));
    return iResult == 0 || Fail(MemoryError(iResult));
}

bool IsSound(const NamedFile& file, const MappingState& state)
{
    const ULONGLONG ullInFile = file.StateOffset() + file.StateBytes();
    if (state.ulPathBytes != 0) return state.ullDataAt == 0;
    return state.ullDataAt % kullPage == 0 && state.ullDataAt <= ullInFile && state.ullBytes <= ullInFile - state.ullDataAt;
}
} // namespace

bool MappingRequest::MayWrite() const { return (ulProtect & (PAGE_READWRITE | PAGE_EXECUTE_READWRITE)) != 0; }

MappingObject::~MappingObject() { close(mFd); }

MappingObject* MappingObject::Make(const MappingRequest& request)
{
    MappingState state{};
    state.ullBytes = request.ullBytes;
    state.ulProtect = request.ulProtect;
    int fd = -1;
    if (!request.IsMemory()) fd = TakeFile(request, state.ullBytes);
    else if (request.ullBytes > kullLongest) Fail(ERROR_INVALID_PARAMETER);
    else
    {
        fd = memfd_create("mapping", MFD_CLOEXEC);
        if (fd < 0 || ftruncate(fd, static_cast<off_t>(request.ullBytes)) != 0)
        {
            SetLastError(MemoryError(errno));
            if (fd >= 0) close(fd);
            return nullptr;
        }
    }
    if (fd < 0) return nullptr;
    auto* pMapping = new (std::nothrow) MappingObject(fd, state, NamedFile());
    if (pMapping) return pMapping;
    close(fd);
    return Fail(ERROR_NOT_ENOUGH_MEMORY), nullptr;
}

KernelObject* NamedMappingKind::Make(NamedFile&& file, bool bNew) const
{
    auto& state = *reinterpret_cast<MappingState*>(file.State());
    int fd = -1;
    if (bNew)
    {
        state.ullBytes = mRequest.ullBytes;
        state.ulProtect = mRequest.ulProtect;
        if (mRequest.IsMemory() ? !MakeRoom(file, state) : (fd = TakeFile(mRequest, state.ullBytes)) < 0) return nullptr;
        if (fd >= 0 && !NoteFile(fd, state)) return close(fd), nullptr;
    }
    else
    {
        if (!IsSound(file, state)) return Fail(ERROR_FILE_CORRUPT), nullptr;
        if (state.ulPathBytes != 0 && (fd = OpenMapped(state)) < 0) return nullptr;
    }
    // The data of memory by an open of its own: a view must not keep the lock that stands for a handle.
    if (state.ulPathBytes == 0) fd = open(DescriptorPath(file.Fd()), O_RDWR | O_CLOEXEC);
    if (fd < 0) return FailErrno(), nullptr;
    auto* pMapping = new (std::nothrow) MappingObject(fd, state, std::move(file));
    if (pMapping) return pMapping;
    close(fd);
    return Fail(ERROR_NOT_ENOUGH_MEMORY), nullptr;
}
} // namespace lum
