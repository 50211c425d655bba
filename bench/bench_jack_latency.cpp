// Latency from PlaybackEngine::play() to the first sound on a real JACK
// server (private dummy server, 48 kHz, 256-frame periods).
//
// What is measured: a probe client of our own, connected to the engine's
// output port, notes in its process callback the JACK frame time of the
// first non-silent sample it receives (jack_last_frame_time + index in the
// buffer). JACK orders the probe after the engine within a cycle, so this is
// the frame time at which the sample stands at the engine's output port, i.e.
// what any device connected there is handed in that cycle; the device's own
// playback latency comes on top and belongs to the hardware, not to us.
//
// Reference point: the start of the period that follows the one in which
// play() was called (`next`). JACK renders a period at its start, so the
// period running when play() is called has already been rendered and `next`
// is the earliest one play() can change: whatever lies between it and the
// first sound is our own doing. Ideally that is the limiter look-ahead alone
// (96 frames). But play() is not an instant: it waits for the reader to
// decode the first block (a few hundred microseconds, more on a busy
// machine), and the cue reaches the render only when it returns. A play()
// that crosses a period boundary therefore sounds one period later (`late`;
// `lateUnstraddled` counts late ones that crossed none, which nothing
// explains). Hence the bound of one period plus the look-ahead (352 frames),
// as offline; only a play() longer than a period can exceed it. Also
// reported: the figure counted from the start of the period in which play()
// was called (`callPeriod`, `next` + 256), from the instant of the call as
// JACK estimates it (`call`), and the wall time play() takes. Repetitions
// with a server overrun are left out (`disturbed`).
//
// The file's first sample is already loud (a -6 dBFS square wave), so the
// first non-silent frame is the first frame of the cue. The engine is
// stopped, and the output checked silent, between repetitions; play() falls
// at a different phase of the period each time.

#include <benchmark/benchmark.h>
#include <jack/jack.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "JackLatencyProbe.h"
#include "JackServer.h"
#include "platform/AudioSystem.h"
#include "platform/ManualMainLoop.h"
#include "platform/MemoryPreferences.h"
#include "playback/PeakLimiter.h"
#include "playback/PlaybackEngine.h"

namespace {

using namespace ostinel;
using namespace ostinel::bench;
using Clock = std::chrono::steady_clock;

constexpr int kRate = kJackRate;
constexpr int kPeriod = kJackPeriod;
constexpr int kRepetitions = 200;

// Runs the main loop in real time for `seconds`.
void runFor(ManualMainLoop& loop, double seconds) {
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    auto last = Clock::now();
    while (Clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        const auto now = Clock::now();
        loop.advance(std::chrono::duration<double>(now - last).count());
        last = now;
    }
}

void BM_JackPlayToFirstSound(benchmark::State& state) {
    const auto dir =
        std::filesystem::temp_directory_path() / ("ostinel-jack-latency-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    test::JackServer server;
    auto created = AudioSystem::create();
    if (!created || (*created)->backendName() != "jack") {
        state.SkipWithError("the JACK backend did not start");
        return;
    }
    auto& audio = **created;
    ManualMainLoop loop;
    MemoryPreferences preferences;
    PlaybackEngine engine(loop, preferences, audio);
    Track track;
    track.url = FileUrl::fromPath(writeSquare(dir));
    engine.load(track);
    Probe probe("Ostinel:out_1");

    std::vector<std::int64_t> fromNext, fromCallPeriod, fromCall;
    std::vector<double> playMicros;
    const int lookAhead = PeakLimiter(kRate).lookAheadFrames();
    // Late: a period more than the look-ahead; phase: where in its period
    // play() was called.
    int straddled = 0, unclean = 0, lost = 0, late = 0, lateUnstraddled = 0, disturbed = 0;
    std::int64_t lateMinPhase = kPeriod;
    for (auto _ : state) {
        engine.stop();
        runFor(loop, 0.05);
        if (!probe.arm()) {
            ++unclean;
            state.SetIterationTime(0.0);
            continue;
        }
        // A different phase within the period each time.
        std::this_thread::sleep_for(std::chrono::microseconds(std::int64_t(fromNext.size() * 137) % 5333));
        const int xrunsBefore = probe.xruns();
        const jack_nframes_t before = jack_last_frame_time(probe.client());
        const jack_nframes_t at = jack_frame_time(probe.client());
        const auto started = Clock::now();
        engine.play();
        const auto returned = Clock::now();
        const jack_nframes_t after = jack_last_frame_time(probe.client());
        const auto deadline = returned + std::chrono::seconds(2);
        while (probe.first() < 0 && Clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        const auto heard = Clock::now();
        runFor(loop, 0.01);
        if (probe.first() < 0) {
            ++lost;
            state.SetIterationTime(0.0);
            continue;
        }
        // An overrun shifts frame times and drops periods: nothing to learn.
        if (probe.xruns() != xrunsBefore) {
            ++disturbed;
            state.SetIterationTime(0.0);
            continue;
        }
        if (after != before) ++straddled;
        fromNext.push_back(framesBetween(before, probe.first()) - kPeriod);
        if (fromNext.back() > lookAhead) {
            ++late;
            lateMinPhase = std::min(lateMinPhase, framesBetween(before, at));
            if (after == before) ++lateUnstraddled;
        }
        fromCallPeriod.push_back(framesBetween(before, probe.first()));
        fromCall.push_back(framesBetween(at, probe.first()));
        playMicros.push_back(std::chrono::duration<double, std::micro>(returned - started).count());
        state.SetIterationTime(std::chrono::duration<double>(heard - started).count());
    }
    engine.stop();
    std::filesystem::remove_all(dir);

    const int bound = kPeriod + lookAhead;
    state.counters["boundFrames"] = bound;
    state.counters["unclean"] = unclean;
    state.counters["lost"] = lost;
    state.counters["straddled"] = straddled;
    state.counters["late"] = late;
    state.counters["lateUnstraddled"] = lateUnstraddled;
    state.counters["disturbed"] = disturbed;
    if (late > 0) state.counters["lateMinPhase"] = double(lateMinPhase);
    state.counters["xruns"] = probe.xruns();
    if (fromNext.empty()) {
        state.SkipWithError("no repetition heard the cue");
        return;
    }
    state.counters["nextMin"] = percentile(fromNext, 0.0);
    state.counters["nextMedian"] = percentile(fromNext, 0.5);
    state.counters["nextMax"] = percentile(fromNext, 1.0);
    state.counters["callPeriodMin"] = percentile(fromCallPeriod, 0.0);
    state.counters["callPeriodMedian"] = percentile(fromCallPeriod, 0.5);
    state.counters["callPeriodMax"] = percentile(fromCallPeriod, 1.0);
    state.counters["callMedian"] = percentile(fromCall, 0.5);
    std::sort(playMicros.begin(), playMicros.end());
    state.counters["playMaxUs"] = playMicros.back();
    state.counters["playMedianUs"] = playMicros[playMicros.size() / 2];
    const bool within = std::all_of(fromNext.begin(), fromNext.end(), [&](auto f) { return f <= bound; });
    state.counters["allWithinBound"] = within ? 1 : 0;
    if (!within || lost > 0)
        state.SkipWithError("a first sound came later than one period and the look-ahead");
}
BENCHMARK(BM_JackPlayToFirstSound)->UseManualTime()->Iterations(kRepetitions)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
