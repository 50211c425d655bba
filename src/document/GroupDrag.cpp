#include "document/GroupDrag.h"

#include <algorithm>
#include <limits>
#include <type_traits>

#include "document/TimelineEdits.h"

namespace ostinel {

namespace {

using Strip = TimelineMarks::Strip;

std::optional<GroupDrag::Sel> ordered(const TimelineMarks& marks, Strip strip) {
    auto m = marks.mark(strip);
    if (!m) return std::nullopt;
    return GroupDrag::Sel{std::min(m->start, m->end), std::max(m->start, m->end)};
}

std::optional<TimeRange> rangeOf(const std::optional<GroupDrag::Sel>& sel) {
    if (!sel) return std::nullopt;
    return TimeRange{sel->start, sel->end};
}

template <class T>
void moveCaptured(Track& track, const std::vector<T>& captured, double delta) {
    if (captured.empty()) return;
    auto& list = track.*TimedList<T>::member;
    for (const T& from : captured) {
        auto i = list.indexWhere([&](const T& item) { return item.id == from.id; });
        if (i < 0) continue; // removed while dragging
        T& item = list.edit(std::size_t(i));
        if constexpr (std::is_same_v<T, Loop>) {
            item.startSeconds = from.startSeconds + delta;
            item.endSeconds = from.endSeconds + delta;
        } else {
            item.timeSeconds = from.timeSeconds + delta;
        }
    }
    list.stableSortBy(&TimedList<T>::time);
}

} // namespace

GroupDrag GroupDrag::capture(const Track& track, const TimelineMarks& marks) {
    GroupDrag g;
    g.waveSel = ordered(marks, Strip::waveform);
    g.noteSel = ordered(marks, Strip::notes);
    g.midiSel = ordered(marks, Strip::midiTriggers);
    g.oscSel = ordered(marks, Strip::oscTriggers);
    // The same rule as copying a marked selection: loops wholly inside, items in the closed range.
    TimelineClipboard inside =
        TimelineEdits::copyRanges(track, rangeOf(g.waveSel), rangeOf(g.noteSel), rangeOf(g.midiSel), rangeOf(g.oscSel));
    g.loops = std::move(inside.loops);
    g.automation = std::move(inside.automationPoints);
    g.notes = std::move(inside.notes);
    g.triggers = std::move(inside.triggers);
    g.oscTriggers = std::move(inside.oscTriggers);
    return g;
}

double GroupDrag::clampedDelta(double delta, double duration) const {
    double lowest = std::numeric_limits<double>::infinity();
    double highest = -std::numeric_limits<double>::infinity();
    auto span = [&](double start, double end) {
        lowest = std::min(lowest, start);
        highest = std::max(highest, end);
    };
    for (const auto& l : loops) span(l.startSeconds, l.endSeconds);
    for (const auto& a : automation) span(a.timeSeconds, a.timeSeconds);
    for (const auto& n : notes) span(n.timeSeconds, n.timeSeconds);
    for (const auto& m : triggers) span(m.timeSeconds, m.timeSeconds);
    for (const auto& o : oscTriggers) span(o.timeSeconds, o.timeSeconds);
    for (const auto* sel : {&waveSel, &noteSel, &midiSel, &oscSel})
        if (*sel) span((*sel)->start, (*sel)->end);
    if (lowest > highest) return delta; // nothing captured, nothing to keep inside
    return std::max(std::min(delta, duration - highest), -lowest);
}

void GroupDrag::apply(double delta, Track& track, TimelineMarks& marks) const {
    moveCaptured(track, loops, delta);
    moveCaptured(track, automation, delta);
    moveCaptured(track, notes, delta);
    moveCaptured(track, triggers, delta);
    moveCaptured(track, oscTriggers, delta);
    auto moveMark = [&](Strip strip, const std::optional<Sel>& sel) {
        if (sel) marks.setMark(strip, Sel{sel->start + delta, sel->end + delta});
    };
    moveMark(Strip::waveform, waveSel);
    moveMark(Strip::notes, noteSel);
    moveMark(Strip::midiTriggers, midiSel);
    moveMark(Strip::oscTriggers, oscSel);
}

} // namespace ostinel
