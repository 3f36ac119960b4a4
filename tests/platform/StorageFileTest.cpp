// The storage engine: sizes at every boundary, names and their order, limits, and what is refused. Linux only.
#include "Platform.h"

#include "StorageContent.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <numeric>

namespace
{
using lum::CfEntry;
using lum::CompoundFile;
using lum::EntryKind;
using lum::StorageAccess;

// A real file, open for the test.
class RealFile
{
public:
    RealFile() : mFd(open((mFolder / "real.cfb").c_str(), O_RDWR | O_CREAT, 0600)), mBytes(mFd) {}
    ~RealFile() { close(mFd); }
    lum::StorageBytes& Bytes() { return mBytes; }
    ULONGLONG Size()
    {
        ULONGLONG ullSize = 0;
        EXPECT_EQ(mBytes.Size(ullSize), S_OK);
        return ullSize;
    }

private:
    TempFolder mFolder;
    const int mFd;
    lum::DescriptorBytes mBytes;
};

ULONG Insert(CompoundFile& file, ULONG ulStorage, const StorageText& sName, EntryKind eKind = EntryKind::Stream)
{
    ULONG ulEntry = 0;
    EXPECT_EQ(file.Insert(ulStorage, sName, eKind, ulEntry), S_OK);
    return ulEntry;
}

std::string Narrow(std::u16string_view sName) { return std::string(sName.begin(), sName.end()); }

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

TEST_P(StorageFile, NamesAreInTheOrderOfTheFormat)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    for (const char16_t* pName : {u"bb", u"A", u"zz", u"C", u"b", u"AAA", u"aB", u"_"}) Insert(file, 0, pName);
    std::vector<ULONG> children;
    ASSERT_EQ(file.Children(0, children), S_OK);
    std::string sOrder;
    for (ULONG ulEntry : children)
    {
        CfEntry entry;
        std::u16string_view sName;
        ASSERT_EQ(file.Get(ulEntry, entry), S_OK);
        ASSERT_TRUE(lum::NameOfEntry(entry, sName));
        sOrder += Narrow(sName) + " ";
    }
    EXPECT_EQ(sOrder, "A b C _ aB bb zz AAA "); // shorter first; '_' comes behind the capitals
}

TEST_P(StorageFile, NamesAreFoundWithoutRegardToCase)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    const ULONG ulEntry = Insert(file, 0, u"Gr\u00FC\u00DFe \u0436");
    ULONG ulFound = 0;
    EXPECT_EQ(file.Find(0, u"GR\u00DC\u00DFE \u0416", ulFound), S_OK);
    EXPECT_EQ(ulFound, ulEntry);
    EXPECT_EQ(file.Insert(0, u"gr\u00FC\u00DFe \u0436", EntryKind::Storage, ulFound), STG_E_FILEALREADYEXISTS);
    EXPECT_EQ(file.Find(0, u"Gr\u00FCsse \u0436", ulFound), STG_E_FILENOTFOUND);
}

TEST_P(StorageFile, NamesThatCannotBeAreRefused)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    ULONG ulEntry = 0;
    for (const StorageText& sName : {StorageText(), StorageText(u"a/b"), StorageText(u"a\\b"), StorageText(u"a:b"),
                                     StorageText(u"a!b"), StorageText(32, u'x'), StorageText(u"a\0b", 3)})
        EXPECT_EQ(file.Insert(0, sName, EntryKind::Stream, ulEntry), STG_E_INVALIDNAME);
    EXPECT_EQ(file.Insert(0, StorageText(31, u'x'), EntryKind::Stream, ulEntry), S_OK);
    EXPECT_EQ(file.Move(0, StorageText(31, u'x'), 0, u"!"), STG_E_INVALIDNAME);
}

