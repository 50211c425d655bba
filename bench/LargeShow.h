#pragma once

// What the document benchmarks edit and save: a large show built the same
// way each time, and dialogs that never ask.

#include <string>

#include "document/Show.h"
#include "platform/Dialogs.h"
#include "platform/MemoryPreferences.h"

namespace ostinel::bench {

// trackCount cues of five minutes, each with 20 loops and 50 MIDI triggers.
inline Show largeShow(int trackCount) {
    Show show;
    for (int i = 0; i < trackCount; ++i) {
        Track t;
        t.name = "Cue " + std::to_string(i + 1);
        t.url = FileUrl::fromPath("/media/cue" + std::to_string(i + 1) + ".wav");
        t.duration = t.endSeconds = 300;
        for (int k = 0; k < 20; ++k)
            t.loops.push_back(Loop{.name = "Loop " + std::to_string(k + 1), .startSeconds = k * 10.0,
                                   .endSeconds = k * 10.0 + 5.0});
        for (int k = 0; k < 50; ++k)
            t.midiTriggers.push_back(
                MidiTrigger{.name = "Trigger " + std::to_string(k + 1), .timeSeconds = k * 5.0 + 1.0});
        show.tracks.push_back(std::move(t));
    }
    return show;
}

struct NoDialogs final : Dialogs {
    int alert(const AlertRequest&) override { return noAnswer; }
    std::vector<std::string> openPanel(const OpenPanelRequest&) override { return {}; }
    std::optional<std::string> savePanel(const SavePanelRequest&) override { return std::nullopt; }
};

// The timer's autosave would write the whole show every 30 s of virtual
// time; the benchmarks that want one call it by hand.
inline MemoryPreferences withoutAutosaveTimer() {
    MemoryPreferences p;
    p.setValue("autosaveInterval", 1e9);
    return p;
}

} // namespace ostinel::bench
