#include "playback/OutputChain.h"

#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "playback/PeakLimiter.h"

namespace ostinel {

namespace {

// Frames per pass through the chain, and per request to the resampler and to
// the player; a render of any length is cut into these.
constexpr int kBlock = 512;
// Output steps while looking for the resampler's least delay.
constexpr int kTrimStep = 8;

// Everything that depends on the two rates, built off the real-time thread and
// handed over whole.
struct Stage {
    Stage(Player& player, double sourceRate, double deviceRate)
        : player(player), sourceRate(sourceRate), deviceRate(deviceRate), limiter(deviceRate), inLeft(kBlock),
          inRight(kBlock), left(kBlock), right(kBlock), resampled(2 * kBlock) {
        inputs[0] = inLeft.data();
        inputs[1] = inRight.data();
    }
    ~Stage() {
        if (resampler) soxr_delete(resampler);
    }
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    bool makeResampler();
    bool emitSilence(int frames);
    bool trim();
    // Input taken but not yet given out, in device frames: the delay.
    double held() const { return double(primedInput) * deviceRate / sourceRate - double(primedOutput); }

    Player& player;
    const double sourceRate;
    const double deviceRate;
    PeakLimiter limiter;
    soxr_t resampler = nullptr;
    double resamplerDelay = 0.0; // device frames
    bool priming = false;
    bool trimming = false;
    std::int64_t primedInput = 0;
    std::int64_t primedOutput = 0;
    std::vector<float> inLeft, inRight, left, right;
    // Interleaved output of the resampler not yet rendered.
    std::vector<float> resampled;
    int resampledAt = kBlock;
    soxr_cbuf_t inputs[2];
};

// The resampler's input, in its own time: the player, or silence while the
// stage is being primed.
size_t supply(void* state, soxr_in_t* data, size_t requested) {
    auto& stage = *static_cast<Stage*>(state);
    const int frames = int(std::min<size_t>(requested, stage.trimming ? 1 : kBlock));
    if (stage.priming)
        stage.primedInput += frames;
    else
        stage.player.render(stage.inLeft.data(), stage.inRight.data(), frames);
    *data = stage.inputs;
    return size_t(frames);
}

bool Stage::makeResampler() {
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);
    soxr_error_t error = nullptr;
    resampler = soxr_create(sourceRate, deviceRate, 2, &error, &io, &quality, &runtime);
    if (!resampler || error) return false;
    if (soxr_set_input_fn(resampler, supply, this, kBlock)) return false;

    // Run silence through it until its buffers have grown to their working
    // size, so the real-time thread never sees an allocation. It is always
    // asked for whole blocks, so the pattern seen here is the one it keeps;
    // its internal queues grow while they wrap, so it takes a while (seconds
    // of audio, a few ms of work), and a few rounds so that the pattern after
    // a trim is covered too.
    priming = true;
    for (int round = 1; round <= 3; ++round) {
        while (primedOutput < round * std::int64_t(deviceRate) || primedInput < round * 65536)
            if (!emitSilence(kBlock)) return false;
        if (!trim()) return false;
    }
    priming = false;
    resamplerDelay = held();
    std::fill(resampled.begin(), resampled.end(), 0.0f);
    return true;
}

bool Stage::emitSilence(int frames) {
    primedOutput += frames;
    return soxr_output(resampler, resampled.data(), size_t(frames)) == size_t(frames) &&
           !soxr_error(resampler);
}

// The silence still inside when priming ends is the delay for good, and it
// swings with where priming stops: it rises by a filter block each time the
// resampler takes in more, then falls as that is read out. So read out in
// small steps, fed a frame at a time, over a few rises (at most a second),
// then go on to the lowest point seen.
bool Stage::trim() {
    trimming = true;
    const int window = int(deviceRate);
    double least = held();
    int rises = 0;
    for (int i = 0; i < window && rises < 4; i += kTrimStep) {
        const double before = held();
        if (!emitSilence(kTrimStep)) return false;
        if (held() > before) ++rises;
        least = std::min(least, held());
    }
    for (int i = 0; i < 4 * window && held() > least + kTrimStep; i += kTrimStep)
        if (!emitSilence(kTrimStep)) return false;
    trimming = false;
    return true;
}

} // namespace

struct OutputChain::Impl {
    explicit Impl(Player& player) : player(player) {}

    Player& player;

    // The real-time thread owns `active`; the main thread hands a new stage
    // over in `pending` and frees what comes back through `retired`.
    Stage* active = nullptr;
    std::atomic<Stage*> pending{nullptr};
    std::atomic<Stage*> retired{nullptr};

    // Of the latest setRates, for the main thread.
    double sourceRate = 0.0;
    double deviceRate = 0.0;
    int lookAhead = 0;
    int latency = 0;

    std::atomic<bool> mono{false};
    std::atomic<bool> limiterEnabled{true};
    std::atomic<float> reductionDb{0.0f};
    LevelMeterTap meter;

    void reclaim() { delete retired.exchange(nullptr, std::memory_order_acq_rel); }

