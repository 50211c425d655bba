// ostinel-cli match-levels FILE.ot [--target LUFS] [--out NEW.ot]: measures
// every cue, on all cores, and prints the volume Match Levels would give it
// and why it stops short; with --out, saves the matched show there.

#include <QTemporaryDir>

#include <atomic>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>
#include <thread>

#include "Command.h"
#include "HeadlessDialogs.h"
#include "JsonLine.h"
#include "ReadOnlyPreferences.h"
#include "analysis/LoudnessAnalyzer.h"
#include "document/AppState.h"
#include "document/LevelMatch.h"
#include "platform/ManualMainLoop.h"

namespace ostinel::cli {

namespace {

constexpr const char* usage = "usage: ostinel-cli match-levels FILE.ot [--target LUFS] [--out NEW.ot]";

std::optional<double> number(const std::string& text) {
    double value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
    return value;
}

struct Measured {
    std::optional<LoudnessMeasurement> value;
    std::string error;
};

// Each worker takes the next file; results land in their own slots.
std::vector<Measured> measureAll(const std::vector<Track>& tracks) {
    std::vector<Measured> results(tracks.size());
    std::atomic<std::size_t> next = 0;
    auto work = [&] {
        for (std::size_t i; (i = next++) < tracks.size();) {
            if (!tracks[i].url.exists()) {
                results[i].error = "missing";
                continue;
            }
            auto m = LoudnessAnalyzer::measure(tracks[i].url.path());
            if (m)
                results[i].value = *m;
            else
                results[i].error = m.error().message;
        }
    };
    const auto count = std::min<std::size_t>(std::max(1u, std::thread::hardware_concurrency()), tracks.size());
    std::vector<std::jthread> workers;
    for (std::size_t w = 1; w < count; ++w) workers.emplace_back(work);
    work();
    return results;
}

nlohmann::json decibels(double value) { return std::isfinite(value) ? nlohmann::json(value) : nlohmann::json(nullptr); }

int matchLevels(const Args& args) {
    namespace fs = std::filesystem;
    std::vector<std::string> positional;
    std::optional<std::string> out;
    double target = LevelMatch::defaultTargetLufs;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if ((args[i] == "--target" || args[i] == "--out") && i + 1 >= args.size())
            return fail(args[i] + " needs a value\n" + usage);
        if (args[i] == "--target") {
            auto value = number(args[++i]);
            if (!value || *value > 0 || *value < -70) return fail("--target must be a loudness from -70 to 0 LUFS");
            target = *value;
        } else if (args[i] == "--out") {
            out = args[++i];
        } else {
            positional.push_back(args[i]);
        }
    }
    if (positional.size() != 1) return fail(usage);

    QTemporaryDir scratch;
    if (!scratch.isValid()) return fail("Could not create a temporary folder.");
    ManualMainLoop loop;
    ReadOnlyPreferences preferences;
    std::string told;
    HeadlessDialogs dialogs([&told](const std::string& text) { told = text; });
    AppState state(loop, preferences, dialogs, AppPaths::under(scratch.path().toStdString()));
    auto absolute = [](const std::string& path) { return FileUrl::fromPath(fs::absolute(path).lexically_normal().string()); };
    if (!state.loadShow(absolute(positional[0]))) return fail(told);

    const auto tracks = state.show().tracks.toVector();
    const auto results = measureAll(tracks);
    std::map<Uuid, LoudnessMeasurement> measurements;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        const Track& t = tracks[i];
        nlohmann::json line{{"cue", i + 1}, {"name", t.name}, {"file", t.url.path()}};
        if (!results[i].error.empty()) {
            line["error"] = results[i].error;
        } else if (!results[i].value) {
            line["lufs"] = nullptr; // silence: left as it is
            line["volume"] = t.volume;
        } else {
            const auto& m = *results[i].value;
            measurements[t.id] = m;
            const auto c = LevelMatch::change(m, target);
            line["lufs"] = decibels(m.lufs);
            line["truePeakDb"] = decibels(m.truePeakDb);
            line["changeDb"] = c.gainDb;
            line["newPeakDb"] = decibels(m.truePeakDb + c.gainDb);
            line["volume"] = c.volume;
            auto note = LevelMatch::note(c);
            line["stopsShort"] = note ? nlohmann::json(*note) : nlohmann::json(nullptr);
        }
        writeJsonLine(std::cout, line);
    }

    auto answer = state.applyLoudnessMatch(measurements, target);
    char fallback[64];
    std::snprintf(fallback, sizeof fallback, "Levels matched to %.1f LUFS.", target);
    nlohmann::json summary{{"targetLufs", target}, {"measured", measurements.size()}, {"cues", tracks.size()},
                           {"message", answer ? *answer : std::string(fallback)}};
    if (out) {
        if (!state.write(absolute(*out))) return fail(told);
        summary["written"] = absolute(*out).path();
    }
    writeJsonLine(std::cout, summary);
    return 0;
}

const Command command("match-levels", "match-levels FILE.ot [--target LUFS] [--out NEW.ot]", matchLevels);

} // namespace

} // namespace ostinel::cli
