#include "CueRun.h"

#include <charconv>
#include <iostream>
#include <nlohmann/json.hpp>

#include "Command.h"
#include "JsonLine.h"
#include "OpenShow.h"
#include "control/MidiOutputController.h"
#include "playback/PlaybackEngine.h"
#include "timecode/TimecodeController.h"

namespace ostinel::cli {

namespace {

nlohmann::ordered_json loopState(const PlaybackEngine& engine) {
    nlohmann::ordered_json id = nullptr;
    if (engine.activeLoopID()) id = engine.activeLoopID()->toString();
    return {{"id", id}, {"exiting", engine.loopExiting()}, {"cueExiting", engine.cueLoopExiting()}};
}

} // namespace

std::optional<Track> openCue(const std::string& showPath, const std::string& number) {
    long cue = 0;
    auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), cue);
    if (error != std::errc() || end != number.data() + number.size() || cue < 1) {
        fail("--cue takes a cue number from 1 on, not \"" + number + "\"");
        return std::nullopt;
    }
    auto show = openShow(showPath);
    if (!show) return std::nullopt;
    if (std::size_t(cue) > show->tracks.size()) {
        fail("The show has " + std::to_string(show->tracks.size()) + " cues; there is no cue " + number + ".");
        return std::nullopt;
    }
    return show->tracks[std::size_t(cue) - 1];
}

void go(PlaybackEngine& engine) {
    if (engine.isPlaying())
        engine.requestLoopExit();
    else
        engine.play();
}

EventLog::EventLog(PlaybackEngine& engine, std::function<double()> clock, std::ostream& out)
    : engine_(engine), clock_(std::move(clock)), out_(out), lastLoop_(loopState(engine).dump()) {
    engine.onMidiTrigger = [this](const MidiTrigger& trigger) {
        writeJsonLine(out_, nlohmann::ordered_json{{"event", "midiTrigger"}, {"t", clock_()}, {"name", trigger.name},
                         {"timeSeconds", trigger.timeSeconds}});
    };
    engine.onOSCTrigger = [this](const OSCTrigger& trigger) {
        writeJsonLine(out_, nlohmann::ordered_json{{"event", "oscTrigger"}, {"t", clock_()}, {"name", trigger.name},
                         {"timeSeconds", trigger.timeSeconds}});
    };
    engine.onTimecodeLocate = [this](double seconds) {
        writeJsonLine(out_, nlohmann::ordered_json{{"event", "timecodeLocate"}, {"t", clock_()}, {"timecodeSeconds", seconds}});
    };
    engine.onReachedEnd = [this] {
        checkLoop();
        writeJsonLine(out_, nlohmann::ordered_json{{"event", "reachedEnd"}, {"t", clock_()}});
        if (onReachedEnd) onReachedEnd();
    };
}

void EventLog::checkLoop() {
    nlohmann::ordered_json state = loopState(engine_);
    std::string key = state.dump();
    if (key == lastLoop_) return;
    lastLoop_ = std::move(key);
    state["event"] = "loop";
    state["t"] = clock_();
    writeJsonLine(out_, state);
}

void EventLog::print(const std::string& event, const std::string& key, const std::string& text) {
    writeJsonLine(out_, nlohmann::ordered_json{{"event", event}, {"t", clock_()}, {key, text}});
}

namespace {
// Both run: `first`, then what the slot held.
template <class Fn> void chain(std::function<Fn>& slot, std::function<Fn> first) {
    if (!first) return;
    if (!slot) {
        slot = std::move(first);
        return;
    }
    slot = [first = std::move(first), then = std::move(slot)](auto... args) {
        first(args...);
        then(args...);
    };
}
} // namespace

void attachSends(PlaybackEngine& engine, TimecodeController& timecode, MidiOutputController& triggers) {
    auto locate = std::move(engine.onTimecodeLocate);
    auto tick = std::move(engine.onTimecodeTick);
    auto stop = std::move(engine.onTimecodeStop);
    timecode.attach(engine);
    chain(engine.onTimecodeLocate, std::move(locate));
    chain(engine.onTimecodeTick, std::move(tick));
    chain(engine.onTimecodeStop, std::move(stop));
    chain(engine.onMidiTrigger, std::function<void(const MidiTrigger&)>(
                                    [&triggers](const MidiTrigger& trigger) { triggers.send(trigger); }));
}

} // namespace ostinel::cli
