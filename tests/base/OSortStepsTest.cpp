// The sequence of the sort's comparisons, and what is in the list in the end, beside the plain steps.
#include "SortSteps.h"

#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <string>

namespace
{
// Whether a case comes out as told; without printing thousands of numbers where it does not.
testing::AssertionResult ComesOutAsTold(const Case& c)
{
    const Outcome told = Told(c);
    const Outcome done = Done(c);
    if (told == done) return testing::AssertionSuccess();
    std::size_t ul = 0;
    while (ul < told.comparisons.size() && ul < done.comparisons.size() && told.comparisons[ul] == done.comparisons[ul]) ++ul;
    return testing::AssertionFailure() << c.ulCount << " items, " << c.given.size() << " given, stopped at " << c.ulStopAt << ": "
                                       << (told.comparisons == done.comparisons ? "only the list differs"
                                                                                : "comparison " + std::to_string(ul) + " differs");
}

// No order at all: whatever a generator says, the same in each run.
std::function<Answer()> Anything(unsigned uSeed)
{
    return [uSeed] { return [random = std::mt19937(uSeed)](ULONG, ULONG) mutable { return static_cast<int>(random() % 3) - 1; }; };
}

struct NamedAnswers
{
    const char* pName;
    std::function<Answer()> answers;
};

const std::vector<NamedAnswers>& AllAnswers()
{
    static const std::vector<NamedAnswers> answers = {
        {"in order", By([](ULONG ul) { return ul; })},
        {"in reverse", By([](ULONG ul) { return ~ul; })},
        {"in no order", By(Scattered)},
        {"in no order, many equal", By([](ULONG ul) { return Scattered(ul) % 7; })},
        {"all equal", By([](ULONG) { return 0u; })},
        {"from both ends", By([](ULONG ul) { return ul % 2 ? ul : ~ul; })},
        {"from the middle", By([](ULONG ul) { return ul % 2 ? 0x80000000 + ul : 0x80000000 - ul; })},
        {"towards the middle", By([](ULONG ul) { return ul % 2 ? 0xFFFFFFFF - ul : ul; })},
        {"saw teeth", By([](ULONG ul) { return ul % 37; })},
        {"runs", By([](ULONG ul) { return Scattered(ul / 50) + ul; })},
        {"always greater", [] { return [](ULONG, ULONG) { return 1; }; }},
        {"always less", [] { return [](ULONG, ULONG) { return -1; }; }},
        {"a circle", [] { return [](ULONG i, ULONG j) { return static_cast<int>((i + 3 - j % 3) % 3) - 1; }; }},
        {"anything", Anything(1)},
        {"anything else", Anything(2)},
    };
    return answers;
}
} // namespace

TEST(OSort, ComparesAndPlacesAsToldForFewItems)
{
    for (const NamedAnswers& answers : AllAnswers())
        for (ULONG ulCount = 1; ulCount <= 70; ++ulCount)
            for (bool bReverse : {true, false}) ASSERT_TRUE(ComesOutAsTold({ulCount, answers.answers, bReverse})) << answers.pName;
}

TEST(OSort, ComparesAndPlacesAsToldForThousandsOfItems)
{
    for (const NamedAnswers& answers : AllAnswers())
        for (ULONG ulCount : {512, 513, 1024, 1025, 1537, 2049, 3000, 9999})
            ASSERT_TRUE(ComesOutAsTold({ulCount, answers.answers})) << answers.pName;
}

TEST(OSort, ComparesAndPlacesAsToldForManyItems)
{
    ASSERT_TRUE(ComesOutAsTold({60'000, By(Scattered)}));
    ASSERT_TRUE(ComesOutAsTold({60'000, Anything(3)}));
}

TEST(OSort, ComparesAndPlacesAsToldWhateverTheAnswers)
{
    std::mt19937 random(7);
    for (unsigned uRun = 0; uRun < 100; ++uRun)
    {
        const ULONG ulCount = 1 + random() % 3000;
        const ULONG ulValues = 1 + random() % ulCount;
        ASSERT_TRUE(ComesOutAsTold({ulCount, Anything(uRun), uRun % 2 == 0}));
        ASSERT_TRUE(ComesOutAsTold({ulCount, By([=](ULONG ul) { return Scattered(ul + uRun) % ulValues; }), uRun % 2 == 0}));
    }
}

TEST(OSort, LeavesTheListAsToldWhenAnyOfTheComparisonsThrows)
{
    for (const NamedAnswers& answers : AllAnswers())
        for (ULONG ulCount : {2, 3, 4, 5, 17, 40})
        {
            const std::size_t ulComparisons = Told({ulCount, answers.answers}).comparisons.size();
            for (std::size_t ulStopAt = 0; ulStopAt <= ulComparisons; ++ulStopAt)
                ASSERT_TRUE(ComesOutAsTold({ulCount, answers.answers, true, {}, ulStopAt})) << answers.pName;
        }
}

TEST(OSort, LeavesALongListAsToldWhenAComparisonThrows)
{
    std::mt19937 random(7);
    for (const NamedAnswers& answers : AllAnswers())
    {
        const std::size_t ulComparisons = Told({4000, answers.answers}).comparisons.size();
        for (int iRun = 0; iRun < 20; ++iRun)
            ASSERT_TRUE(ComesOutAsTold({4000, answers.answers, true, {}, random() % ulComparisons})) << answers.pName;
    }
}

TEST(OSort, CountsWhatIsInTheListAsPlaced)
{
    for (const NamedAnswers& answers : AllAnswers())
        for (ULONG ulGiven : {1, 2, 3, 30, 1023, 1024, 1025, 5000})
        {
            Numbers given(ulGiven);
            std::iota(given.begin(), given.end(), 100'000u);
            for (ULONG ulCount : {1, 2, 3, 4, 20, 2500})
                for (bool bReverse : {true, false})
                    ASSERT_TRUE(ComesOutAsTold({ulCount, answers.answers, bReverse, given})) << answers.pName;
            ASSERT_TRUE(ComesOutAsTold({50, answers.answers, true, given, 45})) << answers.pName;
        }
}

TEST(OSort, AddsToWhatIsInTheListAndTurnsRoundAsManyAsThereAreItems)
{
    Asked asked([](ULONG i, ULONG j) { return Sign(i, j); });
    CDWordArray list;
    Fill(list, {7, 8});
    OSort(&asked, kCompare, &list, 2, 1, nullptr, nullptr, 0).Sort(0, nullptr);
    EXPECT_EQ(Contents(list), (Numbers{7, 1, 8, 0})); // 1 7 8 0 before its first two were turned round
}

TEST(OSort, AsksTwiceForEachItemThatComesInOrder)
{
    constexpr ULONG kulCount = 5000;
    for (const auto& answers : {By([](ULONG ul) { return ul; }), By([](ULONG ul) { return ~ul; })})
    {
        const Outcome outcome = Done({kulCount, answers});
        EXPECT_LE(outcome.comparisons.size(), 2 * kulCount);
        EXPECT_GE(outcome.comparisons.size(), kulCount - 1);
    }
}
