// Key containers as files, and what is wrong with some; for Linux alone, where they are ours.
#include "CryptKeys.h"
#include "OtherProcess.h"
#include "SmallDisk.h"
#include "TempFolder.h"

#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

namespace
{
namespace fs = std::filesystem;

DWORD Acquire(ContextHolder& context, DWORD ulFlags)
{
    return Code(CryptAcquireContextA(&context, "box", kpProvider, PROV_RSA_FULL, ulFlags));
}

DWORD MakePair(DWORD ulKeySpec, DWORD ulBits)
{
    ContextHolder context;
    KeyHolder key;
    const DWORD ulCode = Acquire(context, 0);
    return ulCode ? ulCode : Code(CryptGenKey(context, ulKeySpec, ulBits << 16, &key));
}

// The sizes of both pairs, such as "512 0", or the error of opening the container.
std::string Sizes()
{
    ContextHolder context;
    if (const DWORD ulCode = Acquire(context, 0)) return "failed " + std::to_string(ulCode);
    std::string sSizes;
    for (DWORD ulKeySpec : {AT_KEYEXCHANGE, AT_SIGNATURE})
    {
        KeyHolder key;
        DWORD ulBits = 0, ulBytes = sizeof ulBits;
        const DWORD ulCode = Code(CryptGetUserKey(context, ulKeySpec, &key));
        if (ulCode && ulCode != DWORD(NTE_NO_KEY)) return "failed " + std::to_string(ulCode);
        if (!ulCode) CryptGetKeyParam(key, KP_KEYLEN, reinterpret_cast<BYTE*>(&ulBits), &ulBytes, 0);
        sSizes += (sSizes.empty() ? "" : " ") + std::to_string(ulBits);
    }
    return sSizes;
}

std::string AnswerKeys(const std::string& sOrder)
{
    ContextHolder context;
    if (sOrder == "open") return std::to_string(Acquire(context, 0));
    if (sOrder == "make") return std::to_string(Acquire(context, CRYPT_NEWKEYSET));
    if (sOrder == "remove") return std::to_string(Acquire(context, CRYPT_DELETEKEYSET));
    if (sOrder == "exchange") return std::to_string(MakePair(AT_KEYEXCHANGE, 512));
    if (sOrder == "signature") return std::to_string(MakePair(AT_SIGNATURE, 520));
    if (sOrder == "sizes") return Sizes();
    if (sOrder == "as-another-user") return std::to_string(seteuid(12345));
    if (sOrder == "as-root") return std::to_string(seteuid(0));
    if (sOrder == "with-anothers-files") return std::to_string(setfsgid(12345)) + " " + std::to_string(setfsuid(12345));
    if (sOrder == "whose-files") return std::to_string(setfsgid(gid_t(-1))) + " " + std::to_string(setfsuid(uid_t(-1)));
    if (sOrder.starts_with("read ")) return std::ifstream(sOrder.substr(5)) ? "read" : "not read";
    if (sOrder != "again and again") return "what?";
    for (DWORD ulBits = 512;; ulBits ^= 8)
        if (MakePair(AT_SIGNATURE, ulBits)) return "failed";
}
const OtherRole kKeys("keys", AnswerKeys);

// Other processes whose state is a folder of the test's own.
class CryptContainer : public testing::Test
{
protected:
    std::unique_ptr<OtherProcess> Start() const
    {
        const std::string sOwn = std::getenv("LUMBASE_HOME");
        setenv("LUMBASE_HOME", mFolder.Path().c_str(), 1);
        auto pProcess = std::make_unique<OtherProcess>("keys");
        setenv("LUMBASE_HOME", sOwn.c_str(), 1);
        return pProcess;
    }
    std::string Ask(const std::string& sOrder) const { return Start()->Ask(sOrder); }
    fs::path KeyFolder() const { return fs::path(mFolder.Path()) / ("keys-" + std::to_string(geteuid())); }
    fs::path KeyFile() const { return KeyFolder() / "BOX.keys"; }

