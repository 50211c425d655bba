#pragma once

#include <complex>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "analysis/TempoEstimate.h"

// Tempo, first downbeat and drift of a piece of music. Pure functions of the
// samples at their own rate: nothing is kept between runs, nothing cached.
// The inner steps are public so that each can be checked on its own.
// Threads: every operation may run on any thread, concurrently with others.
namespace ostinel::TempoAnalyzer {

// One analysis window's opinion of every candidate tempo.
struct WindowVote {
    std::vector<double> scores; // one per candidateBPMs entry, never negative
    double confidence = 0;      // how far the best score stands above the mean, (0, 1]
    double energy = 0;          // sum of the window's onset envelope
};

// Log-band magnitudes of 1024-sample frames at a hop of 256, row-major.
struct Spectrogram {
    std::vector<float> values;
    int frameCount = 0;
    int bandCount = 0;
    const float* row(int frame) const { return values.data() + std::size_t(frame) * std::size_t(bandCount); }
};

struct Refined {
    double bpm = 0;
    double coherence = 0;
};

struct ReliableEnvelope {
    std::vector<float> envelope; // the onset envelope with unreliable chunks zeroed
    int firstKept = 0;           // first frame of the first chunk that carries the pulse
};

// Half-open range of bands.
using BandRange = std::pair<int, int>;

// The tempo axis of every vote: 40 BPM up by 0.5% steps to below 300, 404
// entries. Geometric, so a ratio of two tempi is a fixed number of steps.
const std::vector<double>& candidateBPMs();

// Decodes the file, mixes it to mono and analyses it, or the region `range`
// (seconds of file time) of it. Synchronous: call it off the main thread.
// Logs the file's name when the audio holds no stable tempo.
std::optional<TempoEstimate> detect(const std::string& path, std::optional<TempoRange> range = std::nullopt);

// `startSeconds` is the file time of the first sample, so the anchor comes
// back in file time. `workers` splits the spectrogram; 0 means one per core.
std::optional<TempoEstimate> analyze(std::span<const float> samples, double sampleRate, double startSeconds,
                                     int workers = 0);

// Nothing below 1536 samples, or when the bands cannot be kept apart.
std::optional<Spectrogram> spectrogram(std::span<const float> samples, double sampleRate, int workers = 0);
// Rectified spectral flux less its 0.3-second local mean, one value a frame.
std::vector<float> onsetEnvelope(const Spectrogram& spectrogram, double sampleRate,
                                 std::optional<BandRange> bands = std::nullopt);

std::vector<WindowVote> windowVotes(std::span<const float> odf, double odfRate);
std::optional<WindowVote> voteForWindow(std::span<const float> odf, double odfRate);
// Comb of on-beat minus off-beat autocorrelation at a fractional lag.
std::optional<double> combScore(std::span<const double> autocorrelation, double lag);
// Confidence-weighted sum of the trustworthy votes, scaled to a peak of 1.
std::optional<std::vector<double>> aggregate(const std::vector<WindowVote>& votes);

// Periodicity of the envelope at every candidate, scaled to a peak of 1.
std::vector<double> spectralCurve(std::span<const float> odf, double odfRate);
std::optional<double> chooseTempo(std::span<const double> selfSimilarity, std::span<const double> accent);

ReliableEnvelope reliableEnvelope(std::span<const float> odf, double odfRate, double bpm);
Refined refineOnStrongestPulse(double coarse, std::span<const float> odf, double odfRate);
Refined refine(double bpm, std::span<const float> odf, double odfRate);

// One bin of the transform at a fractional period (frames), with the mean
// taken out analytically so the zero-frequency term does not leak in.
std::complex<double> dftBin(std::span<const float> x, double period);
// |dftBin| over the envelope's sum; 0 for an envelope without energy.
double coherence(std::span<const float> x, double period);

// Which beat of the bar (0 to beatsPerBar - 1) after `phase` is the downbeat.
int downbeatOffset(const Spectrogram& spectrogram, double odfRate, double bpm, double phase, int beatsPerBar);
// The start (frames) of the first loud bar at or after `notBefore`.
double firstStrongDownbeat(std::span<const float> samples, double sampleRate, double phase, double beatFrames,
                           double notBefore);
double snapToKickAttack(std::span<const float> samples, double sampleRate, double anchor, double beatSeconds);
// Spread of the beat's offset against a rigid grid over the track, in beats.
double gridFit(std::span<const float> odf, double odfRate, double bpm, double phase);

} // namespace ostinel::TempoAnalyzer
