#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "playback/AudioBuffer.h"
#include "platform/AudioFile.h"

namespace ostinel {

// The player: file regions and memory buffers appended gapless on one
// continuous sample timeline, at the file's rate. A read-ahead thread decodes
// queued regions into a lock-free ring, so the real-time render never reads a
// file, allocates, logs or waits on a lock.
//
// Threads: schedule*, play, pause, stop, setVolume from the control side
// (main thread or the scheduler's thread, serialised by the caller);
// render() from the real-time thread only.
class Player {
public:
    Player();
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    // The rate of the timeline, that of the file being played. Set before
    // scheduling; a change takes effect after stop().
    void setSampleRate(double rate);
    double sampleRate() const;

    // Appends frames [startFrame, startFrame + frameCount) of the file. The
    // player becomes the file object's only reader until stop() and the read
    // it may still have in flight then. Frames the file cannot deliver play
    // as silence, so the timeline keeps its length.
    void scheduleSegment(std::shared_ptr<AudioFile> file, std::int64_t startFrame, std::int64_t frameCount);
    void scheduleBuffer(std::shared_ptr<const AudioBuffer> buffer);

    // Ends the timeline at `end`, or where rendering has already got to if
    // that is later: queued audio past it is dropped, decoded or not, and
    // what is scheduled next follows on from there. Returns the new end.
    std::int64_t truncate(std::int64_t end);

    // Starts or resumes rendering. From stopped, waits (at most 250 ms) until
    // the first queued audio is decoded, so the first render is never starved.
    void play();
    // Keeps the queue and the timeline position.
    void pause();
    // Drops the queue and restarts the timeline at zero.
    void stop();
    bool isPlaying() const;

    // Samples rendered since the last play() from stopped, at the file's rate;
    // nothing before the first play() after a stop. Does not advance while
    // the ring is empty, so a disk stall never shifts the position map.
    std::optional<std::int64_t> sampleTime() const;

    // Linear gain, 0 to 1, ramped over 5 ms in render().
    void setVolume(float volume);
    float volume() const;

    // Times the ring ran dry while audio was still queued: one per stall,
    // however many periods it lasts. The end of the queue is not one.
    std::int64_t underruns() const;

    // Offline rendering: render() waits for the read-ahead instead of
    // running dry. Never set on a real-time device.
    void setWaitForData(bool wait);

    // Real-time side: writes `frames` frames of stereo (a mono file on both
    // sides; of more channels, the first two) into left and right.
    void render(float* left, float* right, int frames) noexcept;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace ostinel
