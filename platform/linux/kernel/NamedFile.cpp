#include "NamedFile.h"

#include "Errno.h"
#include "ObjectNames.h"
#include "RuntimeDirectory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <utility>

namespace lum
{
namespace
{
SIZE_T StateStart(SIZE_T ulNameUnits) { return (sizeof(NamedHeader) + 2 * ulNameUnits + 63) / 64 * 64; }

// The objects that this process has open, so that it maps each once. With the directory's turn.
struct OpenObject
{
    KernelObject* pObject;
    int fd;
};
std::map<std::string, OpenObject>& TheOpen()
{
    static auto& open = *new std::map<std::string, OpenObject>; // never destroyed: handles are closed to the very end
    return open;
}
} // namespace

// The steps of opening, in the directory's turn.
class NamedFiles
{
public:
    NamedFiles(const DirectoryTurn& turn, const std::u16string& sName, const NamedKind& kind)
        : mTurn(turn), msName(sName), mKind(kind), msFile(ObjectFileName(sName))
    {
    }

    KernelObject* Open(bool bCreate, bool& bFound)
    {
        const auto it = TheOpen().find(msFile);
        if (it != TheOpen().end())
        {
            // An object whose last handle is being closed takes no more references; its file is opened anew then.
            bFound = true;
            if (it->second.pObject->Kind() != mKind.Kind()) return Fail(ERROR_INVALID_HANDLE), nullptr;
            if (it->second.pObject->TryAddRef()) return it->second.pObject;
        }
        mTurn.RemoveUnheld(msFile.c_str());
        NamedFile file;
        KernelObject* pObject = OpenFile(file, bCreate, bFound);
        if (!pObject) Drop(file);
        return pObject;
    }

private:
    KernelObject* OpenFile(NamedFile& file, bool bCreate, bool& bFound)
    {
        file.msFile = msFile;
        file.mFd = openat(mTurn.Fd(), msFile.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC);
        bFound = file.mFd >= 0;
        if (!bFound && (errno != ENOENT || !bCreate)) return FailErrno(), nullptr;
        if (bFound ? !Join(file) : !MakeFile(file)) return nullptr;

        const int fd = file.mFd;
        KernelObject* pObject = mKind.Make(std::move(file), !bFound);
        if (pObject) TheOpen()[msFile] = {pObject, fd};
        return pObject;
    }

    // What came to nothing, without another turn.
    void Drop(NamedFile& file) const
    {
        if (file.mpBase) munmap(std::exchange(file.mpBase, nullptr), file.mulMapped);
        if (file.mFd >= 0) close(std::exchange(file.mFd, -1));
        const DWORD ulError = GetLastError();
        mTurn.RemoveUnheld(msFile.c_str());
        SetLastError(ulError);
    }

    bool Join(NamedFile& file)
    {
        if (flock(file.mFd, LOCK_SH | LOCK_NB) != 0) return FailErrno();
        struct stat status{};
        if (fstat(file.mFd, &status) != 0) return FailErrno();
        const SIZE_T ulStateAt = StateStart(msName.size());
        if (status.st_size < static_cast<off_t>(sizeof(NamedHeader))) return Fail(ERROR_FILE_CORRUPT);

        NamedHeader header;
        if (pread(file.mFd, &header, sizeof header, 0) != sizeof header) return Fail(ERROR_FILE_CORRUPT);
        if (std::memcmp(header.acMagic, kacNamedMagic, 8) != 0 || header.ulVersion != kulNamedVersion) return Fail(ERROR_FILE_CORRUPT);
        if (header.ulKind != static_cast<ULONG>(mKind.Kind())) return Fail(ERROR_INVALID_HANDLE);
        if (header.ulNameUnits != msName.size() || header.ulStateAt != ulStateAt) return Fail(ERROR_FILE_CORRUPT);
        if (status.st_size < static_cast<off_t>(ulStateAt + mKind.Bytes())) return Fail(ERROR_FILE_CORRUPT);
        if (!Map(file, ulStateAt)) return false;
        const bool bOurName = std::memcmp(file.mpBase + sizeof header, msName.data(), 2 * msName.size()) == 0;
        return bOurName || Fail(ERROR_FILE_CORRUPT);
    }

