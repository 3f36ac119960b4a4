// Narrow text to units and back.
#include "FileHandle.h"
#include "OtherProcess.h"
#include "Program.h"
#include "Wine.h"
#include "WideText.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

constexpr UINT kuWestern = 1252;

static std::u16string ToWide(UINT uPage, const std::string& sText, DWORD ulFlags = 0)
{
    WCHAR auw[600];
    const int iUnits = MultiByteToWideChar(uPage, ulFlags, sText.c_str(), static_cast<int>(sText.size()), auw, 600);
    return Units(auw, static_cast<std::size_t>(iUnits));
}

static std::string ToNarrow(UINT uPage, const std::u16string& sText, DWORD ulFlags = 0, const char* pDefault = nullptr, BOOL* pbUsed = nullptr)
{
    char ac[600];
    const int iBytes = WideCharToMultiByte(uPage, ulFlags, W(sText.c_str()), static_cast<int>(sText.size()), ac, 600, pDefault, pbUsed);
    return std::string(ac, static_cast<std::size_t>(iBytes));
}

TEST(CodePage, AsciiIsTheSameInEveryPageAtEveryLength)
{
    for (std::size_t ulBytes = 1; ulBytes < 130; ++ulBytes)
    {
        std::string sText(ulBytes, ' ');
        for (std::size_t ul = 0; ul < ulBytes; ++ul) sText[ul] = static_cast<char>((ul * 37 + ulBytes) % 128);
        for (UINT uPage : {UINT(CP_ACP), UINT(CP_UTF8), kuWestern})
        {
            ASSERT_EQ(ToWide(uPage, sText), Widen(sText));
            ASSERT_EQ(ToNarrow(uPage, Widen(sText)), sText);
        }
    }
}

TEST(CodePage, TheNamelessPageIsTheOneThatTheSystemNames)
{
    const std::string sText = "\xC3\xA9 \xE2\x82\xAC \x80 \xFF";
    EXPECT_EQ(ToWide(CP_ACP, sText), ToWide(GetACP(), sText));
    EXPECT_EQ(ToWide(CP_THREAD_ACP, sText), ToWide(GetACP(), sText));
    EXPECT_EQ(ToNarrow(CP_ACP, u"\xE9\x20AC\x141"), ToNarrow(GetACP(), u"\xE9\x20AC\x141"));
}

TEST(CodePage, WellFormedUtf8GoesBothWays)
{
    const std::pair<std::string, std::u16string> kRows[] = {
        {"\x7F", u"\x7F"}, {"\xC2\x80", u"\x80"}, {"\xC3\xA9", u"\xE9"}, {"\xDF\xBF", u"\x7FF"}, {"\xE0\xA0\x80", u"\x800"},
        {"\xE2\x82\xAC", u"\x20AC"}, {"\xED\x9F\xBF", u"\xD7FF"}, {"\xEE\x80\x80", u"\xE000"}, {"\xEF\xBF\xBF", u"\xFFFF"},
        {"\xF0\x90\x80\x80", u"\xD800\xDC00"}, {"\xF0\x9F\x98\x80", u"\xD83D\xDE00"}, {"\xF4\x8F\xBF\xBF", u"\xDBFF\xDFFF"},
        {"The quick brown \xC3\xA9 fox jumps over the lazy d\xC3\xB6g", u"The quick brown \xE9 fox jumps over the lazy d\xF6" u"g"}};
    for (const auto& [sNarrow, sWide] : kRows)
    {
        EXPECT_EQ(ToWide(CP_UTF8, sNarrow), sWide);
        EXPECT_EQ(ToWide(CP_UTF8, sNarrow, MB_ERR_INVALID_CHARS), sWide);
        EXPECT_EQ(ToNarrow(CP_UTF8, sWide), sNarrow);
        EXPECT_EQ(ToNarrow(CP_UTF8, sWide, WC_ERR_INVALID_CHARS), sNarrow);
    }
}

