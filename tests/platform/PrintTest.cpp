// printf formatting, narrow and wide by the same statements.
#include "WideText.h"
#include "Wine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdarg>
#include <limits>
#include <vector>

// What both formatters make of a format and arguments that mean the same to both; "(differ)" when they do not agree.
template <class... Args>
static std::string Print(const std::string& sFormat, Args... args)
{
    static char acText[3000];
    static WCHAR auwText[3000];
    const int iNarrow = _snprintf(acText, 3000, sFormat.c_str(), args...);
    const int iWide = _snwprintf(auwText, 3000, W(Widen(sFormat).c_str()), args...);
    if (iNarrow != iWide) return "(differ)";
    if (iNarrow < 0) return "(" + std::to_string(iNarrow) + ")";
    const std::string sText(acText, static_cast<std::size_t>(iNarrow));
    return Widen(sText) == Units(auwText, sText.size()) ? sText : "(differ)";
}

template <class... Args>
static std::u16string PrintWide(const char16_t* pFormat, Args... args)
{
    WCHAR auwText[600];
    const int iUnits = _snwprintf(auwText, 600, W(pFormat), args...);
    return iUnits < 0 ? u"(-1)" : Units(auwText, static_cast<std::size_t>(iUnits));
}

template <class... Args>
static std::string PrintNarrow(const char* pFormat, Args... args)
{
    char acText[600];
    const int iBytes = _snprintf(acText, 600, pFormat, args...);
    return iBytes < 0 ? "(-1)" : std::string(acText, static_cast<std::size_t>(iBytes));
}

constexpr double kdInfinity = std::numeric_limits<double>::infinity();
constexpr double kdNoNumber = std::numeric_limits<double>::quiet_NaN();

TEST(Print, IntegersTakeFlagsWidthAndPrecision)
{
    EXPECT_EQ(Print("%d %i %u %x %X %o", 42, -42, 42, 255, 255, 8), "42 -42 42 ff FF 10");
    EXPECT_EQ(Print("%5d|%-5d|%05d|%+d|% d|", 5, 5, 5, 5, 5), "    5|5    |00005|+5| 5|");
    EXPECT_EQ(Print("%.3d|%5.3d|%-5.3d|%+.3d|", 5, 5, 5, 5), "005|  005|005  |+005|");
    EXPECT_EQ(PrintNarrow("%30.20d|%.40x", 42, 255), "          00000000000000000042|00000000000000000000000000000000000000ff");
    EXPECT_EQ(Print("%.0d|%.d|%+.0d|% .0d|%.0x|", 0, 0, 0, 0, 0), "||+| ||");
    EXPECT_EQ(Print("%#x %#X %#o %#x %#o", 255, 255, 8, 0, 0), "0xff 0XFF 010 0 0");
    EXPECT_EQ(Print("%#.0x|%#.0o|%#.3o|%#5x|%#08x", 0, 0, 5, 255, 255), "||005| 0xff|0x0000ff");
    EXPECT_EQ(Print("%x %u", -1, -1), "ffffffff 4294967295");
    EXPECT_EQ(Print("%-05d|%0-5d|%+ d|% +d|", 5, 5, 5, 5), "5    |5    |+5|+5|");
    EXPECT_EQ(Print("%+u %+x % o", 5, 5, 5), "5 5 5");
}

TEST(Print, ZerosPadIntegersEvenBesideAPrecision)
{
    EXPECT_EQ(Print("%05.3d|%010.5d|%#010.5x|", 5, -42, 42), "00005|-000000042|0x0000002a|");
}

