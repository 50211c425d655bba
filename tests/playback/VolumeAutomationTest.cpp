#include <gtest/gtest.h>

#include <vector>

#include "document/TimelineItems.h"
#include "document/VolumeAutomation.h"

using namespace ostinel;

TEST(VolumeAutomation, StraightInDbBetweenNodesFlatBeyondAndStepsAtTheFirstOfEqualTimes) {
    auto curve = [](std::vector<std::pair<double, double>> nodes) {
        std::vector<AutomationPoint> points;
        for (auto [t, db] : nodes) points.push_back(AutomationPoint{Uuid::random(), t, db});
        return points;
    };
    EXPECT_EQ(VolumeAutomation::db(3, curve({})), 0.0);
    auto c = curve({{2, -10}, {4, -30}, {4, -6}, {6, 0}});
    EXPECT_EQ(VolumeAutomation::db(0, c), -10);
    EXPECT_DOUBLE_EQ(VolumeAutomation::db(3, c), -20);
    EXPECT_DOUBLE_EQ(VolumeAutomation::db(4, c), -30);
    EXPECT_DOUBLE_EQ(VolumeAutomation::db(5.5, c), -1.5);
    EXPECT_EQ(VolumeAutomation::db(100, c), 0);
}
