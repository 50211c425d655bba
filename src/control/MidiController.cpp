#include "control/MidiController.h"

#include <nlohmann/json.hpp>

#include "control/IncomingMidiKey.h"
#include "document/ShowFileFormat.h"
#include "platform/MainLoop.h"
#include "platform/MidiSystem.h"
#include "platform/Preferences.h"

namespace ostinel {

MidiController::MidiController(MidiSystem& midi, MainLoop& loop, Preferences& preferences, QObject* parent)
    : QObject(parent), loop_(loop), preferences_(preferences), self_(std::make_shared<MidiController*>(this)) {
    load();
    std::weak_ptr<MidiController*> weak = self_;
    input_ = midi.createInput([&loop, weak](const std::uint8_t* bytes, std::size_t size) {
        auto key = incomingMidiKey(bytes, size);
        if (!key) return;
        loop.post([weak, key = *key] {
            if (auto self = weak.lock()) (*self)->received(key);
        });
    });
}

// The input closes first, so no handler runs once the rest goes.
MidiController::~MidiController() { input_.reset(); }

void MidiController::setMapMode(bool on) {
    if (mapMode_ == on) return;
    mapMode_ = on;
    if (!on) {
        learning_.reset();
        learningTrack_.reset();
    }
    emit changed();
}

std::optional<MidiKey> MidiController::mapping(MidiAction action) const {
    auto it = mappings_.find(action);
    return it == mappings_.end() ? std::nullopt : std::optional(it->second);
}

std::optional<MidiKey> MidiController::trackMapping(const Uuid& id) const {
    auto it = trackMappings_.find(id);
    return it == trackMappings_.end() ? std::nullopt : std::optional(it->second);
}

void MidiController::beginLearning(MidiAction action) {
    learning_ = learning_ == action ? std::nullopt : std::optional(action);
    learningTrack_.reset();
    emit changed();
}

void MidiController::beginLearningTrack(const Uuid& id) {
    learningTrack_ = learningTrack_ == id ? std::nullopt : std::optional(id);
    learning_.reset();
    emit changed();
}

void MidiController::clearMapping(MidiAction action) {
    mappings_.erase(action);
    if (learning_ == action) learning_.reset();
    save();
    emit changed();
}

void MidiController::clearTrackMapping(const Uuid& id) {
    trackMappings_.erase(id);
    if (learningTrack_ == id) learningTrack_.reset();
    save();
    trackMappingsChanged();
}

void MidiController::clearAllMappings() {
    mappings_.clear();
    trackMappings_.clear();
    learning_.reset();
    learningTrack_.reset();
    save();
    trackMappingsChanged();
}

void MidiController::replaceTrackMappings(std::map<Uuid, MidiKey> mappings) {
    trackMappings_ = std::move(mappings);
    if (learningTrack_ && !trackMappings_.contains(*learningTrack_)) learningTrack_.reset();
    emit changed();
}

void MidiController::received(const MidiKey& key) {
    if (learning_) {
        removeKeyOwners(key);
        mappings_[*learning_] = key;
        learning_.reset();
        save();
        trackMappingsChanged();
        return;
    }
    if (learningTrack_) {
        removeKeyOwners(key);
        trackMappings_[*learningTrack_] = key;
        learningTrack_.reset();
        save();
        trackMappingsChanged();
        return;
    }
    for (const auto& [action, mapped] : mappings_)
        if (mapped == key) {
            if (actionHandler) actionHandler(action);
            return;
        }
    for (const auto& [id, mapped] : trackMappings_)
        if (mapped == key) {
            if (trackActionHandler) trackActionHandler(id);
            return;
        }
}

void MidiController::removeKeyOwners(const MidiKey& key) {
    std::erase_if(mappings_, [&](const auto& entry) { return entry.second == key; });
    std::erase_if(trackMappings_, [&](const auto& entry) { return entry.second == key; });
}

void MidiController::trackMappingsChanged() {
    if (onTrackMappingsChanged) onTrackMappingsChanged(trackMappings_);
    emit changed();
}

void MidiController::load() {
    auto bytes = preferences_.dataValue(mappingsKey);
    if (!bytes) return;
    try {
        auto stored = showfile::decodeMidiKeyMap(showfile::Json::parse(bytes->begin(), bytes->end()), {});
        for (auto& [name, key] : stored)
            if (auto action = midiActionNamed(name)) mappings_[*action] = key;
    } catch (const showfile::FormatError&) {
        mappings_.clear();
    } catch (const nlohmann::json::exception&) {
        mappings_.clear();
    }
}

void MidiController::save() {
    nlohmann::json blob = nlohmann::json::object();
    for (const auto& [action, key] : mappings_)
        blob[std::string(midiActionName(action))] = {
            {"kind", key.kind == MidiKey::Kind::note ? "note" : "cc"}, {"channel", key.channel}, {"number", key.number}};
    const std::string text = blob.dump();
    preferences_.setValue(mappingsKey, PreferenceBytes(text.begin(), text.end()));
}

} // namespace ostinel
