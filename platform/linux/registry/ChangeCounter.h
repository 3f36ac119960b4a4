// The number that every process maps beside a store, so that a cached answer can be trusted without asking the store.
// Internal to platform/linux.
//
//  * Even: nobody is committing; the store holds what it held whenever the counter had this value. Odd: a commit is under way, or
//    its process died in it. No value comes back. docs/registry.md tells the protocol.
//  * Whoever changes it holds the lock, which the kernel takes from a process that dies.
//  * One thread at a time, except Value().
#pragma once

#include "Registry.h"

#include <atomic>
#include <string>

namespace lum
{
// The layout of the file; the rest of its page is zero.
struct CounterFile
{
    char acMagic[8];                          // 0x00  kacCounterMagic
    std::uint32_t ulVersion;                  // 0x08  kulCounterVersion
    std::atomic<std::uint32_t> ulStoreMade;   // 0x0C  1 as soon as the store beside it has its tables: it is never empty again
    std::atomic<std::uint64_t> aullBootId[2]; // 0x10  the run of the machine that the store's volatile keys belong to
    char acReserved[32];                      // 0x20  zero
    std::atomic<std::uint64_t> ullCounter;    // 0x40
};
inline constexpr char kacCounterMagic[8] = {'L', 'u', 'm', 'R', 'e', 'g', 'C', '\n'};
constexpr std::uint32_t kulCounterVersion = 1;
constexpr std::size_t kulCounterBytes = 4096;
static_assert(offsetof(CounterFile, ullCounter) == 0x40 && std::atomic<std::uint64_t>::is_always_lock_free);

class ChangeCounter
{
public:
    // Maps the file; bCreate makes it when it is missing. Does nothing when it is mapped.
    //   Errors: ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_REVISION_MISMATCH, ...
    LSTATUS Open(const std::string& sPath, bool bCreate);
    bool IsOpen() const { return mpFile.load(std::memory_order_acquire) != nullptr; }

    // The value now; odd when there is no counter.
    std::uint64_t Value() const
    {
        const CounterFile* pFile = mpFile.load(std::memory_order_acquire);
        return pFile ? pFile->ullCounter.load(std::memory_order_acquire) : 1;
    }

    // Waits for the lock. Errors: ERROR_ACCESS_DENIED (the file may only be read), ...
    LSTATUS Lock();
    bool TryLock(); // false: another process has it, or it cannot be had
    void Unlock();

    // With the lock held:
    std::uint64_t Repair(); // makes an odd counter even; returns the value, even
    void BeginChange();     // from even to odd
    void EndChange();       // from odd to even

    CounterFile& File() { return *mpFile.load(std::memory_order_relaxed); }
    bool IsWritable() const { return mbWritable; }

    // In the child of a fork: lets go of the parent's lock, which the two would share, without releasing it.
    void ForgetLock();

private:
    LSTATUS OpenLock();
    LSTATUS SetUp(int iFile);
    bool Take(int iCommand);

    std::string msPath;
    std::atomic<CounterFile*> mpFile{nullptr};
    int miLock = -1;         // a descriptor of its own: a mapping would keep its lock alive in a child
    bool mbWritable = false;
};
} // namespace lum
