#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "analysis/WaveformStore.h"
#include "control/MidiController.h"
#include "control/NumberMapController.h"
#include "document/AppState.h"
#include "platform/LoopbackMidiSystem.h"
#include "platform/ManualMainLoop.h"
#include "platform/MemoryPreferences.h"
#include "platform/OfflineAudioSystem.h"
#include "playback/PlaybackEngine.h"
#include "playback/ShowModeKeys.h"
#include "support/ScriptedDialogs.h"
#include "support/TempDir.h"
#include "workspace/WaveformViewState.h"
#include "workspace/common/Workspace.h"

namespace ostinel::test {

// Every long-lived object a panel works on, the way the application makes
// them, on the offline device in virtual time. Peaks are computed inline, so
// a prerendered file has its waveform once prerender returns.
class WorkspaceRig {
public:
    static constexpr double rate = 48000.0;
    static constexpr int period = 480;

    WorkspaceRig();
    ~WorkspaceRig();

    // Adds cues of generated tone (a quiet sine whose level names the cue)
    // with the given lengths in seconds, selects nothing.
    std::vector<Uuid> addCues(const std::vector<double>& seconds);
    const Track& track(const Uuid& id) const;

    // Renders the device and advances virtual time by as long, period by
    // period, so that ticks, fades and the end of a cue happen as they would.
    void run(double seconds);
    // Peak of the left channel over everything rendered since the last call.
    float takePeak();

    TempDir dir;
    ManualMainLoop loop;
    MemoryPreferences preferences;
    ScriptedDialogs dialogs;
    OfflineAudioSystem audio{rate, period};
    PlaybackEngine engine{loop, preferences, audio};
    AppState state{loop, preferences, dialogs, AppPaths::under(dir.file("app"))};
    WaveformStore store;
    WaveformViewState view;
    CueContext cues{state, engine, view.controller(), {}, {}};
    // Keys come in through received(); the workspace has both mappers.
    LoopbackMidiSystem midi;
    MidiController midiInput{midi, loop, preferences};
    NumberMapController numbers;
    Workspace workspace{loop, preferences, dialogs, state, engine, audio, store, view, cues};

private:
    float peak_ = 0.0f;
    int made_ = 0;
};

} // namespace ostinel::test