    bool MakeFile(NamedFile& file)
    {
        mTurn.Sweep();
        file.mFd = openat(mTurn.Fd(), msFile.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (file.mFd < 0) return FailErrno();
        const SIZE_T ulStateAt = StateStart(msName.size());
        const int iRoom = posix_fallocate(file.mFd, 0, static_cast<off_t>(ulStateAt + mKind.Bytes()));
        if (iRoom != 0) return Fail(ErrorFromErrno(iRoom));
        if (flock(file.mFd, LOCK_SH | LOCK_NB) != 0) return FailErrno();
        if (!Map(file, ulStateAt)) return false;
        auto& header = *reinterpret_cast<NamedHeader*>(file.mpBase);
        std::memcpy(header.acMagic, kacNamedMagic, sizeof header.acMagic);
        header.ulVersion = kulNamedVersion;
        header.ulKind = static_cast<ULONG>(mKind.Kind());
        header.ulNameUnits = static_cast<ULONG>(msName.size());
        header.ulStateAt = static_cast<ULONG>(ulStateAt);
        std::memcpy(file.mpBase + sizeof header, msName.data(), 2 * msName.size());
        return true;
    }

    // By an open of its own: a mapping keeps the lock of the open it was made from.
    bool Map(NamedFile& file, SIZE_T ulStateAt)
    {
        const int fd = openat(mTurn.Fd(), msFile.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0) return FailErrno();
        file.mulMapped = ulStateAt + mKind.MostBytes();
        void* pBase = mmap(nullptr, file.mulMapped, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        const int iErrno = errno;
        close(fd);
        if (pBase == MAP_FAILED) return Fail(ErrorFromErrno(iErrno));
        file.mpBase = static_cast<BYTE*>(pBase);
        return true;
    }

    const DirectoryTurn& mTurn;
    const std::u16string& msName;
    const NamedKind& mKind;
    const std::string msFile;
};

NamedFile::NamedFile(NamedFile&& other) noexcept
    : msFile(std::move(other.msFile)), mFd(std::exchange(other.mFd, -1)), mpBase(std::exchange(other.mpBase, nullptr)),
      mulMapped(other.mulMapped)
{
}

NamedFile::~NamedFile()
{
    if (mpBase) munmap(mpBase, mulMapped);
    if (mFd < 0) return;

    const DWORD ulError = GetLastError();
    {
        DirectoryTurn turn(false);
        const auto it = TheOpen().find(msFile);
        if (it != TheOpen().end() && it->second.fd == mFd) TheOpen().erase(it);
        close(mFd);
        if (turn) turn.RemoveUnheld(msFile.c_str());
    }
    SetLastError(ulError);
}

SIZE_T NamedFile::StateBytes() const
{
    struct stat status{};
    const bool bLonger = fstat(mFd, &status) == 0 && static_cast<SIZE_T>(status.st_size) > StateOffset();
    return bLonger ? static_cast<SIZE_T>(status.st_size) - StateOffset() : 0;
}

bool NamedFile::Grow(SIZE_T ulStateBytes)
{
    const SIZE_T ulBytes = StateOffset() + ulStateBytes;
    return ulBytes <= mulMapped && posix_fallocate(mFd, 0, static_cast<off_t>(ulBytes)) == 0;
}

void NamedFile::Exchange(void*& pBase, SIZE_T& ulBytes)
{
    pBase = std::exchange(mpBase, static_cast<BYTE*>(pBase));
    std::swap(mulMapped, ulBytes);
}

KernelObject* OpenNamed(const std::u16string& sName, const NamedKind& kind, bool bCreate, bool& bFound)
{
    DirectoryTurn turn(bCreate);
    if (!turn) return nullptr;
    return NamedFiles(turn, sName, kind).Open(bCreate, bFound);
}
} // namespace lum
