// A record that cannot be read, and the password in memory: for Linux alone, where a test can bring these about.
#include "../SecurityInit.h"

#include "SecretSearch.h"

TEST_F(SecurityInit, AFileThatCannotBeReadIsToldAsAnException)
{
    std::filesystem::create_directory(folder / "security");
    std::filesystem::create_symlink("/proc/self/mem", File()); // opens, and has nothing at its beginning
    EXPECT_EQ(InitLumSecurity(0), 1);
    EXPECT_EQ(InitLumSecurity(0), 1); // once
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{"Security configuration error | Exception"});
    EXPECT_EQ(ImpersonateUser(), 1);
    EXPECT_EQ(factory.Take(), SecurityCalls{});
}

TEST_F(SecurityInit, ThePasswordIsNowhereInMemoryOnceItIsNotNeededAnyMore)
{
    if (kbFreedMemoryIsKept) GTEST_SKIP() << "the address sanitizer keeps freed memory for a while";
    unsigned short awcPassword[13] = {};
    Put(awcPassword, "kettle & fog");
    const Secret password(reinterpret_cast<const char*>(awcPassword));
    explicit_bzero(awcPassword, sizeof awcPassword);
    Install(Record(1, "kettle & fog"));
    EXPECT_EQ(CountInMemory(password), 0u);

    std::size_t ulDuring = 0;
    factory.onLogOn = [&] { ulDuring = CountInMemory(password); };
    factory.hResult = E_FAIL;
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 0);
    EXPECT_EQ(ulDuring, 1u); // the record's own
    EXPECT_EQ(CountInMemory(password), 1u);
    factory.hResult = S_OK;
    EXPECT_EQ(InitLumSecurityWithNoImpersonateUser(), 1);
    EXPECT_EQ(CountInMemory(password), 0u);
    EXPECT_EQ(factory.Take(), (SecurityCalls{"operator | LAB | kettle & fog", "operator | LAB | kettle & fog"}));
}
