#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/MidiSystem.h"
#include "timecode/MtcLatch.h"
#include "timecode/QuarterFrameTimer.h"
#include "timecode/TimecodeClock.h"
#include "timecode/TimecodeRate.h"

namespace ostinel {

// MIDI timecode from the playhead: a full frame at each locate, then quarter
// frames at four per frame, spelling a count that starts on an even frame and
// moves two frames per sequence. Sent on "Ostinel MTC", a port others
// subscribe to, and through "Ostinel TC Out" to the chosen destinations.
//
// Threads: every public call from the main thread. The quarter frames go out
// on the timer's thread, which reads the reference under a short lock and
// owns the piece index and the latch; these are reset only while the timer is
// cancelled, so never under its feet.
class MTCSender {
public:
    static constexpr const char* virtualPortName = "Ostinel MTC";
    static constexpr const char* outputPortName = "Ostinel TC Out";

    // Live: CLOCK_MONOTONIC and a quarter-frame thread of its own.
    explicit MTCSender(MidiSystem& midi);
    // Time from `clock`, pieces on `timer`'s deadlines (the two must agree on
    // the time base); both outlive the sender.
    MTCSender(MidiSystem& midi, const TimecodeClock& clock, QuarterFrameTimer& timer);
    // Safe with the timer running: it is stopped before anything goes.
    ~MTCSender();
    MTCSender(const MTCSender&) = delete;
    MTCSender& operator=(const MTCSender&) = delete;

    // A jump of the transport: a full frame, then the stream from a fresh latch.
    void locate(double position);
    // The transport's steady refresh of where it is; the position never
    // emitted past `cap`. Sends nothing.
    void update(double position, double cap);
    // Nothing more is sent; a chasing device simply stops receiving.
    void stop();

    void setEnabled(bool enabled);
    void setRate(TimecodeRate rate);
    void setVirtualPortEnabled(bool enabled);
    void setDestinations(const std::vector<std::string>& endpoints);
    // Starts the quarter frames again from a fresh latch, when enabled and running.
    void restartTimer();

private:
    struct Shared {
        TimecodeRate rate = TimecodeRate::fps25;
        bool enabled = true;
        bool running = false;
        double baseTime = 0.0;
        double baseDate = 0.0;
        double cap = std::numeric_limits<double>::max();
        bool hasDestinations = false;
        bool virtualPortEnabled = true;
    };
    struct Owned;

    MTCSender(MidiSystem& midi, std::unique_ptr<Owned> owned);
    Shared shared() const;
    void tick(double deadline) noexcept;
    void sendFullFrame(double position, TimecodeRate rate);
    void send(const std::uint8_t* bytes, std::size_t size, double at, const Shared& routes) noexcept;

    std::unique_ptr<Owned> owned_; // the live clock and timer, when ours
    const TimecodeClock& clock_;
    QuarterFrameTimer& timer_;
    std::unique_ptr<MidiOutput> source_;
    std::unique_ptr<MidiOutput> outputPort_;

    mutable std::mutex lock_;
    Shared shared_;

    // The timer thread's.
    int pieceIndex_ = 0;
    MtcLatch latch_;
};

} // namespace ostinel
