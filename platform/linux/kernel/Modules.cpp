#include "Modules.h"

#include "Errno.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <new>
#include <string>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace lum
{
namespace
{
constexpr off_t kMaxBytes = 64 << 20; // a resource library is a few dozen kilobytes

// The same file, unchanged: then what is in memory is still what is on the disk.
struct FileIdentity
{
    dev_t device = 0;
    ino_t inode = 0;
    off_t bytes = 0;
    timespec modified{};

    FileIdentity() = default;
    explicit FileIdentity(const struct stat& info)
        : device(info.st_dev), inode(info.st_ino), bytes(info.st_size), modified(info.st_mtim)
    {
    }
    bool operator==(const FileIdentity& other) const
    {
        return device == other.device && inode == other.inode && bytes == other.bytes &&
               modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
    }
};

std::string FileNameOf(const char* pPath)
{
    const char* pFolder = std::strrchr(pPath, '/');
    return pFolder ? pFolder + 1 : pPath;
}

class ModuleTable
{
public:
    // One more use of the module that this file was loaded as; null when it is not loaded.
    HMODULE Share(const FileIdentity& identity)
    {
        std::lock_guard lock(mMutex);
        return ShareLocked(identity);
    }

    // The same, by the file's name alone.
    HMODULE Share(const char* pFileName)
    {
        std::lock_guard lock(mMutex);
        for (std::size_t i = 0; i < mSlots.size(); ++i)
        {
            if (!mSlots[i].ulUses || strcasecmp(mSlots[i].sFileName.c_str(), pFileName) != 0) continue;
            ++mSlots[i].ulUses;
            return ValueOf(i);
        }
        return nullptr;
    }

    // Puts a module into the table, unless another thread has loaded the same file meanwhile; null when the table is full.
    HMODULE Insert(const FileIdentity& identity, const char* pPath, std::shared_ptr<const Module> pModule)
    {
        std::lock_guard lock(mMutex);
        if (HMODULE hLoaded = ShareLocked(identity)) return hLoaded;

        std::size_t i = 0;
        while (i < mSlots.size() && mSlots[i].ulUses) ++i;
        if (i > kulIndexMask) return nullptr;
        if (i == mSlots.size()) mSlots.emplace_back();
        mSlots[i].pModule = std::move(pModule);
        mSlots[i].identity = identity;
        mSlots[i].sFileName = FileNameOf(pPath);
        mSlots[i].ulUses = 1;
        return ValueOf(i);
    }

    std::shared_ptr<const Module> Find(HMODULE hModule)
    {
        std::lock_guard lock(mMutex);
        const Slot* pSlot = SlotOf(hModule);
        return pSlot ? pSlot->pModule : nullptr;
    }

    bool Close(HMODULE hModule)
    {
        std::shared_ptr<const Module> pLast; // freed outside the lock
        std::lock_guard lock(mMutex);
        Slot* pSlot = SlotOf(hModule);
        if (!pSlot) return false;
        if (--pSlot->ulUses > 0) return true;
        pLast.swap(pSlot->pModule);
        if (++pSlot->uwGeneration == 0) pSlot->uwGeneration = 1;
        return true;
    }

private:
    // A value: generation, index, and two bits that are always 10, so that it is neither null nor an address.
    static constexpr std::size_t kulIndexMask = 0x3FFF;
    static constexpr ULONG_PTR kulTag = 2;

    struct Slot
    {
        std::shared_ptr<const Module> pModule;
        FileIdentity identity;
        std::string sFileName;
        ULONG ulUses = 0;
        WORD uwGeneration = 1;
    };

    HMODULE ShareLocked(const FileIdentity& identity)
    {
        for (std::size_t i = 0; i < mSlots.size(); ++i)
        {
            if (!mSlots[i].ulUses || !(mSlots[i].identity == identity)) continue;
            ++mSlots[i].ulUses;
            return ValueOf(i);
        }
        return nullptr;
    }

    HMODULE ValueOf(std::size_t i) const
    {
        return reinterpret_cast<HMODULE>(ULONG_PTR{mSlots[i].uwGeneration} << 16 | i << 2 | kulTag);
    }

    Slot* SlotOf(HMODULE hModule)
    {
        const std::size_t i = (reinterpret_cast<ULONG_PTR>(hModule) >> 2) & kulIndexMask;
        return i < mSlots.size() && mSlots[i].ulUses && ValueOf(i) == hModule ? &mSlots[i] : nullptr;
    }

    std::mutex mMutex;
    std::vector<Slot> mSlots;
};

ModuleTable& Table()
{
    // Never destroyed: texts are still asked for while the program ends.
    static ModuleTable& table = *new ModuleTable;
    return table;
}

class Descriptor
{
public:
    explicit Descriptor(int iFd) : miFd(iFd) {}
    ~Descriptor() { if (miFd >= 0) close(miFd); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return miFd; }

private:
    const int miFd;
};

// Reads up to that many bytes from the file's start; fewer when it has become shorter, -1 with errno on a fault.
ssize_t ReadFromStart(int iFd, BYTE* pBytes, std::size_t ulBytes)
{
    std::size_t ulDone = 0;
    while (ulDone < ulBytes)
    {
        const ssize_t iRead = pread(iFd, pBytes + ulDone, ulBytes - ulDone, static_cast<off_t>(ulDone));
        if (iRead < 0 && errno == EINTR) continue;
        if (iRead < 0) return -1;
        if (iRead == 0) break;
        ulDone += static_cast<std::size_t>(iRead);
    }
    return static_cast<ssize_t>(ulDone);
}

// The file is read, not mapped: one that is cut off later must not become a fault in whoever holds a text of it.
DWORD ReadModule(int iFd, std::size_t ulBytes, Module& module)
{
    module.pBytes.reset(new (std::nothrow) BYTE[ulBytes]);
    if (!module.pBytes) return ERROR_NOT_ENOUGH_MEMORY;
    const ssize_t iRead = ReadFromStart(iFd, module.pBytes.get(), ulBytes);
    if (iRead < 0) return ErrorFromErrno(errno);
    const PeFault eFault = module.image.Open({module.pBytes.get(), static_cast<std::size_t>(iRead)});
    return eFault == PeFault::None ? NO_ERROR : ERROR_BAD_EXE_FORMAT;
}

DWORD OpenFault(int iErrno)
{
    switch (iErrno)
    {
    case ENOENT:
    case ENOTDIR:
    case ELOOP:
    case ENAMETOOLONG: return ERROR_MOD_NOT_FOUND;
    default: return ErrorFromErrno(iErrno);
    }
}
} // namespace

DWORD OpenModule(const char* pPath, HMODULE& hModule)
{
    // Without O_NONBLOCK a pipe of that name would make us wait for its writer.
    const Descriptor file(open(pPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat info;
    if (file.Get() < 0 || fstat(file.Get(), &info) != 0) return OpenFault(errno);
    if (S_ISDIR(info.st_mode)) return ERROR_ACCESS_DENIED;
    if (!S_ISREG(info.st_mode)) return ERROR_BAD_EXE_FORMAT;
    if (info.st_size > kMaxBytes) return ERROR_NOT_ENOUGH_MEMORY;

    const FileIdentity identity(info);
    hModule = Table().Share(identity);
    if (hModule) return NO_ERROR;

    auto pModule = std::make_shared<Module>();
    const DWORD ulError = ReadModule(file.Get(), static_cast<std::size_t>(info.st_size), *pModule);
    if (ulError != NO_ERROR) return ulError;
    hModule = Table().Insert(identity, pPath, std::move(pModule));
    return hModule ? NO_ERROR : ERROR_NOT_ENOUGH_MEMORY;
}

HMODULE ShareModule(const char* pFileName) { return Table().Share(pFileName); }

std::shared_ptr<const Module> FindModule(HMODULE hModule) { return Table().Find(hModule); }

bool CloseModule(HMODULE hModule) { return Table().Close(hModule); }
} // namespace lum
