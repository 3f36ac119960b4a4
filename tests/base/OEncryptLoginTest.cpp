// The protected login record: what lies where, and that no release changes it.
#include "OEncrypt.h"

#include "DistinctPositions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <numeric>
#include <set>
#include <thread>
#include <vector>

namespace
{
constexpr ULONG kulUnits = 10000;
using Buffer = std::vector<unsigned short>;

// Units that differ from text to text and from place to place, those behind the terminators included.
LOGINDATA Record(ULONG ulFlag)
{
    LOGINDATA data{};
    for (unsigned short i = 0; i < 256; ++i)
    {
        data.awcText1[i] = static_cast<unsigned short>(0x1000 + i);
        data.awcText2[i] = static_cast<unsigned short>(0x2000 + i);
        data.awcText3[i] = static_cast<unsigned short>(0x3000 + i);
    }
    data.awcText1[5] = data.awcText2[0] = data.awcText3[255] = 0;
    data.ulFlag = ulFlag;
    return data;
}

Buffer Protected(LOGINDATA data, ULONG ulUnits = kulUnits)
{
    Buffer buffer(kulUnits, 0xFFFF);
    EXPECT_EQ(OEncrypt::EncryptLoginData(&data, buffer.data(), ulUnits), 1);
    return buffer;
}

LOGINDATA Revealed(Buffer buffer, ULONG ulCount = kulUnits)
{
    LOGINDATA data;
    std::memset(&data, 0xEE, sizeof data);
    EXPECT_EQ(OEncrypt::DecryptLoginData(&data, buffer.data(), ulCount), 1);
    return data;
}

bool operator==(const LOGINDATA& a, const LOGINDATA& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// What the library places where, learned from what it does: the 768 characters in the order text 2, 3, 1, then the flag.
struct Places
{
    Places()
    {
        Buffer own(kulUnits); // each unit holds its own position
        std::iota(own.begin(), own.end(), 0);
        const LOGINDATA data = Revealed(own);
        for (const auto& text : {data.awcText2, data.awcText3, data.awcText1}) positions.insert(positions.end(), text, text + 256);

        const Buffer yes = Protected(LOGINDATA{{}, {}, {}, 1}), no = Protected(LOGINDATA{});
        std::vector<unsigned short> flags;
        for (unsigned short i = 0; i < kulUnits; ++i)
            if (yes[i] != 0 && (yes[i] < 65 || yes[i] > 122)) flags.push_back(i);
        EXPECT_EQ(flags.size(), 1u);
        positions.push_back(flags.at(0));
        uwTrue = yes[positions[768]];
        uwFalse = no[positions[768]];
    }
    std::vector<unsigned short> positions;
    unsigned short uwTrue, uwFalse;
};

std::uint64_t Fnv1a(const std::vector<unsigned short>& units)
{
    std::uint64_t ullHash = 0xCBF29CE484222325;
    for (const unsigned short uwUnit : units)
        for (const int iByte : {uwUnit & 0xFF, uwUnit >> 8}) ullHash = (ullHash ^ static_cast<unsigned>(iByte)) * 0x100000001B3;
    return ullHash;
}

void WaitForAnotherSecond()
{
    const std::time_t now = std::time(nullptr);
    while (std::time(nullptr) == now) std::this_thread::sleep_for(std::chrono::milliseconds(20));
}
} // namespace

TEST(LoginRecord, HasThePositionsAndMarkersThatItAlwaysHad)
{
    Places places;
    ASSERT_EQ(places.positions.size(), 769u);
    places.positions.push_back(places.uwTrue);
    places.positions.push_back(places.uwFalse);
    EXPECT_EQ(Fnv1a(places.positions), 0x0BD99B0ED80CC626ull) << "records that exist become unreadable with other values";
}

TEST(LoginRecord, HasAPositionForEachCharacterAndMarkersThatAreNoFiller)
{
    const Places places;
    EXPECT_EQ(std::set(places.positions.begin(), places.positions.end()).size(), 769u);
    EXPECT_LT(*std::max_element(places.positions.begin(), places.positions.end()), kulUnits);
    EXPECT_NE(places.uwTrue, places.uwFalse);
    for (const unsigned short uwMarker : {places.uwTrue, places.uwFalse}) EXPECT_TRUE(uwMarker < 65 || uwMarker > 122) << uwMarker;
}

TEST(LoginRecord, ComesBackWholeWithWhatStandsBehindTheTerminators)
{
    for (const ULONG ulFlag : {0u, 1u})
    {
        const LOGINDATA data = Record(ulFlag);
        EXPECT_TRUE(Revealed(Protected(data)) == data) << ulFlag;
    }
}

TEST(LoginRecord, AnyFlagButZeroIsTrueAndComesBackAsOne)
{
    for (const ULONG ulFlag : {2u, 0x80000000u, 0x10000u}) EXPECT_EQ(Revealed(Protected(Record(ulFlag))).ulFlag, 1u) << ulFlag;
}

TEST(LoginRecord, EveryUnitLiesAtItsPosition)
{
    const Places places;
    const LOGINDATA data = Record(1);
    const Buffer buffer = Protected(data);
    for (int i = 0; i < 256; ++i)
    {
        EXPECT_EQ(buffer[places.positions[i]], data.awcText2[i]);
        EXPECT_EQ(buffer[places.positions[256 + i]], data.awcText3[i]);
        EXPECT_EQ(buffer[places.positions[512 + i]], data.awcText1[i]);
    }
    EXPECT_EQ(buffer[places.positions[768]], places.uwTrue);
    EXPECT_EQ(Protected(Record(0))[places.positions[768]], places.uwFalse);
}

TEST(LoginRecord, IsProtectedDifferentlyEachTimeAndRevealsTheSame)
{
    const LOGINDATA data = Record(1);
    const Buffer first = Protected(data);
    WaitForAnotherSecond(); // the time of day starts the filler
    const Buffer second = Protected(data);
    EXPECT_NE(first, second);
    EXPECT_TRUE(Revealed(first) == Revealed(second));
    EXPECT_TRUE(Revealed(second) == data);
}

TEST(LoginRecord, TheFillerIsLettersOnly)
{
    const Places places;
    std::set<unsigned short> fillers;
    Buffer buffer = Protected(Record(1));
    for (const unsigned short uwPosition : places.positions) buffer[uwPosition] = 'A';
    for (const unsigned short uwUnit : buffer) fillers.insert(uwUnit);
    EXPECT_EQ(*fillers.begin(), 65);
    EXPECT_EQ(*fillers.rbegin(), 122);
    EXPECT_EQ(fillers.size(), 58u); // in 9,231 of them, each comes
}

TEST(LoginRecord, TheFillerIsTheRuntimesSequenceOfThisSecond)
{
    const Places places;
    std::time_t now;
    Buffer buffer;
    do // until it began and ended in one second
    {
        now = std::time(nullptr);
        buffer = Protected(Record(0));
    } while (std::time(nullptr) != now);

    std::srand(static_cast<unsigned>(now));
    for (ULONG i = 0; i < kulUnits; ++i)
    {
        const int iFiller = 65 + std::rand() % 58;
        if (std::ranges::find(places.positions, i) != places.positions.end()) continue;
        ASSERT_EQ(buffer[i], iFiller) << i;
    }
}

TEST(LoginRecord, FillsAsManyUnitsAsItIsTold)
{
    const Places places;
    const Buffer buffer = Protected(Record(1), 100);
    for (ULONG i = 0; i < kulUnits; ++i)
    {
        if (std::ranges::find(places.positions, i) != places.positions.end()) continue;
        EXPECT_EQ(buffer[i] == 0xFFFF, i >= 100) << i;
    }
    EXPECT_TRUE(Revealed(buffer, 0) == Record(1)); // the positions are not checked against the count
}

TEST(LoginRecord, WithNeitherMarkerTheFlagIsFalse)
{
    const Places places;
    Buffer buffer = Protected(Record(1));
    for (const unsigned uUnit : {0u, 1u, 65u, 0xFFFFu, places.uwTrue + 1u, places.uwTrue - 1u, 0u + places.uwFalse})
    {
        buffer[places.positions[768]] = static_cast<unsigned short>(uUnit);
        EXPECT_EQ(Revealed(buffer).ulFlag, 0u) << uUnit;
    }
}

TEST(LoginRecord, ItsOffsetsAreDistinct) { EXPECT_EQ(OEncrypt::CheckOffsetArray(), 1); }

TEST(LoginRecord, ARepeatAnywhereInATableOfOffsetsIsFound)
{
    std::vector<LONG> table(769);
    std::iota(table.begin(), table.end(), 0);
    EXPECT_TRUE(AreDistinct(table));
    const struct { int iFrom, iTo; } repeats[] = {{0, 1}, {0, 768}, {767, 768}, {300, 301}, {255, 512}};
    for (const auto& repeat : repeats)
    {
        std::vector<LONG> other = table;
        other[repeat.iTo] = other[repeat.iFrom];
        EXPECT_FALSE(AreDistinct(other)) << repeat.iFrom << " " << repeat.iTo;
    }
    EXPECT_TRUE(AreDistinct({}));
}
