// The locks beside which compound files are opened, where there are none to be had. Linux only.
#include "linux/storage/StorageLocks.h"

#include <gtest/gtest.h>

namespace
{
using lum::StorageLocks;

TEST(StorageLocks, WithoutALockNothingGoesOn)
{
    StorageLocks locks(-1); // no file: the system refuses every lock
    EXPECT_EQ(StorageLocks::Turn(locks, true).Result(), STG_E_LOCKVIOLATION);
    EXPECT_EQ(StorageLocks::Turn(locks, false).Result(), STG_E_LOCKVIOLATION);
    EXPECT_EQ(locks.Enter(false), STG_E_LOCKVIOLATION);
    EXPECT_EQ(locks.SetPriority(), STG_E_LOCKVIOLATION);
    EXPECT_EQ(locks.Pin(1), STG_E_LOCKVIOLATION);
}
} // namespace
