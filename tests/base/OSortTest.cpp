// The sort: the orders it makes, comparisons that meddle or throw, what it refuses.
#include "OSort.h"
#include "CException.h"
#include "LogRecorder.h"
#include "NoLargeBlocks.h"
#include "PrivateMember.h"
#include "Raises.h"
#include "SortSteps.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <new>
#include <numeric>
#include <random>
#include <string>

using Lines = LogRecorder::Lines;

// Orders
// -----------------------------------------------------------------------------------------------------------------------------

TEST(OSort, PutsTheGreaterFirstUnlessTurnedRound)
{
    EXPECT_EQ(Done({5, By([](ULONG ul) { return ul; }), true}).list, (Numbers{0, 1, 2, 3, 4}));
    EXPECT_EQ(Done({5, By([](ULONG ul) { return ul; }), false}).list, (Numbers{4, 3, 2, 1, 0}));
}

TEST(OSort, OrdersItemsByTheirValues)
{
    static const ULONG aulValues[] = {5, 3, 9, 1, 7, 2, 8};
    const auto answers = [] { return [](ULONG i, ULONG j) { return aulValues[i] > aulValues[j] ? 1 : -1; }; };
    EXPECT_EQ(Done({7, answers}).list, (Numbers{3, 5, 1, 0, 4, 6, 2}));
}

TEST(OSort, HandsTheThreeValuesToEveryComparison)
{
    struct Passed : OBase
    {
        int Compare(ULONG i, ULONG j, void* pFirst, void* pSecond, ULONG ulThird)
        {
            ++iCalls;
            bSame = bSame && pFirst == this && pSecond == &iCalls && ulThird == 0xFEDCBA98;
            return Sign(i, j);
        }
        int iCalls = 0;
        bool bSame = true;
    } passed;
    CDWordArray list;
    OSort sort(&passed, static_cast<OSortComparison>(&Passed::Compare), &list, 100, 1, &passed, &passed.iCalls, 0xFEDCBA98);
    sort.Sort(0, nullptr);
    EXPECT_EQ(passed.iCalls, 99); // each comes before the first
    EXPECT_TRUE(passed.bSame);
}

TEST(OSort, CallsAVirtualComparisonOfTheObject)
{
    struct Base : OBase
    {
        virtual int Compare(ULONG, ULONG, void*, void*, ULONG) { return 0; }
    };
    struct Derived : Base
    {
        int Compare(ULONG i, ULONG j, void*, void*, ULONG) override { return Sign(i, j); }
    } derived;
    CDWordArray list;
    OSort(&derived, static_cast<OSortComparison>(&Base::Compare), &list, 3, 0, nullptr, nullptr, 0).Sort(0, nullptr);
    EXPECT_EQ(Contents(list), (Numbers{2, 1, 0}));
}

TEST(OSort, AddsAnOnlyItemWithoutAsking)
{
    Asked asked([](ULONG, ULONG) { return 1; });
    CDWordArray list;
    OSort sort;
    sort.Init(&asked, kCompare, nullptr, 0, 1, nullptr, nullptr, 0);
    sort.Sort(1, &list);
    EXPECT_EQ(Contents(list), Numbers{0});
    EXPECT_TRUE(asked.mComparisons.empty());
}

// Comparisons that meddle
// ---------------------------------------------------------------------------------------------------------------

TEST(OSort, ShowsAComparisonTheListAsItWasBefore)
{
    CDWordArray list;
    Fill(list, {70, 71});
    bool bAsBefore = true;
    Asked asked([&](ULONG i, ULONG j) { return bAsBefore = bAsBefore && Contents(list) == Numbers{70, 71}, Sign(i, j); });
    OSort(&asked, kCompare, &list, 100, 1, nullptr, nullptr, 0).Sort(0, nullptr);
    EXPECT_TRUE(bAsBefore);
    EXPECT_EQ(list.GetSize(), 102);
}

