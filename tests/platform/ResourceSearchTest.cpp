// Where an installed program finds its resource library. Linux only: Windows has no ../share, and tests its own search.
#include "Platform.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace
{
namespace fs = std::filesystem;

// This test program and the library, as an installation puts them: in folders of their own.
class ResourceSearch : public testing::Test
{
protected:
    ResourceSearch() : mPrefix(fs::temp_directory_path() / ("lum-search-" + std::to_string(getpid())))
    {
        fs::remove_all(mPrefix);
        for (const char* pFolder : {"bin", "lib/machine", "share/lumbase", "elsewhere"}) fs::create_directories(mPrefix / pFolder);
        fs::copy_file("/proc/self/exe", mPrefix / "bin/program");
    }
    ~ResourceSearch() override { fs::remove_all(mPrefix); }

    void PutResources(const char* pFolder) const
    {
        fs::copy_file(fs::path(LUM_TEST_BIN) / "TestRes.dll", mPrefix / pFolder / "TestRes.dll");
    }

    // Whether the program, started from another folder, reads the library by its bare name.
    bool ProgramFinds(const char* pLibraryFolder) const
    {
        const fs::path library = mPrefix / pLibraryFolder;
        fs::copy_file(fs::path(LUM_TEST_BIN) / "libLumBase.so.1", library / "libLumBase.so.1");
        const std::string sCommand = "cd '" + (mPrefix / "elsewhere").string() + "' && LD_LIBRARY_PATH='" + library.string() +
                                     "' ../bin/program --gtest_filter=ResourceLibrary.PrefersTheNeutralLanguage* >/dev/null 2>&1";
        return std::system(sCommand.c_str()) == 0;
    }

    const fs::path mPrefix;
};

TEST_F(ResourceSearch, FindsNothingWhereNothingIs) { EXPECT_FALSE(ProgramFinds("lib")); }

TEST_F(ResourceSearch, LooksBesideTheProgram)
{
    PutResources("bin");
    EXPECT_TRUE(ProgramFinds("lib"));
}

TEST_F(ResourceSearch, LooksBesideTheLibrary)
{
    PutResources("lib");
    EXPECT_TRUE(ProgramFinds("lib"));
}

TEST_F(ResourceSearch, LooksInTheSharedFolderOfTheLibrary)
{
    PutResources("share/lumbase");
    EXPECT_TRUE(ProgramFinds("lib"));
}

TEST_F(ResourceSearch, LooksInTheSharedFolderAboveAFolderPerMachine)
{
    PutResources("share/lumbase");
    EXPECT_TRUE(ProgramFinds("lib/machine"));
}

TEST_F(ResourceSearch, LooksInTheWorkingFolder)
{
    PutResources("elsewhere");
    EXPECT_TRUE(ProgramFinds("lib"));
}
} // namespace