// The black height below an entry; -1 when a rule of the tree is broken.
int BlackHeight(CompoundFile& file, ULONG ulEntry, bool bParentRed)
{
    if (ulEntry == lum::kulNoEntry) return 0;
    CfEntry entry;
    EXPECT_EQ(file.Get(ulEntry, entry), S_OK);
    const bool bRed = entry.eColour == lum::EntryColour::Red;
    const int iLeft = BlackHeight(file, entry.ulLeft, bRed), iRight = BlackHeight(file, entry.ulRight, bRed);
    if ((bRed && bParentRed) || iLeft < 0 || iLeft != iRight) return -1;
    return iLeft + !bRed;
}

TEST_P(StorageFile, TheTreeOfAStorageStaysARedBlackTree)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    std::vector<StorageText> names;
    std::uint32_t ulNext = 7;
    const auto check = [&]
    {
        CfEntry root;
        ASSERT_EQ(file.Get(0, root), S_OK);
        ASSERT_GE(BlackHeight(file, root.ulChild, false), 0) << names.size();
    };
    for (int i = 0; i < 1500 && !HasFailure(); ++i)
    {
        ulNext = ulNext * 1664525u + 1013904223u;
        const unsigned uValue = ulNext >> 8;
        const bool bRising = i < 300; // in order at first: the worst for a tree that does not turn
        if (bRising || names.empty() || uValue % 100 < (i < 900 ? 60u : 25u))
        {
            const std::string sDigits = std::to_string(bRising ? 1000 + i : uValue % 1000000);
            const StorageText sName(sDigits.begin(), sDigits.end());
            ULONG ulEntry = 0;
            if (file.Insert(0, sName, EntryKind::Stream, ulEntry) == S_OK) names.push_back(sName);
        }
        else
        {
            const std::size_t ulGone = uValue % names.size();
            ASSERT_EQ(file.Remove(0, names[ulGone]), S_OK);
            names.erase(names.begin() + static_cast<std::ptrdiff_t>(ulGone));
        }
        check();
    }
    std::vector<ULONG> children;
    ASSERT_EQ(file.Children(0, children), S_OK);
    EXPECT_EQ(children.size(), names.size());
    EXPECT_GT(names.size(), 100u);
}

TEST_P(StorageFile, PropertiesOfAStorageAreKept)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(GetParam(), StorageAccess::Transacted), S_OK);
    const CLSID clsid{0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}};
    const ULONG ulEntry = Insert(file, 0, u"Storage", EntryKind::Storage);
    ASSERT_EQ(file.SetProperties(ulEntry, clsid, 0xABCD, {1, 2}, {3, 4}), S_OK);
    ASSERT_EQ(file.Commit(), S_OK);
    CompoundFile again(bytes);
    ASSERT_EQ(again.Open(StorageAccess::Read), S_OK);
    CfEntry entry;
    ASSERT_EQ(again.Get(ulEntry, entry), S_OK);
    EXPECT_TRUE(entry.clsid == clsid);
    EXPECT_EQ(entry.ulState, 0xABCDu);
    EXPECT_EQ(entry.created.dwLowDateTime, 1u);
    EXPECT_EQ(entry.modified.dwHighDateTime, 4u);
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
    EXPECT_EQ(reader.Remove(0, u"Stream"), STG_E_ACCESSDENIED);
    EXPECT_EQ(reader.Move(0, u"Stream", 0, u"Other"), STG_E_ACCESSDENIED);
    EXPECT_EQ(reader.Insert(0, u"Other", EntryKind::Stream, ulEntry), STG_E_ACCESSDENIED);
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
    EXPECT_EQ(file.Insert(ulStream, u"x", EntryKind::Stream, ulEntry), STG_E_INVALIDFUNCTION);
}

INSTANTIATE_TEST_SUITE_P(Versions, StorageFile, testing::Values(3, 4),
                         [](const auto& info) { return info.param == 3 ? "SmallSectors" : "LargeSectors"; });

