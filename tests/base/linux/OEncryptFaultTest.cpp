// Full disks, links, damaged key containers and what stays behind in memory: for Linux alone, where a test can bring them about.
#include "../EncryptTest.h"

#include "FileLimit.h"
#include "OpenTable.h"
#include "PrivateMember.h"
#include "SecretSearch.h"
#include "SmallDisk.h"

#include <sys/fsuid.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <thread>

PRIVATE_MEMBER(FaultContextOf, OEncrypt, mhProvider);

namespace
{
namespace fs = std::filesystem;

class OEncryptFault : public EncryptTest
{
protected:
    // The file of the user's usual container.
    static fs::path KeyFile()
    {
        const fs::path keys = fs::path(std::getenv("LUMBASE_HOME")) / ("keys-" + std::to_string(geteuid()));
        const fs::directory_iterator first(keys);
        return first->path();
    }
    void ExpectNoInit(HRESULT hError, const std::string& sText)
    {
        OEncrypt object;
        EXPECT_EQ(object.Init(), 0);
        EXPECT_EQ(object.*FaultContextOf(), 0u);
        EXPECT_EQ(boxes.Shown(), Boxes{"Error Creating key container | " + sText});
        EXPECT_EQ(object.GetError(), DWORD(hError));
        EXPECT_EQ(object.EncryptFileA("a", "b", "secret"), 1);
        EXPECT_EQ(crypt.Init(), 0); // one that had the container open before is no better
        EXPECT_EQ(crypt.EncryptFileA("a", "b", "secret"), 1);
        EXPECT_EQ(boxes.Shown().size(), 1u);
    }
};

TEST_F(OEncryptFault, AFullDiskLeavesNoHalfFile)
{
    const std::string sFrom = File("plain", std::string(60'000, 'p')), sMount = folder / "disk";
    fs::create_directory(sMount);
    SmallDisk disk(sMount);
    if (!disk) GTEST_SKIP() << kpNoDisk;
    const std::string sTo = sMount + "/cipher";
    for (const char* pPassword : {"secret", static_cast<const char*>(nullptr)})
    {
        if (!pPassword) ImportExchangePair();
        EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), pPassword), 0);
        ExpectTold("Error writing Ciphertext", ERROR_DISK_FULL);
        EXPECT_FALSE(Exists(sTo));
    }
    EXPECT_EQ(crypt.DecryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
    ExpectTold("Error writing Ciphertext", ERROR_DISK_FULL);
    EXPECT_FALSE(Exists(sTo));

    disk.Fill();
    EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), nullptr), 0); // not even the key
    ExpectTold("Error writing header", ERROR_DISK_FULL);
    EXPECT_FALSE(Exists(sTo));
    ImportSignaturePair();
    EXPECT_EQ(crypt.SignFile(sFrom.c_str(), sTo.c_str(), nullptr), 2);
    ExpectTold("Error writing signature", ERROR_DISK_FULL);
    EXPECT_FALSE(Exists(sTo));
    disk.MakeRoom();
    EXPECT_EQ(crypt.SignFile(sFrom.c_str(), sTo.c_str(), nullptr), 0);
    EXPECT_EQ(crypt.VerifyFile(sFrom.c_str(), sTo.c_str(), nullptr), 0);
}

