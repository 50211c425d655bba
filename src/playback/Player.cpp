#include "playback/Player.h"

#include <semaphore.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <ctime>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/PeriodicThread.h"

namespace ostinel {

namespace {

constexpr int blockFrames = 512;
// 0.75 s at 192 kHz; at lower rates only the first 0.75 s worth is used.
constexpr int ringBlocks = 288;
constexpr double ringSeconds = 0.75;
constexpr int decodeFrames = 4096;
constexpr double rampSeconds = 0.005;
constexpr double readerPeriodSeconds = 0.005;
constexpr int readerPriority = 40;
constexpr auto playWait = std::chrono::milliseconds(250);
// What play() wants decoded before it lets render run: more than any device
// period, so the first period is whole.
constexpr std::int64_t playReadyFrames = 8192;
constexpr int offlineWaitSeconds = 5;

enum State : int { stopped, playing, paused };

// One stretch of the timeline, stereo. `generation` says which run of the
// timeline wrote it; a block of an older run is stale and skipped.
struct Block {
    std::uint64_t generation = 0;
    int frames = 0;
    float left[blockFrames];
    float right[blockFrames];
};

struct Item {
    std::shared_ptr<AudioFile> file;
    std::shared_ptr<const AudioBuffer> buffer;
    std::int64_t start = 0;
    std::int64_t count = 0;
};

// Copies frames into stereo: mono to both sides, of more channels the first two.
void toStereo(const float* const* channels, int channelCount, std::int64_t from, std::int64_t count, float* left,
              float* right) {
    const float* l = channels[0] + from;
    const float* r = channels[channelCount > 1 ? 1 : 0] + from;
    std::copy_n(l, count, left);
    std::copy_n(r, count, right);
}

} // namespace

struct Player::Impl {
    // --- Control side, under `mutex` --------------------------------------
    std::mutex mutex;
    std::condition_variable decoded; // play() waits on it
    std::deque<Item> queue;
    std::int64_t headDone = 0;       // frames of queue.front() already taken for decoding
    std::int64_t producedFrames = 0; // published in this generation
    std::int64_t inflight = 0;       // taken and being decoded; a cut may shorten it

    // --- Shared with render -------------------------------------------------
    std::atomic<std::uint64_t> generation{1};
    std::atomic<std::int64_t> queuedEnd{0}; // timeline length queued this generation
    std::atomic<int> state{stopped};
    std::atomic<bool> started{false};
    std::atomic<double> rate{44100.0};
    std::atomic<float> volume{1.0f};
    std::atomic<bool> waitForData{false};
    std::atomic<std::int64_t> underruns{0};
    std::atomic<std::int64_t> sampleTime{0};

    // The ring: single producer (the reader), single consumer (render, or
    // whoever holds `consumer`).
    std::unique_ptr<Block[]> ring = std::make_unique<Block[]>(ringBlocks);
    std::atomic<std::uint64_t> writePos{0};
    std::atomic<std::uint64_t> readPos{0};
    // The consumer side belongs to whoever set this from idle: render tries
    // once and never waits; stop() and the reader's flush spin for the length
    // of one render call at most.
    enum Consumer : int { idle, rendering, flushing };
    std::atomic<int> consumer{idle};

    // --- Consumer-private, touched only while holding `consumer` ------------
    int blockOffset = 0;
    float gain = 1.0f;
    float rampTarget = 1.0f;
    float rampStep = 0.0f;
    int rampLeft = 0;
    bool starving = false;
    std::uint64_t dryAt = 0; // writePos when pull() last found the ring empty

    // --- The reader's, under `mutex` but for the decode itself ----------------
    std::uint64_t readerGeneration = 0;
    int fillFrames = 0; // frames in the block at writePos not yet published
    std::vector<float> pendingLeft = std::vector<float>(decodeFrames);
    std::vector<float> pendingRight = std::vector<float>(decodeFrames);
    int pendingCount = 0;
    int pendingOffset = 0;
    std::vector<std::vector<float>> scratch;

    sem_t dataReady;
    std::atomic<int> dataWaiters{0};

    std::unique_ptr<PeriodicThread> reader;

