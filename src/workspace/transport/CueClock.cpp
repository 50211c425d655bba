#include "workspace/transport/CueClock.h"

#include <algorithm>
#include <cmath>

#include "playback/PlaybackEngine.h"
#include "workspace/common/TimeText.h"

namespace ostinel {
namespace {

// Count-downs round up to the tenth shown; the epsilon keeps an exact tenth
// from tipping over to the next one.
double upToTenth(double seconds) { return std::ceil(seconds * 10.0 - 1e-6) / 10.0; }

std::string signedClock(double seconds) {
    if (seconds < 0.0) {
        const double magnitude = upToTenth(-seconds);
        if (magnitude <= 0.0) return formatClock(0.0, 1);
        std::string text(1, '-');
        text += formatClock(magnitude, 1);
        return text;
    }
    return formatClock(seconds, 1);
}

} // namespace

CueClockTexts cueClockTexts(const CueClockInput& input) {
    if (!input.loaded) return {clockPlaceholder, clockPlaceholder};
    CueClockTexts texts;
    if (input.preRollLeft)
        texts.elapsed = signedClock(-std::max(0.0, *input.preRollLeft));
    else
        texts.elapsed = signedClock(input.position - input.start);
    texts.remaining = input.looping ? clockLooping : formatClock(upToTenth(std::max(0.0, input.end - input.position)), 1);
    return texts;
}

CueClockInput cueClockInput(const PlaybackEngine& engine, double now, std::optional<double> preRollStartedAt) {
    CueClockInput input;
    input.loaded = engine.hasFile();
    input.position = engine.displayTime(now);
    input.start = engine.startTime();
    input.end = engine.endTime() > engine.startTime() ? engine.endTime() : engine.duration();
    input.looping = engine.isPlaying() && engine.activeLoopID().has_value() && !engine.loopExiting();
    if (engine.isPlaying() && engine.inPreRoll())
        input.preRollLeft = engine.preRollDuration() - (preRollStartedAt ? now - *preRollStartedAt : 0.0);
    return input;
}

void PeakHold::feed(float level, double now) {
    if (level >= value) {
        value = level;
        heldAt = now;
    } else if (now - heldAt > holdSeconds) {
        const double fallen = double(value) - fallPerSecond * std::max(0.0, now - std::max(lastFeed, heldAt + holdSeconds));
        value = std::max(level, float(std::max(0.0, fallen)));
    }
    lastFeed = now;
}

} // namespace ostinel
