#pragma once

#include <cstdint>
#include <optional>

#include "platform/MainLoop.h"

namespace ostinel {

class OfflineAudioSystem;

// With no audio server the output is the offline device, which nobody pulls,
// so the transport would never move. The pacer pulls it on the main loop at
// the device's rate and throws the sound away, keeping only its loudness.
class OfflinePacer {
public:
    // How often the due frames are rendered.
    static constexpr double intervalSeconds = 0.005;
    // A main loop held up longer than this (a modal alert) skips ahead
    // rather than rendering the whole gap in one go.
    static constexpr double maxCatchUpSeconds = 0.25;

    OfflinePacer(MainLoop& loop, OfflineAudioSystem& audio);
    ~OfflinePacer();
    OfflinePacer(const OfflinePacer&) = delete;
    OfflinePacer& operator=(const OfflinePacer&) = delete;

    // The loudest sample of the first channel since the last call.
    float takePeak();
    std::int64_t renderedFrames() const { return rendered_; }

private:
    void pull();

    MainLoop& loop_;
    OfflineAudioSystem& audio_;
    std::optional<MainLoop::TimerId> timer_;
    double startDate_ = 0.0;
    double startRate_ = 0.0;
    std::int64_t rendered_ = 0;
    std::int64_t renderedAtStart_ = 0;
    float peak_ = 0.0f;
};

} // namespace ostinel
