#pragma once

#include <QObject>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "timecode/LTCRouting.h"
#include "timecode/MidiDestinationSelection.h"
#include "timecode/TimecodeRate.h"

namespace ostinel {

class AudioSystem;
class LTCOutputEngine;
class MTCSender;
class MainLoop;
class MidiSystem;
class PlaybackEngine;
class Preferences;

// The timecode settings of the machine, and the two outputs they drive: MTC
// and LTC, fed together from the transport. Everything is kept in the
// preferences as it changes. Main thread.
class TimecodeController : public QObject {
    Q_OBJECT
public:
    // The outputs of a live show: the wall clock, a quarter-frame thread, and
    // LTC on a companion of `audio`.
    static std::unique_ptr<TimecodeController> live(MainLoop& loop, Preferences& preferences, MidiSystem& midi,
                                                    AudioSystem& audio);
    // On given outputs, which outlive the controller (renders and tests).
    TimecodeController(MainLoop& loop, Preferences& preferences, MidiSystem& midi, MTCSender& sender,
                       LTCOutputEngine& ltc);
    ~TimecodeController() override;

    // Feeds both outputs from the transport's timecode callbacks, and keeps
    // the LTC routing in step with the music's output; routes once at once.
    void attach(PlaybackEngine& engine);

    TimecodeRate rate() const { return rate_; }
    void setRate(TimecodeRate rate);
    bool enabled() const { return enabled_; }
    void setEnabled(bool enabled);
    bool virtualPortEnabled() const { return virtualPortEnabled_; }
    void setVirtualPortEnabled(bool enabled);

    const std::vector<MidiDestination>& destinations() const { return selection_.destinations(); }
    const std::set<std::string>& selectedDestinationNames() const { return selection_.selectedNames(); }
    bool isDestinationSelected(const std::string& name) const { return selection_.isSelected(name); }
    void toggleDestination(const std::string& name);
    void refreshDestinations();

    bool ltcEnabled() const { return ltc_.enabled; }
    void setLtcEnabled(bool enabled);
    LTCMode ltcMode() const { return ltc_.mode; }
    void setLtcMode(LTCMode mode);
    bool ltcSplitLTCOnRight() const { return ltc_.splitLTCOnRight; }
    void setLtcSplitLTCOnRight(bool right);
    const std::optional<std::string>& ltcDeviceUID() const { return ltc_.deviceUID; }
    void setLtcDeviceUID(std::optional<std::string> uid);
    int ltcChannel() const { return ltc_.channel; }
    void setLtcChannel(int channel);
    double ltcLevelDb() const { return ltcLevelDb_; }
    // Outside -40...0 it is clamped.
    void setLtcLevelDb(double db);
    const LTCRouting& ltcRouting() const { return ltc_; }

    // View flags, kept with the window rather than the preferences.
    bool showLargeTimecode() const { return showLargeTimecode_; }
    void setShowLargeTimecode(bool show);
    bool largeTimecodeBelow() const { return largeTimecodeBelow_; }
    void setLargeTimecodeBelow(bool below);

signals:
    void rateChanged();
    void enabledChanged();
    void virtualPortEnabledChanged();
    void destinationsChanged();
    void selectedDestinationNamesChanged();
    void ltcChanged();
    void largeTimecodeChanged();

private:
    struct Owned;
    TimecodeController(std::unique_ptr<Owned> owned, MainLoop& loop, Preferences& preferences, MidiSystem& midi,
                       MTCSender& sender, LTCOutputEngine& ltc);
    void persistRate();
    void ltcSettingChanged();
    void resolve();

    std::unique_ptr<Owned> owned_;
    Preferences& preferences_;
    MidiSystem& midi_;
    MTCSender& sender_;
    LTCOutputEngine& ltcOutput_;
    PlaybackEngine* engine_ = nullptr;
    MidiDestinationSelection selection_;

    TimecodeRate rate_ = TimecodeRate::fps25;
    bool enabled_ = true;
    bool virtualPortEnabled_ = true;
    LTCRouting ltc_;
    double ltcLevelDb_ = -18.0;
    bool showLargeTimecode_ = false;
    bool largeTimecodeBelow_ = false;
    std::shared_ptr<TimecodeController*> self_;
};

} // namespace ostinel
