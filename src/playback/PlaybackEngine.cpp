#include "playback/PlaybackEngine.h"

#include <algorithm>
#include <mutex>

#include "playback/EngineLog.h"

Q_LOGGING_CATEGORY(engineLog, "com.ostinel.engine")

namespace ostinel {

namespace {

// Clamps without std::clamp's precondition: a range that is upside down
// (an out-point before the in-point) yields its upper end.
double bounded(double x, double lo, double hi) { return std::min(std::max(x, lo), hi); }

constexpr double rewindMargin = 0.01;

} // namespace

PlaybackEngine::Bounds PlaybackEngine::Bounds::of(const Track& track) {
    Bounds b;
    b.start = track.startSeconds;
    b.end = track.endSeconds;
    b.fadeIn = track.fade.fadeInSeconds;
    b.fadeOut = track.fade.fadeOutSeconds;
    b.volume = track.volume;
    b.loops = track.loops;
    b.loopCue = track.loopCue;
    b.timecodeStart = track.timecodeStartSeconds;
    b.timecodePreRoll = track.timecodePreRollEnabled ? std::max(track.timecodePreRollSeconds, 0.0) : 0.0;
    b.automationEnabled = track.volumeAutomationEnabled;
    b.automation = track.volumeAutomation;
    b.midiTriggersEnabled = track.midiTriggersEnabled;
    b.midiTriggers = track.midiTriggers;
    b.preRollMidiTriggerEnabled = track.preRollMidiTriggerEnabled;
    b.preRollMidiTrigger = track.preRollMidiTrigger;
    b.oscTriggersEnabled = track.oscTriggersEnabled;
    b.oscTriggers = track.oscTriggers;
    b.preRollOSCTriggerEnabled = track.preRollOSCTriggerEnabled;
    b.preRollOSCTrigger = track.preRollOSCTrigger;
    return b;
}

PlaybackEngine::PlaybackEngine(MainLoop& mainLoop, Preferences& preferences, AudioSystem& audio, QObject* parent)
    : QObject(parent), mainLoop_(mainLoop), preferences_(preferences), audio_(audio), scheduler_(player_),
      chain_(player_), self_(std::make_shared<PlaybackEngine*>(this)) {
    buildGraph();
}

PlaybackEngine::~PlaybackEngine() {
    stopTimer();
    if (topUpTimer_) mainLoop_.cancel(*topUpTimer_);
    self_.reset();
    audio_.setDeviceListener({});
    // The render thread must be out of the chain before it goes.
    audio_.stop();
    audio_.setRenderer(nullptr, nullptr);
    scheduler_.stop();
}

// --- Observable writes ---------------------------------------------------------

void PlaybackEngine::setNotice(std::optional<std::string> text) {
    // The same notice given again is news again: the banner's time restarts.
    const bool repeated = text && text == notice_;
    assign(notice_, std::move(text), &PlaybackEngine::noticeChanged);
    if (repeated) emit noticeChanged();
}

void PlaybackEngine::setIsPlaying(bool playing) {
    const bool wasPlaying = isPlaying_;
    assign(isPlaying_, playing, &PlaybackEngine::isPlayingChanged);
    if (offline_ && playing && !topUpTimer_) {
        topUpTimer_ = mainLoop_.every(SegmentScheduler::topUpSeconds, [this] { scheduler_.topUp(); });
    } else if (topUpTimer_ && !playing) {
        mainLoop_.cancel(*topUpTimer_);
        topUpTimer_.reset();
    }
    // A device that came back during the cue is taken up the moment it ends.
    if (wasPlaying && !playing) returnToPreferredOutputDeviceIfConnected();
}

void PlaybackEngine::bumpPositionEpoch() {
    ++positionEpoch_;
    emit positionEpochChanged();
}

void PlaybackEngine::clearLoopState() {
    assign(activeLoopID_, std::optional<Uuid>(), &PlaybackEngine::activeLoopIDChanged);
    assign(loopExiting_, false, &PlaybackEngine::loopExitingChanged);
    assign(cueLoopExiting_, false, &PlaybackEngine::cueLoopExitingChanged);
}

// --- Loading and live edits ----------------------------------------------------------

void PlaybackEngine::load(const Track& track) {
    stop();
    const std::string& path = track.url.path();
    auto loaded = scheduler_.load(path);
    if (!loaded) {
        hasFile_ = false;
        assign(currentURL_, std::optional<FileUrl>(), &PlaybackEngine::currentURLChanged);
        assign(duration_, 0.0, &PlaybackEngine::durationChanged);
        autoPlayOnNextLoad_ = false;
        qCWarning(engineLog, "Failed to open audio file: %s", path.c_str());
        setNotice((track.url.exists() ? "Audio file could not be opened: " : "Audio file missing: ") + track.displayName());
        return;
    }
    hasFile_ = true;
    const Bounds bounds = Bounds::of(track);
    setTrackVolume(track.volume);
    applyEnvelope(currentTime_);
    assign(currentURL_, std::optional<FileUrl>(track.url), &PlaybackEngine::currentURLChanged);
    timecodeStartSeconds_ = bounds.timecodeStart;
    timecodePreRoll_ = bounds.timecodePreRoll;
    const double length =
        track.duration > 0.0 ? track.duration : double(loaded->totalFrames) / std::max(loaded->sampleRate, 1.0);
    assign(duration_, length, &PlaybackEngine::durationChanged);

    fileRate_ = loaded->sampleRate;
    safeConnect();
    startEngineIfNeeded();

    setBounds(track.startSeconds, track.endSeconds > track.startSeconds ? track.endSeconds : track.duration);
    setFades(bounds.fadeIn, bounds.fadeOut);
    applyEnvelope(currentTime_);
    setAutomation(bounds.automationEnabled, bounds.automation);
    setLoops(bounds.loops, bounds.loopCue);
    copyTriggers(bounds);
    currentTime_ = startTime_;
    if (autoPlayOnNextLoad_) {
        autoPlayOnNextLoad_ = false;
        play();
    }
}

void PlaybackEngine::setBounds(double start, double end) {
    const double d = duration_;
    startTime_ = bounded(start, 0.0, d);
    if (!(end > start)) end = d;
    endTime_ = std::min(end, d);
    scheduler_.setBounds(startTime_, endTime_, d);
    if (!isPlaying_) {
        const double clamped = bounded(currentTime_, startTime_, endTime_);
        if (clamped != currentTime_) {
            currentTime_ = clamped;
            bumpPositionEpoch();
        }
    }
}

void PlaybackEngine::applyBounds(const Bounds& bounds) {
    setBounds(bounds.start, bounds.end);
    setFades(bounds.fadeIn, bounds.fadeOut);
    if (!isEscFading_) applyEnvelope(currentTime_);
    setTrackVolume(bounds.volume);
    if (!isEscFading_) applyEnvelope(currentTime_);
    setLoops(bounds.loops, bounds.loopCue);
    setAutomation(bounds.automationEnabled, bounds.automation);
    copyTriggers(bounds);
    timecodeStartSeconds_ = bounds.timecodeStart;
    timecodePreRoll_ = bounds.timecodePreRoll;
}

void PlaybackEngine::copyTriggers(const Bounds& bounds) {
    midiTriggersEnabled_ = bounds.midiTriggersEnabled;
    midiTriggers_ = bounds.midiTriggers;
    preRollMidiTriggerEnabled_ = bounds.preRollMidiTriggerEnabled;
    preRollMidiTrigger_ = bounds.preRollMidiTrigger;
    oscTriggersEnabled_ = bounds.oscTriggersEnabled;
    oscTriggers_ = bounds.oscTriggers;
    preRollOSCTriggerEnabled_ = bounds.preRollOSCTriggerEnabled;
    preRollOSCTrigger_ = bounds.preRollOSCTrigger;
}

void PlaybackEngine::setLoops(const CowList<Loop>& loops, bool loopCue) {
    loops_ = loops;
    std::vector<Loop> forWalk = loops.toVector(); // copied outside the lock
    {
        std::lock_guard lock(scheduler_.lock());
        scheduler_.walkLocked().loops.swap(forWalk);
        scheduler_.walkLocked().loopsCue = loopCue;
    }
    if (activeLoopID_) {
        const Uuid id = *activeLoopID_;
        const bool known = id == Loop::cueLoopID ? loopCue
                                                 : loops.findIf([&](const Loop& l) { return l.id == id; }) != nullptr;
        if (!known) assign(activeLoopID_, std::optional<Uuid>(), &PlaybackEngine::activeLoopIDChanged);
    }
}

// --- Transport -------------------------------------------------------------------------

void PlaybackEngine::startEngineIfNeeded() {
    if (audio_.isRunning()) return;
    if (auto error = audio_.start()) {
        qCWarning(engineLog, "Audio engine failed to start: %s", error->message.c_str());
        setNotice("Audio engine failed to start — check the output device in Settings.");
    }
}

void PlaybackEngine::play() {
    if (!hasFile_) return;
    isEscFading_ = false;
    escFadeCompletion_ = nullptr;
    clearDuck();
    startEngineIfNeeded();
    if (currentTime_ < startTime_ || endTime_ - rewindMargin <= currentTime_) currentTime_ = startTime_;
    playStartPosition_ = currentTime_;
    inPreRoll_ = false;
    preRollDuration_ = 0.0;
    const double now = mainLoop_.now();
    if (currentTime_ > startTime_ + rewindMargin || !(timecodePreRoll_ > 0.0)) {
        applyEnvelope(currentTime_);
        scheduler_.start(currentTime_);
        setIsPlaying(true);
        tickTime_ = currentTime_;
        tickDate_ = now;
        emittedTimecodeSeconds_ = timecodeStartSeconds_ + currentTime_;
        if (onTimecodeLocate) onTimecodeLocate(emittedTimecodeSeconds_);
    } else {
        // Timecode runs first; the audio follows when the pre-roll is over.
        inPreRoll_ = true;
        preRollStart_ = now;
        preRollDuration_ = timecodePreRoll_;
        setIsPlaying(true);
        emittedTimecodeSeconds_ = std::max(0.0, timecodeStartSeconds_ + currentTime_ - preRollDuration_);
        if (onTimecodeLocate) onTimecodeLocate(emittedTimecodeSeconds_);
        if (preRollMidiTriggerEnabled_ && onMidiTrigger) onMidiTrigger(preRollMidiTrigger_);
        if (preRollOSCTriggerEnabled_ && onOSCTrigger) onOSCTrigger(preRollOSCTrigger_);
    }
    startTimer();
}

void PlaybackEngine::startTimer() {
    stopTimer();
    // The timer dies with the engine (see the destructor), so `this` is safe.
    timer_ = mainLoop_.every(tickSeconds, [this] { tick(); });
}

void PlaybackEngine::stopTimer() {
    if (timer_) mainLoop_.cancel(*timer_);
    timer_.reset();
}

void PlaybackEngine::tick() {
    if (!isPlaying_) return;
    updateMeter();
    const double now = mainLoop_.now();
    if (inPreRoll_) {
        const double elapsed = now - preRollStart_;
        if (elapsed < preRollDuration_) {
            const double target = timecodeStartSeconds_ + startTime_;
            emittedTimecodeSeconds_ = std::max(0.0, elapsed + target - preRollDuration_);
            if (onTimecodeTick) onTimecodeTick(emittedTimecodeSeconds_, target);
            return;
        }
        inPreRoll_ = false;
        applyEnvelope(currentTime_);
        scheduler_.start(currentTime_);
    }

    {
        std::lock_guard lock(scheduler_.lock());
        currentTime_ = scheduler_.currentPlaybackTimeLocked();
    }
    tickTime_ = currentTime_;
    tickDate_ = now;
    emittedTimecodeSeconds_ = timecodeStartSeconds_ + currentTime_;
    if (onTimecodeTick) onTimecodeTick(emittedTimecodeSeconds_, timecodeCap());

    std::vector<PlayedSpans::Span> spans;
    {
        std::lock_guard lock(scheduler_.lock());
        scheduler_.collectSpansLocked(scheduler_.playerSampleLocked());
        spans = scheduler_.takePendingSpansLocked();
    }
    firePlayedTriggers(spans);
    // A trigger's handler may have stopped the transport.
    if (!isPlaying_) return;

    if (isEscFading_) {
        const double elapsed = now - escFadeStart_;
        if (elapsed >= escFadeDuration_) {
            auto completion = std::move(escFadeCompletion_);
            escFadeCompletion_ = nullptr;
            stopHere();
            if (completion) completion();
            return;
        }
        player_.setVolume(escStartVolume_ * float(std::max(0.0, 1.0 - elapsed / escFadeDuration_)));
        return;
    }

    const auto state = scheduler_.activeLoopState();
    assign(activeLoopID_, state.id, &PlaybackEngine::activeLoopIDChanged);
    assign(loopExiting_, state.exiting, &PlaybackEngine::loopExitingChanged);
    assign(cueLoopExiting_, state.cueExiting, &PlaybackEngine::cueLoopExitingChanged);

    updateDuck();
    applyEnvelope(currentTime_);

    bool heardOut = false;
    {
        std::lock_guard lock(scheduler_.lock());
        heardOut = scheduler_.walkLocked().isDone &&
                   scheduler_.nextStartSampleLocked() <= scheduler_.playerSampleLocked();
    }
    if (heardOut) reachEnd();
}

void PlaybackEngine::firePlayedTriggers(const std::vector<PlayedSpans::Span>& spans) {
    for (const auto& span : spans) {
        if (midiTriggersEnabled_ && onMidiTrigger) {
            for (const auto& trigger : midiTriggers_)
                if (span.contains(trigger.timeSeconds)) onMidiTrigger(trigger);
        }
        if (oscTriggersEnabled_ && onOSCTrigger) {
            for (const auto& trigger : oscTriggers_)
                if (span.contains(trigger.timeSeconds)) onOSCTrigger(trigger);
        }
    }
}

void PlaybackEngine::reachEnd() {
    scheduler_.stop();
    clearDuck();
    inPreRoll_ = false;
    preRollDuration_ = 0.0;
    clearLoopState();
    currentTime_ = startTime_;
    setIsPlaying(false);
    if (onTimecodeStop) onTimecodeStop();
    stopTimer();
    meterLevelL_ = meterLevelR_ = limiterReductionDb_ = 0.0f;
    if (onReachedEnd) onReachedEnd();
}

// The three stops share everything but where the playhead ends up.
void PlaybackEngine::stopWith(std::optional<double> rewindTo) {
    isEscFading_ = false;
    escFadeCompletion_ = nullptr;
    scheduler_.stop();
    clearDuck();
    inPreRoll_ = false;
    preRollDuration_ = 0.0;
    clearLoopState();
    player_.setVolume(trackLevel());
    if (rewindTo) currentTime_ = *rewindTo;
    finishStop();
}

void PlaybackEngine::finishStop() {
    setIsPlaying(false);
    if (onTimecodeStop) onTimecodeStop();
    stopTimer();
    meterLevelL_ = meterLevelR_ = limiterReductionDb_ = 0.0f;
}

void PlaybackEngine::stop() { stopWith(startTime_); }

void PlaybackEngine::stopHere() { stopWith(std::nullopt); }

void PlaybackEngine::stopAtPlayStart() { stopWith(bounded(playStartPosition_, 0.0, duration_)); }

void PlaybackEngine::pause() {
    isEscFading_ = false;
    escFadeCompletion_ = nullptr;
    // A stopped scheduler's clock is stale; only a running one says where we are.
    if (isPlaying_ && !inPreRoll_) {
        std::lock_guard lock(scheduler_.lock());
        currentTime_ = scheduler_.currentPlaybackTimeLocked();
    }
    scheduler_.pause();
    inPreRoll_ = false;
    preRollDuration_ = 0.0;
    finishStop();
}

void PlaybackEngine::seek(double time) {
    const double t = bounded(time, 0.0, duration_);
    currentTime_ = tickTime_ = t;
    tickDate_ = mainLoop_.now();
    bumpPositionEpoch();
    clearDuck();
    if (isPlaying_) {
        applyEnvelope(t);
        scheduler_.start(t);
        if (onTimecodeLocate) onTimecodeLocate(timecodeStartSeconds_ + currentTime_);
    } else {
        scheduler_.stop();
        clearLoopState();
    }
}

void PlaybackEngine::fadeOutAndStop(double duration, std::function<void()> then) {
    if (!isPlaying_ || !(duration > 0.0) || inPreRoll_) {
        stop();
        if (then) then();
        return;
    }
    escFadeCompletion_ = std::move(then);
    isEscFading_ = true;
    escFadeStart_ = mainLoop_.now();
    escFadeDuration_ = duration;
    escStartVolume_ = player_.volume();
    if (!timer_) startTimer();
}

void PlaybackEngine::requestLoopExit() {
    if (!activeLoopID_) return;
    const auto target = scheduler_.requestLoopExit();
    if (!target) return;
    if (*target == LoopWalk::ExitTarget::cue) {
        assign(cueLoopExiting_, true, &PlaybackEngine::cueLoopExitingChanged);
        if (*activeLoopID_ == Loop::cueLoopID) assign(loopExiting_, true, &PlaybackEngine::loopExitingChanged);
    } else {
        assign(loopExiting_, true, &PlaybackEngine::loopExitingChanged);
    }
}

// --- Position for observers ----------------------------------------------------------------

double PlaybackEngine::displayCap() const {
    const double end = endTime_ > startTime_ ? endTime_ : duration_;
    if (loopExiting_ || !activeLoopID_) return end;
    const Uuid id = *activeLoopID_;
    const Loop* loop = loops_.findIf([&](const Loop& l) { return l.id == id; });
    return loop ? std::min(loop->endSeconds, end) : end;
}

double PlaybackEngine::displayTime(double date) const {
    if (!isPlaying_ || inPreRoll_) return currentTime_;
    const double dt = std::max(0.0, date - tickDate_);
    return std::min(tickTime_ + dt, displayCap());
}

double PlaybackEngine::timecodeCap() const { return displayCap() + timecodeStartSeconds_; }

} // namespace ostinel