TEST(Print, SizesSayHowWideAnIntegerIs)
{
    const LONGLONG llBig = LONGLONG(1) << 40;
    for (const char* pSize : {"I64", "ll", "j", "I", "z", "t", "hI64", "I64h", "llh"})
    {
        const std::string sFormat = std::string("%") + pSize + "d";
        EXPECT_EQ(Print(sFormat, llBig), "1099511627776") << sFormat;
    }
    for (const char* pSize : {"", "l", "L", "I32", "w", "F", "N", "hl"})
    {
        const std::string sFormat = std::string("%") + pSize + "d";
        EXPECT_EQ(Print(sFormat, 70000 + llBig), "70000") << sFormat;
    }
    for (const char* pSize : {"h", "hh", "lh", "hN", "hw"})
    {
        const std::string sFormat = std::string("%") + pSize + "d";
        EXPECT_EQ(Print(sFormat, 70000), "4464") << sFormat;
    }
    EXPECT_EQ(Print("%I64x %I64u %I64o", -1LL, -1LL, -1LL), "ffffffffffffffff 18446744073709551615 1777777777777777777777");
    EXPECT_EQ(Print("%hu %hx %hd", -1, -1, 32768), "65535 ffff -32768");
}

TEST(Print, ASizeWithoutItsConversionIsNone)
{
    EXPECT_EQ(Print("%I", 5), "I");
    EXPECT_EQ(Print("%I6d|", 5), "I6d|");
    EXPECT_EQ(Print("%zs|%Ip|%tI|", 5), "zs|Ip|tI|");
    EXPECT_EQ(Print("%I64|", 5), "|");
}

TEST(Print, ExponentsHaveThreeDigits)
{
    EXPECT_EQ(Print("%e %E %g %G", 1.5, 1.5, 1e10, 1e-10), "1.500000e+000 1.500000E+000 1e+010 1E-010");
    EXPECT_EQ(Print("%e %e %.0e %#.0e", 1e100, 5e-324, 2.5, 2.5), "1.000000e+100 4.940656e-324 3e+000 3.e+000");
}

TEST(Print, DoublesAreRoundedFromAllTheirDigitsAndHalvesAway)
{
    EXPECT_EQ(Print("%.0f %.0f %.0f %.0f", 0.5, 1.5, 2.5, 9.5), "1 2 3 10");
    EXPECT_EQ(Print("%.1f %.1f %.2f %.3f", 0.25, 0.35, 1.005, 0.0005), "0.3 0.3 1.00 0.001");
    EXPECT_EQ(Print("%.3e %.1e %.1g %.2g", 12345.0, 1.25, 0.25, 99.5), "1.235e+004 1.3e+000 0.3 1e+002");
    EXPECT_EQ(Print("%.60f", 0.1), "0.100000000000000005551115123125782702118158340454101562500000");
    EXPECT_EQ(Print("%.0f", 1e23), "99999999999999991611392");
    EXPECT_EQ(Print("%.20g", 5e-324), "4.9406564584124654418e-324");
    EXPECT_EQ(Print("%.15g %.17g", 0.1, 0.1), "0.1 0.10000000000000001");
    EXPECT_EQ(Print("%.*f", 2, 14.5), "14.50");
}

TEST(Print, GeneralFormatDropsZerosUnlessToldNotTo)
{
    EXPECT_EQ(Print("%g %g %g %g %g", 100000.0, 1000000.0, 0.0001, 0.00001, 0.0), "100000 1e+006 0.0001 1e-005 0");
    EXPECT_EQ(Print("%#g %#g %#.3g %#.0g", 0.0, 1e10, 1.0, 2.0), "0.00000 1.00000e+010 1.00 2.");
    EXPECT_EQ(Print("%g %g %.0g %.1g", 999999.5, 9999995.0, 25.0, 25.0), "1e+006 1e+007 3e+001 3e+001");
}

TEST(Print, DoublesTakeFlagsAndWidth)
{
    EXPECT_EQ(Print("%8.2f|%-8.2f|%08.2f|%+.1f|% .1f|", 3.14159, 3.14159, -3.14159, 1.0, 1.0), "    3.14|3.14    |-0003.14|+1.0| 1.0|");
    EXPECT_EQ(Print("%#.0f|%.0f|%+e|%f", 2.5, 2.5, 0.0, -0.0), "3.|3|+0.000000e+000|-0.000000");
    EXPECT_EQ(Print("%Lf %lf %hf %I64f", 1.5, 1.5, 1.5, 1.5), "1.500000 1.500000 1.500000 1.500000");
}

