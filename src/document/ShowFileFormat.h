#pragma once

// Shared by the show file's encoder, decoder and the legacy migration; not
// part of the document's public interface.

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <nlohmann/json.hpp>

#include "document/Show.h"

namespace ostinel::showfile {

using Json = nlohmann::json;

// Where a value sits in the document, built on the stack as the coders
// descend and turned into text ("tracks[2].loops[0].playCount") only when
// something fails.
struct Path {
    enum class Kind { root, member, element, mapKey };

    const Path* parent = nullptr;
    Kind kind = Kind::root;
    std::string_view key;
    std::size_t index = 0;

    static Path member(const Path& parent, std::string_view key) { return {&parent, Kind::member, key, 0}; }
    static Path element(const Path& parent, std::size_t index) { return {&parent, Kind::element, {}, index}; }
    static Path mapKey(const Path& parent, std::string_view key) { return {&parent, Kind::mapKey, key, 0}; }

    std::string str() const;
};

// Thrown inside the coders only; the public functions turn it into an Error.
struct FormatError : std::runtime_error {
    FormatError(const Path& at, const std::string& what);
};

inline constexpr auto rawStrings(AppMode) {
    return std::array{std::pair{AppMode::edit, "edit"}, std::pair{AppMode::show, "show"}};
}
inline constexpr auto rawStrings(MidiTriggerType) {
    return std::array{std::pair{MidiTriggerType::noteOn, "noteOn"}, std::pair{MidiTriggerType::cc, "cc"}};
}
inline constexpr auto rawStrings(OSCArgumentKind) {
    return std::array{std::pair{OSCArgumentKind::none, "none"}, std::pair{OSCArgumentKind::int_, "int"},
                      std::pair{OSCArgumentKind::float_, "float"}, std::pair{OSCArgumentKind::string, "string"}};
}
inline constexpr auto rawStrings(MidiKey::Kind) {
    return std::array{std::pair{MidiKey::Kind::note, "note"}, std::pair{MidiKey::Kind::cc, "cc"}};
}

// Each record's keys, listed once for the encoder and the decoder. A
// visitor is called as v(key, field) for a key that may be missing and as
// v.required(key, field) for one that may not; R is the record, const or not.
template <class R, class T>
concept Record = std::same_as<std::remove_const_t<R>, T>;

template <class V, Record<FadeSettings> R>
void fields(V& v, R& r) {
    v("fadeInSeconds", r.fadeInSeconds);
    v("fadeOutSeconds", r.fadeOutSeconds);
}

template <class V, Record<AutomationPoint> R>
void fields(V& v, R& r) {
    v("id", r.id);
    v("timeSeconds", r.timeSeconds);
    v("db", r.db);
}

template <class V, Record<Loop> R>
void fields(V& v, R& r) {
    v("id", r.id);
    v("name", r.name);
    v("enabled", r.enabled);
    v("startSeconds", r.startSeconds);
    v("endSeconds", r.endSeconds);
    v("playCountEnabled", r.playCountEnabled);
    v("playCount", r.playCount);
    v("reduceVolumeEnabled", r.reduceVolumeEnabled);
    v("reduceVolumeDb", r.reduceVolumeDb);
    v("fadeInSeconds", r.fadeInSeconds);
    v("fadeOutSeconds", r.fadeOutSeconds);
}

template <class V, Record<Note> R>
void fields(V& v, R& r) {
    v("id", r.id);
    v("name", r.name);
    v("body", r.body);
    v("timeSeconds", r.timeSeconds);
}

template <class V, Record<MidiTrigger> R>
void fields(V& v, R& r) {
    v("id", r.id);
    v("name", r.name);
    v("timeSeconds", r.timeSeconds);
    v("type", r.type);
    v("channel", r.channel);
    v("number", r.number);
    v("value", r.value);
    v("durationSeconds", r.durationSeconds);
}

template <class V, Record<OSCTrigger> R>
void fields(V& v, R& r) {
    v("id", r.id);
    v("name", r.name);
    v("timeSeconds", r.timeSeconds);
    v("address", r.address);
    v("argumentKind", r.argumentKind);
    v("argumentText", r.argumentText);
}

// The one record with no defaults: a mapping is all or nothing.
template <class V, Record<MidiKey> R>
void fields(V& v, R& r) {
    v.required("kind", r.kind);
    v.required("channel", r.channel);
    v.required("number", r.number);
}

template <class V, Record<Track> R>
void fields(V& v, R& r) {
    v("id", r.id);
    v("name", r.name);
    v.required("url", r.url);
    v("relativePath", r.relativePath);
    v("duration", r.duration);
    v("volume", r.volume);
    v("startSeconds", r.startSeconds);
    v("endSeconds", r.endSeconds);
    v("fade", r.fade);
    v("volumeAutomationEnabled", r.volumeAutomationEnabled);
    v("volumeAutomation", r.volumeAutomation);
    v("loops", r.loops);
    v("timelineNotes", r.timelineNotes);
    v("notes", r.notes);
    v("autoplay", r.autoplay);
    v("skip", r.skip);
    v("loopCue", r.loopCue);
    v("colorHex", r.colorHex);
    v("beatgridEnabled", r.beatgridEnabled);
    v("bpm", r.bpm);
    v("beatOffsetSeconds", r.beatOffsetSeconds);
    v("beatgridBars", r.beatgridBars);
    v("midiTriggers", r.midiTriggers);
    v("midiTriggersEnabled", r.midiTriggersEnabled);
    v("preRollMidiTriggerEnabled", r.preRollMidiTriggerEnabled);
    v("preRollMidiTrigger", r.preRollMidiTrigger);
    v("oscTriggers", r.oscTriggers);
    v("oscTriggersEnabled", r.oscTriggersEnabled);
    v("preRollOSCTriggerEnabled", r.preRollOSCTriggerEnabled);
    v("preRollOSCTrigger", r.preRollOSCTrigger);
    v("timecodeStartSeconds", r.timecodeStartSeconds);
    v("timecodePreRollEnabled", r.timecodePreRollEnabled);
    v("timecodePreRollSeconds", r.timecodePreRollSeconds);
}

template <class V, Record<Show> R>
void fields(V& v, R& r) {
    v("name", r.name);
    v("tracks", r.tracks);
    v("midiTrackMappings", r.midiTrackMappings);
    v("numberMappings", r.numberMappings);
    v("oscTriggerHost", r.oscTriggerHost);
    v("oscTriggerPort", r.oscTriggerPort);
    v("showNoteTimeline", r.showNoteTimeline);
    v("showMidiTimeline", r.showMidiTimeline);
    v("showOSCTimeline", r.showOSCTimeline);
    v("lastMode", r.lastMode);
}

// The two mapping maps in their file form; throw FormatError.
std::map<std::string, MidiKey> decodeMidiKeyMap(const Json& value, const Path& at);
std::map<std::string, std::int64_t> decodeNumberMap(const Json& value, const Path& at);

} // namespace ostinel::showfile
