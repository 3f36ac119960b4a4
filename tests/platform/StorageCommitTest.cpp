// What a commit of the storage engine leaves behind when it is interrupted anywhere, and what it costs. Linux only.
#include "Platform.h"

#include "StorageContent.h"

#include <gtest/gtest.h>

#include <random>

namespace
{
using lum::CompoundFile;
using lum::EntryKind;
using lum::StorageAccess;

ULONG AddStream(CompoundFile& file, ULONG ulStorage, const StorageText& sName, const StorageBlob& bytes)
{
    ULONG ulEntry = 0;
    EXPECT_EQ(file.Insert(ulStorage, sName, EntryKind::Stream, ulEntry), S_OK);
    EXPECT_EQ(file.Write(ulEntry, 0, bytes.data(), bytes.size()), S_OK);
    return ulEntry;
}

ULONG AddStorage(CompoundFile& file, ULONG ulStorage, const StorageText& sName)
{
    ULONG ulEntry = 0;
    EXPECT_EQ(file.Insert(ulStorage, sName, EntryKind::Storage, ulEntry), S_OK);
    return ulEntry;
}

ULONG FindStream(CompoundFile& file, const StorageText& sName)
{
    ULONG ulEntry = 0;
    EXPECT_EQ(file.Find(0, sName, ulEntry), S_OK);
    return ulEntry;
}

StorageText Numbered(const StorageText& sName, unsigned uNumber)
{
    const std::string sDigits = std::to_string(uNumber);
    return sName + StorageText(sDigits.begin(), sDigits.end());
}

// A file with some of everything.
void Fill(CompoundFile& file)
{
    const ULONG ulRuns = AddStorage(file, 0, u"Runs");
    for (unsigned i = 0; i < 40; ++i) AddStream(file, ulRuns, Numbered(u"Spectrum", i), StoragePattern(100 * i, i));
    AddStream(file, 0, u"Large", StoragePattern(300000, 1));
    AddStream(file, 0, u"Other", StoragePattern(50000, 2));
    AddStream(file, 0, u"Small", StoragePattern(1000, 3));
}

// One transaction with every kind of change in it.
HRESULT ChangeMuch(CompoundFile& file)
{
    const StorageBlob bytes = StoragePattern(90000, 77);
    ULONG ulRuns = 0, ulLarge = 0, ulSmall = 0, ulNew = 0;
    HRESULT hr = file.Find(0, u"Runs", ulRuns);
    if (SUCCEEDED(hr)) hr = file.Find(0, u"Large", ulLarge);
    if (SUCCEEDED(hr)) hr = file.Find(0, u"Small", ulSmall);
    if (SUCCEEDED(hr)) hr = file.Write(ulLarge, 1000, bytes.data(), 20000);
    if (SUCCEEDED(hr)) hr = file.Write(ulLarge, 299990, bytes.data(), bytes.size());
    if (SUCCEEDED(hr)) hr = file.Write(ulSmall, 500, bytes.data(), 5000);
    if (SUCCEEDED(hr)) hr = file.Remove(0, u"Other");
    for (unsigned i = 0; i < 40 && SUCCEEDED(hr); i += 3) hr = file.Remove(ulRuns, Numbered(u"Spectrum", i));
    for (unsigned i = 0; i < 30 && SUCCEEDED(hr); ++i)
    {
        hr = file.Insert(ulRuns, Numbered(u"New", i), EntryKind::Stream, ulNew);
        if (SUCCEEDED(hr)) hr = file.Write(ulNew, 0, bytes.data(), 200 * i);
    }
    if (SUCCEEDED(hr)) hr = file.Move(ulRuns, u"Spectrum1", 0, u"Moved");
    if (SUCCEEDED(hr)) hr = file.Move(0, u"Runs", 0, u"Old runs");
    return SUCCEEDED(hr) ? file.Commit() : hr;
}

// A file that was filled, what it holds, and what it will hold after ChangeMuch.
class StorageCommit : public testing::TestWithParam<WORD>
{
protected:
    void SetUp() override
    {
        StorageMemory bytes;
        CompoundFile file(bytes);
        ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
        Fill(file);
        ASSERT_EQ(file.Commit(), S_OK);
        mBefore = bytes.maBytes;
        ASSERT_EQ(ContentOf(bytes, mOld), S_OK);
        ASSERT_EQ(ChangeMuch(file), S_OK);
        ASSERT_EQ(ContentOf(bytes, mNew), S_OK);
        ASSERT_NE(mOld, mNew);
    }

    // Whether the bytes hold one of the two, whole. True for the new one.
    bool IsNew(std::vector<BYTE> bytes)
    {
        StorageMemory memory(std::move(bytes));
        StorageContent content;
        EXPECT_EQ(ContentOf(memory, content), S_OK);
        EXPECT_TRUE(content == mOld || content == mNew);
        EXPECT_EQ(DamageOf(memory), "");
        return content == mNew;
    }

