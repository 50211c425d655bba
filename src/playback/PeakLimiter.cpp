#include "playback/PeakLimiter.h"

#include <algorithm>
#include <cmath>

namespace ostinel {

PeakLimiter::PeakLimiter(double sampleRate)
    : sampleRate_(sampleRate), lookAhead_(std::max(1, int(std::lround(attackSeconds * sampleRate)))),
      releaseCoefficient_(std::exp(-1.0 / (releaseSeconds * sampleRate))),
      delayLeft_(std::size_t(lookAhead_)), delayRight_(std::size_t(lookAhead_)),
      hold_(std::size_t(lookAhead_) + 1), box_(std::size_t(lookAhead_)),
      boxFull_(std::int64_t(lookAhead_) * unity) {
    reset();
}

void PeakLimiter::reset() {
    std::fill(delayLeft_.begin(), delayLeft_.end(), 0.0f);
    std::fill(delayRight_.begin(), delayRight_.end(), 0.0f);
    std::fill(box_.begin(), box_.end(), unity);
    delayAt_ = boxAt_ = holdHead_ = holdCount_ = 0;
    frame_ = 0;
    released_ = 1.0;
    boxSum_ = boxFull_;
    lastGain_ = 1.0;
}

double PeakLimiter::gain() const {
    return enabled_ ? lastGain_ : 1.0;
}

double PeakLimiter::reductionDb() const {
    if (!enabled_) return 0.0;
    // A gain of zero (infinite input) still reads as a number.
    return std::max(0.0, -20.0 * std::log10(std::max(lastGain_, 1e-10)));
}

void PeakLimiter::process(float* left, float* right, int frames) noexcept {
    if (idle()) {
        // The common case: nothing near the ceiling and no reduction pending,
        // so the block only needs delaying. NaN fails the test on purpose.
        // Branch-free so the loop vectorises.
        int quiet = 1;
        for (int i = 0; i < frames; ++i)
            quiet &= int(std::fabs(left[i]) <= float(ceiling)) & int(std::fabs(right[i]) <= float(ceiling));
        if (quiet) {
            for (int i = 0; i < frames; ++i) {
                std::swap(left[i], delayLeft_[std::size_t(delayAt_)]);
                std::swap(right[i], delayRight_[std::size_t(delayAt_)]);
                if (++delayAt_ == lookAhead_) delayAt_ = 0;
            }
            frame_ += frames;
            lastGain_ = 1.0;
            return;
        }
    }
    for (int i = 0; i < frames; ++i)
        processFrame(left[i], right[i]);
}

void PeakLimiter::processFrame(float& left, float& right) noexcept {
    const float inLeft = std::isfinite(left) ? left : 0.0f;
    const float inRight = std::isfinite(right) ? right : 0.0f;
    const std::int64_t now = frame_++;
    const int capacity = lookAhead_ + 1;

    while (holdCount_ > 0 && hold_[std::size_t(holdHead_)].frame < now - lookAhead_) {
        holdHead_ = (holdHead_ + 1) % capacity;
        --holdCount_;
    }
    const double peak = std::max(std::fabs(double(inLeft)), std::fabs(double(inRight)));
    if (peak > ceiling) {
        const double need = ceiling / peak;
        while (holdCount_ > 0 && hold_[std::size_t((holdHead_ + holdCount_ - 1) % capacity)].gain >= need)
            --holdCount_;
        hold_[std::size_t((holdHead_ + holdCount_) % capacity)] = {need, now};
        ++holdCount_;
    }
    const double held = holdCount_ > 0 ? hold_[std::size_t(holdHead_)].gain : 1.0;

    // Instant fall to the held gain (the moving average below turns it into
    // the attack ramp), exponential recovery otherwise. Either way the result
    // is at most the held gain, which is what keeps the ceiling.
    released_ = held < released_ ? held : held - (held - released_) * releaseCoefficient_;
    if (held == 1.0 && 1.0 - released_ < 1.0 / double(unity)) released_ = 1.0;

    const auto fixed = std::int64_t(released_ * double(unity)); // rounds down
    boxSum_ += fixed - box_[std::size_t(boxAt_)];
    box_[std::size_t(boxAt_)] = fixed;
    if (++boxAt_ == lookAhead_) boxAt_ = 0;
    const double gain = boxSum_ == boxFull_ ? 1.0 : double(boxSum_) / double(boxFull_);
    lastGain_ = gain;

    const float outLeft = delayLeft_[std::size_t(delayAt_)];
    const float outRight = delayRight_[std::size_t(delayAt_)];
    delayLeft_[std::size_t(delayAt_)] = inLeft;
    delayRight_[std::size_t(delayAt_)] = inRight;
    if (++delayAt_ == lookAhead_) delayAt_ = 0;

    if (enabled_) {
        left = float(double(outLeft) * gain);
        right = float(double(outRight) * gain);
    } else {
        left = outLeft;
        right = outRight;
    }
}

} // namespace ostinel
