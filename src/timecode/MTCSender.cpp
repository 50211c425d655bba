#include "timecode/MTCSender.h"

#include "timecode/LiveQuarterFrameTimer.h"
#include "timecode/MtcMessages.h"

namespace ostinel {

struct MTCSender::Owned {
    MonotonicClock clock;
    LiveQuarterFrameTimer timer;
};

MTCSender::MTCSender(MidiSystem& midi) : MTCSender(midi, std::make_unique<Owned>()) {}

MTCSender::MTCSender(MidiSystem& midi, std::unique_ptr<Owned> owned)
    : MTCSender(midi, owned->clock, owned->timer) {
    owned_ = std::move(owned);
}

MTCSender::MTCSender(MidiSystem& midi, const TimecodeClock& clock, QuarterFrameTimer& timer)
    : clock_(clock), timer_(timer), source_(midi.createOutput(virtualPortName)),
      outputPort_(midi.createOutput(outputPortName)) {
    shared_.baseDate = clock_.now();
}

MTCSender::~MTCSender() {
    timer_.cancel();
}

MTCSender::Shared MTCSender::shared() const {
    std::lock_guard lock(lock_);
    return shared_;
}

void MTCSender::locate(double position) {
    Shared now;
    {
        std::lock_guard lock(lock_);
        shared_.running = true;
        shared_.baseTime = position;
        shared_.baseDate = clock_.now();
        shared_.cap = std::numeric_limits<double>::max();
        now = shared_;
    }
    if (!now.enabled) return;
    timer_.cancel();
    latch_.reset();
    sendFullFrame(position, now.rate);
    restartTimer();
}

void MTCSender::update(double position, double cap) {
    std::lock_guard lock(lock_);
    shared_.baseTime = position;
    shared_.baseDate = clock_.now();
    shared_.cap = cap;
}

void MTCSender::stop() {
    {
        std::lock_guard lock(lock_);
        shared_.running = false;
    }
    timer_.cancel();
}

void MTCSender::setEnabled(bool enabled) {
    bool running = false;
    {
        std::lock_guard lock(lock_);
        shared_.enabled = enabled;
        running = shared_.running;
    }
    if (!enabled)
        timer_.cancel();
    else if (running)
        restartTimer();
}

void MTCSender::setRate(TimecodeRate rate) {
    Shared now;
    {
        std::lock_guard lock(lock_);
        shared_.rate = rate;
        now = shared_;
    }
    if (now.enabled && now.running) restartTimer();
}

void MTCSender::setVirtualPortEnabled(bool enabled) {
    std::lock_guard lock(lock_);
    shared_.virtualPortEnabled = enabled;
}

void MTCSender::setDestinations(const std::vector<std::string>& endpoints) {
    if (outputPort_) outputPort_->setDestinations(endpoints);
    std::lock_guard lock(lock_);
    shared_.hasDestinations = !endpoints.empty();
}

void MTCSender::restartTimer() {
    const Shared now = shared();
    timer_.cancel();
    if (!now.enabled || !now.running) return;
    // The timer is quiet: its state is ours until the first firing.
    pieceIndex_ = 0;
    latch_.reset();
    timer_.start(1.0 / timecode::quarterFramesPerSecond(now.rate),
                 [this](double deadline) { tick(deadline); });
}

void MTCSender::tick(double deadline) noexcept {
    const Shared now = shared();
    if (!now.enabled || !now.running) return;
    if (pieceIndex_ == 0) {
        // A new timecode is fixed once per sequence, at its first piece.
        const double elapsed = clock_.now() - now.baseDate;
        double position = elapsed < 0.0 ? now.baseTime : now.baseTime + elapsed;
        if (position > now.cap) position = now.cap;
        latch_.advanceLatchedFrame(timecode::frameNumber(now.rate, position), now.rate);
    }
    const std::uint8_t message[2] = {mtc::quarterFrameStatus,
                                     mtc::quarterFrameData(latch_.latched, pieceIndex_, now.rate)};
    send(message, sizeof message, deadline, now);
    pieceIndex_ = (pieceIndex_ + 1) & 7;
}

void MTCSender::sendFullFrame(double position, TimecodeRate rate) {
    const mtc::FullFrame message = mtc::fullFrame(timecode::frameNumber(rate, position), rate);
    send(message.data(), message.size(), clock_.now(), shared());
}

void MTCSender::send(const std::uint8_t* bytes, std::size_t size, double at, const Shared& routes) noexcept {
    if (routes.virtualPortEnabled && source_) source_->send(bytes, size, at);
    if (routes.hasDestinations && outputPort_) outputPort_->send(bytes, size, at);
}

} // namespace ostinel
