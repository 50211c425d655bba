#include "control/NumberMapController.h"

namespace ostinel {

void NumberMapController::setMapMode(bool on) {
    if (mapMode_ == on) return;
    mapMode_ = on;
    if (!on) learningTrack_.reset();
    emit changed();
}

std::optional<std::int64_t> NumberMapController::digit(const Uuid& id) const {
    auto it = mappings_.find(id);
    return it == mappings_.end() ? std::nullopt : std::optional(it->second);
}

void NumberMapController::beginLearningTrack(const Uuid& id) {
    learningTrack_ = learningTrack_ == id ? std::nullopt : std::optional(id);
    emit changed();
}

void NumberMapController::clearMapping(const Uuid& id) {
    mappings_.erase(id);
    if (learningTrack_ == id) learningTrack_.reset();
    mappingsChanged();
}

void NumberMapController::clearAllMappings() {
    mappings_.clear();
    learningTrack_.reset();
    mappingsChanged();
}

void NumberMapController::replaceMappings(std::map<Uuid, std::int64_t> mappings) {
    mappings_ = std::move(mappings);
    emit changed();
}

std::optional<Uuid> NumberMapController::track(std::int64_t digit) const {
    for (const auto& [id, mapped] : mappings_)
        if (mapped == digit) return id;
    return std::nullopt;
}

bool NumberMapController::received(std::int64_t digit) {
    if (learningTrack_) {
        std::erase_if(mappings_, [&](const auto& entry) { return entry.second == digit; });
        mappings_[*learningTrack_] = digit;
        learningTrack_.reset();
        mappingsChanged();
        return true;
    }
    if (mapMode_) return false;
    auto id = track(digit);
    if (!id) return false;
    if (trackActionHandler) trackActionHandler(*id);
    return true;
}

void NumberMapController::mappingsChanged() {
    if (onMappingsChanged) onMappingsChanged(mappings_);
    emit changed();
}

} // namespace ostinel
