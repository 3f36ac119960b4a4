// Every member that works on a string's characters. OStringBlockTest.cpp is about the block behind them.
#include "OString.h"
#include "Printers.h"
#include "StringBlock.h"

#include <gtest/gtest.h>

#include <string>

// Construction and assignment -----------------------------------------------------------------------------------------------

TEST(OString, TakesCountedTextWithItsZeros)
{
    const OString sText(u"a\0b", 3);
    EXPECT_EQ(sText.GetLength(), 3);
    EXPECT_EQ(sText[1], 0);
    EXPECT_EQ(sText[2], u'b');
    EXPECT_EQ(sText[3], 0);
}

TEST(OString, RepeatsAUnit) { EXPECT_EQ(OString(u'x', 3), u"xxx"); }

TEST(OString, ConvertsNarrowTextThroughTheCodePage)
{
    EXPECT_EQ(OString("lamp"), u"lamp");
    EXPECT_EQ(OString(reinterpret_cast<const unsigned char*>("lamp")), u"lamp");
    OString sText;
    sText = "plasma";
    EXPECT_EQ(sText, u"plasma");
    sText = reinterpret_cast<const unsigned char*>("torch");
    EXPECT_EQ(sText, u"torch");
}

TEST(OString, ReservesAUnitForEveryNarrowByte)
{
    const OString sText("lamp");
    EXPECT_EQ(sText.GetAllocLength(), 4);

    const char* pDegree = "20 \xC2\xB0"; // one unit or two, as the page says
    unsigned short auwExpected[8] = {};
    const int iUnits = MultiByteToWideChar(CP_ACP, 0, pDegree, -1, AsWide(auwExpected), 8) - 1;
    OString sAssigned;
    sAssigned = pDegree;
    for (const OString& sTaken : {OString(pDegree), sAssigned})
    {
        EXPECT_EQ(sTaken, OString(auwExpected, iUnits));
        EXPECT_EQ(sTaken.GetAllocLength(), 5);
    }
}

TEST(OString, WidensASingleByteBySign)
{
    OString sText(u"x");
    sText = static_cast<char>(0xE9);
    EXPECT_EQ(sText.GetLength(), 1);
    EXPECT_EQ(sText[0], 0xFFE9);
    sText += static_cast<char>(0xE9);
    EXPECT_EQ(sText[1], 0xFFE9);
    EXPECT_EQ((sText + static_cast<char>(0x80))[2], 0xFF80);
    EXPECT_EQ((static_cast<char>(0x80) + sText)[0], 0xFF80);
    sText = 'A';
    EXPECT_EQ(sText, u"A");
}

TEST(OString, AssigningANullNarrowTextKeepsTheOldOne)
{
    OString sText(u"kept");
    sText = static_cast<const char*>(nullptr);
    EXPECT_EQ(sText, u"kept");
}

TEST(OString, AssigningANullWideTextEmptiesTheBuffer)
{
    OString sText(u"gone");
    const unsigned short* pBuffer = sText;
    sText = static_cast<const unsigned short*>(nullptr);
    EXPECT_EQ(sText.GetLength(), 0);
    EXPECT_EQ(TextOf(sText), pBuffer);
    EXPECT_EQ(sText.GetAllocLength(), 4);
}

TEST(OString, AssignmentReusesTheRoomOfALongerValue)
{
    OString sText(u"a long value");
    const unsigned short* pBuffer = sText;
    sText = u"short";
    EXPECT_EQ(TextOf(sText), pBuffer);
    EXPECT_EQ(sText.GetAllocLength(), 12);
    sText = u"one that is longer than before";
    EXPECT_EQ(sText.GetAllocLength(), 30);
}

TEST(OString, AssigningAPartOfItselfWorks)
{
    OString sText(u"plasma flow");
    sText = TextOf(sText) + 7;
    EXPECT_EQ(sText, u"flow");
    OString sShare = sText;
    sText = TextOf(sText) + 1;
    EXPECT_EQ(sText, u"low");
    EXPECT_EQ(sShare, u"flow");
}

TEST(OString, EmptyGivesTheBlockBack)
{
    OString sText(u"lamp");
    const OString sShare = sText;
    sText.Empty();
    EXPECT_TRUE(sText.IsEmpty());
    EXPECT_EQ(RefsOf(sShare), 1);
}

// Concatenation -----------------------------------------------------------------------------------------------------------

TEST(OString, AppendsEveryKindOfText)
{
    OString sText(u"a");
    sText += OString(u"b");
    sText += u"c";
    sText += u'd';
    sText += 'e';
    sText += static_cast<const unsigned short*>(nullptr);
    EXPECT_EQ(sText, u"abcde");
}

