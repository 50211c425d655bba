#include "DemoSynth.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace ostinel::cli::demo {

namespace {

constexpr double pi = std::numbers::pi;
constexpr double rate = sampleRate;

double hz(double midiNote) { return 440.0 * std::pow(2.0, (midiNote - 69.0) / 12.0); }

std::int64_t framesOf(double seconds) { return std::int64_t(seconds * rate); }

// Equal-power pan, 0 hard left, 1 hard right.
std::array<float, 2> panGains(double pan) {
    return {float(std::cos(pan * pi / 2.0)), float(std::sin(pan * pi / 2.0))};
}

// Raised-cosine step from 0 at a to 1 at b.
double smoothStep(double t, double a, double b) {
    if (t <= a) return 0.0;
    if (t >= b) return 1.0;
    return 0.5 - 0.5 * std::cos(pi * (t - a) / (b - a));
}

// Every file starts and ends at silence, so no player ever hears a click at
// either edge whatever its fades.
void taperEdges(Stereo& s, double inSeconds, double outSeconds) {
    const std::int64_t n = s.frames();
    const double end = double(n) / rate;
    for (std::int64_t i = 0; i < n; ++i) {
        double t = double(i) / rate;
        double g = smoothStep(t, 0.0, inSeconds) * (1.0 - smoothStep(t, end - outSeconds, end));
        if (g >= 1.0) continue;
        s.samples[std::size_t(2 * i)] *= float(g);
        s.samples[std::size_t(2 * i + 1)] *= float(g);
    }
}

// One gain for the whole file, so identical passages stay identical.
void normalise(Stereo& s, double peakDb) {
    float peak = 0.0f;
    for (float v : s.samples) peak = std::max(peak, std::abs(v));
    if (peak <= 0.0f) return;
    const float gain = float(std::pow(10.0, peakDb / 20.0)) / peak;
    for (float& v : s.samples) v *= gain;
}

// Deterministic white noise in [-1, 1].
class Noise {
public:
    explicit Noise(std::uint32_t seed) : state_(seed ? seed : 1u) {}
    float next() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 17;
        state_ ^= state_ << 5;
        return float(double(state_) / 2147483648.0 - 1.0);
    }

private:
    std::uint32_t state_;
};

// Audio EQ cookbook biquad, transposed direct form II.
class Biquad {
public:
    enum class Kind { lowPass, highPass, bandPass };
    Biquad(Kind kind, double frequency, double q) {
        const double w = 2.0 * pi * frequency / rate;
        const double alpha = std::sin(w) / (2.0 * q);
        const double c = std::cos(w);
        double b0 = 0, b1 = 0, b2 = 0;
        switch (kind) {
        case Kind::lowPass: b0 = (1 - c) / 2; b1 = 1 - c; b2 = (1 - c) / 2; break;
        case Kind::highPass: b0 = (1 + c) / 2; b1 = -(1 + c); b2 = (1 + c) / 2; break;
        case Kind::bandPass: b0 = alpha; b1 = 0; b2 = -alpha; break;
        }
        const double a0 = 1 + alpha;
        b0_ = b0 / a0; b1_ = b1 / a0; b2_ = b2 / a0;
        a1_ = -2 * c / a0; a2_ = (1 - alpha) / a0;
    }
    float process(float x) {
        double y = b0_ * x + z1_;
        z1_ = b1_ * x - a1_ * y + z2_;
        z2_ = b2_ * x - a2_ * y;
        return float(y);
    }

private:
    double b0_, b1_, b2_, a1_, a2_;
    double z1_ = 0, z2_ = 0;
};

// State-variable low-pass whose cutoff may move every block without zipper
// noise (topology-preserving form).
class SweepLowPass {
public:
    void setCutoff(double frequency, double q) {
        const double g = std::tan(pi * frequency / rate);
        const double k = 1.0 / q;
        a1_ = 1.0 / (1.0 + g * (g + k));
        a2_ = g * a1_;
        a3_ = g * a2_;
    }
    float process(float x) {
        const double v3 = x - ic2_;
        const double v1 = a1_ * ic1_ + a2_ * v3;
        const double v2 = ic2_ + a2_ * ic1_ + a3_ * v3;
        ic1_ = 2 * v1 - ic1_;
        ic2_ = 2 * v2 - ic2_;
        return float(v2);
    }

private:
    double a1_ = 0, a2_ = 0, a3_ = 0, ic1_ = 0, ic2_ = 0;
};

