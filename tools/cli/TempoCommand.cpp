// ostinel-cli tempo AUDIO [--from S] [--to S]: the detected tempo, first
// downbeat and confidence of a file or of a region of it, as one JSON line;
// audio without a stable tempo has no figures.

#include <charconv>
#include <cmath>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>

#include "Command.h"
#include "JsonLine.h"
#include "analysis/TempoAnalyzer.h"
#include "platform/AudioFile.h"

namespace ostinel::cli {

namespace {

const char* const kUsage = "usage: ostinel-cli tempo AUDIO [--from S] [--to S]";

std::optional<double> seconds(const std::string& text) {
    double value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value) || value < 0)
        return std::nullopt;
    return value;
}

int tempo(const Args& args) {
    std::string path;
    std::optional<double> from, to;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--from" || a == "--to") {
            if (i + 1 >= args.size()) return fail(a + " needs a value\n" + kUsage);
            const auto value = seconds(args[++i]);
            if (!value) return fail(a + " takes a number of seconds, zero or more, not \"" + args[i] + "\"");
            (a == "--from" ? from : to) = *value;
        } else if (a.starts_with("--") || !path.empty()) {
            return fail("unknown argument \"" + a + "\"\n" + kUsage);
        } else {
            path = a;
        }
    }
    if (path.empty()) return fail(kUsage);
    if (from && to && *from > *to) return fail("--from must not come after --to");

    nlohmann::json line{{"file", path}};
    if (auto opened = AudioFile::open(path); !opened) {
        line["error"] = path + ": " + opened.error().message;
        writeJsonLine(std::cout, line);
        return 1;
    }
    std::optional<TempoRange> range;
    if (from || to) range = TempoRange{from.value_or(0), to.value_or(HUGE_VAL)};
    if (const auto estimate = TempoAnalyzer::detect(path, range)) {
        line["bpm"] = estimate->bpm;
        line["anchorSeconds"] = estimate->anchorSeconds;
        line["confidence"] = estimate->confidence;
        line["variable"] = estimate->isDrifting;
    } else {
        line["bpm"] = line["anchorSeconds"] = line["confidence"] = nullptr;
        line["variable"] = false;
    }
    writeJsonLine(std::cout, line);
    return 0;
}

const Command command("tempo", "tempo AUDIO [--from S] [--to S]", tempo);

} // namespace

} // namespace ostinel::cli
