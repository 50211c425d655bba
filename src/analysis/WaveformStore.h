#pragma once

#include <QObject>

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/FileUrl.h"
#include "document/LoudnessMeasurement.h"

namespace ostinel {

class MainLoop;
class MainLoopMailbox;

// What the waveform draws for one file; made on first request, never removed.
class WaveformEntry : public QObject {
    Q_OBJECT
public:
    using Bands = std::vector<std::array<float, 3>>;

    const std::optional<std::vector<float>>& peaks() const { return peaks_; }
    const std::optional<Bands>& bands() const { return bands_; }
    void setPeaks(std::vector<float> peaks);
    void setBands(Bands bands);

signals:
    void peaksChanged();
    void bandsChanged();

private:
    std::optional<std::vector<float>> peaks_;
    std::optional<Bands> bands_;
};

// Counts background work for the status line; a batch's counters restart
// once it is done.
class BackgroundActivity : public QObject {
    Q_OBJECT
public:
    enum class Kind { waveforms, spectral };
    struct Job {
        std::int64_t done = 0;
        std::int64_t total = 0;
        friend bool operator==(const Job&, const Job&) = default;
    };

    void add(Kind kind, std::int64_t count);
    void complete(Kind kind, std::int64_t count);
    const std::map<Kind, Job>& jobs() const { return jobs_; }
    std::optional<std::string> summary() const;

signals:
    void changed();

private:
    std::map<Kind, Job> jobs_;
};

// Owns the computed peaks of every file, loads them in the background (disk
// cache first), and never works on a file twice or retries a failed one
// until asked. Main thread only; results come back through MainLoop::post.
class WaveformStore : public QObject {
    Q_OBJECT
public:
    // Runs a job off the main thread; the default is Qt's global pool.
    using Background = std::function<void(std::function<void()>)>;

    WaveformStore(MainLoop& loop, std::string cacheDirectory, Background background = {}, QObject* parent = nullptr);
    // Work still running is cancelled: it skips its computation if it has
    // not begun, and its result is dropped.
    ~WaveformStore() override;

    WaveformEntry& entry(const FileUrl& url);
    const std::optional<WaveformEntry::Bands>* bands(const FileUrl& url) const;

    // Files start in the order given and run concurrently.
    void prerender(const FileUrl& url);
    void prerender(const std::vector<FileUrl>& urls);
    // Colours one file in the background, disk cache first; a file that
    // has its bands, is loading them or failed is left alone.
    void ensureBands(const FileUrl& url);
    // Colours the show's files one at a time, counted as "spectral" work;
    // a new pass replaces the one running.
    void prerenderBands(const std::vector<FileUrl>& urls);
    // Drops the files the pass has not reached; the one being computed finishes.
    void cancelBandPrerender();
    // Forgets the file's failures; starts nothing.
    void retry(const FileUrl& url);

    using LoudnessDone = std::function<void(std::optional<LoudnessMeasurement>)>;
    // Answers through the main loop, from memory once the file was measured
    // (silence answers nothing), else from the disk cache or a measurement
    // in the background. Several asks for one file share one measurement.
    void ensureLoudness(const FileUrl& url, LoudnessDone done);
    // So the next ask reads the files again; answers still owed are kept.
    void forgetLoudness();

    bool isInFlight(const FileUrl& url) const { return inFlight_.count(url) > 0; }
    bool hasFailed(const FileUrl& url) const { return failedPeaks_.count(url) > 0; }
    bool isBandsInFlight(const FileUrl& url) const { return bandsInFlight_.count(url) > 0; }
    bool hasFailedBands(const FileUrl& url) const { return failedBands_.count(url) > 0; }
    BackgroundActivity& activity() { return activity_; }

signals:
    // The file's peaks could not be made; hasFailed holds until retry.
    void peaksFailed(const ostinel::FileUrl& url);

private:
    void finishPeaks(const FileUrl& url, std::optional<std::vector<float>> peaks);
    void finishBands(const FileUrl& url, std::optional<WaveformEntry::Bands> bands);
    void finishLoudness(const FileUrl& url, std::optional<LoudnessMeasurement> loudness, bool failed);
    // Hands a worker's result to `finish` on the main loop, unless the store
    // is gone by then.
    template <class T>
    std::function<void(T)> publisher(std::function<void(T)> finish);
    void advanceBandPass();
    bool bandsSettledOrRunning(const FileUrl& url);

    MainLoop& loop_;
    std::string cacheDirectory_;
    Background background_;
    // Where workers hand results back; closed by the destructor.
    std::shared_ptr<MainLoopMailbox> mailbox_;
    std::map<FileUrl, std::unique_ptr<WaveformEntry>> entries_;
    std::set<FileUrl> inFlight_;
    std::set<FileUrl> bandsInFlight_;
    std::deque<FileUrl> bandPass_;
    std::optional<FileUrl> bandPassWaiting_;
    std::int64_t bandPassRemaining_ = 0;
    std::set<FileUrl> failedPeaks_;
    std::set<FileUrl> failedBands_;
    std::set<FileUrl> failedLoudness_;
    // A file measured as silence is known too: it holds no value.
    std::map<FileUrl, std::optional<LoudnessMeasurement>> loudnessCache_;
    std::map<FileUrl, std::vector<LoudnessDone>> loudnessWaiting_;
    BackgroundActivity activity_;
};

} // namespace ostinel
