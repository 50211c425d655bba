#pragma once

#include <optional>

#include "document/GroupDrag.h"

namespace ostinel {

// The waveform panel as the cue commands see it: its marked regions, where
// the waveform's own mark starts, and the drag modifiers that the key filter
// keeps in step with Alt and Shift. The panel implements it, so that the
// commands never depend on the window.
class CueWaveform : public TimelineMarks {
public:
    // The waveform's marked region, ordered; absent unless both ends are set.
    virtual std::optional<double> selectionStartSeconds() const = 0;
    virtual void setSnapSuppressed(bool on) = 0;
    virtual void setBeatStepHeld(bool on) = 0;
};

} // namespace ostinel
