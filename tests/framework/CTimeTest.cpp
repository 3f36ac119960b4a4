#include "CTime.h"

#include <gtest/gtest.h>

#include <string>

// 3 February 2001, 14:05:09 of the local clock.
static CTime AfternoonInFebruary()
{
    std::tm local{};
    local.tm_year = 101;
    local.tm_mon = 1;
    local.tm_mday = 3;
    local.tm_hour = 14;
    local.tm_min = 5;
    local.tm_sec = 9;
    local.tm_isdst = -1;
    return CTime(static_cast<LONGLONG>(std::mktime(&local)));
}

TEST(Time, TheCurrentTimeIsTheSystems)
{
    FILETIME before{}, after{};
    GetSystemTimeAsFileTime(&before);
    const CTime now = CTime::GetCurrentTime();
    GetSystemTimeAsFileTime(&after);
    EXPECT_LE(CTime(before).GetTime(), now.GetTime() + 1); // the two clocks may tick apart
    EXPECT_LE(now.GetTime(), CTime(after).GetTime() + 1);
}

TEST(Time, FormatsLocalTime)
{
    const CTime time = AfternoonInFebruary();
    EXPECT_STREQ(time.Format("%d-%b-%y %I:%M:%S %p"), "03-Feb-01 02:05:09 PM");
    EXPECT_STREQ(time.Format("%Y-%m-%d %H:%M:%S"), "2001-02-03 14:05:09");
    EXPECT_STREQ(time.Format("100%% on day %j, %A"), "100% on day 034, Saturday");
    EXPECT_STREQ(CTime(time.GetTime() - 12 * 3600).Format("%I %p"), "02 AM");
}

TEST(Time, FormatsTextsOfAnyLength)
{
    const CTime time = AfternoonInFebruary();
    EXPECT_STREQ(time.Format(""), "");
    EXPECT_STREQ(time.Format("."), ".");
    std::string sFormat, sExpected;
    for (int i = 0; i < 500; ++i)
    {
        sFormat += "%Y ";
        sExpected += "2001 ";
    }
    EXPECT_STREQ(time.Format(sFormat.c_str()), sExpected.c_str());
}

TEST(Time, AMomentThatNoCalendarKnowsHasNoText)
{
    EXPECT_STREQ(CTime(0x7FFFFFFFFFFFFFFF).Format("%Y"), "");
}
