#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/ManualMainLoop.h"
#include "platform/OfflineAudioSystem.h"
#include "timecode/LTCOutputEngine.h"

namespace ostinel::test {

// The LTC output on the offline device: each render is one period, with the
// timecode clock at the period's first sample, as an offline render keeps it.
struct LtcRig {
    static constexpr double rate = 48000.0;
    static constexpr int period = 480;
    using Level = LTCOutputEngine::LogLevel;

    explicit LtcRig(OfflineAudioSystem& main, ManualMainLoop& mainLoop)
        : ltc(main, mainLoop, clock, [this](Level level, const std::string& text) {
              logs.push_back({level, text});
          }) {}

    OfflineAudioSystem& output() { return static_cast<OfflineAudioSystem&>(*ltc.output()); }
    double now() const { return double(rendered) / rate; }
    // One period of every channel of the LTC output's device.
    std::vector<std::vector<float>> render() {
        clock.set(now());
        auto out = output().render(period);
        rendered += period;
        return out;
    }
    bool logged(Level level, const std::string& text) const {
        for (const auto& [l, t] : logs)
            if (l == level && t == text) return true;
        return false;
    }

    ManualClock clock;
    std::vector<std::pair<Level, std::string>> logs;
    LTCOutputEngine ltc;
    std::int64_t rendered = 0;
};

// The encoder driven by hand, a period at a time, as the output should.
struct ReferenceLtc {
    explicit ReferenceLtc(TimecodeRate r, double seconds) : encoder(LtcRig::rate, r) {
        encoder.locate(seconds);
    }
    std::vector<float> next(float amplitude) {
        std::vector<float> out(LtcRig::period);
        encoder.fill(out.data(), LtcRig::period, amplitude);
        return out;
    }
    LTCEncoder encoder;
};

inline bool silent(const std::vector<float>& v) {
    for (float x : v)
        if (x != 0.0f) return false;
    return true;
}

} // namespace ostinel::test
