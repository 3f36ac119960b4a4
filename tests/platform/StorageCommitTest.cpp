// What a commit of the storage engine leaves behind when it is interrupted anywhere. Linux only.
#include "StorageFilled.h"

#include <random>

namespace
{
using lum::CompoundFile;
using lum::EntryKind;
using lum::StorageAccess;

class StorageCommit : public StorageFilled {};

TEST_P(StorageCommit, AStopAfterAnyWriteLeavesTheOldStateOrTheNew)
{
    bool bDone = false;
    ULONG ulAllowed = 0;
    for (; !bDone && !HasFailure(); ++ulAllowed)
    {
        StorageMemory bytes(mBefore);
        CompoundFile file(bytes);
        ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
        bytes.mulAllowed = ulAllowed;
        const HRESULT hr = ChangeMuch(file);
        bDone = hr == S_OK;
        EXPECT_TRUE(bDone || hr == STG_E_WRITEFAULT);
        EXPECT_TRUE(IsNew(bytes.maBytes) || !bDone);
    }
    EXPECT_GT(ulAllowed, 20u);
}

TEST_P(StorageCommit, APowerCutThatLosesWritesInAnyOrderLeavesTheOldStateOrTheNew)
{
    std::mt19937 random(GetParam());
    int iOld = 0, iNew = 0;
    bool bDone = false;
    for (ULONG ulAllowed = 0; !bDone && !HasFailure(); ++ulAllowed)
    {
        StorageMemory bytes(mBefore);
        bytes.Remember();
        CompoundFile file(bytes);
        ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
        bytes.mulAllowed = ulAllowed;
        bDone = ChangeMuch(file) == S_OK;
        // Everything before the last flush is on the disk; of what came after it, any part.
        for (int i = 0; i < 4; ++i) (IsNew(bytes.AfterPowerCut([&] { return random() % 2; })) ? iNew : iOld) += 1;
    }
    EXPECT_GT(iOld, 0);
    EXPECT_GT(iNew, 0);
}

TEST_P(StorageCommit, NothingOfTheOldStateIsTouchedBeforeTheHeader)
{
    StorageMemory bytes(mBefore);
    CompoundFile file(bytes);
    ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
    std::vector<BYTE> used(mBefore.size(), 0); // the sectors that the old state needs
    {
        StorageMemory old(mBefore);
        lum::CfHeader header;
        std::memcpy(&header, mBefore.data(), sizeof header);
        lum::SectorFile sectors(old, header.uwSectorShift, mBefore.size());
        lum::SectorTable table(sectors, false, false);
        ASSERT_EQ(table.Open(header), S_OK);
        for (ULONG i = 0; i < table.Sectors(); ++i)
        {
            ULONG ulNext = 0;
            ASSERT_EQ(table.Get(i, ulNext), S_OK);
            if (ulNext != lum::kulFree)
                std::fill_n(used.begin() + ((i + 1ll) << header.uwSectorShift), 1 << header.uwSectorShift, 1);
        }
    }
    // A disk that takes everything but the last two steps, the header and its flush.
    StorageMemory counting(mBefore);
    CompoundFile whole(counting);
    ASSERT_EQ(whole.Open(StorageAccess::Transacted), S_OK);
    ASSERT_EQ(ChangeMuch(whole), S_OK);
    bytes.mulAllowed = counting.mulChanges + counting.mulFlushes - 2;
    ASSERT_EQ(ChangeMuch(file), STG_E_WRITEFAULT);
    EXPECT_EQ(std::memcmp(bytes.maBytes.data(), mBefore.data(), sizeof(lum::CfHeader)), 0);
    std::size_t ulTouched = 0, ulChanged = 0;
    for (std::size_t i = 0; i < mBefore.size(); ++i)
    {
        ulChanged += bytes.maBytes[i] != mBefore[i];
        ulTouched += used[i] && bytes.maBytes[i] != mBefore[i];
    }
    EXPECT_EQ(ulTouched, 0u);
    EXPECT_NE(bytes.maBytes, mBefore);
}

TEST_P(StorageCommit, ACommitWithoutChangesWritesNothing)
{
    StorageMemory bytes(mBefore);
    CompoundFile file(bytes);
    ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
    StorageContent content;
    ASSERT_EQ(ReadContent(file, content), S_OK);
    ASSERT_EQ(file.Commit(), S_OK);
    EXPECT_EQ(bytes.mulChanges + bytes.mulFlushes, 0u);
}

TEST(StorageCommitList, AStopAfterAnyWriteOfAFileWithAListOfTableSectorsLeavesTheOldStateOrTheNew)
{
    StorageMemory whole;
    CompoundFile first(whole);
    ASSERT_EQ(first.Create(3, StorageAccess::Transacted), S_OK);
    const ULONG ulLarge = AddStream(first, 0, u"Large", {});
    const ULONG ulSmall = AddStream(first, 0, u"Small", StoragePattern(1000, 1));
    ASSERT_EQ(first.Resize(ulLarge, 16 << 20), S_OK); // 257 table sectors, 2 of the list
    ASSERT_EQ(first.Commit(), S_OK);
    const std::vector<BYTE> before = whole.maBytes;

    const StorageBlob more = StoragePattern(100, 2);
    StorageBlob old = StoragePattern(1000, 1), changed = old, found;
    changed.insert(changed.end(), more.begin(), more.end());
    bool bDone = false;
    for (ULONG ulAllowed = 0; !bDone && !HasFailure(); ++ulAllowed)
    {
        StorageMemory bytes(before);
        CompoundFile file(bytes);
        ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
        bytes.mulAllowed = ulAllowed;
        HRESULT hr = file.Write(ulSmall, 1000, more.data(), more.size());
        if (SUCCEEDED(hr)) hr = file.Write(ulLarge, 8 << 20, more.data(), more.size());
        if (SUCCEEDED(hr)) hr = file.Commit();
        bDone = hr == S_OK;
        CompoundFile left(bytes);
        BYTE aubMiddle[100] = {};
        std::size_t ulRead = 0;
        ASSERT_EQ(left.Open(StorageAccess::Read), S_OK);
        ASSERT_EQ(ReadWhole(left, ulSmall, found), S_OK);
        ASSERT_EQ(left.Read(ulLarge, 8 << 20, aubMiddle, sizeof aubMiddle, ulRead), S_OK);
        EXPECT_EQ(found == changed, std::equal(more.begin(), more.end(), aubMiddle));
        EXPECT_TRUE(found == changed || (!bDone && found == old));
        EXPECT_EQ(DamageOf(bytes), "");
    }
}

INSTANTIATE_TEST_SUITE_P(Versions, StorageCommit, testing::Values(3, 4),
                         [](const auto& info) { return info.param == 3 ? "SmallSectors" : "LargeSectors"; });
} // namespace