TEST(Print, WhatIsNoNumberLooksLikeOne)
{
    EXPECT_EQ(Print("%f %f %f %f", kdInfinity, -kdInfinity, kdNoNumber, -kdNoNumber), "1.#INF00 -1.#INF00 1.#QNAN0 -1.#IND00");
    EXPECT_EQ(Print("%e %g %G", kdInfinity, kdInfinity, kdNoNumber), "1.#INF00e+000 1.#INF 1.#QNAN");
    EXPECT_EQ(Print("%.0f %.1f %.2f %.3f", kdInfinity, kdInfinity, kdInfinity, kdInfinity), "1 1.$ 1.#J 1.#IO");
    EXPECT_EQ(Print("%.2f %.3f %.4f", kdNoNumber, kdNoNumber, kdNoNumber), "1.#R 1.#QO 1.#QNB");
    EXPECT_EQ(Print("%10f|%010f|%+f", kdInfinity, kdInfinity, kdInfinity), "  1.#INF00|001.#INF00|+1.#INF00");
    // Wine pads behind the zeros it leaves out.
    EXPECT_EQ(Print("%-10f|", kdInfinity), WineSays("1.#INF    |", "1.#INF00  |"));
}

TEST(Print, HexadecimalDoublesHaveAllTheirDigits)
{
    EXPECT_EQ(Print("%a %A %a %a", 1.5, -1.5, 0.0, 1024.0), "0x1.8000000000000p+0 -0X1.8000000000000P+0 0x0.0000000000000p+0 0x1.0000000000000p+10");
    EXPECT_EQ(Print("%.2a %.0a %#.0a %.20a", 1.999, 1.5, 1.0, 1.5), "0x2.00p+0 0x2p+0 0x1.p+0 0x1.80000000000000000000p+0");
    EXPECT_EQ(Print("%a %a", 5e-324, kdInfinity), "0x0.0000000000001p-1022 0x1.#INF000000000p+0");
    EXPECT_EQ(Print("%25a|%025a|", 1.5, 1.5), "     0x1.8000000000000p+0|0x000001.8000000000000p+0|");
    // Wine pads before the exponent.
    EXPECT_EQ(Print("%-25a|", 1.5), WineSays("0x1.8000000000000     p+0|", "0x1.8000000000000p+0     |"));
}

TEST(Print, PointersHaveSixteenDigits)
{
    void* const pSomewhere = reinterpret_cast<void*>(0x12ABCD);
    EXPECT_EQ(Print("%p %p", pSomewhere, nullptr), "000000000012ABCD 0000000000000000");
    EXPECT_EQ(Print("%20p|%-20p|%020p|%#p", pSomewhere, pSomewhere, pSomewhere, pSomewhere),
              "    000000000012ABCD|000000000012ABCD    |    000000000012ABCD|0X000000000012ABCD");
    EXPECT_EQ(Print("%hp %lp %.4p", pSomewhere, pSomewhere, pSomewhere), "000000000012ABCD 000000000012ABCD 0000");
}

TEST(Print, TextIsOfTheFormatsWidthAndCapitalsMeanTheOther)
{
    EXPECT_EQ(PrintNarrow("%s %hs %S %ls %ws %lS", "a", "b", W(u"c"), W(u"d"), W(u"e"), W(u"f")), "a b c d e f");
    EXPECT_EQ(PrintWide(u"%s %ls %ws %S %hs %hS", W(u"a"), W(u"b"), W(u"c"), "d", "e", "f"), u"a b c d e f");
    EXPECT_EQ(PrintNarrow("%lhs %hls %Ls %lls %I64s", "a", W(u"bb"), "cc", "dd", "ee"), "a bb cc dd ee");
    EXPECT_EQ(PrintWide(u"%lhs %hls %LS %Ls", "aa", W(u"bb"), "cc", W(u"dd")), u"aa bb cc dd");
}

