#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "document/Track.h"
#include "platform/ManualMainLoop.h"
#include "platform/MemoryPreferences.h"
#include "platform/OfflineAudioSystem.h"
#include "playback/OutputChain.h"
#include "playback/PlaybackEngine.h"
#include "support/PlayerFixtures.h"
#include "support/TempDir.h"

namespace ostinel::test {

// The whole engine on the offline device in virtual time: render a period,
// advance the main loop by as long, repeat; ticks and top-ups fall in
// between at their own deadlines.
//
// The probe file names every frame: left carries (i + 1) / 2^18 for frame i,
// right a constant 0.25, exact in float. A bridge shows on the right as
// 0.25 (cos + sin).
class EngineRig {
public:
    static constexpr double rate = 48000.0;
    static constexpr int period = 480;
    static constexpr double frameScale = 262144.0;
    static constexpr float probeRight = 0.25f;
    static constexpr std::int64_t bridgeFrames = 240; // 5 ms
    static constexpr std::int64_t tickFrames = 1600;  // 1/30 s

    static float probeLeft(std::int64_t frame) { return float(double(frame + 1) / frameScale); }

    struct Tick {
        std::int64_t rendered; // frames rendered when the tick ran
        double position;       // timecode position handed to the senders
        double cap;
        double at; // main-loop time
    };

    explicit EngineRig(double seconds = 3.0) {
        path = writeProbe(dir.file("probe.wav"), std::int64_t(seconds * rate));
        track.name = "Probe";
        track.url = FileUrl::fromPath(path);
        track.duration = seconds;
    }

    PlaybackEngine& make() {
        engine = std::make_unique<PlaybackEngine>(loop, preferences, audio);
        engine->onTimecodeTick = [this](double position, double cap) { ticks.push_back({rendered(), position, cap, loop.now()}); };
        engine->onMidiTrigger = [this](const MidiTrigger& t) { midi.push_back({t.name, rendered()}); };
        engine->onOSCTrigger = [this](const OSCTrigger& t) { osc.push_back({t.name, rendered()}); };
        engine->onTimecodeLocate = [this](double seconds) { locates.push_back(seconds); };
        engine->onReachedEnd = [this] { reachedEndAt = rendered(); };
        return *engine;
    }
    PlaybackEngine& load() {
        if (!engine) make();
        engine->load(track);
        return *engine;
    }

    // Loads the track and plays it for `seconds`.
    PlaybackEngine& playFor(double seconds) {
        load().play();
        run(seconds);
        return *engine;
    }
    void run(double seconds) {
        const auto frames = std::int64_t(std::llround(seconds * rate));
        for (std::int64_t done = 0; done < frames; done += period) {
            auto out = audio.render(period);
            for (int c = 0; c < 2; ++c) {
                auto& side = c == 0 ? left : right;
                if (out.size() > std::size_t(c))
                    side.insert(side.end(), out[std::size_t(c)].begin(), out[std::size_t(c)].end());
                else
                    side.insert(side.end(), std::size_t(period), 0.0f); // the device is gone
            }
            const auto ticked = ticks.size();
            loop.advance(period / rate);
            if (ticks.size() != ticked && afterTick) afterTick();
        }
    }
    std::int64_t rendered() const { return std::int64_t(left.size()); }

