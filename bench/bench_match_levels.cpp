// Measuring a show of 200 cues for Match Levels, the way the window does it
// (the store's background pool, results through the Qt main loop): one file
// at a time against one per core. Each cue is 30 s of stereo at 48 kHz.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QTemporaryDir>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <random>
#include <sndfile.h>

#include "analysis/LoudnessBatch.h"
#include "analysis/WaveformStore.h"
#include "document/AppState.h"
#include "platform/Dialogs.h"
#include "platform/MemoryPreferences.h"
#include "platform/QtMainLoop.h"

namespace {

using namespace ostinel;

constexpr int cues = 200;
constexpr int rate = 48000;

class NoDialogs final : public Dialogs {
public:
    int alert(const AlertRequest&) override { return noAnswer; }
    std::vector<std::string> openPanel(const OpenPanelRequest&) override { return {}; }
    std::optional<std::string> savePanel(const SavePanelRequest&) override { return std::nullopt; }
};

// One file on disk, linked under 200 names: every cue is decoded and
// measured on its own, without filling the disk.
struct ShowOnDisk {
    QTemporaryDir dir;
    std::vector<FileUrl> urls;
    std::string noCache;
    ShowOnDisk() {
        std::fclose(std::fopen(dir.filePath("plain").toStdString().c_str(), "w"));
        noCache = dir.filePath("plain/cache").toStdString();
        const std::string first = dir.filePath("cue0.wav").toStdString();
        SF_INFO info{};
        info.samplerate = rate;
        info.channels = 2;
        info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
        SNDFILE* file = sf_open(first.c_str(), SFM_WRITE, &info);
        std::mt19937 random(5);
        std::normal_distribution<float> noise(0, 0.1f);
        std::vector<float> data(std::size_t(rate) * 30 * 2);
        for (std::size_t i = 0; i < data.size(); ++i)
            data[i] = 0.3f * float(std::sin(double(i / 2) * 0.03)) + noise(random);
        sf_writef_float(file, data.data(), sf_count_t(data.size() / 2));
        sf_close(file);
        urls.push_back(FileUrl::fromPath(first));
        for (int i = 1; i < cues; ++i) {
            const auto path = dir.filePath(QStringLiteral("cue%1.wav").arg(i)).toStdString();
            std::filesystem::create_hard_link(first, path);
            urls.push_back(FileUrl::fromPath(path));
        }
    }
};

void BM_MeasureShow(benchmark::State& bench) {
    static ShowOnDisk files;
    QtMainLoop loop;
    MemoryPreferences preferences;
    NoDialogs dialogs;
    AppState state(loop, preferences, dialogs, AppPaths::under(files.dir.filePath("app").toStdString()));
    Show show;
    for (const auto& url : files.urls) show.tracks.push_back(Track{.name = url.fileName(), .url = url});
    state.setShow(show);
    std::vector<Uuid> ids;
    for (const Track& t : state.show().tracks) ids.push_back(t.id);

    std::size_t measured = 0;
    for (auto _ : bench) {
        // A cache folder under a plain file can never be made: every run
        // reads every file.
        WaveformStore store(loop, files.noCache);
        LoudnessBatch batch(state, store, int(bench.range(0)));
        QEventLoop wait;
        batch.measure(ids, [&](LoudnessBatch::Measurements m) {
            measured = m.size();
            wait.quit();
        });
        wait.exec();
    }
    if (measured != cues) bench.SkipWithError("not every cue was measured");
    bench.counters["cues"] = double(measured);
}
// 1: one file at a time; 0: one per core.
BENCHMARK(BM_MeasureShow)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
