#include "analysis/LoudnessBatch.h"

#include <QThread>

#include <algorithm>
#include <deque>
#include <set>

#include "analysis/WaveformStore.h"
#include "document/AppState.h"

namespace ostinel {

struct LoudnessBatch::Run {
    std::deque<std::pair<Uuid, FileUrl>> pending;
    Measurements measured;
    Done done;
    std::int64_t handled = 0;
    std::int64_t total = 0;
    int running = 0;
};

LoudnessBatch::LoudnessBatch(AppState& state, WaveformStore& store, int parallel, QObject* parent)
    : QObject(parent), state_(state), store_(store),
      parallel_(parallel > 0 ? parallel : std::max(1, QThread::idealThreadCount())) {}

LoudnessBatch::~LoudnessBatch() {
    if (run_) state_.setLoudnessProgress(std::nullopt);
}

void LoudnessBatch::measure(const std::vector<Uuid>& trackIDs, Done done) {
    if (run_) return;
    const std::set<Uuid> wanted(trackIDs.begin(), trackIDs.end());
    auto run = std::make_shared<Run>();
    for (const Track& t : state_.show().tracks)
        if (wanted.contains(t.id) && t.url.exists()) run->pending.emplace_back(t.id, t.url);
    if (run->pending.empty()) {
        done({});
        return;
    }
    run->total = std::int64_t(run->pending.size());
    run->done = std::move(done);
    run_ = std::move(run);
    state_.setLoudnessProgress(AppState::LoudnessProgress{0, run_->total});
    feed();
}

void LoudnessBatch::feed() {
    while (run_->running < parallel_ && !run_->pending.empty()) {
        auto [id, url] = run_->pending.front();
        run_->pending.pop_front();
        ++run_->running;
        // A cancelled or replaced run is let go: its late answers find it gone.
        std::weak_ptr<Run> owner = run_;
        store_.ensureLoudness(url, [this, owner, id](std::optional<LoudnessMeasurement> m) {
            if (auto r = owner.lock(); r && r == run_) finishTrack(id, m);
        });
    }
}

void LoudnessBatch::finishTrack(const Uuid& id, std::optional<LoudnessMeasurement> m) {
    if (m) run_->measured[id] = *m;
    --run_->running;
    ++run_->handled;
    state_.setLoudnessProgress(AppState::LoudnessProgress{run_->handled, run_->total});
    if (run_->handled == run_->total)
        end();
    else
        feed();
}

void LoudnessBatch::cancel() {
    if (run_) end();
}

void LoudnessBatch::end() {
    auto run = std::move(run_);
    state_.setLoudnessProgress(std::nullopt);
    run->done(std::move(run->measured));
}

} // namespace ostinel