TEST_F(OEncryptFault, AFileThatMayNotGrowLeavesNoHalfFile)
{
    const std::string sFrom = File("plain", std::string(5'000, 'p')), sTo = File("cipher", "old text");
    {
        const FileLimit limit(4'999);
        EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
    }
    ExpectTold("Error writing Ciphertext", ERROR_DISK_FULL);
    EXPECT_FALSE(Exists(sTo));
}

TEST_F(OEncryptFault, ALinkThatLeadsNowhereStays)
{
    const std::string sLink = folder / "link", sFrom = File("plain", "hello world"), sNone = folder / "none";
    fs::create_symlink(folder / "nowhere", sLink);
    EXPECT_EQ(crypt.EncryptFileA(sNone.c_str(), sLink.c_str(), "secret"), 0);
    ExpectTold("Error opening source file", ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sLink.c_str(), "secret"), 0);
    ExpectTold("Error opening destination file", ERROR_ACCESS_DENIED);
    EXPECT_EQ(crypt.SignFile(sFrom.c_str(), sLink.c_str(), nullptr), 0); // there is no pair
    EXPECT_EQ(boxes.Shown().size(), 1u);
    EXPECT_TRUE(fs::is_symlink(sLink));
    EXPECT_FALSE(Exists(folder / "nowhere"));
}

// The link itself was there before and stays.
TEST_F(OEncryptFault, BehindASymbolicLinkTheHalfFileGoes)
{
    const std::string sFrom = File("plain", std::string(5'000, 'p')), sTo = File("cipher", "old text"), sLink = folder / "link";
    fs::create_symlink(sTo, sLink);
    {
        const FileLimit limit(4'999);
        EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sLink.c_str(), "secret"), 0);
    }
    ExpectTold("Error writing Ciphertext", ERROR_DISK_FULL);
    EXPECT_FALSE(Exists(sTo));
    EXPECT_TRUE(fs::is_symlink(sLink));
}

TEST_F(OEncryptFault, UnderItsOtherNamesTheHalfFileIsEmpty)
{
    const std::string sFrom = File("plain", std::string(5'000, 'p')), sTo = File("cipher", "old text"), sOther = folder / "other";
    fs::create_hard_link(sTo, sOther);
    {
        const FileLimit limit(4'999);
        EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
    }
    ExpectTold("Error writing Ciphertext", ERROR_DISK_FULL);
    EXPECT_FALSE(Exists(sTo));
    EXPECT_EQ(ReadText(sOther), "");
}

TEST_F(OEncryptFault, IsNotWrittenOverItselfByASymbolicLink)
{
    ImportSignaturePair();
    const std::string sFile = File("plain", "hello world"), sLink = folder / "link";
    fs::create_symlink(sFile, sLink);
    const std::pair<std::string, std::string> ways[] = {{sFile, sLink}, {sLink, sFile}};
    for (const auto& [sFrom, sTo] : ways)
    {
        EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
        EXPECT_EQ(boxes.Shown(), Boxes{std::string("Error opening destination file") + kpInvalid});
        EXPECT_EQ(crypt.SignFile(sFrom.c_str(), sTo.c_str(), nullptr), 6);
        EXPECT_EQ(boxes.Shown(), Boxes{std::string("Error opening signature file") + kpInvalid});
        EXPECT_EQ(ReadText(sFile), "hello world");
    }
}

TEST_F(OEncryptFault, ALinkToAnotherFileStaysOne)
{
    const std::string sFrom = File("plain", "hello world"), sTo = File("cipher", "old text"), sLink = folder / "link";
    fs::create_symlink(sTo, sLink);
    EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sLink.c_str(), "secret"), 0);
    EXPECT_EQ(Hex(ReadText(sTo)), "67af0e9668fa55c57a1776");
    EXPECT_TRUE(fs::is_symlink(sLink));
}

TEST_F(OEncryptFault, ADeviceIsNeitherEmptiedNorRemoved)
{
    const std::string sFrom = File("plain", "hello world");
    EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), "/dev/null", "secret"), 0);
    ExpectQuiet();
    EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), "/dev/full", "secret"), 0);
    ExpectTold("Error writing Ciphertext", ERROR_DISK_FULL);
    EXPECT_TRUE(fs::exists("/dev/full"));
}

TEST_F(OEncryptFault, ADestinationKeepsItsRights)
{
    const std::string sFrom = File("plain", "hello world"), sTo = File("cipher", "old text");
    fs::permissions(sTo, fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
    EXPECT_EQ(fs::status(sTo).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(OEncryptFault, AContainerThatIsDamagedIsNotOpened)
{
    fs::resize_file(KeyFile(), 20);
    ExpectNoInit(NTE_KEYSET_ENTRY_BAD,
                 "The Registry entry for the pszContainer key container was found (in the HKEY_CURRENT_USER window), but is corrupt. "
                 "See the section System Administration for details about CryptoAPI's Registry usage.");
    EXPECT_EQ(fs::file_size(KeyFile()), 20u);
}

TEST_F(OEncryptFault, AContainerThatOthersMayReadIsNotOpened)
{
    fs::permissions(KeyFile(), fs::perms::others_read, fs::perm_options::add);
    ExpectNoInit(NTE_PERM, "Unknown error: -2146893808.");
}

TEST_F(OEncryptFault, AThreadThatWorksAsAnotherUserHasTheSameContainer)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can work with another user's files";
    const std::string sFrom = File("plain", "hello world"), sTo = File("cipher", "old text");
    for (const std::string& sPath : {sFrom, sTo}) ASSERT_EQ(chown(sPath.c_str(), 12345, 12345), 0);
    std::thread([&] {
        setfsuid(12345);
        EXPECT_EQ(crypt.Init(), 1);
        EXPECT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), "secret"), 0);
        EXPECT_EQ(setfsuid(static_cast<uid_t>(-1)), 12345);
    }).join();
    ExpectQuiet();
    EXPECT_EQ(Hex(ReadText(sTo)), "67af0e9668fa55c57a1776");
}

