// One full repaint of the waveform panel (toolbar, ruler, canvas) at 1400x300
// while a 10-minute cue plays at 50x zoom with follow on, the way every
// frame is drawn during a show (budget: 4 ms).

#include <benchmark/benchmark.h>
#include <sndfile.h>
#include <stdlib.h>

#include <QApplication>
#include <QImage>

#include <cmath>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "analysis/WaveformPeaks.h"
#include "analysis/WaveformStore.h"
#include "document/AppState.h"
#include "platform/ManualMainLoop.h"
#include "platform/MemoryPreferences.h"
#include "platform/OfflineAudioSystem.h"
#include "platform/QtDialogs.h"
#include "playback/PlaybackEngine.h"
#include "playback/ShowModeKeys.h"
#include "workspace/WaveformViewState.h"
#include "workspace/common/Workspace.h"
#include "workspace/waveform/WaveformPanel.h"

namespace {

using namespace ostinel;

constexpr int kRate = 44100;
constexpr double kSeconds = 600.0;

// 16-bit stereo noise-ish music stand-in, written in slices.
std::string writeCue(const std::filesystem::path& dir) {
    const std::string path = (dir / "cue.wav").string();
    SF_INFO info{};
    info.samplerate = kRate;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) throw std::runtime_error(sf_strerror(nullptr));
    const auto frames = std::int64_t(kSeconds * kRate);
    std::vector<float> slice(std::size_t(kRate) * 2);
    for (std::int64_t done = 0; done < frames; done += kRate) {
        for (int i = 0; i < kRate; ++i) {
            double t = double(done + i) / kRate;
            float v = float(0.4 * std::sin(t * 440.0) * (0.5 + 0.5 * std::sin(t * 0.7)));
            slice[std::size_t(2 * i)] = slice[std::size_t(2 * i + 1)] = v;
        }
        sf_writef_float(f, slice.data(), std::min<std::int64_t>(kRate, frames - done));
    }
    sf_close(f);
    return path;
}

void BM_WaveformPanelRepaint(benchmark::State& state) {
    char name[] = "/tmp/ostinel-bench-XXXXXX";
    if (!mkdtemp(name)) throw std::runtime_error("no temporary folder");
    const std::filesystem::path dir = name;

    ManualMainLoop loop;
    MemoryPreferences preferences;
    QtDialogs dialogs;
    OfflineAudioSystem audio{48000.0, 480};
    PlaybackEngine engine{loop, preferences, audio};
    AppState app{loop, preferences, dialogs, AppPaths::under((dir / "app").string())};
    WaveformStore store{loop, (dir / "cache").string()};
    WaveformViewState view;
    CueContext cues{app, engine, view.controller(), {}, {}};
    Workspace workspace{loop, preferences, dialogs, app, engine, audio, store, view, cues};

    Track track;
    track.name = "Ten Minutes";
    track.url = FileUrl::fromPath(writeCue(dir));
    track.duration = kSeconds;
    track.endSeconds = kSeconds;
    track.fade.fadeInSeconds = 4.0;
    track.fade.fadeOutSeconds = 8.0;
    track.beatgridEnabled = true;
    for (int i = 0; i < 20; ++i) {
        Loop l;
        l.name = "Loop " + std::to_string(i + 1);
        l.startSeconds = 20.0 + i * 28.0;
        l.endSeconds = l.startSeconds + 8.0;
        track.loops.push_back(l);
    }
    std::vector<float> peaks(std::size_t(waveformPeakCount(std::int64_t(kSeconds * kRate), kRate)));
    std::mt19937 random(7);
    std::uniform_real_distribution<float> level(0.0f, 1.0f);
    for (float& p : peaks) p = level(random);
    store.entry(track.url).setPeaks(std::move(peaks));

    Show show;
    show.tracks.push_back(track);
    app.setShow(show);
    app.setSelectedTrackID(track.id);

    WaveformPanel panel(workspace);
    panel.resize(1400, 300);
    panel.show();
    QApplication::processEvents();
    view.controller().setZoom(50.0, 0.1, 700.0);
    view.controller().setFollowPlayhead(true);
    engine.load(app.show().tracks[0]);
    engine.seek(60.0);
    engine.play();
    if (!engine.isPlaying()) state.SkipWithError("the engine does not play");

    QImage image(panel.size(), QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        loop.advance(1.0 / 60.0);
        panel.render(&image);
        benchmark::DoNotOptimize(image.constBits());
    }
    // 1 when the frames really were drawn following the playhead.
    state.counters["following"] = view.controller().liveFollowScrollX() ? 1.0 : 0.0;
    engine.stop();
    std::filesystem::remove_all(dir);
}
BENCHMARK(BM_WaveformPanelRepaint)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
