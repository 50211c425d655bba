#include "platform/OfflinePacer.h"

#include <algorithm>
#include <cmath>

#include "platform/OfflineAudioSystem.h"

namespace ostinel {

OfflinePacer::OfflinePacer(MainLoop& loop, OfflineAudioSystem& audio)
    : loop_(loop), audio_(audio), startDate_(loop.now()), startRate_(audio.sampleRate()) {
    timer_ = loop_.every(intervalSeconds, [this] { pull(); });
}

OfflinePacer::~OfflinePacer() {
    if (timer_) loop_.cancel(*timer_);
}

float OfflinePacer::takePeak() {
    const float p = peak_;
    peak_ = 0.0f;
    return p;
}

void OfflinePacer::pull() {
    const double rate = audio_.sampleRate();
    const double now = loop_.now();
    // The clock restarts on a new rate, and after a stall, so that the frames
    // owed are always counted from a recent, true date.
    auto owed = [&] {
        return std::int64_t(std::floor((now - startDate_) * rate)) - (rendered_ - renderedAtStart_);
    };
    if (rate != startRate_ || double(owed()) > maxCatchUpSeconds * rate) {
        startRate_ = rate;
        startDate_ = now - intervalSeconds;
        renderedAtStart_ = rendered_;
    }
    const std::int64_t frames = owed();
    if (frames <= 0) return;
    const auto out = audio_.render(int(frames));
    rendered_ += frames;
    if (!out.empty())
        for (float v : out[0]) peak_ = std::max(peak_, std::fabs(v));
}

} // namespace ostinel
