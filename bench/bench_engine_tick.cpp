// The transport's 30 Hz tick while a cue with loops, triggers and a drawn
// curve plays on the offline device (budget: 50 µs), and how many frames pass
// from play() to the first sound on the offline timeline (at most one period
// plus the limiter's look-ahead).

#include <benchmark/benchmark.h>
#include <sndfile.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/MemoryPreferences.h"
#include "platform/OfflineAudioSystem.h"
#include "playback/PeakLimiter.h"
#include "playback/PlaybackEngine.h"

namespace {

using namespace ostinel;

constexpr double kRate = 48000.0;
constexpr int kPeriod = 480;

// A main loop the benchmark turns by hand: it keeps the timers and lets the
// caller fire them one at a time, so the tick can be timed on its own.
class HandLoop final : public MainLoop {
public:
    double now() const override { return now_; }
    TimerId after(double, std::function<void()> fn) override { return add(0.0, std::move(fn)); }
    TimerId every(double seconds, std::function<void()> fn) override { return add(seconds, std::move(fn)); }
    void cancel(TimerId id) override { timers_.erase(id); }
    void post(std::function<void()> fn) override { fn(); }

    void setNow(double t) { now_ = t; }
    // The repeating timer of that period, if one runs.
    std::function<void()>* timer(double period) {
        for (auto& [id, t] : timers_)
            if (t.first == period) return &t.second;
        return nullptr;
    }

private:
    TimerId add(double period, std::function<void()> fn) {
        timers_.emplace(next_, std::make_pair(period, std::move(fn)));
        return next_++;
    }
    double now_ = 0.0;
    TimerId next_ = 1;
    std::map<TimerId, std::pair<double, std::function<void()>>> timers_;
};

std::string writeTone(const std::filesystem::path& dir, double seconds) {
    const std::string path = (dir / "cue.wav").string();
    SF_INFO info{};
    info.samplerate = int(kRate);
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    const auto frames = std::int64_t(seconds * kRate);
    std::vector<float> samples(std::size_t(frames) * 2);
    for (std::int64_t i = 0; i < frames; ++i)
        samples[std::size_t(2 * i)] = samples[std::size_t(2 * i + 1)] = float(0.3 * std::sin(double(i) * 0.05) + 0.01);
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) throw std::runtime_error(sf_strerror(nullptr));
    sf_writef_float(f, samples.data(), frames);
    sf_close(f);
    return path;
}

struct Scratch {
    Scratch() {
        char name[] = "/tmp/ostinel-bench-XXXXXX";
        if (!mkdtemp(name)) throw std::runtime_error("no temporary folder");
        dir = name;
    }
    ~Scratch() { std::filesystem::remove_all(dir); }
    std::filesystem::path dir;
};

Track benchTrack(const std::string& path) {
    Track track;
    track.url = FileUrl::fromPath(path);
    track.duration = 8.0;
    Loop outer, inner;
    inner.startSeconds = 1.0;
    inner.endSeconds = 1.5;
    inner.playCountEnabled = true;
    inner.playCount = 3;
    inner.reduceVolumeEnabled = true;
    outer.startSeconds = 2.0;
    outer.endSeconds = 4.0; // repeats until told otherwise
    outer.reduceVolumeEnabled = true;
    track.loops = {inner, outer};
    std::vector<MidiTrigger> midi(40);
    std::vector<OSCTrigger> osc(40);
    for (std::size_t i = 0; i < midi.size(); ++i) midi[i].timeSeconds = osc[i].timeSeconds = 0.1 * double(i);
    track.midiTriggers = CowList<MidiTrigger>(midi);
    track.oscTriggers = CowList<OSCTrigger>(osc);
    std::vector<AutomationPoint> curve(20);
    for (std::size_t i = 0; i < curve.size(); ++i) {
        curve[i].timeSeconds = 0.4 * double(i);
        curve[i].db = -double(i % 4) * 3.0;
    }
    track.volumeAutomationEnabled = true;
    track.volumeAutomation = CowList<AutomationPoint>(curve);
    return track;
}

void BM_EngineTick(benchmark::State& state) {
    Scratch scratch;
    const Track track = benchTrack(writeTone(scratch.dir, 8.0));
    HandLoop loop;
    MemoryPreferences preferences;
    OfflineAudioSystem audio(kRate, kPeriod);
    PlaybackEngine engine(loop, preferences, audio);
    std::int64_t fired = 0;
    engine.onMidiTrigger = [&](const MidiTrigger&) { ++fired; };
    engine.onOSCTrigger = [&](const OSCTrigger&) { ++fired; };
    engine.load(track);
    engine.play();

    double audioSeconds = 0.0;
    for (auto _ : state) {
        // A tick's worth of audio and of top-ups, outside the measurement.
        for (int i = 0; i < 10; ++i) {
            audio.render(kPeriod / 3);
            audioSeconds += kPeriod / 3 / kRate;
            if (auto* topUp = loop.timer(SegmentScheduler::topUpSeconds); topUp && i % 3 == 2) (*topUp)();
        }
        loop.setNow(audioSeconds);
        auto* tick = loop.timer(PlaybackEngine::tickSeconds);
        if (!tick) {
            state.SkipWithError("the cue stopped");
            break;
        }
        const auto start = std::chrono::steady_clock::now();
        (*tick)();
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    state.counters["triggersFired"] = double(fired);
    state.counters["loopActive"] = engine.activeLoopID() ? 1.0 : 0.0;
}
BENCHMARK(BM_EngineTick)->UseManualTime()->Iterations(3000)->Unit(benchmark::kMicrosecond);

// Frames from play() to the first sound, on the offline device's timeline.
void BM_PlayToFirstSound(benchmark::State& state) {
    Scratch scratch;
    const std::string path = writeTone(scratch.dir, 1.0);
    Track track;
    track.url = FileUrl::fromPath(path);
    std::int64_t latency = -1;
    for (auto _ : state) {
        HandLoop loop;
        MemoryPreferences preferences;
        OfflineAudioSystem audio(kRate, kPeriod);
        PlaybackEngine engine(loop, preferences, audio);
        engine.load(track);
        engine.play();
        latency = -1;
        for (std::int64_t rendered = 0; latency < 0 && rendered < std::int64_t(kRate); rendered += kPeriod) {
            const auto out = audio.render(kPeriod);
            for (int i = 0; i < kPeriod && latency < 0; ++i)
                if (out[0][std::size_t(i)] != 0.0f) latency = rendered + i;
        }
    }
    const int bound = kPeriod + PeakLimiter(kRate).lookAheadFrames();
    state.counters["latencyFrames"] = double(latency);
    state.counters["boundFrames"] = double(bound);
    if (latency < 0 || latency > bound) state.SkipWithError("the first sound came later than one period and the look-ahead");
}
BENCHMARK(BM_PlayToFirstSound)->Iterations(5)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
