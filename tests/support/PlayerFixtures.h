#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "playback/Player.h"
#include "playback/SegmentScheduler.h"

namespace ostinel::test {

// Frame i of channel c of a ramp file: never 0, never repeated within or
// across channels, and exact in a float WAV up to 2^22 frames, so any lost,
// repeated or misplaced frame shows.
float rampAt(std::int64_t frame, int channel);
// Writes interleaved samples as a float WAV (a path ending in .wav). Returns the path.
std::string writeFloatWav(const std::string& path, const std::vector<float>& interleaved, int sampleRate,
                          int channels);
// Writes a float WAV of the ramp. Returns the path.
std::string writeRamp(const std::string& path, std::int64_t frames, int sampleRate = 44100, int channels = 2);

// Stereo audio, and for each frame the file frame it stands for.
struct Stereo {
    std::vector<float> left, right;
    std::vector<std::int64_t> fileFrame;
    std::int64_t frames() const { return std::int64_t(left.size()); }
    void append(const Stereo& more);
};

// A file's sample at a frame and channel.
using SampleAt = float (*)(std::int64_t frame, int channel);

// What a file of `at` (a ramp file unless told) plays: frames [from, to) (the
// right side from channel `right`), or the equal-power seam of a loop over
// [loopStart, loopEnd), `n` frames long.
void appendRamp(Stereo& out, std::int64_t from, std::int64_t to, int right = 1, SampleAt at = rampAt);
void appendSeam(Stereo& out, std::int64_t loopStart, std::int64_t loopEnd, std::int64_t n, SampleAt at = rampAt);

// Renders in periods of `period` frames from the calling thread.
Stereo render(Player& player, std::int64_t frames, int period = 256);
// Renders until everything the walk queues has been played, running one
// top-up after every period; `each` runs after every period too.
Stereo playOut(Player& player, SegmentScheduler& scheduler, const std::function<void()>& each = {}, int period = 256);

// Polls, yielding, for at most 10 s: a broken build fails instead of hanging.
bool pollUntil(const std::function<bool()>& done);

// Fails with the first frame that differs (by more than `tolerance`) and
// where the lengths differ.
void expectSameAudio(const Stereo& got, const Stereo& want, float tolerance = 0.0f);

} // namespace ostinel::test
