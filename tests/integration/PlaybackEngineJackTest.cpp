#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

#include "Eventually.h"
#include "JackServer.h"
#include "document/ShowFile.h"
#include "playback/EngineRig.h"
#include "support/CliRun.h"

namespace ostinel {
namespace {

using test::EngineRig;
using test::runUntil;
using test::JackRecorder;

// The lag of `heard` against `reference` within the first `range` frames:
// where their first `window` frames differ least (the correlation term of
// the squared difference is largest against the energies).
std::size_t bestLag(const std::vector<float>& heard, const std::vector<float>& reference, std::size_t range,
                    std::size_t window) {
    std::size_t best = 0;
    double bestError = -1.0;
    for (std::size_t lag = 0; lag < range && lag + window <= heard.size(); ++lag) {
        double error = 0.0;
        for (std::size_t i = 0; i < window; ++i) {
            const double d = double(heard[lag + i]) - double(reference[i]);
            error += d * d;
        }
        if (bestError < 0.0 || error < bestError) {
            bestError = error;
            best = lag;
        }
    }
    return best;
}

class EngineOnJack : public ::testing::Test {
protected:
    void SetUp() override {
        auto created = AudioSystem::create();
        ASSERT_TRUE(created) << created.error().message;
        audio = std::move(*created);
        ASSERT_EQ(audio->backendName(), "jack");
        rig.track.loops = {EngineRig::loopOf(0.5, 0.75, 2)};
    }

    test::JackServer server;
    EngineRig rig{1.5}; // the track, and the same cue rendered offline
    std::unique_ptr<AudioSystem> audio;
    ManualMainLoop loop;
    MemoryPreferences preferences;
};

TEST_F(EngineOnJack, PlaysACueSampleForSampleAsTheOfflineRenderDoes) {
    rig.load().play();
    rig.run(2.0);
    const auto start = rig.firstSound();
    const std::vector<float> reference(rig.left.begin() + long(start), rig.left.begin() + long(start) + 84000);

    PlaybackEngine engine(loop, preferences, *audio);
    bool ended = false;
    engine.onReachedEnd = [&] { ended = true; };
    JackRecorder capture("capture", 2, false, 48000 * 4);
    capture.connectFrom("Ostinel:out_1", 0);
    capture.connectFrom("Ostinel:out_2", 1);
    engine.load(rig.track);
    capture.record();
    engine.play();
    ASSERT_TRUE(runUntil(loop, [&] { return ended; }, 5.0));
    ASSERT_TRUE(capture.waitFor(48000 * 3));

    const auto heard = capture.received(0);
    const auto lag = bestLag(heard, reference, 24000, 960);
    ASSERT_LE(lag + reference.size(), heard.size());
    // A dummy server without real-time priority on a busy machine may drop a
    // whole cycle (an xrun); everything that was heard must still be exact.
    const auto period = std::size_t(audio->periodFrames());
    int dropped = 0;
    for (std::size_t i = 0, k = lag; i < reference.size() && k < heard.size(); ++i, ++k) {
        if (heard[k] == reference[i]) continue;
        std::size_t skip = period;
        while (i + skip < reference.size() && skip <= 4 * period && heard[k] != reference[i + skip]) skip += period;
        ASSERT_LE(skip, 4 * period) << "frame " << i << ": " << heard[k] << " instead of " << reference[i];
        i += skip;
        ++dropped;
    }
    EXPECT_LE(dropped, 2);
}

TEST_F(EngineOnJack, ADeviceThatVanishesDuringACueIsLeftAndTakenUpAgainWhenTheCueEnds) {
    auto stage = std::make_unique<JackRecorder>("Stage", 2, true);
    PlaybackEngine engine(loop, preferences, *audio);
    engine.setOutputDeviceUID(std::string("jack:Stage"));
    ASSERT_EQ(audio->currentDeviceUID(), "jack:Stage");
    bool ended = false;
    engine.onReachedEnd = [&] { ended = true; };
    engine.load(rig.track);
    engine.play();
    ASSERT_FALSE(runUntil(loop, [] { return false; }, 0.4));

    stage.reset();
    ASSERT_TRUE(runUntil(loop, [&] { return !engine.outputDeviceUID(); }, 2.0));
    EXPECT_EQ(engine.notice(), "Audio output device disconnected — switched to the system default until it is back.");
    EXPECT_EQ(audio->currentDeviceUID(), "jack:system");
    EXPECT_TRUE(engine.isPlaying());
    const double resumedAt = engine.currentTime();
    EXPECT_GT(resumedAt, 0.2);

    stage = std::make_unique<JackRecorder>("Stage", 2, true);
    ASSERT_FALSE(runUntil(loop, [] { return false; }, 0.2));
    EXPECT_FALSE(engine.outputDeviceUID());
    ASSERT_TRUE(runUntil(loop, [&] { return ended; }, 5.0));
    EXPECT_EQ(engine.outputDeviceUID(), "jack:Stage");
    EXPECT_EQ(audio->currentDeviceUID(), "jack:Stage");
    EXPECT_EQ(engine.notice(), "Stage connected — switched back to it.");
}

TEST_F(EngineOnJack, ThePlayCommandPlaysTheCueToItsEndAndSaysWhatItCouldNotDo) {
    Show show;
    show.tracks = {rig.track};
    const auto showPath = rig.dir.file("show.ot");
    ASSERT_FALSE(ShowFile::write(show, showPath, ShowFile::Flavour::pretty));
    const char* cli = std::getenv("OSTINEL_CLI");
    ASSERT_TRUE(cli);
    const auto home = rig.dir.path().string();
    auto run = test::runShell("HOME=" + test::shellQuoted(home) + " XDG_CONFIG_HOME=" +
                              test::shellQuoted(home + "/.config") + " " + test::shellQuoted(cli) + " play " +
                              test::shellQuoted(showPath) + " --cue 1 --pair 2 </dev/null 2>&1");
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_NE(run.out.find(R"("event":"notice")"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("Selected output channels aren't available on this device — using channels 1-2."),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find(R"({"event":"timecodeLocate","t":)"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find(R"({"event":"reachedEnd","t":)"), std::string::npos) << run.out;
}

} // namespace
} // namespace ostinel