TEST(CodePage, MalformedUtf8IsReplacedPieceByPiece)
{
    const std::pair<std::string, std::u16string> kRows[] = {
        {"\x80", u"\xFFFD"}, {"\xC3", u"\xFFFD"}, {"\xC3(", u"\xFFFD("}, {"\xE2\x82z", u"\xFFFDz"}, {"\xC0\xAF", u"\xFFFD\xFFFD"},
        {"\xE0\x80\x80", u"\xFFFD\xFFFD"}, {"\xED\xA0\x80", u"\xFFFD\xFFFD"}, {"\xF0\x80\x80\x80", u"\xFFFD\xFFFD\xFFFD"},
        {"\xF4\x90\x80\x80", u"\xFFFD\xFFFD\xFFFD"}, {"\xF5\x80\x80\x80", u"\xFFFD\xFFFD\xFFFD\xFFFD"}, {"\xFE\xFF", u"\xFFFD\xFFFD"},
        {"\xE2(\xA1", u"\xFFFD(\xFFFD"}, {"\xF0\x90(\xBC", u"\xFFFD(\xFFFD"},
        {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF" "AB", u"\xFFFD\xFFFD\xFFFD\xFFFD" u"AB"}};
    for (const auto& [sNarrow, sWide] : kRows)
    {
        EXPECT_EQ(ToWide(CP_UTF8, sNarrow), sWide) << ::testing::PrintToString(sNarrow);
        EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, sNarrow.c_str(), static_cast<int>(sNarrow.size()), nullptr, 0), static_cast<int>(sWide.size()));
        EXPECT_EQ(ErrorOf(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, sNarrow.c_str(), static_cast<int>(sNarrow.size()), nullptr, 0)),
                  DWORD(ERROR_NO_UNICODE_TRANSLATION));
    }
}

TEST(CodePage, ASequenceThatTheTextsEndBreaksOffTakesNothingWithIt)
{
    // Wine swallows what follows a lead byte when the text is too short for its sequence, the terminator too.
    EXPECT_EQ(ToWide(CP_UTF8, std::string("\xF0\x9F\0", 3)), WineSays<std::u16string>(u"\xFFFD", std::u16string(u"\xFFFD\0", 2)));
    EXPECT_EQ(ToWide(CP_UTF8, "\xE2" "A"), WineSays<std::u16string>(u"\xFFFD", u"\xFFFD" u"A"));
}

TEST(CodePage, HalfASurrogatePairIsReplacedOrRefused)
{
    for (const char16_t* pText : {u"x\xD83Dy", u"x\xDE00y"})
    {
        BOOL bUsed = FALSE;
        EXPECT_EQ(ToNarrow(CP_UTF8, pText, 0, nullptr, &bUsed), "x\xEF\xBF\xBDy");
        EXPECT_TRUE(bUsed);
        EXPECT_EQ(ErrorOf(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, W(pText), -1, nullptr, 0, nullptr, nullptr)),
                  DWORD(ERROR_NO_UNICODE_TRANSLATION));
    }
    EXPECT_EQ(ToNarrow(CP_UTF8, u"\xD83D\xD83D\xDE00"), "\xEF\xBF\xBD\xF0\x9F\x98\x80");
}

TEST(CodePage, EveryByteOfTheWesternPageHasAUnitAndComesBack)
{
    std::u16string sUpper;
    for (int i = 0; i < 256; ++i)
    {
        const std::string sByte(1, static_cast<char>(i));
        const std::u16string sUnit = ToWide(kuWestern, sByte, MB_ERR_INVALID_CHARS);
        ASSERT_EQ(sUnit.size(), 1u);
        ASSERT_EQ(ToNarrow(kuWestern, sUnit, WC_NO_BEST_FIT_CHARS), sByte);
        if (i < 0x80 || i >= 0xA0) ASSERT_EQ(sUnit[0], static_cast<char16_t>(i));
        else sUpper += sUnit;
    }
    EXPECT_EQ(sUpper, u"\x20AC\x81\x201A\x192\x201E\x2026\x2020\x2021\x2C6\x2030\x160\x2039\x152\x8D\x17D\x8F"
                      u"\x90\x2018\x2019\x201C\x201D\x2022\x2013\x2014\x2DC\x2122\x161\x203A\x153\x9D\x17E\x178");
}

TEST(CodePage, TheWesternPageTakesLookAlikesUnlessToldNotTo)
{
    const std::u16string sText = u"a\xE9\x20AC\x141\x3B1\xFF21\x221E\x30FB";
    BOOL bUsed = TRUE;
    EXPECT_EQ(ToNarrow(kuWestern, sText, 0, nullptr, &bUsed), "a\xE9\x80LaA8\xB7");
    EXPECT_FALSE(bUsed);
    EXPECT_EQ(ToNarrow(kuWestern, sText, WC_NO_BEST_FIT_CHARS, nullptr, &bUsed), "a\xE9\x80?????");
    EXPECT_TRUE(bUsed);
}

