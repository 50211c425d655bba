#pragma once

#include <QObject>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/CowList.h"
#include "base/FileUrl.h"
#include "document/Track.h"
#include "platform/AudioSystem.h"
#include "platform/MainLoop.h"
#include "playback/OutputChain.h"
#include "playback/Player.h"
#include "playback/SegmentScheduler.h"

namespace ostinel {

class Preferences;

// The one transport: one track loaded at a time, played through the player,
// the segment scheduler and the output chain into the audio system, and a
// 1/30 s tick on the main loop that reads back what was heard (position,
// triggers, timecode, levels, the end). Main thread only; the audio system
// calls the chain on its own real-time thread.
class PlaybackEngine : public QObject {
    Q_OBJECT
public:
    static constexpr double ticksPerSecond = 30.0;
    static constexpr double tickSeconds = 1.0 / ticksPerSecond;
    static constexpr double maxStopFadeSeconds = 10.0;
    // Preferences key of the output pair when following the system default.
    static constexpr const char* systemDefaultKey = "__systemDefault__";

    // The playback-relevant fields of the selected track, watched as one
    // value so that an edit updates the engine without reloading the file.
    struct Bounds {
        double start = 0.0;
        double end = 0.0;
        double fadeIn = 0.0;
        double fadeOut = 0.0;
        double volume = 1.0;
        CowList<Loop> loops;
        bool loopCue = false;
        double timecodeStart = 0.0;
        double timecodePreRoll = 0.0;
        bool automationEnabled = false;
        CowList<AutomationPoint> automation;
        bool midiTriggersEnabled = true;
        CowList<MidiTrigger> midiTriggers;
        bool preRollMidiTriggerEnabled = false;
        MidiTrigger preRollMidiTrigger;
        bool oscTriggersEnabled = true;
        CowList<OSCTrigger> oscTriggers;
        bool preRollOSCTriggerEnabled = false;
        OSCTrigger preRollOSCTrigger;

        static Bounds of(const Track& track);
        friend bool operator==(const Bounds&, const Bounds&) = default;
    };

    PlaybackEngine(MainLoop& mainLoop, Preferences& preferences, AudioSystem& audio, QObject* parent = nullptr);
    ~PlaybackEngine() override;

    // --- Transport -----------------------------------------------------------
    void load(const Track& track);
    void setBounds(double start, double end);
    void applyBounds(const Bounds& bounds);
    void setLoops(const CowList<Loop>& loops, bool loopCue);
    void setAutomation(bool enabled, const CowList<AutomationPoint>& points);

    void play();
    void pause();
    void stop();
    void stopHere();
    void stopAtPlayStart();
    void seek(double time);
    void fadeOutAndStop(double duration, std::function<void()> then = {});
    void requestLoopExit();
    void clearLoopState();

    // The position to show at `date` (main-loop seconds): extrapolated from
    // the last tick while playing, capped so it never runs past a loop's end.
    double displayTime(double date) const;
    // The highest timecode position the senders may free-run to until the
    // next tick.
    double timecodeCap() const;

    // --- Levels ----------------------------------------------------------------
    float envelopeVolume(double t) const;
    void updateDuck();
    double stopFadeSeconds() const { return stopFadeSeconds_; }
    void setStopFadeSeconds(double seconds);

    // --- Output routing ----------------------------------------------------------
    const std::optional<std::string>& outputDeviceUID() const { return outputDeviceUID_; }
    void setOutputDeviceUID(std::optional<std::string> uid);
    int outputChannelOffset() const { return outputChannelOffset_; }
    void setOutputChannelOffset(int offset);
    const std::optional<int>& monoOutputChannel() const { return monoOutputChannel_; }
    void setMonoOutputChannel(std::optional<int> channel);
    bool limiterEnabled() const { return limiterEnabled_; }
    void setLimiterEnabled(bool enabled);
    const std::optional<std::string>& preferredOutputDeviceUID() const { return preferredOutputDeviceUID_; }
    const std::optional<std::string>& preferredOutputDeviceName() const { return preferredOutputDeviceName_; }
    void applyOutputDevice();
    void returnToPreferredOutputDeviceIfConnected();
    void handleDeviceChange();
    void updateMeter();
    float meterLevelL() const { return meterLevelL_; }
    float meterLevelR() const { return meterLevelR_; }
    float limiterReductionDb() const { return limiterReductionDb_; }
    // The uid of the device last routed to.
    const std::optional<std::string>& appliedDeviceUID() const { return appliedDeviceUID_; }

