#pragma once

#include <memory>
#include <string>

#include "control/MidiController.h"
#include "control/NumberMapController.h"
#include "control/OSCController.h"
#include "control/WebRemoteController.h"
#include "platform/ServiceAdvertiser.h"
#include "playback/ShowModeKeys.h"

namespace ostinel {

class AppState;
class CueWaveform;
class MainLoop;
class MidiSystem;
class PlaybackEngine;
class Preferences;
struct Show;

// The remote fronts of the transport, MIDI, number keys, OSC and the web
// remote, made and
// wired to the cue commands in one place, for the window and for the
// headless server alike. The show's own maps and OSC route follow the show.
class RemoteControl {
public:
    // `remotePage` is the web remote's page, `appVersion` what it is told.
    RemoteControl(MidiSystem& midi, MainLoop& loop, Preferences& preferences, AppState& state,
                  PlaybackEngine& engine, CueWaveform& waveform, const std::string& oscLogPath,
                  std::string remotePage = {}, std::string appVersion = {});
    ~RemoteControl();

    MidiController& midi() { return midi_; }
    NumberMapController& numbers() { return numbers_; }
    OSCController& osc() { return osc_; }
    WebRemoteController& web() { return web_; }

    // The hooks the keyboard and the on-screen GO button use.
    NumberKeys numberKeys();
    // True when GO was taken for learning instead.
    bool learnAction(MidiAction action);

    // Opens the OSC sockets and the web remote; after the handlers are set, as the last step of start-up.
    void start();
    // A show swapped in (opened, undone to): its maps and route are taken up
    // without being recorded back into it.
    void showReplaced(const Show& show);

private:
    // The web remote is announced while it listens, under the show's name.
    void advertise();

    AppState& state_;
    PlaybackEngine& engine_;
    CueWaveform& waveform_;
    MidiController midi_;
    NumberMapController numbers_;
    OSCController osc_;
    WebRemoteController web_;
    std::string appVersion_;
    ServiceAdvertiser advertiser_;
    bool advertised_ = false;
};

} // namespace ostinel
