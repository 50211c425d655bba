#pragma once

#include <optional>
#include <set>
#include <vector>

#include "base/Uuid.h"

namespace ostinel {

// The list's selection as the click rules see it.
struct ListSelection {
    std::optional<Uuid> current; // selectedTrackID
    std::set<Uuid> group;        // selectedTrackIDs
    std::optional<Uuid> anchor;  // the last-clicked row
};

struct ClickModifiers {
    bool command = false; // Ctrl on Linux
    bool shift = false;
};

// What an Edit-mode click on a row does: either start renaming it, or write
// the new selection (the current track first, since writing it resets the
// group).
struct ClickEffect {
    bool rename = false;
    ListSelection selection;
};

// `order` is the list's track ids, top to bottom.
ClickEffect editModeClick(const std::vector<Uuid>& order, const ListSelection& now, const Uuid& clicked,
                          ClickModifiers modifiers);

} // namespace ostinel
