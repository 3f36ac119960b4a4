#include "NamedMutex.h"

#include "Errno.h"
#include "RobustMutex.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <new>

namespace lum
{
namespace
{
// The file of the mutex, without a mapping.
MutexMapping MappingOf(const NamedFile& file)
{
    struct stat status{};
    fstat(file.Fd(), &status);
    return {nullptr, 0, status.st_dev, status.st_ino};
}
} // namespace

NamedMutex::~NamedMutex()
{
    // Others may have it open still, and then it stays owned; the kernel has the mapping in the owner's list.
    if (!IsOwnedHere()) return;
    MutexMapping mapping = MappingOf(mFile);
    mFile.Exchange(mapping.pBase, mapping.ulBytes);
    BuryMutex(mpState, mapping);
}

KernelObject* NamedMutexKind::Make(NamedFile&& file, bool bNew) const
{
    if (bNew) InitOwnedMutex(reinterpret_cast<MutexState*>(file.State())->mutex, MutexReach::Machine);
    MutexMapping mapping = MappingOf(file);
    const bool bExhumed = !bNew && ExhumeMutex(mapping);
    if (bExhumed)
    {
        file.Exchange(mapping.pBase, mapping.ulBytes);
        munmap(mapping.pBase, mapping.ulBytes);
    }
    auto* pMutex = new (std::nothrow) NamedMutex(std::move(file), bExhumed);
    if (!pMutex) return Fail(ERROR_NOT_ENOUGH_MEMORY), nullptr;
    if (bNew && mbInitialOwner) pMutex->Try(); // before anybody else can open it
    return pMutex;
}
} // namespace lum
