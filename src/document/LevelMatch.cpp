#include "document/LevelMatch.h"

#include <algorithm>
#include <cmath>

namespace ostinel::LevelMatch {

Change change(const LoudnessMeasurement& m, double targetLufs) {
    const double wanted = targetLufs - m.lufs;
    const double cap = peakCeilingDb - m.truePeakDb;
    Change c;
    c.gainDb = std::min(cap, wanted);
    c.peakLimited = cap < wanted;
    if (c.gainDb > gainCeilingDb) {
        c.ceilingHit = true;
        c.gainDb = gainCeilingDb;
    }
    c.volume = std::clamp(std::pow(10.0, c.gainDb / 20.0), 0.0, Constraint::maxTrackAmplitude);
    return c;
}

Outcome apply(const Show& show, const std::map<Uuid, LoudnessMeasurement>& measurements, double targetLufs) {
    Outcome out{show};
    for (std::size_t i = 0; i < show.tracks.size(); ++i) {
        auto m = measurements.find(show.tracks[i].id);
        // Gated-out or damaged measurements say nothing about the level.
        if (m == measurements.end() || !std::isfinite(m->second.lufs) || !std::isfinite(m->second.truePeakDb))
            continue;
        const Change c = change(m->second, targetLufs);
        out.limited += c.peakLimited;
        out.ceiling += c.ceilingHit;
        if (show.tracks[i].volume != c.volume) out.show.tracks.edit(i).volume = c.volume;
    }
    return out;
}

std::optional<std::string> message(int limited, int ceiling) {
    std::string parts;
    if (limited > 0) parts = std::to_string(limited) + " stayed below the target to keep the peaks under 1 dB of headroom";
    if (ceiling > 0) {
        if (!parts.empty()) parts += ", ";
        parts += std::to_string(ceiling) + " hit the +15 dB level ceiling";
    }
    if (parts.empty()) return std::nullopt;
    return "Levels matched — " + parts + ".";
}

std::optional<std::string> note(const Change& c) {
    if (c.peakLimited) return "peak-limited — no headroom left to reach the target";
    if (c.ceilingHit) return "at the +15 dB level ceiling";
    return std::nullopt;
}

} // namespace ostinel::LevelMatch