TEST(Print, TextTakesWidthThenPrecision)
{
    EXPECT_EQ(PrintNarrow("%5s|%-5s|%05s|%.2s|%5.1s|", "ab", "ab", "ab", "abc", "abc"), "   ab|ab   |000ab|ab|    a|");
    EXPECT_EQ(PrintWide(u"%5s|%-5s|%05s|%.2s|%5.1s|", W(u"ab"), W(u"ab"), W(u"ab"), W(u"abc"), W(u"abc")), u"   ab|ab   |000ab|ab|    a|");
    EXPECT_EQ(PrintNarrow("%.3S|%5S|%-5S|%05S|", W(u"abcdef"), W(u"ab"), W(u"ab"), W(u"ab")), "abc|   ab|ab   |000ab|");
    EXPECT_EQ(PrintWide(u"%.3S|%5S|%-5S|%05S|", "abcdef", "ab", "ab", "ab"), u"abc|   ab|ab   |000ab|");
    EXPECT_EQ(PrintWide(u"%*s|%-*s|%.*s|%*s|", 4, W(u"ab"), 4, W(u"ab"), 1, W(u"ab"), -4, W(u"ab")), u"  ab|ab  |a|ab  |");
    const char acNotEnded[2] = {'x', 'y'};
    const WCHAR auwNotEnded[2] = {'x', 'y'};
    EXPECT_EQ(PrintNarrow("%.2s|%.2S", acNotEnded, auwNotEnded), "xy|xy");
    EXPECT_EQ(PrintWide(u"%.2s|%.2S", auwNotEnded, acNotEnded), u"xy|xy");
}

TEST(Print, NoTextSaysSo)
{
    const void* const pNone = nullptr;
    EXPECT_EQ(Print("%s|%S|%hs|%ls|%10s|%.3s|", pNone, pNone, pNone, pNone, pNone, pNone), "(null)|(null)|(null)|(null)|    (null)|(nu|");
}

TEST(Print, CharactersAreWideOrNarrowAsTextIs)
{
    EXPECT_EQ(Print("%c%C%hc%lc%wc|%5c|%-5c|%05c|%.0c|", 'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i'), "abcde|    f|g    |0000h||");
    EXPECT_EQ(Print("a%cb", 0), std::string("a\0b", 3));
    EXPECT_EQ(PrintWide(u"%c%lc%wC|%hc", 0x141, 0xD800, 0xFFFF, 0x141), u"\x141\xD800\xFFFF|A");
}

TEST(Print, WhatTheNarrowPageLacksIsAnErrorInTextAndNothingAsACharacter)
{
    EXPECT_EQ(PrintNarrow("ab%Scd", W(u"x\xD800")), "(-1)");
    EXPECT_EQ(PrintNarrow("ab%.1Scd", W(u"x\xD800")), "abxcd") << "what is not printed does no harm";
    EXPECT_EQ(PrintNarrow("a%lcb%d", 0xD800, 5), "ab5");
}

TEST(Print, UnknownConversionsAreTheirLetters)
{
    EXPECT_EQ(Print("%y|%k|%D|%!|%5Z|%b", 1), "y|k|D|!|Z|b");
    EXPECT_EQ(Print("%y%d", 4), "y4") << "and take no argument";
    EXPECT_EQ(Print("%..5d|%.-5d|%5-d|%1$d|%'d|%.+5d|", 5), ".5d|-5d|-d|$d|'d|+5d|");
}