TEST(StorageLimit, SmallSectorsEndBefore2GiBAndWhatIsCommittedStaysWhole)
{
    RealFile real;
    CompoundFile file(real.Bytes());
    ASSERT_EQ(file.Create(3, StorageAccess::Transacted), S_OK);
    ASSERT_EQ(file.Write(Insert(file, 0, u"Kept"), 0, "kept", 4), S_OK);
    const ULONG ulLarge = Insert(file, 0, u"Large");
    ASSERT_EQ(file.Resize(ulLarge, 0x7A000000), S_OK); // sparse: it costs its table alone
    ASSERT_EQ(file.Commit(), S_OK);

    EXPECT_EQ(file.Resize(ulLarge, 0x7FFFFFFF), STG_E_MEDIUMFULL);
    EXPECT_EQ(file.Resize(ulLarge, 0x100000000), STG_E_MEDIUMFULL);
    EXPECT_EQ(file.Write(ulLarge, 0xFFFFFFFFFFFFFFF0, "0123456789abcdef", 16), STG_E_MEDIUMFULL);
    EXPECT_EQ(file.Write(ulLarge, 0x79FFFFFE, "last", 2), S_OK);
    ASSERT_EQ(file.Commit(), S_OK);
    EXPECT_LE(real.Size(), 0x7FFFFE00u);

    CompoundFile again(real.Bytes());
    ULONG ulKept = 0;
    StorageBlob bytes;
    std::size_t ulRead = 0;
    char acLast[2] = {};
    ASSERT_EQ(again.Open(StorageAccess::Read), S_OK);
    ASSERT_EQ(again.Find(0, u"Kept", ulKept), S_OK);
    ASSERT_EQ(ReadWhole(again, ulKept, bytes), S_OK);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "kept");
    ASSERT_EQ(again.Read(ulLarge, 0x79FFFFFE, acLast, 2, ulRead), S_OK);
    EXPECT_EQ(std::string(acLast, 2), "la");
    std::vector<lum::StorageFinding> findings;
    EXPECT_EQ(lum::CheckStorage(real.Bytes(), findings), S_OK);
    EXPECT_TRUE(findings.empty()) << findings[0].sWhere << ": " << findings[0].sWhat;
}

TEST(StorageLimit, AFileOfSmallSectorsThatIsFullCanBeCommittedChangedAndEmptied)
{
    RealFile real;
    CompoundFile file(real.Bytes());
    ASSERT_EQ(file.Create(3, StorageAccess::Transacted), S_OK);
    const ULONG ulKept = Insert(file, 0, u"Kept"), ulLarge = Insert(file, 0, u"Large");
    ASSERT_EQ(file.Write(ulKept, 0, "kept", 4), S_OK);
    ULONGLONG ullSize = 0x78000000;
    HRESULT hr = file.Resize(ulLarge, ullSize);
    for (; SUCCEEDED(hr); ullSize += 0x80000) hr = file.Resize(ulLarge, ullSize + 0x80000);
    EXPECT_EQ(hr, STG_E_MEDIUMFULL);
    EXPECT_GT(ullSize, 0x7A000000u);
    ASSERT_EQ(file.Commit(), S_OK);

    ASSERT_EQ(file.Write(ulKept, 4, "more", 4), S_OK);
    ASSERT_EQ(file.Commit(), S_OK);
    ASSERT_EQ(file.Remove(0, u"Large"), S_OK);
    ASSERT_EQ(file.Commit(), S_OK);
    EXPECT_LE(real.Size(), 0x7FFFFE00u);
    StorageBlob bytes;
    ASSERT_EQ(ReadWhole(file, ulKept, bytes), S_OK);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "keptmore");
    std::vector<lum::StorageFinding> findings;
    EXPECT_EQ(lum::CheckStorage(real.Bytes(), findings), S_OK);
    EXPECT_TRUE(findings.empty()) << findings[0].sWhere << ": " << findings[0].sWhat;
}

