#pragma once

#include <QObject>

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "document/TimelineItems.h"
#include "platform/MainLoop.h"
#include "platform/MidiSystem.h"
#include "timecode/MidiDestinationSelection.h"

namespace ostinel {

class Preferences;

// Sends the timeline's MIDI triggers to our virtual source "Ostinel Triggers"
// and, through "Ostinel Triggers Out", to the chosen physical destinations.
// Both ports exist from creation on, so others can subscribe while sending
// is off. Main thread.
class MidiOutputController : public QObject {
    Q_OBJECT
public:
    static constexpr double minimumNoteSeconds = 0.01;

    MidiOutputController(MidiSystem& midi, MainLoop& loop, Preferences& preferences,
                         QObject* parent = nullptr);
    // Notes still sounding are ended at once.
    ~MidiOutputController() override;

    bool enabled() const { return enabled_; }
    void setEnabled(bool enabled);
    bool virtualPortEnabled() const { return virtualPortEnabled_; }
    void setVirtualPortEnabled(bool enabled);

    // Present destinations, in the system's order.
    const std::vector<MidiDestination>& destinations() const { return selection_.destinations(); }
    const std::set<std::string>& selectedDestinationNames() const { return selection_.selectedNames(); }
    bool isDestinationSelected(const std::string& name) const { return selection_.isSelected(name); }
    void toggleDestination(const std::string& name);
    void refreshDestinations();

    // A Note On with its own timed Note Off, or a Control Change; nothing
    // while sending is off.
    void send(const MidiTrigger& trigger);

signals:
    void enabledChanged();
    void virtualPortEnabledChanged();
    void selectedDestinationNamesChanged();
    void destinationsChanged();

private:
    using Message = std::array<std::uint8_t, 3>;
    void transmit(const Message& message);
    void resolve();

    MidiSystem& midi_;
    MainLoop& loop_;
    Preferences& preferences_;
    MidiDestinationSelection selection_;
    bool enabled_ = true;
    bool virtualPortEnabled_ = true;
    std::unique_ptr<MidiOutput> virtualSource_;
    std::unique_ptr<MidiOutput> outputPort_;
    bool hasDestinations_ = false;
    // Note Offs not yet sent, by our own number, with the timer that sends them.
    std::map<std::uint64_t, std::pair<MainLoop::TimerId, Message>> pendingNoteOffs_;
    std::uint64_t nextNoteOff_ = 0;
    // The destination listener may call after we are gone; it holds this weakly.
    std::shared_ptr<MidiOutputController*> self_;
};

} // namespace ostinel
