// Commits of the storage engine that failed, and what is done then. Linux only.
#include "StorageFilled.h"

#include <random>

namespace
{
using lum::CompoundFile;
using lum::StorageAccess;

using Landing = StorageMemory::Landing;

class StorageRetry : public StorageFilled
{
protected:
    void SetUp() override
    {
        StorageFilled::SetUp();
        StorageMemory bytes(mBefore);
        CompoundFile file(bytes);
        ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
        ASSERT_EQ(ChangeMuch(file), S_OK);
        mulSteps = bytes.mulChanges + bytes.mulFlushes;
        mMore = mNew;
        mMore[u"Between"] = StoragePattern(70000, 9);
    }

    // ChangeMuch, of whose steps that one fails, counted from the end, and so many after it.
    void Fail(StorageMemory& bytes, CompoundFile& file, ULONG ulFromEnd, ULONG ulFailures, Landing eLanding)
    {
        bytes.Remember();
        ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
        bytes.Stop(mulSteps - ulFromEnd, ulFailures);
        bytes.meLanding = eLanding;
        bytes.mhrStopped = STG_E_MEDIUMFULL;
        ASSERT_EQ(ChangeMuch(file), STG_E_MEDIUMFULL);
        bytes.GoOn();
    }

    // What a transaction goes on with.
    HRESULT ChangeMore(CompoundFile& file)
    {
        const StorageBlob content = StoragePattern(70000, 9);
        ULONG ulEntry = 0;
        HRESULT hr = InsertNamed(file, 0, u"Between", lum::EntryKind::Stream, ulEntry);
        if (SUCCEEDED(hr)) hr = file.Write(ulEntry, 0, content.data(), content.size());
        return SUCCEEDED(hr) ? file.Commit() : hr;
    }

    // Which of the states the bytes hold: "old", "new", "more".
    std::string StateOf(const std::vector<BYTE>& bytes)
    {
        StorageMemory memory(bytes);
        StorageContent content;
        if (FAILED(ContentOf(memory, content)) || !DamageOf(memory).empty()) return "damaged";
        return content == mOld ? "old" : content == mNew ? "new" : content == mMore ? "more" : "none of them";
    }

    ULONG mulSteps = 0;
    StorageContent mMore;
};

constexpr ULONG kulHeaderFlush = 1, kulHeader = 2, kulContentsFlush = 3; // the last steps of a commit, from the end
constexpr Landing keLandings[] = {Landing::None, Landing::Half, Landing::Whole};
constexpr Landing keHeaderLandings[] = {Landing::None, Landing::Whole}; // less than a sector is not written

TEST_P(StorageRetry, ACommitThatFailedCanBeTriedAgainWithMore)
{
    for (ULONG ulFromEnd : {kulHeaderFlush, kulHeader, 4u, 5u, 6u, 7u, 8u})
        for (Landing eLanding : keHeaderLandings)
        {
            StorageMemory bytes(mBefore);
            CompoundFile file(bytes);
            Fail(bytes, file, ulFromEnd, 1, eLanding);
            EXPECT_EQ(StateOf(bytes.maBytes), "old");
            ASSERT_EQ(ChangeMore(file), S_OK) << ulFromEnd;
            EXPECT_EQ(StateOf(bytes.maBytes), "more");
            EXPECT_EQ(StateOf(bytes.maFlushed), "more") << ulFromEnd;
        }
}

TEST_P(StorageRetry, AfterAFailedFlushOfTheContentsEverythingIsRefusedUntilARevert)
{
    for (Landing eLanding : keLandings)
    {
        StorageMemory bytes(mBefore);
        CompoundFile file(bytes);
        Fail(bytes, file, kulContentsFlush, 1, eLanding);
        EXPECT_EQ(ChangeMore(file), STG_E_MEDIUMFULL);
        EXPECT_EQ(file.Commit(), STG_E_MEDIUMFULL);
        StorageContent seen;
        EXPECT_EQ(ReadContent(file, seen), S_OK);
        EXPECT_TRUE(seen == mNew);
        EXPECT_EQ(StateOf(bytes.maFlushed), "old");
        ASSERT_EQ(file.Revert(), S_OK);
        ASSERT_EQ(ChangeMuch(file), S_OK);
        EXPECT_EQ(StateOf(bytes.maBytes), "new");
        EXPECT_EQ(StateOf(bytes.maFlushed), "new");
    }
}

TEST_P(StorageRetry, WhatIsDoneAfterAFailedHeaderLeavesOneOfTheStatesWhereverItStops)
{
    std::mt19937 random(GetParam());
    for (ULONG ulFromEnd : {kulHeaderFlush, kulHeader})
        for (ULONG ulFailures : {1u, 2u, 3u})
            for (Landing eLanding : keHeaderLandings)
                for (ULONG ulMore = 0, ulDone = 0; ulDone == 0 && !HasFailure(); ++ulMore)
                {
                    StorageMemory bytes(mBefore);
                    CompoundFile file(bytes);
                    Fail(bytes, file, ulFromEnd, ulFailures, eLanding);
                    bytes.Stop(ulMore);
                    HRESULT hr = ChangeMore(file);
                    if (FAILED(hr) && SUCCEEDED(hr = file.Revert())) hr = ChangeMuch(file);
                    ulDone = SUCCEEDED(hr);
                    for (const std::vector<BYTE>& disk :
                         {bytes.maBytes, bytes.maFlushed, bytes.AfterPowerCut([&] { return random() % 2; })})
                    {
                        const std::string sState = StateOf(disk);
                        EXPECT_TRUE(sState == "new" || sState == "more" || (sState == "old" && !ulDone))
                            << sState << ' ' << ulFromEnd << ' ' << ulFailures << ' ' << ulMore;
                    }
                }
}

TEST_P(StorageRetry, RevertGivesTheOldStateBackEvenWhenTheHeaderMayHaveBeenWritten)
{
    for (ULONG ulShort = 1; ulShort <= 3; ++ulShort)
    {
        StorageMemory bytes(mBefore);
        CompoundFile file(bytes);
        ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
        bytes.mulAllowed = mulSteps - ulShort;
        ASSERT_EQ(ChangeMuch(file), STG_E_WRITEFAULT);
        bytes.GoOn();
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

INSTANTIATE_TEST_SUITE_P(Versions, StorageRetry, testing::Values(3, 4),
                         [](const auto& info) { return info.param == 3 ? "SmallSectors" : "LargeSectors"; });
} // namespace
