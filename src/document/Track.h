#pragma once

#include <optional>
#include <string>
#include <utility>

#include "base/CowList.h"
#include "base/FileUrl.h"
#include "document/TimelineItems.h"

namespace ostinel {

namespace Constraint {
// +15 dB as a linear amplitude: the ceiling of every track level.
inline constexpr double maxTrackAmplitude = 5.623413251903491;
inline constexpr double minLoopLength = 0.05;
} // namespace Constraint

struct LoopGap {
    double lower = 0.0;
    double upper = 0.0;
    friend bool operator==(const LoopGap&, const LoopGap&) = default;
};

struct Track {
    Uuid id = Uuid::random();
    std::string name;
    FileUrl url;
    std::optional<std::string> relativePath;
    double duration = 0.0;
    double volume = 1.0;
    double startSeconds = 0.0;
    double endSeconds = 0.0;
    FadeSettings fade;
    bool volumeAutomationEnabled = false;
    CowList<AutomationPoint> volumeAutomation;
    CowList<Loop> loops;
    CowList<Note> timelineNotes;
    std::string notes;
    bool autoplay = false;
    bool skip = false;
    bool loopCue = false;
    std::optional<std::string> colorHex;
    bool beatgridEnabled = false;
    double bpm = 120.0;
    double beatOffsetSeconds = 0.0;
    double beatgridBars = 0.25;
    CowList<MidiTrigger> midiTriggers;
    bool midiTriggersEnabled = true;
    bool preRollMidiTriggerEnabled = false;
    MidiTrigger preRollMidiTrigger;
    CowList<OSCTrigger> oscTriggers;
    bool oscTriggersEnabled = true;
    bool preRollOSCTriggerEnabled = false;
    OSCTrigger preRollOSCTrigger;
    double timecodeStartSeconds = 3600.0;
    bool timecodePreRollEnabled = false;
    double timecodePreRollSeconds = 2.0;

    friend bool operator==(const Track&, const Track&) = default;

    // endSeconds when it lies after the in-point, else the end of the file.
    double effectiveEnd() const { return startSeconds < endSeconds ? endSeconds : duration; }
    double effectiveLength() const {
        double length = effectiveEnd() - startSeconds;
        return length > 0.0 ? length : 0.0;
    }
    // The name on screen: the file name when the cue has none.
    std::string displayName() const { return name.empty() ? url.fileName() : name; }
    // The free span around a loop, which the loop edge setters clamp into.
    LoopGap loopGap(const Uuid& loopID) const;
    const Loop* loop(const Uuid& loopID) const {
        return loops.findIf([&](const Loop& l) { return l.id == loopID; });
    }
};

} // namespace ostinel
