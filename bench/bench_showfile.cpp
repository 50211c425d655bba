// Encoding and decoding a large show: a save encodes on the main thread, the
// autosave on a thread of its own (bench_autosave).

#include <benchmark/benchmark.h>

#include "document/ShowFile.h"

using namespace ostinel;

namespace {

Show largeShow(int trackCount) {
    Show show;
    for (int i = 0; i < trackCount; ++i) {
        Track t;
        t.name = "Cue " + std::to_string(i) + " / Act";
        t.url = FileUrl::fromPath("/home/op/Show Media/cue " + std::to_string(i) + ".wav");
        t.relativePath = "Media/cue " + std::to_string(i) + ".wav";
        t.duration = 180.0 + i * 0.123;
        for (int k = 0; k < 10; ++k) {
            double at = k * 17.3;
            t.loops.push_back(Loop{Uuid::random(), "Loop", true, at, at + 4.2});
            t.timelineNotes.push_back(Note{Uuid::random(), "Note", "Lights on the downbeat", at + 1});
            t.midiTriggers.push_back(MidiTrigger{Uuid::random(), "Trigger", at + 2});
            t.oscTriggers.push_back(OSCTrigger{Uuid::random(), "OSC", at + 3, "/cue/1/go"});
            t.volumeAutomation.push_back(AutomationPoint{Uuid::random(), at + 0.5, -3.0 * k});
        }
        show.tracks.push_back(t);
    }
    return show;
}

void BM_EncodeCompact(benchmark::State& state) {
    Show show = largeShow(int(state.range(0)));
    std::size_t bytes = 0;
    for (auto _ : state) {
        auto text = ShowFile::encode(show, ShowFile::Flavour::compact);
        bytes = text->size();
        benchmark::DoNotOptimize(text);
    }
    state.counters["bytes"] = double(bytes);
}
BENCHMARK(BM_EncodeCompact)->Arg(50)->Arg(500)->Unit(benchmark::kMillisecond);

void BM_EncodePretty(benchmark::State& state) {
    Show show = largeShow(int(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(ShowFile::encode(show, ShowFile::Flavour::pretty));
}
BENCHMARK(BM_EncodePretty)->Arg(50)->Arg(500)->Unit(benchmark::kMillisecond);

void BM_Decode(benchmark::State& state) {
    std::string text = *ShowFile::encode(largeShow(int(state.range(0))), ShowFile::Flavour::pretty);
    for (auto _ : state) benchmark::DoNotOptimize(ShowFile::decode(text));
}
BENCHMARK(BM_Decode)->Arg(50)->Arg(500)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