TEST(OString, JoinsEveryPairOfTexts)
{
    const OString sMid(u"-");
    const auto* pNull = static_cast<const unsigned short*>(nullptr);
    EXPECT_EQ(sMid + OString(u"a"), u"-a");
    EXPECT_EQ(sMid + u"a", u"-a");
    EXPECT_EQ(u"a" + sMid, u"a-");
    EXPECT_EQ(sMid + u'a', u"-a");
    EXPECT_EQ(u'a' + sMid, u"a-");
    EXPECT_EQ(sMid + 'a', u"-a");
    EXPECT_EQ('a' + sMid, u"a-");
    EXPECT_EQ(sMid + pNull, u"-");
    EXPECT_EQ(pNull + sMid, u"-");
    EXPECT_TRUE(IsSharedEmpty(OString() + OString()));
    EXPECT_EQ((sMid + u"abc").GetAllocLength(), 4);
}

TEST(OString, AppendingBeyondTheRoomAllocatesExactly)
{
    OString sText(u"abc");
    sText += u"de";
    EXPECT_EQ(sText.GetAllocLength(), 5);
    sText += u'f';
    EXPECT_EQ(sText.GetAllocLength(), 6);
}

TEST(OString, AppendingWithinTheRoomStaysInPlace)
{
    OString sText(u"abc");
    const unsigned short* pBuffer = sText.GetBuffer(10);
    sText += u"defg";
    EXPECT_EQ(TextOf(sText), pBuffer);
    EXPECT_EQ(sText, u"abcdefg");
    EXPECT_EQ(sText.GetAllocLength(), 10);
}

TEST(OString, AppendingNothingToASharedStringMakesItsOwnCopy)
{
    OString sText(u"lamp");
    const OString sShare = sText;
    sText += u"";
    EXPECT_NE(TextOf(sText), TextOf(sShare));
    EXPECT_EQ(RefsOf(sShare), 1);
    EXPECT_EQ(sText, u"lamp");
}

TEST(OString, AppendingNothingToASharedBlockOfLengthZeroIsSafe)
{
    OString sText(u"lamp");
    sText = u""; // keeps its block
    OString sShare = sText;
    sShare += u"";
    EXPECT_EQ(sShare.GetLength(), 0);
    EXPECT_EQ(RefsOf(sText), 1);
}

TEST(OString, AppendsItself)
{
    OString sText(u"ab");
    sText += sText;
    EXPECT_EQ(sText, u"abab");
    sText.GetBuffer(20);
    sText += sText;
    EXPECT_EQ(sText, u"abababab");
}

// Comparison and searching --------------------------------------------------------------------------------------------------

TEST(OString, ComparesByUnitValue)
{
    EXPECT_EQ(OString(u"lamp").Compare(u"lamp"), 0);
    EXPECT_LT(OString(u"lamp").Compare(u"lamps"), 0);
    EXPECT_GT(OString(u"lamp").Compare(u"LAMP"), 0);
    EXPECT_GT(OString(u"\xFFE9").Compare(u"\x00E9"), 0);
    EXPECT_EQ(OString(u"Lamp").CompareNoCase(u"lAMP"), 0);
    EXPECT_NE(OString(u"Lamp").CompareNoCase(u"damp"), 0);
    EXPECT_EQ(OString(u"lamp").Collate(u"lamp"), 0);
    EXPECT_LT(OString(u"abc").Collate(u"abd"), 0);
}

TEST(OString, FindsUnitsByTheirLowByte)
{
    const OString sText(u"xAyAz");
    EXPECT_EQ(sText.Find(u'A'), 1);
    EXPECT_EQ(sText.Find(0x0141), 1);
    EXPECT_EQ(sText.ReverseFind(u'A'), 3);
    EXPECT_EQ(sText.ReverseFind(0x0141), 3);
    EXPECT_EQ(sText.Find(u'Q'), -1);
    EXPECT_EQ(sText.ReverseFind(u'Q'), -1);
    EXPECT_EQ(OString(u"\x0141").Find(0x0141), -1);
}

TEST(OString, FindsItsClosingZero)
{
    EXPECT_EQ(OString(u"lamp").Find(0), 4);
    EXPECT_EQ(OString(u"lamp").ReverseFind(0), 4);
}

TEST(OString, FindsTextsAndSets)
{
    const OString sText(u"nebulizer flow");
    EXPECT_EQ(sText.Find(u"flow"), 10);
    EXPECT_EQ(sText.Find(u""), 0);
    EXPECT_EQ(sText.Find(u"flows"), -1);
    EXPECT_EQ(sText.FindOneOf(u"zyx"), 6);
    EXPECT_EQ(sText.FindOneOf(u"QX"), -1);
}

// A search that looks at many units at a time must agree with one that looks at one, wherever the text lies in memory.
TEST(OString, FindsTheSameAtEveryAlignmentAndLength)
{
    std::u16string sPlain;
    for (int i = 0; i < 70; ++i) sPlain += static_cast<char16_t>(u'a' + i * 7 % 5);
    for (int iStart = 0; iStart < 16; ++iStart)
        for (int iLength = 1; iLength < 40; ++iLength)
        {
            const std::u16string sPart = sPlain.substr(static_cast<std::size_t>(iStart), static_cast<std::size_t>(iLength));
            const OString sText(sPart.c_str());
            ASSERT_EQ(sText.GetLength(), iLength);
            for (int iNeedle = 1; iNeedle < 6; ++iNeedle)
            {
                const std::u16string sNeedle = sPlain.substr(static_cast<std::size_t>(iStart + iNeedle), static_cast<std::size_t>(iNeedle));
                ASSERT_EQ(sText.Find(sNeedle.c_str()), static_cast<int>(sPart.find(sNeedle)));
            }
            ASSERT_EQ(sText.Find(u'c'), static_cast<int>(sPart.find(u'c')));
            ASSERT_EQ(sText.ReverseFind(u'c'), static_cast<int>(sPart.rfind(u'c')));
            ASSERT_EQ(sText.Compare(sPart.c_str()), 0);
        }
}

