#pragma once

#include <algorithm>
#include <vector>

#include "document/TimelineItems.h"

namespace ostinel {

enum class TimelineItemKind { loop, note, midiTrigger, oscTrigger };

// What Copy holds. Lives beside the document, outside it and its history,
// so it survives track changes.
struct TimelineClipboard {
    std::vector<Loop> loops;
    std::vector<Note> notes;
    std::vector<MidiTrigger> triggers;
    std::vector<OSCTrigger> oscTriggers;
    std::vector<AutomationPoint> automationPoints;
    double anchor = 0.0;

    friend bool operator==(const TimelineClipboard&, const TimelineClipboard&) = default;

    bool empty() const {
        return loops.empty() && notes.empty() && triggers.empty() && oscTriggers.empty() && automationPoints.empty();
    }

    // The group's earliest and latest points; 0 for an empty clipboard.
    double minTime() const { return bound(true); }
    double maxTime() const { return bound(false); }

    // The same clipboard with only one kind of item, for the single-kind pastes.
    TimelineClipboard only(TimelineItemKind kind) const {
        TimelineClipboard c;
        c.anchor = anchor;
        switch (kind) {
        case TimelineItemKind::loop: c.loops = loops; break;
        case TimelineItemKind::note: c.notes = notes; break;
        case TimelineItemKind::midiTrigger: c.triggers = triggers; break;
        case TimelineItemKind::oscTrigger: c.oscTriggers = oscTriggers; break;
        }
        return c;
    }

private:
    double bound(bool lowest) const {
        bool any = false;
        double result = 0.0;
        auto take = [&](double t) {
            result = !any ? t : lowest ? std::min(result, t) : std::max(result, t);
            any = true;
        };
        for (const auto& l : loops) take(lowest ? l.startSeconds : l.endSeconds);
        for (const auto& n : notes) take(n.timeSeconds);
        for (const auto& m : triggers) take(m.timeSeconds);
        for (const auto& o : oscTriggers) take(o.timeSeconds);
        for (const auto& a : automationPoints) take(a.timeSeconds);
        return result;
    }
};

} // namespace ostinel
