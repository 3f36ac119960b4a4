// The security server with a real second account.
#include "SecurityAccount.h"

#include "OtherProcess.h"
#include "TempFolder.h"
#include "WithoutPasses.h"

#include <gtest/gtest.h>

#include <pwd.h>

namespace
{
namespace fs = std::filesystem;

class SecurityServerOfRoot : public testing::Test
{
protected:
    void SetUp() override
    {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "PAM's modules are loaded late, and crypt() is null to them under these sanitizers";
#endif
        if (geteuid() != 0) GTEST_SKIP() << "only root can work as another user";
        ASSERT_EQ(getpwuid(kuAccount), nullptr) << "the number is to be nobody's";
        fs::permissions(folder.Path(), fs::perms(0755));
        const std::string sReady = other.Ask("prepare|" + folder.Path());
        if (sReady.starts_with("no mount namespace")) GTEST_SKIP() << sReady;
        ASSERT_EQ(sReady, "ready");
    }
    std::string LogOnAs(const std::string& sUser, const std::string& sDomain, const std::string& sPassword)
    {
        return other.Ask("log on|" + sUser + "|" + sDomain + "|" + sPassword);
    }

    TempFolder folder;
    OtherProcess other{"account"};
};

// Here a file's mode keeps root out, too.
class SecurityServer : public SecurityServerOfRoot
{
protected:
    void SetUp() override
    {
        SecurityServerOfRoot::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        ASSERT_EQ(other.Ask("drop passes"), "done");
    }
};

const std::string ksRefused = HexOf(HRESULT_FROM_WIN32(ERROR_LOGON_FAILURE));
} // namespace

TEST_F(SecurityServer, FilesOfTheAccountOpenInsideTheBracketAndNotOutside)
{
    EXPECT_EQ(other.Ask("open"), "5 5 yes"); // users', labs', roots'
    ASSERT_EQ(other.Ask(std::string("initialise|") + kacPassword), "1");
    EXPECT_EQ(other.Ask("open"), "5 5 yes");
    EXPECT_EQ(other.Ask("open inside"), "yes yes 5");
    EXPECT_EQ(other.Ask("open"), "5 5 yes");
}

TEST_F(SecurityServer, OtherThreadsStayWhatTheyAre)
{
    ASSERT_EQ(other.Ask(std::string("initialise|") + kacPassword), "1");
    EXPECT_EQ(other.Ask("other thread"), "inside: yes yes 5, other: 5 5 yes, after: 5 5 yes");
}

TEST_F(SecurityServer, AThreadsIdentityIsItsOwnAgainAfterRevertAndDetach)
{
    ASSERT_EQ(other.Ask(std::string("initialise|") + kacPassword), "1");
    EXPECT_EQ(other.Ask("threads"), "inherited: same, reverted: same, detached: same, this one meanwhile: same, "
                                    "inside and before: not, after: same");
}

TEST_F(SecurityServer, AWrongPasswordFailsAndChangesNothing)
{
    const std::string sBefore = other.Ask("identity");
    EXPECT_EQ(other.Ask("initialise|torch & Lamp"), "0");
    EXPECT_EQ(other.Ask("identity"), sBefore);
    EXPECT_EQ(other.Ask("open inside"), "5 5 yes");
    EXPECT_EQ(other.Ask("open"), "5 5 yes");
}

TEST_F(SecurityServer, LogsOnWhomPamKnowsAndNobodyElse)
{
    char acHost[256] = "";
    gethostname(acHost, sizeof acHost - 1);
    for (const std::string& sDomain : {std::string(), std::string("."), std::string(acHost)})
        EXPECT_EQ(LogOnAs(kacAccount, sDomain, kacPassword), "00000000") << sDomain;
    EXPECT_EQ(LogOnAs(kacAccount, "ELSEWHERE", kacPassword), ksRefused);
    EXPECT_EQ(LogOnAs("lumbase-nobody", "", kacPassword), ksRefused);
    EXPECT_EQ(LogOnAs(kacAccount, "", ""), ksRefused);
    EXPECT_EQ(LogOnAs("lumbase-gone", "", kacPassword), ksRefused); // the machine's rules do not tell that it has expired
    EXPECT_EQ(LogOnAs(std::string(256, 'x'), "", kacPassword), HexOf(E_INVALIDARG));
    EXPECT_EQ(LogOnAs(kacAccount, "", std::string(256, 'x')), HexOf(E_INVALIDARG));
}

TEST_F(SecurityServer, TheRegistryStaysReadableInTheBracket)
{
    ASSERT_EQ(other.Ask(std::string("initialise|") + kacPassword), "1");
    EXPECT_EQ(other.Ask("registry"), "0 0");
}

TEST_F(SecurityServerOfRoot, WhatPassesByAFilesModeIsLeftOutsideTheBracket)
{
    const std::string sBefore = other.Ask("identity");
    ASSERT_EQ(other.Ask(std::string("initialise|") + kacPassword), "1");
    EXPECT_EQ(other.Ask("open"), "yes yes yes"); // users', labs', roots'
    EXPECT_EQ(other.Ask("open inside"), "yes yes 5");
    EXPECT_EQ(other.Ask("open"), "yes yes yes");
    EXPECT_EQ(other.Ask("other thread"), "inside: yes yes 5, other: yes yes yes, after: yes yes yes");
    EXPECT_EQ(other.Ask("identity"), sBefore);
}

// From a user other than root the kernel takes nothing by itself.
TEST_F(SecurityServerOfRoot, WhatPassesByAFilesModeIsTakenFromAServiceTooAndGivenBack)
{
    ASSERT_EQ(other.Ask(std::string("initialise|") + kacPassword), "1");
    ASSERT_EQ(other.Ask("become service"), "done");
    const std::string sBefore = other.Ask("identity");
    EXPECT_EQ(other.Ask("open"), "yes yes yes");
    EXPECT_EQ(other.Ask("open inside"), "yes yes 5");
    EXPECT_EQ(other.Ask("open"), "yes yes yes");
    EXPECT_EQ(other.Ask("other thread"), "inside: yes yes 5, other: yes yes yes, after: yes yes yes");
    EXPECT_EQ(other.Ask("threads"), "inherited: same, reverted: same, detached: same, this one meanwhile: same, "
                                    "inside and before: not, after: same");
    EXPECT_EQ(other.Ask("identity"), sBefore);
}

TEST(SecurityServerModule, WithoutThePrivilegeTheLogOnIsDenied)
{
    EXPECT_TRUE(WithoutPasses([]
    {
        CoInitialize(nullptr);
        RegisterServer();
        const std::string sResult = LogOn(kacAccount, "", kacPassword);
        UnregisterServer();
        return sResult == HexOf(E_ACCESSDENIED);
    }));
}
