#pragma once

// What the JACK latency benchmarks share: the loud cue, the probe client that
// notes the frame of the first sound at the engine's output, and the
// arithmetic on frame times.

#include <jack/jack.h>
#include <sndfile.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace ostinel::bench {

inline constexpr int kJackRate = 48000;
inline constexpr int kJackPeriod = 256;

// A -6 dBFS 1 kHz square wave, two seconds, whose first sample is already
// loud: the first non-silent frame is the first frame of the cue.
inline std::string writeSquare(const std::filesystem::path& dir) {
    const auto path = (dir / "square.wav").string();
    SF_INFO info{};
    info.samplerate = kJackRate;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!file) throw std::runtime_error("can't write " + path);
    std::vector<float> frames(std::size_t(kJackRate) * 2 * 2);
    for (std::size_t i = 0; i < frames.size() / 2; ++i) {
        const float v = (i / 24) % 2 == 0 ? 0.5f : -0.5f; // 1 kHz, starting high
        frames[2 * i] = frames[2 * i + 1] = v;
    }
    sf_writef_float(file, frames.data(), sf_count_t(frames.size() / 2));
    sf_close(file);
    return path;
}

// Notes the frame time of the first non-silent sample after arm(), and
// whether any arrived before (which would make the repetition meaningless).
class Probe {
  public:
    explicit Probe(const std::string& source) {
        jack_status_t status{};
        client_ = jack_client_open("latency-probe", JackNoStartServer, &status);
        if (!client_) throw std::runtime_error("probe client could not open");
        port_ = jack_port_register(client_, "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
        jack_set_process_callback(client_, &Probe::process, this);
        jack_set_xrun_callback(client_, &Probe::overran, this);
        if (!port_ || jack_activate(client_) != 0) throw std::runtime_error("probe client could not start");
        if (jack_connect(client_, source.c_str(), jack_port_name(port_)) != 0)
            throw std::runtime_error("probe could not connect to " + source);
    }
    ~Probe() {
        jack_deactivate(client_);
        jack_client_close(client_);
    }
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    jack_client_t* client() const { return client_; }

    // Returns once a whole period has passed armed, and whether it was silent.
    bool arm() {
        first_.store(-1);
        silentCycles_.store(0);
        armed_.store(true, std::memory_order_release);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        while (silentCycles_.load() < 2 && first_.load() < 0 && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        return first_.load() < 0 && silentCycles_.load() >= 2;
    }
    std::int64_t first() const { return first_.load(std::memory_order_acquire); }
    int xruns() const { return xruns_.load(); }

  private:
    static int process(jack_nframes_t frames, void* arg) {
        auto* self = static_cast<Probe*>(arg);
        if (!self->armed_.load(std::memory_order_acquire) ||
            self->first_.load(std::memory_order_relaxed) >= 0)
            return 0;
        const auto* in = static_cast<const float*>(jack_port_get_buffer(self->port_, frames));
        for (jack_nframes_t i = 0; i < frames; ++i) {
            if (in[i] != 0.0f) {
                self->first_.store(std::int64_t(jack_last_frame_time(self->client_)) + i,
                                   std::memory_order_release);
                self->armed_.store(false, std::memory_order_release);
                return 0;
            }
        }
        self->silentCycles_.fetch_add(1);
        return 0;
    }
    static int overran(void* arg) {
        static_cast<Probe*>(arg)->xruns_.fetch_add(1);
        return 0;
    }

    jack_client_t* client_ = nullptr;
    jack_port_t* port_ = nullptr;
    std::atomic<bool> armed_{false};
    std::atomic<std::int64_t> first_{-1};
    std::atomic<int> silentCycles_{0};
    std::atomic<int> xruns_{0};
};

// Frame times wrap at 2^32; differences between nearby ones don't.
inline std::int64_t framesBetween(jack_nframes_t from, std::int64_t to) {
    return std::int64_t(std::int32_t(std::uint32_t(to) - from));
}

template <class T> double percentile(std::vector<T> values, double p) {
    std::sort(values.begin(), values.end());
    return double(values[std::size_t(std::lround(p * double(values.size() - 1)))]);
}

} // namespace ostinel::bench