    Impl() {
        sem_init(&dataReady, 0, 0);
        reader = std::make_unique<PeriodicThread>("ostinel-reader", readerPeriodSeconds, readerPriority,
                                                  [this] { readAhead(); });
    }
    ~Impl() {
        reader.reset();
        sem_destroy(&dataReady);
    }

    bool tryConsumer(int who) {
        int expected = idle;
        return consumer.compare_exchange_strong(expected, who, std::memory_order_acquire, std::memory_order_relaxed);
    }
    template <class F>
    void withConsumer(F&& f) {
        while (!tryConsumer(flushing))
            std::this_thread::yield();
        f();
        consumer.store(idle, std::memory_order_release);
    }

    void resetGain() {
        gain = rampTarget = volume.load(std::memory_order_relaxed);
        rampLeft = 0;
    }

    // ---- Reader ---------------------------------------------------------------

    std::uint64_t fillLimit() const {
        const double blocks = rate.load(std::memory_order_relaxed) * ringSeconds / blockFrames;
        // Never below what play() waits for, whatever the rate.
        constexpr std::uint64_t least = 2 * playReadyFrames / blockFrames;
        return std::clamp<std::uint64_t>(std::uint64_t(blocks) + 1, least, ringBlocks);
    }

    void publish(std::uint64_t gen) {
        const std::uint64_t wp = writePos.load(std::memory_order_relaxed);
        Block& b = ring[wp % ringBlocks];
        b.generation = gen;
        b.frames = fillFrames;
        fillFrames = 0;
        writePos.store(wp + 1, std::memory_order_seq_cst);
    }

    void announce() {
        decoded.notify_all();
        if (dataWaiters.load(std::memory_order_seq_cst) > 0) sem_post(&dataReady);
    }

    void decode(const Item& item, std::int64_t from, int count) {
        std::int64_t got = 0;
        if (item.buffer) {
            const AudioBuffer& b = *item.buffer;
            got = std::clamp<std::int64_t>(b.frames() - item.start - from, 0, count);
            if (got > 0) {
                const float* channels[2] = {b.channels[0].data(), b.channels[b.channelCount() > 1 ? 1 : 0].data()};
                toStereo(channels, 2, item.start + from, got, pendingLeft.data(), pendingRight.data());
            }
        } else {
            const int channelCount = std::max(item.file->channels(), 1);
            scratch.resize(std::size_t(channelCount));
            std::vector<float*> pointers;
            for (auto& s : scratch) {
                s.resize(decodeFrames);
                pointers.push_back(s.data());
            }
            auto read = item.file->read(item.start + from, count, pointers.data());
            if (read) got = std::clamp<std::int64_t>(*read, 0, count);
            if (got > 0) toStereo(pointers.data(), channelCount, 0, got, pendingLeft.data(), pendingRight.data());
        }
        std::fill(pendingLeft.begin() + got, pendingLeft.begin() + count, 0.0f);
        std::fill(pendingRight.begin() + got, pendingRight.begin() + count, 0.0f);
    }

    // Moves decoded frames into blocks, publishing each full one; stops when
    // the ring is as full as it should be. Returns the frames published.
    std::int64_t fillBlocks(std::uint64_t gen) {
        std::int64_t published = 0;
        const std::uint64_t limit = fillLimit();
        while (pendingOffset < pendingCount) {
            const std::uint64_t wp = writePos.load(std::memory_order_relaxed);
            if (fillFrames == 0 && wp - readPos.load(std::memory_order_acquire) >= limit) break;
            Block& b = ring[wp % ringBlocks];
            const int k = std::min(pendingCount - pendingOffset, blockFrames - fillFrames);
            std::copy_n(pendingLeft.data() + pendingOffset, k, b.left + fillFrames);
            std::copy_n(pendingRight.data() + pendingOffset, k, b.right + fillFrames);
            pendingOffset += k;
            fillFrames += k;
            if (fillFrames == blockFrames) {
                publish(gen);
                published += blockFrames;
            }
        }
        return published;
    }

