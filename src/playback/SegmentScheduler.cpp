#include "playback/SegmentScheduler.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <unordered_map>
#include <unordered_set>

#include "platform/AudioFile.h"
#include "platform/PeriodicThread.h"

namespace ostinel {

namespace {

constexpr int topUpPriority = 45;

// Seconds to a frame, truncating. A time that stands for frame F but is held
// a hair below it (F / rate * rate, or a loop start plus a bridge) still gives
// F; plain truncation would shift such a pass by one frame.
std::int64_t frameAt(double seconds, double rate) {
    return std::int64_t(std::floor(seconds * rate + 1e-5));
}

SegmentScheduler::SeamKey keyOf(const Loop& loop) {
    return {loop.id, loop.startSeconds, loop.endSeconds};
}

// The equal-power crossfade from the audio after the loop's end into the
// loop's start, read from a file object of its own. Nothing when the loop or
// the audio after it is too short, or the file refuses a read.
std::shared_ptr<const AudioBuffer> makeLoopBridge(const Loop& loop, AudioFile& file, double sampleRate,
                                                  std::int64_t totalFrames, double duration,
                                                  double crossfadeSeconds) {
    const std::int64_t startFrame = frameAt(std::clamp(loop.startSeconds, 0.0, duration), sampleRate);
    const std::int64_t endFrame = frameAt(std::clamp(loop.endSeconds, 0.0, duration), sampleRate);
    const std::int64_t n = std::min({std::int64_t(sampleRate * crossfadeSeconds), totalFrames - endFrame,
                                     (endFrame - startFrame) / 2});
    if (n < 2) return nullptr;
    auto tail = file.readAll(endFrame, n);
    auto head = file.readAll(startFrame, n);
    if (!tail || !head || tail->empty() || head->empty()) return nullptr;
    const std::size_t len = std::min(tail->front().size(), head->front().size());
    if (len < 2) return nullptr;

    auto mix = std::make_shared<AudioBuffer>();
    mix->sampleRate = sampleRate;
    mix->channels.assign(tail->size(), std::vector<float>(len));
    for (std::size_t c = 0; c < tail->size(); ++c)
        for (std::size_t i = 0; i < len; ++i) {
            const double angle = ((double(i) + 0.5) / double(len)) * std::numbers::pi * 0.5;
            mix->channels[c][i] = float(double((*tail)[c][i]) * std::cos(angle) + double((*head)[c][i]) * std::sin(angle));
        }
    return mix;
}

} // namespace

std::size_t SegmentScheduler::SeamKeyHash::operator()(const SeamKey& k) const noexcept {
    std::size_t h = std::hash<Uuid>{}(k.id);
    h = h * 1000003u ^ std::hash<double>{}(k.start);
    return h * 1000003u ^ std::hash<double>{}(k.end);
}

struct SegmentScheduler::Internals {
    std::shared_ptr<AudioFile> file;
    std::string path;
    double sampleRate = 44100.0;
    std::int64_t totalFrames = 0;
    double duration = 0.0;
    double startTime = 0.0;
    double endTime = 0.0;
    std::vector<Seg> segments;
    std::optional<Uuid> exitingLoopID;
    bool running = false;
    double lastMappedTime = 0.0;
    std::unordered_map<SeamKey, std::shared_ptr<const AudioBuffer>, SeamKeyHash> loopBridges;
    std::unordered_set<SeamKey, SeamKeyHash> unbridgeable;
    std::int64_t spanCursorSample = 0;
    std::optional<std::int64_t> spanLastEndFrame;
    std::vector<PlayedSpans::Span> pendingSpans;

