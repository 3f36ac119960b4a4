// Formatting, resource texts, system messages, substitution, and conversion to narrow text.
#include "CException.h"
#include "OString.h"
#include "OBase.h"
#include "Printers.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

namespace
{
template <class... Args>
OString Formatted(const char16_t* pFormat, const Args&... args)
{
    OString sText;
    sText.Format(pFormat, args...);
    return sText;
}

template <class... Args>
int Reserved(const char16_t* pFormat, const Args&... args)
{
    return Formatted(pFormat, args...).GetAllocLength();
}

// TextRes.dll under the name of the resource library, in its place for as long as it lives.
class OtherTexts
{
public:
    OtherTexts()
    {
        const std::string sFile = mFolder / "LumRes.dll";
        std::filesystem::copy_file(std::filesystem::path(LUM_TEST_BIN) / "TextRes.dll", sFile);
        mhModule = LoadLibraryA(sFile.c_str());
    }
    ~OtherTexts() { FreeLibrary(mhModule); }
    OtherTexts(const OtherTexts&) = delete;
    OtherTexts& operator=(const OtherTexts&) = delete;

private:
    TempFolder mFolder;
    HMODULE mhModule;
};

// The text that the other library has under its length as the id.
OString TextOfLength(int iLength)
{
    OString sText;
    for (int i = 0; i < iLength; ++i) sText += static_cast<unsigned short>(u'0' + i % 10);
    return sText;
}
} // namespace

TEST(OStringFormat, FormatsNumbersAndTexts)
{
    EXPECT_EQ(Formatted(u"%d-%s", 42, u"ab"), u"42-ab");
    EXPECT_EQ(Formatted(u"%5.2f", 3.14159), u" 3.14");
    EXPECT_EQ(Formatted(u"%*d", 8, 7), u"       7");
    EXPECT_EQ(Formatted(u"100%%"), u"100%");
    EXPECT_EQ(Formatted(u"%#x %05d %+d %-4d|", 255, 42, 7, 3), u"0xff 00042 +7 3   |");
    EXPECT_EQ(Formatted(u"%S %hs %ls %C", "narrow", "also", u"wide", 'c'), u"narrow also wide c");
    EXPECT_EQ(Formatted(u"%.*f", 3, 2.0), u"2.000");
    EXPECT_EQ(Formatted(u"%e", 1.5), u"1.500000e+000");
    EXPECT_EQ(Formatted(u"%s", OString(u"string")), u"string");
    EXPECT_EQ(Formatted(u""), u"");
    EXPECT_EQ(Formatted(u"plain"), u"plain");
}

TEST(OStringFormat, ReservesTheEstimate)
{
    EXPECT_EQ(Reserved(u"%d-%s", 42, u"ab"), 35);
    EXPECT_EQ(Reserved(u"plain"), 5);
    EXPECT_EQ(Reserved(u"100%%"), 4);
    EXPECT_EQ(Reserved(u"%d", 1), 32);
    EXPECT_EQ(Reserved(u"%40d", 1), 40);
    EXPECT_EQ(Reserved(u"%20.20d", 1), 40);
    EXPECT_EQ(Reserved(u"%*d", 50, 1), 50);
    EXPECT_EQ(Reserved(u"%#x", 1), 34);
    EXPECT_EQ(Reserved(u"%ld", 1), 32);
    EXPECT_EQ(Reserved(u"%f", 1.0), 128);
    EXPECT_EQ(Reserved(u"%100.50f", 1.0), 150);
    EXPECT_EQ(Reserved(u"%p", static_cast<const void*>(nullptr)), 32);
    EXPECT_EQ(Reserved(u"%c", 'x'), 2);
    EXPECT_EQ(Reserved(u"%5c", 'x'), 5);
    EXPECT_EQ(Reserved(u"%s", u""), 1);
    EXPECT_EQ(Reserved(u"%10s", u"ab"), 10);
    EXPECT_EQ(Reserved(u"%.3s", u"abcdef"), 3);
    EXPECT_EQ(Reserved(u"%S", "abcdef"), 6);
    EXPECT_EQ(Reserved(u"%ls", u"abcdef"), 6);
    EXPECT_EQ(Reserved(u"%hs", "abcdef"), 6);
    EXPECT_EQ(Reserved(u"%hS", "abcdef"), 6);
    EXPECT_EQ(Reserved(u"%lS", u"abcdef"), 6);
    for (const char16_t* pFormat : {u"%C", u"%hc", u"%hC", u"%lc", u"%lC"}) EXPECT_EQ(Reserved(pFormat, 'x'), 2);
    for (const char16_t* pFormat : {u"%i", u"%u", u"%o", u"%x", u"%X", u"%hd", u"%+ -05d"}) EXPECT_EQ(Reserved(pFormat, 1), 32);
    for (const char16_t* pFormat : {u"%e", u"%g", u"%G", u"%Lf"}) EXPECT_EQ(Reserved(pFormat, 1.0), 128);
    EXPECT_EQ(Reserved(u"%5.3c", 'x'), 3);
    EXPECT_EQ(Reserved(u"%.*s", 4, u"abcdef"), 4);
    EXPECT_EQ(Reserved(u"ab%E", 1.0), 2); // the one that is not known
    EXPECT_EQ(Formatted(u"ab%E", 1.0), u"ab");
}

