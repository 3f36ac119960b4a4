// The storage engine on real disks: processes that are killed, disks that are full. Linux only.
#include "Platform.h"

#include "SmallDisk.h"
#include "StorageContent.h"
#include "StorageNamed.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
using lum::CompoundFile;
using lum::DescriptorBytes;
using lum::EntryKind;
using lum::StorageAccess;

class OpenFile
{
public:
    explicit OpenFile(const std::string& sPath) : mFd(open(sPath.c_str(), O_RDWR | O_CREAT, 0600)), mBytes(mFd) {}
    ~OpenFile() { close(mFd); }
    DescriptorBytes& Bytes() { return mBytes; }

private:
    const int mFd;
    DescriptorBytes mBytes;
};

std::string DamageOnDisk(const std::string& sPath)
{
    OpenFile disk(sPath);
    std::vector<lum::StorageFinding> findings;
    if (lum::CheckStorage(disk.Bytes(), findings) != S_OK) return "cannot be opened";
    return findings.empty() ? "" : findings[0].sWhere + ": " + findings[0].sWhat;
}

constexpr const char16_t* kpNames[] = {u"Small", u"Middle", u"Large"};

// What the three streams hold in that round: a size that changes, and bytes that tell the round.
StorageBlob RoundBytes(int iStream, unsigned uRound)
{
    constexpr unsigned kuSizes[] = {200, 4000, 30000};
    StorageBlob bytes = StoragePattern(kuSizes[iStream] + uRound * 37 % 500, uRound);
    std::memcpy(bytes.data(), &uRound, sizeof uRound);
    return bytes;
}

HRESULT WriteRound(CompoundFile& file, unsigned uRound)
{
    HRESULT hr = S_OK;
    for (int i = 0; i < 3 && SUCCEEDED(hr); ++i)
    {
        ULONG ulEntry = 0;
        const StorageBlob bytes = RoundBytes(i, uRound);
        hr = file.Find(0, kpNames[i], ulEntry);
        if (SUCCEEDED(hr)) hr = file.Resize(ulEntry, bytes.size());
        if (SUCCEEDED(hr)) hr = file.Write(ulEntry, 0, bytes.data(), bytes.size());
    }
    return SUCCEEDED(hr) ? file.Commit() : hr;
}

// The round that the file holds, all of it; ~0 for a mixture.
unsigned RoundOnDisk(const std::string& sPath)
{
    OpenFile disk(sPath);
    CompoundFile file(disk.Bytes());
    unsigned uRound = ~0u;
    EXPECT_EQ(file.Open(StorageAccess::Read), S_OK);
    for (int i = 0; i < 3; ++i)
    {
        ULONG ulEntry = 0;
        StorageBlob bytes;
        EXPECT_EQ(file.Find(0, kpNames[i], ulEntry), S_OK);
        EXPECT_EQ(ReadWhole(file, ulEntry, bytes), S_OK);
        if (i == 0) std::memcpy(&uRound, bytes.data(), sizeof uRound);
        if (bytes != RoundBytes(i, uRound)) return ~0u;
    }
    return uRound;
}

void MakeThree(CompoundFile& file, WORD uwVersion)
{
    ASSERT_EQ(file.Create(uwVersion, StorageAccess::Transacted), S_OK);
    for (const char16_t* pName : kpNames)
    {
        ULONG ulEntry = 0;
        ASSERT_EQ(InsertNamed(file, 0, pName, EntryKind::Stream, ulEntry), S_OK);
    }
    ASSERT_EQ(WriteRound(file, 0), S_OK);
}