// One of the files is a pipe, whose other end writes nothing until the hash is gone.
class OEncryptPipe : public OEncryptFault
{
protected:
    void SetUp() override
    {
        OEncryptFault::SetUp();
        ImportSignaturePair();
        ASSERT_EQ(mkfifo(msPipe.c_str(), 0600), 0);
    }
    std::jthread EndTheHash() const
    {
        return std::jthread([this] {
            std::ofstream file(msPipe); // once the other end is open
            for (bool bEnded = false; !bEnded;)
                ForEachOpenHandle([&](HANDLE hOpen, const lum::KernelObject& object) {
                    if (object.Kind() != lum::ObjectKind::CryptHash) return;
                    bEnded = CryptDestroyHash(reinterpret_cast<HCRYPTHASH>(hOpen) + 1); // one more than in the table
                });
            file << "hello world";
        });
    }
    void ExpectInvalid(const std::string& sCaption)
    {
        EXPECT_EQ(boxes.Shown(), Boxes{sCaption + kpInvalid});
        EXPECT_EQ(crypt.GetError(), DWORD(ERROR_INVALID_PARAMETER));
    }

    const std::string msPipe = folder / "pipe";
};

TEST_F(OEncryptPipe, AHashThatEndsWhileTheFileIsReadIsTold)
{
    const std::string sSignature = File("signature", "old text");
    for (const auto& call : {&OEncrypt::SignFile, &OEncrypt::VerifyFile})
    {
        const std::jthread other = EndTheHash();
        EXPECT_EQ((crypt.*call)(msPipe.c_str(), sSignature.c_str(), nullptr), 0);
        ExpectInvalid("CryptHashData Error");
    }
    EXPECT_EQ(ReadText(sSignature), "old text");
}

TEST_F(OEncryptPipe, AHashThatEndsWhileTheSignatureIsReadIsTold)
{
    const std::string sFile = File("file", "hello world");
    const std::jthread other = EndTheHash();
    EXPECT_EQ(crypt.VerifyFile(sFile.c_str(), msPipe.c_str(), nullptr), 0);
    ExpectInvalid("CryptVerifySignature Error");
}

// Each of the opens that an operation makes is refused once.
TEST_F(OEncryptFault, WithoutADescriptorNothingIsLost)
{
    ImportSignaturePair();
    const std::string sFrom = File("plain", "hello world"), sTo = folder / "to";
    const auto encrypt = [&] { crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), "secret"); };
    const auto sign = [&] { crypt.SignFile(sFrom.c_str(), sTo.c_str(), nullptr); };
    const auto verify = [&] { crypt.VerifyFile(sFrom.c_str(), sFrom.c_str(), nullptr); };
    const std::function<void()> operations[] = {encrypt, sign, verify};
    for (const auto& operation : operations)
    {
        rlimit before{};
        ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
        const int fdFirst = dup(0);
        close(fdFirst);
        int iFailures = 0;
        for (rlim_t more = 0; more == static_cast<rlim_t>(iFailures); ++more)
        {
            File("to", "old text");
            const rlimit few{static_cast<rlim_t>(fdFirst) + more, before.rlim_max};
            setrlimit(RLIMIT_NOFILE, &few);
            operation();
            setrlimit(RLIMIT_NOFILE, &before);
            if (crypt.GetError() != DWORD(ERROR_TOO_MANY_OPEN_FILES)) continue;
            ++iFailures;
            EXPECT_EQ(boxes.Shown().size(), 1u);
            EXPECT_EQ(ReadText(sTo), "old text");
        }
        EXPECT_GT(iFailures, 1);
        EXPECT_EQ(boxes.Shown(), Boxes());
    }
}

TEST_F(OEncryptFault, NoPasswordStaysInMemory)
{
    if (kbFreedMemoryIsKept) GTEST_SKIP() << "the address sanitizer keeps freed memory for a while";
    char acPassword[] = "paper boat lantern fog 7";
    const Secret password(acPassword);
    const std::string sFrom = File("plain", "hello world"), sTo = folder / "cipher";
    ASSERT_EQ(crypt.EncryptFileA(sFrom.c_str(), sTo.c_str(), acPassword), 0);
    ASSERT_EQ(crypt.DecryptFileA(sTo.c_str(), sFrom.c_str(), acPassword), 0);
    EXPECT_GT(CountInMemory(password), 0u); // this one
    explicit_bzero(acPassword, sizeof acPassword);
    EXPECT_EQ(CountInMemory(password), 0u);
}
} // namespace
