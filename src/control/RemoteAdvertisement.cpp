#include "control/RemoteAdvertisement.h"

namespace ostinel {

std::string RemoteAdvertisement::truncated(const std::string& name) {
    if (name.size() <= showLimit) return name;
    std::size_t end = showLimit;
    // Back off over continuation bytes (10xxxxxx) to the start of the
    // character the cut would split.
    while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0) == 0x80)
        --end;
    return name.substr(0, end);
}

RemoteAdvertisement::Txt RemoteAdvertisement::txt(const std::string& appVersion,
                                                  const std::string& showName) {
    return {{"proto", protocolVersion}, {"app", appVersion}, {"show", truncated(showName)}};
}

} // namespace ostinel
