#include "workspace/waveform/WheelZoom.h"

#include <algorithm>

#include "workspace/WaveformController.h"

namespace ostinel::waveform {

namespace {

// Where the view stands now: follow mode's last drawn scroll wins.
double presentScroll(const WaveformController& c) { return c.liveFollowScrollX().value_or(c.scrollX()); }

} // namespace

bool handleWheel(WaveformController& c, bool followingLive, const WheelInput& wheel) {
    if (!c.isHovering() || followingLive) return false;
    if (wheel.shift) {
        double amount = wheel.dy != 0.0 ? wheel.dy : wheel.dx;
        if (amount == 0.0) return true;
        double factor = wheel.precise ? 0.01 : 0.15;
        double half = c.viewWidth() / 2.0;
        double focal = (presentScroll(c) + half) / std::max(c.contentWidth(), 1.0);
        c.setZoom(c.zoom() * (1.0 + factor * amount), focal, half);
        return true;
    }
    if (c.zoom() <= 1.0001) return false;
    double amount = (wheel.dx != 0.0 ? wheel.dx : wheel.dy) * (wheel.precise ? 1.0 : 12.0);
    if (amount != 0.0) c.setScrollX(c.scrollX() - amount);
    return true;
}

void PinchZoom::update(WaveformController& c, double magnification, double pointerX) {
    if (!kept_) {
        double content = std::max(c.contentWidth(), 1.0);
        kept_ = Kept{c.zoom(), (presentScroll(c) + pointerX) / content, pointerX};
    }
    c.setZoom(kept_->zoom * (1.0 + magnification), kept_->fraction, kept_->x);
}

void PinchZoom::end() { kept_.reset(); }

} // namespace ostinel::waveform
