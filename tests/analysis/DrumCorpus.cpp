#include "DrumCorpus.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace ostinel::test {

namespace {

class Noise {
  public:
    explicit Noise(unsigned seed) : state_(seed * 2654435761u + 1) {}
    float next() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 17;
        state_ ^= state_ << 5;
        return float(state_) / 2147483648.0f - 1.0f;
    }

  private:
    unsigned state_;
};

using Sound = std::vector<float>;

Sound kick(int rate) {
    Sound s(std::size_t(rate * 0.35));
    double phase = 0;
    for (std::size_t i = 0; i < s.size(); ++i) {
        const double t = double(i) / rate;
        phase += 2 * std::numbers::pi * (50 + 110 * std::exp(-t / 0.03)) / rate;
        s[i] = float(std::sin(phase) * std::exp(-t / 0.15));
    }
    return s;
}

Sound snare(int rate, Noise& noise) {
    Sound s(std::size_t(rate * 0.2));
    float last = 0;
    for (std::size_t i = 0; i < s.size(); ++i) {
        const double t = double(i) / rate;
        const float n = noise.next();
        // The wires' rattle is bright: the noise is high-passed like the hats'.
        s[i] = float(0.5 * (n - last) * std::exp(-t / 0.06) +
                     0.35 * std::sin(2 * std::numbers::pi * 190 * t) * std::exp(-t / 0.08));
        last = n;
    }
    return s;
}

Sound hat(int rate, Noise& noise) {
    Sound s(std::size_t(rate * 0.05));
    float last = 0;
    for (std::size_t i = 0; i < s.size(); ++i) {
        const float n = noise.next();
        s[i] = float((n - last) * 0.5 * std::exp(-double(i) / rate / 0.015)); // first difference: high-passed
        last = n;
    }
    return s;
}

// A plucked bass note on the bar's root: the low end peaks on the downbeat.
Sound bass(int rate, double hz, double seconds) {
    Sound s(std::size_t(rate * seconds));
    for (std::size_t i = 0; i < s.size(); ++i) {
        const double t = double(i) / rate;
        const double edges = std::min({t / 0.005, (seconds - t) / 0.01, 1.0});
        s[i] = float(std::sin(2 * std::numbers::pi * hz * t) * std::exp(-t / 0.25) * edges);
    }
    return s;
}

void mix(std::vector<float>& out, const Sound& sound, double seconds, int rate, float gain) {
    const auto at = std::size_t(std::llround(seconds * rate));
    for (std::size_t i = 0; i < sound.size() && at + i < out.size(); ++i)
        out[at + i] += sound[i] * gain;
}

} // namespace

DrumPiece renderDrums(const DrumStyle& style, int rate) {
    Noise noise(style.seed);
    DrumPiece piece;
    piece.samples.resize(std::size_t(style.seconds * rate));
    for (auto& s : piece.samples)
        s = 0.0005f * noise.next();
    const Sound kickSound = kick(rate), snareSound = snare(rate, noise), hatSound = hat(rate, noise);
    const double endBpm = style.endBpm > 0 ? style.endBpm : style.bpm;
    const int pattern = int(style.seed % 3);
    const double roots[] = {110.0, 146.83, 130.81, 98.0};
    const auto level = [&](float base) { return base * (0.85f + 0.15f * noise.next()); };

    double beatStart = style.leadIn;
    for (int beat = 0; beatStart < style.seconds; ++beat) {
        const double bpm = style.bpm + (endBpm - style.bpm) * beatStart / style.seconds;
        const double length = 60 / bpm;
        const int bar = beat / 4, inBar = beat % 4;
        const double offBeat = beatStart + length * 0.5 * (1 + style.swing);
        if (bar == style.introBars && inBar == 0) piece.firstDownbeat = beatStart;
        const bool gap = style.gapBar >= 0 && (bar == style.gapBar || bar == style.gapBar + 1);
        if (bar < style.introBars) {
            mix(piece.samples, hatSound, beatStart, rate, level(0.05f));
            mix(piece.samples, hatSound, offBeat, rate, level(0.03f));
        } else if (!gap) {
            mix(piece.samples, hatSound, beatStart, rate, level(0.12f));
            mix(piece.samples, hatSound, offBeat, rate, level(0.07f));
            if (inBar == 0) {
                mix(piece.samples, kickSound, beatStart, rate, level(0.9f));
                mix(piece.samples, bass(rate, roots[bar % 4], length), beatStart, rate, 0.25f);
            }
            if (inBar == 2) mix(piece.samples, kickSound, beatStart, rate, level(0.75f));
            if ((pattern == 1 && inBar == 1) || (pattern == 2 && inBar == 2))
                mix(piece.samples, kickSound, offBeat, rate, level(0.6f));
            const bool fill = style.fills && bar % 4 == 3 && inBar == 3;
            if (fill) {
                for (int q = 0; q < 4; ++q)
                    mix(piece.samples, snareSound, beatStart + length * q / 4, rate, level(0.5f));
            } else if (inBar % 2 == 1) {
                mix(piece.samples, snareSound, beatStart, rate, level(0.7f));
            }
        }
        beatStart += length;
    }
    return piece;
}

} // namespace ostinel::test
