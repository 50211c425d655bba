#include "control/MidiOutputController.h"

#include <algorithm>

#include "platform/Preferences.h"

namespace ostinel {

namespace {

constexpr const char* enabledKey = "midiTriggersEnabled";
constexpr const char* virtualKey = "midiTriggersVirtualEnabled";

std::uint8_t clamped(std::int64_t value, std::int64_t low, std::int64_t high) {
    return std::uint8_t(std::clamp(value, low, high));
}

} // namespace

MidiOutputController::MidiOutputController(MidiSystem& midi, MainLoop& loop, Preferences& preferences,
                                           QObject* parent)
    : QObject(parent), midi_(midi), loop_(loop), preferences_(preferences),
      selection_(preferences,
                 {"midiTriggersDestinations", "midiTriggersKnownDestinations", "midiTriggersDestination"}),
      self_(std::make_shared<MidiOutputController*>(this)) {
    enabled_ = preferences.boolValue(enabledKey).value_or(true);
    virtualPortEnabled_ = preferences.boolValue(virtualKey).value_or(true);
    virtualSource_ = midi.createOutput("Ostinel Triggers");
    outputPort_ = midi.createOutput("Ostinel Triggers Out");
    selection_.refresh(midi.destinations());
    resolve();

    refreshOnDestinationChanges(midi, loop, std::weak_ptr<MidiOutputController*>(self_));
}

MidiOutputController::~MidiOutputController() {
    // A hanging note is worse than a short one.
    for (auto& [key, pending] : pendingNoteOffs_) {
        loop_.cancel(pending.first);
        transmit(pending.second);
    }
}

void MidiOutputController::setEnabled(bool enabled) {
    if (enabled == enabled_) return;
    enabled_ = enabled;
    preferences_.setValue(enabledKey, enabled);
    emit enabledChanged();
}

void MidiOutputController::setVirtualPortEnabled(bool enabled) {
    if (enabled == virtualPortEnabled_) return;
    virtualPortEnabled_ = enabled;
    preferences_.setValue(virtualKey, enabled);
    emit virtualPortEnabledChanged();
}

void MidiOutputController::toggleDestination(const std::string& name) {
    selection_.toggle(name);
    resolve();
    emit selectedDestinationNamesChanged();
}

void MidiOutputController::refreshDestinations() {
    const bool selectionChanged = selection_.refresh(midi_.destinations());
    resolve();
    if (selectionChanged) emit selectedDestinationNamesChanged();
    emit destinationsChanged();
}

void MidiOutputController::send(const MidiTrigger& trigger) {
    if (!enabled_) return;
    const std::uint8_t channel = clamped(trigger.channel, 1, 16) - 1;
    const std::uint8_t number = clamped(trigger.number, 0, 127);
    const std::uint8_t value = clamped(trigger.value, 0, 127);
    if (trigger.type == MidiTriggerType::cc) {
        transmit({std::uint8_t(0xB0 | channel), number, value});
        return;
    }
    transmit({std::uint8_t(0x90 | channel), number, value});
    // Each Note On has its own Note Off, overlapping ones included, and it
    // goes out whatever `enabled` has become meanwhile.
    const std::uint64_t key = nextNoteOff_++;
    const Message noteOff{std::uint8_t(0x80 | channel), number, 0};
    const double seconds = std::max(trigger.durationSeconds, minimumNoteSeconds);
    const MainLoop::TimerId timer = loop_.after(seconds, [this, key] {
        auto it = pendingNoteOffs_.find(key);
        if (it == pendingNoteOffs_.end()) return;
        const Message message = it->second.second;
        pendingNoteOffs_.erase(it);
        transmit(message);
    });
    pendingNoteOffs_[key] = {timer, noteOff};
}

// Through the routes as they are at this moment.
void MidiOutputController::transmit(const Message& message) {
    if (virtualPortEnabled_ && virtualSource_) virtualSource_->send(message.data(), message.size());
    if (hasDestinations_ && outputPort_) outputPort_->send(message.data(), message.size());
}

void MidiOutputController::resolve() {
    const auto endpoints = selection_.resolved();
    hasDestinations_ = !endpoints.empty();
    if (outputPort_) outputPort_->setDestinations(endpoints);
}

} // namespace ostinel
