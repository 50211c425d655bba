// ostinel-cli render FILE.ot --cue N --seconds S --out OUT.wav [--rate R]
// [--go T]... [--stop-fade T]... [--timecode-rate R] [--ltc-out LTC.wav]
// [--midi-out MIDI.txt]: plays one cue through the real engine on the offline
// device, in virtual time, and writes what the device heard as 32-bit float
// WAV; the engine's events go to standard output as JSON lines. The LTC
// output and every MIDI message sent can be written too, timed exactly.

#include <sndfile.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iostream>
#include <memory>
#include <vector>

#include "Command.h"
#include "CueRun.h"
#include "ReadOnlyPreferences.h"
#include "RenderTimecode.h"
#include "platform/ManualMainLoop.h"
#include "platform/OfflineAudioSystem.h"
#include "playback/PlaybackEngine.h"

namespace ostinel::cli {

namespace {

const char* const usage =
    "usage: ostinel-cli render FILE.ot --cue N --seconds S --out OUT.wav [--rate R] [--go T]... [--stop-fade T]... "
    "[--timecode-rate R] [--ltc-out LTC.wav] [--midi-out MIDI.txt]";

std::optional<double> number(const std::string& text) {
    double value = 0.0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
    return value;
}

struct Action {
    std::int64_t frame = 0;
    bool go = true; // else the stop fade
};

int render(const Args& args) {
    std::string showPath, cue, out;
    double seconds = 0.0, rate = 48000.0;
    std::vector<std::pair<double, bool>> times;
    RenderTimecode::Options timecodeOptions;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        if (a == "--cue" && hasValue) {
            cue = args[++i];
        } else if (a == "--out" && hasValue) {
            out = args[++i];
        } else if (a == "--ltc-out" && hasValue) {
            timecodeOptions.ltcOut = args[++i];
        } else if (a == "--midi-out" && hasValue) {
            timecodeOptions.midiOut = args[++i];
        } else if (a == "--timecode-rate" && hasValue) {
            auto rate = timecode::rateFromRaw(args[++i]);
            if (!rate) return fail("--timecode-rate takes fps24, fps25, fps2997df or fps30, not \"" + args[i] + "\"");
            timecodeOptions.rate = *rate;
        } else if ((a == "--seconds" || a == "--rate" || a == "--go" || a == "--stop-fade") && hasValue) {
            auto value = number(args[++i]);
            if (!value || *value < 0.0) return fail(a + " takes a number of seconds or a rate, not \"" + args[i] + "\"");
            if (a == "--seconds") seconds = *value;
            else if (a == "--rate") rate = *value;
            else times.emplace_back(*value, a == "--go");
        } else if (showPath.empty() && !a.starts_with("--")) {
            showPath = a;
        } else {
            return fail(usage);
        }
    }
    if (showPath.empty() || cue.empty() || out.empty() || !(seconds > 0.0)) return fail(usage);
    if (rate < 8000.0 || rate > 384000.0) return fail("--rate must lie between 8000 and 384000.");

    auto track = openCue(showPath, cue);
    if (!track) return 1;

    ManualMainLoop loop;
    ReadOnlyPreferences preferences;
    OfflineAudioSystem audio(rate);
    PlaybackEngine engine(loop, preferences, audio);
    std::int64_t rendered = 0;
    EventLog events(engine, [&] { return double(rendered) / rate; }, std::cout);
    engine.load(*track);
    if (!engine.hasFile()) return fail(engine.notice().value_or("The cue's audio could not be opened."));

    SF_INFO info{};
    info.samplerate = int(std::lround(rate));
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file(sf_open(out.c_str(), SFM_WRITE, &info), sf_close);
    if (!file) return fail("Could not write " + out + ": " + sf_strerror(nullptr));

    auto sends = RenderTimecode::open(timecodeOptions, loop, audio, engine);
    if (!sends) return fail(sends.error().message);

    std::vector<Action> actions;
    for (auto [t, isGo] : times) actions.push_back({std::int64_t(std::llround(t * rate)), isGo});
    std::stable_sort(actions.begin(), actions.end(), [](auto& a, auto& b) { return a.frame < b.frame; });

    engine.play();
    const std::int64_t total = std::llround(seconds * rate);
    const int period = audio.periodFrames();
    std::vector<float> interleaved;
    auto next = actions.begin();
    while (rendered < total) {
        for (; next != actions.end() && next->frame <= rendered; ++next) {
            if (next->go)
                go(engine);
            else
                engine.fadeOutAndStop(engine.stopFadeSeconds());
            events.checkLoop();
        }
        // Periods are cut short at an action, so it lands on its own frame.
        std::int64_t frames = std::min<std::int64_t>(period, total - rendered);
        if (next != actions.end()) frames = std::min(frames, next->frame - rendered);
        const auto channels = audio.render(int(frames));
        if (auto error = (*sends)->renderPeriod(int(frames))) return fail(error->message);
        interleaved.assign(std::size_t(frames) * 2, 0.0f);
        for (std::size_t c = 0; c < std::min<std::size_t>(channels.size(), 2); ++c)
            for (std::int64_t f = 0; f < frames; ++f) interleaved[std::size_t(f) * 2 + c] = channels[c][std::size_t(f)];
        if (sf_writef_float(file.get(), interleaved.data(), frames) != frames)
            return fail("Could not write " + out + ": " + sf_strerror(file.get()));
        rendered += frames;
        (*sends)->advanceTo(double(rendered) / rate);
        events.checkLoop();
    }
    return 0;
}

const Command command("render",
                      "render FILE.ot --cue N --seconds S --out OUT.wav [--rate R] [--go T]... [--stop-fade T]... "
                      "[--timecode-rate R] [--ltc-out LTC.wav] [--midi-out MIDI.txt]",
                      render);

} // namespace

} // namespace ostinel::cli
