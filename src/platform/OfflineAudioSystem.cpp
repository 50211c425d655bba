#include "platform/OfflineAudioSystem.h"

#include <algorithm>
#include <stdexcept>

#include "platform/AudioSystemBackends.h"

namespace ostinel {

using audioserver::sourceFor;

OfflineAudioSystem::OfflineAudioSystem(double sampleRate, int periodFrames)
    : sampleRate_(sampleRate), periodFrames_(periodFrames) {
    if (!(sampleRate > 0) || periodFrames <= 0 || periodFrames > maxRenderFrames)
        throw std::invalid_argument("offline audio needs a positive sample rate and period");
    devices_.push_back({{"offline", "Offline", 2}, std::nullopt});
    defaultUid_ = "offline";
    currentUid_ = "offline";
    map_ = audioserver::defaultChannelMap(2);
    sources_.assign(maxSources, std::vector<float>(std::size_t(periodFrames_)));
}

const OfflineAudioSystem::Entry* OfflineAudioSystem::find(const std::string& uid) const {
    auto it = std::find_if(devices_.begin(), devices_.end(), [&](const Entry& e) { return e.device.uid == uid; });
    return it == devices_.end() ? nullptr : &*it;
}

void OfflineAudioSystem::notify() const {
    if (listener_) listener_();
}

std::vector<std::vector<float>> OfflineAudioSystem::render(int frames) {
    const Entry* current = currentUid_ ? find(*currentUid_) : nullptr;
    const int channels = current ? current->device.channelCount : 0;
    std::vector<std::vector<float>> out(std::size_t(channels), std::vector<float>(std::size_t(std::max(frames, 0))));
    if (!running_) return out;
    float* sources[maxSources] = {sources_[0].data(), sources_[1].data()};
    for (int done = 0; done < frames;) {
        const int n = std::min(periodFrames_, frames - done);
        for (auto& s : sources_) std::fill_n(s.begin(), n, 0.0f);
        if (fn_) fn_(context_, sources, sourceCount_, n);
        for (int c = 0; c < channels; ++c) {
            const int s = sourceFor(map_, c, sourceCount_);
            if (s >= 0) std::copy_n(sources_[std::size_t(s)].begin(), n, out[std::size_t(c)].begin() + done);
        }
        done += n;
    }
    return out;
}

void OfflineAudioSystem::addDevice(const AudioDevice& device, std::optional<double> sampleRate) {
    auto it = std::find_if(devices_.begin(), devices_.end(), [&](const Entry& e) { return e.device.uid == device.uid; });
    if (it != devices_.end())
        *it = {device, sampleRate};
    else
        devices_.push_back({device, sampleRate});
    notify();
}

void OfflineAudioSystem::removeDevice(const std::string& uid) {
    if (const Entry* e = find(uid); e && uid == currentUid_) lastRate_ = e->sampleRate.value_or(sampleRate_);
    const auto removed = std::erase_if(devices_, [&](const Entry& e) { return e.device.uid == uid; });
    if (removed == 0) return;
    if (defaultUid_ == uid) defaultUid_.reset();
    notify();
}

void OfflineAudioSystem::setDefaultDevice(std::optional<std::string> uid) {
    if (uid && !find(*uid)) uid.reset();
    if (uid == defaultUid_) return;
    defaultUid_ = std::move(uid);
    notify();
}

void OfflineAudioSystem::setSampleRate(double rate) {
    if (!(rate > 0)) throw std::invalid_argument("offline audio needs a positive sample rate");
    sampleRate_ = rate;
}

void OfflineAudioSystem::setPeriodFrames(int frames) {
    if (frames <= 0 || frames > maxRenderFrames) throw std::invalid_argument("offline audio needs a positive period");
    periodFrames_ = frames;
    for (auto& s : sources_) s.assign(std::size_t(frames), 0.0f);
}

std::vector<AudioDevice> OfflineAudioSystem::outputDevices() {
    std::vector<AudioDevice> all;
    for (const auto& e : devices_) all.push_back(e.device);
    return all;
}

void OfflineAudioSystem::setRenderer(RenderFn fn, void* context) {
    fn_ = fn;
    context_ = context;
}

void OfflineAudioSystem::setSourceCount(int count) { sourceCount_ = std::clamp(count, 1, int(maxSources)); }

std::optional<Error> OfflineAudioSystem::start() {
    running_ = true;
    return std::nullopt;
}

std::optional<Error> OfflineAudioSystem::setDevice(const std::string& uid) {
    const Entry* e = find(uid);
    if (!e) return Error{"There is no audio output device \"" + uid + "\"."};
    currentUid_ = uid;
    map_ = audioserver::defaultChannelMap(e->device.channelCount);
    return std::nullopt;
}

std::optional<Error> OfflineAudioSystem::setChannelMap(const std::vector<int>& map) {
    const Entry* e = currentUid_ ? find(*currentUid_) : nullptr;
    if (!e) return Error{"The audio output device is not connected."};
    if (auto error = audioserver::checkChannelMap(map, e->device.channelCount)) return error;
    map_ = map;
    return std::nullopt;
}

double OfflineAudioSystem::sampleRate() const {
    const Entry* e = currentUid_ ? find(*currentUid_) : nullptr;
    return e ? e->sampleRate.value_or(sampleRate_) : lastRate_.value_or(sampleRate_);
}

} // namespace ostinel
