// Wide text and the narrow calls of the runtime.
#include "PageEnd.h"
#include "WideText.h"
#include "Wine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

static int Sign(int i) { return (i > 0) - (i < 0); }
static int Sign(const std::u16string& sA, const std::u16string& sB) { return Sign(sA.compare(sB)); }

// A text of few different units, so that parts of it repeat.
static std::u16string RandomText(ORepeatable& random, unsigned uMost, const char16_t* pAlphabet = u"abc")
{
    const std::u16string_view alphabet = pAlphabet;
    std::u16string sText(random.Below(uMost + 1), u' ');
    for (char16_t& c : sText) c = alphabet[random.Below(static_cast<unsigned>(alphabet.size()))];
    return sText;
}

TEST(WideText, LengthIsFoundWhereverTheTextEnds)
{
    OPageEnd page;
    for (std::size_t ulUnits = 0; ulUnits < 600; ++ulUnits)
    {
        const std::u16string sText(ulUnits, u'\xFF00'); // a zero byte in every unit
        ASSERT_EQ(wcslen(W(sText.c_str())), ulUnits);
        ASSERT_EQ(wcslen(W(page.Put(sText.c_str(), ulUnits + 1))), ulUnits);
    }
}

TEST(WideText, AUnitIsFoundWhereverItStands)
{
    OPageEnd page;
    for (std::size_t ulUnits = 1; ulUnits < 100; ++ulUnits)
    {
        for (std::size_t ulPlace = 0; ulPlace < ulUnits; ++ulPlace)
        {
            std::u16string sText(ulUnits, u'a');
            sText[ulPlace] = u'\x141';
            const WCHAR* pText = W(page.Put(sText.c_str(), ulUnits + 1));
            ASSERT_EQ(wcschr(pText, 0x141), pText + ulPlace);
            ASSERT_EQ(wcsrchr(pText, 0x141), pText + ulPlace);
            ASSERT_EQ(wcschr(pText, 'a'), ulUnits == 1 ? nullptr : pText + (ulPlace == 0));
            ASSERT_EQ(wcsrchr(pText, 'a'), ulUnits == 1 ? nullptr : pText + ulUnits - 1 - (ulPlace == ulUnits - 1));
            ASSERT_EQ(wcschr(pText, 0x41), nullptr);
            ASSERT_EQ(wcsrchr(pText, 0x41), nullptr);
        }
    }
}

TEST(WideText, TheTerminatorCanBeLookedFor)
{
    const WCHAR* pText = W(u"abc");
    EXPECT_EQ(wcschr(pText, 0), pText + 3);
    EXPECT_EQ(wcsrchr(pText, 0), pText + 3);
}

TEST(WideText, NothingIsFoundBehindTheTerminator)
{
    const WCHAR* pText = W(u"abc\0xyz");
    EXPECT_EQ(wcschr(pText, 'y'), nullptr);
    EXPECT_EQ(wcsrchr(pText, 'y'), nullptr);
    EXPECT_EQ(wcsstr(pText, W(u"xy")), nullptr);
    EXPECT_EQ(wcspbrk(pText, W(u"xyz")), nullptr);
}

TEST(WideText, ComparisonSeesEveryUnit)
{
    OPageEnd pageA, pageB;
    for (std::size_t ulUnits = 0; ulUnits < 200; ++ulUnits)
    {
        const std::u16string sA(ulUnits, u'm');
        const WCHAR* pA = W(pageA.Put(sA.c_str(), ulUnits + 1));
        ASSERT_EQ(wcscmp(pA, W(sA.c_str())), 0);
        ASSERT_EQ(wcscmp(pA, W(pageB.Put(sA.c_str(), ulUnits + 1))), 0);
        ASSERT_EQ(wcscmp(pA, W((sA + u'm').c_str())), -1);
        ASSERT_EQ(wcscmp(W((sA + u'm').c_str()), pA), 1);
        for (std::size_t ulPlace = 0; ulPlace < ulUnits; ++ulPlace)
        {
            std::u16string sB = sA;
            sB[ulPlace] = u'l';
            ASSERT_EQ(wcscmp(pA, W(sB.c_str())), 1);
            sB[ulPlace] = u'\xFFFF';
            ASSERT_EQ(wcscmp(pA, W(pageB.Put(sB.c_str(), ulUnits + 1))), -1);
        }
    }
}