    // --- Observable state ----------------------------------------------------------
    bool isPlaying() const { return isPlaying_; }
    std::int64_t positionEpoch() const { return positionEpoch_; }
    double duration() const { return duration_; }
    const std::optional<FileUrl>& currentURL() const { return currentURL_; }
    const std::optional<std::string>& notice() const { return notice_; }
    void setNotice(std::optional<std::string> text);
    const std::optional<Uuid>& activeLoopID() const { return activeLoopID_; }
    bool loopExiting() const { return loopExiting_; }
    bool cueLoopExiting() const { return cueLoopExiting_; }

    // --- Plain state ---------------------------------------------------------------
    double currentTime() const { return currentTime_; }
    double tickTime() const { return tickTime_; }
    double tickDate() const { return tickDate_; }
    bool hasFile() const { return hasFile_; }
    double startTime() const { return startTime_; }
    double endTime() const { return endTime_; }
    double playStartPosition() const { return playStartPosition_; }
    bool autoPlayOnNextLoad() const { return autoPlayOnNextLoad_; }
    void setAutoPlayOnNextLoad(bool on) { autoPlayOnNextLoad_ = on; }
    bool inPreRoll() const { return inPreRoll_; }
    double preRollDuration() const { return preRollDuration_; }
    // Main-loop seconds at which the pre-roll began.
    double preRollStart() const { return preRollStart_; }
    double emittedTimecodeSeconds() const { return emittedTimecodeSeconds_; }
    double timecodeStartSeconds() const { return timecodeStartSeconds_; }
    float trackVolume() const { return trackVolume_; }
    double duckDb() const { return duckDb_; }
    bool isEscFading() const { return isEscFading_; }
    // What the player node is set to: the level the tick last wrote.
    float playerVolume() const { return player_.volume(); }
    bool isTicking() const { return timer_.has_value(); }

    // --- Callbacks, set once at start-up; called on the main thread -----------------
    std::function<void()> onReachedEnd;
    std::function<void(const MidiTrigger&)> onMidiTrigger;
    std::function<void(const OSCTrigger&)> onOSCTrigger;
    std::function<void(double)> onTimecodeLocate;
    std::function<void(double position, double cap)> onTimecodeTick;
    std::function<void()> onTimecodeStop;

signals:
    void isPlayingChanged();
    void positionEpochChanged();
    void durationChanged();
    void currentURLChanged();
    void noticeChanged();
    void activeLoopIDChanged();
    void loopExitingChanged();
    void cueLoopExitingChanged();
    void stopFadeSecondsChanged();
    void outputDeviceUIDChanged();
    void outputChannelOffsetChanged();
    void monoOutputChannelChanged();
    void preferredOutputDeviceUIDChanged();
    void preferredOutputDeviceNameChanged();
    void limiterEnabledChanged();

private:
    using Signal = void (PlaybackEngine::*)();
    template <class T>
    void assign(T& field, T value, Signal changed) {
        if (field == value) return;
        field = std::move(value);
        (this->*changed)();
    }
    void setIsPlaying(bool playing);
    void bumpPositionEpoch();

    void tick();
    void startTimer();
    void stopTimer();
    void reachEnd();
    // What every stop shares; `rewindTo` is the position afterwards, if any.
    void stopWith(std::optional<double> rewindTo);
    void finishStop();
    void startEngineIfNeeded();
    void firePlayedTriggers(const std::vector<PlayedSpans::Span>& spans);
    void applyEnvelope(double t);
    // The track's level as a player volume, without fades or ducking.
    float trackLevel() const;
    void setFades(double fadeIn, double fadeOut);
    void setTrackVolume(double volume);
    void copyTriggers(const Bounds& bounds);
    double displayCap() const;
    void clearDuck();

