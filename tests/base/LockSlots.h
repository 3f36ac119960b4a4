// The order of the virtual members that everything lockable has: destructor, Raise, Done, Lock, Unlock.
#pragma once

#include "Platform.h"

#include <gtest/gtest.h>

#include <cstring>

// Calling through the table shows where each stands. Two entries are the destructor's, on both systems.
template <class Lockable>
void ExpectLockSlots()
{
    struct OProbe : Lockable
    {
        void Raise(ULONG) override { iCalled = 2; }
        ULONG Done() override { return iCalled = 3, 0; }
        int Lock(ULONG) override { return iCalled = 4, 0; }
        int Unlock() override { return iCalled = 5, 0; }
        int iCalled = -1;
    } probe;
    void* const* pTable = nullptr;
    std::memcpy(&pTable, static_cast<void*>(&probe), sizeof pTable);
    for (int iSlot = 2; iSlot <= 5; ++iSlot)
    {
        using Member = void* (*)(OProbe*, ULONG);
        reinterpret_cast<Member>(pTable[iSlot])(&probe, 0);
        EXPECT_EQ(probe.iCalled, iSlot);
    }
}
