// The level law: shape (fades or the drawn curve) × track level × loop duck,
// written to the player at the tick rate.

#include <algorithm>
#include <cmath>
#include <limits>

#include "document/VolumeAutomation.h"
#include "platform/Preferences.h"
#include "playback/PlaybackEngine.h"

namespace ostinel {

namespace {

constexpr double floorDb = -60.0;

double gainForDb(double db) { return std::pow(10.0, db / 20.0); }

} // namespace

float PlaybackEngine::envelopeVolume(double t) const {
    double g = 1.0;
    if (automationEnabled_) {
        const double d = VolumeAutomation::db(t, automation_);
        g = d <= floorDb ? 0.0 : gainForDb(d);
    } else {
        double p = 1.0;
        if (fadeInSeconds_ > 0.0 && t < startTime_ + fadeInSeconds_)
            p = std::min((t - startTime_) / fadeInSeconds_, 1.0);
        if (fadeOutSeconds_ > 0.0 && t > endTime_ - fadeOutSeconds_)
            p = std::min(p, (endTime_ - t) / fadeOutSeconds_);
        // Straight in dB from -60 to 0, with a step from silence at the ends.
        g = p >= 1.0 ? 1.0 : p <= 0.0 ? 0.0 : gainForDb((1.0 - p) * floorDb);
    }
    const float k = float(gainForDb(duckDb_));
    return float(g) * trackLevel() * k;
}

float PlaybackEngine::trackLevel() const {
    return float(std::clamp(double(trackVolume_), 0.0, Constraint::maxTrackAmplitude) / Constraint::maxTrackAmplitude);
}

void PlaybackEngine::applyEnvelope(double t) { player_.setVolume(envelopeVolume(t)); }

void PlaybackEngine::setFades(double fadeIn, double fadeOut) {
    fadeInSeconds_ = std::max(fadeIn, 0.0);
    fadeOutSeconds_ = std::max(fadeOut, 0.0);
}

void PlaybackEngine::setTrackVolume(double volume) {
    trackVolume_ = float(std::clamp(volume, 0.0, Constraint::maxTrackAmplitude));
}

void PlaybackEngine::setAutomation(bool enabled, const CowList<AutomationPoint>& points) {
    automationEnabled_ = enabled;
    automation_ = points.toVector();
    std::stable_sort(automation_.begin(), automation_.end(),
                     [](const AutomationPoint& a, const AutomationPoint& b) { return a.timeSeconds < b.timeSeconds; });
    if (!isEscFading_) applyEnvelope(currentTime_);
}

void PlaybackEngine::clearDuck() {
    duckDb_ = 0.0;
    duckParams_.reset();
}

// One tick of the loop duck: straight in dB, counted in ticks, at the rate of
// the loop that asked for it (on the way back, of the loop just left).
void PlaybackEngine::updateDuck() {
    const Loop* active = nullptr;
    if (activeLoopID_) {
        const Uuid id = *activeLoopID_;
        active = loops_.findIf([&](const Loop& l) { return l.id == id; });
        if (active && !(active->reduceVolumeEnabled && active->reduceVolumeDb > 0.0)) active = nullptr;
    }
    double target = 0.0;
    if (active) {
        duckParams_ = DuckParams{active->reduceVolumeDb, active->fadeInSeconds, active->fadeOutSeconds};
        target = -active->reduceVolumeDb;
    }
    constexpr double unbounded = std::numeric_limits<double>::infinity();
    if (duckDb_ > target) {
        const double step = duckParams_ && duckParams_->fadeIn > 0.0
                                ? duckParams_->db / duckParams_->fadeIn / ticksPerSecond
                                : unbounded;
        duckDb_ = std::max(target, duckDb_ - step);
    } else if (duckDb_ < target) {
        const double step = duckParams_ && duckParams_->fadeOut > 0.0
                                ? duckParams_->db / duckParams_->fadeOut / ticksPerSecond
                                : unbounded;
        duckDb_ = std::min(target, duckDb_ + step);
    }
    if (duckDb_ == 0.0) duckParams_.reset();
}

void PlaybackEngine::setStopFadeSeconds(double seconds) {
    const double clamped = std::isnan(seconds) ? 0.0 : std::clamp(seconds, 0.0, maxStopFadeSeconds);
    preferences_.setValue("stopFadeSeconds", clamped);
    assign(stopFadeSeconds_, clamped, &PlaybackEngine::stopFadeSecondsChanged);
}

} // namespace ostinel
