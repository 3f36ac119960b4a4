// The storage engine on a disk that cannot be read in places. Linux only.
#include "StorageFilled.h"
#include "TempFolder.h"

#include <fcntl.h>
#include <unistd.h>

namespace
{
using lum::CompoundFile;
using lum::StorageAccess;

// Bytes of which some cannot be read.
template <class Bytes>
class Faulty : public Bytes
{
public:
    using Bytes::Bytes;
    void Break(ULONGLONG ullFrom, ULONGLONG ullBytes)
    {
        mullFrom = ullFrom;
        mullEnd = ullFrom + ullBytes;
    }
    void Mend() { Break(0, 0); }
    HRESULT Read(ULONGLONG ullAt, void* pTo, std::size_t ulBytes, std::size_t& ulRead) override
    {
        ulRead = 0;
        return ullAt < mullEnd && mullFrom < ullAt + ulBytes ? STG_E_READFAULT : Bytes::Read(ullAt, pTo, ulBytes, ulRead);
    }

private:
    ULONGLONG mullFrom = 0, mullEnd = 0;
};

TEST(StorageFault, ASmallStreamThatCannotGrowTellsHowMuchOfItIsNew)
{
    Faulty<StorageMemory> bytes;
    CompoundFile file(bytes);
    ASSERT_EQ(file.Create(3, StorageAccess::Transacted), S_OK);
    for (unsigned i = 0; i < 4; ++i) AddStream(file, 0, Numbered(u"Before", i), StoragePattern(3904, i));
    const ULONG ulStream = AddStream(file, 0, u"Stream", StoragePattern(3000, 9)); // from 15616 of what small streams lie in
    for (unsigned i = 0; i < 5; ++i) AddStream(file, 0, Numbered(u"Behind", i), StoragePattern(4032, i));
    ASSERT_EQ(file.Commit(), S_OK);
    lum::CfEntry root;
    ASSERT_EQ(file.Get(lum::kulRootEntry, root), S_OK);

    ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
    bytes.Break((root.ulStart + 1) * 512ull + 16384, 16384);
    const StorageBlob data = StoragePattern(3500, 10);
    std::size_t ulWritten = 0;
    EXPECT_EQ(file.Write(ulStream, 0, data.data(), data.size(), &ulWritten), STG_E_READFAULT);
    EXPECT_EQ(ulWritten, 16384u - 15616u);
    EXPECT_EQ(file.Write(ulStream, 0, data.data(), 2000, &ulWritten), STG_E_READFAULT);
    EXPECT_EQ(ulWritten, 16384u - 15616u);

    bytes.Mend();
    StorageBlob found, expected = StoragePattern(3000, 9);
    ASSERT_EQ(ReadWhole(file, ulStream, found), S_OK);
    std::copy_n(data.begin(), ulWritten, expected.begin());
    EXPECT_EQ(found, expected);
    ASSERT_EQ(file.Commit(), S_OK);
    EXPECT_EQ(DamageOf(bytes), "");
}

TEST(StorageFault, WhatIsTakenInVainBesideThePlaceForLocksIsGivenBack)
{
    TempFolder folder;
    const int fd = open((folder / "file").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    Faulty<lum::DescriptorBytes> bytes(fd);
    {
        CompoundFile file(bytes);
        ASSERT_EQ(file.Create(4, StorageAccess::Transacted), S_OK);
        ASSERT_EQ(file.Resize(Insert(file, 0, u"Large"), 0x90000000), S_OK); // sparse
        ASSERT_EQ(file.Commit(), S_OK);
    }
    // The part of the table that tells of the sector there; the list names it.
    constexpr ULONG kulPage = 511;
    ULONG ulList = 0, ulPlace = 0;
    std::size_t ulRead = 0;
    ASSERT_EQ(bytes.Read(0x44, &ulList, 4, ulRead), S_OK);
    ASSERT_EQ(bytes.Read((ulList + 1) * 4096ull + 4 * (kulPage - lum::kulHeaderFats), &ulPlace, 4, ulRead), S_OK);

    CompoundFile file(bytes);
    ASSERT_EQ(file.Open(StorageAccess::Transacted), S_OK);
    const ULONG ulMore = Insert(file, 0, u"More");
    const StorageBlob data = StoragePattern(50000, 1);
    bytes.Break((ulPlace + 1) * 4096ull, 4096);
    EXPECT_EQ(file.Write(ulMore, 0, data.data(), data.size()), STG_E_READFAULT);
    bytes.Mend();
    ASSERT_EQ(file.Commit(), S_OK);
    std::vector<lum::StorageFinding> findings;
    EXPECT_EQ(lum::CheckStorage(bytes, findings), S_OK);
    EXPECT_TRUE(findings.empty()) << findings[0].sWhere << ": " << findings[0].sWhat;
    close(fd);
}
} // namespace