TEST(Print, PercentSignsAndUnfinishedConversions)
{
    EXPECT_EQ(Print("%%|100%%"), "%|100%");
    EXPECT_EQ(Print("abc%"), "abc");
    EXPECT_EQ(Print("%5|%l", 1), "|");
    EXPECT_EQ(Print("%5%|%-5%%|"), "|%|");
    EXPECT_EQ(Print(""), "");
}

TEST(Print, StarsTakeWidthAndPrecisionFromTheArguments)
{
    EXPECT_EQ(Print("%*d|%-*d|%*d|%0*d|", 5, 1, 5, 2, -5, 3, 5, 4), "    1|2    |3    |00004|");
    EXPECT_EQ(Print("%.*d|%.*d|%.*f|%.*e|", 3, 7, -1, 7, 1, 0.25, -1, 1.5), "007|7|0.3|1.500000e+000|");
    EXPECT_EQ(Print("%*.*f|%d", 8, 2, 3.14159, 9), "    3.14|9");
    EXPECT_EQ(Print("%*5d|", 7, 3), std::string(74, ' ') + "3|") << "digits go on behind the star";
    EXPECT_EQ(Print("%.*5d|%5*d|", 2, 3), "5d|*d|");
}

TEST(Print, WidthsWrapAtThirtyTwoBits)
{
    EXPECT_EQ(Print("%4294967297d|%2147483648d|%.4294967299d|", 5, 6, 7), "5|6|007|");
}

TEST(Print, CountsWhatIsWritten)
{
    int iAt = -1, iEnd = -1;
    EXPECT_EQ(PrintNarrow("abc%n%5d%n", &iAt, 7, &iEnd), "abc    7");
    EXPECT_EQ(iAt, 3);
    EXPECT_EQ(iEnd, 8);
    EXPECT_EQ(PrintWide(u"ab%n", &iAt), u"ab");
    EXPECT_EQ(iAt, 2);
}

TEST(Print, NeverWritesBeyondItsRoom)
{
    const std::string sWhole = "ab   -3|ff  |1.500|str|1.000000e+010|z0000000000000001";
    for (std::size_t ulRoom = 0; ulRoom <= sWhole.size() + 2; ++ulRoom)
    {
        std::string sNarrow(sWhole.size() + 4, '#');
        std::u16string sWide(sWhole.size() + 4, u'#');
        void* const pOne = reinterpret_cast<void*>(1);
        const int iNarrow = _snprintf(sNarrow.data(), ulRoom, "ab%5d|%-4x|%.3f|%s|%e|%c%p", -3, 255, 1.5, "str", 1e10, 'z', pOne);
        const int iWide = _snwprintf(W(sWide.data()), ulRoom, W(u"ab%5d|%-4x|%.3f|%S|%e|%c%p"), -3, 255, 1.5, "str", 1e10, 'z', pOne);

        std::string sWanted(sNarrow.size(), '#');
        sWanted.replace(0, std::min(ulRoom, sWhole.size()), sWhole, 0, std::min(ulRoom, sWhole.size()));
        if (ulRoom > sWhole.size()) sWanted[sWhole.size()] = '\0';
        ASSERT_EQ(sNarrow, sWanted);
        ASSERT_EQ(sWide, Widen(sWanted));
        ASSERT_EQ(iNarrow, ulRoom < sWhole.size() ? -1 : static_cast<int>(sWhole.size()));
        ASSERT_EQ(iWide, iNarrow);
    }
}

TEST(Print, WithoutABufferTellsTheLength)
{
    EXPECT_EQ(_snprintf(nullptr, 0, "abc%d %s", 5, "x"), 6);
    EXPECT_EQ(_snprintf(nullptr, 0, "%5000d", 5), 5000);
    EXPECT_EQ(_snwprintf(nullptr, 0, W(u"abc%d"), 5), 4);
}