    void readAhead() {
        for (;;) {
            std::uint64_t gen = 0;
            Item item;
            std::int64_t from = 0;
            int count = 0;
            bool flushed = false;
            {
                std::lock_guard lock(mutex);
                gen = generation.load(std::memory_order_relaxed);
                if (gen != readerGeneration) {
                    // A new run: whatever the ring holds is stale.
                    readerGeneration = gen;
                    fillFrames = pendingCount = pendingOffset = 0;
                    inflight = 0;
                    withConsumer([this] {
                        readPos.store(writePos.load(std::memory_order_relaxed), std::memory_order_release);
                        blockOffset = 0;
                    });
                }
                if (pendingOffset == pendingCount) {
                    if (queue.empty()) {
                        // Caught up with the queue: let render have the tail.
                        if (fillFrames > 0) {
                            producedFrames += fillFrames;
                            publish(gen);
                            flushed = true;
                        }
                    } else {
                        item = queue.front();
                        from = headDone;
                        count = int(std::min<std::int64_t>(item.count - from, decodeFrames));
                        headDone += count;
                        if (headDone == item.count) {
                            queue.pop_front();
                            headDone = 0;
                        }
                        inflight = count;
                    }
                }
            }
            if (flushed) announce();
            if (count > 0) {
                decode(item, from, count); // may block on the disk; no lock held
                std::lock_guard lock(mutex);
                if (generation.load(std::memory_order_relaxed) != gen) continue;
                pendingCount = int(inflight);
                pendingOffset = 0;
                inflight = 0;
            } else if (pendingOffset == pendingCount) {
                return;
            }
            std::int64_t published = 0;
            bool full = false;
            {
                std::lock_guard lock(mutex);
                if (generation.load(std::memory_order_relaxed) != gen) continue;
                published = fillBlocks(gen);
                producedFrames += published;
                full = pendingOffset < pendingCount;
            }
            if (published > 0) announce();
            if (full) return; // the ring is full
        }
    }

    // Ends this run's timeline at `end`, or where render has got to if that
    // is later; returns where it ends. Each stage of the read-ahead, from the
    // ring to the queue, gives back what lies past it. Under `mutex`.
    std::int64_t truncateLocked(std::int64_t end) {
        const std::int64_t queued = queuedEnd.load(std::memory_order_relaxed);
        if (end >= queued) return queued;
        // Until the reader has seen this run begin, it holds nothing of it.
        const bool current = readerGeneration == generation.load(std::memory_order_relaxed);
        const std::int64_t published = producedFrames;
        const std::int64_t filled = published + (current ? fillFrames : 0);
        const std::int64_t pending = filled + (current ? pendingCount - pendingOffset : 0);
        const std::int64_t taken = pending + (current ? inflight : 0);
        std::int64_t cut = std::max<std::int64_t>(end, 0);
        if (cut < published) {
            // Published blocks belong to the consumer side: take it, as stop() does.
            withConsumer([&] {
                const std::int64_t rendered = sampleTime.load(std::memory_order_relaxed);
                cut = std::max(cut, rendered);
                std::int64_t blockStart = rendered - blockOffset;
                const std::uint64_t wp = writePos.load(std::memory_order_relaxed);
                for (std::uint64_t p = readPos.load(std::memory_order_relaxed); p < wp; ++p) {
                    Block& b = ring[p % ringBlocks];
                    if (blockStart + b.frames >= cut) {
                        b.frames = int(cut - blockStart);
                        writePos.store(p + 1, std::memory_order_release);
                        break;
                    }
                    blockStart += b.frames;
                }
            });
            producedFrames = cut;
        }
        if (current) {
            fillFrames = int(std::clamp<std::int64_t>(cut - published, 0, fillFrames));
            pendingCount =
                pendingOffset + int(std::clamp<std::int64_t>(cut - filled, 0, pendingCount - pendingOffset));
            inflight = std::clamp<std::int64_t>(cut - pending, 0, inflight);
        }
        // The queue: what has not been taken yet, from `taken` on.
        std::int64_t at = taken;
        std::size_t keep = 0;
        for (; keep < queue.size() && at < cut; ++keep) {
            Item& item = queue[keep];
            const std::int64_t left = item.count - (keep == 0 ? headDone : 0);
            if (at + left > cut) item.count -= at + left - cut;
            at += std::min(left, cut - at);
        }
        queue.erase(queue.begin() + std::ptrdiff_t(keep), queue.end());
        if (queue.empty()) headDone = 0;
        queuedEnd.store(cut, std::memory_order_release);
        return cut;
    }

