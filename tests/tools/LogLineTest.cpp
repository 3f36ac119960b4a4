// One line of a log, and bytes that are none.
#include "LogLine.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
using namespace tool;
using Kind = LogLine::Kind;

TEST(LogLine, AnEntryHasTimeGroupClassItemAndText)
{
    const LogLine line = ParseLogLine("       1.500 : Comms : OSerial : Item : 3 bytes : sent");
    EXPECT_EQ(line.eKind, Kind::Entry);
    EXPECT_EQ(line.ullMilliseconds, 1500u);
    EXPECT_EQ(line.sGroup, "Comms");
    EXPECT_EQ(line.sClass, "OSerial");
    EXPECT_EQ(line.sItem, "Item");
    EXPECT_EQ(line.sText, "3 bytes : sent");
}

TEST(LogLine, ATextMayBeEmptyAndANameMayNot)
{
    EXPECT_EQ(ParseLogLine("       1.500 : G : C : I : ").eKind, Kind::Entry);
    EXPECT_EQ(ParseLogLine("       1.500 :  : C : I : text").eKind, Kind::Other);
    EXPECT_EQ(ParseLogLine("       1.500 : G :  : I : text").eKind, Kind::Other);
    EXPECT_EQ(ParseLogLine("       1.500 : G : C :  : text").eKind, Kind::Other);
}

TEST(LogLine, TheTimeGrowsBeyondItsWidth)
{
    const LogLine line = ParseLogLine("123456789.012 : G : C : I : text");
    EXPECT_EQ(line.eKind, Kind::Entry);
    EXPECT_EQ(line.ullMilliseconds, 123456789012u);
    EXPECT_EQ(ParseLogLine("12345678901234567890.012 : G : C : I : text").eKind, Kind::Other);
}

TEST(LogLine, ATimeOfAnotherShapeIsNone)
{
    for (const char* pTime : {"1.500", "        1.50", "       1,500", "       -.500", "      1 .500", "  1234567.5 0", "            ", "",
                              " 12345678.000", "       x.500", "        .500"})
        EXPECT_EQ(ParseLogLine(std::string(pTime) + " : G : C : I : text").eKind, Kind::Other) << pTime;
}

TEST(LogLine, AnEntryThatIsCutShortIsNone)
{
    const std::string sLine = "       1.500 : G : C : I : ";
    for (size_t u = 0; u < sLine.size(); ++u) EXPECT_EQ(ParseLogLine(sLine.substr(0, u)).eKind, Kind::Other) << u;
    EXPECT_EQ(ParseLogLine(sLine).eKind, Kind::Entry);
}

TEST(LogLine, BannersBeginAndEndARun)
{
    const LogLine line = ParseLogLine("*********************** Application Started [2005:11:5  13:2] ***********************");
    EXPECT_EQ(line.eKind, Kind::Started);
    EXPECT_EQ(line.auStart, (std::array<unsigned, 5>{2005, 11, 5, 13, 2}));
    EXPECT_EQ(ParseLogLine("*********************** Application Terminated ****************************").eKind, Kind::Ended);
}

TEST(LogLine, ABannerThatIsDamagedIsNone)
{
    for (const char* pLine : {" Application Started [2005:11:5  13:2] ***", "*** Application Started [2005:11:5 13:2] ***",
                              "*** Application Started [2005:11:5  13:2", "*** Application Started [2005:11:5  13:99999999999] ***",
                              "*** Application Started [2005:11", "*** Application Started [", "***", "*",
                              " Application Terminated ***", "*** Application Terminated"})
        EXPECT_EQ(ParseLogLine(pLine).eKind, Kind::Other) << pLine;
}

TEST(LogLine, ALineOfTheErrorFileHasItsTimeBehindIt)
{
    const LogLine line = ParseLogLine("Object is not initialised . Error Occurred at 15-Nov-05 01:02:03 PM");
    EXPECT_EQ(line.eKind, Kind::ErrorCopy);
    EXPECT_EQ(line.sText, "Object is not initialised");
    EXPECT_EQ(line.sTime, "15-Nov-05 01:02:03 PM");
}

TEST(LogLine, TheManagersNotesAreTrouble)
{
    EXPECT_EQ(ParseLogLine("ODbgManager::Writeln : Len1=4 : Len2=0 : Len3=4").eKind, Kind::Trouble);
}

TEST(LogLine, ErrorsAreTheGroupsOfFailures)
{
    for (const char* pGroup : {"Error", "Warning", "Exception", "ExceptionApp", "ExceptionStructured"})
        EXPECT_TRUE(IsErrorGroup(pGroup)) << pGroup;
    for (const char* pGroup : {"Debug", "error", "Errors", "Except", "Utilities", ""}) EXPECT_FALSE(IsErrorGroup(pGroup)) << pGroup;
}

TEST(LogLine, TheQuickLookAgreesWithTheReader)
{
    for (const char* pLine : {"       1.500 : Error : C : I : text", "       1.500 : Warning : C : I : text",
                              "       1.500 : ExceptionApp : C : I : text", "123456789.012 : Error : C : I : text",
                              "*********************** Application Started [2005:11:5  13:2] ***********************",
                              "*********************** Application Terminated ****************************",
                              "ODbgManager::Writeln : Len1=4 : Len2=0 : Len3=4", "ODbgMan1.500 : Len1",
                              "x . Error Occurred at 15-Nov-05 01:02:03 PM", "*       1.500 : G : C : I : text"})
        EXPECT_FALSE(IsNoError(pLine)) << pLine;
    EXPECT_TRUE(IsNoError("       1.500 : Utilities : C : I : text"));
}

TEST(LogLine, ZerosAndControlCharactersAreBytesLikeOthers)
{
    const std::string sLine("       1.500 : G\0 : C : \x1b : a\0b", 31);
    const LogLine line = ParseLogLine(sLine);
    EXPECT_EQ(line.eKind, Kind::Entry);
    EXPECT_EQ(line.sGroup, std::string_view("G\0", 2));
    EXPECT_EQ(line.sText, std::string_view("a\0b", 3));
    EXPECT_EQ(ParseLogLine(std::string(1000, '\0')).eKind, Kind::Other);
}
} // namespace
