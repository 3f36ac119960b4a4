// Opening and closing stores, and the two scopes in which they are used.
#include "RegistryStore.h"

#include "../kernel/State.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cstdio>

namespace lum
{
namespace
{
constinit std::atomic<RegistryStore*> gpStores[kStores] = {};
constinit std::mutex gStoresMutex;

std::string FileName(unsigned char ubIndex)
{
    constexpr const char* kapNames[] = {"local-machine", "classes-root", "users"};
    return ubIndex == kCurrentUser ? "user-" + std::to_string(geteuid()) : kapNames[ubIndex];
}

// Which run of the machine this is: a number that the kernel draws at its start.
std::array<std::uint64_t, 2> ReadBootId()
{
    char acText[40] = {};
    const int iFile = open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC);
    if (iFile < 0) return {};
    const ssize_t lRead = read(iFile, acText, sizeof acText - 1);
    close(iFile);

    unsigned long long aull[5] = {};
    if (lRead < 36 || std::sscanf(acText, "%8llx-%4llx-%4llx-%4llx-%12llx", &aull[0], &aull[1], &aull[2], &aull[3], &aull[4]) != 5)
        return {};
    return {aull[0] << 32 | aull[1] << 16 | aull[2], aull[3] << 48 | aull[4]};
}

const std::array<std::uint64_t, 2>& BootId()
{
    static const std::array<std::uint64_t, 2> aull = ReadBootId();
    return aull;
}

bool IsThisBoot(const CounterFile& file)
{
    return file.aullBootId[0].load(std::memory_order_relaxed) == BootId()[0] &&
           file.aullBootId[1].load(std::memory_order_relaxed) == BootId()[1];
}
} // namespace

// What must happen to all stores at once: around a fork, and when the library goes.
class RegistryExits
{
public:
    // The child must not touch a connection of the parent's, nor even open one of its own while SQLite believes that the
    // parent's are its: so there are none at the moment of the fork. Both sides open theirs again when they need them.
    static void BeforeFork()
    {
        gStoresMutex.lock();
        ForEach([](RegistryStore& store) { store.mWriteMutex.lock(); });
        ForEach([](RegistryStore& store) { store.mReadMutex.lock(); });
        for (std::size_t i = 0; i < kulShards; ++i) AllShards()[i].mLock.Lock();
        ForEach([](RegistryStore& store) { store.CloseAll(true); });
    }
    static void AfterFork()
    {
        for (std::size_t i = 0; i < kulShards; ++i) AllShards()[i].mLock.Unlock();
        ForEach([](RegistryStore& store) { store.mReadMutex.unlock(); });
        ForEach([](RegistryStore& store) { store.mWriteMutex.unlock(); });
        gStoresMutex.unlock();
    }
    static void InChild()
    {
        ForEach([](RegistryStore& store) { store.mCounter.ForgetLock(); });
        AfterFork();
    }

    // Leaves whole stores and no logs behind, if nobody else has them open. Whoever still uses a store opens it again.
    static void AtExit()
    {
        ForEach(
            [](RegistryStore& store)
            {
                const std::unique_lock<std::mutex> write(store.mWriteMutex, std::try_to_lock);
                const std::unique_lock<std::mutex> read(store.mReadMutex, std::try_to_lock);
                if (write && read) store.CloseAll(false); // else another thread is at work in it, and the log keeps what it wrote
            });
    }

private:
    template <class F>
    static void ForEach(F f)
    {
        for (std::atomic<RegistryStore*>& store : gpStores)
            if (RegistryStore* pStore = store.load(std::memory_order_acquire)) f(*pStore);
    }
};

// The lowest priority there is: after every destructor that might still close a key.
__attribute__((destructor(101))) static void CloseStores()
{
    RegistryExits::AtExit();
}

std::int64_t TimeNow()
{
    constexpr std::int64_t kllFrom1601To1970 = 11644473600;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return (now.tv_sec + kllFrom1601To1970) * 10000000 + now.tv_nsec / 100;
}