TEST(WideText, ComparisonCrossesPagesAtDifferentPlaces)
{
    std::u16string sText(20000, u'q');
    for (std::size_t ulShift = 0; ulShift < 40; ++ulShift)
    {
        const std::u16string sA = sText;
        std::u16string sB = std::u16string(ulShift, u' ') + sText;
        ASSERT_EQ(wcscmp(W(sA.c_str()), W(sB.c_str() + ulShift)), 0);
        sB[ulShift + 19999] = u'r';
        ASSERT_EQ(wcscmp(W(sA.c_str()), W(sB.c_str() + ulShift)), -1);
    }
}

TEST(WideText, ComparesAsUnitsDo)
{
    ORepeatable random;
    for (int i = 0; i < 5000; ++i)
    {
        const std::u16string sA = RandomText(random, 6, u"aA\x7FFF\x8000"), sB = RandomText(random, 6, u"aA\x7FFF\x8000");
        ASSERT_EQ(wcscmp(W(sA.c_str()), W(sB.c_str())), Sign(sA, sB));
        ASSERT_EQ(wcscoll(W(sA.c_str()), W(sB.c_str())), Sign(sA, sB)) << "the runtime's locale is C";
        const unsigned uUnits = random.Below(7);
        ASSERT_EQ(Sign(wcsncmp(W(sA.c_str()), W(sB.c_str()), uUnits)), Sign(sA.substr(0, uUnits), sB.substr(0, uUnits)));
    }
}

TEST(WideText, BoundedComparisonGivesTheDifference)
{
    EXPECT_EQ(wcsncmp(W(u"abcz"), W(u"abca"), 4), 25);
    EXPECT_EQ(wcsncmp(W(u"abcz"), W(u"abca"), 3), 0);
    EXPECT_EQ(wcsncmp(W(u"a"), W(u"b"), 0), 0);
}

TEST(WideText, OnlyAsciiLettersHaveCase)
{
    for (unsigned u = 1; u < 0x10000; ++u)
    {
        WCHAR auwText[2] = {static_cast<WCHAR>(u), 0};
        ASSERT_EQ(_wcsupr(auwText)[0], u >= 'a' && u <= 'z' ? u - 32 : u);
        auwText[0] = static_cast<WCHAR>(u);
        ASSERT_EQ(_wcslwr(auwText)[0], u >= 'A' && u <= 'Z' ? u + 32 : u);
    }
}

TEST(WideText, ComparisonWithoutCaseGivesTheDifferenceOfSmallLetters)
{
    EXPECT_EQ(_wcsicmp(W(u"Plasma"), W(u"pLASMA")), 0);
    EXPECT_EQ(_wcsicmp(W(u"A"), W(u"z")), -25);
    EXPECT_EQ(_wcsicmp(W(u"_"), W(u"A")), '_' - 'a');
    EXPECT_EQ(_wcsicmp(W(u"\xE9"), W(u"\xC9")), 0x20);
    EXPECT_EQ(_wcsicmp(W(u"\x141"), W(u"\x142")), -1);
    EXPECT_EQ(_wcsicmp(W(u"ab"), W(u"ABc")), -'c');
    EXPECT_EQ(_wcsnicmp(W(u"abX"), W(u"ABy"), 2), 0);
    EXPECT_EQ(_wcsnicmp(W(u"abX"), W(u"ABy"), 3), -1);
    EXPECT_EQ(_wcsnicmp(W(u"AB"), W(u"abc"), 5), -'c');
    EXPECT_EQ(_wcsnicmp(W(u"a"), W(u"b"), 0), 0);
}

TEST(WideText, FindsATextAsASlowSearchWould)
{
    ORepeatable random;
    OPageEnd page;
    for (int i = 0; i < 20000; ++i)
    {
        const std::u16string sText = u"b" + RandomText(random, 200, u"ab"), sFind = RandomText(random, i % 5 ? 8 : 40, u"ab");
        const WCHAR* pText = W(page.Put(sText.c_str(), sText.size() + 1));
        const WCHAR* pFound = wcsstr(pText, W(sFind.c_str()));
        const std::size_t ulWanted = sText.find(sFind);
        ASSERT_EQ(pFound, ulWanted == std::u16string::npos ? nullptr : pText + ulWanted);
    }
}

