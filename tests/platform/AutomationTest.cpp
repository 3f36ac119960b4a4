// Automation strings.
#include "WideText.h"

#include <gtest/gtest.h>

TEST(AutomationString, KnowsItsLength)
{
    BSTR pText = SysAllocString(W(u"lamp"));
    ASSERT_NE(pText, nullptr);
    EXPECT_EQ(SysStringLen(pText), 4u);
    EXPECT_EQ(SysStringByteLen(pText), 8u);
    EXPECT_EQ(Units(pText, 5), std::u16string(u"lamp\0", 5));
    SysFreeString(pText);
}

TEST(AutomationString, MayHoldZeros)
{
    BSTR pText = SysAllocStringLen(W(u"a\0b"), 3);
    ASSERT_NE(pText, nullptr);
    EXPECT_EQ(SysStringLen(pText), 3u);
    EXPECT_EQ(Units(pText, 4), std::u16string(u"a\0b\0", 4));
    SysFreeString(pText);
}

TEST(AutomationString, MayBeEmptyOrWithoutText)
{
    BSTR pEmpty = SysAllocStringLen(W(u""), 0);
    ASSERT_NE(pEmpty, nullptr);
    EXPECT_EQ(SysStringLen(pEmpty), 0u);
    EXPECT_EQ(*pEmpty, 0);
    SysFreeString(pEmpty);

    BSTR pRoom = SysAllocStringLen(nullptr, 100);
    ASSERT_NE(pRoom, nullptr);
    EXPECT_EQ(SysStringLen(pRoom), 100u);
    EXPECT_EQ(pRoom[100], 0);
    SysFreeString(pRoom);
}

TEST(AutomationString, NoneIsAsEmpty)
{
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysStringByteLen(nullptr), 0u);
    SysFreeString(nullptr);
}

TEST(AutomationString, CanBeReplacedByAnyText)
{
    BSTR pText = SysAllocString(W(u"lamp"));
    ASSERT_TRUE(SysReAllocStringLen(&pText, W(u"plasma torch"), 12));
    EXPECT_EQ(Units(pText, SysStringLen(pText) + 1), std::u16string(u"plasma torch\0", 13));
    ASSERT_TRUE(SysReAllocStringLen(&pText, W(u"x"), 1));
    EXPECT_EQ(Units(pText, SysStringLen(pText) + 1), std::u16string(u"x\0", 2));
    SysFreeString(pText);
}

TEST(AutomationString, CanBeReplacedByAPartOfItself)
{
    BSTR pText = SysAllocString(W(u"plasma torch"));
    ASSERT_TRUE(SysReAllocStringLen(&pText, pText, 6));
    EXPECT_EQ(Units(pText, SysStringLen(pText) + 1), std::u16string(u"plasma\0", 7));
    SysFreeString(pText);
}

TEST(AutomationString, TooLargeIsNone)
{
    EXPECT_EQ(SysAllocStringLen(nullptr, 0xFFFFFFFF), nullptr);
    EXPECT_EQ(SysAllocStringLen(nullptr, 0x80000000), nullptr);
}