TEST(OSort, ReplacesWhatAComparisonDidToTheList)
{
    for (std::size_t ulStopAt : {kulNever, std::size_t{300}})
    {
        CDWordArray list;
        std::mt19937 random(7);
        Asked asked(
            [&](ULONG i, ULONG j)
            {
                if (random() % 5 == 0)
                    list.RemoveAll();
                else
                    list.InsertAt(0, i);
                return Sign(Scattered(i), Scattered(j));
            },
            ulStopAt);
        try
        {
            OSort(&asked, kCompare, &list, 100, 1, nullptr, nullptr, 0).Sort(0, nullptr);
        }
        catch (const Stop&)
        {
            EXPECT_NE(ulStopAt, kulNever);
        }
        EXPECT_EQ(Contents(list), Told({100, By(Scattered), true, {}, ulStopAt}).list);
    }
}

TEST(OSort, MayBeUsedAgainByItsOwnComparison)
{
    CDWordArray list;
    OSort sort;
    int iDepth = 0;
    Asked asked(
        [&](ULONG i, ULONG j)
        {
            if (iDepth < 2)
            {
                ++iDepth;
                sort.Sort(0, nullptr);
                --iDepth;
            }
            return Sign(i, j);
        });
    sort.Init(&asked, kCompare, &list, 4, 0, nullptr, nullptr, 0);
    sort.Sort(0, nullptr);
    EXPECT_EQ(Contents(list), (Numbers{3, 2, 1, 0}));
}

// Refusals
// ---------------------------------------------------------------------------------------------------------------------------

namespace
{
class OSortLog : public testing::Test
{
protected:
    LogRecorder log;
    Asked asked{[](ULONG i, ULONG j) { return Sign(i, j); }};
    CDWordArray list;
    OSort sort;

    void Init(OBase* pBase, OSortComparison pFn, CDWordArray* pList, ULONG ulCount)
    {
        sort.Init(pBase, pFn, pList, ulCount, 0, nullptr, nullptr, 0);
    }
    // What the log has of a refusal by Init or Sort.
    void ExpectRefusal(const char* pItem, const std::string& sText)
    {
        EXPECT_EQ(log.Errors(), Lines{std::string("OSort | ") + pItem + " | " + sText});
        EXPECT_EQ(log.Places(), Lines{std::string("Caught in OSort::") + pItem});
    }
};
} // namespace

static std::string Unsigned(const void* pAddress)
{
    return std::to_string(static_cast<unsigned int>(reinterpret_cast<ULONG_PTR>(pAddress)));
}

TEST_F(OSortLog, InitNeedsAnObjectAndAComparison)
{
    EXPECT_EQ(sort.GetErrorBase(), 28000u);
    EXPECT_RAISES(Init(nullptr, nullptr, nullptr, 0), 28001);
    ExpectRefusal("Init", "pBase==NULL");
    EXPECT_RAISES(Init(&asked, nullptr, nullptr, 0), 28001);
    ExpectRefusal("Init", "pFn==NULL");
    Init(&asked, kCompare, &list, 2); // neither refusal has set anything
    sort.Sort(0, nullptr);
    EXPECT_EQ(Contents(list), (Numbers{1, 0}));
}

TEST_F(OSortLog, InitTakesAnObjectOnce)
{
    Init(&asked, kCompare, nullptr, 0);
    EXPECT_RAISES(Init(&asked, kCompare, &list, 2), 28001);
    ExpectRefusal("Init", "mpBase is already set");
    EXPECT_RAISES(sort.Sort(0, nullptr), 28001); // nor was the count set
    ExpectRefusal("Sort", "mulCount==0");
}

TEST_F(OSortLog, InitRefusesACountThatSortWasGiven)
{
    EXPECT_RAISES(sort.Sort(3, nullptr), 28001);
    ExpectRefusal("Sort", "mpBase==NULL");
    EXPECT_RAISES(Init(&asked, kCompare, &list, 2), 28001);
    ExpectRefusal("Init", "mulCount is already set");
    sort.Sort(0, &list); // object and comparison were set before that; the list and whether to turn round come after
    EXPECT_EQ(Contents(list), (Numbers{0, 1, 2}));
}

