#pragma once

#include <QMetaObject>

#include <functional>
#include <memory>
#include <optional>

#include "base/Uuid.h"
#include "document/TimelineEdits.h"
#include "document/Track.h"
#include "playback/CueWaveform.h"
#include "playback/KeyPress.h"
#include "playback/PlaybackEngine.h"
#include "playback/MidiAction.h"

namespace ostinel {

class AppState;
class PlaybackEngine;

// The number-key map, filled in by the MIDI side; unset hooks do nothing.
struct NumberKeys {
    // True when the digit was taken.
    std::function<bool(int digit)> received;
    std::function<bool()> mapMode;
    std::function<std::optional<Uuid>()> learningTrack;
    std::function<void(const Uuid& trackID)> clearMapping;
};

// Everything a key or button acts on.
struct CueContext {
    AppState& state;
    PlaybackEngine& engine;
    // The marked regions: a marked start plays from there, Delete and Copy
    // work on each strip's own region.
    CueWaveform& waveform;
    NumberKeys numbers;
    // True when the MIDI side is learning and took the action to learn instead.
    std::function<bool(MidiAction)> learnAction;
};

// The road of every command into the transport. No state of its own: each
// operation works on the application state and the engine. Main thread only.
namespace ShowModeKeys {

// How long the engine's notice banner stays up unless replaced.
inline constexpr double noticeBannerSeconds = 6.0;

// True when the key was consumed. A toolkit's filter calls it once per
// key-down, before any widget or shortcut.
bool handle(const KeyPress& key, CueContext& context);

std::optional<Track> nextTrack(const AppState& state);
void advance(AppState& state, PlaybackEngine& engine);
void startPlayback(AppState& state, PlaybackEngine& engine, const CueWaveform& waveform);
void preselectAdjacentTrack(AppState& state, int delta);
void selectAdjacentTrack(AppState& state, int delta);
void goToTrack(const Uuid& id, AppState& state, PlaybackEngine& engine, bool restartFromStart);
void stepCue(int delta, AppState& state, PlaybackEngine& engine);
void pickCue(const Uuid& id, AppState& state, PlaybackEngine& engine);

// The action dispatch of MIDI, OSC and the web remote; the web remote's
// previous and next go to stepCue instead, so that they only mark while a
// cue plays in Show mode.
void perform(MidiAction action, AppState& state, PlaybackEngine& engine, const CueWaveform& waveform);
// The on-screen buttons.
void goButton(CueContext& context);
void playPauseButton(CueContext& context);
void stopButton(CueContext& context);

// What the engine was last given: the cue, its file and its fields.
struct LoadedCue {
    std::optional<Uuid> id;
    FileUrl url;
    PlaybackEngine::Bounds bounds;
};

// What connectTransport wired; disconnect() undoes all of it.
struct TransportConnections {
    PlaybackEngine* engine = nullptr;
    QMetaObject::Connection selection;
    QMetaObject::Connection edits;
    std::shared_ptr<LoadedCue> loaded;
    void disconnect();
};

// What the view owning the transport wires up: a new selection loads its
// track (or stops with none), an edit of the selected track reaches the
// engine without a reload unless its file changed, and the end of a cue
// advances in Show mode. Connecting takes up the selection as it stands:
// given what an earlier connection loaded, the same cue on the same file
// only has its fields pushed, so a swapped show (an undo) does not stop it.
TransportConnections connectTransport(AppState& state, PlaybackEngine& engine,
                                      std::shared_ptr<LoadedCue> previous = nullptr);

} // namespace ShowModeKeys
} // namespace ostinel
