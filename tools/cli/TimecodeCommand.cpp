// ostinel-cli timecode VALUE [--rate fps24|fps25|fps2997df|fps30]: seconds to
// timecode text, or timecode text to seconds, by the arithmetic both timecode
// outputs use.

#include <cmath>
#include <cstdio>
#include <optional>

#include "Command.h"
#include "timecode/TimecodeRate.h"

namespace ostinel::cli {

namespace {

const char* const kUsage = "usage: ostinel-cli timecode VALUE [--rate fps24|fps25|fps2997df|fps30]";

int convert(const Args& args) {
    std::optional<std::string> value;
    TimecodeRate rate = TimecodeRate::fps25;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--rate") {
            if (i + 1 >= args.size()) return fail("--rate needs a value\n" + std::string(kUsage));
            auto known = timecode::rateFromRaw(args[++i]);
            if (!known) return fail("unknown rate \"" + args[i] + "\"\n" + kUsage);
            rate = *known;
        } else if (a.rfind("--", 0) == 0 || value) {
            return fail("unknown argument \"" + a + "\"\n" + kUsage);
        } else {
            value = a;
        }
    }
    if (!value) return fail(kUsage);

    if (auto seconds = timecode::seconds(rate, *value)) {
        std::printf("%.6f\n", *seconds);
        return 0;
    }
    const auto seconds = parseTime(*value);
    if (!seconds) return fail("\"" + *value + "\" is neither a timecode nor a number of seconds");
    // The frame count must fit in 64 bits; the arithmetic stops the process otherwise.
    if (!std::isfinite(*seconds) || *seconds * timecode::exactFps(rate) >= 9e18)
        return fail("\"" + *value + "\" is too long a time for a timecode");
    std::printf("%s\n", timecode::string(rate, *seconds).c_str());
    return 0;
}

const Command command("timecode", "timecode VALUE [--rate fps24|fps25|fps2997df|fps30]", convert);

} // namespace

} // namespace ostinel::cli