// A small Schroeder-style room: parallel damped combs into series allpasses,
// the right channel's delays a little longer for width.
class Reverb {
public:
    Reverb(double roomFeedback, double damping) {
        constexpr std::array<int, 8> combs{1214, 1293, 1390, 1476, 1548, 1623, 1695, 1760};
        constexpr std::array<int, 4> allpasses{605, 480, 371, 245};
        constexpr int spread = 25;
        for (int ch = 0; ch < 2; ++ch) {
            for (int len : combs) comb_[ch].push_back({std::vector<float>(std::size_t(len + ch * spread)), 0, 0.0f});
            for (int len : allpasses) allpass_[ch].push_back({std::vector<float>(std::size_t(len + ch * spread)), 0, 0.0f});
        }
        feedback_ = float(roomFeedback);
        damping_ = float(damping);
    }

    // Adds the wet signal of the whole buffer to itself.
    void apply(Stereo& s, double wet) {
        const std::int64_t n = s.frames();
        for (std::int64_t i = 0; i < n; ++i) {
            const float in = 0.015f * (s.samples[std::size_t(2 * i)] + s.samples[std::size_t(2 * i + 1)]);
            for (int ch = 0; ch < 2; ++ch) {
                float out = 0.0f;
                for (Line& c : comb_[ch]) {
                    float y = c.buffer[c.index];
                    c.state = y * (1.0f - damping_) + c.state * damping_;
                    c.buffer[c.index] = in + c.state * feedback_;
                    if (++c.index == c.buffer.size()) c.index = 0;
                    out += y;
                }
                for (Line& a : allpass_[ch]) {
                    float b = a.buffer[a.index];
                    a.buffer[a.index] = out + b * 0.5f;
                    if (++a.index == a.buffer.size()) a.index = 0;
                    out = b - out;
                }
                s.samples[std::size_t(2 * i + ch)] += float(wet) * out;
            }
        }
    }

private:
    struct Line {
        std::vector<float> buffer;
        std::size_t index;
        float state;
    };
    std::array<std::vector<Line>, 2> comb_, allpass_;
    float feedback_, damping_;
};

// A soft, band-limited saw: twelve harmonics falling faster than 1/k, well
// below Nyquist for every note of the pad.
class Wavetable {
public:
    static constexpr int size = 4096;
    Wavetable() {
        table_.resize(size + 1);
        for (int i = 0; i <= size; ++i) {
            double x = 2.0 * pi * i / size, v = 0.0;
            for (int k = 1; k <= 12; ++k) v += std::sin(k * x) / k * std::exp(-0.18 * (k - 1));
            table_[std::size_t(i)] = float(v);
        }
        float peak = 0.0f;
        for (float v : table_) peak = std::max(peak, std::abs(v));
        for (float& v : table_) v /= peak;
    }
    float at(double phase) const { // phase in [0, 1)
        double p = phase * size;
        auto i = std::size_t(p);
        float f = float(p - double(i));
        return table_[i] + f * (table_[i + 1] - table_[i]);
    }

private:
    std::vector<float> table_;
};

// A mono one-shot added into a stereo buffer at a frame, panned.
void mixIn(Stereo& out, const std::vector<float>& hit, std::int64_t at, float gain, double pan) {
    const auto g = panGains(pan);
    const std::int64_t n = std::min<std::int64_t>(std::int64_t(hit.size()), out.frames() - at);
    for (std::int64_t i = 0; i < n; ++i) {
        float v = gain * hit[std::size_t(i)];
        out.samples[std::size_t(2 * (at + i))] += g[0] * v;
        out.samples[std::size_t(2 * (at + i) + 1)] += g[1] * v;
    }
}

// Fades the last `seconds` of a one-shot to zero, so a hit that is cut off
// (a choked hat, a kick's long tail) ends without a step.
void endTaper(std::vector<float>& hit, double seconds) {
    const std::int64_t n = std::int64_t(hit.size()), len = std::min(n, framesOf(seconds));
    for (std::int64_t i = 0; i < len; ++i)
        hit[std::size_t(n - len + i)] *= float(0.5 + 0.5 * std::cos(pi * double(i + 1) / double(len)));
}

std::vector<float> kick() {
    std::vector<float> v(std::size_t(framesOf(0.7)));
    Noise noise(0x4b1c);
    Biquad beater(Biquad::Kind::highPass, 2500.0, 0.7);
    double phase = 0.0;
    for (std::size_t i = 0; i < v.size(); ++i) {
        double t = double(i) / rate;
        double f = 47.0 + 125.0 * std::exp(-t / 0.028);
        double body = std::sin(phase) * std::exp(-t / 0.2);
        phase += 2.0 * pi * f / rate;
        double click = beater.process(noise.next()) * std::exp(-t / 0.004) * 0.35;
        v[i] = float(std::tanh(1.6 * (body + click)) / std::tanh(1.6));
    }
    endTaper(v, 0.08);
    return v;
}

