// One edit of one track in a large show, through AppState: copy of the show,
// the track edit, the whole-show equality test and the undo snapshot.
// Target: under 50 microseconds, since a drag writes the show at display rate.

#include <benchmark/benchmark.h>

#include "document/AppState.h"
#include "platform/Dialogs.h"
#include "platform/ManualMainLoop.h"
#include "platform/MemoryPreferences.h"

using namespace ostinel;

namespace {

struct NoDialogs final : Dialogs {
    int alert(const AlertRequest&) override { return 0; }
    std::vector<std::string> openPanel(const OpenPanelRequest&) override { return {}; }
    std::optional<std::string> savePanel(const SavePanelRequest&) override { return std::nullopt; }
};

constexpr int trackCount = 2000;

Show largeShow() {
    Show show;
    for (int i = 0; i < trackCount; ++i) {
        Track t;
        t.name = "Cue " + std::to_string(i + 1);
        t.url = FileUrl::fromPath("/media/cue" + std::to_string(i + 1) + ".wav");
        t.duration = t.endSeconds = 300;
        for (int k = 0; k < 20; ++k) {
            Loop l;
            l.name = "Loop " + std::to_string(k + 1);
            l.startSeconds = k * 10.0;
            l.endSeconds = k * 10.0 + 5.0;
            t.loops.push_back(l);
        }
        for (int k = 0; k < 50; ++k) {
            MidiTrigger m;
            m.name = "Trigger " + std::to_string(k + 1);
            m.timeSeconds = k * 5.0 + 1.0;
            t.midiTriggers.push_back(m);
        }
        show.tracks.push_back(std::move(t));
    }
    return show;
}

struct Fixture {
    ManualMainLoop loop;
    // Autosave would write the whole show every 30 s of virtual time; it is
    // measured by bench_autosave, not here.
    MemoryPreferences preferences = [] {
        MemoryPreferences p;
        p.setValue("autosaveInterval", 1e9);
        return p;
    }();
    NoDialogs dialogs;
    AppState state{loop, preferences, dialogs, AppPaths::under("/nonexistent")};
    Uuid trackID, loopID;

    Fixture() {
        state.setShow(largeShow());
        const Track& t = state.show().tracks[trackCount / 2];
        trackID = t.id;
        loopID = t.loops[10].id;
    }
};

// Every edit its own undo step: the snapshot is pushed and, once the stack is
// full, the oldest dropped.
void BM_EditOneLoopEndAsNewStep(benchmark::State& st) {
    Fixture f;
    int i = 0;
    for (auto _ : st) {
        f.state.setLoopEnd(f.trackID, f.loopID, (i++ & 1) ? 106.0 : 107.0);
        f.loop.advance(AppState::coalesceSeconds); // ends the burst
    }
    benchmark::DoNotOptimize(f.state.show());
}
BENCHMARK(BM_EditOneLoopEndAsNewStep)->Unit(benchmark::kMicrosecond);

// A drag: every step inside one burst, so no snapshot is taken.
void BM_EditOneLoopEndWhileDragging(benchmark::State& st) {
    Fixture f;
    int i = 0;
    for (auto _ : st) f.state.setLoopEnd(f.trackID, f.loopID, (i++ & 1) ? 106.0 : 107.0);
    benchmark::DoNotOptimize(f.state.show());
}
BENCHMARK(BM_EditOneLoopEndWhileDragging)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
