#pragma once

#include <optional>
#include <vector>

#include "document/Track.h"

namespace ostinel {

class TimelineMarks;

// What a marquee group looked like when its drag began. Every step of the
// drag is applied to these captured values, so error never accumulates.
struct GroupDrag {
    struct Sel {
        double start = 0.0;
        double end = 0.0;
        friend bool operator==(const Sel&, const Sel&) = default;
    };

    std::vector<Loop> loops;
    std::vector<AutomationPoint> automation;
    std::vector<Note> notes;
    std::vector<MidiTrigger> triggers;
    std::vector<OSCTrigger> oscTriggers;
    std::optional<Sel> waveSel, noteSel, midiSel, oscSel;

    static GroupDrag capture(const Track& track, const TimelineMarks& marks);
    // The delta that keeps the whole group, marks included, inside 0...duration;
    // a group too long to fit resolves to its lowest point at 0.
    double clampedDelta(double delta, double duration) const;
    // Moves the captured items and marks by delta from where they were captured.
    void apply(double delta, Track& track, TimelineMarks& marks) const;
};

// The four marked regions of the waveform and its strips, as a view keeps them.
class TimelineMarks {
public:
    enum class Strip { waveform, notes, midiTriggers, oscTriggers };
    virtual ~TimelineMarks() = default;
    // A region only when both ends are set.
    virtual std::optional<GroupDrag::Sel> mark(Strip strip) const = 0;
    virtual void setMark(Strip strip, std::optional<GroupDrag::Sel> sel) = 0;
};

} // namespace ostinel
