#pragma once

#include <cstdint>
#include <vector>

// The audio of the demo show, made from nothing: no recordings, no downloads.
// Pure functions of the sample rate; every call gives the same samples.
namespace ostinel::cli::demo {

// 48 kHz puts every sixteenth note at 120 BPM on a whole frame, so the bars
// of the groove come out identical to the sample.
inline constexpr int sampleRate = 48000;

// Interleaved stereo, left then right.
struct Stereo {
    std::vector<float> samples;
    std::int64_t frames() const { return std::int64_t(samples.size() / 2); }
    double seconds() const { return double(frames()) / sampleRate; }
};

// Where things fall in the groove. Bars count from 1 at the first downbeat.
struct GrooveLayout {
    static constexpr double bpm = 120.0;
    static constexpr double firstDownbeatSeconds = 0.5;
    static constexpr int bars = 8;         // bar 1 is hats and kick only, bar 8 ends in a fill
    static constexpr int vampFirstBar = 3; // the vamp holds bars 3 to 6
    static constexpr int vampBars = 4;
    static constexpr int finalHitBar = bars + 1; // the downbeat after the fill
    static constexpr double tailSeconds = 2.5;

    static constexpr double barSeconds() { return 4.0 * 60.0 / bpm; }
    static constexpr double barStartSeconds(int bar) { return firstDownbeatSeconds + (bar - 1) * barSeconds(); }
};

// Slowly moving detuned chords in D, about 36 s, soft at both ends.
Stereo renderPad();

// Kick, snare and hats at 120 BPM laid out as GrooveLayout says, ending on a
// crash at finalHitBar.
Stereo renderGroove();

// One chord hit with a long decay.
Stereo renderSting();

} // namespace ostinel::cli::demo
