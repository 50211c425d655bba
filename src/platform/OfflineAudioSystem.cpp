#include "platform/OfflineAudioSystem.h"

#include <algorithm>
#include <stdexcept>

#include "platform/AudioSystemBackends.h"

namespace ostinel {

using audioserver::sourceFor;

OfflineAudioSystem::OfflineAudioSystem(double sampleRate, int periodFrames)
    : OfflineAudioSystem(std::make_shared<Hardware>(Hardware{
                             {{{"offline", "Offline", 2}, std::nullopt}}, "offline", sampleRate, {}}),
                         periodFrames) {
    if (!(sampleRate > 0)) throw std::invalid_argument("offline audio needs a positive sample rate and period");
}

OfflineAudioSystem::OfflineAudioSystem(std::shared_ptr<Hardware> hardware, int periodFrames)
    : hardware_(std::move(hardware)), periodFrames_(periodFrames) {
    if (periodFrames <= 0 || periodFrames > maxRenderFrames)
        throw std::invalid_argument("offline audio needs a positive sample rate and period");
    currentUid_ = hardware_->defaultUid;
    if (const Entry* e = currentUid_ ? find(*currentUid_) : nullptr)
        map_ = audioserver::defaultChannelMap(e->device.channelCount);
    sources_.assign(maxSources, std::vector<float>(std::size_t(periodFrames_)));
    hardware_->systems.push_back(this);
}

OfflineAudioSystem::~OfflineAudioSystem() { std::erase(hardware_->systems, this); }

Expected<std::unique_ptr<AudioSystem>> OfflineAudioSystem::openCompanion(const std::string&, int sourceCount) {
    std::unique_ptr<OfflineAudioSystem> companion(new OfflineAudioSystem(hardware_, periodFrames_));
    companion->setSourceCount(sourceCount);
    return std::unique_ptr<AudioSystem>(std::move(companion));
}

const OfflineAudioSystem::Entry* OfflineAudioSystem::find(const std::string& uid) const {
    const auto& devices = hardware_->devices;
    auto it = std::find_if(devices.begin(), devices.end(), [&](const Entry& e) { return e.device.uid == uid; });
    return it == devices.end() ? nullptr : &*it;
}

// Every system on the hardware hears of it; a listener may open or close one.
void OfflineAudioSystem::notify() const {
    const auto systems = hardware_->systems;
    for (OfflineAudioSystem* system : systems)
        if (std::ranges::find(hardware_->systems, system) != hardware_->systems.end() && system->listener_)
            system->listener_();
}

std::vector<std::vector<float>> OfflineAudioSystem::render(int frames) {
    std::vector<std::vector<float>> out;
    render(frames, out);
    return out;
}

void OfflineAudioSystem::render(int frames, std::vector<std::vector<float>>& out) {
    const Entry* current = currentUid_ ? find(*currentUid_) : nullptr;
    const int channels = current ? current->device.channelCount : 0;
    out.resize(std::size_t(channels));
    for (auto& channel : out) channel.assign(std::size_t(std::max(frames, 0)), 0.0f);
    if (!running_) return;
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
}

void OfflineAudioSystem::addDevice(const AudioDevice& device, std::optional<double> sampleRate) {
    auto& devices = hardware_->devices;
    auto it = std::find_if(devices.begin(), devices.end(), [&](const Entry& e) { return e.device.uid == device.uid; });
    if (it != devices.end())
        *it = {device, sampleRate};
    else
        devices.push_back({device, sampleRate});
    notify();
}

void OfflineAudioSystem::removeDevice(const std::string& uid) {
    if (const Entry* e = find(uid)) {
        for (OfflineAudioSystem* system : hardware_->systems)
            if (uid == system->currentUid_) system->lastRate_ = e->sampleRate.value_or(hardware_->sampleRate);
    }
    const auto removed = std::erase_if(hardware_->devices, [&](const Entry& e) { return e.device.uid == uid; });
    if (removed == 0) return;
    if (hardware_->defaultUid == uid) hardware_->defaultUid.reset();
    notify();
}

void OfflineAudioSystem::setDefaultDevice(std::optional<std::string> uid) {
    if (uid && !find(*uid)) uid.reset();
    if (uid == hardware_->defaultUid) return;
    hardware_->defaultUid = std::move(uid);
    notify();
}

void OfflineAudioSystem::setSampleRate(double rate) {
    if (!(rate > 0)) throw std::invalid_argument("offline audio needs a positive sample rate");
    hardware_->sampleRate = rate;
}

void OfflineAudioSystem::setPeriodFrames(int frames) {
    if (frames <= 0 || frames > maxRenderFrames) throw std::invalid_argument("offline audio needs a positive period");
    periodFrames_ = frames;
    for (auto& s : sources_) s.assign(std::size_t(frames), 0.0f);
}

std::vector<AudioDevice> OfflineAudioSystem::outputDevices() {
    std::vector<AudioDevice> all;
    for (const auto& e : hardware_->devices) all.push_back(e.device);
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
    return e ? e->sampleRate.value_or(hardware_->sampleRate) : lastRate_.value_or(hardware_->sampleRate);
}

} // namespace ostinel
