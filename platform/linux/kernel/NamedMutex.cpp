#include "NamedMutex.h"

#include "Errno.h"
#include "RobustMutex.h"

#include <new>

namespace lum
{
NamedMutex::~NamedMutex()
{
    // Others may have it open still, and then it stays owned; the kernel has the mapping in the owner's list.
    if (!IsOwnedHere()) return;
    void* pBase = nullptr;
    SIZE_T ulBytes = 0;
    mFile.Forsake(pBase, ulBytes);
    BuryMutex(mpState, pBase, ulBytes);
}

KernelObject* NamedMutexKind::Make(NamedFile&& file, bool bNew) const
{
    if (bNew) InitOwnedMutex(reinterpret_cast<MutexState*>(file.State())->mutex, MutexReach::Machine);
    auto* pMutex = new (std::nothrow) NamedMutex(std::move(file));
    if (!pMutex) return Fail(ERROR_NOT_ENOUGH_MEMORY), nullptr;
    if (bNew && mbInitialOwner) pMutex->Try(); // before anybody else can open it
    return pMutex;
}
} // namespace lum