std::vector<float> snare() {
    std::vector<float> v(std::size_t(framesOf(0.45)));
    Noise noise(0x5a4e);
    Biquad band(Biquad::Kind::bandPass, 3200.0, 0.55);
    Biquad low(Biquad::Kind::highPass, 800.0, 0.7);
    double p1 = 0.0, p2 = 0.0;
    for (std::size_t i = 0; i < v.size(); ++i) {
        double t = double(i) / rate;
        double body = 0.55 * std::sin(p1) * std::exp(-t / 0.055) + 0.3 * std::sin(p2) * std::exp(-t / 0.035);
        p1 += 2.0 * pi * (185.0 + 40.0 * std::exp(-t / 0.01)) / rate;
        p2 += 2.0 * pi * 330.0 / rate;
        double rattle = low.process(band.process(noise.next())) * 1.6 * std::exp(-t / 0.12);
        v[i] = float(body + rattle);
    }
    endTaper(v, 0.1);
    return v;
}

std::vector<float> hat(double decay, double length, std::uint32_t seed) {
    std::vector<float> v(std::size_t(framesOf(length)));
    Noise noise(seed);
    Biquad high1(Biquad::Kind::highPass, 7000.0, 0.7);
    Biquad high2(Biquad::Kind::highPass, 7000.0, 0.7);
    Biquad sheen(Biquad::Kind::bandPass, 10000.0, 1.2);
    for (std::size_t i = 0; i < v.size(); ++i) {
        double t = double(i) / rate;
        float x = high2.process(high1.process(noise.next()));
        v[i] = float((x + 0.8 * sheen.process(x)) * std::exp(-t / decay) * std::min(1.0, t / 0.0005));
    }
    endTaper(v, std::min(0.03, length / 3));
    return v;
}

struct StereoHit {
    std::vector<float> left, right;
};

StereoHit crash(double length, std::uint32_t seed) {
    StereoHit c{std::vector<float>(std::size_t(framesOf(length))), {}};
    c.right = c.left;
    for (int ch = 0; ch < 2; ++ch) {
        auto& v = ch == 0 ? c.left : c.right;
        Noise noise(seed + std::uint32_t(ch) * 7919u);
        Biquad high(Biquad::Kind::highPass, 3800.0, 0.7);
        Biquad air(Biquad::Kind::lowPass, 13000.0, 0.7);
        Biquad ring(Biquad::Kind::bandPass, 5200.0 + 600.0 * ch, 4.0);
        for (std::size_t i = 0; i < v.size(); ++i) {
            double t = double(i) / rate;
            float x = air.process(high.process(noise.next()));
            x += 1.5f * ring.process(x);
            v[i] = float(x * std::exp(-t / 0.85) * std::min(1.0, t / 0.002));
        }
        endTaper(v, 0.4);
    }
    return c;
}

} // namespace

