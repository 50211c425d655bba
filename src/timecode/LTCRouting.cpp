#include "timecode/LTCRouting.h"

#include "playback/PlaybackEngine.h"
#include "timecode/LTCOutputEngine.h"

namespace ostinel {

void applyLTCRouting(const LTCRouting& settings, LTCOutputEngine& ltc, PlaybackEngine& engine) {
    const int pair = engine.outputChannelOffset();
    if (!settings.enabled) {
        ltc.turnOff();
        engine.setMonoOutputChannel(std::nullopt);
        return;
    }
    if (settings.mode == LTCMode::splitMain) {
        // One channel of the music's pair carries the LTC, the other the music folded to mono.
        ltc.configure(engine.outputDeviceUID(), pair + (settings.splitLTCOnRight ? 1 : 0));
        ltc.setActive();
        engine.setMonoOutputChannel(pair + (settings.splitLTCOnRight ? 0 : 1));
        return;
    }
    const bool sameDevice =
        ltc.resolveDevice(settings.deviceUID) == ltc.resolveDevice(engine.outputDeviceUID());
    if (sameDevice && (settings.channel == pair || settings.channel == pair + 1)) {
        ltc.turnOff();
        engine.setMonoOutputChannel(std::nullopt);
        engine.setNotice(ltcOverlapNotice);
        return;
    }
    ltc.configure(settings.deviceUID, settings.channel);
    ltc.setActive();
    engine.setMonoOutputChannel(std::nullopt);
}

} // namespace ostinel
