// Autosave of a 2,000-cue show. The main thread only takes a snapshot and
// hands it over; encoding and writing happen on the writer's thread.
// Target: the main thread's share under 2 ms, well inside one 33 ms tick of
// the transport.

#include <benchmark/benchmark.h>

#include "LargeShow.h"

#include <QTemporaryDir>

#include "document/AppState.h"
#include "platform/ManualMainLoop.h"

using namespace ostinel;
using bench::largeShow;
using bench::NoDialogs;

namespace {

constexpr int trackCount = 2000;

struct Fixture {
    QTemporaryDir dir;
    ManualMainLoop loop;
    MemoryPreferences preferences = bench::withoutAutosaveTimer();
    NoDialogs dialogs;
    AppState state{loop, preferences, dialogs, AppPaths::under(dir.path().toStdString())};

    Fixture() { state.setShow(largeShow(trackCount)); } // dirty, so every call writes
    ~Fixture() {
        state.waitForAutosave();
        loop.runPosted();
    }
};

// What the timer tick costs the main thread, with the writer's thread busy
// most of the time, as it is while a show this size is edited.
void BM_AutosaveMainThreadShare(benchmark::State& st) {
    Fixture f;
    for (auto _ : st) f.state.autosave();
}
BENCHMARK(BM_AutosaveMainThreadShare)->Unit(benchmark::kMicrosecond);

// One whole autosave as the main thread sees it with the writer idle: the
// snapshot, the start of the thread and, once written, the outcome and the
// release of the snapshot.
void BM_AutosaveMainThreadShareWhenIdle(benchmark::State& st) {
    Fixture f;
    for (auto _ : st) {
        f.state.autosave();
        st.PauseTiming();
        f.state.waitForAutosave();
        st.ResumeTiming();
        f.loop.runPosted();
    }
}
BENCHMARK(BM_AutosaveMainThreadShareWhenIdle)->Unit(benchmark::kMicrosecond)->Iterations(20);

// The background's work for one autosave: encode, write, sync and rename.
void BM_AutosaveBackgroundWrite(benchmark::State& st) {
    Fixture f;
    for (auto _ : st) {
        f.state.autosave();
        f.state.waitForAutosave();
    }
    f.loop.runPosted();
}
BENCHMARK(BM_AutosaveBackgroundWrite)->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace

BENCHMARK_MAIN();