// Below zero, a width given as an argument says "to the left", and a precision that there is none.
TEST(OStringFormat, MakesRoomForWidthsBelowZero)
{
    EXPECT_EQ(Formatted(u"%*d|", -40, 7), OString(u"7") + OString(u' ', 39) + u"|");
    EXPECT_EQ(Formatted(u"%*s|", -4, u"ab"), u"ab  |");
    EXPECT_EQ(Formatted(u"%.*s|", -1, u"abc"), u"abc|");
    EXPECT_EQ(Formatted(u"%40.*d|", -2, 7), OString(u' ', 39) + u"7|");
}

TEST(OStringFormat, MayReadTheStringItWritesTo)
{
    OString sText(u"lamp");
    sText.Format(u"<%s>", sText);
    EXPECT_EQ(sText, u"<lamp>");
    sText.GetBuffer(100); // now in its place
    sText.Format(u"%s and %s", u"torch", sText);
    EXPECT_EQ(sText, u"torch and <lamp>");
    sText = u"%d of %d";
    sText.Format(static_cast<const unsigned short*>(sText), 1, 2);
    EXPECT_EQ(sText, u"1 of 2");
    sText.Empty();
    sText.Format(static_cast<const unsigned short*>(sText));
    EXPECT_EQ(sText, u"");
}

TEST(OStringFormat, AllocatesOnceForAFormat)
{
    OString sText(u"a buffer that is large enough for what comes");
    const unsigned short* pBuffer = sText;
    sText.Format(u"%d", 1);
    EXPECT_EQ(static_cast<const unsigned short*>(sText), pBuffer);
    EXPECT_EQ(sText, u"1");
}

// A precision below the width reserves less than the output takes: the output is cut to what was reserved.
TEST(OStringFormat, NeverWritesBeyondTheEstimate)
{
    const OString sText = Formatted(u"%10.3s", u"abcdef");
    EXPECT_EQ(sText.GetAllocLength(), 3);
    EXPECT_EQ(sText, u"   ");
    EXPECT_EQ(sText[3], 0);
}

TEST(OStringFormat, SurvivesFormatsThatEndTooSoon)
{
    EXPECT_EQ(Formatted(u"abc%").Left(3), u"abc");
    EXPECT_EQ(Formatted(u"abc%5").Left(3), u"abc");
    EXPECT_EQ(Formatted(u"abc%-.").Left(3), u"abc");
}

TEST(OStringFormat, FormatsFromTheResourceLibrary)
{
    OString sText;
    sText.Format(19004u, 19004u);
    OString sFormat;
    ASSERT_TRUE(sFormat.LoadStringA(19004));
    EXPECT_EQ(sText, Formatted(reinterpret_cast<const char16_t*>(static_cast<const unsigned short*>(sFormat)), 19004u));
    sText.Format(1u, 5);
    EXPECT_EQ(sText, u"");
}

TEST(OStringFormat, LoadsResourceTexts)
{
    OString sText(u"before");
    EXPECT_NE(sText.LoadStringA(19004), 0);
    EXPECT_GT(sText.GetLength(), 10);
    EXPECT_EQ(sText.GetAllocLength(), 255);
    EXPECT_EQ(sText.LoadStringA(7), 0);
    EXPECT_EQ(sText, u"");
}

TEST(OStringFormat, LoadsAResourceTextAgainWithMoreRoomWhenItFillsTheFirst)
{
    const OtherTexts other;
    const struct { int iId, iLength, iRoom; } rows[] = {
        {254, 254, 255}, {255, 255, 511}, {256, 256, 256}, {257, 256, 256}, {400, 256, 256}, // from 256 on, cut there
    };
    for (const auto& row : rows)
    {
        OString sText;
        EXPECT_NE(sText.LoadStringA(static_cast<unsigned int>(row.iId)), 0);
        EXPECT_EQ(sText, TextOfLength(row.iLength));
        EXPECT_EQ(sText.GetAllocLength(), row.iRoom) << row.iId;
    }
    EXPECT_EQ(OString().LoadStringA(19004), 0);
}