    // Output side.
    void buildGraph();
    bool safeConnect();
    void applyMixerOutputFormat(const std::string& deviceUID);
    void applyChannelMap(const std::string& deviceUID);
    void warnAboutChannelFallback(const std::string& deviceUID, int requested, const std::string& message);
    std::optional<std::string> resolveDevice() const;
    std::optional<AudioDevice> findDevice(const std::string& uid) const;
    void rememberPreferredOutputDevice(const std::optional<std::string>& uid);
    void loadChannelOffset();
    std::string channelOffsetKey() const;
    static void renderAudio(void* context, float* const* sources, int sourceCount, int frames);

    MainLoop& mainLoop_;
    Preferences& preferences_;
    AudioSystem& audio_;
    Player player_;
    SegmentScheduler scheduler_;
    OutputChain chain_;
    // Lets a device event posted to the main loop find out the engine is gone.
    std::shared_ptr<PlaybackEngine*> self_;

    // Transport.
    bool isPlaying_ = false;
    double currentTime_ = 0.0;
    std::int64_t positionEpoch_ = 0;
    double tickTime_ = 0.0;
    double tickDate_ = 0.0;
    double duration_ = 0.0;
    std::optional<FileUrl> currentURL_;
    bool hasFile_ = false;
    double startTime_ = 0.0;
    double endTime_ = 0.0;
    double playStartPosition_ = 0.0;
    bool autoPlayOnNextLoad_ = false;
    std::optional<MainLoop::TimerId> timer_;
    // On the offline device the scheduler's top-up runs in main-loop time,
    // so rendering does not depend on how fast the machine is.
    bool offline_ = false;
    std::optional<MainLoop::TimerId> topUpTimer_;
    std::optional<std::string> notice_;

    // Loop display.
    std::optional<Uuid> activeLoopID_;
    bool loopExiting_ = false;
    bool cueLoopExiting_ = false;
    CowList<Loop> loops_;

    // Triggers.
    CowList<MidiTrigger> midiTriggers_;
    bool midiTriggersEnabled_ = true;
    bool preRollMidiTriggerEnabled_ = false;
    MidiTrigger preRollMidiTrigger_;
    CowList<OSCTrigger> oscTriggers_;
    bool oscTriggersEnabled_ = true;
    bool preRollOSCTriggerEnabled_ = false;
    OSCTrigger preRollOSCTrigger_;

    // Timecode and pre-roll.
    double timecodeStartSeconds_ = 0.0;
    double timecodePreRoll_ = 0.0;
    double emittedTimecodeSeconds_ = 0.0;
    bool inPreRoll_ = false;
    double preRollStart_ = 0.0;
    double preRollDuration_ = 0.0;

    // Levels.
    struct DuckParams {
        double db = 0.0;
        double fadeIn = 0.0;
        double fadeOut = 0.0;
    };
    float trackVolume_ = 1.0f;
    double fadeInSeconds_ = 0.0;
    double fadeOutSeconds_ = 0.0;
    bool automationEnabled_ = false;
    std::vector<AutomationPoint> automation_;
    double duckDb_ = 0.0;
    std::optional<DuckParams> duckParams_;
    bool isEscFading_ = false;
    std::function<void()> escFadeCompletion_;
    double escFadeStart_ = 0.0;
    double escFadeDuration_ = 0.0;
    float escStartVolume_ = 1.0f;
    double stopFadeSeconds_ = 2.0;

    // Output.
    struct ChannelWarning {
        std::string device;
        int requested = 0;
        friend bool operator==(const ChannelWarning&, const ChannelWarning&) = default;
    };
    std::optional<std::string> outputDeviceUID_;
    int outputChannelOffset_ = 0;
    std::optional<int> monoOutputChannel_;
    std::optional<std::string> preferredOutputDeviceUID_;
    std::optional<std::string> preferredOutputDeviceName_;
    bool isFallingBack_ = false;
    bool limiterEnabled_ = true;
    float limiterReductionDb_ = 0.0f;
    float meterLevelL_ = 0.0f;
    float meterLevelR_ = 0.0f;
    std::optional<std::string> appliedDeviceUID_;
    std::optional<ChannelWarning> lastChannelFallbackWarning_;
    // What the chain and the audio system were last set to.
    double fileRate_ = 0.0;
    double connectedFileRate_ = 0.0;
    double connectedDeviceRate_ = 0.0;
    int connectedChannels_ = 0;
};

} // namespace ostinel
