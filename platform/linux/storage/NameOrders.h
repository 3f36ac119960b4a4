// What storages hold, listed in the order of names: of those whose trees are too deep to be searched. Internal to platform/linux.
//
//  * All lists together have no more entries than the directory: of storages that share what they hold only some are kept.
//  * When memory runs out, lists may be gone. They are made again.
#pragma once

#include "Layout.h"
#include "StorageCodes.h"

#include <unordered_map>
#include <vector>

namespace lum
{
struct NameOrder
{
    std::vector<ULONG> entries;
    HRESULT hrRest = S_OK;   // why there are no more
    HRESULT hrOwn = S_FALSE; // whether each hangs in one place; S_FALSE: not known yet
};

class NameOrders
{
public:
    NameOrder* Find(ULONG ulStorage); // null when it is not kept
    // Keep: in a directory of so many entries.
    NameOrder& Keep(ULONG ulStorage, NameOrder order, ULONG ulEntries);
    void Forget(ULONG ulStorage);
    void ForgetWith(ULONG ulEntry); // those that an entry is in

private:
    void ForgetAll();

    std::unordered_map<ULONG, NameOrder> mOrders; // by their storages
    std::size_t mulListed = 0;                    // entries in all of them
    std::vector<ULONG> mOrderOf;                  // for each entry the storage whose order it is in
};
} // namespace lum