    // ---- Render ---------------------------------------------------------------

    void applyGain(float* left, float* right, int frames) {
        int i = 0;
        for (; i < frames && rampLeft > 0; ++i) {
            gain = --rampLeft == 0 ? rampTarget : gain + rampStep;
            left[i] *= gain;
            right[i] *= gain;
        }
        if (gain == 1.0f) return;
        for (; i < frames; ++i) {
            left[i] *= gain;
            right[i] *= gain;
        }
    }

    // Pops up to `frames` frames of this generation from the ring.
    int pull(float* left, float* right, int frames) {
        const std::uint64_t gen = generation.load(std::memory_order_relaxed);
        int got = 0;
        while (got < frames) {
            const std::uint64_t rp = readPos.load(std::memory_order_relaxed);
            const std::uint64_t wp = writePos.load(std::memory_order_acquire);
            if (rp == wp) {
                dryAt = wp;
                break;
            }
            const Block& b = ring[rp % ringBlocks];
            if (b.generation != gen) {
                blockOffset = 0;
                readPos.store(rp + 1, std::memory_order_release);
                continue;
            }
            const int k = std::min(b.frames - blockOffset, frames - got);
            std::memcpy(left + got, b.left + blockOffset, sizeof(float) * std::size_t(k));
            std::memcpy(right + got, b.right + blockOffset, sizeof(float) * std::size_t(k));
            blockOffset += k;
            got += k;
            if (blockOffset == b.frames) {
                blockOffset = 0;
                readPos.store(rp + 1, std::memory_order_release);
            }
        }
        if (got > 0) {
            const float target = volume.load(std::memory_order_relaxed);
            if (target != rampTarget) {
                rampTarget = target;
                rampLeft = std::max(1, int(rate.load(std::memory_order_relaxed) * rampSeconds));
                rampStep = (target - gain) / float(rampLeft);
            }
            applyGain(left, right, got);
            sampleTime.store(sampleTime.load(std::memory_order_relaxed) + got, std::memory_order_release);
        }
        return got;
    }

    // Offline only: sleeps until the reader publishes more, or gives up.
    bool waitForReader(std::uint64_t seenWritePos) {
        dataWaiters.fetch_add(1, std::memory_order_seq_cst);
        reader->wake();
        bool more = writePos.load(std::memory_order_seq_cst) != seenWritePos;
        if (!more) {
            timespec deadline{};
            clock_gettime(CLOCK_MONOTONIC, &deadline);
            deadline.tv_sec += offlineWaitSeconds;
            int r = 0;
            while ((r = sem_clockwait(&dataReady, CLOCK_MONOTONIC, &deadline)) != 0 && errno == EINTR) {
            }
            more = r == 0;
        }
        dataWaiters.fetch_sub(1, std::memory_order_seq_cst);
        return more;
    }