// Extraction --------------------------------------------------------------------------------------------------------------

TEST(OString, ExtractionCutsItsArgumentsToTheText)
{
    const OString sText(u"lamp");
    EXPECT_EQ(sText.Mid(-3, 2), sText.Mid(0, 2));
    EXPECT_EQ(sText.Mid(10, 5), u"");
    EXPECT_EQ(sText.Mid(1, 99), u"amp");
    EXPECT_EQ(sText.Mid(1, 0x7FFFFFFF), u"amp");
    EXPECT_EQ(sText.Mid(1, -1), u"");
    EXPECT_EQ(sText.Mid(2), u"mp");
    EXPECT_EQ(sText.Mid(-2), u"lamp");
    EXPECT_EQ(sText.Left(99), u"lamp");
    EXPECT_EQ(sText.Left(-1), u"");
    EXPECT_EQ(sText.Right(99), u"lamp");
    EXPECT_EQ(sText.Right(2), u"mp");
    EXPECT_EQ(sText.Right(-1), u"");
}

TEST(OString, ExtractionAlwaysMakesAFreshBlock)
{
    OString sText(u"lamp");
    sText.GetBuffer(50);
    const OString sWhole = sText.Right(99);
    EXPECT_NE(TextOf(sWhole), TextOf(sText));
    EXPECT_EQ(sWhole.GetAllocLength(), 4);
    EXPECT_NE(TextOf(sText.Left(4)), TextOf(sText));
    EXPECT_NE(TextOf(sText.Mid(0)), TextOf(sText));
}

TEST(OString, SpansSets)
{
    const OString sText(u"0123abc456");
    EXPECT_EQ(sText.SpanIncluding(u"0123456789"), u"0123");
    EXPECT_EQ(sText.SpanExcluding(u"abc"), u"0123");
    EXPECT_EQ(sText.SpanIncluding(u"x"), u"");
    EXPECT_EQ(sText.SpanExcluding(u"x"), u"0123abc456");
}

// Changing in place ---------------------------------------------------------------------------------------------------------

TEST(OString, ChangesCaseAndOrder)
{
    OString sText(u"Plasma Torch 9");
    const OString sShare = sText;
    sText.MakeUpper();
    EXPECT_EQ(sText, u"PLASMA TORCH 9");
    sText.MakeLower();
    EXPECT_EQ(sText, u"plasma torch 9");
    sText.MakeReverse();
    EXPECT_EQ(sText, u"9 hcrot amsalp");
    EXPECT_EQ(sShare, u"Plasma Torch 9");
}

TEST(OString, TrimsWhiteSpace)
{
    OString sText(u" \t\r\n lamp on \v\f ");
    const OString sShare = sText;
    sText.TrimLeft();
    EXPECT_EQ(sText, u"lamp on \v\f ");
    sText.TrimRight();
    EXPECT_EQ(sText, u"lamp on");
    EXPECT_EQ(sText[sText.GetLength()], 0);
    EXPECT_EQ(sShare.GetLength(), 16);

    OString sWide(u"\x2003\x3000 lamp \x2003\x3000"); // not white by that test
    sWide.TrimLeft();
    sWide.TrimRight();
    EXPECT_EQ(sWide.GetLength(), 10);
    OString sNoBreak(u"\x00A0lamp\x00A0");
    sNoBreak.TrimLeft();
    sNoBreak.TrimRight();
    EXPECT_EQ(sNoBreak, u"lamp");

    OString sBlank(u"   ");
    sBlank.TrimRight();
    EXPECT_EQ(sBlank.GetLength(), 0);
    OString sLeft(u"   ");
    sLeft.TrimLeft();
    EXPECT_EQ(sLeft.GetLength(), 0);
}

// Automation strings --------------------------------------------------------------------------------------------------------

TEST(OString, MakesAutomationStrings)
{
    unsigned short* pText = OString(u"a\0b", 3).AllocSysString();
    EXPECT_EQ(SysStringLen(AsWide(pText)), 3u);
    EXPECT_EQ(pText[2], u'b');

    EXPECT_EQ(OString(u"torch").SetSysString(&pText), pText);
    EXPECT_EQ(SysStringLen(AsWide(pText)), 5u);
    EXPECT_EQ(OString(pText), u"torch");
    SysFreeString(AsWide(pText));

    unsigned short* pEmpty = OString().AllocSysString();
    ASSERT_NE(pEmpty, nullptr);
    EXPECT_EQ(SysStringLen(AsWide(pEmpty)), 0u);
    SysFreeString(AsWide(pEmpty));
}
