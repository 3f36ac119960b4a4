#include "StorageEnum.h"

#include "../com/TaskMemory.h"
#include "ElementStat.h"

#include <algorithm>

namespace lum
{
HRESULT StorageEnum::QueryInterface(REFIID iid, void** ppObject)
{
    IEnumSTATSTG* const pEnum = this;
    return Query(iid, ppObject, {{IID_IUnknown, pEnum}, {IID_IEnumSTATSTG, pEnum}});
}

// The element behind a place, which becomes the place.
HRESULT StorageEnum::Advance(Place& place, CfEntry& entry, bool& bFound)
{
    ULONG ulEntry = kulNoEntry;
    HRESULT hr = mpLevel->tree.After(mulStorage, {place.auwName, place.ulUnits}, ulEntry);
    bFound = SUCCEEDED(hr) && ulEntry != kulNoEntry;
    if (!bFound) return hr;
    std::u16string_view sName;
    hr = mpLevel->tree.Get(ulEntry, entry);
    if (SUCCEEDED(hr) && !NameOfEntry(entry, sName)) hr = STG_E_DOCFILECORRUPT;
    if (FAILED(hr)) return hr;
    std::copy(sName.begin(), sName.end(), place.auwName);
    place.ulUnits = sName.size();
    return S_OK;
}

HRESULT StorageEnum::Next(ULONG ulCount, STATSTG* pStats, ULONG* pulFetched)
{
    if (pulFetched) *pulFetched = 0;
    if (!pStats) return STG_E_INVALIDPOINTER;
    if (!pulFetched && ulCount != 1) return STG_E_INVALIDPARAMETER;
    return Enter(
        [&]
        {
            Place place = mPlace;
            HRESULT hr = S_OK;
            bool bFound = true;
            ULONG ulFetched = 0;
            while (ulFetched < ulCount && bFound && SUCCEEDED(hr))
            {
                CfEntry entry;
                hr = Advance(place, entry, bFound);
                if (FAILED(hr) || !bFound) break;
                hr = FillStat(*mpLevel, entry, 0, STATFLAG_DEFAULT, pStats[ulFetched]);
                if (SUCCEEDED(hr)) ++ulFetched;
            }
            if (FAILED(hr))
            {
                while (ulFetched > 0) CoTaskMemFree(pStats[--ulFetched].pwcsName);
                return hr;
            }
            mPlace = place;
            if (pulFetched) *pulFetched = ulFetched;
            return ulFetched == ulCount ? S_OK : S_FALSE;
        });
}

HRESULT StorageEnum::Skip(ULONG ulCount)
{
    return Enter(
        [&]
        {
            Place place = mPlace;
            bool bFound = true;
            for (; ulCount > 0 && bFound; --ulCount)
            {
                CfEntry entry;
                const HRESULT hr = Advance(place, entry, bFound);
                if (FAILED(hr)) return hr;
            }
            mPlace = place;
            return bFound ? S_OK : S_FALSE;
        });
}

HRESULT StorageEnum::Reset()
{
    return Enter(
        [&]
        {
            mPlace.ulUnits = 0;
            return S_OK;
        });
}

HRESULT StorageEnum::Clone(IEnumSTATSTG** ppEnum)
{
    if (!ppEnum) return STG_E_INVALIDPOINTER;
    *ppEnum = nullptr;
    return Enter(
        [&]
        {
            auto pClone = std::make_unique<StorageEnum>(mpHost, mulStorage);
            pClone->mPlace = mPlace;
            pClone->Open(*mpParent, *mpLevel);
            *ppEnum = pClone.release();
            return S_OK;
        });
}
} // namespace lum
