#include "support/ShowFixtures.h"

namespace ostinel::test {

namespace {

Track richTrack(const std::string& file) {
    Track t;
    t.name = "Ouverture / Act 1 — Ü";
    t.url = FileUrl::fromPath("/home/op/Show Media/" + file);
    t.relativePath = "Media/" + file;
    t.duration = 187.123456789;
    t.volume = 0.7071067811865476;
    t.startSeconds = 1.25;
    t.endSeconds = 180.5;
    t.fade = {0.3, 4.75};
    t.volumeAutomationEnabled = true;
    t.volumeAutomation = {AutomationPoint{Uuid::random(), 2.0, -3.5}, AutomationPoint{Uuid::random(), 9.0, -60.0}};
    Loop loop;
    loop.name = "Vamp ♫";
    loop.enabled = false;
    loop.startSeconds = 10.1;
    loop.endSeconds = 20.2;
    loop.playCountEnabled = true;
    loop.playCount = 4;
    loop.reduceVolumeEnabled = true;
    loop.reduceVolumeDb = 9.5;
    loop.fadeInSeconds = 0.25;
    loop.fadeOutSeconds = 2.5;
    t.loops = {loop};
    t.timelineNotes = {Note{Uuid::random(), "Cue lights", "Go on \"Bang\" / 日本語\nline two", 42.0}};
    t.notes = "House at half / 50%";
    t.autoplay = true;
    t.skip = true;
    t.loopCue = true;
    t.colorHex = "#FF8800";
    t.beatgridEnabled = true;
    t.bpm = 128.5;
    t.beatOffsetSeconds = 0.123;
    t.beatgridBars = 2;
    MidiTrigger midi{Uuid::random(), "Hit", 3.0, MidiTriggerType::noteOn, 16, 0, 1, 0.5};
    t.midiTriggers = {midi};
    t.midiTriggersEnabled = false;
    t.preRollMidiTriggerEnabled = true;
    t.preRollMidiTrigger = MidiTrigger{Uuid::random(), "Pre", 0.0, MidiTriggerType::noteOn, 2, 61, 100, 1.0};
    t.oscTriggers = {OSCTrigger{Uuid::random(), "Lights", 5.5, "/lights/cue/7", OSCArgumentKind::float_, "0.5"}};
    t.oscTriggersEnabled = false;
    t.preRollOSCTriggerEnabled = true;
    t.preRollOSCTrigger = OSCTrigger{Uuid::random(), "Pre OSC", 0.0, "/video/go", OSCArgumentKind::string, "a/b"};
    t.timecodeStartSeconds = 7200.5;
    t.timecodePreRollEnabled = true;
    t.timecodePreRollSeconds = 5.0;
    return t;
}

} // namespace

Show richShow() {
    Show show;
    show.name = "Tour 2025 / Night ★";
    Track first = richTrack("Überture #1.wav");
    Track second = richTrack("b.flac");
    second.relativePath.reset();
    second.colorHex.reset();
    show.tracks = {first, second};
    show.midiTrackMappings = std::map<std::string, MidiKey>{{first.id.toString(), {MidiKey::Kind::cc, 3, 7}},
                                                            {"stale-key", {MidiKey::Kind::note, 1, 60}}};
    show.numberMappings = std::map<std::string, std::int64_t>{{second.id.toString(), 9}};
    show.oscTriggerHost = "192.168.1.20";
    show.oscTriggerPort = 9000;
    show.showNoteTimeline = false;
    show.showMidiTimeline = false;
    show.showOSCTimeline = false;
    show.lastMode = AppMode::show;
    return show;
}

} // namespace ostinel::test