TEST(StorageLimit, LargeSectorsGoBeyond2GiBAroundThePlaceForLocks)
{
    RealFile real;
    CompoundFile file(real.Bytes());
    ASSERT_EQ(file.Create(4, StorageAccess::Transacted), S_OK);
    const ULONG ulLarge = Insert(file, 0, u"Large");
    const ULONGLONG ullSize = 0x100000100; // sizes have more than 32 bits
    ASSERT_EQ(file.Resize(ulLarge, ullSize), S_OK);
    for (ULONGLONG ullAt = 0x7FF00000; ullAt < 0x80100000; ullAt += 0x800) ASSERT_EQ(file.Write(ulLarge, ullAt, &ullAt, 8), S_OK);
    ASSERT_EQ(file.Commit(), S_OK);
    EXPECT_GT(real.Size(), ullSize);

    CompoundFile again(real.Bytes());
    CfEntry entry;
    ASSERT_EQ(again.Open(StorageAccess::Read), S_OK);
    ASSERT_EQ(again.Get(ulLarge, entry), S_OK);
    EXPECT_EQ(again.SizeOf(entry), ullSize);
    for (ULONGLONG ullAt = 0x7FF00000; ullAt < 0x80100000; ullAt += 0x800)
    {
        ULONGLONG ullFound = 0;
        std::size_t ulRead = 0;
        ASSERT_EQ(again.Read(ulLarge, ullAt, &ullFound, 8, ulRead), S_OK);
        ASSERT_EQ(ullFound, ullAt);
    }
    BYTE aubLocks[256];
    std::size_t ulRead = 0;
    ASSERT_EQ(real.Bytes().Read(lum::kullLockBytes, aubLocks, sizeof aubLocks, ulRead), S_OK);
    EXPECT_EQ(std::count(aubLocks, aubLocks + sizeof aubLocks, 0), 256);
    std::vector<lum::StorageFinding> findings;
    EXPECT_EQ(lum::CheckStorage(real.Bytes(), findings), S_OK);
    EXPECT_TRUE(findings.empty()) << findings[0].sWhere << ": " << findings[0].sWhat;
}

TEST(StorageLimit, TheTableGoesOnInAListWhenTheHeaderIsFull)
{
    for (WORD uwVersion : {3, 4})
    {
        // 109 table sectors in the header, then one sector of the list, then a second one: the last of each, and one more.
        const ULONGLONG ullSector = uwVersion == 3 ? 512 : 4096, ullTable = ullSector / 4 * ullSector;
        for (ULONGLONG ullTables : {ULONGLONG{109}, 109 + ullSector / 4 - 1})
        {
            if (uwVersion == 4 && ullTables > 109) continue; // a file of 4.6 GB
            for (int iOff = -2; iOff <= 2; ++iOff)
            {
                RealFile real;
                CompoundFile file(real.Bytes());
                ASSERT_EQ(file.Create(uwVersion, StorageAccess::Transacted), S_OK);
                const ULONG ulLarge = Insert(file, 0, u"Large");
                const ULONGLONG ullSize = ullTables * ullTable - (ullTables + 5 + iOff) * ullSector;
                ASSERT_EQ(file.Resize(ulLarge, ullSize), S_OK);
                ASSERT_EQ(file.Write(ulLarge, ullSize - 4, "last", 4), S_OK);
                ASSERT_EQ(file.Commit(), S_OK);
                ASSERT_EQ(file.Write(ulLarge, ullSize, "more", 4), S_OK);
                ASSERT_EQ(file.Commit(), S_OK);
                CompoundFile again(real.Bytes());
                char acLast[8] = {};
                std::size_t ulRead = 0;
                ASSERT_EQ(again.Open(StorageAccess::Read), S_OK);
                ASSERT_EQ(again.Read(ulLarge, ullSize - 4, acLast, 8, ulRead), S_OK);
                EXPECT_EQ(std::string(acLast, 8), "lastmore");
                std::vector<lum::StorageFinding> findings;
                EXPECT_EQ(lum::CheckStorage(real.Bytes(), findings), S_OK);
                EXPECT_TRUE(findings.empty()) << findings[0].sWhere << ": " << findings[0].sWhat;
            }
        }
    }
}
} // namespace
