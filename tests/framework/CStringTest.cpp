// The 8-bit text.
#include "CString.h"
#include "CException.h"

#include "NoLargeBlocks.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

TEST(CString, IsOnePointerToItsCharacters)
{
    const CString sLamp("lamp");
    const char* pText = nullptr;
    std::memcpy(&pText, static_cast<const void*>(&sLamp), sizeof pText);
    EXPECT_STREQ(pText, "lamp");
    EXPECT_EQ(static_cast<const char*>(sLamp), pText);
    EXPECT_EQ(sLamp.GetLength(), 4);
}

TEST(CString, NullCountsAsEmpty)
{
    const CString sNone(static_cast<const char*>(nullptr));
    EXPECT_TRUE(sNone.IsEmpty());
    EXPECT_STREQ(sNone, "");
    CString sText("x");
    sText = static_cast<const char*>(nullptr);
    EXPECT_STREQ(sText, "");
    sText += static_cast<const char*>(nullptr);
    EXPECT_STREQ(sText, "");
    EXPECT_STREQ(CString("text", 0), "");
    EXPECT_STREQ(CString("text", -1), "");
    EXPECT_STREQ(CString('x', 0), "");
}

TEST(CString, ACopySharesUntilItIsWrittenTo)
{
    const CString sLamp("lamp");
    CString sDamp = sLamp;
    EXPECT_EQ(static_cast<const char*>(sDamp), static_cast<const char*>(sLamp));
    sDamp.SetAt(0, 'd');
    EXPECT_STREQ(sDamp, "damp");
    EXPECT_STREQ(sLamp, "lamp");
    sDamp = sLamp;
    sDamp.GetBuffer(10)[1] = 'i';
    sDamp.ReleaseBuffer();
    EXPECT_STREQ(sDamp, "limp");
    EXPECT_STREQ(sLamp, "lamp");
}

TEST(CString, JoinsAndAppends)
{
    CString sText("a");
    sText += 'b';
    sText += "cd";
    sText += sText;
    EXPECT_STREQ(sText, "abcdabcd");
    EXPECT_STREQ("<" + CString("x") + '>' + CString("y") + "z", "<x>yz");
    EXPECT_STREQ('<' + CString("x"), "<x");
    sText = static_cast<const char*>(sText) + 4; // a part of itself
    EXPECT_STREQ(sText, "abcd");
}

TEST(CString, Compares)
{
    EXPECT_LT(CString("a").Compare("b"), 0);
    EXPECT_EQ(CString("Lamp").CompareNoCase("lAMP"), 0);
    EXPECT_TRUE(CString("a") == "a");
    EXPECT_TRUE(CString("a") < CString("b"));
    EXPECT_FALSE(CString("a", 1) == CString("a\0b", 3)); // zeros inside count
}

TEST(CString, Finds)
{
    const CString sText("abcabc");
    EXPECT_EQ(sText.Find('b'), 1);
    EXPECT_EQ(sText.Find('b', 2), 4);
    EXPECT_EQ(sText.Find("ca"), 2);
    EXPECT_EQ(sText.Find("x"), -1);
    EXPECT_EQ(sText.Find('a', 6), -1);
    EXPECT_EQ(sText.Find('a', 7), -1);
    EXPECT_EQ(sText.Find("a", -1), -1);
    EXPECT_EQ(sText.ReverseFind('a'), 3);
    EXPECT_EQ(sText.FindOneOf("xcb"), 1);
}

TEST(CString, CutsPartsToWhatIsThere)
{
    const CString sText("abcdef");
    EXPECT_STREQ(sText.Mid(2, 3), "cde");
    EXPECT_STREQ(sText.Mid(4), "ef");
    EXPECT_STREQ(sText.Mid(4, 100), "ef");
    EXPECT_STREQ(sText.Mid(9, 1), "");
    EXPECT_STREQ(sText.Mid(-2, 3), "abc");
    EXPECT_STREQ(sText.Left(2), "ab");
    EXPECT_STREQ(sText.Right(2), "ef");
    EXPECT_STREQ(sText.Right(100), "abcdef");
    EXPECT_STREQ(sText.Left(-1), "");
}

TEST(CString, ChangesCaseTrimsAndReplaces)
{
    CString sText(" \tLamp 1\r\n");
    sText.TrimLeft();
    sText.TrimRight();
    EXPECT_STREQ(sText, "Lamp 1");
    sText.MakeUpper();
    EXPECT_STREQ(sText, "LAMP 1");
    sText.MakeLower();
    EXPECT_STREQ(sText, "lamp 1");
    CString sDots("a.b.c");
    EXPECT_EQ(sDots.Replace(".", "::"), 2);
    EXPECT_STREQ(sDots, "a::b::c");
    EXPECT_EQ(sDots.Replace("x", "y"), 0);
    EXPECT_EQ(sDots.Replace("", "y"), 0);
    EXPECT_EQ(sDots.Replace("::", nullptr), 2);
    EXPECT_STREQ(sDots, "abc");
}

TEST(CString, FormatsTextsOfAnyLength)
{
    CString sText;
    sText.Format("%s=%d (%5.2f)", "lamp", 7, 3.14159);
    EXPECT_STREQ(sText, "lamp=7 ( 3.14)");
    const CString sLong('x', 5000);
    sText.Format("%s!", static_cast<const char*>(sLong));
    EXPECT_EQ(sText.GetLength(), 5001);
    sText.Format("%s%s", static_cast<const char*>(sText), "!"); // of itself
    EXPECT_EQ(sText.GetLength(), 5002);
}

TEST(CString, ABufferKeepsWhatWasThere)
{
    CString sText("abc");
    char* pText = sText.GetBuffer(100);
    EXPECT_STREQ(pText, "abc");
    std::strcpy(pText + 3, "def");
    sText.ReleaseBuffer();
    EXPECT_STREQ(sText, "abcdef");
    EXPECT_EQ(sText.GetLength(), 6);
    std::memcpy(sText.GetBufferSetLength(2), "xy", 2);
    EXPECT_STREQ(sText, "xy");
    CString sNone;
    sNone.GetBuffer(0);
    sNone.ReleaseBuffer();
    EXPECT_TRUE(sNone.IsEmpty());
}

TEST(CString, ThrowsAndStaysWholeWhenMemoryIsExhausted)
{
    const NoLargeBlocks exhausted;
    CString sText("lamp");
    EXPECT_THROW(sText.GetBuffer(0x7FFFFFFF), CMemoryException*);
    EXPECT_STREQ(sText, "lamp");
}

TEST(CString, CopiesAreMadeInSeveralThreads)
{
    const CString sShared("shared by all");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(
            [&]
            {
                for (int i = 0; i < 20'000; ++i)
                {
                    CString sCopy = sShared;
                    if (i % 8 == 0) sCopy.SetAt(0, 'S');
                    ASSERT_EQ(sCopy.GetLength(), 13);
                }
            });
    for (std::thread& thread : threads) thread.join();
    EXPECT_STREQ(sShared, "shared by all");
}
