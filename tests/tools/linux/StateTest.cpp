// A state directory that is of no use, and a code page that not every text fits. On Linux alone: on Windows the registry is the
// system's, and every byte is a character.
#include "LumProgram.h"

#include <cstdlib>

namespace
{
class LumState : public LumProgram
{
protected:
    LumState() : msHome(std::getenv("LUMBASE_HOME")) { SetForPrograms("LUMBASE_HOME", File("home").c_str()); }
    ~LumState() override { SetForPrograms("LUMBASE_HOME", msHome.c_str()); }

private:
    std::string msHome;
};

TEST_F(LumState, AFileInItsPlaceIsAFailureWithAReason)
{
    WriteFileText(File("home"), "no folder");
    ExpectRefusal({"reg", "set", Key(), "v", "1"}, 3, "failed: ");
    EXPECT_EQ(FileText(File("home")), "no folder");
}

TEST_F(LumState, ATextThatIsNoneInTheCodePageIsRefusedAndNotStored)
{
    LumOutput({"reg", "import", LUM_EXAMPLES "/cedar.reg"});
    ExpectRefusal({"params", "set", "model", "ModelName", "a\xFF"}, 2, "is not valid text");
    ExpectRefusal({"reg", "set", Key(), "v", "a\xFF"}, 2, "is not valid text");
    EXPECT_EQ(LumOutput({"params", "get", "model", "ModelName"}), "Cedar Dual View\n");
}

TEST_F(LumState, ACompoundFileOfSuchANameIsNamedAsTyped)
{
    WriteFileText(File("data"), "data");
    LumOutput({"storage", "put", File("new.cfb"), "Notes", File("data")});
    const std::string sName = File("a\xFF.cfb"), sWhy = sName + " failed: its name is not valid text";
    ExpectRefusal({"storage", "list", sName}, 3, "opening " + sWhy);
    ExpectRefusal({"storage", "put", sName, "Notes", File("data")}, 3, "creating " + sWhy);
    ExpectRefusal({"storage", "copy", File("new.cfb"), sName}, 3, "creating " + sWhy);
    ExpectNothingUnfinished();
}

TEST_F(LumState, ADamagedStoreIsAFailureThatLeavesItAsItIs)
{
    LumOutput({"reg", "set", Key(), "v", "1"});
    std::vector<std::filesystem::path> stores;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(File("home")))
        if (entry.is_regular_file() && FileText(entry.path().string()).starts_with("SQLite format 3")) stores.push_back(entry.path());
    ASSERT_FALSE(stores.empty());
    const std::string sDamaged(8192, 'x');
    for (const auto& store : stores) WriteFileText(store.string(), sDamaged);

    ExpectRefusal({"reg", "get", Key(), "v"}, 3, "failed: ");
    ExpectRefusal({"reg", "set", Key(), "v", "2"}, 3, "failed: ");
    // To the library's plain reads everything is missing now; a user is told why.
    ExpectRefusal({"params", "get", "torch", "run", "PlasmaFlow"}, 3, "failed: ");
    ExpectRefusal({"params", "set", "torch", "run", "PlasmaFlow", "14.5"}, 3, "failed: ");
    ExpectRefusal({"params", "show"}, 3, "failed: ");
    ExpectRefusal({"tour"}, 3, "failed: ");
    for (const auto& store : stores) EXPECT_TRUE(FileText(store.string()) == sDamaged) << store;
}

TEST_F(LumState, ADamagedResourceLibraryIsNamed)
{
    // A program looks beside itself first: a copy of lum with a library of its own beside it.
    std::filesystem::create_directories(File("bin"));
    std::filesystem::copy_file(ProgramPath("lum"), File("bin/lum"));
    WriteFileText(File("bin/LumRes.dll"), "MZ and nothing behind it");
    const std::string sFolder = std::filesystem::path(ProgramPath("lum")).parent_path().string();
    SetForPrograms("LD_LIBRARY_PATH", sFolder.c_str());
    const ProgramResult result = RunProgram(File("bin/lum"), {"message", "19004"});
    EXPECT_EQ(result.iStatus, 3);
    EXPECT_NE(result.sErr.find("loading LumRes.dll failed"), std::string::npos) << result.sErr;
    EXPECT_NE(result.sErr.find("(193)"), std::string::npos) << result.sErr;
}
} // namespace