TEST(WideText, FindsATextFarBehind)
{
    ORepeatable random;
    std::u16string sText = RandomText(random, 0);
    while (sText.size() < 10000) sText += RandomText(random, 100);
    for (const char16_t* pFind : {u"d", u"cd", u"0123456789", u"aaaaaaaaad", u"daaaaaaaaa"})
    {
        EXPECT_EQ(wcsstr(W(sText.c_str()), W(pFind)), nullptr);
        for (std::size_t ulPlace : {0u, 255u, 256u, 257u, 511u, 4095u, 9000u})
        {
            std::u16string sWith = sText;
            sWith.insert(ulPlace, pFind);
            ASSERT_EQ(wcsstr(W(sWith.c_str()), W(pFind)), W(sWith.c_str()) + sWith.find(pFind));
        }
        const std::u16string sEnd = sText + pFind;
        EXPECT_EQ(wcsstr(W(sEnd.c_str()), W(pFind)), W(sEnd.c_str()) + sText.size());
    }
}

TEST(WideText, AnEmptyTextIsFoundAtTheStart)
{
    const WCHAR* pText = W(u"abc");
    EXPECT_EQ(wcsstr(pText, W(u"")), pText);
    EXPECT_EQ(wcsstr(W(u""), W(u"a")), nullptr);
    const WCHAR* pNothing = W(u"");
    EXPECT_EQ(wcsstr(pNothing, pNothing), WineSays<const WCHAR*>(nullptr, pNothing)); // does not look for nothing in nothing
}

TEST(WideText, SpansOfASetEndWhereTheSetEnds)
{
    ORepeatable random;
    for (int i = 0; i < 5000; ++i)
    {
        const std::u16string sText = RandomText(random, 12, u"aba\x161"), sSet = RandomText(random, 3, u"ab\x161\x261");
        const std::size_t ulIn = std::min(sText.find_first_not_of(sSet), sText.size());
        const std::size_t ulOut = std::min(sText.find_first_of(sSet), sText.size());
        ASSERT_EQ(wcsspn(W(sText.c_str()), W(sSet.c_str())), ulIn);
        ASSERT_EQ(wcscspn(W(sText.c_str()), W(sSet.c_str())), ulOut);
        ASSERT_EQ(wcspbrk(W(sText.c_str()), W(sSet.c_str())), ulOut == sText.size() ? nullptr : W(sText.c_str()) + ulOut);
    }
}

TEST(WideText, CopiesFillUpAndCutAsTheRuntimeDoes)
{
    char16_t acTo[6] = u"99999";
    EXPECT_EQ(wcsncpy(W(acTo), W(u"ab"), 4), W(acTo));
    EXPECT_EQ(std::u16string(acTo, 6), std::u16string(u"ab\0\0" u"9\0", 6));
    wcsncpy(W(acTo), W(u"abcdef"), 3);
    EXPECT_EQ(std::u16string(acTo, 6), std::u16string(u"abc\0" u"9\0", 6));
    EXPECT_EQ(wcscpy(W(acTo), W(u"xyz")), W(acTo));
    EXPECT_EQ(std::u16string(acTo), u"xyz");
}

TEST(WideText, IsReversedUnitByUnit)
{
    for (const std::u16string sText : {u"", u"a", u"ab", u"abc", u"\xD83D\xDE00x"})
    {
        std::u16string sTurned = sText;
        EXPECT_EQ(_wcsrev(W(sTurned.data())), W(sTurned.data()));
        EXPECT_EQ(sTurned, std::u16string(sText.rbegin(), sText.rend()));
    }
}

TEST(WideText, IsReadAsANumber)
{
    const std::vector<std::pair<std::u16string, int>> kRows = {
        {u"", 0}, {u"12", 12}, {u"-5", -5}, {u"+7", 7}, {u" \t\n\v\f\r12a", 12}, {u"- 5", 0}, {u"--5", 0}, {u"0x10", 0}, {u"x", 0},
        {u"2147483647", 2147483647}, {u"2147483648", 2147483647}, {u"-2147483648", -2147483647 - 1}, {u"-2147483649", -2147483647 - 1},
        {u"18446744073709551616", 2147483647}, {u"\xA0\x3000" u"12", 12}, {u"\x0663\x0664", 34}, {u"\xFF11" u"2", 12}, {u"\x85" u"1", 0}};
    for (const auto& [sText, iNumber] : kRows) EXPECT_EQ(_wtoi(W(sText.c_str())), iNumber) << ::testing::PrintToString(sText);
}

