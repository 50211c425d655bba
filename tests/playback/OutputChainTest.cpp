#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <memory>
#include <thread>
#include <vector>

#include "TestSignals.h"
#include "playback/OutputChain.h"
#include "support/PlayerFixtures.h"
#include "support/RealtimeGuard.h"

using namespace ostinel;
using test::noise;
using test::sine;

namespace {

// The resampler is C and grows its buffers with realloc, which RealtimeGuard
// (operator new) can't see; the sanitizers' allocation hook can.
std::atomic<int> mallocsSeen{0};
thread_local bool watchingMallocs = false;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void*, std::size_t),
                                                         void (*)(const volatile void*));
bool watchMallocs() {
    static const int installed = __sanitizer_install_malloc_and_free_hooks(
        [](const volatile void*, std::size_t) {
            if (watchingMallocs) ++mallocsSeen;
        },
        [](const volatile void*) {});
    return installed != 0;
}
#else
bool watchMallocs() {
    return false;
}
#endif

constexpr double kMaxAmplitude = 5.623413251903491; // +15 dB

using Rendered = test::Stereo;

// A player with one buffer queued and playing, and the chain behind it.
struct Rig {
    Player player;
    OutputChain chain{player};

    Rig(double fileRate, double deviceRate, std::vector<float> left, std::vector<float> right,
        float volume = 1.0f, bool offline = true) {
        player.setSampleRate(fileRate);
        player.setWaitForData(offline);
        player.setVolume(volume);
        EXPECT_TRUE(chain.setRates(fileRate, deviceRate));
        auto buffer = std::make_shared<AudioBuffer>();
        buffer->sampleRate = fileRate;
        buffer->channels = {std::move(left), std::move(right)};
        player.scheduleBuffer(buffer);
        player.play();
    }

    // Pulls in uneven device periods, as servers do.
    Rendered render(int frames, int outCount = 2) {
        Rendered r{std::vector<float>(std::size_t(frames)), std::vector<float>(std::size_t(frames))};
        const int periods[] = {256, 1024, 1, 300, 4096, 64};
        for (int at = 0, k = 0; at < frames; ++k) {
            const int n = std::min(periods[k % 6], frames - at);
            float* out[] = {r.left.data() + at, r.right.data() + at};
            chain.render(out, outCount, n);
            at += n;
        }
        return r;
    }
};

float peakOf(const std::vector<float>& v) {
    return LevelMeterTap::peakOf(v.data(), int(v.size()));
}

} // namespace

TEST(OutputChain, AtEqualRatesThePlayersSamplesPassBitForBitAfterTheFixedGain) {
    const int frames = 48000;
    const auto left = noise(frames, 0.17f, 1); // just under full scale after +15 dB
    const auto right = noise(frames, 0.1f, 2);
    Rig rig(48000, 48000, left, right);
    const std::size_t la = std::size_t(rig.chain.limiterLookAheadFrames());
    const Rendered out = rig.render(frames + 500);
    for (std::size_t i = 0; i < out.left.size(); ++i) {
        const bool playing = i >= la && i < la + std::size_t(frames);
        ASSERT_EQ(out.left[i], playing ? left[i - la] * OutputChain::fixedGain : 0.0f) << i;
        ASSERT_EQ(out.right[i], playing ? right[i - la] * OutputChain::fixedGain : 0.0f) << i;
    }
    // The meters saw exactly what went out, and start again from nothing.
    const auto peaks = rig.chain.takePeaks();
    EXPECT_EQ(peaks.left, peakOf(out.left));
    EXPECT_EQ(peaks.right, peakOf(out.right));
    EXPECT_EQ(rig.chain.takePeaks().left, 0.0f);
    EXPECT_EQ(rig.chain.limiterReductionDb(), 0.0f);

    // Unity track level: player volume 1 / 5.6234 comes out at the file's level.
    Rig unity(48000, 48000, left, right, float(1.0 / kMaxAmplitude));
    const Rendered u = unity.render(frames + int(la));
    for (std::size_t i = 0; i < std::size_t(frames); ++i)
        ASSERT_NEAR(u.left[i + la], left[i], 2.5e-7f * std::fabs(left[i])) << i;
}

TEST(OutputChain, ResamplingKeepsFrequencyLevelLengthAndReportsItsDelay) {
    const double level = 0.1 * kMaxAmplitude; // -20 dBFS at +15 dB
    const auto tone = sine(44100, 1000, 0.1, 44100);
    Rig rig(44100, 48000, tone, tone);
    const int latency = rig.chain.latencyFrames();
    const std::vector<float> y = rig.render(48000 + latency + 4000).left;

    // Silent up to the filter's pre-ring; at half level a twelfth of a period
    // (4 frames) after the reported delay.
    for (int i = 0; i < latency - 100; ++i)
        ASSERT_LT(std::fabs(y[std::size_t(i)]), 1e-5f) << i;
    int half = 0;
    while (std::fabs(y[std::size_t(half)]) < level / 2)
        ++half;
    EXPECT_NEAR(half, latency + 4, 3);

    // Frequency from the zero crossings of the middle, level from its RMS.
    const int from = latency + 4000, to = latency + 44000;
    double first = -1, last = 0, sumSquares = 0;
    int crossings = 0;
    for (int i = from; i < to; ++i) {
        const double a = y[std::size_t(i)], b = y[std::size_t(i + 1)];
        sumSquares += a * a;
        if ((a < 0) != (b < 0)) {
            last = i + a / (a - b);
            first = first < 0 ? last : first;
            ++crossings;
        }
    }
    EXPECT_NEAR((crossings - 1) / 2.0 / ((last - first) / 48000), 1000.0, 0.01);
    const double rms = std::sqrt(sumSquares / (to - from));
    EXPECT_NEAR(20 * std::log10(rms * std::sqrt(2.0) / level), 0.0, 0.01);
    // Length: all the energy in frames of the steady level; 44100 in, 48000 out.
    double energy = 0;
    for (float v : y)
        energy += double(v) * v;
    EXPECT_NEAR(energy / (rms * rms), 48000.0, 10.0);

    // Back to equal rates: no resampler, no delay beyond the limiter's.
    EXPECT_FALSE(rig.chain.setRates(0, 48000));
    EXPECT_TRUE(rig.chain.setRates(96000, 48000));
    EXPECT_TRUE(rig.chain.setRates(48000, 48000)); // replaces one never taken up
    EXPECT_EQ(rig.chain.latencyFrames(), rig.chain.limiterLookAheadFrames());
}

