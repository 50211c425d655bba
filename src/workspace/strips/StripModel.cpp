#include "workspace/strips/StripModel.h"

#include <algorithm>
#include <cmath>

namespace ostinel::strips {

namespace {

template <class T, class Text> std::vector<StripMarker> markersOf(const CowList<T>& list, Text text) {
    std::vector<StripMarker> out;
    out.reserve(list.size());
    for (const T& item : list)
        out.push_back({item.id, item.timeSeconds, text(item)});
    std::stable_sort(out.begin(), out.end(),
                     [](const StripMarker& a, const StripMarker& b) { return a.time < b.time; });
    return out;
}

} // namespace

std::vector<StripMarker> stripMarkers(const Track& track, Strip strip) {
    switch (strip) {
    case Strip::notes:
        return markersOf(track.timelineNotes, noteText);
    case Strip::midiTriggers:
        return markersOf(track.midiTriggers, midiTriggerSummary);
    case Strip::oscTriggers:
        return markersOf(track.oscTriggers, [](const OSCTrigger& o) { return o.address; });
    case Strip::waveform:
        break;
    }
    return {};
}

TimelineItemKind itemKind(Strip strip) {
    switch (strip) {
    case Strip::midiTriggers:
        return TimelineItemKind::midiTrigger;
    case Strip::oscTriggers:
        return TimelineItemKind::oscTrigger;
    case Strip::notes:
    case Strip::waveform:
        break;
    }
    return TimelineItemKind::note;
}

std::string stripTitle(Strip strip) {
    switch (strip) {
    case Strip::midiTriggers:
        return "MIDI";
    case Strip::oscTriggers:
        return "OSC";
    case Strip::notes:
    case Strip::waveform:
        break;
    }
    return "Notes";
}

std::string itemNoun(Strip strip) {
    switch (strip) {
    case Strip::midiTriggers:
        return "MIDI Trigger";
    case Strip::oscTriggers:
        return "OSC Trigger";
    case Strip::notes:
    case Strip::waveform:
        break;
    }
    return "Note";
}

bool stripShown(const Show& show, Strip strip) {
    switch (strip) {
    case Strip::notes:
        return show.showNoteTimeline;
    case Strip::midiTriggers:
        return show.showMidiTimeline;
    case Strip::oscTriggers:
        return show.showOSCTimeline;
    case Strip::waveform:
        break;
    }
    return true;
}

bool stripEnabled(const Track& track, Strip strip) {
    switch (strip) {
    case Strip::midiTriggers:
        return track.midiTriggersEnabled;
    case Strip::oscTriggers:
        return track.oscTriggersEnabled;
    case Strip::notes:
    case Strip::waveform:
        break;
    }
    return true;
}

std::string noteText(const Note& note) {
    const auto begin = note.body.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos) return note.name;
    const auto end = note.body.find_first_of("\r\n", begin);
    std::string line = note.body.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
    line.erase(line.find_last_not_of(" \t") + 1);
    return line;
}

std::string midiTriggerSummary(const MidiTrigger& trigger) {
    const std::string number = std::to_string(trigger.number);
    const std::string value = std::to_string(trigger.value);
    const std::string channel = " \u00b7 ch " + std::to_string(trigger.channel);
    if (trigger.type == MidiTriggerType::noteOn) return "Note " + number + " vel " + value + channel;
    return "CC " + number + " = " + value + channel;
}

void clipFlags(std::vector<MarkerSpan>& spans, double gap) {
    for (std::size_t i = 0; i + 1 < spans.size(); ++i)
        spans[i].right = std::max(spans[i].x, std::min(spans[i].right, spans[i + 1].x - gap));
}

std::optional<Uuid> markerAt(const std::vector<MarkerSpan>& spans, double x, double tolerance) {
    const MarkerSpan* nearest = nullptr;
    for (const auto& s : spans) {
        const double d = std::fabs(s.x - x);
        if (d <= tolerance && (!nearest || d < std::fabs(nearest->x - x))) nearest = &s;
    }
    if (nearest) return nearest->id;
    for (auto s = spans.rbegin(); s != spans.rend(); ++s)
        if (s->x <= x && x <= s->right) return s->id;
    return std::nullopt;
}

bool insideMark(const std::optional<GroupDrag::Sel>& mark, double t) {
    if (!mark) return false;
    return std::min(mark->start, mark->end) <= t && t <= std::max(mark->start, mark->end);
}

} // namespace ostinel::strips
