#include "support/ShowFixtures.h"

namespace ostinel::test {

namespace {
Track richTrack(const std::string& file) {
    const Loop vamp{.name = "Vamp ♫", .enabled = false, .startSeconds = 10.1, .endSeconds = 20.2,
                    .playCountEnabled = true, .playCount = 4, .reduceVolumeEnabled = true, .reduceVolumeDb = 9.5,
                    .fadeInSeconds = 0.25, .fadeOutSeconds = 2.5};
    return Track{
        .name = "Ouverture / Act 1 — Ü", .url = FileUrl::fromPath("/home/op/Show Media/" + file),
        .relativePath = "Media/" + file, .duration = 187.123456789, .volume = 0.7071067811865476,
        .startSeconds = 1.25, .endSeconds = 180.5, .fade = {0.3, 4.75}, .volumeAutomationEnabled = true,
        .volumeAutomation = {AutomationPoint{Uuid::random(), 2.0, -3.5}, AutomationPoint{Uuid::random(), 9.0, -60.0}},
        .loops = {vamp},
        .timelineNotes = {Note{Uuid::random(), "Cue lights", "Go on \"Bang\" / 日本語\nline two", 42.0}},
        .notes = "House at half / 50%", .autoplay = true, .skip = true, .loopCue = true, .colorHex = "#FF8800",
        .beatgridEnabled = true, .bpm = 128.5, .beatOffsetSeconds = 0.123, .beatgridBars = 2,
        .midiTriggers = {MidiTrigger{Uuid::random(), "Hit", 3.0, MidiTriggerType::noteOn, 16, 0, 1, 0.5}},
        .midiTriggersEnabled = false, .preRollMidiTriggerEnabled = true,
        .preRollMidiTrigger = {Uuid::random(), "Pre", 0.0, MidiTriggerType::noteOn, 2, 61, 100, 1.0},
        .oscTriggers = {OSCTrigger{Uuid::random(), "Lights", 5.5, "/lights/cue/7", OSCArgumentKind::float_, "0.5"}},
        .oscTriggersEnabled = false, .preRollOSCTriggerEnabled = true,
        .preRollOSCTrigger = {Uuid::random(), "Pre OSC", 0.0, "/video/go", OSCArgumentKind::string, "a/b"},
        .timecodeStartSeconds = 7200.5, .timecodePreRollEnabled = true, .timecodePreRollSeconds = 5.0};
}
} // namespace

Show richShow() {
    Track first = richTrack("Überture #1.wav"), second = richTrack("b.flac");
    second.relativePath.reset();
    second.colorHex.reset();
    return Show{.name = "Tour 2025 / Night ★", .tracks = {first, second},
                .midiTrackMappings = std::map<std::string, MidiKey>{{first.id.toString(), {MidiKey::Kind::cc, 3, 7}},
                                                                    {"stale-key", {MidiKey::Kind::note, 1, 60}}},
                .numberMappings = std::map<std::string, std::int64_t>{{second.id.toString(), 9}},
                .oscTriggerHost = "192.168.1.20", .oscTriggerPort = 9000, .showNoteTimeline = false,
                .showMidiTimeline = false, .showOSCTimeline = false, .lastMode = AppMode::show};
}

} // namespace ostinel::test
