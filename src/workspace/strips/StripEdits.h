#pragma once

#include <optional>

#include "base/Uuid.h"
#include "workspace/strips/StripModel.h"

namespace ostinel {
class AppState;
}

// The document operations a strip calls, picked by the strip's kind.
namespace ostinel::strips {

std::optional<Uuid> selectedItem(const AppState& state, Strip strip);
void selectItem(AppState& state, Strip strip, std::optional<Uuid> id);
std::optional<double> itemTime(const Track& track, Strip strip, const Uuid& id);

std::optional<Uuid> addItem(AppState& state, Strip strip, const Uuid& trackID, double t);
void setItemTime(AppState& state, Strip strip, const Uuid& trackID, const Uuid& id, double t);
void deleteItem(AppState& state, Strip strip, const Uuid& trackID, const Uuid& id);
void deleteItemsInRange(AppState& state, Strip strip, const Uuid& trackID, double a, double b);

// Only this strip's items in the range; false when there are none.
bool copyItemsInRange(AppState& state, Strip strip, const Uuid& trackID, double a, double b);
bool clipboardHolds(const AppState& state, Strip strip);
void pasteItems(AppState& state, Strip strip, const Uuid& trackID, double t);

} // namespace ostinel::strips