    std::string Contents() const
    {
        std::ifstream file(KeyFile(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void Write(const std::string& sBytes) const
    {
        std::ofstream(KeyFile(), std::ios::binary | std::ios::trunc) << sBytes;
        fs::permissions(KeyFile(), fs::perms::owner_read | fs::perms::owner_write);
    }

    TempFolder mFolder;
};

std::string Said(HRESULT hrCode) { return std::to_string(DWORD(hrCode)); }

TEST_F(CryptContainer, IsThereForOtherProcesses)
{
    EXPECT_EQ(Ask("open"), Said(NTE_BAD_KEYSET));
    EXPECT_FALSE(fs::exists(KeyFolder())); // asking leaves no trace
    EXPECT_EQ(Ask("make"), "0");
    EXPECT_EQ(Ask("sizes"), "0 0");
    EXPECT_EQ(Ask("exchange"), "0");
    EXPECT_EQ(Ask("signature"), "0");
    EXPECT_EQ(Ask("sizes"), "512 520");
    EXPECT_EQ(Ask("make"), Said(NTE_EXISTS));
    EXPECT_EQ(Ask("remove"), "0");
    EXPECT_EQ(Ask("remove"), Said(NTE_BAD_KEYSET));
    EXPECT_TRUE(fs::is_empty(KeyFolder()));
}

TEST_F(CryptContainer, IsTheUsersOwn)
{
    ASSERT_EQ(Ask("make"), "0");
    ASSERT_EQ(Ask("signature"), "0");
    struct stat file{}, folder{};
    ASSERT_EQ(stat(KeyFile().c_str(), &file), 0);
    ASSERT_EQ(stat(KeyFolder().c_str(), &folder), 0);
    EXPECT_EQ(file.st_mode & 07777, 0600u);
    EXPECT_EQ(folder.st_mode & 07777, 0700u);
}

TEST_F(CryptContainer, IsRefusedWhenOthersMayReadOrWriteIt)
{
    ASSERT_EQ(Ask("make"), "0");
    ASSERT_EQ(Ask("signature"), "0");
    for (unsigned int uMode : {0640u, 0604u, 0620u, 0602u, 0601u, 0666u})
    {
        fs::permissions(KeyFile(), fs::perms(uMode));
        EXPECT_EQ(Ask("open"), Said(NTE_PERM)) << std::oct << uMode;
        EXPECT_EQ(Ask("make"), Said(NTE_PERM));
        EXPECT_EQ(Ask("sizes"), "failed " + Said(NTE_PERM));
    }
    fs::permissions(KeyFile(), fs::perms(0600));
    EXPECT_EQ(Ask("sizes"), "0 520");
}

TEST_F(CryptContainer, IsRefusedInAFolderThatOthersMayWriteTo)
{
    ASSERT_EQ(Ask("make"), "0");
    for (unsigned int uMode : {0720u, 0702u, 0777u})
    {
        fs::permissions(KeyFolder(), fs::perms(uMode));
        EXPECT_EQ(Ask("open"), Said(NTE_PERM)) << std::oct << uMode;
        EXPECT_EQ(Ask("make"), Said(NTE_PERM));
        EXPECT_EQ(Ask("remove"), Said(NTE_PERM));
    }
    fs::permissions(KeyFolder(), fs::perms(0700));
    EXPECT_EQ(Ask("open"), "0");
}

TEST_F(CryptContainer, OfAnotherUserIsRefused)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    ASSERT_EQ(Ask("make"), "0");
    ASSERT_EQ(chown(KeyFile().c_str(), 12345, 12345), 0);
    EXPECT_EQ(Ask("open"), Said(NTE_PERM));
    EXPECT_EQ(Ask("make"), Said(NTE_PERM));
    ASSERT_EQ(chown(KeyFile().c_str(), 0, 0), 0);
    ASSERT_EQ(chown(KeyFolder().c_str(), 12345, 12345), 0);
    EXPECT_EQ(Ask("open"), Said(NTE_PERM));
}

TEST_F(CryptContainer, EachUserHasOnesOwn)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
    ASSERT_EQ(Ask("make"), "0");
    fs::permissions(mFolder.Path(), fs::perms(01777));
    const auto pOther = Start();
    ASSERT_EQ(pOther->Ask("as-another-user"), "0");
    EXPECT_EQ(pOther->Ask("open"), Said(NTE_BAD_KEYSET));
    EXPECT_EQ(pOther->Ask("make"), "0");
    EXPECT_EQ(pOther->Ask("exchange"), "0");
    EXPECT_EQ(pOther->Ask("sizes"), "512 0");
    EXPECT_EQ(pOther->Ask("as-root"), "0");
    EXPECT_EQ(pOther->Ask("sizes"), "0 0");
}

TEST_F(CryptContainer, IsTheProcessUsersWhateverTheThreadWorksAs)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can work with another user's files";
    const auto pOther = Start();
    ASSERT_EQ(pOther->Ask("with-anothers-files"), "0 0"); // before
    EXPECT_EQ(pOther->Ask("make"), "0");
    EXPECT_EQ(pOther->Ask("exchange"), "0");
    EXPECT_EQ(pOther->Ask("sizes"), "512 0");
    EXPECT_EQ(pOther->Ask("whose-files"), "12345 12345");
    EXPECT_EQ(pOther->Ask("read " + KeyFile().string()), "not read");
    EXPECT_EQ(Ask("sizes"), "512 0");
    struct stat status{};
    ASSERT_EQ(stat(KeyFile().c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 0u);
    EXPECT_EQ(status.st_gid, 0u);
    EXPECT_EQ(pOther->Ask("remove"), "0");
}

TEST_F(CryptContainer, IsRefusedWhenAByteIsChanged)
{
    ASSERT_EQ(Ask("make"), "0");
    ASSERT_EQ(Ask("exchange"), "0");
    ASSERT_EQ(Ask("signature"), "0");
    const std::string sGood = Contents();
    const auto pProcess = Start();
    for (std::size_t ulPlace = 0; ulPlace < sGood.size(); ulPlace += ulPlace < 0x30 ? 1 : 11)
    {
        std::string sBad = sGood;
        sBad[ulPlace] ^= 0x40;
        Write(sBad);
        EXPECT_EQ(pProcess->Ask("open"), Said(NTE_KEYSET_ENTRY_BAD)) << ulPlace;
    }
    EXPECT_EQ(pProcess->Ask("make"), Said(NTE_KEYSET_ENTRY_BAD));
    EXPECT_EQ(pProcess->Ask("signature"), Said(NTE_KEYSET_ENTRY_BAD));
    Write(sGood);
    EXPECT_EQ(pProcess->Ask("sizes"), "512 520");
}

TEST_F(CryptContainer, IsRefusedWhenItIsCutOrGrown)
{
    ASSERT_EQ(Ask("make"), "0");
    ASSERT_EQ(Ask("exchange"), "0");
    const std::string sGood = Contents();
    const auto pProcess = Start();
    for (std::size_t ulCut = 0; ulCut < sGood.size(); ulCut += ulCut < 0x50 ? 1 : 13)
    {
        Write(sGood.substr(0, ulCut));
        EXPECT_EQ(pProcess->Ask("open"), Said(NTE_KEYSET_ENTRY_BAD)) << ulCut;
    }
    Write(sGood + '\0');
    EXPECT_EQ(pProcess->Ask("open"), Said(NTE_KEYSET_ENTRY_BAD));
    Write(std::string(20'000, 'x'));
    EXPECT_EQ(pProcess->Ask("open"), Said(NTE_KEYSET_ENTRY_BAD));
    EXPECT_EQ(pProcess->Ask("remove"), "0"); // one can always start anew
    EXPECT_EQ(pProcess->Ask("make"), "0");
}

TEST_F(CryptContainer, IsAFileAndNothingElse)
{
    ASSERT_EQ(Ask("make"), "0");
    const std::string sGood = Contents();
    fs::rename(KeyFile(), KeyFolder() / "elsewhere");
    fs::create_symlink("elsewhere", KeyFile());
    EXPECT_EQ(Ask("open"), Said(NTE_PERM));
    fs::remove(KeyFile());
    ASSERT_EQ(mkfifo(KeyFile().c_str(), 0600), 0);
    EXPECT_EQ(Ask("open"), Said(NTE_KEYSET_ENTRY_BAD));
    fs::remove(KeyFile());
    fs::create_directory(KeyFile());
    fs::permissions(KeyFile(), fs::perms(0700));
    EXPECT_EQ(Ask("open"), Said(NTE_KEYSET_ENTRY_BAD));
}

TEST_F(CryptContainer, AFolderThatIsALinkIsRefused)
{
    fs::create_directory(mFolder / "elsewhere");
    fs::create_symlink(mFolder / "elsewhere", KeyFolder());
    EXPECT_EQ(Ask("open"), Said(NTE_PERM));
    EXPECT_EQ(Ask("make"), Said(NTE_PERM));
    EXPECT_TRUE(fs::is_empty(mFolder / "elsewhere"));
}

TEST_F(CryptContainer, AFullDiskLeavesTheOldPairs)
{
    SmallDisk disk(mFolder.Path());
    if (!disk) GTEST_SKIP() << kpNoDisk;
    ASSERT_EQ(Ask("make"), "0");
    ASSERT_EQ(Ask("exchange"), "0");
    disk.Fill();
    EXPECT_EQ(Ask("signature"), std::to_string(ERROR_DISK_FULL));
    EXPECT_EQ(Ask("sizes"), "512 0");
    EXPECT_EQ(std::distance(fs::directory_iterator(KeyFolder()), {}), 1);
    disk.MakeRoom();
    EXPECT_EQ(Ask("signature"), "0");
    EXPECT_EQ(Ask("sizes"), "512 520");
}

TEST_F(CryptContainer, OfAKilledProcessIsTheOldOrTheNew)
{
    ASSERT_EQ(Ask("make"), "0");
    ASSERT_EQ(Ask("signature"), "0");
    for (int i = 0; i < 12; ++i)
    {
        const auto pProcess = Start();
        pProcess->Tell("again and again");
        usleep(30'000 + 7'000 * i);
        pProcess->Kill();
        const std::string sSizes = Ask("sizes");
        EXPECT_TRUE(sSizes == "0 512" || sSizes == "0 520") << sSizes;
    }
    EXPECT_EQ(Ask("exchange"), "0"); // what a killed process left behind is in nobody's way
    EXPECT_EQ(std::distance(fs::directory_iterator(KeyFolder()), {}), 1);
}

TEST_F(CryptContainer, TwoProcessesLoseNothingOfOneAnother)
{
    ASSERT_EQ(Ask("make"), "0");
    const auto pOne = Start(), pOther = Start();
    for (int i = 0; i < 10; ++i)
    {
        ASSERT_EQ(Ask("remove"), "0");
        ASSERT_EQ(Ask("make"), "0");
        pOne->Tell("exchange");
        pOther->Tell("signature");
        EXPECT_EQ(pOne->Answer(), "0");
        EXPECT_EQ(pOther->Answer(), "0");
        EXPECT_EQ(Ask("sizes"), "512 520");
    }
}

TEST_F(CryptContainer, APairForARemovedContainerIsRefused)
{
    ContextHolder context;
    HCRYPTPROV hNone = 0;
    ASSERT_EQ(Code(CryptAcquireContextA(&context, "gone", kpProvider, PROV_RSA_FULL, CRYPT_NEWKEYSET)), 0u);
    ASSERT_EQ(Code(CryptAcquireContextA(&hNone, "gone", kpProvider, PROV_RSA_FULL, CRYPT_DELETEKEYSET)), 0u);
    KeyHolder key;
    EXPECT_EQ(Code(CryptGenKey(context, AT_SIGNATURE, 512 << 16, &key)), DWORD(NTE_BAD_KEYSET));
    EXPECT_EQ(Code(CryptGetUserKey(context, AT_SIGNATURE, &key)), DWORD(NTE_BAD_KEYSET));
    EXPECT_EQ(Code(CryptAcquireContextA(&context, "gone", kpProvider, PROV_RSA_FULL, 0)), DWORD(NTE_BAD_KEYSET));
}

TEST_F(CryptContainer, WithoutOpenSslsOldAlgorithmsThereIsNoProvider)
{
    setenv("OPENSSL_MODULES", mFolder.Path().c_str(), 1);
    const auto pProcess = Start();
    unsetenv("OPENSSL_MODULES");
    EXPECT_EQ(pProcess->Ask("make"), Said(NTE_PROV_DLL_NOT_FOUND));
    EXPECT_EQ(pProcess->Ask("open"), Said(NTE_PROV_DLL_NOT_FOUND));
    EXPECT_FALSE(fs::exists(KeyFolder()));
}
} // namespace