TEST(CodePage, AllUnitsFindTheirPlaceInTheWesternPage)
{
    // Over all bytes and marks of what was replaced; one number for the whole published table.
    unsigned uSum = 2166136261u, uKept = 0;
    for (unsigned u = 0; u < 0x10000; ++u)
    {
        const WCHAR uw = static_cast<WCHAR>(u);
        for (DWORD ulFlags : {0, WC_NO_BEST_FIT_CHARS})
        {
            char c = 0;
            BOOL bUsed = FALSE;
            ASSERT_EQ(WideCharToMultiByte(kuWestern, ulFlags, &uw, 1, &c, 1, nullptr, &bUsed), 1);
            ASSERT_EQ(bUsed != FALSE, bUsed && c == '?') << u;
            uSum = (uSum ^ static_cast<unsigned char>(c)) * 16777619u;
            uKept += !bUsed;
        }
    }
    EXPECT_EQ(uKept, 256u + 256u + 441u);
    EXPECT_EQ(uSum, 0x464FD8A1u);
}

TEST(CodePage, TheCallerMayNameTheDefault)
{
    BOOL bUsed = FALSE;
    EXPECT_EQ(ToNarrow(kuWestern, u"a\x4E00z", 0, "*", &bUsed), "a*z");
    EXPECT_TRUE(bUsed);
    EXPECT_EQ(ToNarrow(kuWestern, u"a\x4E00z", 0, "", nullptr), std::string("a\0z", 3));
    EXPECT_EQ(ToNarrow(kuWestern, u"a\xD83D\xDE00z"), "a??z");
}

TEST(CodePage, ALengthBelowZeroCountsTheTerminatorIn)
{
    char ac[16];
    WCHAR auw[16];
    for (UINT uPage : {UINT(CP_UTF8), kuWestern})
    {
        EXPECT_EQ(MultiByteToWideChar(uPage, 0, "abc", -1, auw, 16), 4);
        EXPECT_EQ(Units(auw, 4), std::u16string(u"abc\0", 4));
        EXPECT_EQ(MultiByteToWideChar(uPage, 0, "abc", -7, nullptr, 0), 4);
        EXPECT_EQ(MultiByteToWideChar(uPage, 0, "a\0b", 3, auw, 16), 3);
        EXPECT_EQ(WideCharToMultiByte(uPage, 0, W(u"abc"), -1, ac, 16, nullptr, nullptr), 4);
        EXPECT_EQ(std::string(ac, 4), std::string("abc\0", 4));
        EXPECT_EQ(WideCharToMultiByte(uPage, 0, W(u"a\xE9"), -1, nullptr, 0, nullptr, nullptr), uPage == CP_UTF8 ? 4 : 3);
    }
}

