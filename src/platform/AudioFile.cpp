#include "platform/AudioFile.h"

namespace ostinel {

Expected<std::vector<std::vector<float>>> AudioFile::readAll(std::int64_t frame, std::int64_t count) {
    std::vector<std::vector<float>> out(std::size_t(channels()), std::vector<float>(std::size_t(count > 0 ? count : 0)));
    std::vector<float*> ptrs;
    for (auto& c : out) ptrs.push_back(c.data());
    auto got = read(frame, count, ptrs.data());
    if (!got) return got.error();
    for (auto& c : out) c.resize(std::size_t(*got));
    return out;
}

} // namespace ostinel
