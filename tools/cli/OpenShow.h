#pragma once

#include <optional>
#include <string>

#include "document/Show.h"

namespace ostinel::cli {

// Reads a show file the way the application opens one: decode, then the
// legacy migration from the user's preferences. On failure prints the
// application's alert text and the reason to standard error.
std::optional<Show> openShow(const std::string& path);

} // namespace ostinel::cli