TEST_F(OSortLog, InitRefusesAListThatSortWasGiven)
{
    EXPECT_RAISES(sort.Sort(0, &list), 28001);
    ExpectRefusal("Sort", "mpBase==NULL");
    CDWordArray other;
    EXPECT_RAISES(Init(&asked, kCompare, &other, 3), 28001);
    ExpectRefusal("Init", "mpList is already set");
    sort.Sort(0, nullptr);
    EXPECT_EQ(Contents(list), (Numbers{0, 1, 2}));
    EXPECT_EQ(other.GetSize(), 0);
}

TEST_F(OSortLog, TheConstructorRefusesAsInitDoes)
{
    EXPECT_RAISES(OSort(nullptr, kCompare, &list, 2, 1, nullptr, nullptr, 0), 28001);
    EXPECT_EQ(log.Errors(), Lines{"OSort | Init | pBase==NULL"});
    EXPECT_EQ(log.Places(), (Lines{"Caught in OSort::Init", "Caught in OSort::OSort"}));
}

TEST_F(OSortLog, SortNeedsAllFour)
{
    EXPECT_RAISES(sort.Sort(0, nullptr), 28001);
    ExpectRefusal("Sort", "mpBase==NULL");
    Init(&asked, kCompare, nullptr, 0);
    EXPECT_RAISES(sort.Sort(0, nullptr), 28001);
    ExpectRefusal("Sort", "mulCount==0");
    EXPECT_RAISES(sort.Sort(2, nullptr), 28001);
    ExpectRefusal("Sort", "mpList==NULL");
    sort.Sort(0, &list);
    EXPECT_EQ(Contents(list), (Numbers{1, 0}));
}

TEST_F(OSortLog, SortWithAListAndNoCountIsRefused)
{
    Init(&asked, kCompare, nullptr, 0);
    EXPECT_RAISES(sort.Sort(0, &list), 28001);
    ExpectRefusal("Sort", "mulCount==0");
    EXPECT_EQ(list.GetSize(), 0);
}

TEST_F(OSortLog, SortTakesACountOnce)
{
    Init(&asked, kCompare, nullptr, 4000000000);
    EXPECT_RAISES(sort.Sort(3, &list), 28001);
    ExpectRefusal("Sort", "ulCount=3; mulCount=4000000000");
    EXPECT_RAISES(sort.Sort(0, nullptr), 28001); // the list was not set
    ExpectRefusal("Sort", "mpList==NULL");
}

TEST_F(OSortLog, SortTakesAListOnce)
{
    Init(&asked, kCompare, &list, 2);
    CDWordArray other;
    EXPECT_RAISES(sort.Sort(0, &other), 28001);
    ExpectRefusal("Sort", "pList=" + Unsigned(&other) + "; mpList=" + Unsigned(&list));
    EXPECT_EQ(list.GetSize() + other.GetSize(), 0);
}

TEST_F(OSortLog, ASecondSortWithACountIsRefused)
{
    Init(&asked, kCompare, nullptr, 0);
    sort.Sort(3, &list);
    EXPECT_RAISES(sort.Sort(3, nullptr), 28001);
    ExpectRefusal("Sort", "ulCount=3; mulCount=3");
    EXPECT_EQ(Contents(list), (Numbers{2, 1, 0}));
}

// Comparisons that throw, and exhausted memory
// ------------------------------------------------------------------------------------------

TEST_F(OSortLog, TellsWhereAComparisonThrew)
{
    const Lines inSort = {"Caught in OSort::ShuffleSort", "Caught in OSort::Sort"};
    const Lines inShuffle = {"Caught in OSort::Shuffle", "Caught in OSort::ShuffleSort", "Caught in OSort::Sort"};
    // All equal: 1 with 0; 2 with the first, the last with 2; 3 with both likewise; then the bisection.
    const Lines* const apPlaces[] = {&inSort, &inSort, &inSort, &inSort, &inSort, &inShuffle};
    for (std::size_t ulStopAt = 0; ulStopAt < std::size(apPlaces); ++ulStopAt)
    {
        Done({10, By([](ULONG) { return 0u; }), true, {}, ulStopAt});
        EXPECT_EQ(log.Places(), *apPlaces[ulStopAt]) << ulStopAt;
    }
}

