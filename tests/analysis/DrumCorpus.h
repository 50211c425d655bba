#pragma once

#include <vector>

namespace ostinel::test {

// One synthesized drum piece in 4/4: kick (a falling sine), snare (noise and
// a tone), eighth-note hats (high-passed noise), over a faint noise floor,
// with a bass note on every downbeat that moves through four roots: a kick
// and snare figure alone repeats every two beats and has no downbeat.
struct DrumStyle {
    double bpm = 120;
    double endBpm = 0; // the tempo reached at the end of a linear ramp; 0 for none
    double seconds = 32;
    double leadIn = 0.2; // silence before the first beat, seconds; under a beat
    int introBars = 0;   // bars of quiet hats before the groove
    double swing = 0;    // delay of the off-beat eighths, as a fraction of an eighth
    bool fills = false;  // a snare fill ends every fourth bar
    int gapBar = -1;     // first of two bars left to the noise floor
    unsigned seed = 1;   // hit levels and noise; also picks one of three kick patterns
};

struct DrumPiece {
    std::vector<float> samples; // mono
    double firstDownbeat = 0;   // the first kick of the first bar after the intro, seconds
};

DrumPiece renderDrums(const DrumStyle& style, int sampleRate = 44100);

} // namespace ostinel::test
