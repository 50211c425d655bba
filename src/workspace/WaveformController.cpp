#include "workspace/WaveformController.h"

#include <algorithm>
#include <cmath>

#include "document/BeatGrid.h"

namespace ostinel {

namespace {

constexpr std::array allStrips{TimelineMarks::Strip::waveform, TimelineMarks::Strip::notes,
                               TimelineMarks::Strip::midiTriggers, TimelineMarks::Strip::oscTriggers};

} // namespace

double WaveformController::contentWidth() const { return std::max(viewWidth_, viewWidth_ * zoom_); }

double WaveformController::zoomFloor() const {
    if (!viewBounds_) return 1.0;
    double span = viewBounds_->upper - viewBounds_->lower;
    if (span < 0.0001) return 10000.0;
    return std::max(1.0 / span, 1.0);
}

// The floor wins over the limit: Show mode must never reveal audio outside a
// trim, even one too short to fill the view at the Edit mode limit.
double WaveformController::clampZoom(double z) const { return std::max(std::min(z, editMaxZoom), zoomFloor()); }

double WaveformController::clampScroll(double x, double width) const {
    double lowest = 0.0;
    double highest = std::max(width - viewWidth_, 0.0);
    if (viewBounds_) {
        lowest = width * viewBounds_->lower;
        highest = std::max(width * viewBounds_->upper - viewWidth_, lowest);
    }
    return std::max(std::min(x, highest), lowest);
}

double WaveformController::centerFraction() const {
    double width = contentWidth();
    if (!(width > 0.0)) return 0.0;
    return (scrollX_ + viewWidth_ / 2.0) / width;
}

void WaveformController::setZoom(double z, double focalFraction, double anchorX) {
    if (!std::isfinite(z) || !std::isfinite(focalFraction) || !std::isfinite(anchorX)) return;
    write(zoom_, clampZoom(z), Field::zoom);
    double width = contentWidth();
    write(scrollX_, clampScroll(focalFraction * width - anchorX, width), Field::scrollX);
}

void WaveformController::fit() {
    write(zoom_, viewBounds_ ? zoomFloor() : 1.0, Field::zoom);
    double width = contentWidth();
    write(scrollX_, clampScroll(viewBounds_ ? viewBounds_->lower * width : 0.0, width), Field::scrollX);
}

void WaveformController::center(double fraction) {
    if (!std::isfinite(fraction)) return;
    write(scrollX_, followScroll(fraction, viewWidth_), Field::scrollX);
}

double WaveformController::followScroll(double fraction, double width) const {
    return clampScroll(fraction * contentWidth() - width / 2.0, contentWidth());
}

void WaveformController::setScrollX(double x) {
    if (!std::isfinite(x)) return;
    write(scrollX_, clampScroll(x, contentWidth()), Field::scrollX);
}

void WaveformController::applyViewBounds(std::optional<ViewBounds> bounds) {
    bool leaving = viewBounds_ && !bounds;
    viewBounds_ = bounds;
    // Entering Show mode fits as well; here the view is only kept inside.
    reclamp();
    if (leaving) liveFollowScrollX_.reset();
}

std::optional<ViewBounds> WaveformController::boundsFor(const Track& track, bool showMode) {
    if (!showMode || !(track.duration > 0.0)) return std::nullopt;
    ViewBounds b{std::clamp(track.startSeconds / track.duration, 0.0, 1.0),
                 std::clamp(track.effectiveEnd() / track.duration, 0.0, 1.0)};
    if (!(b.upper - b.lower > 0.001)) return std::nullopt;
    return b;
}

void WaveformController::setViewWidth(double width) {
    if (!std::isfinite(width) || width < 0.0 || width == viewWidth_) return;
    viewWidth_ = width;
    reclamp();
}

void WaveformController::reclamp() {
    write(zoom_, clampZoom(zoom_), Field::zoom);
    write(scrollX_, clampScroll(scrollX_, contentWidth()), Field::scrollX);
}

void WaveformController::trackChanged(bool preserveZoom) {
    clearAllSelections();
    setNoteDragSeconds(std::nullopt);
    liveFollowScrollX_.reset();
    if (preserveZoom)
        reclamp();
    else
        fit();
}

WaveformController::Field WaveformController::fieldOf(Strip strip) {
    switch (strip) {
    case Strip::waveform: return Field::selection;
    case Strip::notes: return Field::noteSelection;
    case Strip::midiTriggers: return Field::midiTriggerSelection;
    case Strip::oscTriggers: return Field::oscTriggerSelection;
    }
    return Field::selection;
}

void WaveformController::setMarked(Strip strip, Marked value) {
    Marked& m = marks_[index(strip)];
    if (m.start == value.start && m.end == value.end) return;
    m = value;
    if (onChange) onChange(fieldOf(strip));
}

void WaveformController::setSelectionStart(Strip strip, std::optional<double> t) {
    setMarked(strip, {t, marks_[index(strip)].end});
}

void WaveformController::setSelectionEnd(Strip strip, std::optional<double> t) {
    setMarked(strip, {marks_[index(strip)].start, t});
}

std::optional<GroupDrag::Sel> WaveformController::mark(Strip strip) const {
    const Marked& m = marks_[index(strip)];
    if (!m.start || !m.end) return std::nullopt;
    return GroupDrag::Sel{*m.start, *m.end};
}

void WaveformController::setMark(Strip strip, std::optional<GroupDrag::Sel> sel) {
    if (sel)
        setMarked(strip, {sel->start, sel->end});
    else
        setMarked(strip, {});
}

void WaveformController::clearAllSelections() {
    for (Strip s : allStrips) setMarked(s, {});
}

std::optional<std::pair<double, double>> WaveformController::selectionRange() const {
    auto m = mark(Strip::waveform);
    if (!m) return std::nullopt;
    return std::pair{std::min(m->start, m->end), std::max(m->start, m->end)};
}

std::optional<double> WaveformController::selectionStartSeconds() const {
    auto r = selectionRange();
    if (!r) return std::nullopt;
    return r->first;
}

std::optional<double> WaveformController::selectionDuration() const {
    auto r = selectionRange();
    if (!r) return std::nullopt;
    return r->second - r->first;
}

double WaveformController::snap(double t, const Track& track) const {
    if (snapSuppressed_ || !track.beatgridEnabled || !(track.bpm > 0.0)) return t;
    BeatGrid grid = BeatGrid::of(track);
    if (!(grid.spacing() > 0.0)) return t;
    return std::max(std::min(grid.snap(t), track.duration), 0.0);
}

double WaveformController::timeAt(double windowX, double duration) const {
    const auto& frame = frames_[index(Strip::waveform)];
    double x = windowX - (frame ? frame->x : 0.0);
    double width = contentWidth();
    if (width > 1.0) x /= width;
    return std::clamp(x, 0.0, 1.0) * duration;
}

bool WaveformController::markRegion(double fromX, double fromY, double toX, double toY, Strip origin,
                                    const Track& track) {
    if (!(track.duration > 0.0)) return false;
    double start = snap(timeAt(fromX, track.duration), track);
    double end = snap(timeAt(toX, track.duration), track);
    applyMarquee(fromY, toY, start, end, origin);
    return true;
}

void WaveformController::applyMarquee(double fromY, double toY, double start, double end, Strip origin) {
    double low = std::min(fromY, toY);
    double high = std::max(fromY, toY);
    for (Strip s : allStrips) {
        const auto& frame = frames_[index(s)];
        bool reached = frame && frame->top() < high && frame->bottom() > low;
        setMarked(s, s == origin || reached ? Marked{start, end} : Marked{});
    }
}

} // namespace ostinel
