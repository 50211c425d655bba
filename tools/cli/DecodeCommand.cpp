// ostinel-cli decode AUDIO --out OUT.wav [--from FRAME] [--frames N]: the
// frames exactly as the player reads them, as a 32-bit float WAV.

#include <sndfile.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>
#include <vector>

#include "Command.h"
#include "platform/AudioFile.h"

namespace ostinel::cli {

namespace {

constexpr std::int64_t kChunk = 4096; // what the player asks for at a time
const char* const kUsage = "usage: ostinel-cli decode AUDIO --out OUT.wav [--from FRAME] [--frames N]";

std::optional<std::int64_t> frameCount(const std::string& text) {
    std::int64_t value = -1;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 0) return std::nullopt;
    return value;
}

int decode(const Args& args) {
    std::string input, output;
    std::int64_t from = 0;
    std::optional<std::int64_t> count;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--out" || a == "--from" || a == "--frames") {
            if (i + 1 >= args.size()) return fail(a + " needs a value\n" + kUsage);
            const std::string& value = args[++i];
            if (a == "--out") {
                output = value;
                continue;
            }
            auto frames = frameCount(value);
            if (!frames)
                return fail(a + " needs a whole number of frames, zero or more, not \"" + value + "\"");
            if (a == "--from")
                from = *frames;
            else
                count = *frames;
        } else if (a.rfind("--", 0) == 0 || !input.empty()) {
            return fail("unknown argument \"" + a + "\"\n" + kUsage);
        } else {
            input = a;
        }
    }
    if (input.empty() || output.empty()) return fail(kUsage);

    auto opened = AudioFile::open(input);
    if (!opened) return fail(input + ": " + opened.error().message);
    AudioFile& file = **opened;
    if (from >= file.frames())
        return fail("--from " + std::to_string(from) + " is beyond the end of " + input + " (" +
                    std::to_string(file.frames()) + " frames)");
    const std::int64_t total = std::min(count.value_or(file.frames()), file.frames() - from);

    SF_INFO info{};
    info.samplerate = int(std::lround(file.sampleRate()));
    info.channels = file.channels();
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* out = sf_open(output.c_str(), SFM_WRITE, &info);
    if (!out) return fail(output + ": " + sf_strerror(nullptr));

    const auto channels = std::size_t(file.channels());
    std::vector<std::vector<float>> planes(channels, std::vector<float>(kChunk));
    std::vector<float*> pointers;
    for (auto& p : planes)
        pointers.push_back(p.data());
    std::vector<float> interleaved(std::size_t(kChunk) * channels);
    std::string problem;
    for (std::int64_t done = 0; done < total && problem.empty();) {
        auto got = file.read(from + done, std::min(kChunk, total - done), pointers.data());
        if (!got || *got == 0) {
            problem = input + ": " + (got ? "the audio ends early" : got.error().message);
            break;
        }
        for (std::int64_t i = 0; i < *got; ++i)
            for (std::size_t c = 0; c < channels; ++c)
                interleaved[std::size_t(i) * channels + c] = planes[c][std::size_t(i)];
        if (sf_writef_float(out, interleaved.data(), *got) != *got)
            problem = output + ": " + sf_strerror(out);
        done += *got;
    }
    if (sf_close(out) != 0 && problem.empty()) problem = output + ": the file could not be closed";
    if (!problem.empty()) {
        std::remove(output.c_str());
        return fail(problem);
    }
    return 0;
}

const Command command("decode", "decode AUDIO --out OUT.wav [--from FRAME] [--frames N]", decode);

} // namespace

} // namespace ostinel::cli
