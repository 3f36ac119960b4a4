// The handles that this process has open, found by asking for each that there may be.
#pragma once

#include "linux/kernel/HandleTable.h"

// ForEachOpenHandle: work(handle, object) for those in the table's first places, where a test's are.
template <class Work>
void ForEachOpenHandle(Work work)
{
    constexpr ULONG kulPlaces = 256, kulPlaceBits = 17, kulUses = 1 << 12; // a place has another value after each use
    for (ULONG ulUse = 0; ulUse < kulUses; ++ulUse)
        for (ULONG ulPlace = 0; ulPlace < kulPlaces; ++ulPlace)
        {
            DWORD ulAccess = 0;
            const auto hOpen = reinterpret_cast<HANDLE>(ULONG_PTR{ulUse << kulPlaceBits | ulPlace} << 2);
            if (const lum::ObjectRef object = lum::LookUpHandle(hOpen, &ulAccess)) work(hOpen, *object.As<lum::KernelObject>());
        }
}
