#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "DrumCorpus.h"
#include "analysis/TempoAnalyzer.h"

namespace ostinel {
namespace {

constexpr int kRate = 44100;

// Sixty to 190 BPM, with swing, fills, quiet intros and silent gaps mixed in.
std::vector<test::DrumStyle> constantPieces() {
    const double tempi[] = {60,  66,    72,  79.5, 85,  90,  96,  100, 104.5, 110, 116, 120,
                            123, 127.3, 132, 138,  144, 150, 157, 163, 170,   176, 184, 190};
    std::vector<test::DrumStyle> pieces;
    for (unsigned i = 0; i < std::size(tempi); ++i) {
        test::DrumStyle s;
        s.bpm = tempi[i];
        s.seconds = 30 + i % 3 * 4;
        s.seed = i + 1;
        s.leadIn = 0.05 + 0.04 * (i % 7);
        s.swing = i % 4 == 1 ? 0.33 : i % 4 == 3 ? 0.15 : 0;
        s.fills = i % 2 == 0;
        s.introBars = i % 5 == 2 ? 4 : i % 5 == 4 ? 2 : 0;
        s.gapBar = i % 3 == 1 ? 8 : -1;
        pieces.push_back(s);
    }
    return pieces;
}

// Octave answers are the tempo choice's design (it folds into 70 to 140
// unless the other octave is far stronger), so they are counted apart; a
// half-tempo grid has no one downbeat phase, so anchors are held to the
// pieces whose tempo came out right.
TEST(TempoAccuracy, ConstantPiecesWithinOnePercentAndAnchoredOnTheFirstDownbeat) {
    int right = 0, octave = 0, anchored = 0;
    const auto pieces = constantPieces();
    std::printf("%8s %9s %8s %11s %7s\n", "tempo", "detected", "error %", "anchor ms", "octave");
    for (const auto& style : pieces) {
        const auto piece = test::renderDrums(style, kRate);
        const auto estimate = TempoAnalyzer::analyze(piece.samples, kRate, 0);
        ASSERT_TRUE(estimate) << style.bpm;
        const double error = (estimate->bpm - style.bpm) / style.bpm * 100;
        const bool isRight = std::abs(error) < 1;
        const bool isOctave = std::abs(estimate->bpm / (style.bpm * 2) - 1) < 0.01 ||
                              std::abs(estimate->bpm / (style.bpm / 2) - 1) < 0.01;
        const double anchorMs = (estimate->anchorSeconds - piece.firstDownbeat) * 1000;
        std::printf("%8.2f %9.2f %8.2f %11.1f %7s\n", style.bpm, estimate->bpm, error, anchorMs,
                    isOctave ? "yes" : "");
        right += isRight;
        octave += isOctave;
        anchored += isRight && std::abs(anchorMs) <= 20;
        EXPECT_FALSE(estimate->isDrifting) << style.bpm;
    }
    std::printf("right %d, octave %d of %zu; %d of the right ones anchored within 20 ms\n", right, octave,
                pieces.size(), anchored);
    EXPECT_GE(right + octave, int(std::ceil(0.9 * double(pieces.size()))));
    EXPECT_GE(right, int(pieces.size()) / 2);
    EXPECT_GE(anchored, int(std::ceil(0.9 * right)));
}

TEST(TempoAccuracy, RampsAreFlaggedAsDrifting) {
    for (const auto& [from, to] : {std::pair{100.0, 96.0}, {90.0, 94.0}, {128.0, 133.0}, {140.0, 134.0}}) {
        test::DrumStyle s;
        s.bpm = from;
        s.endBpm = to;
        s.seconds = 38;
        s.fills = true;
        const auto piece = test::renderDrums(s, kRate);
        const auto estimate = TempoAnalyzer::analyze(piece.samples, kRate, 0);
        ASSERT_TRUE(estimate) << from;
        EXPECT_TRUE(estimate->isDrifting) << from << " to " << to << ": " << estimate->bpm;
    }
}

} // namespace
} // namespace ostinel
