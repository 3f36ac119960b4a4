#include "ChangeCounter.h"

#include "../kernel/Errno.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

namespace lum
{
namespace
{
class Descriptor
{
public:
    explicit Descriptor(int iDescriptor) : miDescriptor(iDescriptor) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { if (miDescriptor >= 0) close(miDescriptor); }
    int Get() const { return miDescriptor; }

private:
    int miDescriptor;
};

LSTATUS Status(int iErrno)
{
    return static_cast<LSTATUS>(ErrorFromErrno(iErrno));
}

bool IsSetUp(int iFile)
{
    struct stat status{};
    char acMagic[sizeof kacCounterMagic];
    return fstat(iFile, &status) == 0 && status.st_size >= static_cast<off_t>(kulCounterBytes) &&
           pread(iFile, acMagic, sizeof acMagic, 0) == sizeof acMagic && std::memcmp(acMagic, kacCounterMagic, sizeof acMagic) == 0;
}

// A new counter starts where no earlier one of this name is likely to have been.
std::uint64_t FirstValue()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return (static_cast<std::uint64_t>(now.tv_sec) * 1000000000u + static_cast<std::uint64_t>(now.tv_nsec)) & ~std::uint64_t{1};
}
} // namespace

LSTATUS ChangeCounter::Open(const std::string& sPath, bool bCreate)
{
    if (IsOpen()) return ERROR_SUCCESS;
    msPath = sPath;

    int iFile = open(sPath.c_str(), O_RDWR | O_CLOEXEC | (bCreate ? O_CREAT : 0), 0600);
    mbWritable = iFile >= 0;
    if (iFile < 0 && (errno == EACCES || errno == EROFS || errno == EPERM)) iFile = open(sPath.c_str(), O_RDONLY | O_CLOEXEC);
    if (iFile < 0) return Status(errno);
    const Descriptor file(iFile);

    if (!IsSetUp(iFile))
    {
        if (!mbWritable) return ERROR_ACCESS_DENIED;
        if (LSTATUS lStatus = SetUp(iFile)) return lStatus;
    }
    void* pMapped = mmap(nullptr, kulCounterBytes, mbWritable ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, iFile, 0);
    if (pMapped == MAP_FAILED) return Status(errno);

    auto* pFile = static_cast<CounterFile*>(pMapped);
    if (pFile->ulVersion > kulCounterVersion)
    {
        munmap(pMapped, kulCounterBytes);
        return ERROR_REVISION_MISMATCH;
    }
    mpFile.store(pFile, std::memory_order_release);
    return ERROR_SUCCESS;
}

// Fills a file that is new, whose maker died over it, or that a power cut emptied: nothing in it needs to outlast the machine's
// run. Two processes may come here at once: the lock decides.
LSTATUS ChangeCounter::SetUp(int iFile)
{
    if (LSTATUS lStatus = Lock()) return lStatus;
    LSTATUS lStatus = ERROR_SUCCESS;
    if (!IsSetUp(iFile))
    {
        alignas(CounterFile) char acPage[kulCounterBytes] = {};
        auto* pFile = new (acPage) CounterFile{};
        std::memcpy(pFile->acMagic, kacCounterMagic, sizeof kacCounterMagic);
        pFile->ulVersion = kulCounterVersion;
        pFile->ullCounter.store(FirstValue(), std::memory_order_relaxed);
        // The magic makes the file good, so it is written last.
        constexpr std::size_t kulMagic = sizeof kacCounterMagic;
        const ssize_t lBody = pwrite(iFile, acPage + kulMagic, kulCounterBytes - kulMagic, kulMagic);
        if (lBody != static_cast<ssize_t>(kulCounterBytes - kulMagic)) lStatus = lBody < 0 ? Status(errno) : ERROR_DISK_FULL;
        else if (pwrite(iFile, acPage, kulMagic, 0) != static_cast<ssize_t>(kulMagic)) lStatus = Status(errno);
    }
    Unlock();
    return lStatus;
}

LSTATUS ChangeCounter::OpenLock()
{
    if (miLock >= 0) return ERROR_SUCCESS;
    miLock = open(msPath.c_str(), O_RDWR | O_CLOEXEC);
    return miLock >= 0 ? ERROR_SUCCESS : Status(errno);
}

bool ChangeCounter::Take(int iCommand)
{
    struct flock lock{};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    int iResult;
    do iResult = fcntl(miLock, iCommand, &lock);
    while (iResult != 0 && errno == EINTR);
    return iResult == 0;
}

LSTATUS ChangeCounter::Lock()
{
    if (LSTATUS lStatus = OpenLock()) return lStatus;
    return Take(F_OFD_SETLKW) ? ERROR_SUCCESS : Status(errno);
}

bool ChangeCounter::TryLock()
{
    return mbWritable && OpenLock() == ERROR_SUCCESS && Take(F_OFD_SETLK);
}

void ChangeCounter::Unlock()
{
    struct flock lock{};
    lock.l_type = F_UNLCK;
    lock.l_whence = SEEK_SET;
    fcntl(miLock, F_OFD_SETLK, &lock);
}

std::uint64_t ChangeCounter::Repair()
{
    std::atomic<std::uint64_t>& ullCounter = File().ullCounter;
    std::uint64_t ullValue = ullCounter.load(std::memory_order_acquire);
    // The next even value: the process that died would have come to it, but nobody has seen it.
    if (ullValue % 2 != 0) ullCounter.store(++ullValue, std::memory_order_release);
    return ullValue;
}

void ChangeCounter::BeginChange()
{
    // Sequentially consistent: every reader that sees the commit also sees that the counter has left its value.
    File().ullCounter.fetch_add(1, std::memory_order_seq_cst);
}

void ChangeCounter::EndChange()
{
    File().ullCounter.fetch_add(1, std::memory_order_seq_cst);
}

void ChangeCounter::ForgetLock()
{
    if (miLock >= 0) close(miLock);
    miLock = -1;
}
} // namespace lum
