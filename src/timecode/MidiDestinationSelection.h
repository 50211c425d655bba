#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/MainLoop.h"
#include "platform/MidiSystem.h"

namespace ostinel {

class Preferences;

// Where one sender keeps its choice of destinations.
struct MidiSelectionKeys {
    std::string selected; // list of names
    std::string known;    // list of every name ever seen
    std::string legacy;   // a single name read when `selected` is absent; may be empty
};

// Which physical destinations a sender reaches. A device seen for the first
// time is switched on; one the user switched off stays off when it comes
// back, since it is already known. Selection is by name, so it survives
// replugging. Main thread.
class MidiDestinationSelection {
public:
    MidiDestinationSelection(Preferences& preferences, MidiSelectionKeys keys);

    // Takes the present destinations. True when the selection changed.
    bool refresh(std::vector<MidiDestination> present);
    void toggle(const std::string& name);

    const std::vector<MidiDestination>& destinations() const { return destinations_; }
    const std::set<std::string>& selectedNames() const { return selected_; }
    bool isSelected(const std::string& name) const { return selected_.contains(name); }
    // Endpoints of the present destinations whose name is selected, in the
    // system's order.
    std::vector<std::string> resolved() const;

private:
    void storeSelected();

    Preferences& preferences_;
    MidiSelectionKeys keys_;
    std::vector<MidiDestination> destinations_;
    std::set<std::string> selected_;
    std::set<std::string> known_;
};

// Runs `owner->refreshDestinations()` on the main loop after each change the
// MIDI system reports, from whichever thread reports it; nothing once the
// owner's token is gone.
template <class Owner>
void refreshOnDestinationChanges(MidiSystem& midi, MainLoop& loop, std::weak_ptr<Owner*> owner) {
    midi.addDestinationListener([owner, &loop] {
        if (owner.expired()) return;
        loop.post([owner] {
            if (auto self = owner.lock()) (*self)->refreshDestinations();
        });
    });
}

} // namespace ostinel