    // Real-time: take up a new stage, unless the last one handed back has
    // not been freed yet (it then waits one more render).
    Stage& stage() {
        if (pending.load(std::memory_order_acquire) && !retired.load(std::memory_order_acquire)) {
            if (Stage* next = pending.exchange(nullptr, std::memory_order_acq_rel)) {
                retired.store(active, std::memory_order_release);
                active = next;
            }
        }
        return *active;
    }

    void pull(Stage& s, int frames) noexcept {
        if (!s.resampler) {
            player.render(s.left.data(), s.right.data(), frames);
            return;
        }
        for (int done = 0; done < frames;) {
            if (s.resampledAt == kBlock) {
                // Short only on a resampler error: silence rather than garbage.
                const auto got = std::size_t(soxr_output(s.resampler, s.resampled.data(), kBlock));
                std::fill(s.resampled.begin() + std::ptrdiff_t(2 * got), s.resampled.end(), 0.0f);
                s.resampledAt = 0;
            }
            const int n = std::min(frames - done, kBlock - s.resampledAt);
            const float* from = s.resampled.data() + 2 * s.resampledAt;
            for (int i = 0; i < n; ++i) {
                s.left[std::size_t(done + i)] = from[2 * i];
                s.right[std::size_t(done + i)] = from[2 * i + 1];
            }
            s.resampledAt += n;
            done += n;
        }
    }
};

OutputChain::OutputChain(Player& player) : impl_(std::make_unique<Impl>(player)) {
    impl_->active = new Stage(player, 48000.0, 48000.0);
    impl_->sourceRate = impl_->deviceRate = 48000.0;
    impl_->lookAhead = impl_->latency = impl_->active->limiter.lookAheadFrames();
}

OutputChain::~OutputChain() {
    delete impl_->active;
    delete impl_->pending.load();
    delete impl_->retired.load();
}

bool OutputChain::setRates(double sourceRate, double deviceRate) {
    impl_->reclaim();
    if (!(sourceRate > 0.0) || !(deviceRate > 0.0) || !std::isfinite(sourceRate) ||
        !std::isfinite(deviceRate))
        return false;
    if (sourceRate == impl_->sourceRate && deviceRate == impl_->deviceRate) return true;

    auto stage = std::make_unique<Stage>(impl_->player, sourceRate, deviceRate);
    if (sourceRate != deviceRate && !stage->makeResampler()) return false;
    impl_->sourceRate = sourceRate;
    impl_->deviceRate = deviceRate;
    impl_->lookAhead = stage->limiter.lookAheadFrames();
    impl_->latency = impl_->lookAhead + int(std::ceil(stage->resamplerDelay));
    // One the render never took up is still ours to free.
    delete impl_->pending.exchange(stage.release(), std::memory_order_acq_rel);
    return true;
}

void OutputChain::setMono(bool mono) {
    impl_->mono.store(mono);
}
bool OutputChain::mono() const {
    return impl_->mono.load();
}

void OutputChain::setLimiterEnabled(bool enabled) {
    impl_->limiterEnabled.store(enabled);
}
bool OutputChain::limiterEnabled() const {
    return impl_->limiterEnabled.load();
}

void OutputChain::render(float* const* out, int outCount, int frames) noexcept {
    Impl& d = *impl_;
    Stage& s = d.stage();
    const bool enabled = d.limiterEnabled.load(std::memory_order_relaxed);
    s.limiter.setEnabled(enabled);
    const bool fold = outCount == 1 || d.mono.load(std::memory_order_relaxed);
    float* left = s.left.data();
    float* right = s.right.data();
    float peakLeft = 0.0f;
    float peakRight = 0.0f;

    for (int done = 0; done < frames;) {
        const int n = std::min(kBlock, frames - done);
        d.pull(s, n);
        for (int i = 0; i < n; ++i) {
            left[i] *= fixedGain;
            right[i] *= fixedGain;
        }
        s.limiter.process(left, right, n);
        if (fold) {
            for (int i = 0; i < n; ++i)
                left[i] = 0.5f * (left[i] + right[i]);
            for (int c = 0; c < outCount; ++c)
                std::copy(left, left + n, out[c] + done);
            peakLeft = peakRight = std::max(peakLeft, LevelMeterTap::peakOf(left, n));
        } else {
            if (outCount > 0) std::copy(left, left + n, out[0] + done);
            if (outCount > 1) std::copy(right, right + n, out[1] + done);
            for (int c = 2; c < outCount; ++c)
                std::fill(out[c] + done, out[c] + done + n, 0.0f);
            peakLeft = std::max(peakLeft, LevelMeterTap::peakOf(left, n));
            peakRight = std::max(peakRight, LevelMeterTap::peakOf(right, n));
        }
        done += n;
    }
    d.meter.ingest(peakLeft, peakRight);
    d.reductionDb.store(enabled ? float(s.limiter.reductionDb()) : 0.0f, std::memory_order_relaxed);
}

OutputChain::Peaks OutputChain::takePeaks() {
    impl_->reclaim();
    return impl_->meter.take();
}

float OutputChain::limiterReductionDb() const {
    return impl_->limiterEnabled.load() ? impl_->reductionDb.load() : 0.0f;
}

int OutputChain::limiterLookAheadFrames() const {
    return impl_->lookAhead;
}
int OutputChain::latencyFrames() const {
    return impl_->latency;
}

} // namespace ostinel
