#include "analysis/TempoDetection.h"

#include <QThreadPool>

#include <algorithm>

#include "document/AppState.h"
#include "platform/MainLoopMailbox.h"

namespace ostinel {

namespace {

// Ahead of queued prerendering: the operator is waiting for this one.
constexpr int operatorPriority = 1;

} // namespace

TempoDetection::TempoDetection(AppState& state, MainLoop& loop, Detector detector, Background background,
                               QObject* parent)
    : QObject(parent), state_(state), detector_(std::move(detector)), background_(std::move(background)),
      mailbox_(MainLoopMailbox::open(loop)) {
    if (!background_)
        background_ = [](std::function<void()> job) {
            QThreadPool::globalInstance()->start(std::move(job), operatorPriority);
        };
}

TempoDetection::~TempoDetection() {
    mailbox_->close();
    // Nothing will finish these, so nothing may look busy for them.
    for (const Uuid& id : std::set<Uuid>(running_)) release(id);
}

bool TempoDetection::detect(const Uuid& trackID, std::optional<TempoRange> range, Done done) {
    const Track* track = state_.show().track(trackID);
    if (!track || running_.count(trackID)) return false;
    running_.insert(trackID);
    state_.setAnalyzingTempoTrackID(trackID);
    emit runningChanged();

    std::weak_ptr<MainLoopMailbox> alive = mailbox_;
    background_([this, alive, trackID, range, done = std::move(done), detector = detector_,
                 path = track->url.path()]() mutable {
        if (alive.expired()) return;
        auto estimate = detector(path, range);
        if (const auto box = alive.lock())
            box->post([this, trackID, estimate, done = std::move(done)] { finish(trackID, estimate, done); });
    });
    return true;
}

void TempoDetection::finish(const Uuid& trackID, const std::optional<TempoEstimate>& estimate, const Done& done) {
    running_.erase(trackID);
    if (!estimate) {
        release(trackID);
        emit runningChanged();
        done(failedMessage);
        return;
    }
    // The show may have changed while the file was being listened to.
    const bool found = state_.editTrack(trackID, [&](Track& t) {
        t.bpm = std::clamp(estimate->bpm, minBPM, maxBPM);
        t.beatOffsetSeconds = std::max(0.0, std::min(estimate->anchorSeconds, t.duration));
        t.beatgridEnabled = true;
    });
    release(trackID);
    emit runningChanged();
    done(found && estimate->isDrifting ? std::optional<std::string>(driftingMessage) : std::nullopt);
}

void TempoDetection::release(const Uuid& trackID) {
    // Another track's detection may have taken the flag since.
    if (state_.analyzingTempoTrackID() == trackID) state_.setAnalyzingTempoTrackID(std::nullopt);
}

} // namespace ostinel