Stereo renderPad() {
    constexpr double chordSeconds = 9.0, crossfade = 3.0;
    // Dmaj9, Bm9, Gmaj9, A6/9, each over a bass note an octave or two down.
    constexpr std::array<std::array<int, 6>, 4> chords{{
        {38, 50, 57, 61, 64, 66},
        {35, 47, 54, 57, 61, 62},
        {31, 43, 50, 54, 57, 59},
        {33, 45, 52, 59, 61, 66},
    }};
    constexpr std::array<double, 3> detuneCents{-7.0, 0.0, 7.0};
    constexpr std::array<double, 3> pans{0.15, 0.5, 0.85};
    constexpr int block = 32;

    Stereo out;
    const std::int64_t frames = framesOf(chordSeconds * double(chords.size()));
    out.samples.assign(std::size_t(2 * frames), 0.0f);
    const Wavetable table;

    struct Voice {
        int chord;
        double increment, phase, lfoRate, lfoPhase, gain;
        std::array<float, 2> pan;
    };
    std::vector<Voice> voices;
    for (int c = 0; c < int(chords.size()); ++c) {
        for (std::size_t n = 0; n < chords[std::size_t(c)].size(); ++n) {
            const bool bass = n == 0;
            for (std::size_t d = 0; d < (bass ? 1u : detuneCents.size()); ++d) {
                const double cents = bass ? 0.0 : detuneCents[d];
                const double f = hz(chords[std::size_t(c)][n] + cents / 100.0);
                // Spread start phases and wobble rates so no two voices breathe together.
                const double seed = double(c * 31 + int(n) * 7 + int(d) * 3);
                voices.push_back({c, f / rate, std::fmod(seed * 0.618, 1.0), 0.05 + 0.013 * std::fmod(seed, 7.0),
                                  std::fmod(seed * 0.377, 1.0), bass ? 0.9 : 0.32, panGains(bass ? 0.5 : pans[d])});
            }
        }
    }

    std::array<SweepLowPass, 2> filters;
    for (std::int64_t start = 0; start < frames; start += block) {
        const double t = double(start) / rate;
        // The cutoff breathes between about 500 Hz and 2.2 kHz over 14 s.
        const double cutoff = 1400.0 * std::pow(2.0, 1.0 * std::sin(2.0 * pi * t / 14.0 - pi / 2.0));
        for (auto& f : filters) f.setCutoff(cutoff, 0.9);

        std::array<float, 2 * block> mix{};
        const std::int64_t count = std::min<std::int64_t>(block, frames - start);
        for (Voice& v : voices) {
            const double chordStart = v.chord * chordSeconds, chordEnd = chordStart + chordSeconds;
            double weight = 1.0;
            if (v.chord > 0) weight *= smoothStep(t, chordStart - crossfade / 2, chordStart + crossfade / 2);
            if (v.chord + 1 < int(chords.size())) weight *= 1.0 - smoothStep(t, chordEnd - crossfade / 2, chordEnd + crossfade / 2);
            if (weight <= 0.0) {
                v.phase = std::fmod(v.phase + v.increment * double(count), 1.0);
                continue;
            }
            const double wobble = 0.75 + 0.25 * std::sin(2.0 * pi * (v.lfoRate * t + v.lfoPhase));
            const float g = float(v.gain * weight * wobble);
            for (std::int64_t i = 0; i < count; ++i) {
                const float s = g * table.at(v.phase);
                v.phase += v.increment;
                if (v.phase >= 1.0) v.phase -= 1.0;
                mix[std::size_t(2 * i)] += v.pan[0] * s;
                mix[std::size_t(2 * i + 1)] += v.pan[1] * s;
            }
        }
        for (std::int64_t i = 0; i < count; ++i)
            for (std::size_t ch = 0; ch < 2; ++ch)
                out.samples[std::size_t(2 * (start + i)) + ch] = filters[ch].process(mix[std::size_t(2 * i) + ch]);
    }
    Reverb(0.86, 0.3).apply(out, 0.6);
    taperEdges(out, 3.0, 5.0);
    normalise(out, -6.0);
    return out;
}

Stereo renderGroove() {
    using L = GrooveLayout;
    constexpr int steps = 16;
    const std::int64_t stepFrames = framesOf(L::barSeconds() / steps);

    Stereo out;
    const std::int64_t frames = framesOf(L::barStartSeconds(L::finalHitBar) + L::tailSeconds);
    out.samples.assign(std::size_t(2 * frames), 0.0f);

    const auto kickHit = kick();
    const auto snareHit = snare();
    const auto closedHat = hat(0.032, 0.16, 0xc105);
    // Open, then choked by the next closed hat a sixteenth later.
    const auto openHat = hat(0.16, 0.27, 0x09e7);
    constexpr double kickPan = 0.5, snarePan = 0.44, hatPan = 0.64;

    // Every hit is the same one-shot at a whole frame: equal bars are equal
    // to the sample, which is what lets the vamp repeat without a seam.
    for (int bar = 1; bar <= L::bars; ++bar) {
        const std::int64_t barStart = framesOf(L::barStartSeconds(bar));
        const bool intro = bar == 1, fill = bar == L::bars;
        auto at = [&](int step) { return barStart + step * stepFrames; };
        for (int step = 0; step < steps; ++step) {
            const bool beat = step % 4 == 0;
            if (step % 2 == 0) {
                const bool open = step == 14 && !intro && !fill;
                if (open) mixIn(out, openHat, at(step), 0.42f, hatPan);
                else mixIn(out, closedHat, at(step), beat ? 0.5f : 0.34f, hatPan);
            } else if (!intro && (step == 3 || step == 11)) {
                mixIn(out, closedHat, at(step), 0.16f, hatPan);
            }
        }
        mixIn(out, kickHit, at(0), 1.0f, kickPan);
        mixIn(out, kickHit, at(8), 0.92f, kickPan);
        if (intro) continue;
        mixIn(out, kickHit, at(6), 0.62f, kickPan);
        mixIn(out, snareHit, at(4), 0.85f, snarePan);
        if (!fill) {
            mixIn(out, snareHit, at(12), 0.85f, snarePan);
            mixIn(out, snareHit, at(15), 0.14f, snarePan);
            continue;
        }
        constexpr std::array<float, 4> roll{0.45f, 0.55f, 0.7f, 0.9f};
        for (int i = 0; i < 4; ++i) mixIn(out, snareHit, at(12 + i), roll[std::size_t(i)], snarePan);
    }

    // Room tone before the first hit, as a recording has: the groove starts
    // out of something rather than out of nothing.
    Noise room(0x7007);
    const std::int64_t leadIn = framesOf(L::firstDownbeatSeconds);
    for (std::int64_t i = 0; i < leadIn; ++i) {
        const float fade = float(std::min(1.0, double(std::min(i, leadIn - i)) / double(framesOf(0.05))));
        const float v = 0.002f * fade * room.next();
        out.samples[std::size_t(2 * i)] += v;
        out.samples[std::size_t(2 * i + 1)] += v;
    }

    const std::int64_t last = framesOf(L::barStartSeconds(L::finalHitBar));
    mixIn(out, kickHit, last, 1.0f, kickPan);
    const auto cymbal = crash(L::tailSeconds - 0.05, 0xc4a5);
    for (std::size_t i = 0; i < cymbal.left.size() && std::int64_t(i) + last < frames; ++i) {
        out.samples[std::size_t(2 * (last + std::int64_t(i)))] += 0.5f * cymbal.left[i];
        out.samples[std::size_t(2 * (last + std::int64_t(i)) + 1)] += 0.5f * cymbal.right[i];
    }
    normalise(out, -6.0);
    return out;
}

