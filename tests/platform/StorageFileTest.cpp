// The storage engine: streams of sizes at every boundary, and what is refused. Linux only.
#include "StorageFilled.h"

#include <algorithm>
#include <numeric>

namespace
{
using lum::CompoundFile;
using lum::EntryKind;
using lum::StorageAccess;

class StorageFile : public testing::TestWithParam<WORD>
{
protected:
    ULONG SectorBytes() const { return GetParam() == 3 ? 512 : 4096; }
};

TEST_P(StorageFile, ANewFileIsEmptyAndSound)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    StorageContent content;
    EXPECT_EQ(ContentOf(bytes, content), S_OK);
    EXPECT_TRUE(content.empty());
    EXPECT_EQ(DamageOf(bytes), "");
    EXPECT_EQ(bytes.maBytes.size(), 3 * SectorBytes()); // header, directory, table
}

TEST_P(StorageFile, StreamsOfEverySizeAtABoundaryComeBackWhole)
{
    const std::size_t ulSector = SectorBytes(), ulTable = ulSector / 4 * ulSector; // bytes that one table sector stands for
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    StorageContent expected;
    unsigned uSeed = 0;
    for (std::size_t ulBase : {std::size_t{0}, std::size_t{64}, ulSector, std::size_t{4096}, 2 * ulSector, ulTable})
    {
        for (int iOff = -1; iOff <= 1; ++iOff)
        {
            if (ulBase == 0 && iOff < 0) continue;
            const std::string sDigits = std::to_string(++uSeed);
            const StorageText sName(sDigits.begin(), sDigits.end());
            const StorageBlob data = StoragePattern(ulBase + iOff, uSeed);
            ASSERT_EQ(file.Write(Insert(file, 0, sName), 0, data.data(), data.size()), S_OK);
            expected[sName] = data;
        }
    }
    ASSERT_EQ(file.Commit(), S_OK);
    StorageContent content;
    EXPECT_EQ(ContentOf(bytes, content), S_OK);
    EXPECT_TRUE(content == expected);
    EXPECT_EQ(DamageOf(bytes), "");
}

TEST_P(StorageFile, AStreamGrowsAndShrinksThroughEveryBoundary)
{
    constexpr std::size_t kulSizes[] = {0, 1, 63, 64, 65, 4095, 4096, 4097, 4095, 64, 4096, 63, 20000, 4096, 4095, 20000, 1, 0};
    for (StorageAccess eAccess : {StorageAccess::Transacted, StorageAccess::Direct})
    {
        StorageMemory bytes;
        CompoundFile file(bytes);
        ASSERT_EQ(file.Create(GetParam(), eAccess), S_OK);
        const ULONG ulEntry = Insert(file, 0, u"Stream");
        StorageBlob expected;
        for (std::size_t ulSize : kulSizes)
        {
            ASSERT_EQ(file.Resize(ulEntry, ulSize), S_OK);
            expected.resize(ulSize);
            StorageBlob found;
            ASSERT_EQ(ReadWhole(file, ulEntry, found), S_OK);
            ASSERT_TRUE(found == expected) << ulSize; // what is new is zero, whatever was there before
            expected = StoragePattern(ulSize, static_cast<unsigned>(ulSize));
            ASSERT_EQ(file.Write(ulEntry, 0, expected.data(), ulSize), S_OK);
            ASSERT_EQ(file.Commit(), S_OK);
            ASSERT_EQ(DamageOf(bytes), "");
        }
    }
}

TEST_P(StorageFile, WhatIsSkippedByAWriteIsZero)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    const ULONG ulEntry = Insert(file, 0, u"Stream");
    const StorageBlob data = StoragePattern(10, 1);
    for (ULONGLONG ullAt : {100u, 4000u, 5000u, 100000u}) ASSERT_EQ(file.Write(ulEntry, ullAt, data.data(), data.size()), S_OK);
    StorageBlob expected(100010), found;
    for (std::size_t ulAt : {100u, 4000u, 5000u, 100000u}) std::copy(data.begin(), data.end(), expected.begin() + ulAt);
    ASSERT_EQ(ReadWhole(file, ulEntry, found), S_OK);
    EXPECT_EQ(found, expected);
}

TEST_P(StorageFile, ReadingStopsAtTheEnd)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    for (std::size_t ulSize : {100u, 5000u})
    {
        const ULONG ulEntry = Insert(file, 0, ulSize == 100 ? u"Small" : u"Large");
        const StorageBlob data = StoragePattern(ulSize, 1);
        ASSERT_EQ(file.Write(ulEntry, 0, data.data(), data.size()), S_OK);
        BYTE aubRead[64];
        std::size_t ulRead = 99;
        EXPECT_EQ(file.Read(ulEntry, ulSize - 4, aubRead, sizeof aubRead, ulRead), S_OK);
        EXPECT_EQ(ulRead, 4u);
        EXPECT_EQ(std::memcmp(aubRead, data.data() + ulSize - 4, 4), 0);
        EXPECT_EQ(file.Read(ulEntry, ulSize, aubRead, 1, ulRead), S_OK);
        EXPECT_EQ(ulRead, 0u);
        EXPECT_EQ(file.Read(ulEntry, ~0ull, aubRead, 1, ulRead), S_OK);
        EXPECT_EQ(ulRead, 0u);
    }
}

