#include "util/time-util.h"

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <string>

namespace {

// Local minus UTC stamp in the zone `tz`, modulo a day (only the clocks'
// hours and minutes are compared, so across midnight it is a day off).
long localOffset(const char* tz)
{
    setenv("TZ", tz, 1);
    tzset();
    for (;;) {
        const long before = GetUTCTimeStamp();
        const long local = GetLocalTimeStamp();
        if (GetUTCTimeStamp() == before)
            return ((local - before) % 86400 + 86400) % 86400;
    }
}

// Puts the caller's time zone back after each test.
class TimeUtilTest : public testing::Test
{
protected:
    void SetUp() override
    {
        const char* tz = std::getenv("TZ");
        hadZone = tz != nullptr;
        zone = hadZone ? tz : "";
    }
    void TearDown() override
    {
        if (hadZone)
            setenv("TZ", zone.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

    bool hadZone = false;
    std::string zone;
};

} // namespace

TEST_F(TimeUtilTest, FormatTimeStampInLocalTime)
{
    setenv("TZ", "UTC0", 1);
    tzset();
    EXPECT_EQ(FormatTimeStamp(0), "01.01.1970   00:00:00");
    EXPECT_EQ(FormatTimeStamp(1700000000), "14.11.2023   22:13:20");
    setenv("TZ", "XYZ-3", 1);
    tzset();
    EXPECT_EQ(FormatTimeStamp(1700000000), "15.11.2023   01:13:20");
    EXPECT_EQ(FormatTimeStamp(LONG_MAX), "");
}

TEST_F(TimeUtilTest, LocalStampAddsTheClockOffset)
{
    EXPECT_EQ(localOffset("UTC0"), 0);
    EXPECT_EQ(localOffset("XYZ-5:30"), 5 * 3600 + 30 * 60);
    EXPECT_EQ(localOffset("XYZ+7"), 17 * 3600);
    EXPECT_LE(std::labs(GetUTCTimeStamp() - static_cast<long>(std::time(nullptr))), 1);
}

TEST_F(TimeUtilTest, TickCountIsTheMonotonicClockInMilliseconds)
{
    const auto steady = [] {
        return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                              std::chrono::steady_clock::now().time_since_epoch())
                                              .count());
    };
    const std::uint32_t before = steady();
    const std::uint32_t tick = GetTickCountEx();
    const std::uint32_t after = steady();
    EXPECT_LE(std::uint32_t(tick - before), std::uint32_t(after - before));
}
