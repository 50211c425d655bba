#include "timecode/CurrentTimecode.h"

#include "document/AppState.h"
#include "playback/PlaybackEngine.h"

namespace ostinel {

std::string currentTimecodeString(const AppState& state, const PlaybackEngine& engine, TimecodeRate rate) {
    const auto track = state.selectedTrack();
    double seconds = 0.0;
    if (track) {
        const auto& url = engine.currentURL();
        if (!url || *url != track->url)
            seconds = track->timecodeStartSeconds;
        else if (engine.isPlaying())
            seconds = engine.emittedTimecodeSeconds();
        else
            // The stopped readout keeps the in-point in: the operator's own rule.
            seconds = track->timecodeStartSeconds + engine.currentTime();
    }
    return timecode::string(rate, seconds);
}

} // namespace ostinel