    int render(float* left, float* right, int frames) {
        int done = 0;
        for (;;) {
            if (!tryConsumer(rendering)) break;
            if (state.load(std::memory_order_acquire) != playing) {
                consumer.store(idle, std::memory_order_release);
                break;
            }
            const int got = pull(left + done, right + done, frames - done);
            done += got;
            if (got > 0) starving = false;
            const bool queued = sampleTime.load(std::memory_order_relaxed) < queuedEnd.load(std::memory_order_acquire);
            const bool wait = done < frames && queued && waitForData.load(std::memory_order_relaxed);
            if (done < frames && queued && !wait && !starving) {
                starving = true;
                underruns.fetch_add(1, std::memory_order_relaxed);
            }
            const std::uint64_t seen = dryAt;
            consumer.store(idle, std::memory_order_release);
            if (!wait) break;
            if (!waitForReader(seen)) {
                underruns.fetch_add(1, std::memory_order_relaxed);
                break;
            }
        }
        return done;
    }
};

Player::Player() : impl_(std::make_unique<Impl>()) {}

Player::~Player() = default;

void Player::setSampleRate(double rate) {
    if (rate > 0.0) impl_->rate.store(rate, std::memory_order_relaxed);
}

double Player::sampleRate() const {
    return impl_->rate.load(std::memory_order_relaxed);
}

void Player::scheduleSegment(std::shared_ptr<AudioFile> file, std::int64_t startFrame, std::int64_t frameCount) {
    if (!file || frameCount <= 0) return;
    {
        std::lock_guard lock(impl_->mutex);
        impl_->queue.push_back(Item{std::move(file), nullptr, std::max<std::int64_t>(startFrame, 0), frameCount});
        impl_->queuedEnd.store(impl_->queuedEnd.load(std::memory_order_relaxed) + frameCount,
                               std::memory_order_release);
    }
    impl_->reader->wake();
}

void Player::scheduleBuffer(std::shared_ptr<const AudioBuffer> buffer) {
    if (!buffer || buffer->frames() == 0) return;
    const std::int64_t frames = buffer->frames();
    {
        std::lock_guard lock(impl_->mutex);
        impl_->queue.push_back(Item{nullptr, std::move(buffer), 0, frames});
        impl_->queuedEnd.store(impl_->queuedEnd.load(std::memory_order_relaxed) + frames, std::memory_order_release);
    }
    impl_->reader->wake();
}

std::int64_t Player::truncate(std::int64_t end) {
    std::lock_guard lock(impl_->mutex);
    return impl_->truncateLocked(end);
}

void Player::play() {
    Impl& d = *impl_;
    const int state = d.state.load(std::memory_order_acquire);
    if (state == playing) return;
    if (state == stopped) {
        d.reader->wake();
        std::unique_lock lock(d.mutex);
        d.decoded.wait_for(lock, playWait, [&] {
            return d.producedFrames >= std::min(d.queuedEnd.load(std::memory_order_relaxed), playReadyFrames);
        });
        d.withConsumer([&] { d.resetGain(); });
        d.started.store(true, std::memory_order_release);
    }
    d.state.store(playing, std::memory_order_release);
}

void Player::pause() {
    int expected = playing;
    impl_->state.compare_exchange_strong(expected, paused, std::memory_order_acq_rel);
}

void Player::stop() {
    Impl& d = *impl_;
    d.state.store(stopped, std::memory_order_release);
    {
        std::lock_guard lock(d.mutex);
        // Under the consumer flag, so a render in progress finishes with the
        // old run and the next one sees the new run whole.
        d.withConsumer([&] {
            d.generation.fetch_add(1, std::memory_order_relaxed);
            d.sampleTime.store(0, std::memory_order_relaxed);
            d.blockOffset = 0;
            d.starving = false;
            d.resetGain();
        });
        d.started.store(false, std::memory_order_release);
        d.queue.clear();
        d.headDone = 0;
        d.producedFrames = 0;
        d.queuedEnd.store(0, std::memory_order_release);
    }
    if (d.dataWaiters.load(std::memory_order_seq_cst) > 0) sem_post(&d.dataReady);
    d.reader->wake();
}

bool Player::isPlaying() const {
    return impl_->state.load(std::memory_order_acquire) == playing;
}

std::optional<std::int64_t> Player::sampleTime() const {
    if (!impl_->started.load(std::memory_order_acquire)) return std::nullopt;
    return impl_->sampleTime.load(std::memory_order_acquire);
}

void Player::setVolume(float volume) {
    if (!(volume >= 0.0f)) volume = 0.0f; // NaN too
    impl_->volume.store(std::min(volume, 1.0f), std::memory_order_relaxed);
}

float Player::volume() const {
    return impl_->volume.load(std::memory_order_relaxed);
}

std::int64_t Player::underruns() const {
    return impl_->underruns.load(std::memory_order_relaxed);
}

void Player::setWaitForData(bool wait) {
    impl_->waitForData.store(wait, std::memory_order_relaxed);
}

void Player::render(float* left, float* right, int frames) noexcept {
    if (frames <= 0) return;
    const int done = impl_->render(left, right, frames);
    std::fill(left + done, left + frames, 0.0f);
    std::fill(right + done, right + frames, 0.0f);
}

} // namespace ostinel