static int PrintList(char* pTo, std::size_t ulRoom, const char* pFormat, ...)
{
    va_list args;
    va_start(args, pFormat);
    va_list again;
    va_copy(again, args);
    const int iLength = _vsnprintf(nullptr, 0, pFormat, args);
    const int iWritten = _vsnprintf(pTo, ulRoom, pFormat, again);
    va_end(again);
    va_end(args);
    return iLength == iWritten ? iWritten : -2;
}

TEST(Print, AListOfArgumentsIsReadFromWhereItStands)
{
    char acText[40];
    EXPECT_EQ(PrintList(acText, sizeof acText, "%d %s %.1f %I64d", 1, "two", 3.0, 4LL), 11);
    EXPECT_STREQ(acText, "1 two 3.0 4");
}

// A checksum over every combination of flags, widths, precisions and values: a letter that formats anything in another way
// on one of the systems has another sum there.
class SweepOfPrint : public testing::Test
{
protected:
    template <class T>
    static unsigned Sum(const std::vector<const char*>& flags, char cLetter, const std::vector<T>& values)
    {
        // Wine's wide formatter damages the heap with longer fields of integers.
        constexpr bool kbShort = std::is_integral_v<T>;
        const std::vector<const char*> widths = {"", "1", "5", "12", kbShort ? "13" : "30"};
        const std::vector<const char*> precisions = {"", ".", ".0", ".1", ".3", ".7", kbShort ? ".9" : ".20", kbShort ? ".10" : ".60"};
        unsigned uSum = 2166136261u;
        for (const char* pFlags : flags)
            for (const char* pWidth : widths)
                for (const char* pPrecision : precisions)
                    for (T value : values)
                        for (unsigned char c : Print(std::string("%") + pFlags + pWidth + pPrecision + cLetter, value))
                            uSum = (uSum ^ c) * 16777619u;
        return uSum;
    }

    static std::vector<double> Doubles()
    {
        std::vector<double> values = {0.0, -0.0, 1, -1, 0.5, 1.5, 2.5, 0.125, 9.5, 99.5, 0.05, 0.0005, 1e10, 1e-10, 123456.789, 1e100,
                                      1e-100, 1.0 / 3, 9.9999995, 999999.5, 0.00012345, 123456789012345678.0, 5e-324,
                                      2.2250738585072014e-308, 1.7976931348623157e308, 1e23, 4.35};
        ORepeatable random;
        for (int i = 0; i < 40; ++i) values.push_back(std::ldexp(static_cast<double>(random.Below(1u << 30)), static_cast<int>(random.Below(120)) - 90));
        return values;
    }

    const std::vector<const char*> kFlags = {"", "-", "+", " ", "0", "#", "+0", " 0", "#0", "-#", "-+", "+#", "-0", "+ "};
};

TEST_F(SweepOfPrint, Integers)
{
    const std::vector<int> kValues = {0, 1, -1, 5, 8, 42, 255, -42, 65535, 70000, 2147483647, -2147483647 - 1};
    const std::pair<char, unsigned> kSums[] = {{'d', 2808485193u}, {'i', 2808485193u}, {'u', 1431835493u},
                                                 {'x', 2691533749u},  {'X', 674053237u}, {'o', 1671864283u}};
    for (const auto& [cLetter, uSum] : kSums) EXPECT_EQ(Sum(kFlags, cLetter, kValues), uSum) << cLetter;
}

TEST_F(SweepOfPrint, Doubles)
{
    const std::pair<char, unsigned> kSums[] = {{'e', 3689021129u}, {'E', 4267991369u}, {'f', 339318057u},
                                                 {'g', 1326148873u}, {'G', 3794971081u}};
    for (const auto& [cLetter, uSum] : kSums) EXPECT_EQ(Sum(kFlags, cLetter, Doubles()), uSum) << cLetter;
    const std::vector<const char*> kRightFlags = {"", "+", " ", "0", "#", "+0", " 0", "#0", "+#", "+ "};
    EXPECT_EQ(Sum(kRightFlags, 'a', Doubles()), 2717897557u);
}
