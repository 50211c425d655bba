#pragma once

namespace ostinel {

class AppState;
class AudioSystem;
class Dialogs;
class MainLoop;
class MidiController;
class MidiOutputController;
class NumberMapController;
class OscSettingsModel;
class PlaybackEngine;
class TimecodeController;
class Preferences;
class RemoteSettingsModel;
class TempoDetection;
class WaveformStore;
class WaveformViewState;
struct CueContext;

// The long-lived objects every panel works on, made once by the application
// (or by a test rig) and outliving every widget.
struct Workspace {
    MainLoop& loop;
    Preferences& preferences;
    Dialogs& dialogs;
    AppState& state;
    PlaybackEngine& engine;
    AudioSystem& audio;
    WaveformStore& store;
    WaveformViewState& view;
    CueContext& cues;
    // Optional ones last, so that a rig without them needs no mention of them.
    MidiOutputController* midiOutput = nullptr;
    TimecodeController* timecode = nullptr;
    MidiController* midiInput = nullptr;
    NumberMapController* numbers = nullptr;
    OscSettingsModel* osc = nullptr;
    RemoteSettingsModel* remote = nullptr;
    TempoDetection* tempo = nullptr;
};

} // namespace ostinel
