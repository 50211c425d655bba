// Spacing of MIDI timecode quarter frames on JACK MIDI, to the sample.
//
// A private dummy server (48 kHz, 256-frame periods) runs the audio client;
// the live sender, with its own quarter-frame thread, sends on
// "Ostinel:Ostinel MTC", and a capture client of our own stamps every piece
// with the frame it arrives on. Reported: the standard deviation and the
// largest deviation of the interval between consecutive pieces from the
// nominal one, in samples (target: at most 1 beyond the rounding to whole
// samples), and the server overruns during the run, each of which moves
// frames against time.
//
// Usage: bench_mtc_jack [seconds] [rate]   (default 30 s, fps25). Rates:
// fps24, fps25, fps2997df, fps30.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "JackMidiCapture.h"
#include "JackServer.h"
#include "platform/AudioSystem.h"
#include "platform/MidiSystem.h"
#include "MtcBenchArgs.h"
#include "timecode/MTCSender.h"

namespace {

using namespace ostinel;

struct Deviation {
    std::size_t intervals = 0;
    double stdDev = 0.0;
    double largest = 0.0;
    double mean = 0.0;
    // Beyond the two whole-sample intervals around a nominal one that is no
    // whole number of samples (400.4 at 29.97 fps), which rounding alone
    // alternates between.
    double largestBeyondRounding = 0.0;
};

Deviation measure(const std::vector<test::JackMidiCapture::Event>& events, double nominal) {
    std::vector<std::uint32_t> pieces;
    for (const auto& e : events)
        if (e.bytes.size() == 2 && e.bytes[0] == 0xF1) pieces.push_back(e.frame);
    Deviation d;
    double sum = 0.0, sumSquares = 0.0;
    for (std::size_t i = 1; i < pieces.size(); ++i) {
        const double deviation = double(std::int32_t(pieces[i] - pieces[i - 1])) - nominal;
        sum += deviation;
        sumSquares += deviation * deviation;
        d.largest = std::max(d.largest, std::abs(deviation));
        const double interval = nominal + deviation;
        d.largestBeyondRounding = std::max(
            {d.largestBeyondRounding, interval - std::ceil(nominal), std::floor(nominal) - interval});
        ++d.intervals;
    }
    if (d.intervals == 0) return d;
    d.mean = sum / double(d.intervals);
    d.stdDev = std::sqrt(std::max(0.0, sumSquares / double(d.intervals) - d.mean * d.mean));
    return d;
}

} // namespace

int main(int argc, char** argv) {
    const auto args = bench::mtcBenchArgs(argc, argv);
    if (!args) return 2;
    const double seconds = args->seconds;
    const TimecodeRate rate = args->rate;
    const double interval = args->interval();

    test::JackServer server;
    setenv("OSTINEL_AUDIO_BACKEND", "jack", 1);
    setenv("OSTINEL_MIDI_BACKEND", "jack", 1);
    auto audio = AudioSystem::create();
    if (!audio) {
        std::fprintf(stderr, "%s\n", audio.error().message.c_str());
        return 1;
    }
    auto midi = MidiSystem::create(**audio);
    if (!midi) {
        std::fprintf(stderr, "%s\n", midi.error().message.c_str());
        return 1;
    }
    const double sampleRate = (*audio)->sampleRate();
    const double nominal = sampleRate * interval;

    test::JackMidiCapture desk("Desk", std::size_t((seconds + 2.0) / interval) + 64);
    std::vector<test::JackMidiCapture::Event> events;
    int xruns = 0;
    {
        MTCSender sender(**midi);
        sender.setRate(rate);
        desk.connectFrom("Ostinel:Ostinel MTC");
        desk.clear();
        sender.locate(3600.0);
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
        sender.stop();
        // What is on its way arrives within a period or two.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        events = desk.events();
        xruns = desk.xruns();
    }
    const Deviation d = measure(events, nominal);
    if (d.intervals < 2) {
        std::fprintf(stderr, "only %zu intervals\n", d.intervals);
        return 1;
    }

    std::printf("rate %s, %.1f s at %.0f Hz, %zu intervals (expected %.0f), nominal %.2f samples\n",
                timecode::rawValue(rate), seconds, sampleRate, d.intervals, seconds / interval, nominal);
    std::printf("server overruns during the run: %d\n", xruns);
    std::printf("interval deviation: std dev %.3f samples, largest %.1f samples, mean %.4f samples\n",
                d.stdDev, d.largest, d.mean);
    std::printf("largest beyond the whole-sample rounding of the nominal interval: %.1f samples\n",
                d.largestBeyondRounding);
    const bool met = d.largestBeyondRounding <= 1.0;
    std::printf("target (at most 1 sample beyond rounding): %s\n", met ? "met" : "MISSED");
    return met ? 0 : 1;
}
