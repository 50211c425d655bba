#include "workspace/common/TimelineGeometry.h"

#include <algorithm>

#include "document/Track.h"
#include "playback/PlaybackEngine.h"
#include "workspace/WaveformController.h"

namespace ostinel {

double TimelineGeometry::xAt(double seconds) const {
    if (duration <= 0.0) return -scrollX;
    return seconds / duration * contentWidth - scrollX;
}

double TimelineGeometry::timeAt(double x) const {
    if (duration <= 0.0 || contentWidth <= 0.0) return 0.0;
    return std::clamp((x + scrollX) / contentWidth, 0.0, 1.0) * duration;
}

double TimelineGeometry::secondsPerPoint() const {
    return duration > 0.0 && contentWidth > 0.0 ? duration / contentWidth : 0.0;
}

bool TimelineGeometry::isFollowingLive(const WaveformController& controller, const PlaybackEngine& engine,
                                       const Track& track) {
    return controller.followPlayhead() && engine.isPlaying() && engine.currentURL() == track.url &&
           track.duration > 0.0;
}

TimelineGeometry TimelineGeometry::forFrame(WaveformController& controller, const PlaybackEngine& engine,
                                            const Track& track, double frameDate) {
    TimelineGeometry g;
    g.contentWidth = controller.contentWidth();
    g.duration = track.duration;
    g.followingLive = isFollowingLive(controller, engine, track);
    if (g.followingLive) {
        g.scrollX = controller.followScroll(engine.displayTime(frameDate) / track.duration, controller.viewWidth());
        controller.setLiveFollowScrollX(g.scrollX);
    } else {
        g.scrollX = controller.scrollX();
        controller.setLiveFollowScrollX(std::nullopt);
    }
    return g;
}

} // namespace ostinel
