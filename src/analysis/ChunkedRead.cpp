#include "analysis/ChunkedRead.h"

#include <algorithm>
#include <vector>

#include "platform/AudioFile.h"

namespace ostinel {

std::optional<Error> readInChunks(
    AudioFile& file, std::int64_t chunk,
    const std::function<void(const float* const* channels, std::int64_t at, std::int64_t count)>& take) {
    const std::int64_t frames = file.frames();
    std::vector<std::vector<float>> storage(static_cast<std::size_t>(std::max(file.channels(), 0)),
                                            std::vector<float>(static_cast<std::size_t>(chunk)));
    std::vector<float*> pointers;
    for (auto& s : storage)
        pointers.push_back(s.data());
    for (std::int64_t at = 0; at < frames;) {
        auto got = file.read(at, std::min(chunk, frames - at), pointers.data());
        if (!got) return got.error();
        if (*got <= 0) break;
        take(pointers.data(), at, *got);
        at += *got;
    }
    return std::nullopt;
}

} // namespace ostinel
