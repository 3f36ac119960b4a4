// What commits of the storage engine cost, in bytes of the file and in reads and writes. Linux only.
#include "StorageFilled.h"

namespace
{
using lum::CompoundFile;
using lum::StorageAccess;

class StorageRoom : public StorageFilled {};

TEST_P(StorageRoom, AFileFilledEmptiedAndFilledAgainDoesNotGrow)
{
    for (StorageAccess eAccess : {StorageAccess::Transacted, StorageAccess::Direct})
    {
        StorageMemory bytes;
        CompoundFile file(bytes);
        ASSERT_EQ(file.Create(GetParam(), eAccess), S_OK);
        std::size_t ulFull = 0;
        for (int iRound = 0; iRound < 6; ++iRound)
        {
            Fill(file);
            ASSERT_EQ(file.Commit(), S_OK);
            if (iRound == 1) ulFull = bytes.maBytes.size(); // the first round had no old state to keep
            EXPECT_TRUE(iRound < 2 || bytes.maBytes.size() <= ulFull) << "round " << iRound << ", " << bytes.maBytes.size();
            for (const char16_t* pName : {u"Runs", u"Large", u"Other", u"Small"}) ASSERT_EQ(RemoveNamed(file, 0, pName), S_OK);
            ASSERT_EQ(file.Commit(), S_OK);
            EXPECT_EQ(DamageOf(bytes), "");
            if (iRound % 2 == 0) continue;
            ASSERT_EQ(file.Open(eAccess), S_OK);
        }
    }
}

TEST_P(StorageRoom, ChangingTheSameBytesForeverDoesNotGrowTheFile)
{
    StorageMemory bytes(mBefore);
    std::size_t ulAfterTen = 0;
    for (unsigned i = 0; i < 300; ++i)
    {
        CompoundFile file(bytes); // opened anew each time: what is free has to be found again
        ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
        const StorageBlob data = StoragePattern(100, i);
        ASSERT_EQ(file.Write(FindStream(file, u"Small"), 100, data.data(), data.size()), S_OK);
        ASSERT_EQ(file.Write(FindStream(file, u"Large"), 1000 * i, data.data(), data.size()), S_OK);
        ASSERT_EQ(file.Commit(), S_OK);
        if (i == 10) ulAfterTen = bytes.maBytes.size();
    }
    EXPECT_LE(bytes.maBytes.size(), ulAfterTen + 8 * 4096); // how many parts of the table change together differs a little
    EXPECT_EQ(DamageOf(bytes), "");
}

// What it takes to append 100 bytes to a stream of a file of that size, from opening it on.
void AppendCost(WORD uwVersion, std::size_t ulBytes, ULONGLONG& ullWritten, ULONG& ulReads)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(uwVersion, StorageAccess::Transacted), S_OK);
    AddStream(file, 0, u"Large", StoragePattern(ulBytes, 1));
    AddStream(file, 0, u"Small", StoragePattern(1000, 1));
    ASSERT_EQ(file.Commit(), S_OK);
    const StorageBlob more = StoragePattern(100, 2);
    for (int i = 0; i < 3; ++i)
    {
        ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
        const ULONGLONG ullBefore = bytes.mullWritten;
        const ULONG ulBefore = bytes.mulReads;
        ASSERT_EQ(file.Write(FindStream(file, u"Small"), 1000 + 100 * i, more.data(), more.size()), S_OK);
        ASSERT_EQ(file.Commit(), S_OK);
        ullWritten = bytes.mullWritten - ullBefore;
        ulReads = bytes.mulReads - ulBefore;
    }
    EXPECT_EQ(DamageOf(bytes), "");
}

TEST_P(StorageRoom, AnAppendCostsWhatItChangesAndNotWhatTheFileHolds)
{
    ULONGLONG ullSmall = 0, ullLarge = 0;
    ULONG ulSmall = 0, ulLarge = 0;
    AppendCost(GetParam(), 1 << 20, ullSmall, ulSmall);
    AppendCost(GetParam(), 64 << 20, ullLarge, ulLarge);
    // Small sectors pay for the list of table sectors, 512 bytes for each 8 MB.
    EXPECT_LE(ullLarge, ullSmall * 2 + (GetParam() == 3 ? 12 * 512 : 0));
    EXPECT_LE(ulLarge, ulSmall * 2 + 4);
}

INSTANTIATE_TEST_SUITE_P(Versions, StorageRoom, testing::Values(3, 4),
                         [](const auto& info) { return info.param == 3 ? "SmallSectors" : "LargeSectors"; });
} // namespace
