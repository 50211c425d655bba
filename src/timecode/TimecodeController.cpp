#include "timecode/TimecodeController.h"

#include <algorithm>
#include <cmath>

#include "platform/MainLoop.h"
#include "platform/MidiSystem.h"
#include "platform/Preferences.h"
#include "playback/PlaybackEngine.h"
#include "timecode/LTCLog.h"
#include "timecode/LTCOutputEngine.h"
#include "timecode/MTCSender.h"
#include "timecode/TimecodeClock.h"

namespace ostinel {

namespace {
constexpr const char* rateKey = "timecodeRate";
constexpr const char* enabledKey = "timecodeEnabled";
constexpr const char* virtualKey = "timecodeVirtualEnabled";
constexpr const char* ltcEnabledKey = "ltcEnabled";
constexpr const char* ltcModeKey = "ltcMode";
constexpr const char* ltcSplitKey = "ltcSplitRight";
constexpr const char* ltcDeviceKey = "ltcDeviceUID";
constexpr const char* ltcChannelKey = "ltcChannel";
constexpr const char* ltcLevelKey = "ltcLevelDb";
} // namespace

struct TimecodeController::Owned {
    MonotonicClock clock;
    std::unique_ptr<MTCSender> sender;
    std::unique_ptr<LTCOutputEngine> ltc;
};

std::unique_ptr<TimecodeController> TimecodeController::live(MainLoop& loop, Preferences& preferences,
                                                             MidiSystem& midi, AudioSystem& audio) {
    auto owned = std::make_unique<Owned>();
    owned->ltc = std::make_unique<LTCOutputEngine>(audio, loop, owned->clock, ltcLog());
    owned->sender = std::make_unique<MTCSender>(midi);
    auto& sender = *owned->sender;
    auto& ltc = *owned->ltc;
    return std::unique_ptr<TimecodeController>(
        new TimecodeController(std::move(owned), loop, preferences, midi, sender, ltc));
}

TimecodeController::TimecodeController(MainLoop& loop, Preferences& preferences, MidiSystem& midi,
                                       MTCSender& sender, LTCOutputEngine& ltc)
    : TimecodeController(nullptr, loop, preferences, midi, sender, ltc) {}

TimecodeController::TimecodeController(std::unique_ptr<Owned> owned, MainLoop& loop, Preferences& preferences,
                                       MidiSystem& midi, MTCSender& sender, LTCOutputEngine& ltc)
    : owned_(std::move(owned)), preferences_(preferences), midi_(midi), sender_(sender),
      ltcOutput_(ltc), selection_(preferences, {"timecodeDestinations", "timecodeKnownDestinations", ""}),
      self_(std::make_shared<TimecodeController*>(this)) {
    rate_ = timecode::rateFromRaw(preferences.stringValue(rateKey).value_or("")).value_or(TimecodeRate::fps25);
    enabled_ = preferences.boolValue(enabledKey).value_or(true);
    virtualPortEnabled_ = preferences.boolValue(virtualKey).value_or(true);
    ltc_.enabled = preferences.boolValue(ltcEnabledKey).value_or(false);
    ltc_.mode = timecode::ltcModeFromRaw(preferences.stringValue(ltcModeKey).value_or(""));
    ltc_.splitLTCOnRight = preferences.boolValue(ltcSplitKey).value_or(true);
    ltc_.deviceUID = preferences.stringValue(ltcDeviceKey);
    ltc_.channel = int(std::clamp<std::int64_t>(preferences.intValue(ltcChannelKey).value_or(0), 0, 1023));
    ltcLevelDb_ = std::clamp(preferences.doubleValue(ltcLevelKey).value_or(-18.0), LTCOutputEngine::minLevelDb,
                             LTCOutputEngine::maxLevelDb);

    sender_.setRate(rate_);
    sender_.setEnabled(enabled_);
    sender_.setVirtualPortEnabled(virtualPortEnabled_);
    ltcOutput_.setRate(rate_);
    ltcOutput_.setLevelDb(ltcLevelDb_);
    refreshDestinations();

    refreshOnDestinationChanges(midi, loop, std::weak_ptr<TimecodeController*>(self_));
}

TimecodeController::~TimecodeController() {
    if (engine_) {
        engine_->onTimecodeLocate = nullptr;
        engine_->onTimecodeTick = nullptr;
        engine_->onTimecodeStop = nullptr;
    }
}

void TimecodeController::attach(PlaybackEngine& engine) {
    engine_ = &engine;
    engine.onTimecodeLocate = [this](double position) {
        sender_.locate(std::max(position, 0.0));
        ltcOutput_.locate(position);
    };
    engine.onTimecodeTick = [this](double position, double cap) {
        sender_.update(std::max(position, 0.0), cap);
        ltcOutput_.tick(std::max(position, 0.0), cap);
    };
    engine.onTimecodeStop = [this] {
        sender_.stop();
        ltcOutput_.stop();
    };
    auto reroute = [this] {
        if (engine_) applyLTCRouting(ltc_, ltcOutput_, *engine_);
    };
    connect(&engine, &PlaybackEngine::outputDeviceUIDChanged, this, reroute);
    connect(&engine, &PlaybackEngine::outputChannelOffsetChanged, this, reroute);
    reroute();
}

void TimecodeController::persistRate() {
    preferences_.setValue(rateKey, std::string(timecode::rawValue(rate_)));
    preferences_.setValue(enabledKey, enabled_);
}

void TimecodeController::setRate(TimecodeRate rate) {
    if (rate == rate_) return;
    rate_ = rate;
    persistRate();
    sender_.setRate(rate);
    ltcOutput_.setRate(rate);
    emit rateChanged();
}

void TimecodeController::setEnabled(bool enabled) {
    if (enabled == enabled_) return;
    enabled_ = enabled;
    persistRate();
    sender_.setEnabled(enabled);
    emit enabledChanged();
}

void TimecodeController::setVirtualPortEnabled(bool enabled) {
    if (enabled == virtualPortEnabled_) return;
    virtualPortEnabled_ = enabled;
    preferences_.setValue(virtualKey, enabled);
    sender_.setVirtualPortEnabled(enabled);
    emit virtualPortEnabledChanged();
}

void TimecodeController::resolve() { sender_.setDestinations(selection_.resolved()); }

void TimecodeController::toggleDestination(const std::string& name) {
    selection_.toggle(name);
    resolve();
    emit selectedDestinationNamesChanged();
}

void TimecodeController::refreshDestinations() {
    const bool selectionChanged = selection_.refresh(midi_.destinations());
    resolve();
    if (selectionChanged) emit selectedDestinationNamesChanged();
    emit destinationsChanged();
}

void TimecodeController::ltcSettingChanged() {
    preferences_.setValue(ltcEnabledKey, ltc_.enabled);
    preferences_.setValue(ltcModeKey, std::string(timecode::rawValue(ltc_.mode)));
    preferences_.setValue(ltcSplitKey, ltc_.splitLTCOnRight);
    if (ltc_.deviceUID)
        preferences_.setValue(ltcDeviceKey, *ltc_.deviceUID);
    else
        preferences_.remove(ltcDeviceKey);
    preferences_.setValue(ltcChannelKey, std::int64_t(ltc_.channel));
    if (engine_) applyLTCRouting(ltc_, ltcOutput_, *engine_);
    emit ltcChanged();
}

void TimecodeController::setLtcEnabled(bool enabled) {
    if (enabled == ltc_.enabled) return;
    ltc_.enabled = enabled;
    ltcSettingChanged();
}

void TimecodeController::setLtcMode(LTCMode mode) {
    if (mode == ltc_.mode) return;
    ltc_.mode = mode;
    ltcSettingChanged();
}

void TimecodeController::setLtcSplitLTCOnRight(bool right) {
    if (right == ltc_.splitLTCOnRight) return;
    ltc_.splitLTCOnRight = right;
    ltcSettingChanged();
}

void TimecodeController::setLtcDeviceUID(std::optional<std::string> uid) {
    if (uid == ltc_.deviceUID) return;
    ltc_.deviceUID = std::move(uid);
    ltcSettingChanged();
}

void TimecodeController::setLtcChannel(int channel) {
    channel = std::max(channel, 0);
    if (channel == ltc_.channel) return;
    ltc_.channel = channel;
    ltcSettingChanged();
}

void TimecodeController::setLtcLevelDb(double db) {
    if (std::isnan(db)) return;
    db = std::clamp(db, LTCOutputEngine::minLevelDb, LTCOutputEngine::maxLevelDb);
    if (db == ltcLevelDb_) return;
    ltcLevelDb_ = db;
    preferences_.setValue(ltcLevelKey, db);
    ltcOutput_.setLevelDb(db);
    emit ltcChanged();
}

void TimecodeController::setShowLargeTimecode(bool show) {
    if (show == showLargeTimecode_) return;
    showLargeTimecode_ = show;
    emit largeTimecodeChanged();
}

void TimecodeController::setLargeTimecodeBelow(bool below) {
    if (below == largeTimecodeBelow_) return;
    largeTimecodeBelow_ = below;
    emit largeTimecodeChanged();
}

} // namespace ostinel