    // Main thread only, never under the lock: joining waits for a firing,
    // and a firing takes the lock.
    bool automaticTopUp = true;
    std::unique_ptr<PeriodicThread> timer;
};

SegmentScheduler::SegmentScheduler(Player& player) : player_(player), in_(std::make_unique<Internals>()) {}

SegmentScheduler::~SegmentScheduler() {
    cancelTimer();
}

std::optional<SegmentScheduler::Loaded> SegmentScheduler::load(const std::string& path) {
    auto opened = AudioFile::open(path);
    Loaded loaded;
    {
        std::lock_guard lock(mutex_);
        if (!opened) {
            in_->file.reset();
            in_->path.clear();
            return std::nullopt;
        }
        in_->file = std::shared_ptr<AudioFile>(std::move(*opened));
        in_->path = path;
        in_->sampleRate = in_->file->sampleRate();
        in_->totalFrames = in_->file->frames();
        in_->loopBridges.clear();
        in_->unbridgeable.clear();
        resetLocked();
        loaded = {in_->sampleRate, in_->totalFrames, in_->file->channels()};
    }
    player_.setSampleRate(loaded.sampleRate);
    return loaded;
}

void SegmentScheduler::resetLocked() {
    in_->segments.clear();
    nextStartSample_ = 0;
    walk_.cursor = 0.0;
    walk_.isDone = false;
    walk_.loopID.reset();
    walk_.pendingBridge.reset();
    walk_.exitRequestedLoopID.reset();
    walk_.passes = 0;
    walk_.cueExitRequested = false;
    in_->exitingLoopID.reset();
    in_->spanCursorSample = 0;
    in_->spanLastEndFrame.reset();
    in_->pendingSpans.clear();
}

void SegmentScheduler::setBounds(double start, double end, double duration) {
    std::lock_guard lock(mutex_);
    in_->duration = duration;
    in_->startTime = std::clamp(start, 0.0, std::max(duration, 0.0));
    if (!(end > start)) end = duration;
    in_->endTime = std::min(end, duration);
    walk_.startTime = in_->startTime;
    walk_.outEnd = in_->endTime > 0.0 ? in_->endTime : duration;
    if (in_->running) followOutPointLocked();
}

// The out-point moved while playing. Audio queued past the new one is taken
// back from the player, which ends its timeline there, so the walk's next
// step follows on without a gap; one moved behind what is heard ends the
// pass where it stands. Moved later, the walk simply goes on to it.
void SegmentScheduler::followOutPointLocked() {
    const std::int64_t outFrame = frameAt(walk_.outEnd, in_->sampleRate);
    const std::int64_t heard = playerSampleLocked();
    auto& segs = in_->segments;
    const auto past = std::find_if(segs.begin(), segs.end(), [&](const Seg& seg) {
        return seg.startSample + seg.frames > heard && seg.fileStart + seg.frames > outFrame;
    });
    if (past == segs.end()) {
        if (walk_.cursor < walk_.outEnd - LoopWalk::epsilon) walk_.isDone = false;
        return;
    }
    const std::int64_t cut =
        player_.truncate(past->startSample + std::max<std::int64_t>(outFrame - past->fileStart, 0));
    // The first stays whatever happens: the position map needs one to hold on to.
    segs.erase(
        std::find_if(segs.begin() + 1, segs.end(), [cut](const Seg& seg) { return seg.startSample >= cut; }),
        segs.end());
    for (Seg& seg : segs)
        seg.frames = std::clamp<std::int64_t>(cut - seg.startSample, 0, seg.frames);
    nextStartSample_ = cut;
    walk_.cursor = walk_.outEnd;
    walk_.isDone = false;
    walk_.loopID.reset();
    walk_.pendingBridge.reset();
    walk_.exitRequestedLoopID.reset();
    walk_.passes = 0;
}

void SegmentScheduler::start(double position) {
    cancelTimer();
    player_.stop();
    {
        std::lock_guard lock(mutex_);
        resetLocked();
        walk_.cursor = std::clamp(position, 0.0, std::max(in_->duration, 0.0));
        in_->lastMappedTime = walk_.cursor;
        in_->running = true;
        topUpLocked();
    }
    player_.play();
    startTimer();
}

void SegmentScheduler::pause() {
    cancelTimer();
    {
        std::lock_guard lock(mutex_);
        in_->running = false;
    }
    player_.pause();
}

void SegmentScheduler::stop() {
    cancelTimer();
    {
        std::lock_guard lock(mutex_);
        in_->running = false;
        resetLocked();
    }
    player_.stop();
}

void SegmentScheduler::setAutomaticTopUp(bool automatic) {
    in_->automaticTopUp = automatic;
    if (!automatic) cancelTimer();
}

void SegmentScheduler::startTimer() {
    cancelTimer();
    if (!in_->automaticTopUp) return;
    in_->timer = std::make_unique<PeriodicThread>("ostinel-sched", topUpSeconds, topUpPriority, [this] { topUp(); });
}

void SegmentScheduler::cancelTimer() {
    in_->timer.reset();
}

void SegmentScheduler::topUp() {
    prepareBridges();
    std::lock_guard lock(mutex_);
    if (!in_->running) return;
    pruneLocked();
    topUpLocked();
}

void SegmentScheduler::topUpLocked() {
    const auto ahead = std::int64_t(in_->sampleRate * lookAheadSeconds);
    for (int i = 0; i < maxTopUpSteps; ++i)
        if (nextStartSample_ - playerSampleLocked() >= ahead || !scheduleNextLocked(0)) break;
}

bool SegmentScheduler::scheduleNextLocked(int depth) {
    if (!in_->file) return false;
    const double rate = in_->sampleRate;
    auto step = walk_.next([this, rate](const Loop& loop) -> std::optional<double> {
        auto it = in_->loopBridges.find(keyOf(loop));
        if (it == in_->loopBridges.end()) return std::nullopt;
        return double(it->second->frames()) / rate;
    });
    if (!step) return false;

    const double duration = std::max(in_->duration, 0.0);
    if (const auto* bridge = std::get_if<LoopWalk::Bridge>(&*step)) {
        auto it = in_->loopBridges.find(keyOf(bridge->loop));
        if (it == in_->loopBridges.end()) return false;
        const std::int64_t fileStart = frameAt(std::clamp(bridge->loop.startSeconds, 0.0, duration), rate);
        const std::int64_t frames = it->second->frames();
        in_->segments.push_back({nextStartSample_, fileStart, frames, bridge->loop.id, false});
        nextStartSample_ += frames;
        player_.scheduleBuffer(it->second);
        return true;
    }

    const auto& segment = std::get<LoopWalk::Segment>(*step);
    const std::int64_t first = frameAt(std::clamp(segment.start, 0.0, duration), rate);
    const std::int64_t last = frameAt(std::clamp(segment.end, 0.0, duration), rate);
    const std::int64_t frames = std::max<std::int64_t>(last - first, 0);
    if (frames > 0) {
        in_->segments.push_back({nextStartSample_, first, frames, segment.loopID, segment.isFinal});
        nextStartSample_ += frames;
        player_.scheduleSegment(in_->file, first, frames);
        return true;
    }
    // A pass shorter than a frame falls out of its repeat instead of spinning.
    walk_.pendingBridge.reset();
    return depth < maxEmptySegments && scheduleNextLocked(depth + 1);
}

std::int64_t SegmentScheduler::playerSampleLocked() const {
    return std::max<std::int64_t>(player_.sampleTime().value_or(0), 0);
}

const SegmentScheduler::Seg* SegmentScheduler::activeSegLocked() const {
    const std::int64_t s = playerSampleLocked();
    const auto& segs = in_->segments;
    for (auto it = segs.rbegin(); it != segs.rend(); ++it)
        if (it->startSample <= s) return &*it;
    return nullptr;
}

double SegmentScheduler::currentPlaybackTimeLocked() {
    const auto sample = player_.sampleTime();
    if (!sample || *sample < 0) return in_->lastMappedTime;
    const Seg* seg = activeSegLocked();
    if (!seg) return in_->lastMappedTime;
    const std::int64_t offset = std::min(*sample - seg->startSample, seg->frames);
    in_->lastMappedTime = double(seg->fileStart + offset) / std::max(in_->sampleRate, 1.0);
    return in_->lastMappedTime;
}

void SegmentScheduler::pruneLocked() {
    const std::int64_t s = playerSampleLocked();
    collectSpansLocked(s);
    auto& segs = in_->segments;
    if (segs.size() > 1)
        std::erase_if(segs, [s](const Seg& seg) { return seg.startSample + seg.frames <= s; });
    const Seg* active = activeSegLocked();
    const std::optional<Uuid> heard = active ? active->loopID : std::nullopt;
    if (heard != in_->exitingLoopID) in_->exitingLoopID.reset();
}

void SegmentScheduler::collectSpansLocked(std::int64_t upTo) {
    if (in_->spanCursorSample >= upTo) return;
    std::vector<PlayedSpans::Piece> pieces;
    pieces.reserve(in_->segments.size());
    for (const Seg& seg : in_->segments)
        pieces.push_back({seg.startSample, seg.fileStart, seg.frames});
    auto result = PlayedSpans::spans(pieces, in_->spanCursorSample, upTo, in_->spanLastEndFrame, in_->sampleRate);
    auto& pending = in_->pendingSpans;
    for (const auto& span : result.spans) {
        if (!pending.empty() && pending.back().through == span.after)
            pending.back().through = span.through;
        else
            pending.push_back(span);
    }
    in_->spanLastEndFrame = result.lastEnd;
    in_->spanCursorSample = upTo;
}

std::vector<PlayedSpans::Span> SegmentScheduler::takePendingSpansLocked() {
    return std::exchange(in_->pendingSpans, {});
}

const std::vector<SegmentScheduler::Seg>& SegmentScheduler::segmentsLocked() const {
    return in_->segments;
}

std::optional<LoopWalk::ExitTarget> SegmentScheduler::requestLoopExit() {
    std::lock_guard lock(mutex_);
    const Seg* seg = activeSegLocked();
    if (!seg || !seg->loopID) return std::nullopt;
    const Uuid id = *seg->loopID;
    LoopWalk::ExitTarget target;
    if (id == Loop::cueLoopID || in_->exitingLoopID == id) {
        if (!walk_.cueLoop() || walk_.cueExitRequested) return std::nullopt;
        walk_.cueExitRequested = true;
        target = LoopWalk::ExitTarget::cue;
    } else if (!seg->isFinal) {
        walk_.exitRequestedLoopID = id;
        target = LoopWalk::ExitTarget::loop;
    } else {
        target = LoopWalk::ExitTarget::finalPass;
    }
    in_->exitingLoopID = id;
    return target;
}

SegmentScheduler::LoopState SegmentScheduler::activeLoopState() {
    std::lock_guard lock(mutex_);
    LoopState state;
    state.cueExiting = walk_.cueExitRequested;
    const Seg* seg = activeSegLocked();
    if (!seg) return state;
    state.id = seg->loopID;
    if (!state.id) return state;
    state.exiting = seg->isFinal || in_->exitingLoopID == state.id ||
                    (*state.id == Loop::cueLoopID && state.cueExiting);
    return state;
}

std::vector<Loop> SegmentScheduler::bridgedLoopsLocked() const {
    std::vector<Loop> loops;
    for (const Loop& loop : walk_.loops)
        if (loop.enabled) loops.push_back(loop);
    if (auto cue = walk_.cueLoop()) loops.push_back(*cue);
    return loops;
}

void SegmentScheduler::prepareBridges() {
    std::vector<Loop> work;
    std::string path;
    double rate = 0.0;
    std::int64_t totalFrames = 0;
    double duration = 0.0;
    {
        std::lock_guard lock(mutex_);
        const auto loops = bridgedLoopsLocked();
        std::unordered_set<SeamKey, SeamKeyHash> keys;
        for (const Loop& loop : loops)
            keys.insert(keyOf(loop));
        std::erase_if(in_->loopBridges, [&](const auto& entry) { return !keys.contains(entry.first); });
        std::erase_if(in_->unbridgeable, [&](const SeamKey& key) { return !keys.contains(key); });
        std::unordered_set<SeamKey, SeamKeyHash> listed;
        for (const Loop& loop : loops) {
            const SeamKey key = keyOf(loop);
            if (!in_->loopBridges.contains(key) && !in_->unbridgeable.contains(key) && listed.insert(key).second)
                work.push_back(loop);
        }
        if (in_->file) path = in_->path;
        rate = in_->sampleRate;
        totalFrames = in_->totalFrames;
        duration = std::max(in_->duration, 0.0);
    }
    if (work.empty() || path.empty()) return;

    // A file object of our own: the player is the only reader of the shared one.
    auto opened = AudioFile::open(path);
    for (const Loop& loop : work) {
        std::shared_ptr<const AudioBuffer> bridge;
        if (opened)
            bridge = makeLoopBridge(loop, **opened, rate, totalFrames, duration, loopCrossfadeSeconds);
        std::lock_guard lock(mutex_);
        if (!in_->file || in_->path != path) return; // another file came in meanwhile
        if (bridge)
            in_->loopBridges[keyOf(loop)] = std::move(bridge);
        else
            in_->unbridgeable.insert(keyOf(loop));
    }
}

} // namespace ostinel