TEST(WideText, KnowsTheSpacesAndDigitsOfTheRuntime)
{
    std::u16string sSpaces, sOnes;
    for (char16_t c = 1; c; ++c)
    {
        const std::u16string sBefore{c, u'7'}, sAlone{c};
        const bool bSign = c == u'-' || c == u'+';
        if (!bSign && _wtoi(W(sAlone.c_str())) == 0 && _wtoi(W(sBefore.c_str())) == 7) sSpaces += c;
        if (_wtoi(W(sAlone.c_str())) == 1) sOnes += c;
    }
    EXPECT_EQ(sOnes, u"1\x661\x6F1\x967\x9E7\xA67\xAE7\xB67\xC67\xCE7\xD67\xE51\xED1\xF21\x1041\x17E1\x1811\xFF11");
    std::erase_if(sSpaces, [](char16_t c) { return _wtoi(W(std::u16string{u'1', c}.c_str())) == 10; }); // the zeros
    EXPECT_EQ(sSpaces, u"\t\n\v\f\r \xA0\x1680\x2000\x2001\x2002\x2003\x2004\x2005\x2006\x2007\x2008\x2009\x200A\x2028\x2029\x202F"
                       u"\x205F\x3000");
}

// The answers are those of the Western page; another page of the system would give others there, but not here.
TEST(MultiByteTest, KnowsSpacesAndDigitsAmongAllUnits)
{
    for (unsigned u = 0; u < 0x10000; ++u)
    {
        ASSERT_EQ(_ismbcspace(u), (u >= 9 && u <= 13) || u == 0x20 || u == 0xA0 ? 8 : 0) << u;
        ASSERT_EQ(_ismbcdigit(u), (u >= '0' && u <= '9') || u == 0xB2 || u == 0xB3 || u == 0xB9 ? 4 : 0) << u;
    }
}

TEST(NarrowText, ComparesWithoutCaseByteByByte)
{
    EXPECT_EQ(_stricmp("Torch", "tORCH"), 0);
    EXPECT_EQ(_stricmp("A", "z"), -25);
    EXPECT_EQ(_stricmp("_", "A"), '_' - 'a');
    EXPECT_EQ(_stricmp("\xE9", "\xC9"), 0x20);
    EXPECT_EQ(_stricmp("\xE9", "z"), WineSays(0xE9 - 256 - 'z', 0xE9 - 'z')); // bytes have a sign there
    EXPECT_EQ(_strnicmp("Abc", "aBd", 2), 0);
    EXPECT_EQ(_strnicmp("Abc", "aBd", 3), -1);
    EXPECT_EQ(_strnicmp("a", "b", 0), 0);
}

TEST(NarrowText, MultiByteComparisonGivesASign)
{
    const auto compare = [](const char* pA, const char* pB)
    { return _mbscmp(reinterpret_cast<const unsigned char*>(pA), reinterpret_cast<const unsigned char*>(pB)); };
    EXPECT_EQ(compare("a", "z"), -1);
    EXPECT_EQ(compare("z", "a"), 1);
    EXPECT_EQ(compare("same", "same"), 0);
    EXPECT_EQ(compare("\xE9", "z"), 1);
    EXPECT_EQ(compare("a", "ab"), -1);
}

TEST(NarrowText, NumbersAreWrittenInAnyBase)
{
    char acText[33];
    EXPECT_STREQ(_itoa(0, acText, 10), "0");
    EXPECT_STREQ(_itoa(-2147483647 - 1, acText, 10), "-2147483648");
    EXPECT_STREQ(_itoa(123456789, acText, 10), "123456789");
    EXPECT_STREQ(_itoa(-1, acText, 16), "ffffffff");
    EXPECT_STREQ(_itoa(-1, acText, 2), "11111111111111111111111111111111");
    EXPECT_STREQ(_itoa(123456789, acText, 36), "21i3v9");
    EXPECT_STREQ(_itoa(-2147483647 - 1, acText, 8), "20000000000");
}

TEST(NarrowText, NoTextHasNoLength)
{
    EXPECT_EQ(lstrlenA(nullptr), 0);
    EXPECT_EQ(lstrlenA(""), 0);
    EXPECT_EQ(lstrlenA("\xC3\xA9t"), 3);
}
