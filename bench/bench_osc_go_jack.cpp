// Latency from an OSC GO datagram to the first sound on a real JACK server
// (private dummy server, 48 kHz, 256-frame periods), next to that of the
// transport alone, measured in the same process on the same engine.
//
// The OSC path is the application's own: the remote fronts as the app makes
// them (RemoteControl: OSC GO → ShowModeKeys::perform(go) → startPlayback →
// engine.play()), a one-cue show whose cue is selected and loaded, and Qt's
// event loop on the main thread, where the listener's socket notifier wakes
// it. A sender thread sends "/ostinel/go" to 127.0.0.1 from a plain POSIX
// socket at a random phase of the period while the main thread sleeps in the
// event loop, as it does in the app between events. The send is stamped
// before sendto(), so a sender held up there counts against us.
//
// The probe and the reference points are bench_jack_latency's: frames from
// the start of the period after the one in which the datagram was sent (for
// the transport alone, in which play() was called) to the first non-silent
// frame at the engine's output; ideally the limiter look-ahead alone. A try
// is `late` when a period more; `straddle` counts tries whose play()
// returned in a later period than the send or call began in, which may
// make one late, and `unexpl` late ones that crossed no boundary. A figure below
// the look-ahead means the engine rendered the running period only after
// play() had returned: the server here is not real-time, and on a busy
// machine its clients may run late within their period. Also reported: the
// wall time from the send to the entry of engine.play() (the marks are asked
// for just before it) and that of play() itself. The two kinds of tries
// alternate, so a busy spell of the machine falls on both alike. Tries with
// a server overrun are left out (`xrun`), as are tries whose output was not
// silent before (`uncln`); `lost` ones never sounded.
//
// Verdict: the worst OSC figure is at most the worst of the transport alone
// plus one period. Exit status 1 when it isn't.
//
// Usage: bench_osc_go_jack [tries]   (default 200 of each)

#include <QCoreApplication>
#include <QEventLoop>
#include <QLoggingCategory>
#include <QTimer>

#include <arpa/inet.h>
#include <jack/jack.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "JackLatencyProbe.h"
#include "JackServer.h"
#include "control/OSCMessage.h"
#include "control/RemoteControl.h"
#include "document/AppState.h"
#include "platform/AppPaths.h"
#include "platform/AudioSystem.h"
#include "platform/LoopbackMidiSystem.h"
#include "platform/MemoryPreferences.h"
#include "platform/QtMainLoop.h"
#include "playback/CueWaveform.h"
#include "playback/PeakLimiter.h"
#include "playback/PlaybackEngine.h"
#include "playback/ShowModeKeys.h"
#include "support/ScriptedDialogs.h"

