// lum storage where names are symbolic links, which on Linux everybody can make.
#include "LumProgram.h"

namespace
{
class LumStorageLink : public LumProgram
{
protected:
    LumStorageLink() { WriteFileText(msData, "data"); }

    const std::string msData = File("data"), msFile = File("new.cfb"), msLink = File("link.cfb");
};
} // namespace

TEST_F(LumStorageLink, AFileIsMadeWhereALinkLeadsThatLedNowhere)
{
    std::filesystem::create_directory(File("there"));
    std::filesystem::create_directory_symlink(File("there"), File("folder"));
    std::filesystem::create_symlink("folder/../second", msLink); // relative to where the link is
    std::filesystem::create_symlink(msFile, File("second"));
    LumOutput({"storage", "put", msLink, "Notes", msData});
    EXPECT_TRUE(std::filesystem::is_symlink(msLink));
    EXPECT_TRUE(std::filesystem::is_symlink(File("second")));
    EXPECT_EQ(LumOutput({"storage", "cat", msFile, "Notes"}), "data");

    std::filesystem::create_symlink("there/copy.cfb", File("copy.cfb"));
    LumOutput({"storage", "copy", msLink, File("copy.cfb")});
    EXPECT_TRUE(std::filesystem::is_symlink(File("copy.cfb")));
    EXPECT_EQ(LumOutput({"storage", "cat", File("there/copy.cfb"), "Notes"}), "data");
    ExpectNothingUnfinished();
}

TEST_F(LumStorageLink, AFileBehindALinkIsReplacedAndTheLinkStays)
{
    LumOutput({"storage", "put", msFile, "Notes", msData});
    std::filesystem::create_symlink("new.cfb", msLink);
    LumOutput({"storage", "put", msLink, "More", msData});
    LumOutput({"storage", "copy", "--force", msFile, msLink});
    EXPECT_TRUE(std::filesystem::is_symlink(msLink));
    EXPECT_EQ(LumOutput({"storage", "cat", msFile, "More"}), "data");
}

TEST_F(LumStorageLink, AFileMayHaveTheLongestNameThereIs)
{
    std::string sLetters = "x"; // 255 bytes
    for (int i = 0; i < 127; ++i) sLetters += "\xC3\xA9";
    for (const std::string& sName : {std::string(255, 'n'), sLetters})
    {
        LumOutput({"storage", "put", File(sName.c_str()), "Notes", msData});
        LumOutput({"storage", "copy", "--force", File(sName.c_str()), File(sName.c_str())});
        EXPECT_EQ(LumOutput({"storage", "cat", File(sName.c_str()), "Notes"}), "data");
    }
    ExpectNothingUnfinished();
}

TEST_F(LumStorageLink, ALinkThatLeadsToNoFolderOrToItselfIsNamed)
{
    std::filesystem::create_symlink("none/new.cfb", msLink);
    ExpectRefusal({"storage", "put", msLink, "Notes", msData}, 3, "creating " + msLink + " failed: ");
    std::filesystem::create_symlink("circle", File("circle"));
    ExpectRefusal({"storage", "put", File("circle"), "Notes", msData}, 3, File("circle"));
    EXPECT_TRUE(std::filesystem::is_symlink(msLink));
    EXPECT_TRUE(std::filesystem::is_symlink(File("circle")));
    ExpectNothingUnfinished();
}
