// RegWriteString ends an impersonation. Only here can a test start one by itself and look at the thread's token.
#include "RegFunctions.h"

#include "RegistryBranch.h"

namespace
{
using RevertToSelfTest = RegistryBranch;

bool IsImpersonating()
{
    HANDLE hToken = nullptr;
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &hToken)) return false;
    CloseHandle(hToken);
    return true;
}
} // namespace

TEST_F(RevertToSelfTest, HappensWhetherTheKeyOpenedOrNot)
{
    MakeKey("Key");
    for (const char* pKey : {"Key", "Nothing"})
    {
        ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
        ASSERT_TRUE(IsImpersonating());
        RegWriteString(pKey, "Text", "lamp");
        EXPECT_FALSE(IsImpersonating()) << pKey;
    }
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    RegCreateAndWriteString("Key", "Text", "lamp");
    EXPECT_TRUE(IsImpersonating()); // this one does not
    RevertToSelf();
}
