#include "support/PlayerFixtures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <mutex>
#include <numbers>
#include <thread>

#include "support/AudioFixtures.h"

namespace ostinel::test {

float rampAt(std::int64_t frame, int channel) {
    const float v = float(frame + 1 + std::int64_t(channel) * (1 << 22)) / float(1 << 22);
    return channel % 2 ? -v : v;
}

std::string writeFloatWav(const std::string& path, const std::vector<float>& interleaved, int sampleRate,
                          int channels) {
    return writeSamples(path, interleaved, sampleRate, channels, WavSamples::Float);
}

std::string writeRamp(const std::string& path, std::int64_t frames, int sampleRate, int channels) {
    std::vector<float> interleaved;
    interleaved.reserve(std::size_t(frames * channels));
    for (std::int64_t i = 0; i < frames; ++i)
        for (int c = 0; c < channels; ++c)
            interleaved.push_back(rampAt(i, c));
    return writeFloatWav(path, interleaved, sampleRate, channels);
}

void Stereo::append(const Stereo& more) {
    left.insert(left.end(), more.left.begin(), more.left.end());
    right.insert(right.end(), more.right.begin(), more.right.end());
    fileFrame.insert(fileFrame.end(), more.fileFrame.begin(), more.fileFrame.end());
}

void appendRamp(Stereo& out, std::int64_t from, std::int64_t to, int right, SampleAt at) {
    for (std::int64_t i = from; i < to; ++i) {
        out.left.push_back(at(i, 0));
        out.right.push_back(at(i, right));
        out.fileFrame.push_back(i);
    }
}

void appendSeam(Stereo& out, std::int64_t loopStart, std::int64_t loopEnd, std::int64_t n, SampleAt at) {
    for (std::int64_t i = 0; i < n; ++i) {
        const double angle = (double(i) + 0.5) / double(n) * std::numbers::pi / 2;
        const auto mix = [&](int c) {
            return float(at(loopEnd + i, c) * std::cos(angle) + at(loopStart + i, c) * std::sin(angle));
        };
        out.left.push_back(mix(0));
        out.right.push_back(mix(1));
        out.fileFrame.push_back(loopStart + i);
    }
}

Stereo render(Player& player, std::int64_t frames, int period) {
    Stereo out;
    out.left.resize(std::size_t(frames));
    out.right.resize(std::size_t(frames));
    for (std::int64_t at = 0; at < frames; at += period) {
        const int n = int(std::min<std::int64_t>(period, frames - at));
        player.render(out.left.data() + at, out.right.data() + at, n);
    }
    return out;
}

Stereo playOut(Player& player, SegmentScheduler& scheduler, const std::function<void()>& each, int period) {
    Stereo out;
    for (int guard = 0; guard < 100000; ++guard) {
        {
            std::lock_guard lock(scheduler.lock());
            if (scheduler.walkLocked().isDone && scheduler.playerSampleLocked() >= scheduler.nextStartSampleLocked())
                break;
        }
        out.append(render(player, period, period));
        scheduler.topUp();
        if (each) each();
    }
    // The last period runs past the end of the queue.
    out.left.resize(std::min(out.left.size(), std::size_t(player.sampleTime().value_or(0))));
    out.right.resize(out.left.size());
    return out;
}

bool pollUntil(const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::yield();
    }
    return true;
}

void expectSameAudio(const Stereo& got, const Stereo& want, float tolerance) {
    EXPECT_EQ(got.frames(), want.frames());
    const std::size_t n = std::min(got.left.size(), want.left.size());
    for (std::size_t i = 0; i < n; ++i)
        if (std::abs(got.left[i] - want.left[i]) > tolerance || std::abs(got.right[i] - want.right[i]) > tolerance) {
            ADD_FAILURE() << "first difference at frame " << i << ": (" << got.left[i] << ", " << got.right[i]
                          << ") instead of (" << want.left[i] << ", " << want.right[i] << ")";
            return;
        }
}

} // namespace ostinel::test
