// Duplicating and removing tracks.

#include "document/AppState.h"
#include "document/LevelMatch.h"

#include <algorithm>
#include <iterator>

namespace ostinel {

void AppState::duplicateTrack(const Uuid& trackID) {
    auto i = show_.indexOfTrack(trackID);
    if (i < 0 || refusedInShowMode("duplicate")) return;
    // Inner items keep their ids: those are unique only within a track.
    Track copy = show_.tracks[std::size_t(i)];
    copy.id = Uuid::random();
    copy.name += " Copy";
    const Uuid id = copy.id;
    Show s = show_;
    s.tracks.insert(std::size_t(i) + 1, std::move(copy));
    setShow(std::move(s));
    setSelectedTrackID(id);
}

template <class V>
void AppState::removeMappingKeys(Cow<std::map<std::string, V>> Show::*mappings, const std::set<Uuid>& trackIDs) {
    auto names = [&](const auto& entry) {
        auto id = Uuid::parse(entry.first);
        return id && trackIDs.contains(*id);
    };
    const auto& stored = *(show_.*mappings);
    if (std::none_of(stored.begin(), stored.end(), names)) return;
    Show s = show_;
    std::erase_if((s.*mappings).edit(), names);
    setShow(std::move(s));
}

void AppState::removeTracks(const std::set<Uuid>& trackIDs) {
    if (trackIDs.empty() || refusedInShowMode("remove")) return;
    Show s = show_;
    s.tracks.eraseIf([&](const Track& t) { return trackIDs.contains(t.id); });
    setShow(std::move(s));
    removeMappingKeys(&Show::midiTrackMappings, trackIDs);
    removeMappingKeys(&Show::numberMappings, trackIDs);
    if (onShowReplaced) onShowReplaced(show_);

    if (selectedTrackID_ && trackIDs.contains(*selectedTrackID_)) {
        setSelectedTrackID(show_.tracks.empty() ? std::nullopt : std::optional<Uuid>(show_.tracks.front().id));
    } else {
        std::set<Uuid> kept;
        std::set_difference(selectedTrackIDs_.begin(), selectedTrackIDs_.end(), trackIDs.begin(), trackIDs.end(),
                            std::inserter(kept, kept.end()));
        setSelectedTrackIDs(std::move(kept));
    }
    // A cue picked to run next cannot outlive its track.
    if (preselectedTrackID_ && trackIDs.contains(*preselectedTrackID_)) setPreselectedTrackID(std::nullopt);
}

std::optional<std::string> AppState::applyLoudnessMatch(const std::map<Uuid, LoudnessMeasurement>& measurements,
                                                      double targetLufs) {
    if (measurements.empty()) return std::nullopt;
    auto outcome = LevelMatch::apply(show_, measurements, targetLufs);
    // Never folded into an edit made just before it.
    endCoalescing();
    setShow(std::move(outcome.show));
    endCoalescing();
    return LevelMatch::message(outcome.limited, outcome.ceiling);
}

} // namespace ostinel