TEST(StorageDisk, AProcessKilledAtAnyMomentLeavesOneOfItsCommitsWhole)
{
    std::mt19937 random(3);
    for (WORD uwVersion : {3, 4})
    {
        TempFolder folder;
        const std::string sPath = folder / "killed.cfb";
        {
            OpenFile disk(sPath);
            CompoundFile file(disk.Bytes());
            MakeThree(file, uwVersion);
        }
        unsigned uLast = 0;
        for (int i = 0; i < 15 && !HasFailure(); ++i)
        {
            const pid_t child = fork();
            if (child == 0)
            {
                const int fd = open(sPath.c_str(), O_RDWR);
                DescriptorBytes bytes(fd);
                CompoundFile file(bytes);
                if (FAILED(file.Open(StorageAccess::Transacted))) _exit(1);
                for (unsigned uRound = uLast + 1;; ++uRound)
                    if (FAILED(WriteRound(file, uRound))) _exit(2);
            }
            usleep(static_cast<useconds_t>(2000 + random() % 20000));
            kill(child, SIGKILL);
            int iStatus = 0;
            ASSERT_EQ(waitpid(child, &iStatus, 0), child);
            EXPECT_TRUE(WIFSIGNALED(iStatus)); // not an error of its own
            const unsigned uRound = RoundOnDisk(sPath);
            EXPECT_NE(uRound, ~0u);
            EXPECT_GE(uRound, uLast);
            EXPECT_EQ(DamageOnDisk(sPath), "");
            uLast = uRound;
        }
        EXPECT_GT(uLast, 0u);
    }
}

TEST(StorageDisk, AFullDiskLeavesTheOldContentsAndRoomMakesTheCommitGoOn)
{
    TempFolder folder;
    SmallDisk disk(folder.Path());
    if (!disk) GTEST_SKIP() << kpNoDisk;
    const std::string sPath = folder / "full.cfb";
    OpenFile opened(sPath);
    CompoundFile file(opened.Bytes());
    const StorageBlob old = StoragePattern(2000, 1), more = StoragePattern(9000, 2);
    ULONG ulEntry = 0, ulLarge = 0;
    ASSERT_EQ(file.Create(3, StorageAccess::Transacted), S_OK);
    ASSERT_EQ(InsertNamed(file, 0, u"Stream", EntryKind::Stream, ulEntry), S_OK);
    ASSERT_EQ(file.Write(ulEntry, 0, old.data(), old.size()), S_OK);
    ASSERT_EQ(file.Commit(), S_OK);
    StorageContent before, after;
    {
        CompoundFile reader(opened.Bytes());
        ASSERT_EQ(reader.Open(StorageAccess::Read), S_OK);
        ASSERT_EQ(ReadContent(reader, before), S_OK);
    }

    disk.Fill();
    ASSERT_EQ(InsertNamed(file, 0, u"Large", EntryKind::Stream, ulLarge), S_OK);
    EXPECT_EQ(file.Write(ulLarge, 0, more.data(), more.size()), STG_E_MEDIUMFULL); // while writing
    ASSERT_EQ(file.Resize(ulLarge, 0), S_OK);
    ASSERT_EQ(file.Write(ulEntry, 1000, more.data(), 3000), S_OK); // in memory, until the commit
    EXPECT_EQ(file.Commit(), STG_E_MEDIUMFULL);
    {
        CompoundFile reader(opened.Bytes());
        ASSERT_EQ(reader.Open(StorageAccess::Read), S_OK);
        ASSERT_EQ(ReadContent(reader, after), S_OK);
        EXPECT_TRUE(after == before);
        EXPECT_EQ(DamageOnDisk(sPath), "");
    }

    disk.MakeRoom();
    ASSERT_EQ(file.Write(ulLarge, 0, more.data(), more.size()), S_OK);
    ASSERT_EQ(file.Commit(), S_OK);
    before[u"Large"] = more;
    before[u"Stream"].resize(4000);
    std::copy_n(more.begin(), 3000, before[u"Stream"].begin() + 1000);
    CompoundFile reader(opened.Bytes());
    after.clear();
    ASSERT_EQ(reader.Open(StorageAccess::Read), S_OK);
    ASSERT_EQ(ReadContent(reader, after), S_OK);
    EXPECT_TRUE(after == before);
    EXPECT_EQ(DamageOnDisk(sPath), "");
}
} // namespace
