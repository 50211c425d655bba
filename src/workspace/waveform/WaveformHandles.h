#pragma once

#include <optional>
#include <utility>

#include "base/Uuid.h"

namespace ostinel {

struct Track;
struct TimelineGeometry;

namespace waveform {

// Where things sit on the canvas. Flags and bars are big enough to grab from
// a metre away; handles overlay the waveform rather than shrinking it.
struct CanvasMetrics {
    static constexpr double fadeFlagHeight = 18.0;
    static constexpr double loopBarTop = 20.0;
    static constexpr double loopBarHeight = 22.0;
    static constexpr double inOutFlagHeight = 20.0;
    static constexpr double anchorHeight = 18.0;
    static constexpr double flagHalfWidth = 9.0;
    static constexpr double inOutTabWidth = 34.0;
    // Either side of an in or out line, in the flag band.
    static constexpr double inOutLineGrab = 6.0;
    static constexpr double knobWidth = 10.0;
    static constexpr double pointRadius = 6.0;
    static constexpr double pointGrab = 10.0;
    // The automation line's scale: the curve may go above the track level.
    static constexpr double topDb = 15.0;
    static constexpr double floorDb = -60.0;

    double height = 0.0;
    // The canvas's width; 0 when unknown, and then nothing is kept inside.
    double width = 0.0;

    double loopBarBottom() const { return loopBarTop + loopBarHeight; }
    double waveTop() const { return loopBarBottom() + 2.0; }
    double waveBottom() const { return height - inOutFlagHeight - 2.0; }
    double anchorTop() const { return height - inOutFlagHeight - anchorHeight; }
    double dbToY(double db) const;
    double yToDb(double y) const;
};

enum class HandleKind {
    none,
    inFlag,
    outFlag,
    fadeIn,
    fadeOut,
    beatAnchor,
    automationPoint,
    loopStartKnob,
    loopEndKnob,
    loopLogo,
    loopBar,
    markedRegion,
};

struct Hit {
    HandleKind kind = HandleKind::none;
    // The loop or automation point under the pointer.
    Uuid id;
    friend bool operator==(const Hit&, const Hit&) = default;
};

// Loops are drawn inside the view only where they are, so the logo sits at
// the visible start of the bar.
double loopLogoX(double loopStartX);

// The IN tab stands left of its line and the OUT tab right of it; a line on
// screen keeps its tab on screen, so a point at the very start or end of the
// file can be seen and grabbed.
struct TabSpan {
    double left = 0.0;
    double right = 0.0;
};
TabSpan inOutTab(double lineX, bool in, const CanvasMetrics& metrics);

// What lies under (x, y). Handles are found only when the show can be edited;
// otherwise only loop bars and the mark are reported, for selection.
Hit hitTest(const Track& track, const TimelineGeometry& geometry, const CanvasMetrics& metrics, double x, double y,
            std::optional<std::pair<double, double>> mark, bool editable);

} // namespace waveform
} // namespace ostinel
