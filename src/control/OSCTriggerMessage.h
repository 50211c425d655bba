#pragma once

#include "control/OSCMessage.h"
#include "document/TimelineItems.h"

namespace ostinel {

// The message a timeline OSC trigger sends: the address made absolute, and
// its one argument read from the text as typed (a number that does not
// read is 0; a string goes as it stands).
OSCMessage oscTriggerMessage(const OSCTrigger& trigger);

} // namespace ostinel