    std::vector<BYTE> mBefore;
    StorageContent mOld, mNew;
};

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
        bytes.mbRemember = true;
        CompoundFile file(bytes);
        ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
        bytes.maFlushed = mBefore;
        bytes.mulAllowed = ulAllowed;
        bDone = ChangeMuch(file) == S_OK;
        // Everything before the last flush is on the disk; of what came after it, any part.
        for (int i = 0; i < 4; ++i)
        {
            std::vector<BYTE> disk = bytes.maFlushed;
            for (const StorageMemory::Step& step : bytes.maUnflushed)
                if (random() % 2) StorageMemory::Do(disk, step);
            (IsNew(std::move(disk)) ? iNew : iOld) += 1;
        }
    }
    EXPECT_GT(iOld, 0);
    EXPECT_GT(iNew, 0);
}

TEST_P(StorageCommit, NothingOfTheOldStateIsTouchedBeforeTheHeader)
{
    StorageMemory bytes(mBefore);
    CompoundFile file(bytes);
    ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
    bytes.mbRemember = true;
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

TEST_P(StorageCommit, ACommitThatFailedCanBeTriedAgain)
{
    StorageMemory counting(mBefore);
    CompoundFile whole(counting);
    ASSERT_EQ(whole.Open(StorageAccess::Transacted), S_OK);
    ASSERT_EQ(ChangeMuch(whole), S_OK);
    const ULONG ulSteps = counting.mulChanges + counting.mulFlushes;
    for (ULONG ulShort = 1; ulShort <= 8; ++ulShort) // from the end: the header's flush, the header, the flush before it ...
    {
        StorageMemory bytes(mBefore);
        CompoundFile file(bytes);
        ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
        bytes.mulAllowed = ulSteps - ulShort;
        bytes.mhrStopped = STG_E_MEDIUMFULL;
        ASSERT_EQ(ChangeMuch(file), STG_E_MEDIUMFULL);
        bytes.mulAllowed = 1000000;
        ASSERT_EQ(file.Commit(), S_OK);
        EXPECT_TRUE(IsNew(bytes.maBytes));
    }
}

TEST_P(StorageCommit, RevertGivesTheOldStateBackEvenWhenTheHeaderMayHaveBeenWritten)
{
    for (ULONG ulShort = 1; ulShort <= 3; ++ulShort)
    {
        StorageMemory counting(mBefore), bytes(mBefore);
        CompoundFile whole(counting), file(bytes);
        ASSERT_EQ(whole.Open(StorageAccess::Transacted), S_OK);
        ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
        ASSERT_EQ(ChangeMuch(whole), S_OK);
        bytes.mulAllowed = counting.mulChanges + counting.mulFlushes - ulShort;
        ASSERT_EQ(ChangeMuch(file), STG_E_WRITEFAULT);
        bytes.mulAllowed = 1000000;
        ASSERT_EQ(file.Revert(), S_OK);
        EXPECT_FALSE(IsNew(bytes.maBytes));
        EXPECT_EQ(bytes.maBytes.size(), mBefore.size());
        StorageContent content;
        ASSERT_EQ(ReadContent(file, content), S_OK);
        EXPECT_EQ(content, mOld);
        ASSERT_EQ(ChangeMuch(file), S_OK);
        EXPECT_TRUE(IsNew(bytes.maBytes));
    }
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

TEST_P(StorageCommit, AFileFilledEmptiedAndFilledAgainDoesNotGrow)
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
            for (const char16_t* pName : {u"Runs", u"Large", u"Other", u"Small"}) ASSERT_EQ(file.Remove(0, pName), S_OK);
            ASSERT_EQ(file.Commit(), S_OK);
            EXPECT_EQ(DamageOf(bytes), "");
            if (iRound % 2 == 0) continue;
            ASSERT_EQ(file.Open(eAccess), S_OK);
        }
    }
}

TEST_P(StorageCommit, ChangingTheSameBytesForeverDoesNotGrowTheFile)
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

TEST_P(StorageCommit, AnAppendCostsWhatItChangesAndNotWhatTheFileHolds)
{
    ULONGLONG ullSmall = 0, ullLarge = 0;
    ULONG ulSmall = 0, ulLarge = 0;
    AppendCost(GetParam(), 1 << 20, ullSmall, ulSmall);
    AppendCost(GetParam(), 64 << 20, ullLarge, ulLarge);
    // Small sectors pay for the list of table sectors, 512 bytes for each 8 MB.
    EXPECT_LE(ullLarge, ullSmall * 2 + (GetParam() == 3 ? 12 * 512 : 0));
    EXPECT_LE(ulLarge, ulSmall * 2 + 4);
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