RegistryStore& RegistryStore::At(unsigned int uIndex)
{
    if (RegistryStore* pStore = gpStores[uIndex].load(std::memory_order_acquire)) return *pStore;

    const std::lock_guard<std::mutex> lock(gStoresMutex);
    if (RegistryStore* pStore = gpStores[uIndex].load(std::memory_order_relaxed)) return *pStore;
    static const int iHooked = pthread_atfork(RegistryExits::BeforeFork, RegistryExits::AfterFork, RegistryExits::InChild);
    (void)iHooked;
    auto* pStore = new RegistryStore(static_cast<unsigned char>(uIndex));
    gpStores[uIndex].store(pStore, std::memory_order_release);
    return *pStore;
}

RegistryStore::RegistryStore(unsigned char ubIndex)
    : msDirectory(StateHome() + "/registry"),
      msDbPath(msDirectory + "/" + FileName(ubIndex) + ".db"),
      msCounterPath(msDirectory + "/" + FileName(ubIndex) + ".counter"),
      mubIndex(ubIndex)
{
    FoldedText path;
    const std::uint64_t ullHash = PathHash(path, mubIndex);
    Shard& shard = ShardOf(ullHash);
    const ExclusiveHold hold(shard);
    Node* pRoot = shard.FindOrAdd(ullHash, mubIndex, {});
    pRoot->AddRef();
    mRoot = NodeRef(pRoot);
}

bool RegistryStore::WasEmptied()
{
    struct stat status{};
    return mCounter.File().ulStoreMade.load(std::memory_order_relaxed) && stat(msDbPath.c_str(), &status) == 0 && status.st_size == 0;
}

