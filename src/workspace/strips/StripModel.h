#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/Uuid.h"
#include "document/Show.h"
#include "document/TimelineClipboard.h"
#include "document/Track.h"
#include "workspace/WaveformController.h"

namespace ostinel::strips {

using Strip = WaveformController::Strip;

// One item of a strip as drawn: where it stands and what it says.
struct StripMarker {
    Uuid id;
    double time = 0.0;
    std::string text;
};

// The strip's items in time order (stable, since the time setters leave the
// lists unsorted). Empty for the waveform.
std::vector<StripMarker> stripMarkers(const Track& track, Strip strip);

TimelineItemKind itemKind(Strip strip);
// "Notes", "MIDI", "OSC".
std::string stripTitle(Strip strip);
// The item's name in menus: "Note", "MIDI Trigger", "OSC Trigger".
std::string itemNoun(Strip strip);
// Whether the show asks for the strip under its waveform.
bool stripShown(const Show& show, Strip strip);
// False for a strip whose triggers are switched off on the track.
bool stripEnabled(const Track& track, Strip strip);

// The note's text: the first line of its body, or its name when the body is blank.
std::string noteText(const Note& note);
// "CC 7 = 127 · ch 1" or "Note 60 vel 100 · ch 10".
std::string midiTriggerSummary(const MidiTrigger& trigger);

// A marker's hit area in the strip's x: its line, and the flag carrying its
// text out to `right`.
struct MarkerSpan {
    Uuid id;
    double x = 0.0;
    double right = 0.0;
};

// Flags stop short of the next marker's line so that each text stays readable
// and each flag stays clickable; spans must be in x order.
void clipFlags(std::vector<MarkerSpan>& spans, double gap);

// The marker whose line is nearest to x within `tolerance`, otherwise the
// flag under x (the later one, drawn on top).
std::optional<Uuid> markerAt(const std::vector<MarkerSpan>& spans, double x, double tolerance);

// Whether t lies in the strip's marked region (ends in either order).
bool insideMark(const std::optional<GroupDrag::Sel>& mark, double t);

} // namespace ostinel::strips