TEST(OStringFormat, ALongResourceTextFillsTheBuffersOfTheErrorBase)
{
    const OtherTexts other;
    OBase object;
    unsigned short auwText[258];
    std::fill(std::begin(auwText), std::end(auwText), static_cast<unsigned short>(0xAAAA));
    EXPECT_EQ(object.LoadStringA(400, auwText, 256), 1u);
    EXPECT_EQ(OString(auwText, 256), TextOfLength(256));
    EXPECT_EQ(auwText[256], 0xAAAA);

    OString sText;
    object.BuildErrorString(400, sText, nullptr, nullptr, nullptr);
    EXPECT_EQ(sText, TextOfLength(256));
}

TEST(OStringFormat, HasNoTextForAnIdBeyondEveryTable)
{
    OString sText(u"before");
    EXPECT_EQ(sText.LoadStringA(0x100000 + 19004), 0);
    EXPECT_EQ(sText, u"");
    EXPECT_EQ(sText.LoadStringA(0xFFFFFFFF), 0);
}

TEST(OStringFormat, TakesASmallPointerForAResourceId)
{
    OString sLoaded;
    sLoaded.LoadStringA(19004);
    EXPECT_EQ(OString(reinterpret_cast<const unsigned short*>(static_cast<ULONG_PTR>(19004))), sLoaded);
    EXPECT_EQ(OString(reinterpret_cast<const unsigned short*>(static_cast<ULONG_PTR>(0xFFFF))), u"");
}

TEST(OStringFormat, FormatsWithTheSystemsMessageFormatter)
{
    OString sText;
    sText.FormatMessageA(u"%1 before %2!d!", u"one", 2);
    EXPECT_EQ(sText, u"one before 2");
    sText.FormatMessageA(u"%2!s! %1!s!", u"b", u"a");
    EXPECT_EQ(sText, u"a b");
}

TEST(OStringFormat, RaisesTheMemoryExceptionForAMessageThatCannotBeFormatted)
{
    OString sText(u"kept");
    try
    {
        sText.FormatMessageA(u"%1!");
        FAIL() << "formatted " << testing::PrintToString(sText);
    }
    catch (CMemoryException* pEx)
    {
        pEx->Delete();
    }
    EXPECT_EQ(sText, u"kept");
    EXPECT_THROW(sText.FormatMessageA(7u), CMemoryException*); // no such text: an empty format makes no message
}

TEST(OStringFormat, PassesTheSystemsMessageCallThrough)
{
    OString sAny;
    unsigned short auwText[256] = {};
    const ULONG ulUnits =
        sAny.FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, 5, 0, auwText, 256, nullptr);
    EXPECT_GT(ulUnits, 2u);
    EXPECT_EQ(OString(auwText).GetLength(), static_cast<int>(ulUnits));
    EXPECT_EQ(OString(auwText).Right(2), u"\r\n");
}

TEST(OStringFormat, SubstitutesTheFirstOccurrenceFromAStart)
{
    OString sText(u"banana");
    EXPECT_EQ(sText.Substitute(u"a", u"XY", 2), 1);
    EXPECT_EQ(sText, u"banXYna");

    OString sAgain(u"banana");
    EXPECT_EQ(sAgain.Substitute(u"a", u"XY", 6), 0);
    EXPECT_EQ(sAgain.Substitute(u"q", u"XY", 0), 0);
    EXPECT_EQ(sAgain, u"banana");
    EXPECT_EQ(sAgain.Substitute(u"ban", u"XY", 0xFFFFFFFF), 0);
    EXPECT_EQ(sAgain.Substitute(u"ban", u"XY", 0x80000000), 0);
    EXPECT_EQ(sAgain, u"banana");
    EXPECT_EQ(sAgain.Substitute(u"nan", u"", 0), 1);
    EXPECT_EQ(sAgain, u"baa");
    EXPECT_EQ(sAgain.Substitute(sAgain, sAgain + sAgain, 0), 1);
    EXPECT_EQ(sAgain, u"baabaa");
}

TEST(OStringFormat, ConvertsToNarrowText)
{
    EXPECT_STREQ(OString(u"plasma").ConvertToMultiByte(), "plasma");
    EXPECT_STREQ(OString().ConvertToMultiByte(), "");
    EXPECT_EQ(OString(u'x', 8192).ConvertToMultiByte().GetLength(), 8192);
}

TEST(OStringFormat, RefusesToConvertWhatIsTooLong)
{
    EXPECT_STREQ(OString(u'x', 8193).ConvertToMultiByte(), "Error (1) from OString::ConvertToMultiByte");
    EXPECT_STREQ(OString(u'x', 9000).ConvertToMultiByte(), "Error (1) from OString::ConvertToMultiByte");
}

// A unit without a narrow form is met while the bytes are counted, or, where the runtime counts without looking, afterwards.
TEST(OStringFormat, HasAFixedTextForWhatHasNoNarrowForm)
{
    const CString sText = OString(u'\xD800', 1).ConvertToMultiByte();
    EXPECT_TRUE(sText == "Error (1) from OString::ConvertToMultiByte" || sText == "?") << static_cast<const char*>(sText);
}
