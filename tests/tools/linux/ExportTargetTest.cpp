// Exports to what is no plain file. On Linux alone: there, links, pipes and devices have names as files do.
#include "LumProgram.h"

#include <sys/stat.h>

#include <thread>

namespace
{
class LumExport : public LumProgram
{
protected:
    LumExport() { LumOutput({"reg", "set", Key(), "v", "1"}); }
    void Export(const char* pName) const { EXPECT_EQ(LumOutput({"reg", "export", Key(), File(pName)}), ""); }
};

TEST_F(LumExport, ReplacesTheFileThatALinkLeadsTo)
{
    std::filesystem::create_directory(File("far"));
    WriteFileText(File("far/real.reg"), "old");
    std::filesystem::create_symlink("far/real.reg", File("link.reg"));
    Export("link.reg");
    EXPECT_TRUE(std::filesystem::is_symlink(File("link.reg")));
    EXPECT_TRUE(FileText(File("far/real.reg")).starts_with("\xFF\xFEW"));
    ExpectNothingUnfinished();
}

TEST_F(LumExport, WritesIntoAPipeAndLeavesItAPipe)
{
    Export("plain.reg");
    ASSERT_EQ(mkfifo(File("pipe.reg").c_str(), 0600), 0);
    std::string sRead;
    {
        const std::jthread reader([&] { sRead = FileText(File("pipe.reg")); });
        Export("pipe.reg");
    }
    EXPECT_TRUE(sRead == FileText(File("plain.reg"))) << sRead.size() << " bytes";
    EXPECT_TRUE(std::filesystem::is_fifo(File("pipe.reg")));
}

TEST_F(LumExport, WritesToADeviceThroughALinkAndLeavesBoth)
{
    std::filesystem::create_symlink("/dev/null", File("null.reg"));
    Export("null.reg");
    EXPECT_TRUE(std::filesystem::is_symlink(File("null.reg")));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));

    std::filesystem::create_symlink("/dev/full", File("full.reg"));
    ExpectRefusal({"reg", "export", Key(), File("full.reg")}, 3, "(112)");
    EXPECT_TRUE(std::filesystem::is_symlink(File("full.reg")));
}
} // namespace
