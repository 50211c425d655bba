#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "playback/AudioBuffer.h"
#include "playback/LoopWalk.h"
#include "playback/Player.h"

namespace ostinel {

// Turns the loop walk into queued audio: every pass of every loop is one file
// region, back to back on the player's timeline, a little over 150 ms ahead,
// with 5 ms equal-power bridges across seams prepared in advance. Maps the
// player's sample back to track time. Its own top-up thread runs every 10 ms
// on absolute deadlines.
//
// Threads: the public calls from the main thread; the *Locked ones with
// lock() held, from any thread. The top-up thread takes the lock itself.
class SegmentScheduler {
public:
    static constexpr double loopCrossfadeSeconds = 0.005;
    static constexpr double lookAheadSeconds = 0.15;
    static constexpr double topUpSeconds = 0.01;
    static constexpr int maxTopUpSteps = 256;
    static constexpr int maxEmptySegments = 64;

    // One queued item on the player's timeline.
    struct Seg {
        std::int64_t startSample = 0;
        std::int64_t fileStart = 0; // file frame at the first sample
        std::int64_t frames = 0;
        std::optional<Uuid> loopID; // for a bridge, the bridged loop's
        bool isFinal = false;       // false for a bridge
        friend bool operator==(const Seg&, const Seg&) = default;
    };
    // A loop's bounds are part of its seam: moving an edge makes a new one.
    struct SeamKey {
        Uuid id;
        double start = 0.0;
        double end = 0.0;
        friend bool operator==(const SeamKey&, const SeamKey&) = default;
    };
    struct SeamKeyHash {
        std::size_t operator()(const SeamKey& k) const noexcept;
    };
    struct Loaded {
        double sampleRate = 0.0;
        std::int64_t totalFrames = 0;
        int channels = 0;
    };
    struct LoopState {
        std::optional<Uuid> id;
        bool exiting = false;
        bool cueExiting = false;
        friend bool operator==(const LoopState&, const LoopState&) = default;
    };

    explicit SegmentScheduler(Player& player);
    ~SegmentScheduler();
    SegmentScheduler(const SegmentScheduler&) = delete;
    SegmentScheduler& operator=(const SegmentScheduler&) = delete;

    // Opens the file the player will play and tells the player its rate.
    // Nothing when it can't be opened; the scheduler is then idle.
    std::optional<Loaded> load(const std::string& path);
    void setBounds(double start, double end, double duration);
    // Stops the player, queues from `position` and plays.
    void start(double position);
    void pause();
    void stop();
    std::optional<LoopWalk::ExitTarget> requestLoopExit();
    LoopState activeLoopState();

    // One firing of the top-up timer: prepare bridges, then (while running)
    // prune and top up. Without the automatic timer, the caller drives this
    // (offline rendering, tests); the timer is on by default.
    void topUp();
    void setAutomaticTopUp(bool automatic);

    // The engine reads and writes these under lock().
    std::mutex& lock() { return mutex_; }
    double currentPlaybackTimeLocked();
    void collectSpansLocked(std::int64_t upTo);
    std::int64_t playerSampleLocked() const; // 0 when unavailable, never negative
    LoopWalk& walkLocked() { return walk_; }
    std::int64_t nextStartSampleLocked() const { return nextStartSample_; }
    std::vector<PlayedSpans::Span> takePendingSpansLocked();
    // What is queued and not yet pruned, in timeline order.
    const std::vector<Seg>& segmentsLocked() const;

private:
    struct Internals;

    void resetLocked();
    void followOutPointLocked();
    void topUpLocked();
    bool scheduleNextLocked(int depth);
    const Seg* activeSegLocked() const;
    void pruneLocked();
    std::vector<Loop> bridgedLoopsLocked() const;
    void prepareBridges();
    void startTimer();
    void cancelTimer();

    Player& player_;
    std::mutex mutex_;
    LoopWalk walk_;
    std::int64_t nextStartSample_ = 0;
    std::unique_ptr<Internals> in_;
};

} // namespace ostinel
