#pragma once

#include <functional>

#include "document/TimelineItems.h"
#include "workspace/editpanel/EditTarget.h"
#include "workspace/editpanel/FieldForm.h"

namespace ostinel {

// What a MIDI trigger sends; shared by the timeline triggers and a track's
// pre-roll trigger. The rows show only while shown() holds, if given.
void addMidiMessageFields(FieldForm& form, Source<MidiTrigger> trigger, std::function<bool()> shown = {});
void addOSCMessageFields(FieldForm& form, Source<OSCTrigger> trigger, std::function<bool()> shown = {});

// The selected timeline trigger: name, time and message.
FieldForm* makeMidiTriggerFields(AppState& state, const EditTarget& target, QWidget* parent);
FieldForm* makeOSCTriggerFields(AppState& state, const EditTarget& target, QWidget* parent);

} // namespace ostinel
