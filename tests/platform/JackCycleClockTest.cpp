#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

#include "platform/JackCycleClock.h"

namespace ostinel::midiserver {
namespace {

constexpr std::uint32_t period = 256;
constexpr double nominalRate = 48000.0;

// Messages meant for every 10 ms, each placed as a JACK MIDI port places it:
// in the cycle its frame falls in, at that frame. The card runs `ppm` fast;
// cycle k's callback comes lateUsecs(k) after the cycle starts. Returns the
// frames the messages land on.
std::vector<std::int64_t> place(double ppm, const std::function<double(int)>& lateUsecs, int cycles) {
    CycleClockEstimate estimate;
    const double rate = nominalRate * (1.0 + ppm * 1e-6);
    const double origin = 1000.0; // CLOCK_MONOTONIC seconds of frame 0
    double next = origin + 0.05;
    std::vector<std::int64_t> placed;
    for (int k = 0; k < cycles; ++k) {
        const auto first = std::uint32_t(k) * period;
        const double startUsecs = (origin + double(first) / rate) * 1e6;
        const CycleClock clock = estimate.read(first, period, nominalRate, startUsecs + lateUsecs(k));
        for (double wanted; (wanted = std::round(clock.frameFor(next, period))) < double(period);
             next += 0.01)
            placed.push_back(std::int64_t(first) + std::int64_t(std::max(wanted, 0.0)));
    }
    return placed;
}

// A loaded machine calls back late, now and then hardly at all: a callback
// on time after a run of late ones must not pull the clock so far at once
// that the messages around it come a frame or more off their spacing, on a
// card at its nominal rate or one running fast.
TEST(JackCycleClock, AnOnTimeCallbackAmongLateOnesMovesNoMessageOffItsSpacing) {
    const auto mostlyLate = [](int k) { return k % 200 == 199 ? 0.0 : 60.0; };
    for (const double ppm : {0.0, 300.0}) {
        const auto placed = place(ppm, mostlyLate, 2000);
        const double interval = 0.01 * nominalRate * (1.0 + ppm * 1e-6);
        ASSERT_GE(placed.size(), 1000u);
        for (std::size_t i = 1; i < placed.size(); ++i)
            ASSERT_NEAR(double(placed[i] - placed[i - 1]), interval, 1.0) << ppm << " ppm, message " << i;
    }
}

} // namespace
} // namespace ostinel::midiserver