TEST_P(StorageFile, AMiniStreamLargerThanWhatIsHeldInMemoryComesBackWhole)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    const StorageBlob data = StoragePattern(4095 + 12000, 1);
    std::vector<ULONG> entries;
    for (unsigned i = 0; i < 12000; ++i) // 48 MB
    {
        const std::string sDigits = std::to_string(i);
        entries.push_back(Insert(file, 0, StorageText(sDigits.begin(), sDigits.end())));
        ASSERT_EQ(file.Write(entries.back(), 0, data.data() + i, 4000), S_OK);
    }
    ASSERT_EQ(file.Commit(), S_OK);
    CompoundFile again(bytes);
    ASSERT_EQ(again.Open(StorageAccess::Read), S_OK);
    StorageBlob found(4000);
    for (unsigned i = 0; i < 12000; ++i)
    {
        std::size_t ulRead = 0;
        ASSERT_EQ(again.Read(entries[i], 0, found.data(), found.size(), ulRead), S_OK);
        ASSERT_TRUE(std::equal(found.begin(), found.end(), data.begin() + i)) << i;
    }
    EXPECT_EQ(DamageOf(bytes), "");
}

// Writing to a part of a large page costs the system more than writing to a whole one.
TEST_P(StorageFile, ALongStreamLiesInWholePiecesOfTheFile)
{
    constexpr std::size_t kulPiece = 65536;
    constexpr BYTE kubFrom = 16, kubPieces = 40; // the first 1 MiB lies where there is room
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    const ULONG ulEntry = Insert(file, 0, u"Long");
    for (BYTE i = 0; i < kubPieces; ++i)
        ASSERT_EQ(file.Write(ulEntry, i * kulPiece, std::vector<BYTE>(kulPiece, i).data(), kulPiece), S_OK);
    const ULONG ulSmall = Insert(file, 0, u"Small");
    ASSERT_EQ(file.Write(ulSmall, 0, std::vector<BYTE>(kulPiece / 4, 0xAA).data(), kulPiece / 4), S_OK);
    ASSERT_EQ(file.Commit(), S_OK);

    std::vector<BYTE> whole;
    for (std::size_t ulAt = kulPiece; ulAt + kulPiece <= bytes.maBytes.size(); ulAt += kulPiece)
    {
        const auto first = bytes.maBytes.begin() + static_cast<std::ptrdiff_t>(ulAt);
        if (std::count(first, first + kulPiece, *first) == kulPiece) whole.push_back(*first);
    }
    std::vector<BYTE> expected(kubPieces - kubFrom);
    std::iota(expected.begin(), expected.end(), kubFrom);
    EXPECT_EQ(whole, expected);
    // What was left out is used by what came later.
    EXPECT_LT(bytes.maBytes.size(), (kubPieces + 2) * kulPiece);
    StorageContent content;
    EXPECT_EQ(ContentOf(bytes, content), S_OK);
}

TEST_P(StorageFile, WhatIsOpenForReadingIsNotChanged)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    ASSERT_EQ(file.Write(Insert(file, 0, u"Stream"), 0, "abc", 3), S_OK);
    ASSERT_EQ(file.Commit(), S_OK);

    const ULONG ulChanges = bytes.mulChanges;
    CompoundFile reader(bytes);
    ULONG ulEntry = 0;
    ASSERT_EQ(reader.Open(StorageAccess::Read), S_OK);
    ASSERT_EQ(reader.Find(0, u"Stream", ulEntry), S_OK);
    EXPECT_EQ(reader.Write(ulEntry, 0, "x", 1), STG_E_ACCESSDENIED);
    EXPECT_EQ(reader.Resize(ulEntry, 0), STG_E_ACCESSDENIED);
    EXPECT_EQ(RemoveNamed(reader, 0, u"Stream"), STG_E_ACCESSDENIED);
    EXPECT_EQ(MoveNamed(reader, 0, u"Stream", 0, u"Other"), STG_E_ACCESSDENIED);
    EXPECT_EQ(InsertNamed(reader, 0, u"Other", EntryKind::Stream, ulEntry), STG_E_ACCESSDENIED);
    EXPECT_EQ(reader.SetProperties(0, {}, 0, {}, {}), STG_E_ACCESSDENIED);
    EXPECT_EQ(reader.Commit(), STG_E_ACCESSDENIED);
    EXPECT_EQ(bytes.mulChanges, ulChanges);
}

TEST_P(StorageFile, AStreamIsNoStorageAndAStorageNoStream)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    const ULONG ulStream = Insert(file, 0, u"Stream"), ulStorage = Insert(file, 0, u"Storage", EntryKind::Storage);
    std::size_t ulRead = 0;
    ULONG ulEntry = 0;
    BYTE ubByte = 0;
    EXPECT_EQ(file.Read(ulStorage, 0, &ubByte, 1, ulRead), STG_E_INVALIDFUNCTION);
    EXPECT_EQ(file.Write(0, 0, &ubByte, 1), STG_E_INVALIDFUNCTION);
    EXPECT_EQ(file.Find(ulStream, u"x", ulEntry), STG_E_INVALIDFUNCTION);
    EXPECT_EQ(InsertNamed(file, ulStream, u"x", EntryKind::Stream, ulEntry), STG_E_INVALIDFUNCTION);
}

INSTANTIATE_TEST_SUITE_P(Versions, StorageFile, testing::Values(3, 4),
                         [](const auto& info) { return info.param == 3 ? "SmallSectors" : "LargeSectors"; });

} // namespace
