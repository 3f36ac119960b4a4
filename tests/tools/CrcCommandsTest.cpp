// lum crc, as a user runs it.
#include "LumProgram.h"
#include "Wine.h"

#include <algorithm>

namespace
{
class LumCrc : public LumProgram
{
protected:
    std::string Data(const std::string& sText, const char* pName = "f")
    {
        WriteFileText(File(pName), sText);
        return File(pName);
    }
    static const std::string ksGood;

    // A run that prints these lines alone, and answers so.
    static void ExpectAnswer(const std::vector<std::string>& words, int iStatus, const std::string& sLines)
    {
        const ProgramResult result = Lum(words);
        EXPECT_EQ(result.sOut, sLines);
        EXPECT_EQ(result.sErr, "");
        EXPECT_EQ(result.iStatus, iStatus);
    }
};
const std::string LumCrc::ksGood = "123456789\xC3\x31";

TEST_F(LumCrc, IsAppendedCheckedAndCutOff)
{
    const std::string f = Data("123456789");
    ExpectAnswer({"crc", "append", f}, 0, f + ": CRC appended\n");
    EXPECT_EQ(FileText(f), ksGood);
    ExpectAnswer({"crc", "check", f}, 0, f + ": CRC matches\n");
    ExpectAnswer({"crc", "undo", f}, 0, f + ": CRC cut off\n");
    EXPECT_EQ(FileText(f), "123456789");
}

TEST_F(LumCrc, AChangedFileIsTheAnswerNo)
{
    const std::string f = Data("123466789\xC3\x31");
    ExpectAnswer({"crc", "check", f}, 1, f + ": CRC does not match\n");
    EXPECT_EQ(FileText(f), "123466789\xC3\x31");
}

TEST_F(LumCrc, UndoLeavesAFileWhoseCrcDoesNotMatchUnlessForced)
{
    const std::string f = Data("no CRC at all");
    ExpectAnswer({"crc", "undo", f}, 1, f + ": left as it is, its CRC does not match (--force cuts off the last two bytes)\n");
    EXPECT_EQ(FileText(f), "no CRC at all");
    ExpectAnswer({"crc", "undo", "--force", f}, 0, f + ": CRC cut off\n");
    EXPECT_EQ(FileText(f), "no CRC at a");
    ExpectRefusal({"crc", "check", "--force", f}, 2, "--force");
}

TEST_F(LumCrc, EveryFileHasItsTurnAndItsLine)
{
    const std::string good = Data(ksGood, "good"), bad = Data("123456789\xC3\x32", "bad"), last = Data(ksGood, "last");
    const std::string none = File("none");
    ExpectAnswer({"crc", "check", good, bad, last}, 1,
                 good + ": CRC matches\n" + bad + ": CRC does not match\n" + last + ": CRC matches\n");

    const ProgramResult result = Lum({"crc", "undo", good, none, bad, last});
    EXPECT_EQ(result.iStatus, 3);
    EXPECT_TRUE(result.sErr.starts_with("lum: opening " + none + " failed: ")) << result.sErr;
    EXPECT_EQ(std::count(result.sErr.begin(), result.sErr.end(), '\n'), 1);
    EXPECT_EQ(std::count(result.sOut.begin(), result.sOut.end(), '\n'), 3);
    EXPECT_EQ(FileText(good) + FileText(last), "123456789123456789");
    EXPECT_EQ(FileText(bad), "123456789\xC3\x32");
}

TEST_F(LumCrc, FilesOfNoneOneAndTwoBytes)
{
    const std::string none = Data("", "0"), one = Data(std::string(1, '\0'), "1"), two = Data(std::string(2, '\0'), "2");
    const std::string other = Data("ab", "3");
    ExpectAnswer({"crc", "check", none, one, two, other}, 1,
                 none + ": has no CRC, it is empty\n" + one + ": has no CRC, it is one byte long\n" + two + ": CRC matches\n" +
                     other + ": CRC does not match\n");
    ExpectAnswer({"crc", "undo", "--force", none, one}, 1,
                 none + ": has no CRC, it is empty\n" + one + ": has no CRC, it is one byte long\n");
    ExpectAnswer({"crc", "undo", two}, 0, two + ": CRC cut off\n");
    ExpectAnswer({"crc", "append", none, one}, 0, none + ": CRC appended\n" + one + ": CRC appended\n");
    EXPECT_EQ(FileText(none), std::string(2, '\0'));
    EXPECT_EQ(FileText(one).size(), 3u);
    EXPECT_EQ(FileText(two), "");
}

TEST_F(LumCrc, WhatCannotBeReadOrChangedIsAFailureThatIsExplained)
{
    ExpectRefusal({"crc", "check", File("none")}, 3, "opening " + File("none") + " failed: ");
    ExpectRefusal({"crc", "append", File("none")}, 3, "failed: ");
    EXPECT_FALSE(std::filesystem::exists(File("none")));
    ExpectRefusal({"crc", "undo", File("")}, 3, "is a folder");
    ExpectRefusal({"crc", "check", "NUL"}, 3, "NUL");
    ExpectRefusal({"crc", "check"}, 2, "FILE");
    ExpectRefusal({"crc", "repair", File("none")}, 2, "one of append, check, undo");
    ExpectRefusal({"crc"}, 2, "subcommand");
}

TEST_F(LumCrc, AReadOnlyFileIsCheckedAndNotChanged)
{
    const std::string f = Data(ksGood);
    ASSERT_TRUE(SetFileAttributesA(f.c_str(), FILE_ATTRIBUTE_READONLY));
    ExpectAnswer({"crc", "check", f}, 0, f + ": CRC matches\n");
    if (RunsUnderWine() && RunsAsAdministrator()) // where Wine lets him write to read-only files
        EXPECT_EQ(Lum({"crc", "undo", f}).iStatus, 0);
    else
    {
        ExpectRefusal({"crc", "append", f}, 3, "(5)");
        ExpectRefusal({"crc", "undo", f}, 3, "cutting the CRC off " + f + " failed: ");
        ExpectRefusal({"crc", "undo", "--force", f}, 3, "(5)");
        EXPECT_EQ(FileText(f), ksGood);
    }
    SetFileAttributesA(f.c_str(), FILE_ATTRIBUTE_NORMAL); // so that the folder can be removed
}

TEST_F(LumCrc, AFileThatIsOpenElsewhereIsNamedAsSuch)
{
    const std::string f = Data(ksGood);
    const HANDLE hOther =
        CreateFileA(f.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ExpectRefusal({"crc", "check", f}, 3, "(32)");
    CloseHandle(hOther);
    ExpectAnswer({"crc", "check", f}, 0, f + ": CRC matches\n");
}

TEST_F(LumCrc, JsonHasEachFileWithItsResult)
{
    const std::string good = Data(ksGood, "good"), bad = Data("ab", "bad"), empty = Data("", "empty"), none = File("none");
    const ProgramResult result = Lum({"crc", "check", "--json", good, bad, empty, none});
    EXPECT_EQ(result.iStatus, 3);
    const auto has = [&](const char* pName, const char* pResult) {
        const size_t uName = result.sOut.find(std::string(pName) + "\",\n    \"result\": \"" + pResult + "\"");
        return uName != std::string::npos;
    };
    EXPECT_TRUE(has("good", "matches")) << result.sOut;
    EXPECT_TRUE(has("bad", "does not match")) << result.sOut;
    EXPECT_TRUE(has("empty", "no CRC")) << result.sOut;
    EXPECT_TRUE(has("none", "failed\",\n    \"error")) << result.sOut;
    EXPECT_NE(result.sErr.find("failed: "), std::string::npos);

    EXPECT_NE(LumOutput({"crc", "undo", "--json", good}).find("\"cut off\""), std::string::npos);
    EXPECT_NE(LumOutput({"crc", "append", "--json", good}).find("\"appended\""), std::string::npos);
    EXPECT_EQ(Lum({"crc", "undo", "--json", bad}).iStatus, 1);
}

TEST_F(LumCrc, HelpTellsWhatEachDoes)
{
    EXPECT_NE(LumOutput({"crc", "--help"}).find("Nobody else may have the file open"), std::string::npos);
    EXPECT_NE(LumOutput({"crc", "undo", "--help"}).find("--force"), std::string::npos);
    EXPECT_NE(LumOutput({"--help"}).find("a CRC does not match"), std::string::npos);
}

TEST_F(LumCrc, TheTourShowsOneAppendedCheckedAndBroken)
{
    const std::string sTour = LumOutput({"tour"});
    const size_t uStep = sTour.find("123456789\n");
    for (const char* pText : {"AppendCRC(\"Tour.dat\")  ->  1\n", "c3 31\n", "CheckCRC(\"Tour.dat\")  ->  1\n",
                              "CheckCRC(\"Tour.dat\")  ->  0\n", "Tour.dat: CRC does not match\n"})
        EXPECT_NE(sTour.find(pText, uStep), std::string::npos) << pText << "\n" << sTour;
}
} // namespace
