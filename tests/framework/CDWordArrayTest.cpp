#include "CDWordArray.h"

#include "CException.h"
#include "NoLargeBlocks.h"

#include <gtest/gtest.h>

#include <vector>

using Numbers = std::vector<DWORD>;

static Numbers Contents(const CDWordArray& array)
{
    Numbers contents;
    for (int i = 0; i < array.GetSize(); ++i) contents.push_back(array.GetAt(i));
    return contents;
}

// Whether call() throws what exhausted memory does.
template <class Call>
static bool FindsNoMemory(Call call)
{
    try
    {
        call();
    }
    catch (CMemoryException* pEx)
    {
        pEx->Delete();
        return true;
    }
    return false;
}

TEST(DWordArray, StartsEmpty)
{
    CDWordArray array;
    EXPECT_EQ(array.GetSize(), 0);
    EXPECT_EQ(array.GetData(), nullptr);
}

TEST(DWordArray, KeepsWhatIsAddedInOrder)
{
    CDWordArray array;
    for (int i = 0; i < 1000; ++i) EXPECT_EQ(array.Add(0xFFFFFFFF - static_cast<DWORD>(i)), i);
    ASSERT_EQ(array.GetSize(), 1000);
    for (int i = 0; i < 1000; ++i)
    {
        EXPECT_EQ(array.GetAt(i), 0xFFFFFFFF - static_cast<DWORD>(i));
        EXPECT_EQ(array[i], array.GetAt(i));
        EXPECT_EQ(array.GetData()[i], array.GetAt(i));
    }
}

TEST(DWordArray, ChangesTheEntryThatIsSet)
{
    CDWordArray array;
    for (DWORD ul : {1, 2, 3}) array.Add(ul);
    array.SetAt(1, 20);
    array[2] = 30;
    EXPECT_EQ(Contents(array), (Numbers{1, 20, 30}));
}

TEST(DWordArray, InsertsAtTheFrontInTheMiddleAndAtTheEnd)
{
    CDWordArray array;
    array.InsertAt(0, 5);
    array.InsertAt(0, 3);
    array.InsertAt(1, 4);
    array.InsertAt(3, 6);
    EXPECT_EQ(Contents(array), (Numbers{3, 4, 5, 6}));
}

TEST(DWordArray, InsertsAsARowOfTheLanguageDoes)
{
    CDWordArray array;
    Numbers expected;
    for (DWORD ul = 0; ul < 500; ++ul)
    {
        const int iAt = static_cast<int>(ul * 619 % (ul + 1));
        array.InsertAt(iAt, ul);
        expected.insert(expected.begin() + iAt, ul);
        ASSERT_EQ(Contents(array), expected);
    }
}

TEST(DWordArray, AppendsManyAtOnceItsOwnToo)
{
    CDWordArray array;
    const DWORD aul[] = {1, 2, 3};
    array.Append(aul, 3);
    array.Append(nullptr, 0);
    array.Append(array.GetData() + 1, 2); // grows meanwhile
    EXPECT_EQ(Contents(array), (Numbers{1, 2, 3, 2, 3}));
    array.Append(array.GetData(), 5);
    EXPECT_EQ(Contents(array), (Numbers{1, 2, 3, 2, 3, 1, 2, 3, 2, 3}));
}

TEST(DWordArray, IsEmptyAndUsableAfterRemoveAll)
{
    CDWordArray array;
    array.RemoveAll();
    array.Add(1);
    array.RemoveAll();
    EXPECT_EQ(array.GetSize(), 0);
    EXPECT_EQ(array.Add(2), 0);
    EXPECT_EQ(Contents(array), Numbers{2});
}

TEST(DWordArray, StaysWhereItIsWhileItHasRoom)
{
    CDWordArray array;
    array.Add(7);
    array.Reserve(1000);
    const DWORD* pData = array.GetData();
    EXPECT_EQ(Contents(array), Numbers{7});
    while (array.GetSize() < 1000) array.InsertAt(0, 8);
    EXPECT_EQ(array.GetData(), pData);
    array.Reserve(10); // takes nothing back
    EXPECT_EQ(array.GetData(), pData);
    EXPECT_EQ(array.GetAt(999), 7u);
}

TEST(DWordArray, SwapsItsEntriesWithAnother)
{
    CDWordArray array, other;
    array.Add(1);
    other.Add(2);
    other.Add(3);
    array.Swap(other);
    EXPECT_EQ(Contents(array), (Numbers{2, 3}));
    EXPECT_EQ(Contents(other), Numbers{1});
}

TEST(DWordArray, IsAsItWasWhenThereIsNoMemory)
{
    constexpr std::size_t kulEntries = NoLargeBlocks::kulLarge / sizeof(DWORD);
    CDWordArray array;
    array.Add(7);
    const NoLargeBlocks none;
    EXPECT_TRUE(FindsNoMemory([&] { array.Reserve(kulEntries); }));
    EXPECT_TRUE(FindsNoMemory([&] { array.Append(array.GetData(), kulEntries); })); // nothing is read
    EXPECT_EQ(Contents(array), Numbers{7});
}

TEST(DWordArray, RefusesMoreEntriesThanAnIntCounts)
{
    CDWordArray array;
    array.Add(7);
    EXPECT_TRUE(FindsNoMemory([&] { array.Reserve(std::size_t{1} << 31); }));
    EXPECT_TRUE(FindsNoMemory([&] { array.Append(array.GetData(), (std::size_t{1} << 31) - 1); }));
    EXPECT_TRUE(FindsNoMemory([&] { array.Append(array.GetData(), static_cast<std::size_t>(-1)); }));
    EXPECT_EQ(Contents(array), Numbers{7});
}

TEST(DWordArray, KnowsItsClass)
{
    CDWordArray array;
    EXPECT_STREQ(array.GetRuntimeClass()->m_lpszClassName, "CDWordArray");
    EXPECT_TRUE(array.IsKindOf(RUNTIME_CLASS(CObject)));
}
