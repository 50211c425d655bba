#include "control/RemoteStatus.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>

#include "document/AppState.h"
#include "playback/PlaybackEngine.h"
#include "playback/ShowModeKeys.h"
#include "timecode/TimecodeRate.h"

namespace ostinel {

namespace {

using Json = nlohmann::ordered_json;

// Loops carry no colour of their own; the remote tells them apart by place.
constexpr std::array<const char*, 6> sectionPalette{"#3B82F6", "#A855F7", "#F59E0B", "#10B981", "#EF4444", "#06B6D4"};

std::int64_t position(const AppState& state, const std::optional<Uuid>& id) {
    return id ? state.show().indexOfTrack(*id) + 1 : 0;
}

std::string text(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

} // namespace

std::string remoteStateMessage(const AppState& state, const PlaybackEngine& engine) {
    const Show& show = state.show();
    Json cues = Json::array();
    std::int64_t n = 0;
    for (const Track& track : show.tracks) {
        Json cue{{"n", ++n}, {"name", track.name}, {"len", timeString(track.effectiveLength())}, {"skip", track.skip}};
        if (track.colorHex) cue["color"] = *track.colorHex;
        cues.push_back(std::move(cue));
    }
    const auto current = state.selectedTrack();
    const auto next = ShowModeKeys::nextTrack(state);
    Json sections = Json::array(), colors = Json::array();
    if (current)
        for (std::size_t i = 0; i < current->loops.size(); ++i) {
            const Loop& loop = current->loops[i];
            sections.push_back(loop.name.empty() ? "Loop " + std::to_string(i + 1) : loop.name);
            colors.push_back(sectionPalette[i % sectionPalette.size()]);
        }
    const bool inLoop = engine.activeLoopID().has_value();
    return text({{"t", "state"},
                 {"show", show.name},
                 {"setlist", ""},
                 {"cues", std::move(cues)},
                 {"current", position(state, state.selectedTrackID())},
                 {"preselected", position(state, state.preselectedTrackID())},
                 {"cue", current ? current->name : ""},
                 {"next", next ? next->name : ""},
                 {"nextAutoplay", next && next->autoplay},
                 {"sections", std::move(sections)},
                 {"sectionColors", std::move(colors)},
                 {"playing", engine.isPlaying()},
                 {"inLoop", inLoop},
                 {"exiting", inLoop && (engine.loopExiting() || engine.cueLoopExiting())},
                 {"mode", state.mode() == AppMode::show ? "show" : "edit"},
                 {"locked", false},
                 {"chasing", false}});
}

std::string remotePositionMessage(const AppState& state, const PlaybackEngine& engine, double now) {
    const double time = engine.isPlaying() ? engine.displayTime(now) : engine.currentTime();
    std::int64_t section = 0;
    if (const auto current = state.selectedTrack(); current && engine.activeLoopID()) {
        const auto& loops = current->loops;
        for (std::size_t i = 0; i < loops.size(); ++i)
            if (loops[i].id == *engine.activeLoopID()) section = std::int64_t(i) + 1;
    }
    const double preroll =
        engine.inPreRoll() ? std::max(0.0, engine.preRollDuration() - (now - engine.preRollStart())) : 0.0;
    return text({{"t", "pos"},
                 {"playing", engine.isPlaying()},
                 {"elapsed", std::max(0.0, time - engine.startTime())},
                 {"remaining", std::max(0.0, engine.endTime() - time)},
                 {"section", section},
                 {"jump", 0},
                 {"preroll", preroll}});
}

} // namespace ostinel
