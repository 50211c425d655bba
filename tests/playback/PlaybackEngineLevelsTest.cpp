#include <gtest/gtest.h>

#include <cmath>

#include "EngineRig.h"
#include "playback/LevelLaw.h"

namespace ostinel {
namespace {

using test::EngineRig;

const float level = float(1.0 / Constraint::maxTrackAmplitude);
const float fixedGain = float(std::pow(10.0, OutputChain::fixedGainDb / 20.0));

// What the output's right channel says the player's volume was, well after
// the tick at `rendered` (past the limiter's delay and the volume's ramp).
float heardVolume(const EngineRig& rig, std::int64_t rendered) {
    return rig.right[std::size_t(rendered + 500)] / (EngineRig::probeRight * fixedGain);
}

struct TickLevel {
    std::int64_t rendered;
    double time;
    float volume;
};

TEST(PlaybackEngineLevels, AFadeInIsStraightInDbFromMinus60AtEveryTickAndInTheOutput) {
    EngineRig rig(3.0);
    rig.track.fade.fadeInSeconds = 1.0;
    auto& engine = rig.load();
    std::vector<TickLevel> levels;
    rig.afterTick = [&] { levels.push_back({rig.ticks.back().rendered, engine.currentTime(), engine.playerVolume()}); };
    engine.play();
    rig.run(1.2);

    ASSERT_GE(levels.size(), 35u);
    for (std::size_t i = 0; i + 1 < levels.size(); ++i) {
        const auto& l = levels[i];
        const double p = std::min(l.time / 1.0, 1.0);
        const float expected = p >= 1.0 ? level : level * float(std::pow(10.0, (1.0 - p) * -60.0 / 20.0));
        EXPECT_NEAR(l.volume, expected, expected * 1e-5) << "tick " << i;
        EXPECT_NEAR(heardVolume(rig, l.rendered), l.volume, l.volume * 1e-4 + 1e-7) << "tick " << i;
    }
    EXPECT_NEAR(20.0 * std::log10(engine.envelopeVolume(0.5) / level), -30.0, 1e-4);
}

TEST(PlaybackEngineLevels, TheEnvelopeFollowsTheCurveTheFadesAndTheLevel) {
    EngineRig rig(3.0);
    auto& engine = rig.load();
    auto bounds = PlaybackEngine::Bounds::of(rig.track);
    bounds.start = 1.0;
    bounds.end = 2.0;
    bounds.fadeIn = 0.6;
    bounds.fadeOut = 0.6;
    engine.applyBounds(bounds);
    EXPECT_EQ(engine.envelopeVolume(1.0), 0.0f); // the step up from silence
    EXPECT_EQ(engine.envelopeVolume(0.5), 0.0f);
    EXPECT_NEAR(engine.envelopeVolume(1.0 + 1e-9), level * 0.001f, 1e-7);
    // Overlapping fades: the smaller position wins.
    EXPECT_NEAR(engine.envelopeVolume(1.45), level * float(std::pow(10.0, (1.0 - 0.45 / 0.6) * -3.0)), 1e-7);
    bounds.fadeIn = -1.0; // switched off
    engine.applyBounds(bounds);
    EXPECT_EQ(engine.envelopeVolume(1.0), level);

    // Stored unsorted; of the two at 1.0 s the one found first decides below it.
    bounds.automation = {AutomationPoint{.timeSeconds = 1.0, .db = 6.0},
                         AutomationPoint{.timeSeconds = 0.0, .db = -60.0},
                         AutomationPoint{.timeSeconds = 1.0, .db = -20.0}};
    bounds.automationEnabled = true;
    bounds.volume = 2.0;
    engine.applyBounds(bounds);
    const float twice = 2.0f * level;
    EXPECT_EQ(engine.envelopeVolume(0.0), 0.0f);
    EXPECT_GT(engine.envelopeVolume(0.0017), 0.0f); // -59.9 dB
    EXPECT_NEAR(engine.envelopeVolume(0.999), twice * float(std::pow(10.0, (-60.0 + 0.999 * 66.0) / 20.0)), 1e-6);
    EXPECT_NEAR(engine.envelopeVolume(5.0), twice * 0.1f, 1e-6);

    bounds.volume = 0.0;
    engine.applyBounds(bounds);
    EXPECT_EQ(engine.envelopeVolume(1.0), 0.0f);
    bounds.volume = 100.0;
    engine.applyBounds(bounds);
    EXPECT_EQ(engine.trackVolume(), float(Constraint::maxTrackAmplitude));
}

Loop ducking(double start, double end, double db, double fadeIn, double fadeOut) {
    Loop loop = EngineRig::loopOf(start, end, 1);
    loop.reduceVolumeEnabled = true;
    loop.reduceVolumeDb = db;
    loop.fadeInSeconds = fadeIn;
    loop.fadeOutSeconds = fadeOut;
    return loop;
}

// Plays the loops from 0: no duck before the first, the player's volume
// follows the duck at every tick, and the duck takes these distinct steps.
void expectDuckSteps(std::vector<Loop> loops, double seconds, const std::vector<double>& expected) {
    EngineRig rig(3.0);
    const double firstStart = loops.front().startSeconds;
    rig.track.loops = CowList<Loop>(std::move(loops));
    auto& engine = rig.load();
    std::vector<double> steps;
    rig.afterTick = [&] {
        const double db = engine.duckDb();
        if (std::fabs(db - (steps.empty() ? 0.0 : steps.back())) > 1e-9) steps.push_back(db);
        EXPECT_NEAR(engine.playerVolume(), level * float(std::pow(10.0, db / 20.0)), 1e-6);
        if (engine.currentTime() < firstStart) {
            EXPECT_EQ(db, 0.0);
        }
    };
    engine.play();
    rig.run(seconds);
    ASSERT_EQ(steps.size(), expected.size());
    for (std::size_t i = 0; i < steps.size(); ++i) EXPECT_NEAR(steps[i], expected[i], 1e-9) << i;
}

TEST(PlaybackEngineLevels, LoopDuckingRampsByTicksDownAndBackAtTheLoopsRates) {
    // 2 dB a tick down, 4 dB a tick up.
    expectDuckSteps({ducking(1.0, 2.0, 12.0, 0.2, 0.1)}, 2.5, {-2, -4, -6, -8, -10, -12, -8, -4, 0});
}

TEST(PlaybackEngineLevels, BackToBackDuckingLoopsRampStraightToTheNextTargetAtItsRate) {
    // 4 dB a tick on the way up from either.
    expectDuckSteps({ducking(0.5, 1.0, 12.0, 0.2, 0.0), ducking(1.0, 1.5, 6.0, 0.0, 0.05)}, 2.0,
                    {-2, -4, -6, -8, -10, -12, -8, -6, -2, 0});
}

TEST(PlaybackEngineLevels, APauseKeepsTheDuckAndAPlayClearsIt) {
    EngineRig rig(3.0);
    rig.track.loops = {ducking(1.0, 2.0, 12.0, 0.0, 0.0)};
    auto& engine = rig.load();
    engine.play();
    engine.seek(1.5);
    rig.run(0.4);
    EXPECT_LT(engine.duckDb(), 0.0);
    engine.pause();
    EXPECT_LT(engine.duckDb(), 0.0);
    engine.play();
    EXPECT_EQ(engine.duckDb(), 0.0);
}

TEST(PlaybackEngineLevels, TheEscFadeIsLinearInAmplitudeAndEndsWithStopHereThenTheClosure) {
    EngineRig rig(3.0);
    auto& engine = rig.playFor(0.5);

    int firstCalls = 0;
    engine.fadeOutAndStop(2.0, [&] { ++firstCalls; });
    rig.run(0.2);
    // A second fade replaces the first's closure and starts from the volume now.
    std::vector<TickLevel> levels;
    const double fadeStart = rig.loop.now();
    rig.afterTick = [&] {
        const auto& tick = rig.ticks.back();
        if (engine.isPlaying()) levels.push_back({tick.rendered, tick.at - fadeStart, engine.playerVolume()});
    };
    const float from = engine.playerVolume();
    EXPECT_LT(from, level);
    int calls = 0;
    bool playingInClosure = true;
    double stoppedAt = -1;
    engine.fadeOutAndStop(1.0, [&] {
        ++calls;
        playingInClosure = engine.isPlaying();
        stoppedAt = engine.currentTime();
    });
    rig.run(1.2);

    ASSERT_GE(levels.size(), 28u);
    for (std::size_t i = 0; i < levels.size(); ++i) {
        EXPECT_NEAR(levels[i].volume, from * float(1.0 - levels[i].time / 1.0), 1e-6) << i;
        if (i + 1 < levels.size()) {
            EXPECT_NEAR(heardVolume(rig, levels[i].rendered), levels[i].volume, 1e-5) << i;
            EXPECT_NEAR(levels[i].volume - levels[i + 1].volume, from / 30.0f, 1e-6) << i;
        }
    }
    EXPECT_EQ(firstCalls, 0);
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(playingInClosure);
    EXPECT_NEAR(stoppedAt, 1.7, 0.05); // where the fade ended, not rewound
    EXPECT_EQ(engine.playerVolume(), level);
}

TEST(PlaybackEngineLevels, AnEscFadeOfNoLengthStopsAtOnceAndCallsBackBeforeReturning) {
    EngineRig rig(3.0);
    auto& engine = rig.playFor(0.5);
    int calls = 0;
    engine.fadeOutAndStop(0.0, [&] { ++calls; });
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(engine.isPlaying());
    EXPECT_EQ(engine.currentTime(), engine.startTime());
}

TEST(PlaybackEngineLevels, TheStopFadeLengthIsClampedAndRemembered) {
    EngineRig rig;
    rig.preferences.setValue("stopFadeSeconds", 4.0);
    auto& engine = rig.make();
    EXPECT_EQ(engine.stopFadeSeconds(), 4.0);
    engine.setStopFadeSeconds(11.0);
    EXPECT_EQ(engine.stopFadeSeconds(), 10.0);
    EXPECT_EQ(rig.preferences.doubleValue("stopFadeSeconds"), 10.0);
    engine.setStopFadeSeconds(-1.0);
    EXPECT_EQ(engine.stopFadeSeconds(), 0.0);
    EXPECT_EQ(rig.preferences.doubleValue("stopFadeSeconds"), 0.0);
}

TEST(LevelLaw, TheSliderIsAFourthPowerLawWithUnityAtTwoThirds) {
    EXPECT_EQ(LevelLaw::amplitudeForSlider(0.0), 0.0);
    EXPECT_EQ(LevelLaw::amplitudeForSlider(1.0), Constraint::maxTrackAmplitude);
    EXPECT_EQ(LevelLaw::amplitudeForSlider(2.0), Constraint::maxTrackAmplitude);
    const double unity = LevelLaw::sliderForAmplitude(1.0);
    EXPECT_NEAR(unity, std::pow(Constraint::maxTrackAmplitude, -0.25), 1e-12);
    EXPECT_NEAR(LevelLaw::amplitudeForSlider(unity), 1.0, 1e-12);
    EXPECT_EQ(LevelLaw::sliderForAmplitude(-1.0), 0.0);
    EXPECT_EQ(LevelLaw::sliderForAmplitude(9.0), 1.0);
}

TEST(LevelLaw, TheDbFieldShowsAndReadsLevels) {
    EXPECT_EQ(LevelLaw::formatDb(0.0), "-∞");
    EXPECT_EQ(LevelLaw::formatDb(0.0001), "-∞");
    EXPECT_EQ(LevelLaw::formatDb(0.5), "-6.0");
    EXPECT_EQ(LevelLaw::formatDb(Constraint::maxTrackAmplitude), "15.0");

    for (const char* silence : {"-∞", "−∞", " -inf ", "-INF", "−Inf"}) EXPECT_EQ(LevelLaw::parseDb(silence), 0.0) << silence;
    EXPECT_NEAR(*LevelLaw::parseDb(" −6 "), 0.501187, 1e-6);
    EXPECT_NEAR(*LevelLaw::parseDb("+3.5"), std::pow(10.0, 3.5 / 20.0), 1e-12);
    EXPECT_EQ(LevelLaw::parseDb("40"), Constraint::maxTrackAmplitude);
    EXPECT_EQ(LevelLaw::parseDb("0"), 1.0);
    for (const char* junk : {"", "loud", "6 dB", "--6", "nan", "-∞∞"}) EXPECT_FALSE(LevelLaw::parseDb(junk)) << junk;
}

} // namespace
} // namespace ostinel
