// Outside the NT family. On Linux the version can be chosen for a process; on Windows it is what it is.
#include "OSecurity.h"
#include "OtherProcess.h"
#include "SecurityState.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{
const OtherRole kFamily("family", [](const std::string&) -> std::string
{
    SecurityState().login.ulFlag = 1;
    const OOSVersion version;
    const auto word = [](const char* pName, int iValue) { return std::string(pName) + std::to_string(iValue); };
    return word("nt=", version.IsWinNT()) + word(" 95=", version.IsWin95()) + word(" shell=", version.HasWin95Shell()) +
           word(" version=", static_cast<int>(version.MajorVer())) + word(".", static_cast<int>(version.MinorVer())) +
           word(" impersonate=", ImpersonateUser()) + word(" revert=", ImpersonateRevertToSelf());
});

std::string AnswerUnder(const char* pVersion)
{
    setenv("LUMBASE_OSVERSION", pVersion, 1);
    OtherProcess other("family");
    unsetenv("LUMBASE_OSVERSION");
    return other.Ask("go");
}
} // namespace

TEST(OtherFamily, HasNothingToImpersonate)
{
    EXPECT_EQ(AnswerUnder("4.10.2222.1"), "nt=0 95=1 shell=1 version=4.10 impersonate=1 revert=1");
    EXPECT_EQ(AnswerUnder("3.11.0.0"), "nt=0 95=0 shell=0 version=3.11 impersonate=1 revert=1");
    EXPECT_EQ(AnswerUnder("3.51.1057.2"), "nt=1 95=0 shell=0 version=3.51 impersonate=0 revert=0");
    EXPECT_EQ(AnswerUnder("4.0.1381.2"), "nt=1 95=0 shell=1 version=4.0 impersonate=0 revert=0");
}
