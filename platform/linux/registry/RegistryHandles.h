// Handles of keys. Internal to platform/linux.
#pragma once

#include "RegistryStore.h"

#include "../kernel/HandleTable.h"

#include <new>

namespace lum
{
// An open key.
class KeyObject final : public KernelObject
{
public:
    KeyObject(RegistryStore& store, NodeRef node, std::int64_t llId)
        : KernelObject(ObjectKind::Key), mStore(store), mNode(std::move(node)), mllId(llId)
    {
    }
    RegistryStore& Store() const { return mStore; }
    Node& KeyNode() const { return *mNode.Get(); }
    std::int64_t Id() const { return mllId; }

private:
    RegistryStore& mStore;
    const NodeRef mNode;
    const std::int64_t mllId;
};

// What a handle that came in stands for, for the length of one call.
struct KeyUse
{
    RegistryStore* pStore = nullptr;
    Node* pNode = nullptr;
    std::int64_t llId = 0;
    DWORD ulAccess = 0;
    bool bPredefined = false;
    bool bMayLead = false; // below HKEY_CLASSES_ROOT a path to open may begin with a backslash
    ObjectRef object;

    bool May(DWORD ulWanted) const { return (ulAccess & ulWanted) == ulWanted; }
};

// UseKey: ERROR_INVALID_HANDLE for anything that is not an open or predefined key.
LSTATUS UseKey(HKEY hKey, KeyUse& use);

// The registry's calls let no exception of their own out; a hardware fault in the caller's memory passes through.
template <class F>
LSTATUS Answer(F call)
{
    try
    {
        return call();
    }
    catch (const std::bad_alloc&)
    {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

} // namespace lum