TEST(OutputChain, MonoFoldsLeftAndRightAtHalfEach) {
    const int frames = 20000;
    const auto left = sine(48000, 440, 0.15, frames);
    const auto right = noise(frames, 0.05f, 3);
    // A single output buffer always folds; the mono setting folds into both.
    for (bool monoSetting : {false, true}) {
        Rig rig(48000, 48000, left, right);
        rig.chain.setMono(monoSetting);
        const std::size_t la = std::size_t(rig.chain.limiterLookAheadFrames());
        const Rendered out = rig.render(frames + int(la), monoSetting ? 2 : 1);
        for (std::size_t i = 0; i < std::size_t(frames); ++i) {
            const float folded =
                0.5f * (left[i] * OutputChain::fixedGain + right[i] * OutputChain::fixedGain);
            ASSERT_EQ(out.left[i + la], folded) << i;
            ASSERT_EQ(monoSetting ? out.right[i + la] : folded, folded) << i;
        }
        const auto peaks = rig.chain.takePeaks();
        EXPECT_EQ(peaks.left, peakOf(out.left));
        EXPECT_EQ(peaks.right, peaks.left);
    }
}

TEST(OutputChain, LimitsAfterTheGainAndBypassesWithoutMovingTheTimeline) {
    const auto tone = sine(48000, 1000, 1.0, 24000); // +15 dB over full scale
    Rig rig(48000, 48000, tone, tone);
    const std::size_t la = std::size_t(rig.chain.limiterLookAheadFrames());
    EXPECT_LE(peakOf(rig.render(12000).left), 1.0f);
    EXPECT_NEAR(rig.chain.limiterReductionDb(), 15.0, 0.05);
    EXPECT_NEAR(rig.chain.takePeaks().left, 1.0f, 0.01f);

    // Off: the reduction reads 0 at once; the rest comes out unlimited, with
    // the same delay.
    rig.chain.setLimiterEnabled(false);
    EXPECT_EQ(rig.chain.limiterReductionDb(), 0.0f);
    const Rendered out = rig.render(12000);
    for (std::size_t i = la; i < out.left.size(); ++i)
        ASSERT_EQ(out.left[i], tone[12000 + i - la] * OutputChain::fixedGain) << i;
    EXPECT_NEAR(rig.chain.takePeaks().left, kMaxAmplitude, 1e-3);
}

TEST(OutputChain, RenderNeitherAllocatesNorWaitsWhileTheMainThreadChangesEverything) {
    const bool cAllocationsSeen = watchMallocs();
    const int frames = 441000;
    Rig rig(44100, 48000, sine(44100, 500, 0.5, frames), noise(frames, 0.5f, 4), 1.0f, false);

    // The device thread, with hot material so the limiter works throughout.
    std::atomic<int> rendered{0};
    std::int64_t allocations = -1, waits = -1;
    int cAllocations = -1;
    std::thread device([&] {
        std::vector<float> left(4096), right(4096);
        float* out[] = {left.data(), right.data()};
        const int periods[] = {1024, 256, 4096, 1, 333, 512};
        mallocsSeen = 0;
        watchingMallocs = true;
        test::RealtimeGuard guard;
        for (int k = 0; k < 600; ++k) {
            rig.chain.render(out, k % 7 == 0 ? 1 : 2, periods[k % 6]);
            rendered.fetch_add(1);
        }
        allocations = guard.allocations();
        waits = guard.mutexWaits();
        watchingMallocs = false;
        cAllocations = mallocsSeen.load();
    });
    // Meanwhile: new rates (each a new resampler and limiter handed over),
    // mono, limiter, meters.
    const double deviceRates[] = {48000, 44100, 96000, 48000};
    for (int change = 0; change < 20; ++change) {
        const int at = rendered.load();
        while (rendered.load() < std::min(600, at + 10))
            std::this_thread::yield();
        EXPECT_TRUE(rig.chain.setRates(44100, deviceRates[change % 4]));
        rig.chain.setMono(change % 3 == 0);
        rig.chain.setLimiterEnabled(change % 4 != 1);
        rig.chain.takePeaks();
    }
    device.join();
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(waits, 0);
    if (cAllocationsSeen) {
        EXPECT_EQ(cAllocations, 0);
    }
}
