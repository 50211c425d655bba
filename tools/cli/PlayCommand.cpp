// ostinel-cli play FILE.ot --cue N [--device UID] [--pair K]
// [--timecode-rate R] [--ltc-channel K]: plays one cue live on the audio
// server, with MTC on "Ostinel MTC" and the triggers on "Ostinel Triggers"
// of the MIDI system, and LTC on channel K of the same device if asked. Return is GO, Escape the stop fade, q quits;
// standard input may also be a pipe. Notices and events are printed as JSON
// lines; the program ends with the cue.

#include <QCoreApplication>
#include <QSocketNotifier>

#include <termios.h>
#include <unistd.h>

#include <charconv>
#include <iostream>

#include "Command.h"
#include "CueRun.h"
#include "ReadOnlyPreferences.h"
#include "control/MidiOutputController.h"
#include "platform/AudioSystem.h"
#include "platform/MidiSystem.h"
#include "platform/QtMainLoop.h"
#include "playback/PlaybackEngine.h"
#include "timecode/TimecodeController.h"

namespace ostinel::cli {

namespace {

const char* const usage =
    "usage: ostinel-cli play FILE.ot --cue N [--device UID] [--pair K] [--timecode-rate R] [--ltc-channel K]";

std::optional<int> positive(const std::string& text) {
    int k = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), k);
    if (error != std::errc() || end != text.data() + text.size() || k < 1) return std::nullopt;
    return k;
}

// Keys arrive one by one and unechoed while the terminal is ours; the old
// settings come back however the program ends its run.
class RawTerminal {
public:
    RawTerminal() {
        if (!isatty(STDIN_FILENO) || tcgetattr(STDIN_FILENO, &saved_) != 0) return;
        termios raw = saved_;
        raw.c_lflag &= ~tcflag_t(ICANON | ECHO | ISIG);
        raw.c_cc[VMIN] = 1;
        raw.c_cc[VTIME] = 0;
        active_ = tcsetattr(STDIN_FILENO, TCSANOW, &raw) == 0;
    }
    ~RawTerminal() {
        if (active_) tcsetattr(STDIN_FILENO, TCSANOW, &saved_);
    }
    RawTerminal(const RawTerminal&) = delete;
    RawTerminal& operator=(const RawTerminal&) = delete;

private:
    termios saved_{};
    bool active_ = false;
};

