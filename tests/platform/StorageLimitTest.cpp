// The storage engine at its limits: files that are full, or very large. Linux only.
#include "StorageFilled.h"
#include "TempFolder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

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

// As a writer that was killed may leave it: much more file than its table knows of, beyond the sector of the locks.
TEST(StorageLimit, ALargeSectorsFileWithALongLeftoverIsWrittenLikeAnyOther)
{
    for (const StorageAccess eAccess : {StorageAccess::Transacted, StorageAccess::Direct})
    {
        RealFile real;
        {
            CompoundFile file(real.Bytes());
            ASSERT_EQ(file.Create(4, StorageAccess::Transacted), S_OK);
            ASSERT_EQ(file.Commit(), S_OK);
        }
        ASSERT_EQ(real.Bytes().SetSize(0x80001000), S_OK);
        CompoundFile file(real.Bytes());
        ASSERT_EQ(file.Open(eAccess), S_OK);
        const StorageBlob bytes = StoragePattern(9 << 20, 5); // needs more table
        AddStream(file, 0, u"New", bytes);
        ASSERT_EQ(file.Commit(), S_OK);
        StorageBlob read;
        ASSERT_EQ(ReadWhole(file, FindStream(file, u"New"), read), S_OK);
        EXPECT_TRUE(read == bytes);
    }
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
    ASSERT_EQ(RemoveNamed(file, 0, u"Large"), S_OK);
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

TEST(StorageLimit, SizesThatEndBehindAllNumbersAreTooLarge)
{
    for (WORD uwVersion : {3, 4})
        for (ULONGLONG ullSize : {0u, 100u, 5000u})
        {
            StorageMemory bytes;
            CompoundFile file(bytes);
            ASSERT_EQ(file.Create(uwVersion, StorageAccess::Transacted), S_OK);
            const ULONG ulEntry = AddStream(file, 0, u"Stream", StoragePattern(ullSize, 1));
            for (ULONGLONG ullBefore : {0u, 1u, 510u, 511u, 4094u, 4095u, 4096u})
            {
                EXPECT_EQ(file.Resize(ulEntry, ~ullBefore), STG_E_MEDIUMFULL) << ullBefore;
                EXPECT_EQ(file.Write(ulEntry, ~ullBefore - 2, "12", 2), STG_E_MEDIUMFULL) << ullBefore;
            }
            StorageBlob found;
            EXPECT_EQ(ReadWhole(file, ulEntry, found), S_OK);
            EXPECT_EQ(found, StoragePattern(ullSize, 1));
        }
}

TEST(StorageLimit, ASizeBehindAllNumbersIsDamage)
{
    StorageMemory bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(4, StorageAccess::Transacted), S_OK);
    const ULONG ulEntry = AddStream(file, 0, u"Stream", StoragePattern(5000, 1));
    ASSERT_EQ(file.Commit(), S_OK);
    CfEntry entry;
    ASSERT_EQ(file.Get(ulEntry, entry), S_OK);
    const auto* pEntry = reinterpret_cast<const BYTE*>(&entry);
    const auto place = std::search(bytes.maBytes.begin(), bytes.maBytes.end(), pEntry, pEntry + sizeof entry);
    ASSERT_NE(place, bytes.maBytes.end());
    std::fill_n(place + offsetof(CfEntry, ulSizeLow), 8, BYTE{0xFF});

    ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
    BYTE ubByte = 0;
    std::size_t ulRead = 0;
    EXPECT_EQ(file.Read(ulEntry, 0, &ubByte, 1, ulRead), STG_E_DOCFILECORRUPT);
    EXPECT_EQ(file.Resize(ulEntry, 1ull << 44), STG_E_DOCFILECORRUPT);
}

TEST(StorageLimit, ATableOfMorePiecesThanThereAreNumbersIsDamage)
{
    RealFile real;
    {
        CompoundFile file(real.Bytes());
        ASSERT_EQ(file.Create(4, StorageAccess::Transacted), S_OK);
        const ULONG ulLarge = Insert(file, 0, u"Large");
        ASSERT_EQ(file.Resize(ulLarge, (1ull << 34) + 4096), S_OK); // sparse
        ASSERT_EQ(file.Commit(), S_OK);
        CfEntry entry;
        ASSERT_EQ(file.Get(ulLarge, entry), S_OK);
        const ULONG aulTable[] = {entry.ulStart, (1u << 22) + 1};
        ASSERT_EQ(real.Bytes().Write(offsetof(lum::CfHeader, ulMiniFat), aulTable, sizeof aulTable), S_OK);
    }
    CompoundFile file(real.Bytes());
    ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
    EXPECT_EQ(file.Write(Insert(file, 0, u"Small"), 0, "small", 5), STG_E_DOCFILECORRUPT);
}

} // namespace
