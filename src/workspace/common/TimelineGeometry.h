#pragma once

namespace ostinel {

class PlaybackEngine;
class WaveformController;
struct Track;

// How the ruler, the waveform and the timeline strips map the file's time to
// their own x for one drawn frame. All of them share one horizontal origin
// (the waveform strip's left edge), so one geometry serves every strip.
struct TimelineGeometry {
    double scrollX = 0.0;
    double contentWidth = 1.0;
    double duration = 0.0;
    bool followingLive = false;

    double xAt(double seconds) const;
    // Limited to the file.
    double timeAt(double x) const;
    // Seconds per point at this zoom; 0 without a file.
    double secondsPerPoint() const;

    // Follow mode is computed here, in the paint pass, from the engine's
    // display time at the frame's date, and never published: a moving
    // playhead redraws the timeline and lays out nothing else. The scroll
    // it drew is recorded as the controller's liveFollowScrollX.
    static TimelineGeometry forFrame(WaveformController& controller, const PlaybackEngine& engine,
                                     const Track& track, double frameDate);
    // The view counts as following live when follow is on, the engine is
    // playing this track's file and the file has a length.
    static bool isFollowingLive(const WaveformController& controller, const PlaybackEngine& engine,
                                const Track& track);
};

} // namespace ostinel
