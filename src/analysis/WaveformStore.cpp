#include "analysis/WaveformStore.h"

#include <QLoggingCategory>
#include <QThreadPool>


#include "analysis/AnalysisDiskCache.h"
#include "analysis/LoudnessAnalyzer.h"
#include "analysis/SpectralBands.h"
#include "analysis/WaveformPeaks.h"
#include "platform/MainLoopMailbox.h"

Q_LOGGING_CATEGORY(analysisLog, "com.ostinel.analysis")

namespace ostinel {

void WaveformEntry::setPeaks(std::vector<float> peaks) {
    peaks_ = std::move(peaks);
    emit peaksChanged();
}

void WaveformEntry::setBands(Bands bands) {
    bands_ = std::move(bands);
    emit bandsChanged();
}

void BackgroundActivity::add(Kind kind, std::int64_t count) {
    if (count < 1) return;
    jobs_[kind].total += count;
    emit changed();
}

void BackgroundActivity::complete(Kind kind, std::int64_t count) {
    auto it = jobs_.find(kind);
    if (it == jobs_.end()) return;
    it->second.done += count;
    if (it->second.done >= it->second.total) jobs_.erase(it);
    emit changed();
}

std::optional<std::string> BackgroundActivity::summary() const {
    if (jobs_.empty()) return std::nullopt;
    std::string text;
    for (const auto& [kind, job] : jobs_) {
        if (!text.empty()) text += '\n';
        text += kind == Kind::waveforms ? "Analysing waveforms" : "Building spectral coloring";
        text += " — " + std::to_string(job.done) + " of " + std::to_string(job.total) + " file";
        if (job.total != 1) text += 's';
    }
    return text;
}

WaveformStore::WaveformStore(MainLoop& loop, std::string cacheDirectory, Background background, QObject* parent)
    : QObject(parent), loop_(loop), cacheDirectory_(std::move(cacheDirectory)), background_(std::move(background)),
      mailbox_(MainLoopMailbox::open(loop)) {
    if (!background_)
        background_ = [](std::function<void()> job) { QThreadPool::globalInstance()->start(std::move(job)); };
}

WaveformStore::~WaveformStore() {
    mailbox_->close();
}

WaveformEntry& WaveformStore::entry(const FileUrl& url) {
    auto& slot = entries_[url];
    if (!slot) slot = std::make_unique<WaveformEntry>();
    return *slot;
}

const std::optional<WaveformEntry::Bands>* WaveformStore::bands(const FileUrl& url) const {
    auto it = entries_.find(url);
    return it == entries_.end() ? nullptr : &it->second->bands();
}

template <class T>
std::function<void(T)> WaveformStore::publisher(std::function<void(T)> finish) {
    std::weak_ptr<MainLoopMailbox> alive = mailbox_;
    return [alive, finish = std::move(finish)](T value) {
        if (const auto box = alive.lock())
            box->post([finish, value = std::move(value)]() mutable { finish(std::move(value)); });
    };
}

void WaveformStore::prerender(const FileUrl& url) {
    if (entry(url).peaks() || inFlight_.count(url) || failedPeaks_.count(url)) return;
    inFlight_.insert(url);
    activity_.add(BackgroundActivity::Kind::waveforms, 1);

    // The mailbox dies with the store (on the main thread), so a worker may
    // skip work it no longer needs and a late result finds no store to touch.
    std::weak_ptr<MainLoopMailbox> alive = mailbox_;
    auto publish = publisher<std::optional<std::vector<float>>>(
        [this, url](std::optional<std::vector<float>> peaks) { finishPeaks(url, std::move(peaks)); });
    background_([alive, publish, url, dir = cacheDirectory_]() {
        if (alive.expired()) return;
        auto cached = AnalysisDiskCache::peaks(url.path(), dir);
        if (cached.value) {
            publish(std::move(cached.value));
            return;
        }
        if (alive.expired()) return;
        auto computed = computeWaveformPeaks(url.path());
        if (!computed) {
            qCCritical(analysisLog).noquote() << QString::fromStdString(computed.error().message);
            publish(std::nullopt);
            return;
        }
        if (computed->empty()) {
            publish(std::nullopt);
            return;
        }
        auto peaks = std::move(*computed);
        publish(peaks);
        // Filed after the display has them; nobody waits for the write.
        if (cached.fingerprint) AnalysisDiskCache::storePeaks(peaks, url.path(), *cached.fingerprint, dir);
    });
}

void WaveformStore::prerender(const std::vector<FileUrl>& urls) {
    for (const auto& url : urls) prerender(url);
}

void WaveformStore::finishPeaks(const FileUrl& url, std::optional<std::vector<float>> peaks) {
    inFlight_.erase(url);
    if (peaks)
        entry(url).setPeaks(std::move(*peaks));
    else
        failedPeaks_.insert(url);
    activity_.complete(BackgroundActivity::Kind::waveforms, 1);
    if (!peaks) emit peaksFailed(url);
}

bool WaveformStore::bandsSettledOrRunning(const FileUrl& url) {
    return entry(url).bands() || bandsInFlight_.count(url) || failedBands_.count(url);
}

void WaveformStore::ensureBands(const FileUrl& url) {
    if (bandsSettledOrRunning(url)) return;
    bandsInFlight_.insert(url);

    std::weak_ptr<MainLoopMailbox> alive = mailbox_;
    auto publish = publisher<std::optional<WaveformEntry::Bands>>(
        [this, url](std::optional<WaveformEntry::Bands> bands) { finishBands(url, std::move(bands)); });
    background_([alive, publish, url, dir = cacheDirectory_]() {
        if (alive.expired()) return;
        auto cached = AnalysisDiskCache::bands(url.path(), dir);
        if (cached.value) {
            publish(std::move(cached.value));
            return;
        }
        if (alive.expired()) return;
        auto bands = computeBands(url.path());
        if (bands.empty()) {
            publish(std::nullopt);
            return;
        }
        publish(bands);
        if (cached.fingerprint) AnalysisDiskCache::storeBands(bands, url.path(), *cached.fingerprint, dir);
    });
}

void WaveformStore::finishBands(const FileUrl& url, std::optional<WaveformEntry::Bands> bands) {
    bandsInFlight_.erase(url);
    if (bands)
        entry(url).setBands(std::move(*bands));
    else
        failedBands_.insert(url);
    if (bandPassWaiting_ == url) {
        bandPassWaiting_.reset();
        --bandPassRemaining_;
        activity_.complete(BackgroundActivity::Kind::spectral, 1);
        advanceBandPass();
    }
}

void WaveformStore::prerenderBands(const std::vector<FileUrl>& urls) {
    cancelBandPrerender();
    for (const auto& url : urls)
        if (!bandsSettledOrRunning(url)) bandPass_.push_back(url);
    bandPassRemaining_ = std::int64_t(bandPass_.size());
    activity_.add(BackgroundActivity::Kind::spectral, bandPassRemaining_);
    advanceBandPass();
}

void WaveformStore::advanceBandPass() {
    // One file at a time, so the cue on screen never queues behind the show.
    while (!bandPass_.empty()) {
        const FileUrl url = bandPass_.front();
        bandPass_.pop_front();
        if (!bandsSettledOrRunning(url)) {
            bandPassWaiting_ = url;
            ensureBands(url);
            return;
        }
        --bandPassRemaining_;
        activity_.complete(BackgroundActivity::Kind::spectral, 1);
    }
}

void WaveformStore::cancelBandPrerender() {
    bandPass_.clear();
    bandPassWaiting_.reset();
    if (bandPassRemaining_ > 0) activity_.complete(BackgroundActivity::Kind::spectral, bandPassRemaining_);
    bandPassRemaining_ = 0;
}

void WaveformStore::retry(const FileUrl& url) {
    failedPeaks_.erase(url);
    failedBands_.erase(url);
    failedLoudness_.erase(url);
}

namespace {
struct LoudnessOutcome {
    std::optional<LoudnessMeasurement> value;
    bool failed = false;
};
} // namespace

void WaveformStore::ensureLoudness(const FileUrl& url, LoudnessDone done) {
    if (auto known = loudnessCache_.find(url); known != loudnessCache_.end() || failedLoudness_.count(url)) {
        auto value = known != loudnessCache_.end() ? known->second : std::nullopt;
        mailbox_->post([done = std::move(done), value] { done(value); });
        return;
    }
    auto& waiting = loudnessWaiting_[url];
    waiting.push_back(std::move(done));
    if (waiting.size() > 1) return;

    std::weak_ptr<MainLoopMailbox> alive = mailbox_;
    auto publish = publisher<LoudnessOutcome>(
        [this, url](LoudnessOutcome o) { finishLoudness(url, o.value, o.failed); });
    background_([alive, publish, url, dir = cacheDirectory_]() {
        if (alive.expired()) return;
        auto cached = AnalysisDiskCache::loudness(url.path(), dir);
        if (cached.value) {
            publish({cached.value, false});
            return;
        }
        auto measured = LoudnessAnalyzer::measure(url.path());
        if (!measured) {
            qCCritical(analysisLog).noquote() << "Cannot measure loudness of" << QString::fromStdString(url.fileName());
            publish({std::nullopt, true});
            return;
        }
        publish({*measured, false});
        if (*measured && cached.fingerprint)
            AnalysisDiskCache::storeLoudness(**measured, url.path(), *cached.fingerprint, dir);
    });
}

void WaveformStore::finishLoudness(const FileUrl& url, std::optional<LoudnessMeasurement> loudness, bool failed) {
    if (failed)
        failedLoudness_.insert(url);
    else
        loudnessCache_[url] = loudness;
    auto waiting = std::move(loudnessWaiting_[url]);
    loudnessWaiting_.erase(url);
    for (auto& done : waiting) done(loudness);
}

void WaveformStore::forgetLoudness() {
    loudnessCache_.clear();
    failedLoudness_.clear();
}

} // namespace ostinel
