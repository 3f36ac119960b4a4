// Goes through the elements of a storage. Internal to platform/linux.
//
//  * Its place is a name: elements that come or go meanwhile do no harm, and those behind the place are found.
//  * It ends with the storage.
#pragma once

#include "OpenElement.h"

namespace lum
{
class StorageEnum final : public IEnumSTATSTG, public OpenElement
{
public:
    StorageEnum(std::shared_ptr<StorageHost> pHost, ULONG ulStorage)
        : OpenElement(std::move(pHost), STGM_READ), mulStorage(ulStorage)
    {
    }
    void Open(OpenElement& parent, StorageLevel& level) { Attach(parent, level, kulNoKey); }

    HRESULT QueryInterface(REFIID iid, void** ppObject) override;
    ULONG AddRef() override { return CountUp(); }
    ULONG Release() override { return CountDown(); }

    HRESULT Next(ULONG ulCount, STATSTG* pStats, ULONG* pulFetched) override;
    HRESULT Skip(ULONG ulCount) override;
    HRESULT Reset() override;
    HRESULT Clone(IEnumSTATSTG** ppEnum) override;

private:
    struct Place // a name; what comes first is behind the empty one
    {
        char16_t auwName[kulMaxNameUnits];
        std::size_t ulUnits = 0;
    };
    HRESULT Advance(Place& place, CfEntry& entry, bool& bFound);

    const ULONG mulStorage;
    Place mPlace;
};
} // namespace lum
