#include "workspace/waveform/WaveformDrag.h"

#include <algorithm>
#include <cmath>

#include "workspace/WaveformController.h"

namespace ostinel::waveform {

namespace {

// The smallest stretch the in and out points may enclose.
constexpr double minTrimLength = 0.05;

} // namespace

bool isDrag(double dx, double dy) { return std::abs(dx) > 3.0 || std::abs(dy) > 3.0; }

double movedLoopStart(const Track& captured, const Uuid& loopID, double delta) {
    const Loop* loop = captured.loop(loopID);
    if (!loop) return 0.0;
    double length = loop->endSeconds - loop->startSeconds;
    LoopGap gap = captured.loopGap(loopID);
    double upper = std::max(gap.lower, gap.upper - length);
    return std::clamp(loop->startSeconds + delta, gap.lower, upper);
}

void HandleDrag::apply(Track& track, double t, double db, const WaveformController& c, bool wholeBeats) const {
    const double d = captured.duration;
    t = std::clamp(t, 0.0, d);
    switch (hit.kind) {
    // A flag moves by as much as the pointer did, so grabbing its tab away
    // from the line does not make the point jump to the pointer.
    case HandleKind::inFlag: {
        double wanted = std::clamp(captured.startSeconds + (t - pressTime), 0.0, d);
        track.startSeconds =
            std::clamp(c.snap(wanted, captured), 0.0, std::max(0.0, captured.effectiveEnd() - minTrimLength));
        break;
    }
    case HandleKind::outFlag: {
        double wanted = std::clamp(captured.effectiveEnd() + (t - pressTime), 0.0, d);
        track.endSeconds =
            std::clamp(c.snap(wanted, captured), std::min(d, captured.startSeconds + minTrimLength), d);
        break;
    }
    case HandleKind::fadeIn:
        track.fade.fadeInSeconds = std::clamp(t - captured.startSeconds, 0.0, captured.effectiveLength());
        break;
    case HandleKind::fadeOut:
        track.fade.fadeOutSeconds = std::clamp(captured.effectiveEnd() - t, 0.0, captured.effectiveLength());
        break;
    case HandleKind::beatAnchor: {
        double anchor = t;
        if (wholeBeats && captured.bpm > 0.0) {
            double beat = 60.0 / captured.bpm;
            double steps = std::round((t - pressTime) / beat);
            anchor = captured.beatOffsetSeconds + steps * beat;
            while (anchor > d) anchor -= beat;
            while (anchor < 0.0) anchor += beat;
        }
        track.beatOffsetSeconds = std::clamp(anchor, 0.0, d);
        break;
    }
    case HandleKind::automationPoint:
        for (std::size_t i = 0; i < track.volumeAutomation.size(); ++i) {
            if (track.volumeAutomation[i].id != hit.id) continue;
            auto& p = track.volumeAutomation.edit(i);
            p.timeSeconds = std::clamp(c.snap(t, captured), 0.0, d);
            p.db = std::clamp(db, CanvasMetrics::floorDb, CanvasMetrics::topDb);
        }
        track.volumeAutomation.stableSortBy([](const AutomationPoint& p) { return p.timeSeconds; });
        break;
    case HandleKind::loopBar:
    case HandleKind::loopLogo:
        for (std::size_t i = 0; i < track.loops.size(); ++i) {
            if (track.loops[i].id != hit.id) continue;
            const Loop* before = captured.loop(hit.id);
            if (!before) break;
            double length = before->endSeconds - before->startSeconds;
            // Snap the start, then keep the loop where it fits.
            double wanted = c.snap(before->startSeconds + (t - pressTime), captured) - before->startSeconds;
            double start = movedLoopStart(captured, hit.id, wanted);
            auto& loop = track.loops.edit(i);
            loop.startSeconds = start;
            loop.endSeconds = start + length;
        }
        break;
    default:
        break;
    }
}

} // namespace ostinel::waveform
