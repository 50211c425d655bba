// ostinel-cli probe AUDIO...: what the player sees in each file, one JSON
// object a line.

#include <cmath>
#include <iostream>
#include <nlohmann/json.hpp>

#include "Command.h"
#include "JsonLine.h"
#include "platform/AudioFile.h"

namespace ostinel::cli {

namespace {

int probe(const Args& args) {
    if (args.empty()) return fail("usage: ostinel-cli probe AUDIO...");
    int status = 0;
    for (const auto& path : args) {
        nlohmann::json line{{"path", path}};
        auto file = AudioFile::open(path);
        if (file) {
            const double rate = (*file)->sampleRate();
            if (rate == std::floor(rate))
                line["sampleRate"] = std::int64_t(rate);
            else
                line["sampleRate"] = rate;
            line["channels"] = (*file)->channels();
            line["frames"] = (*file)->frames();
            line["duration"] = (*file)->duration();
        } else {
            line["error"] = file.error().message;
            status = 1;
        }
        writeJsonLine(std::cout, line);
    }
    return status;
}

const Command command("probe", "probe AUDIO...", probe);

} // namespace

} // namespace ostinel::cli
