#pragma once

#include "playback/CueWaveform.h"

namespace ostinel::cli {

// No waveform on screen: nothing is ever marked, so GO starts at the in-point.
class HeadlessWaveform final : public CueWaveform {
public:
    std::optional<GroupDrag::Sel> mark(Strip) const override { return std::nullopt; }
    void setMark(Strip, std::optional<GroupDrag::Sel>) override {}
    std::optional<double> selectionStartSeconds() const override { return std::nullopt; }
    void setSnapSuppressed(bool) override {}
    void setBeatStepHeld(bool) override {}
};

} // namespace ostinel::cli
