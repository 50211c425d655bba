// One edit of one track in a large show, through AppState: copy of the show,
// the track edit, the whole-show equality test and the undo snapshot.
// Target: under 50 microseconds, since a drag writes the show at display rate.

#include <benchmark/benchmark.h>

#include "LargeShow.h"

#include "document/AppState.h"
#include "platform/ManualMainLoop.h"

using namespace ostinel;
using bench::largeShow;
using bench::NoDialogs;

namespace {

constexpr int trackCount = 2000;

struct Fixture {
    ManualMainLoop loop;
    MemoryPreferences preferences = bench::withoutAutosaveTimer();
    NoDialogs dialogs;
    AppState state{loop, preferences, dialogs, AppPaths::under("/nonexistent")};
    Uuid trackID, loopID;

    Fixture() {
        state.setShow(largeShow(trackCount));
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
