#pragma once

#include <optional>

namespace ostinel {

class WaveformController;

namespace waveform {

struct WheelInput {
    double dx = 0.0;
    double dy = 0.0;
    bool shift = false;
    // A trackpad or similar device that reports pixels rather than notches;
    // for a notched wheel dx and dy count notches.
    bool precise = false;
};

// The wheel over the timeline: Shift zooms about the centre of the view,
// otherwise it pans a zoomed view. False when the event should pass on.
bool handleWheel(WaveformController& controller, bool followingLive, const WheelInput& wheel);

// The factor for the zoom buttons and menu commands.
inline constexpr double zoomInFactor = 1.6;
inline constexpr double zoomOutFactor = 0.625;

// A pinch keeps what it started from, so the zoom follows the fingers
// however many steps the gesture takes.
class PinchZoom {
public:
    // magnification counts from 0 at the start of the gesture.
    void update(WaveformController& controller, double magnification, double pointerX);
    void end();
    bool active() const { return kept_.has_value(); }

private:
    struct Kept {
        double zoom;
        double fraction;
        double x;
    };
    std::optional<Kept> kept_;
};

} // namespace waveform
} // namespace ostinel
