#include "RenderTimecode.h"

#include "CueRun.h"
#include <cstdio>

#include "control/MidiOutputController.h"
#include "platform/OfflineAudioSystem.h"
#include "playback/PlaybackEngine.h"
#include "timecode/LTCOutputEngine.h"
#include "timecode/MTCSender.h"
#include "timecode/ManualQuarterFrameTimer.h"
#include "timecode/TimecodeController.h"

namespace ostinel::cli {

namespace {

std::string line(const LoopbackMessage& message) {
    char time[48];
    std::snprintf(time, sizeof time, "%.6f", message.time);
    std::string text = std::string(time) + " " + message.port;
    for (std::uint8_t byte : message.bytes) {
        char hex[4];
        std::snprintf(hex, sizeof hex, " %02X", byte);
        text += hex;
    }
    return text;
}

} // namespace

RenderTimecode::RenderTimecode(const Options& options, ManualMainLoop& loop, OfflineAudioSystem& audio)
    : options_(options), loop_(loop), audio_(audio), clock_(loop.now()),
      midi_([&loop] { return loop.now(); }) {}

RenderTimecode::~RenderTimecode() {
    // The controllers go before the outputs they drive.
    triggers_.reset();
    timecode_.reset();
    sender_.reset();
    ltc_.reset();
}

Expected<std::unique_ptr<RenderTimecode>> RenderTimecode::open(const Options& options, ManualMainLoop& loop,
                                                               OfflineAudioSystem& audio, PlaybackEngine& engine) {
    std::unique_ptr<RenderTimecode> self(new RenderTimecode(options, loop, audio));
    if (!options.midiOut.empty()) {
        self->midiFile_.open(options.midiOut, std::ios::out | std::ios::trunc);
        if (!self->midiFile_) return Error{"Could not write " + options.midiOut + "."};
        self->midi_.setTap([file = &self->midiFile_](const LoopbackMessage& message) { *file << line(message) << '\n'; });
    }
    self->timer_ = std::make_unique<ManualQuarterFrameTimer>(self->clock_);
    self->sender_ = std::make_unique<MTCSender>(self->midi_, self->clock_, *self->timer_);
    self->ltc_ = std::make_unique<LTCOutputEngine>(audio, loop, self->clock_);
    self->timecode_ = std::make_unique<TimecodeController>(loop, self->preferences_, self->midi_, *self->sender_,
                                                           *self->ltc_);
    self->timecode_->setRate(options.rate);
    self->triggers_ = std::make_unique<MidiOutputController>(self->midi_, loop, self->preferences_);

    attachSends(engine, *self->timecode_, *self->triggers_);

    if (!options.ltcOut.empty()) {
        // The LTC alone, on a device of its own: the music keeps its pair.
        self->ltc_->configure(std::nullopt, 0);
        self->ltc_->setActive();
        SF_INFO info{};
        info.samplerate = int(audio.sampleRate());
        info.channels = 1;
        info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
        self->ltcFile_.reset(sf_open(options.ltcOut.c_str(), SFM_WRITE, &info));
        if (!self->ltcFile_) return Error{"Could not write " + options.ltcOut + ": " + sf_strerror(nullptr)};
    }
    return self;
}

std::optional<Error> RenderTimecode::renderPeriod(int frames) {
    if (!ltcFile_) return std::nullopt;
    clock_.set(loop_.now());
    auto* output = static_cast<OfflineAudioSystem*>(ltc_->output());
    std::vector<float> samples(std::size_t(frames), 0.0f);
    if (output) {
        auto channels = output->render(frames);
        if (!channels.empty()) samples = std::move(channels.front());
    }
    if (sf_writef_float(ltcFile_.get(), samples.data(), frames) != frames)
        return Error{"Could not write " + options_.ltcOut + ": " + sf_strerror(ltcFile_.get())};
    return std::nullopt;
}

void RenderTimecode::advanceTo(double seconds) {
    // One deadline at a time, whichever clock it belongs to, with the
    // timecode clock standing at it: a tick's reference and a quarter frame's
    // stamp are then both exact.
    while (true) {
        const auto piece = timer_->nextDeadline();
        const auto timer = loop_.nextDeadline();
        double next = seconds;
        if (piece && *piece < next) next = *piece;
        if (timer && *timer < next) next = *timer;
        clock_.set(next);
        loop_.advance(next - loop_.now());
        timer_->advanceTo(next);
        if (next >= seconds) break;
    }
}

} // namespace ostinel::cli