namespace {

using namespace ostinel;
using namespace ostinel::bench;
using Clock = std::chrono::steady_clock;

// A waveform with nothing marked. startPlayback asks it for the marked start
// right before engine.play(): that is where the dispatch is timed.
class UnmarkedWaveform final : public CueWaveform {
  public:
    std::function<void()> onAsked;
    std::optional<GroupDrag::Sel> mark(Strip) const override { return std::nullopt; }
    void setMark(Strip, std::optional<GroupDrag::Sel>) override {}
    std::optional<double> selectionStartSeconds() const override {
        if (onAsked) onAsked();
        return std::nullopt;
    }
    void setSnapSuppressed(bool) override {}
    void setBeatStepHeld(bool) override {}
};

// The cue's file, the app's folders and the OSC diary, gone however the run ends.
struct ScratchDir {
    std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("bench-osc-go-" + std::to_string(getpid()));
    ScratchDir() { std::filesystem::create_directories(path); }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
};

// Runs Qt's event loop for `seconds`.
void runFor(double seconds) {
    QEventLoop events;
    QTimer::singleShot(int(seconds * 1000), &events, &QEventLoop::quit);
    events.exec();
}

int freeUdpPort() {
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    int port = 0;
    if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    if (fd >= 0) ::close(fd);
    return port;
}

// The figures of one path over all its kept tries.
struct Series {
    std::vector<std::int64_t> fromNext; // frames after the period following the send or call
    std::vector<double> toPlayUs;       // send to engine.play() entered (OSC only)
    std::vector<double> playUs;         // engine.play() itself
    int straddled = 0;                  // the send/call and play()'s return in different periods
    int late = 0;                       // a period beyond the look-ahead
    int lateUnstraddled = 0;            // late with no boundary crossed: nothing explains it
    std::int64_t lateMinPhase = -1;     // the earliest phase in its period of a late send or call
    // The latest try: the phase of the send or call, of play()'s entry and return (all in frames
    // from the start of the send's or call's period), and its figure.
    std::array<std::int64_t, 4> worst{0, 0, 0, -1};
    int unclean = 0, lost = 0, disturbed = 0;
};

// Where a try stands when its moment comes, read on the thread that makes it.
struct Stamp {
    jack_nframes_t period = 0; // start of the period running
    jack_nframes_t frame = 0;  // JACK's estimate of the frame now
    Clock::time_point wall;
};

Stamp stamp(jack_client_t* client) {
    return {jack_last_frame_time(client), jack_frame_time(client), Clock::now()};
}

// Waits for the probe's word; false when none came.
bool heard(const Probe& probe) {
    const auto deadline = Clock::now() + std::chrono::seconds(2);
    while (probe.first() < 0 && Clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    return probe.first() >= 0;
}

// Kept unless lost or disturbed by an overrun.
bool keep(Series& series, const Probe& probe, int xrunsBefore) {
    if (probe.first() < 0) {
        ++series.lost;
        return false;
    }
    if (probe.xruns() != xrunsBefore) {
        ++series.disturbed;
        return false;
    }
    return true;
}

void note(Series& series, const Probe& probe, const Stamp& sent, const Stamp& entered, const Stamp& returned,
          int lookAhead) {
    const std::int64_t fromNext = framesBetween(sent.period, probe.first()) - kJackPeriod;
    const bool straddled = returned.period != sent.period;
    const std::int64_t phase = framesBetween(sent.period, sent.frame);
    series.fromNext.push_back(fromNext);
    series.playUs.push_back(std::chrono::duration<double, std::micro>(returned.wall - entered.wall).count());
    if (straddled) ++series.straddled;
    if (fromNext > lookAhead) {
        ++series.late;
        if (!straddled) ++series.lateUnstraddled;
        if (series.lateMinPhase < 0 || phase < series.lateMinPhase) series.lateMinPhase = phase;
    }
    if (fromNext > series.worst[3])
        series.worst = {phase, framesBetween(sent.period, entered.frame),
                        framesBetween(sent.period, returned.frame), fromNext};
}

void printRow(const char* name, const Series& s) {
    if (s.fromNext.empty()) {
        std::printf("%-16s no try heard the cue\n", name);
        return;
    }
    std::printf("%-16s %5zu %6.0f %7.0f %6.0f %6.0f %8d %5d %7d %6d %5d %5d\n", name, s.fromNext.size(),
                percentile(s.fromNext, 0.0), percentile(s.fromNext, 0.5), percentile(s.fromNext, 0.95),
                percentile(s.fromNext, 1.0), s.straddled, s.late, s.lateUnstraddled, s.unclean, s.lost,
                s.disturbed);
}

int measure(int tries) {
    const ScratchDir scratch;
    const auto& dir = scratch.path;

    test::JackServer server;
    setenv("OSTINEL_AUDIO_BACKEND", "jack", 1);
    auto created = AudioSystem::create();
    if (!created || (*created)->backendName() != "jack") {
        std::fprintf(stderr, "the JACK backend did not start\n");
        return 1;
    }
    const int port = freeUdpPort();
    QtMainLoop loop;
    MemoryPreferences preferences;
    preferences.setValue("oscEnabled", true);
    preferences.setValue("oscPort", std::int64_t(port));
    PlaybackEngine engine(loop, preferences, **created);
    test::ScriptedDialogs dialogs;
    AppState state(loop, preferences, dialogs, AppPaths::under((dir / "app").string()));
    LoopbackMidiSystem midi;
    UnmarkedWaveform waveform;
    RemoteControl remote(midi, loop, preferences, state, engine, waveform, (dir / "osc.log").string());

    // The app's view loads the selected cue; GO then only plays it.
    auto transport = ShowModeKeys::connectTransport(state, engine);
    Track track;
    track.name = "Loud";
    track.url = FileUrl::fromPath(writeSquare(dir));
    track.duration = 2.0;
    Show show = state.show();
    show.tracks.push_back(track);
    state.setShow(show);
    state.setSelectedTrackID(show.tracks.front().id);
    remote.start();
    runFor(0.2);
    if (remote.osc().listenerState() != SocketState::ready) {
        std::fprintf(stderr, "the OSC listener is not up on port %d: %s\n", port,
                     remote.osc().listenerStatus().c_str());
        return 1;
    }
    if (!engine.currentURL()) {
        std::fprintf(stderr, "the cue did not load\n");
        return 1;
    }

    Probe probe("Ostinel:out_1");
    const int sender = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    to.sin_port = htons(std::uint16_t(port));
    const auto go = OSCMessage{"/ostinel/go", {}}.encoded();

    // What the wrapped handler and the waveform note during an OSC try.
    QEventLoop* waiting = nullptr;
    std::optional<Stamp> playEntered, playReturned;
    waveform.onAsked = [&] { playEntered = stamp(probe.client()); };
    auto perform = remote.osc().actionHandler;
    remote.osc().actionHandler = [&, perform](MidiAction action) {
        perform(action);
        playReturned = stamp(probe.client());
        if (waiting) waiting->quit();
    };

    const int lookAhead = PeakLimiter(kJackRate).lookAheadFrames();
    std::mt19937 random(20261125);
    const auto periodMicros = std::int64_t(1e6 * kJackPeriod / kJackRate);
    std::uniform_int_distribution<std::int64_t> phase(0, periodMicros - 1);
    Series osc, direct;

    auto settle = [&](Series& series) {
        engine.stop();
        runFor(0.05);
        if (probe.arm()) return true;
        ++series.unclean;
        return false;
    };

    for (int i = 0; i < tries; ++i) {
        // The transport alone, as bench_jack_latency calls it.
        if (settle(direct)) {
            std::this_thread::sleep_for(std::chrono::microseconds(phase(random)));
            const int xrunsBefore = probe.xruns();
            const Stamp call = stamp(probe.client());
            engine.play();
            const Stamp returned = stamp(probe.client());
            heard(probe);
            runFor(0.01);
            if (keep(direct, probe, xrunsBefore)) {
                note(direct, probe, call, call, returned, lookAhead);
            }
        }

        // GO over OSC, sent while the main thread sleeps in the event loop.
        if (settle(osc)) {
            playEntered.reset();
            playReturned.reset();
            const int xrunsBefore = probe.xruns();
            Stamp sent;
            // A millisecond first, so the main thread is surely asleep by then.
            const auto delay = std::chrono::microseconds(1000 + phase(random));
            std::thread thread([&] {
                std::this_thread::sleep_for(delay);
                sent = stamp(probe.client());
                ::sendto(sender, go.data(), go.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
            });
            QEventLoop events;
            waiting = &events;
            QTimer::singleShot(2000, &events, &QEventLoop::quit);
            events.exec();
            waiting = nullptr;
            thread.join();
            heard(probe);
            runFor(0.01);
            if (!playEntered || !playReturned) {
                ++osc.lost;
            } else if (keep(osc, probe, xrunsBefore)) {
                note(osc, probe, sent, *playEntered, *playReturned, lookAhead);
                osc.toPlayUs.push_back(
                    std::chrono::duration<double, std::micro>(playEntered->wall - sent.wall).count());
            }
        }
    }
    engine.stop();
    transport.disconnect();
    ::close(sender);

    std::printf("JACK dummy server, %d Hz, %d-frame periods; %d tries of each; limiter look-ahead %d frames;"
                " OSC on 127.0.0.1:%d\n",
                kJackRate, kJackPeriod, tries, lookAhead, port);
    std::printf("frames from the start of the period after the send (OSC) or the call (transport) to the "
                "first sound\n");
    std::printf("%-16s %5s %6s %7s %6s %6s %8s %5s %7s %6s %5s %5s\n", "path", "kept", "min", "median", "p95",
                "worst", "straddle", "late", "unexpl", "uncln", "lost", "xrun");
    printRow("transport alone", direct);
    printRow("OSC GO", osc);
    if (direct.fromNext.empty() || osc.fromNext.empty()) return 1;
    std::printf("engine.play() wall time, us: transport median %.0f worst %.0f; OSC median %.0f worst %.0f\n",
                percentile(direct.playUs, 0.5), percentile(direct.playUs, 1.0), percentile(osc.playUs, 0.5),
                percentile(osc.playUs, 1.0));
    std::printf("OSC send to engine.play() entered, us: median %.0f p95 %.0f worst %.0f\n",
                percentile(osc.toPlayUs, 0.5), percentile(osc.toPlayUs, 0.95), percentile(osc.toPlayUs, 1.0));
    // Where the latest try of each path spent its time: a boundary crossed
    // before play() returned costs a period.
    for (auto [name, s] : {std::pair{"transport", &direct}, std::pair{"OSC", &osc}}) {
        std::printf(
            "%s: late ones called or sent from phase %lld on; worst try (%lld frames): called or sent at "
            "phase %lld, play() entered at %lld, returned at %lld\n",
            name, (long long)s->lateMinPhase, (long long)s->worst[3], (long long)s->worst[0],
            (long long)s->worst[1], (long long)s->worst[2]);
    }
    const double worstOsc = percentile(osc.fromNext, 1.0);
    const double worstDirect = percentile(direct.fromNext, 1.0);
    const bool within = worstOsc <= worstDirect + kJackPeriod && osc.lost == 0;
    std::printf("verdict: %s: worst OSC %.0f frames %s worst transport %.0f + one period %d = %.0f%s\n",
                within ? "PASS" : "FAIL", worstOsc, worstOsc <= worstDirect + kJackPeriod ? "<=" : ">",
                worstDirect, kJackPeriod, worstDirect + kJackPeriod,
                osc.lost > 0 ? " (and some OSC GOs were lost)" : "");
    return within ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    const int tries = argc > 1 ? std::atoi(argv[1]) : 200;
    if (tries < 1) {
        std::fprintf(stderr, "usage: bench_osc_go_jack [tries]\n");
        return 2;
    }
    QCoreApplication app(argc, argv);
    // The listener's diary would run through the table.
    QLoggingCategory::setFilterRules("com.ostinel.osc.info=false\ncom.ostinel.osc.debug=false");
    try {
        return measure(tries);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
}
