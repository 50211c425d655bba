#include <gtest/gtest.h>

#include "workspace/editpanel/ClockText.h"

namespace ostinel {
namespace {

TEST(ClockText, ReadsSecondsMinutesAndHours) {
    EXPECT_EQ(parseClock("83.5"), 83.5);
    EXPECT_EQ(parseClock(" 1:23.5 "), 83.5);
    EXPECT_EQ(parseClock("75:02"), 4502.0) << "minutes past an hour, as the clocks show them";
    EXPECT_EQ(parseClock("1:00:00"), 3600.0);
    EXPECT_EQ(parseClock("0:00:01.250"), 1.25);
    for (const char* bad : {"", ":", "1:60", "1:60:00", "1:2:3:4", "-1", "1e3", "inf", "1..2", "a:00", "1.5:00"})
        EXPECT_EQ(parseClock(bad), std::nullopt) << bad;
}

TEST(ClockText, WritesHoursExactlyToTheMillisecond) {
    EXPECT_EQ(formatHours(3600.0), "1:00:00");
    EXPECT_EQ(formatHours(3600.04), "1:00:00.040");
    EXPECT_EQ(formatHours(36000.0 + 59 * 60 + 59.999), "10:59:59.999");
    EXPECT_EQ(formatHours(-3.0), "0:00:00");
    EXPECT_EQ(parseClock(formatHours(4321.125)), 4321.125);
}

} // namespace
} // namespace ostinel
