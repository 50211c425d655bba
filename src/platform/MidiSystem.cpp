#include "platform/MidiSystem.h"

#include <cstdlib>

#include "platform/AudioSystem.h"
#include "platform/LoopbackMidiSystem.h"
#include "platform/MidiSystemBackends.h"

namespace ostinel {

Expected<std::unique_ptr<MidiSystem>> MidiSystem::create(AudioSystem& audio) {
    const char* forced = std::getenv("OSTINEL_MIDI_BACKEND");
    const std::string choice = forced ? forced : "";
    if (choice == "jack") return midiserver::openJackMidi(audio);
    if (choice == "alsa") return midiserver::openAlsaMidi();
    if (choice == "loopback") return std::unique_ptr<MidiSystem>(std::make_unique<LoopbackMidiSystem>());
    if (!choice.empty())
        return Error{"OSTINEL_MIDI_BACKEND is \"" + choice + "\"; it must be jack, alsa or loopback."};

    std::string reasons;
    if (audio.backendName() == "jack") {
        auto jack = midiserver::openJackMidi(audio);
        if (jack) return jack;
        reasons += jack.error().message + " ";
    }
    auto alsa = midiserver::openAlsaMidi();
    if (alsa) return alsa;
    reasons += alsa.error().message;
    auto loopback = std::make_unique<LoopbackMidiSystem>();
    loopback->setFallbackReason("No MIDI system could be opened, so MIDI goes nowhere. " + reasons);
    return std::unique_ptr<MidiSystem>(std::move(loopback));
}

void MidiSystem::addDestinationListener(std::function<void()> listener) {
    bool first = false;
    {
        std::lock_guard lock(listenersMutex_);
        first = listeners_.empty();
        listeners_.push_back(std::move(listener));
    }
    if (first) setDestinationListener([this] { notifyDestinationListeners(); });
}

void MidiSystem::notifyDestinationListeners() const {
    std::vector<std::function<void()>> listeners;
    {
        std::lock_guard lock(listenersMutex_);
        listeners = listeners_;
    }
    for (auto& listener : listeners) listener();
}

} // namespace ostinel
