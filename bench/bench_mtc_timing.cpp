// Spacing of MIDI timecode quarter frames from the live sender.
//
// The sender runs on the loopback MIDI backend with its own quarter-frame
// thread; a tap stamps each quarter frame with CLOCK_MONOTONIC as it leaves
// the sender. Reported: the standard deviation and the largest deviation of
// the interval between consecutive pieces from the nominal one, in ms
// (targets: below 0.2 ms and 1 ms), and how late pieces leave after their
// deadline. With JACK MIDI the deadline itself places a piece, so the
// wake-up jitter measured here is the bound for the ALSA sequencer.
//
// Usage: bench_mtc_timing [seconds] [rate]   (default 30 s, fps25; also
// OSTINEL_MTC_BENCH_SECONDS). Rates: fps24, fps25, fps2997df, fps30.

#include <sched.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/LoopbackMidiSystem.h"
#include "MtcBenchArgs.h"
#include "timecode/MTCSender.h"

namespace {

using namespace ostinel;

double monotonicNow() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// The scheduling policy of the sender's thread, found by its name.
const char* mtcThreadPolicy() {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm"), name);
        if (name != "ostinel-mtc") continue;
        const int policy = sched_getscheduler(std::stoi(task.path().filename().string()));
        return policy == SCHED_FIFO ? "SCHED_FIFO" : "not real-time (SCHED_FIFO refused)";
    }
    return "not found";
}

struct Stamp {
    double received = 0.0;
    double deadline = 0.0;
};

} // namespace

int main(int argc, char** argv) {
    const char* env = std::getenv("OSTINEL_MTC_BENCH_SECONDS");
    const auto args = bench::mtcBenchArgs(argc, argv, env ? std::atof(env) : 30.0);
    if (!args) return 2;
    const double seconds = args->seconds;
    const TimecodeRate rate = args->rate;
    const double interval = args->interval();

    // Filled by the sender's thread only; read after it is joined.
    std::vector<Stamp> stamps(std::size_t((seconds + 2.0) / interval) + 64);
    std::atomic<std::size_t> count{0};

    const char* policy = "";
    LoopbackMidiSystem midi;
    midi.setTap([&](const LoopbackMessage& m) {
        const double now = monotonicNow();
        if (m.bytes.size() != 2 || m.bytes[0] != 0xF1) return;
        const std::size_t i = count.load(std::memory_order_relaxed);
        if (i < stamps.size()) stamps[i] = {now, m.time};
        count.store(i + 1, std::memory_order_relaxed);
    });
    {
        MTCSender sender(midi);
        sender.setRate(rate);
        sender.locate(3600.0);
        std::this_thread::sleep_for(std::chrono::duration<double>(std::min(seconds, 0.5)));
        policy = mtcThreadPolicy();
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds - std::min(seconds, 0.5)));
    }
    const std::size_t n = std::min(count.load(), stamps.size());
    if (n < 3) {
        std::fprintf(stderr, "only %zu quarter frames\n", n);
        return 1;
    }

    double sum = 0.0, sumSquares = 0.0, largest = 0.0;
    std::vector<double> lateness;
    for (std::size_t i = 0; i < n; ++i) {
        lateness.push_back(stamps[i].received - stamps[i].deadline);
        if (i == 0) continue;
        const double deviation = stamps[i].received - stamps[i - 1].received - interval;
        sum += deviation;
        sumSquares += deviation * deviation;
        largest = std::max(largest, std::abs(deviation));
    }
    const double intervals = double(n - 1);
    const double mean = sum / intervals;
    const double stdDev = std::sqrt(std::max(0.0, sumSquares / intervals - mean * mean));
    std::sort(lateness.begin(), lateness.end());
    const auto ms = [](double s) { return s * 1e3; };

    std::printf("rate %s, %.1f s, %zu quarter frames (expected %.0f), nominal interval %.4f ms\n",
                timecode::rawValue(rate), seconds, n, seconds / interval, ms(interval));
    std::printf("quarter-frame thread: %s\n", policy);
    std::printf("interval deviation: std dev %.4f ms, largest %.4f ms, mean %.6f ms\n", ms(stdDev),
                ms(largest), ms(mean));
    std::printf("lateness after deadline: median %.4f ms, 99th %.4f ms, largest %.4f ms\n",
                ms(lateness[lateness.size() / 2]), ms(lateness[lateness.size() * 99 / 100]),
                ms(lateness.back()));
    const bool met = ms(stdDev) < 0.2 && ms(largest) < 1.0;
    std::printf("targets (std dev < 0.2 ms, largest < 1 ms): %s\n", met ? "met" : "MISSED");
    return met ? 0 : 1;
}
