#pragma once

#include <sndfile.h>

#include <cstdint>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "base/Expected.h"
#include "platform/LoopbackMidiSystem.h"
#include "platform/ManualMainLoop.h"
#include "platform/MemoryPreferences.h"
#include "timecode/TimecodeClock.h"
#include "timecode/TimecodeRate.h"

namespace ostinel {
class AudioSystem;
class LTCOutputEngine;
class MTCSender;
class ManualQuarterFrameTimer;
class MidiOutputController;
class OfflineAudioSystem;
class PlaybackEngine;
class TimecodeController;
} // namespace ostinel

namespace ostinel::cli {

// What a render sends besides the music: MTC, MIDI triggers and LTC, on the
// rendered sample clock so that every timestamp is exact. MIDI goes to a
// text file, one message a line; the LTC output alone to a mono float WAV.
class RenderTimecode {
public:
    struct Options {
        TimecodeRate rate = TimecodeRate::fps25;
        std::string midiOut; // empty: none
        std::string ltcOut;  // empty: none
    };
    // Feeds from `engine`'s callbacks, keeping those already set.
    static Expected<std::unique_ptr<RenderTimecode>> open(const Options& options, ManualMainLoop& loop,
                                                         OfflineAudioSystem& audio, PlaybackEngine& engine);
    ~RenderTimecode();

    // Renders the LTC of the period about to be heard, starting now.
    std::optional<Error> renderPeriod(int frames);
    // Moves time on to `seconds`: main-loop timers and quarter frames fire in
    // the order of their deadlines.
    void advanceTo(double seconds);

private:
    RenderTimecode(const Options& options, ManualMainLoop& loop, OfflineAudioSystem& audio);

    Options options_;
    ManualMainLoop& loop_;
    OfflineAudioSystem& audio_;
    ManualClock clock_;
    MemoryPreferences preferences_;
    LoopbackMidiSystem midi_;
    std::ofstream midiFile_;
    std::unique_ptr<ManualQuarterFrameTimer> timer_;
    std::unique_ptr<MTCSender> sender_;
    std::unique_ptr<LTCOutputEngine> ltc_;
    std::unique_ptr<TimecodeController> timecode_;
    std::unique_ptr<MidiOutputController> triggers_;
    std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> ltcFile_{nullptr, sf_close};
};

} // namespace ostinel::cli