int play(const Args& args) {
    std::string showPath, cue;
    std::optional<std::string> device;
    std::optional<int> pair, ltcChannel;
    TimecodeRate rate = TimecodeRate::fps25;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        if (a == "--cue" && hasValue) {
            cue = args[++i];
        } else if (a == "--device" && hasValue) {
            device = args[++i];
        } else if (a == "--pair" && hasValue) {
            pair = positive(args[++i]);
            if (!pair) return fail("--pair takes a channel pair from 1 on (1 is channels 1-2), not \"" + args[i] + "\"");
        } else if (a == "--ltc-channel" && hasValue) {
            ltcChannel = positive(args[++i]);
            if (!ltcChannel) return fail("--ltc-channel takes a device channel from 1 on, not \"" + args[i] + "\"");
        } else if (a == "--timecode-rate" && hasValue) {
            auto known = timecode::rateFromRaw(args[++i]);
            if (!known) return fail("--timecode-rate takes fps24, fps25, fps2997df or fps30, not \"" + args[i] + "\"");
            rate = *known;
        } else if (showPath.empty() && !a.starts_with("--")) {
            showPath = a;
        } else {
            return fail(usage);
        }
    }
    if (showPath.empty() || cue.empty()) return fail(usage);
    auto track = openCue(showPath, cue);
    if (!track) return 1;

    auto audio = AudioSystem::create();
    if (!audio) return fail(audio.error().message);
    AudioSystem& system = **audio;
    if (device) {
        const auto devices = system.outputDevices();
        if (std::none_of(devices.begin(), devices.end(), [&](const AudioDevice& d) { return d.uid == *device; })) {
            std::string known;
            for (const auto& d : devices) known += "\n  " + d.uid + "  (" + d.name + ")";
            return fail("No output device \"" + *device + "\". Devices:" + known);
        }
    }

    QtMainLoop loop;
    ReadOnlyPreferences preferences;
    PlaybackEngine engine(loop, preferences, system);
    const double started = loop.now();
    EventLog events(engine, [&] { return loop.now() - started; }, std::cout);
    auto printNotice = [&] {
        if (engine.notice()) events.print("notice", "text", *engine.notice());
    };
    QObject::connect(&engine, &PlaybackEngine::noticeChanged, printNotice);
    printNotice();
    if (!system.fallbackReason().empty()) events.print("notice", "text", system.fallbackReason());
    for (auto changed : {&PlaybackEngine::activeLoopIDChanged, &PlaybackEngine::loopExitingChanged,
                         &PlaybackEngine::cueLoopExitingChanged})
        QObject::connect(&engine, changed, &engine, [&] { events.checkLoop(); }, Qt::QueuedConnection);
    events.onReachedEnd = [] { QCoreApplication::quit(); };

    if (device) engine.setOutputDeviceUID(*device);
    if (pair) engine.setOutputChannelOffset(2 * (*pair - 1));

    auto midi = MidiSystem::create(system);
    if (!midi) return fail(midi.error().message);
    if (!(*midi)->fallbackReason().empty()) events.print("notice", "text", (*midi)->fallbackReason());
    auto timecode = TimecodeController::live(loop, preferences, **midi, system);
    MidiOutputController triggers(**midi, loop, preferences);
    timecode->setRate(rate);
    timecode->setEnabled(true);
    timecode->setVirtualPortEnabled(true);
    triggers.setEnabled(true);
    attachSends(engine, *timecode, triggers);
    if (ltcChannel) {
        // Beside the music on the same device; a channel of the pair is refused with a notice.
        timecode->setLtcMode(LTCMode::customRoute);
        timecode->setLtcDeviceUID(engine.outputDeviceUID() ? engine.outputDeviceUID() : system.currentDeviceUID());
        timecode->setLtcChannel(*ltcChannel - 1);
        timecode->setLtcEnabled(true);
    } else {
        timecode->setLtcEnabled(false);
    }
    engine.load(*track);
    if (!engine.hasFile()) return 1; // the notice has said why

    RawTerminal terminal;
    const bool fromTerminal = isatty(STDIN_FILENO);
    bool inputClosed = false;
    QSocketNotifier keys(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&keys, &QSocketNotifier::activated, [&] {
        char bytes[64];
        const ssize_t n = read(STDIN_FILENO, bytes, sizeof bytes);
        if (n <= 0) {
            // Nothing more can come: stay for the cue, or leave if it is over.
            keys.setEnabled(false);
            inputClosed = true;
            if (!engine.isPlaying()) QCoreApplication::quit();
            return;
        }
        // On a terminal, Escape followed by more is an arrow or function
        // key's sequence, not the Escape key.
        if (fromTerminal && bytes[0] == '\x1b' && n > 1) return;
        for (ssize_t i = 0; i < n; ++i) {
            const char c = bytes[i];
            if (c == '\n' || c == '\r') go(engine);
            else if (c == '\x1b') engine.fadeOutAndStop(engine.stopFadeSeconds());
            else if (c == 'q' || c == 'Q' || c == '\x03') QCoreApplication::quit();
        }
    });
    QObject::connect(&engine, &PlaybackEngine::isPlayingChanged, [&] {
        if (inputClosed && !engine.isPlaying()) QCoreApplication::quit();
    });

    engine.play();
    return QCoreApplication::exec();
}

const Command command("play",
                      "play FILE.ot --cue N [--device UID] [--pair K] [--timecode-rate R] [--ltc-channel K]", play);

} // namespace

} // namespace ostinel::cli
