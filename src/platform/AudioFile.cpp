#include "platform/AudioFile.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "platform/AudioBackends.h"

namespace ostinel {

namespace {
// Which backend's refusal explains a file nobody can read: the one its name
// promises.
bool namedForSndfile(const std::string& path) {
    static const std::array<const char*, 13> known{"wav", "wave", "aif", "aiff", "aifc", "flac", "caf",
                                                   "ogg", "oga",  "mp3", "w64",  "rf64", "au"};
    auto dot = path.rfind('.');
    if (dot == std::string::npos) return false;
    std::string ext = path.substr(dot + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    return std::find(known.begin(), known.end(), ext) != known.end();
}
} // namespace

namespace audio {
std::string checkPlayable(double sampleRate, int channels, std::int64_t frames) {
    if (!(sampleRate > 0)) return "The file has no sample rate.";
    if (channels <= 0) return "The file has no audio channels.";
    if (frames <= 0) return "The file holds no audio frames.";
    return {};
}

Expected<std::int64_t> readableCount(std::int64_t frame, std::int64_t count, std::int64_t frames) {
    if (frame < 0 || count < 0) return Error{"Cannot read audio before the start of the file."};
    return frame >= frames ? 0 : std::min(count, frames - frame);
}
} // namespace audio

Expected<std::unique_ptr<AudioFile>> AudioFile::open(const std::string& path) {
    auto bySndfile = audio::openWithSndfile(path);
    if (bySndfile.file) return std::move(bySndfile.file);
    if (bySndfile.final) return Error{bySndfile.reason};
    auto byFfmpeg = audio::openWithFfmpeg(path);
    if (byFfmpeg.file) return std::move(byFfmpeg.file);
    if (byFfmpeg.final || bySndfile.reason.empty() || !namedForSndfile(path)) return Error{byFfmpeg.reason};
    return Error{bySndfile.reason};
}

Expected<std::vector<std::vector<float>>> AudioFile::readAll(std::int64_t frame, std::int64_t count) {
    std::vector<std::vector<float>> out(std::size_t(channels()),
                                        std::vector<float>(std::size_t(count > 0 ? count : 0)));
    std::vector<float*> ptrs;
    for (auto& c : out)
        ptrs.push_back(c.data());
    auto got = read(frame, count, ptrs.data());
    if (!got) return got.error();
    for (auto& c : out)
        c.resize(std::size_t(*got));
    return out;
}

} // namespace ostinel
