#include <set>

#include "document/ShowFile.h"
#include "document/ShowFileFormat.h"
#include "platform/Preferences.h"

namespace ostinel {

namespace {

// A mapping preference as JSON, or nothing when it is absent or does not
// decode: an old, damaged setting must not stop a show from opening.
template <class Decode>
auto legacyMap(const Preferences& preferences, const std::string& key, Decode decode)
    -> std::optional<decltype(decode(showfile::Json(), showfile::Path()))> {
    auto bytes = preferences.dataValue(key);
    if (!bytes) return std::nullopt;
    try {
        return decode(showfile::Json::parse(bytes->begin(), bytes->end()), showfile::Path());
    } catch (const showfile::FormatError&) {
    } catch (const nlohmann::json::exception&) {
    }
    return std::nullopt;
}

template <class V>
std::map<std::string, V> onlyTracksOf(std::map<std::string, V> map, const std::set<std::string>& trackIDs) {
    std::erase_if(map, [&](const auto& entry) { return !trackIDs.contains(entry.first); });
    return map;
}

} // namespace

void migrateLegacyMappings(Show& show, const Preferences& preferences) {
    std::set<std::string> trackIDs;
    for (const Track& t : show.tracks) trackIDs.insert(t.id.toString());

    if (show.midiTrackMappings->empty()) {
        if (auto map = legacyMap(preferences, "midiTrackMappings", showfile::decodeMidiKeyMap))
            show.midiTrackMappings = onlyTracksOf(std::move(*map), trackIDs);
    }
    if (show.numberMappings->empty()) {
        if (auto map = legacyMap(preferences, "numberTrackMappings", showfile::decodeNumberMap))
            show.numberMappings = onlyTracksOf(std::move(*map), trackIDs);
    }
    if (show.oscTriggerHost.empty()) {
        auto host = preferences.stringValue("oscTriggerHost");
        if (host && !host->empty()) {
            show.oscTriggerHost = *host;
            if (auto port = preferences.intValue("oscTriggerPort")) show.oscTriggerPort = *port;
        }
    }
}

} // namespace ostinel
