#include "workspace/waveform/WaveformHandles.h"

#include <algorithm>
#include <cmath>

#include "document/Track.h"
#include "workspace/common/TimelineGeometry.h"

namespace ostinel::waveform {

double CanvasMetrics::dbToY(double db) const {
    double f = (topDb - std::clamp(db, floorDb, topDb)) / (topDb - floorDb);
    return waveTop() + f * (waveBottom() - waveTop());
}

double CanvasMetrics::yToDb(double y) const {
    double span = waveBottom() - waveTop();
    if (span <= 0.0) return 0.0;
    double f = std::clamp((y - waveTop()) / span, 0.0, 1.0);
    return topDb - f * (topDb - floorDb);
}

double loopLogoX(double loopStartX) { return loopStartX + CanvasMetrics::knobWidth + 2.0; }

TabSpan inOutTab(double lineX, bool in, const CanvasMetrics& m) {
    const double w = CanvasMetrics::inOutTabWidth;
    double left = in ? lineX - w : lineX;
    if (m.width > 0.0 && lineX >= 0.0 && lineX <= m.width)
        left = std::clamp(left, 0.0, std::max(0.0, m.width - w));
    return {left, left + w};
}

namespace {

bool near(double x, double at, double slop) { return std::abs(x - at) <= slop; }

} // namespace

Hit hitTest(const Track& track, const TimelineGeometry& g, const CanvasMetrics& m, double x, double y,
            std::optional<std::pair<double, double>> mark, bool editable) {
    if (track.duration <= 0.0) return {};
    const double slop = CanvasMetrics::flagHalfWidth;

    if (editable) {
        for (const auto& p : track.volumeAutomation) {
            double dx = x - g.xAt(p.timeSeconds), dy = y - m.dbToY(p.db);
            if (dx * dx + dy * dy <= CanvasMetrics::pointGrab * CanvasMetrics::pointGrab)
                return {HandleKind::automationPoint, p.id};
        }
        if (y >= m.height - CanvasMetrics::inOutFlagHeight) {
            // The tabs first, so flags close together can both be taken.
            double inX = g.xAt(track.startSeconds), outX = g.xAt(track.effectiveEnd());
            const TabSpan inTab = inOutTab(inX, true, m), outTab = inOutTab(outX, false, m);
            if (x >= outTab.left && x <= outTab.right) return {HandleKind::outFlag, {}};
            if (x >= inTab.left && x <= inTab.right) return {HandleKind::inFlag, {}};
            if (near(x, outX, CanvasMetrics::inOutLineGrab)) return {HandleKind::outFlag, {}};
            if (near(x, inX, CanvasMetrics::inOutLineGrab)) return {HandleKind::inFlag, {}};
        }
        if (!track.volumeAutomationEnabled && y < CanvasMetrics::fadeFlagHeight) {
            double inX = g.xAt(track.startSeconds + track.fade.fadeInSeconds);
            double outX = g.xAt(track.effectiveEnd() - track.fade.fadeOutSeconds);
            double toIn = std::abs(x - inX), toOut = std::abs(x - outX);
            if (toOut <= slop && toOut <= toIn) return {HandleKind::fadeOut, {}};
            if (toIn <= slop) return {HandleKind::fadeIn, {}};
        }
        if (track.beatgridEnabled && y >= m.anchorTop() && y < m.height - CanvasMetrics::inOutFlagHeight &&
            near(x, g.xAt(track.beatOffsetSeconds), slop))
            return {HandleKind::beatAnchor, {}};
    }

    if (y >= CanvasMetrics::loopBarTop && y < m.loopBarBottom()) {
        for (const auto& loop : track.loops) {
            double a = g.xAt(loop.startSeconds), b = g.xAt(loop.endSeconds);
            if (x < a - CanvasMetrics::knobWidth / 2 || x > b + CanvasMetrics::knobWidth / 2) continue;
            if (editable) {
                if (x <= a + CanvasMetrics::knobWidth / 2) return {HandleKind::loopStartKnob, loop.id};
                if (x >= b - CanvasMetrics::knobWidth / 2) return {HandleKind::loopEndKnob, loop.id};
            }
            double logo = loopLogoX(a);
            if (editable && x >= logo && x <= logo + CanvasMetrics::loopBarHeight) return {HandleKind::loopLogo, loop.id};
            return {HandleKind::loopBar, loop.id};
        }
    }

    if (mark) {
        double a = g.xAt(std::min(mark->first, mark->second)), b = g.xAt(std::max(mark->first, mark->second));
        if (x >= a && x <= b) return {HandleKind::markedRegion, {}};
    }
    return {};
}

} // namespace ostinel::waveform