    // Output to file frames: the file frame an output frame carries, if it
    // carries one at unity gain.
    std::optional<std::int64_t> fileFrame(std::size_t k) const {
        if (std::fabs(right[k] / unity() - probeRight) > 1e-6f) return std::nullopt;
        return std::llround(double(left[k]) / unity() * frameScale) - 1;
    }
    // The first output frame from `from` that carries file frame `frame`, or -1.
    std::int64_t heardAt(std::int64_t frame, std::size_t from = 0) const {
        for (std::size_t k = from; k < right.size(); ++k)
            if (fileFrame(k) == frame) return std::int64_t(k);
        return -1;
    }
    // The first frame that isn't silent: where the cue's audio begins.
    std::size_t firstSound(std::size_t from = 0) const {
        while (from < right.size() && right[from] == 0.0f) ++from;
        return from;
    }
    // Whether the output is silent from `from` on.
    bool silentFrom(std::size_t from) const {
        for (std::size_t k = from; k < right.size(); ++k)
            if (left[k] != 0.0f || right[k] != 0.0f) return false;
        return true;
    }
    // The frames before the end's tick had not all been heard; at it they
    // had, and the transport stood at the in-point.
    void expectEndAfterLastSample(std::int64_t lastSample) const {
        ASSERT_TRUE(reachedEndAt);
        EXPECT_GE(*reachedEndAt, lastSample);
        ASSERT_GE(ticks.size(), 2u);
        EXPECT_LT(ticks[ticks.size() - 2].rendered, lastSample);
        EXPECT_FALSE(engine->isPlaying());
        EXPECT_EQ(engine->currentTime(), engine->startTime());
    }
    // A track at unity level comes out at this gain (player volume × +15 dB).
    static float unity() {
        return float(1.0 / Constraint::maxTrackAmplitude) * float(std::pow(10.0, OutputChain::fixedGainDb / 20.0));
    }

    static float probeAt(std::int64_t frame, int channel) { return channel == 0 ? probeLeft(frame) : probeRight; }
    // The output the walk should give, in file frames and bridges.
    struct Expected : Stereo {
        // File frames `from` to `to`, played straight.
        static Expected of(std::int64_t from, std::int64_t to) {
            Expected e;
            e.play(from, to);
            return e;
        }
        void play(std::int64_t from, std::int64_t to) { appendRamp(*this, from, to, 1, probeAt); }
        // A seam from `loopEnd` back to `loopStart`, and the rest of the pass.
        void seam(std::int64_t loopStart, std::int64_t loopEnd) {
            appendSeam(*this, loopStart, loopEnd, bridgeFrames, probeAt);
            play(loopStart + bridgeFrames, loopEnd);
        }
    };
    // Index of the first frame from `start` that differs from `expected`,
    // or -1 when all agree.
    std::int64_t firstMismatch(const Expected& expected, std::size_t start) const {
        for (std::size_t i = 0; i < expected.left.size(); ++i) {
            const std::size_t k = start + i;
            if (k >= left.size()) return std::int64_t(i);
            if (std::fabs(left[k] - expected.left[i] * unity()) > 2e-6f ||
                std::fabs(right[k] - expected.right[i] * unity()) > 2e-6f)
                return std::int64_t(i);
        }
        return -1;
    }

    // The whole run, from the first sound, is `expected`, then silence and the end.
    void expectWholeRun(const Expected& expected) const {
        const auto start = firstSound();
        EXPECT_EQ(firstMismatch(expected, start), -1);
        EXPECT_TRUE(silentFrom(start + expected.left.size()));
        expectEndAfterLastSample(std::int64_t(expected.left.size()));
    }

    static Loop loopOf(double start, double end, std::optional<std::int64_t> playCount) {
        return Loop{.startSeconds = start, .endSeconds = end, .playCountEnabled = playCount.has_value(),
                    .playCount = playCount.value_or(2)};
    }

    static std::string writeProbe(const std::string& file, std::int64_t frames) {
        std::vector<float> interleaved;
        for (std::int64_t i = 0; i < frames; ++i) interleaved.insert(interleaved.end(), {probeLeft(i), probeRight});
        return writeFloatWav(file, interleaved, int(rate), 2);
    }

    struct Fired {
        std::string name;
        std::int64_t rendered;
    };

    TempDir dir;
    std::string path;
    Track track;
    ManualMainLoop loop;
    MemoryPreferences preferences;
    OfflineAudioSystem audio{rate, period};
    std::unique_ptr<PlaybackEngine> engine;
    std::vector<float> left, right;
    std::vector<Tick> ticks;
    std::vector<Fired> midi, osc;
    std::vector<double> locates;
    std::optional<std::int64_t> reachedEndAt;
    // Runs after every tick that run() passes through.
    std::function<void()> afterTick;
};

} // namespace ostinel::test