TEST_F(OSortLog, PassesOnWhatAComparisonRaises)
{
    struct Raising : OBase
    {
        int Compare(ULONG, ULONG, void*, void*, ULONG) { return Raise(77), 0; }
    } raising;
    sort.Init(&raising, static_cast<OSortComparison>(&Raising::Compare), &list, 2, 1, nullptr, nullptr, 0);
    EXPECT_RAISES(sort.Sort(0, nullptr), 77);
    EXPECT_EQ(Contents(list), Numbers{0});
}

TEST_F(OSortLog, ExhaustedMemoryIsMetBeforeAnythingIsCompared)
{
    const NoLargeBlocks none;
    // No room for the blocks; none for the result; more than a list counts, with and without the entry that is there.
    for (ULONG ulCount : {0x10000000u, 0x20000000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
    {
        OSort large(&asked, kCompare, &list, ulCount, 1, nullptr, nullptr, 0);
        if (list.GetSize() == 0) list.Add(7);
        bool bCaught = false;
        try
        {
            large.Sort(0, nullptr);
        }
        catch (CMemoryException* pEx)
        {
            pEx->Delete();
            bCaught = true;
        }
        EXPECT_TRUE(bCaught) << ulCount;
        EXPECT_EQ(log.Places(), (Lines{"Caught in OSort::ShuffleSort", "Caught in OSort::Sort"}));
        EXPECT_EQ(Contents(list), Numbers{7});
        EXPECT_TRUE(asked.mComparisons.empty());
    }
}

// What is private
// ------------------------------------------------------------------------------------------------------------------

PRIVATE_MEMBER(BubbleSortOf, OSort, BubbleSort);
PRIVATE_MEMBER(ReverseOf, OSort, Reverse);
PRIVATE_MEMBER(BaseOf, OSort, mpBase);

TEST(OSort, BubblesUntilNoNeighboursStandTheWrongWay)
{
    static const ULONG aulValues[] = {5, 3, 9, 1, 7, 2, 8};
    Asked asked([](ULONG i, ULONG j) { return Sign(aulValues[i], aulValues[j]); });
    CDWordArray list;
    list.Add(50);
    OSort sort(&asked, kCompare, &list, 7, 1, nullptr, nullptr, 0);
    (sort.*BubbleSortOf())();
    EXPECT_EQ(Contents(list), (Numbers{50, 2, 6, 4, 0, 1, 5, 3}));

    // The passes as they are told.
    std::vector<std::pair<ULONG, ULONG>> told;
    Numbers row(7);
    std::iota(row.begin(), row.end(), 0u);
    for (bool bSwapped = true; bSwapped;)
    {
        bSwapped = false;
        for (std::size_t i = 0; i + 1 < row.size(); ++i)
        {
            told.emplace_back(row[i], row[i + 1]);
            if (aulValues[row[i]] >= aulValues[row[i + 1]]) continue;
            std::swap(row[i], row[i + 1]);
            bSwapped = true;
        }
    }
    EXPECT_EQ(asked.mComparisons, told);
}

TEST(OSort, BubblesEqualItemsInOnePass)
{
    Asked asked([](ULONG, ULONG) { return 0; });
    CDWordArray list;
    OSort sort(&asked, kCompare, &list, 5, 1, nullptr, nullptr, 0);
    (sort.*BubbleSortOf())();
    EXPECT_EQ(Contents(list), (Numbers{0, 1, 2, 3, 4}));
    EXPECT_EQ(asked.mComparisons.size(), 4u);
}

TEST_F(OSortLog, ABubbleSortWhoseComparisonThrowsLeavesTheList)
{
    Asked throwing([](ULONG i, ULONG j) { return Sign(i, j); }, 5);
    list.Add(50);
    OSort bubble(&throwing, kCompare, &list, 5, 1, nullptr, nullptr, 0);
    EXPECT_THROW((bubble.*BubbleSortOf())(), Stop);
    EXPECT_EQ(Contents(list), Numbers{50});
    EXPECT_EQ(log.Places(), Lines{"Caught in OSort::BubbleSort"});
}

TEST(OSort, BubblesNothingIntoNothing)
{
    CDWordArray list;
    OSort sort;
    Asked asked([](ULONG, ULONG) { return 0; });
    sort.Init(&asked, kCompare, &list, 0, 1, nullptr, nullptr, 0);
    (sort.*BubbleSortOf())();
    EXPECT_EQ(list.GetSize(), 0);
}

TEST(OSort, TurnsRoundAsManyEntriesAsThereAreItems)
{
    Asked asked([](ULONG, ULONG) { return 0; });
    CDWordArray list;
    Fill(list, {1, 2, 3, 4, 5, 6});
    OSort sort(&asked, kCompare, &list, 4, 1, nullptr, nullptr, 0);
    (sort.*ReverseOf())();
    EXPECT_EQ(Contents(list), (Numbers{4, 3, 2, 1, 5, 6}));
}

TEST_F(OSortLog, InitTakesAComparisonOnce)
{
    Init(&asked, kCompare, &list, 2);
    sort.*BaseOf() = nullptr; // no public member leaves it so
    EXPECT_RAISES(Init(&asked, kCompare, nullptr, 0), 28001);
    ExpectRefusal("Init", "mpFn is already set");
}

namespace
{
struct Fields // behind what OBase has
{
    CDWordArray* pList;
    OBase* pBase;
    ULONG ulCount;
    void* pFirst;
    void* pSecond;
    ULONG ulThird;
    OSortComparison pFn;
    int bReverse;
};

Fields FieldsOf(const OSort& sort)
{
    EXPECT_EQ(sizeof sort, sizeof(OBase) + sizeof(Fields));
    Fields fields;
    std::memcpy(static_cast<void*>(&fields), reinterpret_cast<const char*>(&sort) + sizeof(OBase), sizeof fields);
    return fields;
}
} // namespace

TEST(OSort, HasItsFieldsInTheirOrder)
{
    int iFirst = 0, iSecond = 0;
    Asked asked([](ULONG, ULONG) { return 0; });
    CDWordArray list;
    OSort sort(&asked, kCompare, &list, 0x11111111, 0x22222222, &iFirst, &iSecond, 0x33333333);
    const Fields fields = FieldsOf(sort);
    EXPECT_EQ(fields.pList, &list);
    EXPECT_EQ(fields.pBase, &asked);
    EXPECT_EQ(fields.ulCount, 0x11111111u);
    EXPECT_EQ(fields.pFirst, &iFirst);
    EXPECT_EQ(fields.pSecond, &iSecond);
    EXPECT_EQ(fields.ulThird, 0x33333333u);
    EXPECT_EQ(fields.pFn, kCompare);
    EXPECT_EQ(fields.bReverse, 0x22222222);
}

TEST(OSort, StartsWithNothingSetAndTurningRound)
{
    alignas(OSort) unsigned char aubPlace[sizeof(OSort)];
    std::memset(aubPlace, 0xAA, sizeof aubPlace);
    const std::unique_ptr<OSort, void (*)(OSort*)> pSort(new (aubPlace) OSort, [](OSort* p) { p->~OSort(); });
    const Fields fields = FieldsOf(*pSort);
    EXPECT_EQ(fields.pList, nullptr);
    EXPECT_EQ(fields.pBase, nullptr);
    EXPECT_EQ(fields.ulCount, 0u);
    EXPECT_EQ(fields.pFirst, nullptr);
    EXPECT_EQ(fields.pSecond, nullptr);
    EXPECT_EQ(fields.ulThird, 0u);
    EXPECT_TRUE(fields.pFn == nullptr);
    EXPECT_EQ(fields.bReverse, 1);
}