// With the read mutex held. bPresent: whether the registry has ever been written.
LSTATUS RegistryStore::OpenForReading(bool& bPresent)
{
    bPresent = false;
    LSTATUS lStatus = mCounter.Open(msCounterPath, false);
    if (lStatus == ERROR_FILE_NOT_FOUND && access(msDbPath.c_str(), F_OK) == 0) lStatus = mCounter.Open(msCounterPath, true);
    if (lStatus == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
    if (lStatus != ERROR_SUCCESS) return lStatus;

    if (!mReader.IsOpen())
    {
        lStatus = mReader.Open(msDbPath);
        if (lStatus == ERROR_FILE_NOT_FOUND) return WasEmptied() ? ERROR_REGISTRY_CORRUPT : ERROR_SUCCESS;
        if (lStatus != ERROR_SUCCESS) return lStatus;
    }
    bPresent = true;
    return ERROR_SUCCESS;
}

// With the write mutex held. On success the change lock is held too.
LSTATUS RegistryStore::OpenForWriting()
{
    if (!mCounter.IsOpen())
    {
        if (!EnsureStateHome() || !EnsureDirectory(msDirectory)) return static_cast<LSTATUS>(GetLastError());
        const std::lock_guard<std::mutex> lock(mReadMutex);
        if (LSTATUS lStatus = mCounter.Open(msCounterPath, true)) return lStatus;
    }
    if (LSTATUS lStatus = mCounter.Lock()) return lStatus;
    if (mWriter.IsOpen()) return ERROR_SUCCESS;

    const LSTATUS lStatus = WasEmptied() ? ERROR_REGISTRY_CORRUPT : mWriter.Create(msDbPath);
    if (lStatus == ERROR_SUCCESS) mCounter.File().ulStoreMade.store(1, std::memory_order_relaxed);
    else mCounter.Unlock();
    return lStatus;
}

void RegistryStore::CloseAll(bool bKeepLog)
{
    // What is remembered was read through the reader and holds only while that is open: without any connection the next one
    // rebuilds the log's index, and may then find a commit whose process died before it told anybody.
    mullSeen.store(1, std::memory_order_relaxed);
    mReader.Close(bKeepLog);
    mWriter.Close(bKeepLog);
}

// Volatile keys of an earlier run of the machine go when a process first looks at the store.
void RegistryStore::DropOldVolatile()
{
    {
        const std::lock_guard<std::mutex> lock(mReadMutex);
        bool bPresent = false;
        if (OpenForReading(bPresent) != ERROR_SUCCESS || !bPresent) return;
        if (IsThisBoot(mCounter.File()) || !mCounter.IsWritable())
        {
            mbBootChecked.store(true, std::memory_order_relaxed);
            return;
        }
    }
    WriteScope scope(*this);
    if (scope.Begin() == ERROR_SUCCESS) scope.CommitAndForget();
    mbBootChecked.store(true, std::memory_order_relaxed);
}

RegistryStore::ReadScope::ReadScope(RegistryStore& store) : mStore(store), mLock(store.mReadMutex, std::defer_lock)
{
    if (!store.mbBootChecked.load(std::memory_order_relaxed)) store.DropOldVolatile();
    mLock.lock();
}

LSTATUS RegistryStore::ReadScope::Begin()
{
    bool bPresent = false;
    if (LSTATUS lStatus = mStore.OpenForReading(bPresent)) return lStatus;
    if (!bPresent) return ERROR_SUCCESS;

    ChangeCounter& counter = mStore.mCounter;
    mullBefore = counter.Value();
    if (mullBefore % 2 != 0)
    {
        // A commit is under way, or its process died. The lock tells: this process has none if no thread of it is writing.
        const std::unique_lock<std::mutex> write(mStore.mWriteMutex, std::try_to_lock);
        if (write && counter.TryLock())
        {
            mullBefore = counter.Repair();
            counter.Unlock();
        }
    }
    if (mullBefore % 2 == 0 && mullBefore != mStore.mullSeen.load(std::memory_order_relaxed))
    {
        mStore.ForgetAll(); // before the value that makes it hold
        mStore.mullSeen.store(mullBefore, std::memory_order_release);
    }
    if (LSTATUS lStatus = mStore.mReader.BeginRead()) return lStatus;
    mbBegun = true;
    mpDb = &mStore.mReader;
    return ERROR_SUCCESS;
}

bool RegistryStore::ReadScope::End()
{
    if (!mbBegun) return mbRemember;
    mbBegun = false;
    mStore.mReader.Rollback();
    std::atomic_thread_fence(std::memory_order_seq_cst); // what was read comes before the counter is read again
    mbRemember = mullBefore % 2 == 0 && mStore.mCounter.Value() == mullBefore;
    return mbRemember;
}

LSTATUS RegistryStore::WriteScope::Begin()
{
    if (LSTATUS lStatus = mStore.OpenForWriting()) return lStatus;
    mullBefore = mStore.mCounter.Repair();
    mbBegun = true;
    LSTATUS lStatus = mStore.mWriter.BeginWrite();
    if (lStatus == ERROR_SUCCESS && !IsThisBoot(mStore.mCounter.File()))
    {
        mbNewBoot = true;
        lStatus = mStore.mWriter.DeleteVolatile();
    }
    if (lStatus != ERROR_SUCCESS) Cancel();
    return lStatus;
}

// From here until EndChange nobody trusts what he remembers.
LSTATUS RegistryStore::WriteScope::CommitStore()
{
    mStore.mCounter.BeginChange();
    const LSTATUS lStatus = mStore.mWriter.Commit();
    if (lStatus != ERROR_SUCCESS) mStore.mWriter.Rollback();
    else if (mbNewBoot)
        for (std::size_t i = 0; i < 2; ++i) mStore.mCounter.File().aullBootId[i].store(BootId()[i], std::memory_order_relaxed);
    return lStatus;
}

void RegistryStore::WriteScope::EndChange()
{
    mStore.mullSeen.store(mullBefore + 2, std::memory_order_release);
    mStore.mCounter.EndChange();
}

LSTATUS RegistryStore::WriteScope::CommitAndForget()
{
    const LSTATUS lStatus = CommitStore();
    {
        const std::lock_guard<std::mutex> lock(mStore.mReadMutex);
        mStore.ForgetAll();
        EndChange();
    }
    Cancel();
    mStore.mWriter.Tidy();
    return lStatus;
}

void RegistryStore::WriteScope::Cancel()
{
    if (!mbBegun) return;
    mbBegun = false;
    mStore.mWriter.Rollback();
    mStore.mCounter.Unlock();
}
} // namespace lum
