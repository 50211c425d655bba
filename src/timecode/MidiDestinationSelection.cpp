#include "timecode/MidiDestinationSelection.h"

#include "platform/Preferences.h"

namespace ostinel {

namespace {

std::set<std::string> readSet(const Preferences& preferences, const std::string& key) {
    const auto list = preferences.stringListValue(key);
    if (!list) return {};
    return {list->begin(), list->end()};
}

} // namespace

MidiDestinationSelection::MidiDestinationSelection(Preferences& preferences, MidiSelectionKeys keys)
    : preferences_(preferences), keys_(std::move(keys)) {
    if (preferences_.contains(keys_.selected)) {
        selected_ = readSet(preferences_, keys_.selected);
    } else if (!keys_.legacy.empty()) {
        // Older versions kept one destination; the list form is written at
        // the first change only, so going back to such a version still works.
        if (auto name = preferences_.stringValue(keys_.legacy); name && !name->empty())
            selected_.insert(*name);
    }
    known_ = readSet(preferences_, keys_.known);
}

bool MidiDestinationSelection::refresh(std::vector<MidiDestination> present) {
    destinations_ = std::move(present);
    bool changed = false;
    bool newlyKnown = false;
    for (const auto& destination : destinations_) {
        if (!known_.insert(destination.name).second) continue;
        newlyKnown = true;
        changed |= selected_.insert(destination.name).second;
    }
    if (changed) storeSelected();
    if (newlyKnown)
        preferences_.setValue(keys_.known, std::vector<std::string>(known_.begin(), known_.end()));
    return changed;
}

void MidiDestinationSelection::toggle(const std::string& name) {
    if (!selected_.erase(name)) selected_.insert(name);
    storeSelected();
}

std::vector<std::string> MidiDestinationSelection::resolved() const {
    std::vector<std::string> endpoints;
    for (const auto& destination : destinations_)
        if (selected_.contains(destination.name)) endpoints.push_back(destination.endpoint);
    return endpoints;
}

void MidiDestinationSelection::storeSelected() {
    preferences_.setValue(keys_.selected, std::vector<std::string>(selected_.begin(), selected_.end()));
}

} // namespace ostinel
