// ostinel-cli loudness AUDIO...: integrated loudness, sample peak and true
// peak of each file, one JSON object a line; silence has no figures.

#include <iostream>
#include <nlohmann/json.hpp>

#include "Command.h"
#include "JsonLine.h"
#include "analysis/LoudnessAnalyzer.h"

namespace ostinel::cli {

namespace {

int loudness(const Args& args) {
    if (args.empty()) return fail("usage: ostinel-cli loudness AUDIO...");
    int status = 0;
    for (const auto& path : args) {
        nlohmann::json line{{"file", path}};
        auto measured = LoudnessAnalyzer::measure(path);
        if (!measured) {
            line["error"] = measured.error().message;
            status = 1;
        } else if (*measured) {
            line["lufs"] = (*measured)->lufs;
            line["peakDb"] = (*measured)->peakDb;
            line["truePeakDb"] = (*measured)->truePeakDb;
        } else {
            line["lufs"] = line["peakDb"] = line["truePeakDb"] = nullptr;
        }
        writeJsonLine(std::cout, line);
    }
    return status;
}

const Command command("loudness", "loudness AUDIO...", loudness);

} // namespace

} // namespace ostinel::cli
