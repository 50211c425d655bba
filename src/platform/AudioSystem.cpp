#include "platform/AudioSystem.h"

#include <sched.h>

#include <algorithm>
#include <cstdlib>

#include "platform/AudioSystemBackends.h"
#include "platform/OfflineAudioSystem.h"

namespace ostinel {

Expected<std::unique_ptr<AudioSystem>> AudioSystem::create() {
    const char* forced = std::getenv("OSTINEL_AUDIO_BACKEND");
    const std::string choice = forced ? forced : "";
    if (choice == "jack") return audioserver::openJack();
    if (choice == "alsa") return audioserver::openAlsa();
    if (choice == "offline") return std::unique_ptr<AudioSystem>(std::make_unique<OfflineAudioSystem>());
    if (!choice.empty())
        return Error{"OSTINEL_AUDIO_BACKEND is \"" + choice + "\"; it must be jack, alsa or offline."};

    auto jack = audioserver::openJack();
    if (jack) return jack;
    auto alsa = audioserver::openAlsa();
    if (alsa) return alsa;
    auto offline = std::make_unique<OfflineAudioSystem>();
    offline->setFallbackReason("No audio output could be opened, so playback is silent. " + jack.error().message +
                               " " + alsa.error().message);
    return std::unique_ptr<AudioSystem>(std::move(offline));
}

namespace audioserver {

void RenderGate::setRenderer(AudioSystem::RenderFn fn, void* context) {
    const bool wasOpen = isOpen();
    close();
    fn_ = fn;
    context_ = context;
    if (wasOpen) open();
}

void RenderGate::open() { open_.store(true, std::memory_order_seq_cst); }

void RenderGate::close() {
    // Pairs with render(): either it sees the gate closed, or we see it busy
    // and wait out the one call, at most a period.
    open_.store(false, std::memory_order_seq_cst);
    while (busy_.load(std::memory_order_seq_cst)) sched_yield();
}

bool RenderGate::render(float* const* sources, int sourceCount, int frames) noexcept {
    busy_.store(true, std::memory_order_seq_cst);
    const bool call = open_.load(std::memory_order_seq_cst) && fn_;
    for (int done = 0; call && done < frames; done += AudioSystem::maxRenderFrames) {
        float* part[AudioSystem::maxSources] = {};
        for (int s = 0; s < sourceCount; ++s) part[s] = sources[s] + done;
        fn_(context_, part, sourceCount, std::min(frames - done, AudioSystem::maxRenderFrames));
    }
    busy_.store(false, std::memory_order_seq_cst);
    return call;
}

void ListenerSlot::set(std::function<void()> listener) {
    auto next = listener ? std::make_shared<const std::function<void()>>(std::move(listener)) : nullptr;
    std::lock_guard lock(mutex_);
    listener_ = std::move(next);
}

void ListenerSlot::notify() const {
    std::shared_ptr<const std::function<void()>> listener;
    {
        std::lock_guard lock(mutex_);
        listener = listener_;
    }
    if (listener) (*listener)();
}

std::optional<Error> checkChannelMap(const std::vector<int>& map, int deviceChannels) {
    for (std::size_t i = 0; i < map.size(); ++i) {
        const int s = map[i];
        if (s == -1) continue;
        if (s < 0 || s >= AudioSystem::maxSources)
            return Error{"Channel map entry " + std::to_string(i + 1) + " names source " + std::to_string(s) +
                         "; there are sources 0 and 1, and -1 for silence."};
        if (int(i) >= deviceChannels)
            return Error{"Channel map routes to channel " + std::to_string(i + 1) + ", but the device has " +
                         std::to_string(deviceChannels) + "."};
    }
    return std::nullopt;
}

std::vector<int> defaultChannelMap(int deviceChannels) {
    std::vector<int> map(std::size_t(std::max(deviceChannels, 0)), -1);
    for (int i = 0; i < deviceChannels && i < AudioSystem::maxSources; ++i) map[std::size_t(i)] = i;
    return map;
}

} // namespace audioserver

} // namespace ostinel
