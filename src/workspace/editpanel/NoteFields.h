#pragma once

#include "workspace/editpanel/EditTarget.h"
#include "workspace/editpanel/FieldForm.h"

namespace ostinel {

// The selected timeline note: heading, time and the text the operator reads.
FieldForm* makeNoteFields(AppState& state, const EditTarget& target, QWidget* parent);

} // namespace ostinel
