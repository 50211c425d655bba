#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "timecode/TimecodeRate.h"

namespace ostinel {
namespace {

using timecode::components;
using timecode::frameNumber;
using timecode::seconds;
using timecode::string;
using R = TimecodeRate;

TEST(TimecodeRate, RawValuesAndCodesFollowTheSettingsOrder) {
    for (TimecodeRate rate : timecode::allRates) {
        EXPECT_EQ(timecode::rateFromRaw(timecode::rawValue(rate)), rate);
        EXPECT_DOUBLE_EQ(timecode::quarterFramesPerSecond(rate), 4 * timecode::exactFps(rate));
        EXPECT_DOUBLE_EQ(timecode::ltcHalfBitsPerSecond(rate), 160 * timecode::exactFps(rate));
    }
    EXPECT_EQ(timecode::rateCode(R::fps2997df), 2);
    EXPECT_EQ(timecode::rateFromRaw("fps29.97"), std::nullopt);
    EXPECT_EQ(timecode::rateFromRaw(""), std::nullopt);
    EXPECT_EQ(timecode::ltcModeFromRaw("customRoute"), LTCMode::customRoute);
    EXPECT_EQ(timecode::ltcModeFromRaw("custom"), LTCMode::splitMain);
}

TEST(TimecodeRate, HoursAndDropFrameMinutes) {
    EXPECT_EQ(string(R::fps25, 3600.0), "01:00:00:00");
    EXPECT_EQ(frameNumber(R::fps2997df, 3600.0), 107892);
    EXPECT_EQ(string(R::fps2997df, 3600.0), "01:00:00;00");

    const auto df = [](std::int64_t frame) { return components(R::fps2997df, frame); };
    EXPECT_EQ(df(1799), (TimecodeComponents{0, 0, 59, 29}));
    EXPECT_EQ(df(1800), (TimecodeComponents{0, 1, 0, 2}));
    EXPECT_EQ(df(17981), (TimecodeComponents{0, 9, 59, 29}));
    EXPECT_EQ(df(17982), (TimecodeComponents{0, 10, 0, 0}));

    // Non-drop hours run past 24; drop-frame hours wrap.
    EXPECT_EQ(string(R::fps30, 90000.0), "25:00:00:00");
    EXPECT_EQ(frameNumber(R::fps2997df, 90000.0), 2697302);
    EXPECT_EQ(string(R::fps2997df, 90000.0), "01:00:00;02");

    EXPECT_EQ(frameNumber(R::fps25, -3.0), 0);
    EXPECT_EQ(string(R::fps24, -0.5), "00:00:00:00");
}

TEST(TimecodeRate, ParsingAcceptsSeparatorsAndSignsButNeedsFourIntegers) {
    EXPECT_EQ(seconds(R::fps25, "00:00:10;00"), 10.0);
    EXPECT_DOUBLE_EQ(*seconds(R::fps25, " 01 : 02:03 :+04 "), 3723.16);
    EXPECT_EQ(seconds(R::fps24, "01:99:00:00"), 3600.0 + 99 * 60);
    EXPECT_EQ(seconds(R::fps30, "00:00:00:45"), 1.5);
    EXPECT_EQ(seconds(R::fps25, "-1:00:00:00"), -3600.0);
    for (const char* bad : {"00:00:10", "1:2:3:", "1:2:3:4:5", ":1:2:3", "a:0:0:0", "0:0:0:1.5", "0:0:0:+",
                            "+-1:0:0:0", "0:0:0:1 2", "", "99999999999999999999:0:0:0"})
        EXPECT_EQ(seconds(R::fps25, bad), std::nullopt) << bad;
    // Too many hours to count in frames is text that does not parse, not a crash.
    EXPECT_EQ(seconds(R::fps2997df, "999999999999999:00:00;00"), std::nullopt);
}

TEST(TimecodeRate, DropFrameParsingNeedsNoSpecialCaseForSkippedNumbers) {
    const auto at = seconds(R::fps2997df, "00:01:00;00");
    ASSERT_TRUE(at);
    EXPECT_EQ(frameNumber(R::fps2997df, *at), 1798);
    EXPECT_EQ(string(R::fps2997df, *at), "00:00:59;28");
}

// frame -> text -> seconds -> frame, for every frame of a day, which also
// holds the drop-frame numbering and its parser to each other. One rate a
// test, so that they can run side by side.
class EveryFrameOfADay : public testing::TestWithParam<TimecodeRate> {};

TEST_P(EveryFrameOfADay, RoundTripsThroughItsText) {
    const TimecodeRate rate = GetParam();
    const double fps = timecode::exactFps(rate);
    const std::int64_t day = frameNumber(rate, *seconds(rate, "24:00:00:00"));
    std::int64_t mismatches = 0;
    std::string first;
    for (std::int64_t frame = 0; frame < day; ++frame) {
        const std::string text = string(rate, double(frame) / fps);
        const auto back = seconds(rate, text);
        const std::int64_t again = back ? frameNumber(rate, *back) : -1;
        if (again != frame && mismatches++ == 0)
            first = std::to_string(frame) + " -> " + text + " -> " + std::to_string(again);
    }
    EXPECT_EQ(mismatches, 0) << "first: " << first;
    EXPECT_EQ(string(rate, double(day - 1) / fps).substr(0, 9),
              "23:59:59" + std::string(1, ":;"[rate == R::fps2997df]));
}

INSTANTIATE_TEST_SUITE_P(TimecodeRate, EveryFrameOfADay, testing::ValuesIn(timecode::allRates),
                         [](const auto& info) { return std::string(timecode::rawValue(info.param)); });

TEST(PlainTime, FormatsFlooredCentisecondsAndParsesCommaDecimals) {
    EXPECT_EQ(timeString(59.999), "0:59.99");
    EXPECT_EQ(timeString(-1), "0:00.00");
    EXPECT_EQ(timeString(-0.0), "0:00.00");
    EXPECT_EQ(timeString(1.0 / 0.0), "0:00.00");
    EXPECT_EQ(timeString(7265.5), "121:05.50");

    EXPECT_EQ(parseTime("1:30,5"), 90.5);
    EXPECT_EQ(parseTime(" 42.25 "), 42.25);
    EXPECT_EQ(parseTime(":30"), 30.0);
    EXPECT_EQ(parseTime("+2:00"), 120.0);
    for (const char* bad : {"1:2:3", "", "  ", "1:x", "+-5", "1 :30"})
        EXPECT_EQ(parseTime(bad), std::nullopt) << bad;
}

} // namespace
} // namespace ostinel
