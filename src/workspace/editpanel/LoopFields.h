#pragma once

#include "workspace/editpanel/EditTarget.h"
#include "workspace/editpanel/FieldForm.h"

namespace ostinel {

// The selected loop: its edges go through AppState's clamping setters, so
// they stop at a neighbour and at the minimum length.
FieldForm* makeLoopFields(AppState& state, const EditTarget& target, QWidget* parent);

} // namespace ostinel
