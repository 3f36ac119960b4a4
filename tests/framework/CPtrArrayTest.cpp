#include "CPtrArray.h"

#include <gtest/gtest.h>

#include <vector>

TEST(PtrArray, KeepsWhatIsAddedInOrder)
{
    CPtrArray array;
    EXPECT_EQ(array.GetSize(), 0);
    std::vector<int> things(1000);
    for (int i = 0; i < 1000; ++i) EXPECT_EQ(array.Add(&things[i]), i);
    EXPECT_EQ(array.Add(nullptr), 1000);
    EXPECT_EQ(array.GetSize(), 1001);
    for (int i = 0; i < 1000; ++i) EXPECT_EQ(array.GetAt(i), &things[i]);
    EXPECT_EQ(array[1000], nullptr);
}

TEST(PtrArray, IsEmptyAndUsableAfterRemoveAll)
{
    int iThing = 0;
    CPtrArray array;
    array.RemoveAll();
    array.Add(&iThing);
    array.RemoveAll();
    EXPECT_EQ(array.GetSize(), 0);
    EXPECT_EQ(array.Add(&iThing), 0);
    EXPECT_EQ(array[0], &iThing);
}

TEST(PtrArray, KnowsItsClass)
{
    CPtrArray array;
    EXPECT_STREQ(array.GetRuntimeClass()->m_lpszClassName, "CPtrArray");
    EXPECT_TRUE(array.IsKindOf(RUNTIME_CLASS(CObject)));
}