Stereo renderSting() {
    constexpr double seconds = 5.0;
    // D major with an added ninth, from D2 to A4.
    constexpr std::array<int, 9> notes{38, 45, 50, 54, 57, 62, 64, 66, 69};
    Stereo out;
    const std::int64_t frames = framesOf(seconds);
    out.samples.assign(std::size_t(2 * frames), 0.0f);

    // Each note is a pair of slightly detuned voices, left and right; its
    // upper partials die away faster than the fundamental, as a struck or
    // blown chord does.
    for (std::size_t n = 0; n < notes.size(); ++n) {
        for (int ch = 0; ch < 2; ++ch) {
            const double f0 = hz(notes[n] + (ch == 0 ? -0.04 : 0.04));
            const double level = n == 0 ? 0.6 : 0.32;
            for (int k = 1; k <= 10 && k * f0 < 16000.0; ++k) {
                const double amp = level / std::pow(double(k), 1.1);
                const double tau = 1.5 / (1.0 + 0.55 * (k - 1));
                const double w = 2.0 * pi * k * f0 / rate;
                const double cw = std::cos(w), sw = std::sin(w);
                const double fall = std::exp(-1.0 / (tau * rate));
                // Rotating phasor: one multiply per sample instead of a sine.
                double re = 1.0, im = 0.0, env = amp;
                for (std::int64_t i = 0; i < frames; ++i) {
                    const double attack = std::min(1.0, double(i) / (0.004 * rate));
                    out.samples[std::size_t(2 * i + ch)] += float(im * env * attack);
                    const double r = re * cw - im * sw;
                    im = re * sw + im * cw;
                    re = r;
                    env *= fall;
                }
            }
        }
    }

    // A sub drop and a splash of noise give the hit its weight and edge.
    Noise noise(0x57e6);
    std::array<Biquad, 2> splash{Biquad(Biquad::Kind::highPass, 3000.0, 0.7), Biquad(Biquad::Kind::highPass, 3000.0, 0.7)};
    double phase = 0.0;
    for (std::int64_t i = 0; i < frames; ++i) {
        const double t = double(i) / rate;
        const double sub = 0.6 * std::sin(phase) * std::exp(-t / 0.7);
        phase += 2.0 * pi * (36.7 + 50.0 * std::exp(-t / 0.06)) / rate;
        for (std::size_t ch = 0; ch < 2; ++ch) {
            const double air = splash[ch].process(noise.next()) * 0.3 * std::exp(-t / 0.35) * std::min(1.0, t / 0.002);
            out.samples[std::size_t(2 * i) + ch] += float(sub + air);
        }
    }
    Reverb(0.84, 0.25).apply(out, 0.5);
    taperEdges(out, 0.0, 1.0);
    normalise(out, -6.0);
    return out;
}

} // namespace ostinel::cli::demo