TEST(CodePage, TooLittleRoomIsAnErrorAndTakesWhatFits)
{
    for (UINT uPage : {UINT(CP_UTF8), kuWestern})
    {
        WCHAR auw[3] = {9, 9, 9};
        EXPECT_EQ(ErrorOf(MultiByteToWideChar(uPage, 0, "abc", -1, auw, 2)), DWORD(ERROR_INSUFFICIENT_BUFFER));
        EXPECT_EQ(Units(auw, 3), std::u16string(u"ab\t"));
        char ac[3] = {9, 9, 9};
        EXPECT_EQ(ErrorOf(WideCharToMultiByte(uPage, 0, W(u"abc"), -1, ac, 2, nullptr, nullptr)), DWORD(ERROR_INSUFFICIENT_BUFFER));
        EXPECT_EQ(std::string(ac, 3), "ab\t");
    }
    char ac[6] = "-----";
    EXPECT_EQ(ErrorOf(WideCharToMultiByte(CP_UTF8, 0, W(u"a\xE9\x20AC"), -1, ac, 5, nullptr, nullptr)), DWORD(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_STREQ(ac, "a\xC3\xA9--") << "never half a character";
}

TEST(CodePage, WrongArgumentsAreRefused)
{
    WCHAR auw[4];
    char ac[4];
    const auto toWide = [&](UINT uPage, DWORD ulFlags, const char* pText, int iBytes, WCHAR* pTo, int iRoom)
    { return ErrorOf(MultiByteToWideChar(uPage, ulFlags, pText, iBytes, pTo, iRoom)); };
    EXPECT_EQ(toWide(CP_UTF8, 0, nullptr, -1, auw, 4), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(toWide(CP_UTF8, 0, "a", 0, auw, 4), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(toWide(CP_UTF8, 0, "a", -1, auw, -1), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(toWide(CP_UTF8, 0, "a", -1, nullptr, 4), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(toWide(12345, 0, "a", -1, auw, 4), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(toWide(CP_UTF8, 0x100, "a", -1, auw, 4), DWORD(ERROR_INVALID_FLAGS));
    EXPECT_EQ(toWide(kuWestern, 0x100, "a", -1, auw, 4), DWORD(ERROR_INVALID_FLAGS));

    const auto toNarrow = [&](UINT uPage, DWORD ulFlags, const WCHAR* pText, int iUnits, char* pTo, int iRoom)
    { return ErrorOf(WideCharToMultiByte(uPage, ulFlags, pText, iUnits, pTo, iRoom, nullptr, nullptr)); };
    EXPECT_EQ(toNarrow(CP_UTF8, 0, nullptr, -1, ac, 4), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(toNarrow(CP_UTF8, 0, W(u"a"), 0, ac, 4), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(toNarrow(kuWestern, 0, W(u"a"), -1, ac, -2), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(toNarrow(kuWestern, 0, W(u"a"), -1, nullptr, 4), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(toNarrow(12345, 0, W(u"a"), -1, ac, 4), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(toNarrow(CP_UTF8, 0x8, W(u"a"), -1, ac, 4), DWORD(ERROR_INVALID_FLAGS));
}

TEST(NarrowPage, TheRuntimesConversionCountsWithoutTheTerminator)
{
    char ac[8] = "-------";
    EXPECT_EQ(wcstombs(nullptr, W(u"abc"), 0), 3u);
    EXPECT_EQ(wcstombs(ac, W(u"abc"), 8), 3u);
    EXPECT_STREQ(ac, "abc");
    EXPECT_EQ(wcstombs(ac, W(u"xyz"), 2), 2u);
    EXPECT_STREQ(ac, "xyc") << "no terminator where there is no room for it";
    EXPECT_EQ(wcstombs(ac, W(u"abc"), 0), 0u);
}

TEST(NarrowPage, TheRuntimeRefusesWhatItCannotConvert)
{
    char ac[8] = "-------";
    EXPECT_EQ(wcstombs(ac, W(u"ab\xD83D"), 8), static_cast<std::size_t>(-1));
    EXPECT_EQ(std::string(ac, 3), "ab-");
    // In its C locale the Windows runtime only counts units here.
    EXPECT_EQ(wcstombs(nullptr, W(u"ab\xD83D"), 0), WineSays(std::size_t(3), static_cast<std::size_t>(-1)));
}

// A program of an older installation, whose narrow page is the Western one.
static std::string AnswerOlder(const std::string& sOrder)
{
    if (sOrder == "page") return std::to_string(GetACP());
    if (sOrder == "wide") return ToWide(CP_ACP, "\x80\xE9") == u"\x20AC\xE9" ? "right" : "wrong";
    if (sOrder == "narrow") return ToNarrow(CP_ACP, u"\x20AC\x141") == "\x80L" ? "right" : "wrong";
    char ac[8] = "";
    const std::size_t ulBytes = wcstombs(ac, W(u"\xE9t\xE9"), 8);
    return ulBytes == 3 && std::string(ac) == "\xE9t\xE9" ? "right" : "wrong";
}
static const OtherRole kOlder("older", AnswerOlder);

TEST(NarrowPage, IsTheWesternOneWhenTheProgramIsStartedSo)
{
    SetForPrograms("LUMBASE_ACP", "1252"); // on Windows it is the system's page that counts, and it is this one
    OtherProcess older("older");
    SetForPrograms("LUMBASE_ACP", "");
    EXPECT_EQ(older.Ask("page"), "1252");
    EXPECT_EQ(older.Ask("wide"), "right");
    EXPECT_EQ(older.Ask("narrow"), "right");
    EXPECT_EQ(older.Ask("runtime"), "right");
}
